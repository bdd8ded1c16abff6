// map_polygon against cv::warpAffine (INTER_LINEAR) for affine mappings
// near 1:1, where map_polygon filters bilinearly (footprint slot 1).
//
// Bound: both interpolate the same texels with the same bilinear weights,
// but at slightly different positions. OpenCV rounds each position to the
// nearest 1/32 pixel (error <= 1/64); map_polygon truncates to 1/128 pixel
// (error < 1/128). The values can thus differ by up to
// g * (1/64 + 1/128) = 3g/128 plus one unit of rounding on each side, g
// being the largest step between neighbouring texels. The texture here is
// smooth (g <= 24), so the bound is 1 + 3 * 24 / 128 + 1 = 2.6: a whole
// difference of at most 2. Measured: at most 1 on every case.
#include <gtest/gtest.h>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <random>
#include <vector>

#include <tovrel.h>

#include "polygon/polygon_call.h"

namespace {

struct affine_case {
    double scale, degrees, tu, tv; // destination to source: u = R(x) / scale + t
};

class WarpAffine : public ::testing::TestWithParam<affine_case> {};

TEST_P(WarpAffine, InteriorAgreesWithOpenCv) {
    constexpr int n = 64;
    const affine_case p = GetParam();
    // Smooth texture: random steps of at most 24 between neighbours.
    const unsigned seed = 1234u + static_cast<unsigned>(p.degrees * 10);
    std::printf("seed %u\n", seed);
    std::mt19937 rng(seed);
    cv::Mat src(n, n, CV_8UC4);
    for (int y = 0; y < n; ++y)
        for (int x = 0; x < n; ++x)
            for (int c = 0; c < 4; ++c) {
                const int left = x ? src.at<cv::Vec4b>(y, x - 1)[c] : 128;
                const int up = y ? src.at<cv::Vec4b>(y - 1, x)[c] : left;
                const int base = (left + up) / 2 + static_cast<int>(rng() % 25) - 12;
                src.at<cv::Vec4b>(y, x)[c] = static_cast<uint8_t>(std::clamp(base, 12, 243));
            }

    // Continuous coordinates (pixel centres at k + 0.5): [u v] = A [x y] + t.
    const double r = p.degrees * M_PI / 180.0;
    const double a = std::cos(r) / p.scale, b = -std::sin(r) / p.scale;
    const double c = std::sin(r) / p.scale, d = std::cos(r) / p.scale;
    auto map = [&](double x, double y) {
        return std::pair{a * x + b * y + p.tu, c * x + d * y + p.tv};
    };
    std::vector<map_vertex> v;
    for (auto [x, y] : {std::pair{0.0, 0.0}, {n * 1.0, 0.0}, {n * 1.0, n * 1.0}, {0.0, n * 1.0}}) {
        const auto [u, vv] = map(x, y);
        v.push_back({static_cast<float>(u), static_cast<float>(vv), 1.0f, static_cast<float>(x),
                     static_cast<float>(y)});
    }

    cv::Mat dst(n, n, CV_8UC4, cv::Scalar::all(0));
    image_descriptor sd{}, dd{};
    sd.width = dd.width = n;
    sd.height = dd.height = n;
    sd.format = dd.format = TOVREL_FORMAT_RGBQ;
    sd.pixels = src.data;
    sd.pitch = static_cast<int32_t>(src.step);
    dd.pixels = dst.data;
    dd.pitch = static_cast<int32_t>(dst.step);
    auto work = std::make_unique<tovrel::polygon_work>();
    ASSERT_EQ(tovrel::prepare_polygon(*work, {&dd, &sd, v.data(), 4, 0, 0, 1}),
              tovrel::prepare_status::draw);
    ASSERT_EQ(work->footprint.slot, 1);
    map_polygon(&dd, &sd, v.data(), 4, 0, 0, 1);

    // OpenCV indexes pixel centres at integers: U = A X + (A (0.5, 0.5) + t - 0.5).
    const auto [u0, v0] = map(0.5, 0.5);
    const cv::Mat m = (cv::Mat_<double>(2, 3) << a, b, u0 - 0.5, c, d, v0 - 0.5);
    cv::Mat ref;
    cv::warpAffine(src, ref, m, src.size(), cv::INTER_LINEAR | cv::WARP_INVERSE_MAP,
                   cv::BORDER_REPLICATE);

    int worst = 0, compared = 0;
    for (int y = 0; y < n; ++y)
        for (int x = 0; x < n; ++x) {
            const auto [u, vv] = map(x + 0.5, y + 0.5);
            if (u < 1.5 || vv < 1.5 || u > n - 2.5 || vv > n - 2.5) continue; // clamped borders
            ++compared;
            for (int ch = 0; ch < 4; ++ch)
                worst = std::max(
                    worst, std::abs(dst.at<cv::Vec4b>(y, x)[ch] - ref.at<cv::Vec4b>(y, x)[ch]));
        }
    std::printf("compared %d pixels, largest difference %d\n", compared, worst);
    EXPECT_GT(compared, n * n / 4);
    EXPECT_LE(worst, 2);
}

INSTANTIATE_TEST_SUITE_P(Mappings, WarpAffine,
                         ::testing::Values(affine_case{1.0, 0.0, 0.3, 0.7},
                                           affine_case{1.25, 17.0, 9.0, -4.0},
                                           affine_case{1.1, -33.0, -10.0, 25.0},
                                           affine_case{1.02, 90.0, 63.0, 1.0}));

} // namespace
