// Shared pieces of the peer benchmarks: aligned RGBQ images, a fixed test
// texture, geometry of the warps in one coordinate convention, a report
// counter, and a worker thread for the line-split runs.
//
// Coordinates: continuous pixel coordinates, pixel i covering [i, i + 1),
// its centre at i + 0.5. This is what map_vertex and pixman's transforms
// use; OpenCV puts pixel centres on integers, and its matrices are shifted
// by half a pixel on both sides (to_opencv_*).
#ifndef TOVREL_BENCH_COMMON_H
#define TOVREL_BENCH_COMMON_H

#include <tovrel.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <tuple>

namespace bench {

// One RGBQ (or ARGB, CV_8UC4, PIXMAN_a8r8g8b8: same bytes) image. Pitch is
// the width rounded up to 64 bytes; the buffer starts on a 64-byte line.
struct image {
    int32_t width = 0;
    int32_t height = 0;
    int32_t pitch = 0;
    uint8_t *pixels = nullptr;

    // Or YUY2, W210, S16X4A (8 bytes per pixel, CV_16SC4), word (2 bytes,
    // CV_16UC1, also a w12b alpha plane).
    uint8_t format = TOVREL_FORMAT_RGBQ;

    image() = default;
    static int32_t bytes_per_pixel(uint8_t f) {
        return f == TOVREL_FORMAT_YUY2 || f == TOVREL_FORMAT_WORD   ? 2
               : f == TOVREL_FORMAT_RGBQ || f == TOVREL_FORMAT_W210 ? 4
                                                                    : 8;
    }
    image(int32_t w, int32_t h, uint8_t f = TOVREL_FORMAT_RGBQ)
        : width(w), height(h), pitch((w * bytes_per_pixel(f) + 63) & ~63), format(f) {
        size_t bytes = size_t(pitch) * size_t(h);
        pixels = static_cast<uint8_t *>(std::aligned_alloc(64, (bytes + 63) & ~size_t(63)));
        std::memset(pixels, 0, bytes);
    }
    image(const image &) = delete;
    image &operator=(const image &) = delete;
    ~image() { std::free(pixels); }

    size_t bytes() const { return size_t(pitch) * size_t(height); }
    uint8_t *row(int32_t y) const { return pixels + size_t(pitch) * size_t(y); }

    image_descriptor descriptor() const {
        image_descriptor d{};
        d.width = width;
        d.height = height;
        d.format = format;
        d.alpha_mode = TOVREL_ALPHA_PREMULTIPLIED;
        d.pixels = pixels;
        d.pitch = pitch;
        d.alpha_kind = TOVREL_ALPHA_NONE;
        return d;
    }
};

// A smooth two-axis gradient with fine noise: detail at every scale, the
// same bytes on every run (xorshift32 seeded by `seed`).
inline void fill_texture(image &img, uint32_t seed) {
    uint32_t s = seed ? seed : 1u;
    for (int32_t y = 0; y < img.height; ++y) {
        uint8_t *p = img.row(y);
        for (int32_t x = 0; x < img.width; ++x) {
            s ^= s << 13;
            s ^= s >> 17;
            s ^= s << 5;
            int32_t n = int32_t(s & 31) - 16; // [-16, 15]
            int32_t gx = x * 255 / (img.width > 1 ? img.width - 1 : 1);
            int32_t gy = y * 255 / (img.height > 1 ? img.height - 1 : 1);
            int32_t c[4] = {gx + n, gy - n, ((x ^ y) & 255) / 2 + 64 + n, 255 - (gx + gy) / 2};
            for (int k = 0; k < 4; ++k)
                p[4 * x + k] = uint8_t(c[k] < 0 ? 0 : c[k] > 255 ? 255 : c[k]);
        }
    }
}

// One texture per size and seed, made once and shared by every
// implementation of a workload (the same bytes for all of them).
inline const image &cached_texture(int32_t w, int32_t h, uint32_t seed) {
    static std::map<std::pair<int32_t, int32_t>, std::unique_ptr<image>> cache;
    auto &slot = cache[{w, h}];
    if (!slot) {
        slot = std::make_unique<image>(w, h);
        fill_texture(*slot, seed ^ uint32_t(w * 31 + h));
    }
    return *slot;
}

// A texture made from cached_texture pixel by pixel (per_pixel(rgbq
// pixel, pixel of `format`)), once per size: one cache per call site.
template <class F>
inline const image &cached_derived(int32_t w, int32_t h, uint32_t seed, uint8_t format,
                                   F per_pixel) {
    static std::map<std::pair<int32_t, int32_t>, std::unique_ptr<image>> cache;
    auto &slot = cache[{w, h}];
    if (!slot) {
        const image &rgbq = cached_texture(w, h, seed);
        slot = std::make_unique<image>(w, h, format);
        const int32_t bytes = image::bytes_per_pixel(format);
        for (int32_t y = 0; y < h; ++y)
            for (int32_t x = 0; x < w; ++x)
                per_pixel(rgbq.row(y) + 4 * x, slot->row(y) + bytes * x);
    }
    return *slot;
}

// The S16X4A form of the texture: components (byte - 128) * 64 and an
// opaque alpha of 4096.
inline const image &cached_s16x4a_texture(int32_t w, int32_t h, uint32_t seed) {
    return cached_derived(w, h, seed, TOVREL_FORMAT_S16X4A, [](const uint8_t *q, uint8_t *p) {
        const int16_t px[4] = {int16_t((q[0] - 128) * 64), int16_t((q[1] - 128) * 64),
                               int16_t((q[2] - 128) * 64), 4096};
        std::memcpy(p, px, 8);
    });
}

// The texture as one word per pixel: 12-bit data (16 * byte 0 + the high
// nibble of byte 1), inside every range limit of the word renderers.
inline const image &cached_word_texture(int32_t w, int32_t h, uint32_t seed) {
    return cached_derived(w, h, seed, TOVREL_FORMAT_WORD, [](const uint8_t *q, uint8_t *p) {
        const uint16_t v = uint16_t(16 * q[0] + (q[1] >> 4));
        std::memcpy(p, &v, 2);
    });
}

// The texture's byte 3 (a diagonal ramp from opaque to transparent) as a
// w12b plane: round(a * 4096 / 255).
inline const image &cached_alpha_plane(int32_t w, int32_t h, uint32_t seed) {
    return cached_derived(w, h, seed, TOVREL_FORMAT_WORD, [](const uint8_t *q, uint8_t *p) {
        const uint16_t v = uint16_t((q[3] * 4096 + 127) / 255);
        std::memcpy(p, &v, 2);
    });
}

// The texture premultiplied by its byte 3 (PIXMAN_a8r8g8b8 as pixman
// expects it): bytes 0..2 = round(c * a / 255), byte 3 = a.
inline const image &cached_premultiplied_texture(int32_t w, int32_t h, uint32_t seed) {
    return cached_derived(w, h, seed, TOVREL_FORMAT_RGBQ, [](const uint8_t *q, uint8_t *p) {
        for (int k = 0; k < 3; ++k) p[k] = uint8_t((q[k] * q[3] + 127) / 255);
        p[3] = q[3];
    });
}

// The YUY2 or W210 form of the texture at width w: each RGBQ pixel of the
// half-width texture gives the bytes (YUY2) or the 10-bit words (times 4,
// W210) of one pixel pair.
inline const image &cached_422_texture(uint8_t format, int32_t w, int32_t h, uint32_t seed) {
    static std::map<std::tuple<uint8_t, int32_t, int32_t>, std::unique_ptr<image>> cache;
    auto &slot = cache[{format, w, h}];
    if (!slot) {
        const image &rgbq = cached_texture(w / 2, h, seed);
        slot = std::make_unique<image>(w, h, format);
        for (int32_t y = 0; y < h; ++y)
            for (int32_t i = 0; i < 2 * w; ++i) {
                const uint8_t b = rgbq.row(y)[i];
                if (format == TOVREL_FORMAT_YUY2) {
                    slot->row(y)[i] = b;
                } else {
                    const uint16_t v = uint16_t(b * 4);
                    std::memcpy(slot->row(y) + 2 * i, &v, 2);
                }
            }
    }
    return *slot;
}

inline void fill_bytes(image &img, uint8_t value) {
    std::memset(img.pixels, value, img.bytes());
}

// Mean absolute difference per component over the whole image, and the
// share of pixels still equal to `sentinel` in every byte (not drawn).
struct compare_result {
    double mean_abs_diff = 0.0;
    double untouched = 0.0;
};
inline compare_result compare(const image &a, const image &b, uint8_t sentinel) {
    compare_result r;
    uint64_t diff = 0, same = 0;
    for (int32_t y = 0; y < a.height; ++y) {
        const uint8_t *p = a.row(y), *q = b.row(y);
        for (int32_t x = 0; x < a.width; ++x) {
            bool untouched = true;
            for (int k = 0; k < 4; ++k) {
                diff += uint64_t(std::abs(int(p[4 * x + k]) - int(q[4 * x + k])));
                untouched = untouched && p[4 * x + k] == sentinel;
            }
            same += untouched;
        }
    }
    double n = double(a.width) * double(a.height);
    r.mean_abs_diff = double(diff) / (4.0 * n);
    r.untouched = double(same) / n;
    return r;
}

// 3x3 projective map from destination to source, row major, in continuous
// coordinates: (U, V, W) = m * (x, y, 1), source point (U / W, V / W).
struct projective {
    double m[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    void apply(double x, double y, double &u, double &v, double &w) const {
        double U = m[0] * x + m[1] * y + m[2];
        double V = m[3] * x + m[4] * y + m[5];
        w = m[6] * x + m[7] * y + m[8];
        u = U / w;
        v = V / w;
    }
};

// Destination to source map of a texture of size (sw, sh) drawn rotated by
// `degrees` and scaled by `scale` (destination size / source size), centred
// on the destination (dw, dh).
inline projective rotation(double degrees, double scale, double dw, double dh, double sw,
                           double sh) {
    double a = degrees * 3.14159265358979323846 / 180.0;
    double c = std::cos(a) / scale, s = std::sin(a) / scale;
    projective p;
    // source = R(-a) / scale * (d - centre_d) + centre_s
    p.m[0] = c;
    p.m[1] = s;
    p.m[3] = -s;
    p.m[4] = c;
    p.m[2] = sw / 2 - (c * dw / 2 + s * dh / 2);
    p.m[5] = sh / 2 - (-s * dw / 2 + c * dh / 2);
    return p;
}

// The projective map taking the four destination points d[i] to the source
// points s[i] (8x8 system, Gaussian elimination with partial pivoting).
inline projective homography(const double d[4][2], const double s[4][2]) {
    double a[8][9] = {};
    for (int i = 0; i < 4; ++i) {
        double x = d[i][0], y = d[i][1], u = s[i][0], v = s[i][1];
        double r0[9] = {x, y, 1, 0, 0, 0, -u * x, -u * y, u};
        double r1[9] = {0, 0, 0, x, y, 1, -v * x, -v * y, v};
        std::memcpy(a[2 * i], r0, sizeof r0);
        std::memcpy(a[2 * i + 1], r1, sizeof r1);
    }
    for (int c = 0; c < 8; ++c) {
        int best = c;
        for (int r = c + 1; r < 8; ++r)
            if (std::fabs(a[r][c]) > std::fabs(a[best][c])) best = r;
        for (int k = 0; k < 9; ++k) std::swap(a[c][k], a[best][k]);
        for (int r = 0; r < 8; ++r) {
            if (r == c) continue;
            double f = a[r][c] / a[c][c];
            for (int k = c; k < 9; ++k) a[r][k] -= f * a[c][k];
        }
    }
    projective p;
    for (int i = 0; i < 8; ++i) p.m[i] = a[i][8] / a[i][i];
    p.m[8] = 1.0;
    return p;
}

// OpenCV's inverse-map matrix for `p`: integer pixel centres on both sides,
// src_i = p(dst_i + 0.5) - 0.5. Row major 3x3; the top two rows for affine.
inline void to_opencv(const projective &p, double out[9]) {
    // T(-0.5) * m * T(+0.5)
    double t[9];
    for (int r = 0; r < 3; ++r) {
        t[3 * r + 0] = p.m[3 * r + 0];
        t[3 * r + 1] = p.m[3 * r + 1];
        t[3 * r + 2] = p.m[3 * r + 2] + 0.5 * (p.m[3 * r + 0] + p.m[3 * r + 1]);
    }
    for (int c = 0; c < 3; ++c) {
        out[0 + c] = t[0 + c] - 0.5 * t[6 + c];
        out[3 + c] = t[3 + c] - 0.5 * t[6 + c];
        out[6 + c] = t[6 + c];
    }
}

// The polygon covering the whole destination (dw, dh), each corner carrying
// its source point; w is the projective weight, 1.0 at corner 0 and the same
// at every corner when `p` is affine.
inline void frame_quad(const projective &p, double dw, double dh, map_vertex out[4]) {
    const double corners[4][2] = {{0, 0}, {dw, 0}, {dw, dh}, {0, dh}};
    double w0 = p.m[8];
    for (int i = 0; i < 4; ++i) {
        double u, v, w;
        p.apply(corners[i][0], corners[i][1], u, v, w);
        out[i] = map_vertex{float(u), float(v), float(w / w0), float(corners[i][0]),
                            float(corners[i][1])};
    }
}

// The filter slot that the given quad selects (same measure of the
// minification as the library's: a reference chord from the last vertex,
// extents along the rotated axes). Shown beside each polygon benchmark so a
// workload that misses its intended slot is seen at once.
inline int expected_slot(const map_vertex *v, int n) {
    const map_vertex &l = v[n - 1];
    double best = 0, dx = 0, dy = 0, du = 0, dv = 0;
    for (int i = 0; i < n; ++i) {
        double ex = double(v[i].x) - l.x, ey = double(v[i].y) - l.y;
        double d = ex * ex + ey * ey;
        if (d > best) {
            best = d;
            dx = ex;
            dy = ey;
            du = double(v[i].u) - l.u;
            dv = double(v[i].v) - l.v;
        }
    }
    double dl = std::sqrt(dx * dx + dy * dy), sl = std::sqrt(du * du + dv * dv);
    double cx = dx / dl, cy = dy / dl, su = du / sl, sv = dv / sl;
    double c = su * cx + sv * cy, s = cy * su - cx * sv;
    double lo[4] = {}, hi[4] = {};
    for (int i = 0; i < n; ++i) {
        double q[4] = {v[i].u * c - v[i].v * s, v[i].u * s + v[i].v * c, v[i].x, v[i].y};
        for (int k = 0; k < 4; ++k) {
            lo[k] = i ? std::min(lo[k], q[k]) : q[k];
            hi[k] = i ? std::max(hi[k], q[k]) : q[k];
        }
    }
    double rh = (hi[0] - lo[0]) / (hi[2] - lo[2]), rv = (hi[1] - lo[1]) / (hi[3] - lo[3]);
    int base = rv >= 2.68 ? 16 : rv >= 1.34 ? 11 : rv >= 1.005 ? 6 : 1;
    int add = rh >= 5.36 ? 4 : rh >= 2.68 ? 3 : rh >= 2.01 ? 2 : rh >= 1.34 ? 1 : 0;
    return base + add;
}

// Counts report lines; a benchmark whose call was refused is an error, not
// a fast result.
struct report_counter {
    static std::atomic<int> &count() {
        static std::atomic<int> n{0};
        return n;
    }
    static std::string &last() {
        static std::string s;
        return s;
    }
    static void TOVREL_CALL sink(const char *line, void *) {
        count().fetch_add(1);
        last() = line;
    }
    static void install() { tovrel_set_report_sink(&sink, nullptr); }
};

// One persistent helper thread: run(job_here, job_there) runs job_there on
// the helper and job_here on the caller, and returns when both are done.
// Wake-up is a condition variable (no spinning on a shared machine).
class worker {
public:
    worker() : thread_([this] { loop(); }) {}
    ~worker() {
        {
            std::lock_guard<std::mutex> g(m_);
            quit_ = true;
        }
        cv_.notify_all();
        thread_.join();
    }
    void run(const std::function<void()> &here, const std::function<void()> &there) {
        {
            std::lock_guard<std::mutex> g(m_);
            job_ = &there;
            ++issued_;
        }
        cv_.notify_all();
        here();
        std::unique_lock<std::mutex> g(m_);
        cv_.wait(g, [this] { return finished_ == issued_; });
    }

private:
    void loop() {
        std::unique_lock<std::mutex> g(m_);
        for (;;) {
            cv_.wait(g, [this] { return quit_ || finished_ != issued_; });
            if (quit_) return;
            const std::function<void()> *job = job_;
            g.unlock();
            (*job)();
            g.lock();
            finished_ = issued_;
            cv_.notify_all();
        }
    }
    std::mutex m_;
    std::condition_variable cv_;
    const std::function<void()> *job_ = nullptr;
    uint64_t issued_ = 0, finished_ = 0;
    bool quit_ = false;
    std::thread thread_;
};

// Runs the registered benchmarks with the command line's options.
inline int run_benchmarks(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

} // namespace bench

#endif // TOVREL_BENCH_COMMON_H
