"""Images as numpy arrays and the three operations of the library.

Everything about the arguments is checked here, before the library is
called: a bad argument raises TypeError or ValueError and nothing is
written. What the library itself refuses raises TovrelError with its
message; it has drawn nothing then either.
"""

import ctypes
import math
import threading

import numpy as np

from . import _library as lib
from .formats import lookup, infer

MAP_NO_FILTER = 1
MAP_EDGE_AA = 2
MAP_FIELD_TOP = 4
MAP_FIELD_BOTTOM = 8
MAP_TILE = 16

RECT_SRC_FIELD_TOP = 4
RECT_SRC_FIELD_BOTTOM = 8
RECT_TILE = 16
RECT_DST_FIELD_TOP = 64
RECT_DST_FIELD_BOTTOM = 128

ALPHA_ONE = 4096  # opaque in a w12b alpha plane

_ALPHA_MODES = {"straight": 1, "premultiplied": 0}
_INT32 = (-(1 << 31), (1 << 31) - 1)
_ALPHA_DTYPE = np.dtype("<u2")


def _in_int32(v):
    return _INT32[0] <= v <= _INT32[1]


def _plane_layout(array, what, bytes_per_pixel):
    """Checks that every row of a plane is contiguous in memory and that its
    pitch fits the library's 32-bit field. Rows may run bottom-up."""
    if array.size == 0:
        raise ValueError(f"{what}: the image is empty (shape {array.shape})")
    inner = array.strides[1:]
    expected = (bytes_per_pixel,) + ((array.itemsize,) if array.ndim == 3 else ())
    if tuple(inner) != expected:
        raise ValueError(f"{what}: the pixels of a row are not contiguous (strides "
                         f"{array.strides}); pass np.ascontiguousarray(...)")
    if not array.flags.aligned:
        raise ValueError(f"{what}: the array is not aligned to its element size")
    if not (_in_int32(array.strides[0]) and array.shape[0] <= _INT32[1]
            and array.shape[1] <= _INT32[1]):
        raise ValueError(f"{what}: the image or its pitch is too large (more than 2^31)")


class Image:
    """One image of the library: `pixels`, a numpy array in one of its
    formats (named or inferred from dtype and shape), optionally an `alpha`
    plane (uint16, same height and width, 0 transparent .. 4096 opaque)
    with `alpha_mode` "straight" or "premultiplied" colours, and an `origin`
    in the common source plane of multisrc_map_rectangle."""

    def __init__(self, pixels, format=None, alpha=None, alpha_mode="straight", origin=(0, 0)):
        if not isinstance(pixels, np.ndarray):
            raise TypeError(f"pixels must be a numpy array, not {type(pixels).__name__}")
        self.format = infer(pixels) if format is None else lookup(format)
        f = self.format
        if pixels.dtype != f.dtype:
            raise TypeError(f"a {f.name} image is {f.dtype.name}, not {pixels.dtype.name}")
        if pixels.ndim != (2 if f.channels == 1 else 3) or (
                f.channels > 1 and pixels.shape[2] != f.channels):
            raise ValueError(f"a {f.name} image has shape {f.shape('height', 'width')}, "
                             f"not {pixels.shape}")
        _plane_layout(pixels, f.name, f.bytes_per_pixel)
        if alpha is not None:
            if not isinstance(alpha, np.ndarray) or alpha.dtype != _ALPHA_DTYPE:
                raise TypeError("an alpha plane is a uint16 numpy array")
            if alpha.shape != pixels.shape[:2]:
                raise ValueError(f"the alpha plane's shape {alpha.shape} is not the image's "
                                 f"{pixels.shape[:2]}")
            _plane_layout(alpha, "alpha plane", 2)
        if alpha_mode not in _ALPHA_MODES:
            raise ValueError(f"alpha_mode is 'straight' or 'premultiplied', not {alpha_mode!r}")
        ox, oy = (int(v) for v in origin)
        if not (_in_int32(ox) and _in_int32(oy)):
            raise ValueError("origin does not fit in 32 bits")
        self.pixels, self.alpha, self.alpha_mode, self.origin = pixels, alpha, alpha_mode, (ox, oy)

    @property
    def width(self):
        return self.pixels.shape[1]

    @property
    def height(self):
        return self.pixels.shape[0]

    def planes(self):
        return (self.pixels,) if self.alpha is None else (self.pixels, self.alpha)

    def descriptor(self):
        d = lib.ImageDescriptor()
        d.origin_x, d.origin_y = self.origin
        d.width, d.height = self.width, self.height
        d.format = self.format.code
        d.alpha_mode = _ALPHA_MODES[self.alpha_mode]
        d.pixels, d.pitch = self.pixels.ctypes.data, self.pixels.strides[0]
        if self.alpha is not None:
            d.alpha_kind = 3
            d.alpha, d.alpha_pitch = self.alpha.ctypes.data, self.alpha.strides[0]
        return d

    def __repr__(self):
        extra = "" if self.alpha is None else f", alpha ({self.alpha_mode})"
        return f"Image({self.format.name} {self.width}x{self.height}{extra})"


def as_image(image, what):
    if isinstance(image, Image):
        return image
    if not isinstance(image, np.ndarray):
        raise TypeError(f"{what} must be a numpy array or a tovrel.Image, "
                        f"not {type(image).__name__}")
    try:
        return Image(image)
    except (TypeError, ValueError) as e:
        raise type(e)(f"{what}: {e}") from None


def check_destination(dst, sources):
    for plane in dst.planes():
        if not plane.flags.writeable:
            raise ValueError("the destination is read-only")
        for src in sources:
            if any(np.may_share_memory(plane, s) for s in src.planes()):
                raise ValueError("the destination shares memory with a source; "
                                 "draw into a separate array")


def _whole(value, what, low, high=_INT32[1]):
    if isinstance(value, bool) or not isinstance(value, (int, np.integer)):
        raise TypeError(f"{what} must be an integer, not {type(value).__name__}")
    if not low <= value <= high:
        raise ValueError(f"{what} must be in {low}..{high}, got {value}")
    return int(value)


def _rect(r, what):
    try:
        values = [float(v) for v in r]
    except (TypeError, ValueError):
        raise TypeError(f"{what} is four numbers (x0, y0, x1, y1)") from None
    if len(values) != 4 or not all(map(math.isfinite, values)):
        raise ValueError(f"{what} is four finite numbers (x0, y0, x1, y1), got {r!r}")
    return values


def raise_reports(lines):
    if lines:
        raise lib.TovrelError(dict.fromkeys(lines))  # one line per distinct message


def run_split(call, parts):
    """Runs call(phase, period) for phases 0..parts-1 with period `parts`,
    phase 0 on this thread and the others on their own threads, and raises
    once for whatever the library reported."""
    if parts == 1:
        return raise_reports(call(0, 1))
    results = [[] for _ in range(parts)]

    def part(i):
        results[i] = call(i, parts)

    helpers = [threading.Thread(target=part, args=(i,)) for i in range(1, parts)]
    for t in helpers:
        t.start()
    try:
        part(0)
    finally:
        for t in helpers:
            t.join()
    raise_reports([line for r in results for line in r])


def polygon_call(dst, src, vertices, flags):
    """A callable (first_line, line_step) -> report lines for one polygon."""
    v = np.ascontiguousarray(vertices, dtype=np.float32)
    if v.ndim != 2 or v.shape[1] != 5:
        raise ValueError(f"vertices are rows (u, v, w, x, y), got shape {v.shape}")
    if not np.isfinite(v).all():
        raise ValueError("vertices must be finite")
    dd, sd = dst.descriptor(), src.descriptor()
    vp = v.ctypes.data_as(ctypes.POINTER(lib.MapVertex))
    fn = lib.library().map_polygon

    def call(first_line, line_step, keep=v):  # keep: the array behind vp
        return lib.call(fn, dd, sd, vp, len(keep), flags, first_line, line_step)

    return call


def rectangle_call(dst, dst_rect, src, src_rect, flags):
    """A callable (line_phase, line_period) -> report lines for one rectangle."""
    dd, sd = dst.descriptor(), src.descriptor()
    fn = lib.library().map_rectangle
    d, s = _rect(dst_rect, "dst_rect"), _rect(src_rect, "src_rect")

    def call(line_phase, line_period):
        return lib.call(fn, dd, *d, sd, *s, flags, line_phase, line_period)

    return call


def _split_args(flags, phase, period, names):
    return (_whole(flags, "flags", 0, (1 << 32) - 1), _whole(phase, names[0], _INT32[0]),
            _whole(period, names[1], 1))


def map_polygon(dst, src, vertices, flags=0, first_line=0, line_step=1):
    """Draws `src` into the polygon `vertices` (rows u, v, w, x, y; at most
    30) of `dst`, both an Image or a numpy array. Only destination lines y
    with (first_line - y) mod line_step == 0 are drawn."""
    dst, src = as_image(dst, "dst"), as_image(src, "src")
    check_destination(dst, [src])
    flags, first_line, line_step = _split_args(flags, first_line, line_step,
                                               ("first_line", "line_step"))
    raise_reports(polygon_call(dst, src, vertices, flags)(first_line, line_step))


def map_rectangle(dst, dst_rect, src, src_rect, flags=0, line_phase=0, line_period=1):
    """Draws the source rectangle src_rect = (x0, y0, x1, y1), in source
    pixels, into dst_rect of `dst` with exact area weighting. Only
    destination lines congruent to line_phase modulo line_period are drawn."""
    dst, src = as_image(dst, "dst"), as_image(src, "src")
    check_destination(dst, [src])
    flags, line_phase, line_period = _split_args(flags, line_phase, line_period,
                                                 ("line_phase", "line_period"))
    raise_reports(rectangle_call(dst, dst_rect, src, src_rect, flags)(line_phase, line_period))


def multisrc_map_rectangle(dst, dst_rect, sources, src_rect, flags=0, line_phase=0,
                           line_period=1):
    """As map_rectangle, for a source plane made of several images placed by
    their `origin` (give them as Image); drawn in list order. All sources
    share one format and either all have alpha planes or none, so the
    library accepts or refuses them as one."""
    dst = as_image(dst, "dst")
    sources = [as_image(s, f"sources[{i}]") for i, s in enumerate(sources)]
    if not sources:
        raise ValueError("multisrc_map_rectangle needs at least one source")
    kinds = {(s.format, s.alpha is None) for s in sources}
    if len(kinds) > 1:
        raise ValueError("the sources differ in format or in having an alpha plane")
    check_destination(dst, sources)
    flags, line_phase, line_period = _split_args(flags, line_phase, line_period,
                                                 ("line_phase", "line_period"))
    d, s = _rect(dst_rect, "dst_rect"), _rect(src_rect, "src_rect")
    descs = [x.descriptor() for x in sources]
    array = (ctypes.POINTER(lib.ImageDescriptor) * len(descs))(*(ctypes.pointer(x) for x in descs))
    raise_reports(lib.call(lib.library().multisrc_map_rectangle, dst.descriptor(), *d, array,
                           len(descs), *s, flags, line_phase, line_period))
