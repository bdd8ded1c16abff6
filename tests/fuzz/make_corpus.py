#!/usr/bin/env python3
"""Writes the seed corpus of the fuzz targets (corpus/<target>/) in the
input layout the targets read (see fuzz_image.h and each target's header
comment): valid operations of every format family and alpha combination,
fields, tiling, anti-aliasing, line selection, and a few refusals.

Usage: make_corpus.py [OUT_DIR]   (default: corpus/ beside this script)
"""
import os
import struct
import sys

RGBQ, YUY2, WORD, YUVQ, W210, S16X4A, S16X4 = 1, 2, 3, 4, 6, 10, 11
STRAIGHT, PREMUL = 0, 1  # alpha_mode selectors: 1 and 0


def image(fmt, w, h, alpha=False, mode=STRAIGHT, pitch=0, pad=0, fill=0, seed=1,
          size_kind=0):
    """An image plan: pitch kinds 0 +row, 1 -row, 2 +padded, 3 -padded, 4 zero."""
    return struct.pack('<BBHHBBBBBBBI', fmt, size_kind, (w - 1) % 65536, (h - 1) % 65536,
                       pitch, pad, 3 if alpha else 0, mode, pitch, pad, fill, seed)


def lines(mode=0, a=0, b=0):
    return struct.pack('<Bii', mode, a, b)


def header(flags, line_sel, nulls=0, high=0):
    return struct.pack('<BBB', flags, high, nulls) + line_sel


def coarse(value, scale):
    """A coarse coordinate (kind 0): an int16 over `scale`."""
    n = int(round(value * scale))
    assert -32768 <= n < 32768 and n / scale == value, value
    return struct.pack('<h', n)


def vertex(u, v, x, y, w=None):
    """Kind 0 for u, v, x, y (value * 64); w 1.0 (kind 0) or k / 256 (kind 1)."""
    kinds = 0 if w is None else 1 << 4
    out = struct.pack('<H', kinds) + coarse(u, 64) + coarse(v, 64)
    if w is not None:
        k = int(round(w * 256))
        out += struct.pack('<I', k - 1)
    return out + coarse(x, 64) + coarse(y, 64)


def polygon(flags, dst, src, verts, line_sel=None, nulls=0):
    line_sel = line_sel or lines()
    return (header(flags, line_sel, nulls) + struct.pack('<B', len(verts) + 3) + dst + src +
            b''.join(verts))


def quad(sw, sh, x0, y0, x1, y1):
    return [vertex(0, 0, x0, y0), vertex(sw, 0, x1, y0), vertex(sw, sh, x1, y1),
            vertex(0, sh, x0, y1)]


def rotated(sw, sh, cx, cy, r):
    # A diamond: texture corners on the destination's axes.
    return [vertex(0, 0, cx, cy - r), vertex(sw, 0, cx + r, cy), vertex(sw, sh, cx, cy + r),
            vertex(0, sh, cx - r, cy)]


def perspective(sw, sh):
    return [vertex(0, 0, 10, 8, 1.0), vertex(sw, 0, 90, 12, 0.5), vertex(sw, sh, 100, 70, 0.5),
            vertex(0, sh, 4, 60, 1.0)]


def rect_coords(d, s):
    return struct.pack('<H', 0) + b''.join(coarse(v, 32) for v in list(d) + list(s))


def rectangle(flags, dst, src, d, s, line_sel=None, nulls=0):
    line_sel = line_sel or lines()
    return header(flags, line_sel, nulls) + dst + src + rect_coords(d, s)


def multisrc(flags, dst, d, s, sources, line_sel=None):
    line_sel = line_sel or lines()
    out = header(flags, line_sel) + struct.pack('<B', len(sources) + 2) + dst + rect_coords(d, s)
    for kind, ox, oy, plan in sources:
        out += struct.pack('<Bii', kind, ox, oy) + plan
    return out


def polygon_seeds():
    seeds = []
    families = [(RGBQ, False), (RGBQ, True), (YUY2, False), (YUY2, True), (W210, False),
                (W210, True), (WORD, False)]
    for fmt, src_alpha in families:
        for dst_alpha in (False, True):
            src = image(fmt, 64, 48, alpha=src_alpha, seed=fmt)
            dst = image(fmt, 120, 90, alpha=dst_alpha, pitch=2, pad=3, seed=7)
            flags = 16 if (fmt == WORD and dst_alpha) else 0
            seeds.append(polygon(flags, dst, src, quad(64, 48, 10.25, 5.5, 100.75, 80.5)))
            seeds.append(polygon(flags | 2, dst, src, rotated(64, 48, 60, 45, 40.5)))
    # Minification footprints, fields, tiling with anti-aliasing, perspective.
    src = image(RGBQ, 200, 160, seed=3)
    dst = image(RGBQ, 100, 80, alpha=True, seed=4)
    for flags in (0, 1, 4, 8, 12, 2 | 16, 2 | 4, 2 | 1):
        seeds.append(polygon(flags, dst, src, quad(200, 160, 3.5, 2.25, 97.5, 77.75)))
    seeds.append(polygon(0, dst, src, quad(200, 160, 40, 30, 48, 36)))  # strong reduction
    seeds.append(polygon(2, image(YUY2, 101, 61, pitch=1), image(YUY2, 33, 17, pitch=3, pad=5),
                         perspective(33, 17)))
    seeds.append(polygon(0, image(RGBQ, 100, 80), image(RGBQ, 40, 30), perspective(40, 30)))
    # Four-component 16-bit textures into both destinations.
    for sf in (S16X4A, S16X4):
        for df in (S16X4A, S16X4):
            for flags in (0, 2 | 16):
                seeds.append(polygon(flags, image(df, 50, 40, seed=df), image(sf, 30, 20, seed=sf),
                                     rotated(30, 20, 25, 20, 18)))
    # Line selection, negative pitches, one-pixel images, many vertices.
    seeds.append(polygon(0, image(RGBQ, 80, 60, pitch=1), image(RGBQ, 16, 16, pitch=1),
                         quad(16, 16, 0, 0, 80, 60), lines(1, 1, 1)))
    seeds.append(polygon(2, image(RGBQ, 80, 60), image(RGBQ, 16, 16),
                         quad(16, 16, 0, 0, 80, 60), lines(1, -1, 2)))
    seeds.append(polygon(0, image(RGBQ, 1, 1), image(RGBQ, 1, 1), quad(1, 1, 0, 0, 1, 1)))
    ring = []
    for i in range(30):
        ring.append(vertex(16 + (i % 7), 16 + (i % 5), 40 + (i * 7) % 31, 2 * i + 1))
    seeds.append(polygon(2, image(RGBQ, 80, 70), image(RGBQ, 32, 32), ring))
    # Drawn by line phases and compared with one call (line mode 7).
    for b, flags in enumerate((0, 2, 2 | 16, 2 | 8)):
        seeds.append(polygon(flags, image(RGBQ, 90, 70, alpha=(flags & 16) != 0),
                             image(RGBQ, 64, 48), rotated(64, 48, 45, 35, 38.5), lines(7, 0, b)))
    seeds.append(polygon(2, image(RGBQ, 100, 80), image(RGBQ, 40, 30), perspective(40, 30),
                         lines(7, 0, 3)))
    # Refusals: an unsupported source, tiling without destination alpha.
    for fmt in (0, YUVQ, 5, 12):
        seeds.append(polygon(0, image(RGBQ, 40, 30), image(fmt, 20, 20), quad(20, 20, 0, 0, 40, 30)))
    seeds.append(polygon(16, image(RGBQ, 40, 30), image(RGBQ, 20, 20), quad(20, 20, 0, 0, 40, 30)))
    return seeds


def rectangle_seeds():
    seeds = []
    for fmt in (RGBQ, YUY2, W210):
        for src_alpha in (False, True):
            for dst_alpha in (False, True):
                for mode in (STRAIGHT, PREMUL):
                    src = image(fmt, 60, 40, alpha=src_alpha, mode=mode, seed=fmt)
                    dst = image(fmt, 100, 70, alpha=dst_alpha, mode=mode, pitch=3, pad=2)
                    seeds.append(rectangle(0, dst, src, (10.5, 3.25, 90.75, 66.5),
                                           (0, 0, 60, 40)))
                seeds.append(rectangle(16, image(fmt, 80, 60, alpha=dst_alpha),
                                       image(fmt, 80, 60, alpha=src_alpha),
                                       (0.25, 0, 40.5, 30), (0, 0, 80, 60)))
    # Exact enlargement ratios on aligned YUY2 and W210 rectangles.
    for fmt in (YUY2, W210):
        for num, den, width in ((16, 9, 64), (2, 1, 32), (8, 3, 32), (9, 8, 36), (3, 2, 24),
                                (4, 3, 32)):
            src_w = width * den // num
            seeds.append(rectangle(0, image(fmt, 200, 40), image(fmt, 64, 30),
                                   (2, 0, 2 + width, 30), (0, 0, src_w, 30)))
    # Fields, line phase, sources starting outside, yuvq sources.
    for flags in (4, 8, 64, 128, 4 | 64, 8 | 128):
        seeds.append(rectangle(flags, image(RGBQ, 90, 60, pitch=1), image(RGBQ, 45, 30),
                               (0, 0, 90, 60), (0, 0, 45, 30), lines(1, 1, 1)))
    seeds.append(rectangle(0, image(RGBQ, 90, 60), image(RGBQ, 45, 30), (0, 0, 90, 60),
                           (-5.5, -3.25, 40, 30)))
    for dst_fmt in (YUY2, W210, RGBQ):
        for flags in (0, 16):
            seeds.append(rectangle(flags, image(dst_fmt, 64, 32, alpha=True),
                                   image(YUVQ, 64, 32, alpha=True), (0, 0, 64, 32),
                                   (0, 0, 64, 32)))
    # Drawn by line phases and compared with one call (line mode 7).
    for b, (flags, src_alpha, dst_alpha) in enumerate(((0, False, False), (16, False, True),
                                                       (64, True, False), (4 | 16, True, True))):
        seeds.append(rectangle(flags, image(RGBQ, 90, 60, alpha=dst_alpha),
                               image(RGBQ, 45, 30, alpha=src_alpha), (1.5, 0.75, 88.25, 59.5),
                               (0.5, 0.25, 44, 29), lines(7, 0, b)))
    # Refusals and one-pixel images.
    for fmt in (0, WORD, S16X4, 9):
        seeds.append(rectangle(0, image(fmt, 20, 20), image(fmt, 20, 20), (0, 0, 20, 20),
                               (0, 0, 20, 20)))
    seeds.append(rectangle(0, image(RGBQ, 1, 1), image(RGBQ, 1, 1), (0, 0, 1, 1), (0, 0, 1, 1)))
    return seeds


def multisrc_seeds():
    seeds = []
    for fmt in (RGBQ, YUY2, W210):
        for flags in (0, 16):
            sources = [(0, 0, 0, image(fmt, 36, 30, seed=1)), (0, 36, 0, image(fmt, 36, 30, seed=2)),
                       (0, 0, 30, image(fmt, 72, 20, seed=3))]
            seeds.append(multisrc(flags, image(fmt, 120, 90), (4.5, 2, 110, 80),
                                  (30, 10, 50, 40), sources))
            seeds.append(multisrc(flags, image(fmt, 120, 90, alpha=True), (-10, -5, 100, 95),
                                  (0, 0, 72, 50), sources, lines(1, 1, 1)))
    sources = [(0, 0, 0, image(RGBQ, 36, 30, seed=1)), (0, 36, 0, image(RGBQ, 36, 30, seed=2))]
    seeds.append(multisrc(16, image(RGBQ, 120, 90), (4.5, 2, 110, 80), (20, 3, 60, 27), sources,
                          lines(7, 0, 1)))
    seeds.append(multisrc(0, image(RGBQ, 64, 64), (0, 0, 64, 64), (0, 0, 32, 32),
                          [(0, 0, 0, image(RGBQ, 32, 32, alpha=True)),
                           (0, 16, 16, image(RGBQ, 32, 32, alpha=True, mode=PREMUL))]))
    seeds.append(multisrc(0, image(YUY2, 64, 32, alpha=True), (0, 0, 64, 32), (0, 0, 64, 32),
                          [(0, 0, 0, image(YUVQ, 64, 32, alpha=True))]))
    seeds.append(multisrc(0, image(RGBQ, 16, 16), (0, 0, 16, 16), (0, 0, 8, 8),
                          [(15, 0, 0, image(RGBQ, 8, 8)), (0, 0, 0, image(RGBQ, 8, 8))]))
    return seeds


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    out = sys.argv[1] if len(sys.argv) > 1 else os.path.join(here, 'corpus')
    for target, seeds in (('fuzz_map_polygon', polygon_seeds()),
                          ('fuzz_map_rectangle', rectangle_seeds()),
                          ('fuzz_multisrc_map_rectangle', multisrc_seeds())):
        directory = os.path.join(out, target)
        os.makedirs(directory, exist_ok=True)
        for name in os.listdir(directory):
            if name.startswith('seed-'):
                os.remove(os.path.join(directory, name))
        for i, data in enumerate(seeds):
            with open(os.path.join(directory, 'seed-%03d' % i), 'wb') as f:
                f.write(data)
        print('%s: %d seeds' % (target, len(seeds)))


if __name__ == '__main__':
    main()
