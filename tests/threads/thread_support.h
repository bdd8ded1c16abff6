// Images and a starting gate shared by the threaded tests.
#pragma once

#include <tovrel.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

namespace tovrel_threads {

// An image in owned memory: lines of `width * bytes_per_pixel` bytes plus
// `padding`, an optional w12b plane, seeded random contents (alpha within
// 0..4096).
struct owned_image {
    image_descriptor desc{};
    std::vector<uint8_t> pixels;
    std::vector<uint16_t> alpha;

    owned_image(uint8_t format, int32_t width, int32_t height, int32_t bytes_per_pixel,
                bool with_alpha, uint32_t seed, int32_t padding = 12) {
        const int32_t pitch = width * bytes_per_pixel + padding;
        pixels.resize(static_cast<size_t>(pitch) * height);
        std::mt19937 rng(seed);
        for (auto &b : pixels) b = static_cast<uint8_t>(rng());
        desc.width = width;
        desc.height = height;
        desc.format = format;
        desc.alpha_mode = TOVREL_ALPHA_STRAIGHT;
        desc.pixels = pixels.data();
        desc.pitch = pitch;
        if (with_alpha) {
            alpha.resize(static_cast<size_t>(width) * height);
            for (auto &a : alpha) a = static_cast<uint16_t>(rng() % 4097);
            desc.alpha_kind = TOVREL_ALPHA_W12B;
            desc.alpha = alpha.data();
            desc.alpha_pitch = width * 2;
        }
    }
    owned_image(const owned_image &other)
        : desc(other.desc), pixels(other.pixels), alpha(other.alpha) {
        desc.pixels = pixels.data();
        desc.alpha = alpha.empty() ? nullptr : alpha.data();
    }
    owned_image &operator=(const owned_image &) = delete;

    bool operator==(const owned_image &other) const {
        return pixels == other.pixels && alpha == other.alpha;
    }
};

// Runs body(k) for k = 0..n-1 on n threads released together, so that the
// calls overlap as much as the machine allows.
template <typename Body>
void run_together(int n, Body body) {
    std::atomic<int> waiting{n};
    std::vector<std::thread> threads;
    threads.reserve(static_cast<size_t>(n));
    for (int k = 0; k < n; ++k) {
        threads.emplace_back([&waiting, &body, k] {
            waiting.fetch_sub(1);
            while (waiting.load() > 0) std::this_thread::yield();
            body(k);
        });
    }
    for (auto &t : threads) t.join();
}

} // namespace tovrel_threads
