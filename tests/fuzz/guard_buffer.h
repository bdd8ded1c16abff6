// A byte buffer fenced by inaccessible pages: one stray read or write just
// before or just after it faults at once. The buffer sits against one of
// its fences; the slack between it and the other fence (less than a page)
// is filled with a pattern so that stray writes there are seen as well.
// Linux only (mmap, mprotect): the fuzz targets run natively.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#if defined(__has_include)
#if __has_include(<sanitizer/asan_interface.h>)
#include <sanitizer/asan_interface.h>
#endif
#endif
#ifndef ASAN_POISON_MEMORY_REGION
#define ASAN_POISON_MEMORY_REGION(addr, size) ((void)(addr), (void)(size))
#define ASAN_UNPOISON_MEMORY_REGION(addr, size) ((void)(addr), (void)(size))
#endif

namespace tovrel_fuzz {

// Marks bytes that the library has no business touching for Address-
// Sanitizer (while a call runs), so that a read of them is reported too.
// Granules that are only partly inside keep their other bytes usable.
inline void set_poison(const uint8_t *p, size_t n, bool on) {
    if (n != 0 && on) ASAN_POISON_MEMORY_REGION(p, n);
    if (n != 0 && !on) ASAN_UNPOISON_MEMORY_REGION(p, n);
}

[[noreturn]] inline void fail(const char *what) {
    std::fflush(stdout);
    std::fprintf(stderr, "fuzz property violated: %s\n", what);
    std::fflush(stderr);
    __builtin_trap();
}

class guard_buffer {
public:
    // `against_end`: the last byte touches the end fence; otherwise the
    // first byte touches the start fence. A size of 0 gives a pointer on a
    // fence: any access through it faults.
    explicit guard_buffer(size_t size = 0, bool against_end = true) { reset(size, against_end); }
    ~guard_buffer() { release(); }
    guard_buffer(const guard_buffer &) = delete;
    guard_buffer &operator=(const guard_buffer &) = delete;

    void reset(size_t size, bool against_end) {
        release();
        const size_t page = page_size();
        const size_t inner = (size + page - 1) / page * page;
        mapped_ = inner + 2 * page;
        void *m = mmap(nullptr, mapped_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (m == MAP_FAILED) fail("mmap of a guarded buffer");
        base_ = static_cast<uint8_t *>(m);
        inner_ = base_ + page;
        inner_size_ = inner;
        if (inner != 0 && mprotect(inner_, inner, PROT_READ | PROT_WRITE) != 0)
            fail("mprotect of a guarded buffer");
        size_ = size;
        data_ = against_end ? inner_ + inner - size : inner_;
        std::memset(inner_, slack_byte, inner);
    }

    uint8_t *data() const { return data_; }
    size_t size() const { return size_; }

    // Makes the whole buffer read-only (sources: a write faults).
    void make_read_only() {
        if (inner_size_ != 0 && mprotect(inner_, inner_size_, PROT_READ) != 0)
            fail("mprotect read-only");
    }

    // True when the bytes between the buffer and the far fence still hold
    // the fill pattern.
    bool slack_intact() const {
        const auto slack = [](uint8_t b) { return b == slack_byte; };
        return std::all_of(inner_, data_, slack) &&
               std::all_of(data_ + size_, inner_ + inner_size_, slack);
    }

    // The slack between the buffer and the far fence.
    void poison_slack(bool on) const {
        set_poison(inner_, static_cast<size_t>(data_ - inner_), on);
        set_poison(data_ + size_, static_cast<size_t>(inner_ + inner_size_ - (data_ + size_)), on);
    }

    static constexpr uint8_t slack_byte = 0xA5;

private:
    static size_t page_size() {
        static const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        return page;
    }
    void release() {
        if (base_) munmap(base_, mapped_);
        base_ = inner_ = data_ = nullptr;
        mapped_ = inner_size_ = size_ = 0;
    }

    uint8_t *base_ = nullptr;
    uint8_t *inner_ = nullptr;
    uint8_t *data_ = nullptr;
    size_t mapped_ = 0;
    size_t inner_size_ = 0;
    size_t size_ = 0;
};

} // namespace tovrel_fuzz
