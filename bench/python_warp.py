#!/usr/bin/env python3
"""What the Python binding costs: tovrel.warp_affine on workload 1 (a
1920x1080 RGBA frame showing a texture turned 10 degrees and enlarged 1.05)
beside the same map_polygon call made from C, on one thread.

The C side (bench/python_twin.c) is compiled here against the library the
binding loads and runs in this process: a C loop making the map_polygon
call the binding makes, with the very descriptors, vertices and flags, on
the same arrays. Rounds alternate between the two, so that a busy machine
slows both alike, and both measure the CPU time of the calling thread, not
the wall clock, so that time spent waiting for a core on a shared machine
does not count. The figure is the median over rounds of the ratio within a
round. The target: Python costs at most 10% more than C.

    python3 bench/python_warp.py [--rounds N] [--reps N]

Needs a C compiler; finds the library as the package does (TOVREL_LIBRARY,
then build/src/libtovrel.so of this checkout).
"""

import argparse
import ctypes
import math
import os
import statistics
import subprocess
import sys
import tempfile
import time

import numpy as np

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(ROOT, "python"))
_built = os.path.join(ROOT, "build", "src", "libtovrel.so")
if not os.environ.get("TOVREL_LIBRARY") and os.path.exists(_built):
    os.environ["TOVREL_LIBRARY"] = _built

import tovrel  # noqa: E402
from tovrel.warp import polygon_vertices  # noqa: E402

DW, DH, DEGREES, SCALE = 1920, 1080, 10.0, 1.05


def workload_1():
    """Texture just large enough for the frame's preimage, and OpenCV's
    forward matrix: texture centre to frame centre, turned and enlarged."""
    a = math.radians(DEGREES)
    sw = math.ceil((DW * abs(math.cos(a)) + DH * abs(math.sin(a))) / SCALE) + 4
    sh = math.ceil((DW * abs(math.sin(a)) + DH * abs(math.cos(a))) / SCALE) + 4
    c, s = math.cos(a) * SCALE, math.sin(a) * SCALE
    # Continuous coordinates: x = R (u - centre_s) + centre_d; OpenCV's pixel
    # centres sit half a pixel lower on both sides.
    centre_s, centre_d = np.array([sw / 2, sh / 2]), np.array([DW / 2, DH / 2])
    r = np.array([[c, -s], [s, c]])
    t = centre_d - r @ centre_s + r @ [0.5, 0.5] - 0.5
    return sw, sh, np.column_stack([r, t])


def load_twin(directory):
    library = os.path.realpath(tovrel.library_path())
    so = os.path.join(directory, "python_twin.so")
    subprocess.run([os.environ.get("CC", "cc"), "-O2", "-shared", "-fPIC", "-I",
                    os.path.join(ROOT, "include"), os.path.join(ROOT, "bench", "python_twin.c"),
                    "-o", so, library, "-Wl,-rpath," + os.path.dirname(library)], check=True)
    twin = ctypes.CDLL(so).time_map_polygon
    twin.restype = ctypes.c_double
    twin.argtypes = [ctypes.c_void_p] * 3 + [ctypes.c_int32, ctypes.c_uint32, ctypes.c_int32]
    return twin


def time_python(call, reps):
    t0 = time.thread_time()
    for _ in range(reps):
        call()
    return (time.thread_time() - t0) / reps * 1e6


def main():
    ap = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    ap.add_argument("--rounds", type=int, default=15)
    ap.add_argument("--reps", type=int, default=5)
    args = ap.parse_args()

    sw, sh, m = workload_1()
    rng = np.random.default_rng(1)
    src = rng.integers(0, 256, (sh, sw, 4), dtype=np.uint8)
    dst = np.zeros((DH, DW, 4), np.uint8)
    pieces = polygon_vertices(m.tolist() + [[0, 0, 1]], sw, sh, DW, DH)
    assert len(pieces) == 1
    vertices = np.ascontiguousarray(pieces[0], dtype=np.float32)
    flags = 0  # workload 1: no edge anti-aliasing
    dd, sd = tovrel.Image(dst).descriptor(), tovrel.Image(src).descriptor()

    def ours():
        tovrel.warp_affine(src, m, dst=dst, edge_aa=False)

    def ours_new():
        tovrel.warp_affine(src, m, (DW, DH), edge_aa=False)

    with tempfile.TemporaryDirectory() as tmp:
        twin = load_twin(tmp)

        def c_call(reps):
            return twin(ctypes.addressof(dd), ctypes.addressof(sd), vertices.ctypes.data,
                        len(vertices), flags, reps)

        c_call(1)
        ours()
        c_times, py_times, new_times = [], [], []
        for _ in range(args.rounds):
            c_times.append(c_call(args.reps))
            py_times.append(time_python(ours, args.reps))
            new_times.append(time_python(ours_new, args.reps))

    ratio = statistics.median(p / c for p, c in zip(py_times, c_times))
    ratio_new = statistics.median(p / c for p, c in zip(new_times, c_times))
    c = statistics.median(c_times)
    print(f"workload 1 ({DW}x{DH} RGBA, {DEGREES:g} degrees, x{SCALE}; texture {sw}x{sh}), "
          f"one thread, {args.rounds} rounds of {args.reps} calls:")
    print(f"  C map_polygon                       {c:9.1f} us of CPU per call (median; "
          f"fastest {min(c_times):.1f})")
    print(f"  Python warp_affine(..., dst=frame)  {ratio - 1:+9.1%}  (median ratio within a "
          f"round; fastest {min(py_times):.1f} us); target at most +10%")
    print(f"  Python warp_affine, new array       {ratio_new - 1:+9.1%}  (allocation and "
          f"background fill included)")
    return 0 if ratio <= 1.10 else 1


if __name__ == "__main__":
    sys.exit(main())
