// Rectangle test helpers: guarded images, a page-fenced buffer, report capture.
#pragma once

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <tovrel.h>

#if defined(_WIN32)
#include <windows.h>
#else
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace rect_test {

constexpr uint8_t guard_byte = 0xA5;
constexpr int32_t guard_bytes = 64;

// An RGBQ image with an optional w12b plane; guard bytes after each line and
// around the whole.
struct image {
    int32_t w, h, pitch, alpha_pitch;
    std::vector<uint8_t> bytes;
    std::vector<uint16_t> alpha;
    image_descriptor desc{};

    image(int32_t width, int32_t height, bool with_alpha = false)
        : w(width), h(height), pitch(width * 4 + 12), alpha_pitch(width * 2 + 6),
          bytes(size_t(pitch) * height + 2 * guard_bytes, guard_byte),
          alpha(with_alpha ? size_t(alpha_pitch / 2) * height + guard_bytes : 0, 0xA5A5) {
        desc.width = width, desc.height = height, desc.format = TOVREL_FORMAT_RGBQ;
        desc.alpha_mode = TOVREL_ALPHA_STRAIGHT, desc.pixels = bytes.data() + guard_bytes;
        desc.pitch = pitch;
        if (with_alpha)
            desc.alpha_kind = TOVREL_ALPHA_W12B, desc.alpha = alpha.data() + guard_bytes / 2,
            desc.alpha_pitch = alpha_pitch;
        fill(0);
        fill_alpha(0);
    }
    uint8_t *px(int32_t x, int32_t y) { return bytes.data() + guard_bytes + y * pitch + 4 * x; }
    uint16_t &a(int32_t x, int32_t y) { return alpha[guard_bytes / 2 + y * (alpha_pitch / 2) + x]; }
    void fill(uint8_t v) {
        for (int32_t y = 0; y < h; ++y) std::memset(px(0, y), v, size_t(w) * 4);
    }
    void fill_alpha(uint16_t v) {
        for (int32_t i = 0; !alpha.empty() && i < w * h; ++i) a(i % w, i / w) = v;
    }
    void randomize(std::mt19937 &rng, uint16_t max_alpha = 4096) {
        for (int32_t i = 0; i < w * h; ++i) {
            for (int c = 0; c < 4; ++c) px(i % w, i / w)[c] = uint8_t(rng());
            if (!alpha.empty()) a(i % w, i / w) = uint16_t(rng() % (max_alpha + 1u));
        }
    }
    // Every byte and alpha word outside the pixels still holds its guard.
    bool guards_intact() const {
        auto clean = [](const auto &buf, size_t front, size_t line, size_t used, size_t lines,
                        auto guard) {
            for (size_t i = 0; i < buf.size(); ++i) {
                const size_t o = i - front; // wraps for the leading guard
                if ((o >= line * lines || o % line >= used) && buf[i] != guard) return false;
            }
            return true;
        };
        return clean(bytes, guard_bytes, pitch, size_t(w) * 4, h, guard_byte) &&
               clean(alpha, guard_bytes / 2, alpha_pitch / 2, w, h, uint16_t{0xA5A5});
    }
};

// `size` bytes followed by an inaccessible page: any read past them faults.
class fenced_buffer {
public:
    explicit fenced_buffer(size_t size) : size_(size) {
#if defined(_WIN32)
        SYSTEM_INFO info;
        GetSystemInfo(&info);
        page_ = info.dwPageSize;
        span_ = (size + page_ - 1) / page_ * page_ + page_;
        base_ = static_cast<uint8_t *>(
            VirtualAlloc(nullptr, span_, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
        DWORD old;
        VirtualProtect(base_ + span_ - page_, page_, PAGE_NOACCESS, &old);
#else
        page_ = size_t(sysconf(_SC_PAGESIZE));
        span_ = (size + page_ - 1) / page_ * page_ + page_;
        base_ = static_cast<uint8_t *>(
            mmap(nullptr, span_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        mprotect(base_ + span_ - page_, page_, PROT_NONE);
#endif
    }
    ~fenced_buffer() {
#if defined(_WIN32)
        VirtualFree(base_, 0, MEM_RELEASE);
#else
        munmap(base_, span_);
#endif
    }
    fenced_buffer(const fenced_buffer &) = delete;
    fenced_buffer &operator=(const fenced_buffer &) = delete;
    uint8_t *data() {
        return base_ + span_ - page_ - size_;
    }

private:
    size_t size_, page_, span_;
    uint8_t *base_;
};

// Collects report lines while alive.
struct report_capture {
    std::vector<std::string> lines;
    report_capture() { tovrel_set_report_sink(&sink, this); }
    ~report_capture() { tovrel_set_report_sink(nullptr, nullptr); }
    static void TOVREL_CALL sink(const char *line, void *user) {
        static_cast<report_capture *>(user)->lines.emplace_back(line);
    }
    std::string all() const {
        std::string s;
        for (const auto &l : lines) s += l;
        return s;
    }
};

inline uint32_t test_seed() {
    return std::random_device{}();
}

} // namespace rect_test
