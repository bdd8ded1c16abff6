#!/usr/bin/env python3
"""Ratio table of the peer benchmarks (standard library only).

Reads the JSON files of bench_warp, bench_rect and bench_exact_ratio
(--benchmark_format=json, with --benchmark_repetitions) and prints
Markdown: the ratio table with the targets beside each ratio, then every
benchmark's time.

A benchmark's time is the minimum over its repetitions (the run least
disturbed by other work on a shared machine) of the CPU time per call of
the calling thread; the two-thread workload (8) compares wall-clock times
instead, since its second thread's work is not in the caller's CPU time.
The median and the wall-clock minimum are shown in the second table.

Usage: ratios.py bench_warp.json bench_rect.json bench_exact_ratio.json
"""
import json
import statistics
import sys

# (workload, what is compared, numerator, denominator, low target, high target).
# The ratio is time(numerator) / time(denominator): above 1 means the
# denominator (tovrel, unless stated) is faster.
RATIOS = [
    ("1", "warpAffine INTER_LINEAR / tovrel (affine, 10 deg, x1.05, slot 1)",
     "w1_affine_1080p/cv_warpAffine", "w1_affine_1080p/tovrel", 1.5, None),
    ("1", "pixman BILINEAR / tovrel",
     "w1_affine_1080p/pixman_bilinear", "w1_affine_1080p/tovrel", 2.0, None),
    ("1", "warpAffine INTER_LINEAR CV_16SC4 / tovrel S16X4A (slot 1)",
     "w1_s16x4a_affine_1080p/cv_warpAffine", "w1_s16x4a_affine_1080p/tovrel", 1.0, None),
    ("1", "warpAffine INTER_LINEAR CV_16UC1 / tovrel word (slot 1)",
     "w1_word_affine_1080p/cv_warpAffine", "w1_word_affine_1080p/tovrel", 1.5, None),
    ("1", "pixman OVER premultiplied / tovrel RGBQ + alpha premultiplied",
     "w1_rgbqa_affine_1080p/pixman_over", "w1_rgbqa_affine_1080p/tovrel_premul", 2.0, None),
    ("1", "tovrel RGBQ + alpha straight / premultiplied (cost of the division)",
     "w1_rgbqa_affine_1080p/tovrel_straight", "w1_rgbqa_affine_1080p/tovrel_premul", None, None),
    ("1", "warpAffine INTER_LINEAR CV_8UC2 / tovrel YUY2 (slot 1)",
     "w1_yuy2_affine_1080p/cv_warpAffine", "w1_yuy2_affine_1080p/tovrel", 1.5, None),
    ("1", "warpAffine INTER_LINEAR CV_16UC2 / tovrel W210 (slot 1)",
     "w1_w210_affine_1080p/cv_warpAffine", "w1_w210_affine_1080p/tovrel", 1.5, None),
    ("2", "warpPerspective INTER_LINEAR / tovrel (trapezoid, slot 1)",
     "w2_perspective_1080p/cv_warpPerspective", "w2_perspective_1080p/tovrel", 1.5, None),
    ("2", "pixman projective BILINEAR / tovrel",
     "w2_perspective_1080p/pixman_projective", "w2_perspective_1080p/tovrel", None, None),
    ("3", "warpAffine INTER_LINEAR / tovrel (10 deg, x0.95, slot 6)",
     "w3_affine_s095_1080p/cv_warpAffine", "w3_affine_s095_1080p/tovrel", None, None),
    ("3", "pixman box convolution / tovrel (x0.95, slot 6)",
     "w3_affine_s095_1080p/pixman_box", "w3_affine_s095_1080p/tovrel", None, None),
    ("3", "warpAffine INTER_LINEAR / tovrel (10 deg, x0.5, slot 12)",
     "w3_affine_s050_1080p/cv_warpAffine", "w3_affine_s050_1080p/tovrel", 1.0, None),
    ("3", "pixman box convolution / tovrel (x0.5, slot 12)",
     "w3_affine_s050_1080p/pixman_box", "w3_affine_s050_1080p/tovrel", 4.0, None),
    ("9", "pixman box convolution / tovrel (picture in picture: 480x270 quad, 5 deg, slot 19; "
     "pixman fills the quad's bounding box)",
     "w9_pip_1080p/pixman_box", "w9_pip_1080p/tovrel", 3.0, None),
    ("9", "warpAffine INTER_LINEAR / tovrel (picture in picture, bounding box)",
     "w9_pip_1080p/cv_warpAffine", "w9_pip_1080p/tovrel", None, None),
    ("9", "warpAffine INTER_LINEAR CV_8UC2 / tovrel YUY2 (picture in picture, slot 19, bounding box)",
     "w9_pip_yuy2_1080p/cv_warpAffine", "w9_pip_yuy2_1080p/tovrel", None, None),
    ("9", "warpAffine INTER_LINEAR CV_16SC4 / tovrel S16X4A (picture in picture, slot 19, bounding box)",
     "w9_pip_s16x4a_1080p/cv_warpAffine", "w9_pip_s16x4a_1080p/tovrel", None, None),
    ("4", "edge AA / no AA, workload 1's quad (cost of MAP_EDGE_AA)",
     "w4_edge_aa_frame_1080p/tovrel_edge_aa", "w4_edge_aa_frame_1080p/tovrel", None, None),
    ("4", "edge AA / no AA, slanted quad inside the frame",
     "w4_edge_aa_inset_1080p/tovrel_edge_aa", "w4_edge_aa_inset_1080p/tovrel", None, None),
    ("5", "resize INTER_AREA / tovrel (1080p to 720p)",
     "w5_rect_1080p_to_720p/cv_resize_area", "w5_rect_1080p_to_720p/tovrel", 1.5, None),
    ("5", "libyuv ARGBScale kFilterBox, bilinear at this ratio / tovrel (1080p to 720p)",
     "w5_rect_1080p_to_720p/libyuv_box_runs_bilinear", "w5_rect_1080p_to_720p/tovrel", 0.6, None),
    ("5", "resize INTER_AREA / tovrel (1080p to 540p)",
     "w5_rect_1080p_to_540p/cv_resize_area", "w5_rect_1080p_to_540p/tovrel", 1.5, None),
    ("5", "libyuv ARGBScale box / tovrel (1080p to 540p)",
     "w5_rect_1080p_to_540p/libyuv_box", "w5_rect_1080p_to_540p/tovrel", 1.0, None),
    ("5", "swscale SWS_AREA yuyv422 / tovrel YUY2 (1080p to 720p)",
     "w5_yuy2_1080p_to_720p/swscale_area", "w5_yuy2_1080p_to_720p/tovrel", 2.0, None),
    ("5", "swscale SWS_AREA yuyv422 / tovrel YUY2 (1080p to 540p)",
     "w5_yuy2_1080p_to_540p/swscale_area", "w5_yuy2_1080p_to_540p/tovrel", 2.0, None),
    ("5", "swscale SWS_AREA yuv422p10le / tovrel W210 (1080p to 720p)",
     "w5_w210_1080p_to_720p/swscale_area", "w5_w210_1080p_to_720p/tovrel", 2.0, None),
    ("6", "memcpy / tovrel (1:1 rectangle, share of memcpy speed)",
     "w6_rect_1to1_1080p/memcpy", "w6_rect_1to1_1080p/tovrel", 0.8, None),
    ("6", "memcpy / tovrel (YUY2 1:1, share of memcpy speed)",
     "w6_yuy2_1to1_1080p/memcpy", "w6_yuy2_1to1_1080p/tovrel", 0.8, None),
    ("7", "tovrel 2160p / 1080p, workload 1 (cost growth)",
     "w7_affine_2160p/tovrel", "w1_affine_1080p/tovrel", 3.6, 4.4),
    ("7", "tovrel 2160p to 1440p / 1080p to 720p, workload 5",
     "w7_rect_2160p_to_1440p/tovrel", "w5_rect_1080p_to_720p/tovrel", 3.6, 4.4),
    ("7", "tovrel 2160p to 1080p / 1080p to 540p, workload 5",
     "w7_rect_2160p_to_1080p/tovrel", "w5_rect_1080p_to_540p/tovrel", 3.6, 4.4),
    ("7", "memcpy 2160p / 1080p frame (the machine's own growth)",
     "w7_copy_2160p/memcpy", "w6_rect_1to1_1080p/memcpy", None, None),
    ("8", "1 thread / 2 threads by line phase (workload 1; wall clock)",
     "w8_threads_1080p/tovrel_1thread", "w8_threads_1080p/tovrel_2threads", 1.8, None),
]

# 10: the exact-ratio kernels (the instruction set map_rectangle takes)
# against the general kernel of the same role on the same rectangle, and
# the YUY2 4/3 and 2 enlargements of whole frames against libswscale.
RATIOS += [
    ("10", f"general / exact-ratio kernel ({r} {fmt} {role})",
     f"kernel_{r}_{fmt}_{role}/general", f"kernel_{r}_{fmt}_{role}/exact", 2.0, None)
    for r in ("x16_9", "x2", "x8_3", "x9_8", "x3_2", "x4_3")
    for fmt in ("yuy2", "w210") for role in ("row1", "row2")
] + [
    ("10", f"swscale {flag} yuyv422 / tovrel YUY2 ({what})",
     f"{w}/{impl}", f"{w}/tovrel", 3.0, None)
    for w, what in (("yuy2_1440x1080_to_1080p", "1440x1080 to 1920x1080, 4/3"),
                    ("yuy2_960x540_to_1080p", "960x540 to 1920x1080, 2"))
    for flag, impl in (("SWS_BILINEAR", "sws_bilinear"), ("SWS_AREA", "sws_area"))
]

# Ratios measured in wall-clock time (the rest in the caller's CPU time).
WALL_CLOCK = {"8"}

UNIT_MS = {"ns": 1e-6, "us": 1e-3, "ms": 1.0, "s": 1e3}


def load(paths):
    """name -> {"cpu": [ms...], "real": [ms...], "error": str or None, "counters": {...}}"""
    runs = {}
    for path in paths:
        with open(path) as f:
            data = json.load(f)
        for b in data.get("benchmarks", []):
            if b.get("run_type", "iteration") != "iteration":
                continue
            name = b.get("run_name", b["name"])
            if name.endswith("/real_time"):
                name = name[: -len("/real_time")]
            entry = runs.setdefault(name, {"cpu": [], "real": [], "error": None, "counters": {}})
            if b.get("error_occurred"):
                entry["error"] = b.get("error_message", "error")
                continue
            unit = UNIT_MS[b.get("time_unit", "ns")]
            entry["real"].append(b["real_time"] * unit)
            entry["cpu"].append(b["cpu_time"] * unit)
            for key in ("slot", "mad_vs_cv", "undrawn", "bytes_not_copied", "lines_not_copied"):
                if key in b:
                    entry["counters"][key] = b[key]
    return runs


def best(runs, name, clock):
    """Minimum time, or None when the benchmark failed, is missing, or left
    its whole destination undrawn (a call that did nothing is no result)."""
    e = runs.get(name)
    if not e or e["error"] or not e[clock]:
        return None
    if e["counters"].get("undrawn", 0.0) >= 0.99:
        e["error"] = "drew nothing"
        return None
    return min(e[clock])


def target_text(lo, hi):
    if lo is not None and hi is not None:
        return f"{lo:g}x to {hi:g}x"
    if lo is not None:
        return f">= {lo:g}x"
    return "(reference)"


def main(argv):
    runs = load(argv[1:])
    out = []
    out.append("| # | ratio | value | target | |")
    out.append("|---|---|---:|---|---|")
    met = missed = 0
    for wl, what, num, den, lo, hi in RATIOS:
        clock = "real" if wl in WALL_CLOCK else "cpu"
        a, b = best(runs, num, clock), best(runs, den, clock)
        if a is None or b is None:
            missing = [n for n, t in ((num, a), (den, b)) if t is None]
            why = "; ".join(
                f"{n}: {runs[n]['error']}" if n in runs and runs[n]["error"] else f"{n}: no result"
                for n in missing)
            out.append(f"| {wl} | {what} | n/a | {target_text(lo, hi)} | {why} |")
            continue
        r = a / b
        if lo is None and hi is None:
            verdict = ""
        elif (lo is None or r >= lo) and (hi is None or r <= hi):
            verdict, met = "met", met + 1
        else:
            verdict, missed = "**missed**", missed + 1
        out.append(f"| {wl} | {what} | {r:.2f}x | {target_text(lo, hi)} | {verdict} |")
    out.append("")
    out.append(f"Targets met: {met}; missed: {missed}.")
    out.append("")
    out.append("| benchmark | CPU ms, min | CPU ms, median | wall ms, min | reps | slot | mean abs diff vs OpenCV | undrawn |")
    out.append("|---|---:|---:|---:|---:|---:|---:|---:|")
    for name in sorted(runs):
        e = runs[name]
        c = e["counters"]
        if e["error"]:
            out.append(f"| {name} | error: {e['error']} | | | | | | |")
            continue
        t = e["cpu"]
        slot = f"{c['slot']:.0f}" if "slot" in c else ""
        mad = f"{c['mad_vs_cv']:.2f}" if "mad_vs_cv" in c else ""
        und = f"{100 * c['undrawn']:.1f}%" if "undrawn" in c else ""
        out.append(f"| {name} | {min(t):.3f} | {statistics.median(t):.3f} | {min(e['real']):.3f} | {len(t)} "
                   f"| {slot} | {mad} | {und} |")
    print("\n".join(out))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
