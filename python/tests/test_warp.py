"""The OpenCV-convention layer: agreement with cv2, moire, threads, widening."""

import numpy as np
import pytest

import moire
import tovrel

try:
    import cv2
except ImportError:
    cv2 = None
needs_cv2 = pytest.mark.skipif(cv2 is None, reason="python3-opencv is not installed")


def smooth_texture(n, seed):
    """A smooth RGBA texture and g, its largest step between neighbours."""
    rng = np.random.default_rng(seed)
    coarse = rng.uniform(12, 243, (n // 8 + 2, n // 8 + 2, 4))
    t = (np.arange(n) + 0.5) / 8
    i, f = t.astype(int), (t % 1)[:, None]
    rows = coarse[i] * (1 - f[..., None]) + coarse[i + 1] * f[..., None]
    tex = rows[:, i] * (1 - f[None, :, :]) + rows[:, i + 1] * f[None, :, :]
    tex = np.clip(tex + rng.integers(-6, 7, tex.shape), 0, 255).astype(np.uint8)
    g = max(np.abs(np.diff(tex.astype(int), axis=a)).max() for a in (0, 1))
    return tex, g


def source_points(h, n):
    """Source point (continuous) and local minification of each pixel of
    an n x n destination."""
    inverse = np.linalg.inv(h)
    y, x = np.mgrid[0:n, 0:n].astype(np.float64)

    def at(dx, dy):
        p = inverse @ np.stack([(x + dx).ravel(), (y + dy).ravel(), np.ones(x.size)])
        return (p[:2] / p[2] + 0.5).reshape(2, n, n)

    s, sx, sy = at(0, 0), at(1, 0), at(0, 1)
    return s, np.maximum(np.hypot(*(sx - s)), np.hypot(*(sy - s)))


def interior(h, n, margin=1.5):
    """Destination pixels whose source point keeps clear of the clamped
    borders of an n x n source."""
    (u, v), _ = source_points(h, n)
    return (u >= margin) & (v >= margin) & (u <= n - 1 - margin) & (v <= n - 1 - margin)


# (scale, degrees, tu, tv): destination to source, u = R(x) / scale + t, as
# in the C++ cross-check, whose bound at footprint slot 1 is 2 + 3g/128.
AFFINE = [(1.0, 0.0, 0.3, 0.7), (1.25, 17.0, 9.0, -4.0), (1.1, -33.0, -10.0, 25.0),
          (1.02, 90.0, 63.0, 1.0)]


@needs_cv2
@pytest.mark.parametrize("scale,degrees,tu,tv", AFFINE, ids=[f"{c[1]:g}deg" for c in AFFINE])
def test_warp_affine_agrees_with_cv2_linear(scale, degrees, tu, tv):
    n = 64
    src, g = smooth_texture(n, int(degrees) + 100)
    r = np.radians(degrees)
    cs, sn = np.cos(r) / scale, np.sin(r) / scale
    u0, v0 = cs * 0.5 - sn * 0.5 + tu, sn * 0.5 + cs * 0.5 + tv
    inverse = np.array([[cs, -sn, u0 - 0.5], [sn, cs, v0 - 0.5]])
    forward = cv2.invertAffineTransform(inverse)
    ours = tovrel.warp_affine(src, forward, (n, n), edge_aa=False)
    theirs = cv2.warpAffine(src, forward, (n, n), flags=cv2.INTER_LINEAR,
                            borderMode=cv2.BORDER_REPLICATE)
    inside = interior(np.vstack([forward, [0, 0, 1]]), n)
    assert inside.sum() > n * n / 4
    assert np.abs(ours.astype(int) - theirs)[inside].max() <= 2 + 3 * g / 128
    again = tovrel.warp_affine(src, inverse, (n, n), inverse_map=True, edge_aa=False)
    assert np.abs(again.astype(int) - ours).max() <= 1


@needs_cv2
def test_warp_perspective_agrees_with_cv2_linear():
    n = 64
    src, g = smooth_texture(n, 5)
    h = np.array([[1.2, 0.1, -8.0], [0.02, 1.15, -6.0], [0.002, 0.001, 1.0]])  # enlarges
    ours = tovrel.warp_perspective(src, h, (n, n), edge_aa=False)
    theirs = cv2.warpPerspective(src, h, (n, n), flags=cv2.INTER_LINEAR,
                                 borderMode=cv2.BORDER_REPLICATE)
    inside = interior(h, n)
    assert inside.sum() > n * n / 4
    assert np.abs(ours.astype(int) - theirs)[inside].max() <= 2 + 3 * g / 128


@needs_cv2
def test_zone_plate_minified_four_to_one_shows_no_moire(tmp_path):
    # The example's zone plate reaches the source's Nyquist limit at radius
    # n/2 and is minified 4:1 and turned 10 degrees. Wherever its frequency
    # lies above the destination's Nyquist limit (1/8 cycle per source
    # pixel) an ideal result is flat grey: all energy left there is
    # aliasing. Measured: tovrel keeps 5.7% of cv2.warpAffine's
    # (INTER_LINEAR) energy in that band; at most 10% is accepted. Below a
    # quarter of that limit both keep the rings.
    plate, k = moire.zone_plate()
    d = moire.SIZE // moire.DIVISOR
    name, theirs, ours = moire.pair(plate, moire.rotation(), d)
    assert name == "opencv"
    ours, theirs = ours - 127.5, theirs - 127.5
    y, x = np.mgrid[0:d, 0:d] - (d - 1) / 2
    radius = moire.DIVISOR * np.hypot(x, y)  # in source pixels
    frequency = k * radius / np.pi  # cycles per source pixel
    high = (frequency > 1 / 8) & (radius < moire.SIZE / 2 - 8)
    low = frequency < 1 / 32
    assert (ours ** 2)[high].mean() <= 0.10 * (theirs ** 2)[high].mean()
    assert (ours ** 2)[low].mean() >= 0.9 * (theirs ** 2)[low].mean()
    moire.main(str(tmp_path))
    assert sorted(p.name for p in tmp_path.iterdir()) == ["moire_opencv.png", "moire_tovrel.png"]


@needs_cv2
@pytest.mark.parametrize("size", [(32, 16), (16, 8)], ids=["2:1", "4:1"])
def test_resize_agrees_with_cv2_area(size):
    src, _ = smooth_texture(64, 3)
    src = src[:32]
    ours = tovrel.resize(src, size)
    theirs = cv2.resize(src, size, interpolation=cv2.INTER_AREA)
    assert np.abs(ours.astype(int) - theirs).max() <= 1


def _warp(src, threads):
    m = np.array([[0.8, 0.3, 5.0], [-0.3, 0.8, 20.0]])
    return tovrel.warp_affine(src, m, (47, 61), background=(9, 8, 7, 6), threads=threads)


def _resize(src, threads):
    return tovrel.resize(src, (29, 37), threads=threads)


@pytest.mark.parametrize("operation", [_warp, _resize], ids=["warp_affine", "resize"])
def test_threads_split_by_lines_give_the_same_pixels(operation):
    src, _ = smooth_texture(64, 11)
    assert (operation(src, 3) == operation(src, 1)).all()


@pytest.mark.parametrize("channels,background,wide", [
    (3, (1, 2, 3), (1, 2, 3, 255)), (0, 5, (5, 5, 5, 255))], ids=["BGR", "grey"])
def test_fewer_components_are_widened_and_narrowed(channels, background, wide):
    src, _ = smooth_texture(64, 12)
    src[..., 3] = 255
    if channels == 0:
        src[..., 1] = src[..., 2] = src[..., 0]
    given = src[..., :channels] if channels else src[..., 0]
    m = np.array([[0.8, 0.3, 5.0], [-0.3, 0.8, 20.0]])
    out = tovrel.warp_affine(given, m, (47, 61), background=background)
    expect = tovrel.warp_affine(src, m, (47, 61), background=wide)
    assert (out == (expect[..., :channels] if channels else expect[..., 0])).all()


@needs_cv2
def test_far_end_of_a_plane_is_filtered_as_strongly_as_it_shrinks():
    # A zone plate as a floor: 1:1 at the bottom edge, minified more than
    # 8:1 at the top. Drawn as one polygon, the whole floor would get the
    # footprint of its overall minification (about 1:1) and its far end
    # would alias like cv2's bilinear warp (measured 93% of cv2's aliased
    # energy where the floor shrinks 4:1 or more); drawn in bands, 10%.
    n = d = 256
    plate, k = moire.zone_plate(n)
    corners = np.float32([[0, 0], [n, 0], [n, n], [0, n]]) - 0.5
    floor = np.float32([[112, 4], [144, 4], [d, 252], [0, 252]]) - 0.5
    h = cv2.getPerspectiveTransform(corners, floor)
    ours = tovrel.warp_perspective(plate, h, (d, d)).astype(float) - 127.5
    theirs = cv2.warpPerspective(plate, h, (d, d)).astype(float) - 127.5
    (u, v), shrink = source_points(h, d)
    radius = np.hypot(u - n / 2, v - n / 2)
    aliased = (k * radius / np.pi > 0.5 / shrink) & (radius < n / 2 - 8) & (shrink >= 4)
    assert aliased.sum() > 500
    assert (ours ** 2)[aliased].mean() <= 0.25 * (theirs ** 2)[aliased].mean()


@needs_cv2
@pytest.mark.parametrize("quad", [[[100, 5], [140, 5], [255, 200], [0, 200]],
                                  [[5, 100], [200, 0], [200, 255], [5, 140]]],
                         ids=["floor (bands of lines)", "wall (bands of columns)"])
def test_bands_meet_without_seams(quad):
    n = 256
    h = cv2.getPerspectiveTransform(np.float32([[0, 0], [n, 0], [n, n], [0, n]]) - 0.5,
                                    np.float32(quad) - 0.5)
    assert len(tovrel.warp.polygon_vertices(h.tolist(), n, n, n, n)) > 4
    out = tovrel.warp_perspective(np.full((n, n), 200, np.uint8), h, (n, n))
    inside = cv2.erode((out > 0).astype(np.uint8), np.ones((3, 3), np.uint8)) > 0
    assert (out[inside] == 200).all()


@needs_cv2
def test_source_crossing_the_horizon_is_drawn_where_cv2_draws():
    n = 64
    src = np.full((n, n, 4), 200, np.uint8)
    h = np.array([[1.0, 0.0, 10.0], [0.0, 1.0, 10.0], [0.0, -0.03, 1.0]])  # v > 33 is behind
    ours = tovrel.warp_perspective(src, h, (n, n), edge_aa=False)[..., 0] > 100
    theirs = cv2.warpPerspective(src, h, (n, n))[..., 0] > 100
    assert theirs.sum() > n * n / 4
    assert (ours != theirs).sum() <= 0.02 * theirs.sum()
