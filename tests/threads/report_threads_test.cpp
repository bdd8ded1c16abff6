// Refusals reported from several threads at once reach the host's sink as
// whole lines: each line received is one complete message.
#include <tovrel.h>

#include <gtest/gtest.h>

#include <map>
#include <mutex>
#include <string>

#include "thread_support.h"

namespace {

using tovrel_threads::owned_image;
using tovrel_threads::run_together;

struct line_log {
    std::mutex lock;
    std::vector<std::string> lines;
};

void TOVREL_CALL record_line(const char *line, void *user) {
    auto *log = static_cast<line_log *>(user);
    std::lock_guard<std::mutex> guard(log->lock);
    log->lines.emplace_back(line);
}

TEST(ThreadedReports, ConcurrentRefusalsArriveWhole) {
    line_log log;
    tovrel_set_report_sink(record_line, &log);
    constexpr int threads = 6, calls = 42; // a third of the calls per message

    // Format code 5 names no format; RGBQ into RGBQ without alpha cannot
    // be tiled. Both polygons cross destination lines and the rectangle is
    // not empty, so every call reaches its format check.
    owned_image odd_src(5, 16, 16, 8, false, 1);
    const owned_image rgbq_src(TOVREL_FORMAT_RGBQ, 16, 16, 4, false, 2);
    const owned_image initial(TOVREL_FORMAT_RGBQ, 40, 30, 4, false, 3);
    std::vector<owned_image> dst(threads, initial);
    const map_vertex quad[4] = {
        {0, 0, 1, 2, 2}, {16, 0, 1, 30, 2}, {16, 16, 1, 30, 25}, {0, 16, 1, 2, 25}};

    run_together(threads, [&](int k) {
        for (int i = 0; i < calls; ++i) {
            switch ((k + i) % 3) {
            case 0:
                map_polygon(&dst[k].desc, &odd_src.desc, quad, 4, 0, 0, 1);
                break;
            case 1:
                map_polygon(&dst[k].desc, &rgbq_src.desc, quad, 4, MAP_TILE, 0, 1);
                break;
            default:
                map_rectangle(&dst[k].desc, 1, 1, 20, 20, &odd_src.desc, 0, 0, 16, 16, 0, 0, 1);
                break;
            }
        }
    });
    tovrel_set_report_sink(nullptr, nullptr);

    std::map<std::string, int> seen;
    for (const std::string &line : log.lines) ++seen[line];
    EXPECT_EQ(log.lines.size(), static_cast<size_t>(threads * calls));
    for (const char *m :
         {"source texture is not supported.\n", "RGBQ -> RGBQ with tiling is not supported.\n",
          "rect:unknown not supported\n"})
        EXPECT_EQ(seen[m], threads * calls / 3) << m;
    EXPECT_EQ(seen.size(), 3u) << "a line that is not one whole message arrived";
    for (int k = 0; k < threads; ++k) EXPECT_TRUE(dst[k] == initial) << "thread " << k;
}

} // namespace
