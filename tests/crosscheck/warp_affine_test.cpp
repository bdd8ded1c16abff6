// map_polygon against cv::warpAffine (INTER_LINEAR) for affine mappings
// near 1:1, where map_polygon filters bilinearly (footprint slot 1): RGBQ,
// and the Y plane of YUY2 (W210 polygons are pinned by the golden corpus).
//
// Bound: both blend the same four texels with bilinear weights, at slightly
// different positions. OpenCV rounds a position to the nearest 1/32 pixel
// (error <= 1/64); map_polygon truncates it to 1/128 pixel (error < 1/128).
// With g the largest step between neighbouring texels the values differ by
// at most g * (1/64 + 1/128) = 3g/128, plus up to one unit of rounding on
// each side. The textures here are smooth (g is about 35), so the bound is
// 2 + 3g/128, below 3 units. Measured: at most 1 unit on every case.
#include <gtest/gtest.h>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

#include <tovrel.h>

#include "param_names.h"

namespace {

struct affine_case {
    double scale, degrees, tu, tv; // destination to source: u = R(x) / scale + t
};

void PrintTo(const affine_case &c, std::ostream *os) {
    *os << "scale" << c.scale << "_rot" << c.degrees;
}
class WarpAffine : public ::testing::TestWithParam<affine_case> {};

TEST_P(WarpAffine, InteriorAgreesWithOpenCv) {
    constexpr int n = 64;
    const affine_case p = GetParam();
    const unsigned seed = 1234u + static_cast<unsigned>(p.degrees * 10);
    std::mt19937 rng(seed);
    cv::Mat src(n, n, CV_8UC4), dst(n, n, CV_8UC4, cv::Scalar::all(0)), ref;
    int g = 0; // largest step between neighbours
    for (int i = 0; i < n * n * 4; ++i) {
        const int x = i / 4 % n, y = i / 4 / n, c = i % 4;
        const int left = x ? src.at<cv::Vec4b>(y, x - 1)[c] : 128;
        const int up = y ? src.at<cv::Vec4b>(y - 1, x)[c] : left;
        const int t = std::clamp((left + up) / 2 + static_cast<int>(rng() % 25) - 12, 12, 243);
        src.at<cv::Vec4b>(y, x)[c] = static_cast<uint8_t>(t);
        g = std::max({g, std::abs(t - left) * (x > 0), std::abs(t - up) * (y > 0)});
    }

    // Continuous coordinates (pixel centres at k + 0.5): [u v] = A [x y] + t.
    const double r = p.degrees * M_PI / 180.0, cs = std::cos(r) / p.scale,
                 sn = std::sin(r) / p.scale;
    auto map = [&](double x, double y) {
        return std::pair{cs * x - sn * y + p.tu, sn * x + cs * y + p.tv};
    };
    std::vector<map_vertex> v;
    for (auto [x, y] : {std::pair{0, 0}, {n, 0}, {n, n}, {0, n}}) {
        const auto [u, vv] = map(x, y);
        v.push_back({float(u), float(vv), 1.0f, float(x), float(y)});
    }
    const image_descriptor sd{
        0, 0, n, n, TOVREL_FORMAT_RGBQ, 0, 0, src.data, int32_t(src.step), 0, 0, nullptr, 0};
    image_descriptor dd = sd;
    dd.pixels = dst.data;
    map_polygon(&dd, &sd, v.data(), 4, 0, 0, 1);

    // OpenCV places pixel centres at integers: U = A X + A (0.5, 0.5) + t - 0.5.
    const auto [u0, v0] = map(0.5, 0.5);
    const cv::Mat m = (cv::Mat_<double>(2, 3) << cs, -sn, u0 - 0.5, sn, cs, v0 - 0.5);
    cv::warpAffine(src, ref, m, src.size(), cv::INTER_LINEAR | cv::WARP_INVERSE_MAP,
                   cv::BORDER_REPLICATE);

    int worst = 0, compared = 0;
    for (int y = 0; y < n; ++y)
        for (int x = 0; x < n; ++x) {
            const auto [u, vv] = map(x + 0.5, y + 0.5);
            if (u < 1.5 || vv < 1.5 || u > n - 2.5 || vv > n - 2.5) continue; // clamped borders
            ++compared;
            for (int c = 0; c < 4; ++c)
                worst = std::max(worst,
                                 std::abs(dst.at<cv::Vec4b>(y, x)[c] - ref.at<cv::Vec4b>(y, x)[c]));
        }
    std::printf("seed %u, g %d: %d pixels, largest difference %d\n", seed, g, compared, worst);
    EXPECT_GT(compared, n * n / 4);
    EXPECT_LE(worst, static_cast<int>(2 + 3.0 * g / 128));

    // YUY2: the texture's first channel as Y, its second as chroma; the Y
    // plane of the warp against OpenCV on that plane, within the same bound.
    cv::Mat y_src(n, n, CV_8UC1), y_ref, yuy2_src(n, n, CV_8UC2), yuy2_dst(n, n, CV_8UC2);
    for (int i = 0; i < n * n; ++i) {
        const cv::Vec4b t = src.at<cv::Vec4b>(i / n, i % n);
        y_src.at<uint8_t>(i / n, i % n) = t[0];
        yuy2_src.at<cv::Vec2b>(i / n, i % n) = {t[0], t[1]};
    }
    cv::warpAffine(y_src, y_ref, m, src.size(), cv::INTER_LINEAR | cv::WARP_INVERSE_MAP,
                   cv::BORDER_REPLICATE);
    image_descriptor s = sd;
    s.format = TOVREL_FORMAT_YUY2, s.pixels = yuy2_src.data, s.pitch = int32_t(yuy2_src.step);
    image_descriptor d = s;
    d.pixels = yuy2_dst.data;
    map_polygon(&d, &s, v.data(), 4, 0, 0, 1);
    int worst_y = 0;
    for (int y = 0; y < n; ++y)
        for (int x = 0; x < n; ++x) {
            const auto [u, vv] = map(x + 0.5, y + 0.5);
            if (u < 1.5 || vv < 1.5 || u > n - 2.5 || vv > n - 2.5) continue;
            worst_y = std::max(worst_y,
                               std::abs(yuy2_dst.at<cv::Vec2b>(y, x)[0] - y_ref.at<uint8_t>(y, x)));
        }
    std::printf("YUY2 Y plane: largest difference %d\n", worst_y);
    EXPECT_LE(worst_y, static_cast<int>(2 + 3.0 * g / 128));
}

// Magnifications (source ratios below 1) keep slot 1.
INSTANTIATE_TEST_SUITE_P(Mappings, WarpAffine,
                         ::testing::Values(affine_case{1.0, 0.0, 0.3, 0.7},
                                           affine_case{1.25, 17.0, 9.0, -4.0},
                                           affine_case{1.1, -33.0, -10.0, 25.0},
                                           affine_case{1.02, 90.0, 63.0, 1.0}),
                         param_names::printed{});

} // namespace
