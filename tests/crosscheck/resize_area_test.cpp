// map_rectangle against OpenCV's INTER_AREA on integer-aligned reductions
// by whole factors k: RGBQ, and the Y plane and the half-width U and V
// planes of YUY2 and W210 (each source pixel brings its pair's chroma, so a
// destination pair's chroma is the area mean over the U plane); k = 1 is a
// copy. Both are exact area means, differing by
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
#include <cstring>
#include <random>
#include <tuple>
#include <vector>

#include <tovrel.h>

#include "param_names.h"

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
void PrintTo(const area_case &c, std::ostream *os) {
    *os << (c.smooth ? "smooth_k" : "random_k") << c.k;
}

// The planes of one image: RGBQ as one plane of four channels; 4:2:2 as Y
// (full width), U and V (half width), 8- or 16-bit.
struct planes {
    uint8_t format;
    std::vector<cv::Mat> p;
    planes(uint8_t f, int w, int h) : format(f) {
        const int depth = f == TOVREL_FORMAT_W210 ? CV_16U : CV_8U;
        if (f == TOVREL_FORMAT_RGBQ)
            p = {cv::Mat(h, w, CV_8UC4, cv::Scalar::all(0))};
        else
            p = {cv::Mat(h, w, depth, cv::Scalar::all(0)),
                 cv::Mat(h, w / 2, depth, cv::Scalar::all(0)),
                 cv::Mat(h, w / 2, depth, cv::Scalar::all(0))};
    }
    int at(int i, int x, int y) const {
        return p[size_t(i)].depth() == CV_16U ? p[size_t(i)].ptr<uint16_t>(y)[x]
                                              : p[size_t(i)].ptr<uint8_t>(y)[x];
    }
    void set(int i, int x, int y, int v) {
        if (p[size_t(i)].depth() == CV_16U)
            p[size_t(i)].ptr<uint16_t>(y)[x] = uint16_t(v);
        else
            p[size_t(i)].ptr<uint8_t>(y)[x] = uint8_t(v);
    }
    // The packed image (Y0 U Y1 V per pair), and back.
    std::vector<uint8_t> pack() const {
        const int w = p[0].cols, h = p[0].rows;
        std::vector<uint8_t> out(size_t(w) * h * (format == TOVREL_FORMAT_YUY2 ? 2 : 4));
        if (format == TOVREL_FORMAT_RGBQ) std::memcpy(out.data(), p[0].data, out.size());
        for (int i = 0; format != TOVREL_FORMAT_RGBQ && i < w * h * 2; ++i) {
            const int x = i / 2 % w, y = i / 2 / w, c = i % 4; // sample c of a pair
            const int v = c == 0 || c == 2 ? at(0, x, y) : at(c == 1 ? 1 : 2, x / 2, y);
            if (format == TOVREL_FORMAT_YUY2)
                out[size_t(i)] = uint8_t(v);
            else
                std::memcpy(&out[2 * size_t(i)], &v, 2);
        }
        return out;
    }
    void unpack(const std::vector<uint8_t> &in) {
        const int w = p[0].cols, h = p[0].rows;
        if (format == TOVREL_FORMAT_RGBQ) std::memcpy(p[0].data, in.data(), in.size());
        for (int i = 0; format != TOVREL_FORMAT_RGBQ && i < w * h * 2; ++i) {
            const int x = i / 2 % w, y = i / 2 / w, c = i % 4;
            uint16_t v = in[size_t(i)];
            if (format == TOVREL_FORMAT_W210) std::memcpy(&v, &in[2 * size_t(i)], 2);
            if (c == 0 || c == 2)
                set(0, x, y, v);
            else
                set(c == 1 ? 1 : 2, x / 2, y, v);
        }
    }
};

class ResizeArea : public ::testing::TestWithParam<std::tuple<area_case, uint8_t>> {};

TEST_P(ResizeArea, AgreesWithinTheStepRounding) {
    const auto [kc, format] = GetParam();
    const int k = kc.k, scale = format == TOVREL_FORMAT_W210 ? 4 : 1;
    const int dw = 40, dh = 24, sw = dw * k, sh = dh * k;
    planes src(format, sw, sh), ours(format, dw, dh);
    std::mt19937 rng{uint32_t(k)};
    for (size_t i = 0; i < src.p.size(); ++i) {
        cv::Mat &m = src.p[i];
        const int channels = m.channels(), pw = m.cols / (sw / 2) == 1 ? 2 : 1; // pixels per sample
        for (int y = 0; y < sh; ++y)
            for (int x = 0; x < m.cols * channels; ++x) {
                const int c = int(i) + x % channels, px = x / channels * pw;
                src.set(int(i), x, y,
                        scale * (kc.smooth ? wave(slope_x * px + slope_y * y + 97 * c)
                                           : int(rng() % 256)));
            }
    }
    std::vector<uint8_t> src_bytes = src.pack(), dst_bytes = ours.pack();
    const int bpp = format == TOVREL_FORMAT_YUY2 ? 2 : 4;
    image_descriptor s{}, d{};
    s.width = sw, s.height = sh, s.format = format, s.pixels = src_bytes.data();
    d.width = dw, d.height = dh, d.format = format, d.pixels = dst_bytes.data();
    s.pitch = sw * bpp, d.pitch = dw * bpp;
    map_rectangle(&d, 0, 0, float(dw), float(dh), &s, 0, 0, float(sw), float(sh), 0, 0, 1);
    ours.unpack(dst_bytes);

    const int x_step = int(4096.0 / k + 0.99), y_step = int(2048.0 / k + 0.99);
    const double dx = dw * double(k * x_step - 4096) / x_step;
    const double dy = dh * double(k * y_step - 2048) / y_step;
    const int bound = int(std::floor(1 + scale * (slope_x * dx + slope_y * dy)));
    for (size_t i = 0; i < src.p.size(); ++i) {
        cv::Mat theirs, diff;
        cv::resize(src.p[i], theirs, ours.p[i].size(), 0, 0, cv::INTER_AREA);
        cv::absdiff(ours.p[i], theirs, diff);
        double worst = 0;
        cv::minMaxLoc(diff.reshape(1), nullptr, &worst);
        std::printf("%s plane %zu k %d: largest difference %g, bound %d\n",
                    format == TOVREL_FORMAT_RGBQ   ? "RGBQ"
                    : format == TOVREL_FORMAT_YUY2 ? "YUY2"
                                                   : "W210",
                    i, k, worst, bound);
        EXPECT_LE(worst, k == 1 ? 0 : bound) << "plane " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Factors, ResizeArea,
    ::testing::Combine(
        ::testing::Values(area_case{1, false}, area_case{2, false}, area_case{4, false},
                          area_case{8, false}, area_case{3, true}, area_case{5, true},
                          area_case{6, true}),
        ::testing::Values(TOVREL_FORMAT_RGBQ, TOVREL_FORMAT_YUY2, TOVREL_FORMAT_W210)),
    param_names::printed{});

} // namespace
