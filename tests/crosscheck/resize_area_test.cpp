// map_rectangle against OpenCV's INTER_AREA on integer-aligned RGBQ
// reductions by whole factors k. Both are exact area means, differing by
// - rounding (half up against half to even): 1 unit;
// - the step: x_step = trunc(4096 / k + 0.99) is exact for k = 2, 4, 8 but
//   otherwise up to one unit long, so destination pixel j starts
//   j * (k * x_step - 4096) / x_step source pixels early (likewise y_step
//   with 2048). Where components change by at most g per source pixel, that
//   moves the mean by at most g * drift.
// Bound: |difference| <= 1 + gx * dx + gy * dy, dx, dy the largest drifts.
#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include <cmath>
#include <cstdio>
#include <random>

#include <tovrel.h>

namespace {

// Triangle waves: slope 3 per source pixel across, 2 down.
constexpr int slope_x = 3, slope_y = 2;
uint8_t wave(int t) {
    t %= 510;
    return uint8_t(t < 256 ? t : 509 - t);
}

struct area_case {
    int k;
    bool smooth; // random content only where the step is exact
};

class ResizeArea : public ::testing::TestWithParam<area_case> {};

TEST_P(ResizeArea, AgreesWithinTheStepRounding) {
    const int k = GetParam().k;
    const int dw = 40, dh = 24, sw = dw * k, sh = dh * k;
    cv::Mat src(sh, sw, CV_8UC4), ours(dh, dw, CV_8UC4, cv::Scalar::all(0)), theirs;
    std::mt19937 rng{uint32_t(k)};
    for (int y = 0; y < sh; ++y)
        for (int x = 0; x < sw; ++x)
            for (int c = 0; c < 4; ++c)
                src.ptr<uint8_t>(y)[4 * x + c] =
                    GetParam().smooth ? wave(slope_x * x + slope_y * y + 97 * c) : uint8_t(rng());
    cv::resize(src, theirs, cv::Size(dw, dh), 0, 0, cv::INTER_AREA);

    image_descriptor s{}, d{};
    s.width = sw, s.height = sh, s.format = TOVREL_FORMAT_RGBQ, s.pixels = src.data;
    d.width = dw, d.height = dh, d.format = TOVREL_FORMAT_RGBQ, d.pixels = ours.data;
    s.pitch = int32_t(src.step), d.pitch = int32_t(ours.step);
    map_rectangle(&d, 0, 0, float(dw), float(dh), &s, 0, 0, float(sw), float(sh), 0, 0, 1);

    const int x_step = int(4096.0 / k + 0.99), y_step = int(2048.0 / k + 0.99);
    const double dx = dw * double(k * x_step - 4096) / x_step;
    const double dy = dh * double(k * y_step - 2048) / y_step;
    const int bound = int(std::floor(1 + slope_x * dx + slope_y * dy));
    cv::Mat diff;
    cv::absdiff(ours, theirs, diff);
    double worst = 0;
    cv::minMaxLoc(diff.reshape(1), nullptr, &worst);
    std::printf("k %d: largest difference %g, bound %d\n", k, worst, bound);
    EXPECT_LE(worst, bound);
}

INSTANTIATE_TEST_SUITE_P(Factors, ResizeArea,
                         ::testing::Values(area_case{2, false}, area_case{4, false},
                                           area_case{8, false}, area_case{3, true},
                                           area_case{5, true}, area_case{6, true}),
                         [](const auto &info) {
                             return std::string(info.param.smooth ? "smooth_k" : "random_k") +
                                    std::to_string(info.param.k);
                         });

} // namespace
