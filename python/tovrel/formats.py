"""The pixel formats of the library, one row each.

An image is a numpy array of shape (height, width, channels), or
(height, width) for one channel, with the row's dtype. A format the
library does not draw in this build is refused by it (TovrelError).
"""

from dataclasses import dataclass

import numpy as np


@dataclass(frozen=True)
class Format:
    name: str
    code: int  # the descriptor's format byte
    dtype: np.dtype
    channels: int  # length of the last axis; 1 means a 2-D array
    pair: bool = False  # 4:2:2: two pixels share one chroma pair (Y0 U Y1 V)
    inferred: bool = True  # chosen for arrays of its dtype and channels when no format is named
    black: tuple = (0,)  # a black pixel: zero luma and neutral chroma

    @property
    def bytes_per_pixel(self):
        return self.dtype.itemsize * self.channels

    def shape(self, height, width):
        return (height, width) if self.channels == 1 else (height, width, self.channels)


_u8, _u16, _i16 = np.dtype(np.uint8), np.dtype("<u2"), np.dtype("<i2")

FORMATS = (
    Format("RGBQ", 1, _u8, 4),
    Format("YUY2", 2, _u8, 2, pair=True, black=(0, 128)),
    Format("WORD", 3, _u16, 1),
    Format("YUVQ", 4, _u8, 4, inferred=False),  # rectangle sources only
    Format("W210", 6, _u16, 2, pair=True, black=(0, 512)),
    Format("S16X4A", 10, _i16, 4, inferred=False),  # 4th component premultiplied alpha
    Format("S16X4", 11, _i16, 4),
)

BY_NAME = {f.name: f for f in FORMATS}
_BY_LAYOUT = {(f.dtype, f.channels): f for f in FORMATS if f.inferred}


def lookup(name):
    if isinstance(name, Format):
        return name
    try:
        return BY_NAME[str(name).upper()]
    except KeyError:
        raise ValueError(f"unknown format {name!r}; formats: {', '.join(BY_NAME)}") from None


def layouts():
    return ", ".join(f"{f.name} {f.dtype.name} ({', '.join(map(str, f.shape('H', 'W')))})"
                     for f in FORMATS)


def infer(array):
    """The format of an array of a given dtype and shape."""
    channels = 1 if array.ndim == 2 else array.shape[-1]
    f = _BY_LAYOUT.get((array.dtype, channels)) if array.ndim in (2, 3) else None
    if f is None:
        raise TypeError(f"no tovrel format holds a {array.dtype.name} array of shape "
                        f"{array.shape}; formats: {layouts()}")
    return f
