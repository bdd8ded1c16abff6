"""tovrel from Python: area-filtered, anti-aliased warps of numpy images.

The package is pure Python over the tovrel shared library (ctypes). It
looks for the library in $TOVREL_LIBRARY, beside this package, then on the
system's library path.
"""

from ._library import LibraryNotFound, TovrelError, TovrelWarning, library_path
from .formats import FORMATS, Format
from .core import (ALPHA_ONE, MAP_EDGE_AA, MAP_FIELD_BOTTOM, MAP_FIELD_TOP, MAP_NO_FILTER,
                   MAP_TILE, RECT_DST_FIELD_BOTTOM, RECT_DST_FIELD_TOP, RECT_SRC_FIELD_BOTTOM,
                   RECT_SRC_FIELD_TOP, RECT_TILE, Image, map_polygon, map_rectangle,
                   multisrc_map_rectangle)
from .warp import resize, warp_affine, warp_perspective

__all__ = [
    "LibraryNotFound", "TovrelError", "TovrelWarning", "library_path", "FORMATS", "Format", "Image",
    "map_polygon", "map_rectangle", "multisrc_map_rectangle", "warp_affine", "warp_perspective",
    "resize", "ALPHA_ONE",
    "MAP_NO_FILTER", "MAP_EDGE_AA", "MAP_FIELD_TOP", "MAP_FIELD_BOTTOM", "MAP_TILE",
    "RECT_SRC_FIELD_TOP", "RECT_SRC_FIELD_BOTTOM", "RECT_TILE", "RECT_DST_FIELD_TOP",
    "RECT_DST_FIELD_BOTTOM",
]
