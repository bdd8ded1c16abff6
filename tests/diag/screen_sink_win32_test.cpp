// The screen sink draws on the primary display with GDI (Windows only; the
// test suite runs under wine with a virtual display).
#if defined(_WIN32)
#include "diag/diag.h"

#include <gtest/gtest.h>

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

namespace tovrel {
namespace {

TEST(ScreenSink, DrawsTheLineAndABlueMarkerBelowIt) {
    char line[] = "screen sink test line\n";
    ASSERT_NE(diag_screen_line(line), 0);
    // The text ends at its newline; the sink cut it there.
    EXPECT_STREQ(line, "screen sink test line");

    HDC dc = GetDC(nullptr);
    ASSERT_NE(dc, nullptr);
    // The first line is drawn at y 0; the blue bar of 90 spaces lies at y 20.
    const COLORREF bar = GetPixel(dc, 4, 25);
    ReleaseDC(nullptr, dc);
    if (bar == CLR_INVALID) GTEST_SKIP() << "no readable screen";
    EXPECT_EQ(bar, RGB(0, 0, 255));
}

TEST(ScreenSink, DrawLineReleasesItsDeviceContext) {
    EXPECT_NE(diag_draw_line(0, 100, 50, 100, RGB(255, 0, 0)), 0);
    HDC dc = GetDC(nullptr);
    const COLORREF end = GetPixel(dc, 50, 100);
    ReleaseDC(nullptr, dc);
    if (end == CLR_INVALID) GTEST_SKIP() << "no readable screen";
    EXPECT_EQ(end, RGB(255, 0, 0)); // the end point itself is painted
}

} // namespace
} // namespace tovrel
#endif
