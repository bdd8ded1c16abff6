"""The thin layer: records, array layouts, alpha planes, refusals, loading."""

import ctypes.util
import os
import re
import shutil
import subprocess
import sys

import numpy as np
import pytest

import tovrel
from conftest import ROOT
from tovrel.formats import BY_NAME

rng = np.random.default_rng(7)


def rgbq(h, w):
    return rng.integers(0, 256, (h, w, 4), dtype=np.uint8)


def test_format_codes_are_the_headers():
    header = open(os.path.join(ROOT, "include", "tovrel.h")).read()
    codes = dict(re.findall(r"#define TOVREL_FORMAT_(\w+) (\d+)", header))
    assert {name: int(code) for name, code in codes.items()} == \
        {f.name: f.code for f in tovrel.FORMATS}


# How a source is laid out in memory; the copy must not care.
LAYOUTS = {
    "contiguous": lambda a: a,
    "bottom-up": lambda a: np.flipud(np.flipud(a).copy()),  # negative pitch
    "padded rows": lambda a: np.pad(a, ((0, 0), (3, 5), (0, 0)))[:, 3:-5],
}


@pytest.mark.parametrize("layout", LAYOUTS, ids=list(LAYOUTS))
def test_one_to_one_copies_whatever_the_pitch(layout):
    src = rgbq(9, 11)
    laid = LAYOUTS[layout](src)
    rect = np.zeros_like(src)
    tovrel.map_rectangle(rect, (0, 0, 11, 9), laid, (0, 0, 11, 9))
    poly = LAYOUTS[layout](np.zeros_like(src))  # a bottom-up destination too
    tovrel.map_polygon(poly, laid, [(0, 0, 1, 0, 0), (11, 0, 1, 11, 0), (11, 9, 1, 11, 9),
                                    (0, 9, 1, 0, 9)])
    # The last column and line of a polygon blend a trace of the clamped edge.
    assert (rect == src).all() and (poly[:-1, :-1] == src[:-1, :-1]).all()


@pytest.mark.parametrize("shrink", [1, 2], ids=["1:1", "2:1"])
def test_sources_placed_side_by_side_draw_as_one(shrink):
    whole = rgbq(6, 16)
    parts = [tovrel.Image(whole[:, :8].copy()), tovrel.Image(whole[:, 8:].copy(), origin=(8, 0))]
    w, h = 16 // shrink, 6 // shrink
    one, two = np.zeros((h, w, 4), np.uint8), np.zeros((h, w, 4), np.uint8)
    tovrel.map_rectangle(one, (0, 0, w, h), whole, (0, 0, 16, 6))
    tovrel.multisrc_map_rectangle(two, (0, 0, w, h), parts, (0, 0, 16, 6))
    assert (one == two).all()


@pytest.mark.parametrize("opacity,expect", [(0, "old"), (tovrel.ALPHA_ONE, "src")],
                         ids=["transparent", "opaque"])
def test_source_alpha_plane(opacity, expect):
    src, old = rgbq(6, 8), rgbq(6, 8)
    alpha = np.flipud(np.full((6, 8), opacity, np.uint16))  # bottom-up plane
    dst = old.copy()
    tovrel.map_rectangle(dst, (0, 0, 8, 6), tovrel.Image(src, alpha=alpha), (0, 0, 8, 6))
    assert (dst == (old if expect == "old" else src)).all()


@pytest.mark.parametrize("call,message", [
    (lambda d, s: tovrel.map_polygon(d, s, [(0, 0, 1, 0, 0), (8, 0, 1, 8, 0), (8, 8, 1, 8, 8)],
                                     tovrel.MAP_TILE),
     "RGBQ -> RGBQ with tiling is not supported."),
    (lambda d, s: tovrel.map_rectangle(d, (0, 0, 8, 8), tovrel.Image(
        s, alpha=np.zeros((8, 8), np.uint16)), (0, 0, 8, 8), tovrel.RECT_TILE),
     "rect:rgbq+alpha to rgbq with tiling operation not supported"),
], ids=["polygon", "rectangle"])
def test_refusal_raises_the_message_and_draws_nothing(call, message):
    dst = rgbq(8, 8)
    before = dst.copy()
    with pytest.raises(tovrel.TovrelError) as e:
        call(dst, rgbq(8, 8))
    assert str(e.value) == message and (dst == before).all()


# Every format of the table, drawn 1:1; a format this build does not draw
# yet is skipped.
OTHER = [("YUY2", "polygon"), ("YUY2", "rectangle"), ("W210", "polygon"),
         ("W210", "rectangle"), ("WORD", "polygon"), ("S16X4", "polygon")]


@pytest.mark.parametrize("name,operation", OTHER, ids=[f"{n}-{o}" for n, o in OTHER])
def test_other_formats_copy_one_to_one(name, operation):
    f = BY_NAME[name]
    info = np.iinfo(f.dtype)
    high = min(info.max, 1023) if name == "W210" else info.max
    src = rng.integers(max(info.min, -4096), high, f.shape(6, 8), dtype=f.dtype, endpoint=True)
    dst = np.zeros_like(src)
    try:
        if operation == "polygon":
            tovrel.map_polygon(dst, src, [(0, 0, 1, 0, 0), (8, 0, 1, 8, 0), (8, 6, 1, 8, 6),
                                          (0, 6, 1, 0, 6)])
        else:
            tovrel.map_rectangle(dst, (0, 0, 8, 6), src, (0, 0, 8, 6))
    except tovrel.TovrelError as e:
        if "by this build" in str(e):
            pytest.skip(str(e))
        raise
    inner = (slice(0, -1), slice(0, -2)) if operation == "polygon" else (...,)
    assert np.abs(dst[inner].astype(np.int64) - src[inner]).max() <= 1


def _matrix_call(matrix):
    return lambda src, dst: tovrel.warp_affine(src, matrix, dst=dst)


# (what is wrong, the call, error type, words of the message)
BAD = [
    ("wrong dtype", lambda s, d: tovrel.map_rectangle(d, (0, 0, 4, 4), s.astype(np.float32),
                                                      (0, 0, 4, 4)), TypeError, "float32"),
    ("wrong shape", lambda s, d: tovrel.warp_affine(np.zeros((8, 8, 5), np.uint8), np.eye(2, 3),
                                                    dst=d), TypeError, "shape (8, 8, 5)"),
    ("columns not contiguous", lambda s, d: tovrel.map_polygon(
        d, s[:, ::2], [(0, 0, 1, 0, 0), (4, 0, 1, 8, 0), (4, 8, 1, 8, 8)]),
     ValueError, "not contiguous"),
    ("destination not contiguous", lambda s, d: tovrel.map_rectangle(
        d[:, ::2], (0, 0, 4, 4), s, (0, 0, 4, 4)), ValueError, "not contiguous"),
    ("singular matrix", _matrix_call([[1, 2, 0], [2, 4, 0]]), ValueError, "not invertible"),
    ("matrix shape", _matrix_call(np.eye(3)), ValueError, "2x3"),
    ("vertices shape", lambda s, d: tovrel.map_polygon(d, s, [(0, 0, 0, 0)]),
     ValueError, "rows (u, v, w, x, y)"),
    ("dst aliases src", lambda s, d: tovrel.warp_affine(d, np.eye(2, 3), dst=d),
     ValueError, "shares memory"),
]


@pytest.mark.parametrize("call,error,words", [b[1:] for b in BAD], ids=[b[0] for b in BAD])
def test_bad_input_raises_and_touches_nothing(call, error, words):
    src, dst = rgbq(8, 8), rgbq(8, 8)
    before = dst.copy()
    with pytest.raises(error, match=re.escape(words)):
        call(src, dst)
    assert (dst == before).all()


def _load_in(directory, env):
    return subprocess.run([sys.executable, "-c", "import tovrel; print(tovrel.library_path())"],
                          env=env, cwd=directory, capture_output=True, text=True)


def test_library_is_found_beside_the_package_or_names_what_was_tried(tmp_path):
    library = os.environ["TOVREL_LIBRARY"]
    shutil.copytree(os.path.join(os.path.dirname(tovrel.__file__)), tmp_path / "tovrel",
                    ignore=shutil.ignore_patterns("__pycache__"))
    env = {k: v for k, v in os.environ.items() if k != "TOVREL_LIBRARY"}
    if ctypes.util.find_library("tovrel") is None:  # not installed on the system
        missing = _load_in(tmp_path, env)
        assert missing.returncode != 0 and "LibraryNotFound" in missing.stderr
        assert str(tmp_path / "tovrel" / "libtovrel.so") in missing.stderr
    os.symlink(os.path.realpath(library), tmp_path / "tovrel" / "libtovrel.so")
    beside = _load_in(tmp_path, env)
    assert beside.stdout.strip() == str(tmp_path / "tovrel" / "libtovrel.so"), beside.stderr
    named = _load_in(tmp_path, dict(env, TOVREL_LIBRARY="/nonexistent/libtovrel.so"))
    assert "TOVREL_LIBRARY=/nonexistent/libtovrel.so" in named.stderr
