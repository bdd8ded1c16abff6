"""Warps and resizing in OpenCV's conventions.

warp_affine(src, M, dsize) and warp_perspective(src, H, dsize) take the
forward matrices of cv2.warpAffine and cv2.warpPerspective (source pixel to
destination pixel, pixel centres at whole numbers) and draw the whole
source, area-filtered by its minification, into the quadrilateral it maps
to. resize(src, dsize) scales with exact area weights.

Arrays: uint8 (H, W, 4) is drawn as RGBQ in place; uint8 (H, W, 3) and
(H, W) are widened to four components for the call and narrowed back
(a copy each way); any other array or Image is drawn in its own format.
"""

import math

import numpy as np

from . import core
from .core import Image, as_image, check_destination

# Destination polygons are cut to the frame plus this margin (in pixels),
# so that coordinates stay small whatever the matrix; edges beyond it never
# touch a destination pixel.
_GUARD = 64.0
# The library draws at most this many vertices; a quadrilateral cut by one
# horizon, four guard lines and two band lines has at most eleven.
_MAX_VERTICES = 30
# The library chooses one filter footprint per polygon, from its overall
# minification. A perspective picture whose weights w (and so its scale)
# vary more than this ratio is drawn as bands, cut at whole lines or
# columns, each with its own footprint: the far end of a plane is filtered
# as strongly as it is minified. Bands meet without seams (each
# destination pixel belongs to exactly one band).
_BAND_RATIO = 1.25
_MOST_BANDS = 32


class _Drawable:
    """An input array as the library draws it, and the way back."""

    def __init__(self, array, what):
        self.widened = None
        if isinstance(array, np.ndarray) and array.dtype == np.uint8 and (
                array.ndim == 2 or (array.ndim == 3 and array.shape[2] in (1, 3))):
            self.widened = array.shape[2] if array.ndim == 3 else 0
            wide = np.empty(array.shape[:2] + (4,), np.uint8)
            wide[..., :3] = array.reshape(array.shape[:2] + (-1,))
            wide[..., 3] = 255
            array = wide
        self.image = as_image(array, what)

    def like(self, height, width, background):
        """A new destination in the source's format, filled with `background`."""
        f = self.image.format
        out = np.empty(f.shape(height, width), f.dtype)
        _fill(out, background, f, self.widened)
        return Image(out, f)

    def narrow(self, pixels):
        if self.widened is None:
            return pixels
        if self.widened == 0:
            return np.ascontiguousarray(pixels[..., 0])
        return np.ascontiguousarray(pixels[..., :self.widened])


def _fill(pixels, background, f, widened):
    """Fills a new destination with `background`: one value, or one per
    component of the array as handed in."""
    value = np.atleast_1d(np.asarray(f.black if background is None else background,
                                     np.float64))
    given = f.channels if widened is None else max(widened, 1)
    if widened is not None and value.size == 4:  # an OpenCV Scalar
        value = value[:given]
    if value.ndim != 1 or value.size not in (1, given):
        raise ValueError(f"background is one value or {given} (one per component), "
                         f"got {background!r}")
    info = np.iinfo(f.dtype)
    if not np.all(np.isfinite(value)) or value.min() < info.min or value.max() > info.max:
        raise ValueError(f"background {background!r} does not fit in {f.dtype.name}")
    if widened is not None:  # the fourth component of a widened image is padding
        value = np.append(np.broadcast_to(value, 3), 255)
    pixels[...] = value.astype(f.dtype)


def _size(dsize, dst):
    if dsize is None:
        if dst is None:
            raise ValueError("give dsize=(width, height) or a destination array")
        return None
    try:
        width, height = (int(v) for v in dsize)
    except (TypeError, ValueError):
        raise TypeError(f"dsize is (width, height), got {dsize!r}") from None
    if width < 1 or height < 1:
        raise ValueError(f"dsize must be positive, got {dsize!r}")
    return width, height


def _destination(source, dsize, dst, background):
    """The Image drawn into: `dst` as given, or a new array of the source's
    format filled with `background`."""
    size = _size(dsize, dst)
    if dst is None:
        return source.like(size[1], size[0], background)
    out = as_image(dst, "dst")
    if out.format != source.image.format or source.widened is not None:
        raise ValueError(f"dst is {out.format.name}, but the source is drawn as "
                         f"{source.image.format.name}" + (
                             " (widened from fewer components: leave dst out)"
                             if source.widened is not None else ""))
    if size is not None and size != (out.width, out.height):
        raise ValueError(f"dsize {size} is not the size of dst ({out.width}, {out.height})")
    if background is not None:
        raise ValueError("background fills a new destination; a given dst keeps its pixels "
                         "outside the picture")
    check_destination(out, [source.image])
    return out


def _det3(a):
    return (a[0][0] * (a[1][1] * a[2][2] - a[1][2] * a[2][1])
            - a[0][1] * (a[1][0] * a[2][2] - a[1][2] * a[2][0])
            + a[0][2] * (a[1][0] * a[2][1] - a[1][1] * a[2][0]))


def _matrix(m, rows, name):
    """The 3x3 matrix (as nested lists) of an OpenCV 2x3 or 3x3 one."""
    try:
        a = np.asarray(m, dtype=np.float64)
    except (TypeError, ValueError):
        raise TypeError(f"{name} must be a {rows}x3 matrix of numbers") from None
    if a.shape != (rows, 3):
        raise ValueError(f"{name} must be a {rows}x3 matrix, got shape {a.shape}")
    a = a.tolist() + ([[0.0, 0.0, 1.0]] if rows == 2 else [])
    if not all(map(math.isfinite, a[0] + a[1] + a[2])):
        raise ValueError(f"{name} has values that are not finite")
    det, scale = _det3(a), max(abs(x) for row in a for x in row)
    if not abs(det) > 1e-12 * scale ** 3:
        raise ValueError(f"{name} is not invertible (determinant {det:.3g})")
    return a


def _inverse(a):
    return np.linalg.inv(np.array(a)).tolist()


def _clip(points, keep):
    """Sutherland-Hodgman: the part of a polygon (tuples of attributes) where
    keep(point) >= 0; keep is linear in the attributes."""
    out = []
    a = points[-1]
    ka = keep(a)
    for b in points:
        kb = keep(b)
        if ka >= 0:
            out.append(a)
        if (ka >= 0) != (kb >= 0):
            t = ka / (ka - kb)
            out.append(tuple(p + (q - p) * t for p, q in zip(a, b)))
        a, ka = b, kb
    return out


def polygon_vertices(h, src_width, src_height, dst_width, dst_height):
    """Vertex arrays (rows u, v, w, x, y) that draw the source rectangle
    through the forward homography `h` (3x3, OpenCV pixel centres), one per
    sheet of the projection: a source that crosses the horizon shows on
    both sides of it, as in OpenCV."""
    (a, b, c), (d, e, f), (g, i, j) = h
    corners = [(0.0, 0.0), (float(src_width), 0.0), (float(src_width), float(src_height)),
               (0.0, float(src_height))]
    eps = 1e-9 * (abs(g) * src_width + abs(i) * src_height + abs(j))
    low_x, low_y = -_GUARD, -_GUARD
    high_x, high_y = dst_width + _GUARD, dst_height + _GUARD
    pieces = []
    for sign in (1.0, -1.0):
        def depth(p, sign=sign):
            return sign * (g * (p[0] - 0.5) + i * (p[1] - 0.5) + j)

        sheet = corners
        if any(depth(p) < eps for p in sheet):
            sheet = _clip(sheet, lambda p: depth(p) - eps)
            if len(sheet) < 3:
                continue
        # Screen-linear attributes: x, y, u w, v w, w with w = 1 / depth.
        screen = []
        for u, v in sheet:
            w = 1.0 / depth((u, v))
            su, sv = (u - 0.5) * sign * w, (v - 0.5) * sign * w
            screen.append((a * su + b * sv + c * sign * w + 0.5,
                           d * su + e * sv + f * sign * w + 0.5, u * w, v * w, w))
        for axis, limit, side in ((0, low_x, 1), (0, high_x, -1), (1, low_y, 1),
                                  (1, high_y, -1)):
            if any((q[axis] - limit) * side < 0 for q in screen):
                screen = _clip(screen, lambda q: (q[axis] - limit) * side)
        if len(screen) < 3:
            continue
        for band in _bands(screen):
            top = max(q[4] for q in band)
            # Weights scaled to at most 1; exactly 1 everywhere for an affine map.
            pieces.append(np.array([(q[2] / q[4], q[3] / q[4], q[4] / top, q[0], q[1])
                                    for q in band]))
    assert all(len(p) <= _MAX_VERTICES for p in pieces)
    return pieces


def _bands(screen):
    """A screen polygon (x, y, u w, v w, w) cut into bands of whole lines or
    columns across which w varies by about _BAND_RATIO at most."""
    low = min(screen, key=lambda q: q[4])
    high = max(screen, key=lambda q: q[4])
    if high[4] <= _BAND_RATIO * low[4]:
        return [screen]
    # Cut across the direction in which w changes most between its extremes.
    axis = 0 if abs(high[0] - low[0]) > abs(high[1] - low[1]) else 1
    t0, t1 = low[axis], high[axis]
    count = min(_MOST_BANDS, math.ceil(math.log(high[4] / low[4]) / math.log(_BAND_RATIO)))
    # Boundaries at geometric steps of w, w taken as linear from low to high.
    cuts = sorted({round(t0 + (t1 - t0) * (low[4] * (high[4] / low[4]) ** (k / count) - low[4])
                         / (high[4] - low[4])) for k in range(1, count)})
    start, end = min(q[axis] for q in screen), max(q[axis] for q in screen)
    cuts = [c for c in cuts if start < c < end]
    bands, rest = [], screen
    for c in cuts:
        part = _clip(rest, lambda q: c - q[axis])
        rest = _clip(rest, lambda q: q[axis] - c)
        if len(part) >= 3:
            bands.append(part)
    if len(rest) >= 3:
        bands.append(rest)
    return bands


def _threads(threads, height):
    threads = core._whole(threads, "threads", 1)
    return max(1, min(threads, height))


def _flags(edge_aa, filter):
    return (core.MAP_EDGE_AA if edge_aa else 0) | (0 if filter else core.MAP_NO_FILTER)


def warp_perspective(src, H, dsize=None, dst=None, *, inverse_map=False, edge_aa=True,
                     filter=True, background=None, threads=1):
    """cv2.warpPerspective(src, H, dsize) with area filtering: H maps source
    pixels to destination pixels (or the reverse with inverse_map=True, like
    cv2.WARP_INVERSE_MAP). edge_aa anti-aliases the picture's edges against
    the background; filter=False samples the nearest texel (no area filter).
    Pixels outside the picture are `background` in a new array (default
    black: 0, with neutral chroma in YUY2 and W210) and keep their values
    in a given `dst`.
    threads > 1 splits the destination lines among Python threads. Returns
    the destination array."""
    return _warp(src, _matrix(H, 3, "H"), dsize, dst, inverse_map, edge_aa, filter,
                 background, threads)


def warp_affine(src, M, dsize=None, dst=None, *, inverse_map=False, edge_aa=True,
                filter=True, background=None, threads=1):
    """cv2.warpAffine(src, M, dsize) with area filtering; M is OpenCV's
    forward 2x3 matrix. The options are those of warp_perspective."""
    return _warp(src, _matrix(M, 2, "M"), dsize, dst, inverse_map, edge_aa, filter,
                 background, threads)


def _warp(src, h, dsize, dst, inverse_map, edge_aa, filter, background, threads):
    source = _Drawable(src, "src")
    out = _destination(source, dsize, dst, background)
    if inverse_map:
        h = _inverse(h)
    threads = _threads(threads, out.height)
    calls = [core.polygon_call(out, source.image, v, _flags(edge_aa, filter))
             for v in polygon_vertices(h, source.image.width, source.image.height,
                                       out.width, out.height)]

    def draw(phase, period):
        return [line for call in calls for line in call(phase, period)]

    core.run_split(draw, threads)
    return source.narrow(out.pixels)


def resize(src, dsize=None, dst=None, *, threads=1):
    """cv2.resize(src, dsize, interpolation=cv2.INTER_AREA), with exact
    area weights at any ratio, up or down. Returns the destination array."""
    source = _Drawable(src, "src")
    out = _destination(source, dsize, dst, None)
    call = core.rectangle_call(out, (0, 0, out.width, out.height), source.image,
                               (0, 0, source.image.width, source.image.height), 0)
    core.run_split(call, _threads(threads, out.height))
    return source.narrow(out.pixels)
