#!/usr/bin/env python3
"""Moire from a minifying warp, and the same warp area-filtered.

A 1024x1024 zone plate, whose rings reach one cycle per two pixels at its
edge, is turned 10 degrees and minified 4:1 into 256x256, once by
cv2.warpAffine (INTER_LINEAR) and once by tovrel.warp_affine with the same
matrix. Bilinear sampling reads four texels of every sixteen: the fine rings
fold back into coarse false rings (moire). tovrel filters over the area each
destination pixel covers, so they fade to grey.

    python3 python/examples/moire.py [OUT_DIR]

writes OUT_DIR/moire_opencv.png and OUT_DIR/moire_tovrel.png (default: the
current directory). Without python3-opencv, the unfiltered side is tovrel
with filter=False (nearest texel), which aliases the same way.
"""

import os
import struct
import sys
import zlib

import numpy as np

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), ".."))
import tovrel  # noqa: E402

SIZE, DIVISOR, DEGREES = 1024, 4, 10.0


def zone_plate(n=SIZE):
    """Grey rings cos(k r^2) whose frequency reaches 1/2 cycle per pixel at
    radius n/2; k is returned with them."""
    k = np.pi / n
    y, x = np.mgrid[0:n, 0:n] + 0.5 - n / 2
    return np.rint(127.5 + 127.5 * np.cos(k * (x * x + y * y))).astype(np.uint8), k


def rotation(n=SIZE, divisor=DIVISOR, degrees=DEGREES):
    """OpenCV's forward matrix turning the plate about its centre and
    shrinking it into an n/divisor square (cv2.getRotationMatrix2D's)."""
    a = np.radians(degrees)
    c, s = np.cos(a) / divisor, np.sin(a) / divisor
    centre, d = (n - 1) / 2, (n // divisor - 1) / 2
    return np.array([[c, s, d - c * centre - s * centre], [-s, c, d + s * centre - c * centre]])


def pair(plate, m, size):
    """(name, aliased picture, tovrel's picture)."""
    ours = tovrel.warp_affine(plate, m, (size, size))
    try:
        import cv2
    except ImportError:
        return "tovrel_unfiltered", tovrel.warp_affine(plate, m, (size, size), filter=False), ours
    return "opencv", cv2.warpAffine(plate, m, (size, size), flags=cv2.INTER_LINEAR), ours


def write_png(path, grey):
    """An 8-bit greyscale PNG."""
    h, w = grey.shape
    raw = b"".join(b"\0" + grey[y].tobytes() for y in range(h))

    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(
            ">I", zlib.crc32(kind + data) & 0xffffffff)

    with open(path, "wb") as f:
        f.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", w, h, 8, 0, 0, 0, 0))
                + chunk(b"IDAT", zlib.compress(raw, 9)) + chunk(b"IEND", b""))


def main(out_dir="."):
    plate, _ = zone_plate()
    name, aliased, ours = pair(plate, rotation(), SIZE // DIVISOR)
    os.makedirs(out_dir, exist_ok=True)
    for label, picture in ((name, aliased), ("tovrel", ours)):
        path = os.path.join(out_dir, f"moire_{label}.png")
        write_png(path, picture)
        print(f"{path}: {label}")


if __name__ == "__main__":
    main(*sys.argv[1:2])
