// Frame streams of `tovrel warp` and `tovrel scale`: PNG files hold one
// picture; raw files, standard input and standard output ("-") hold any
// number of frames back to back. Each frame is drawn over a fresh
// background, split over the requested threads by line phase and period,
// and written before the next is read.
#pragma once

#include <condition_variable>
#include <cstdio>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "args.h"
#include "formats.h"

namespace tovrel_tool {

enum class read_status { frame, end, partial, failed };
enum class write_status { written, closed, failed };

// "-" is shown as "standard input" / "standard output" in messages.
std::string stream_name(const std::string &path, bool output);

class frame_source {
public:
    frame_source(const command_line &c, std::FILE *standard_input);
    ~frame_source();
    frame_source(const frame_source &) = delete;
    frame_source &operator=(const frame_source &) = delete;

    // Opens the input; a PNG is read whole here. Then width() and height()
    // hold the frame size. Returns a message on failure.
    std::string open();
    int32_t width() const { return width_; }
    int32_t height() const { return height_; }
    const format_info *format() const { return format_; }
    // The next frame into `f` (resized as needed), with its alpha plane
    // when --alpha names a file: one plane per frame, or a single plane for
    // every frame. `message` is set for partial and failed.
    read_status next(frame &f, std::string &message);

private:
    std::string next_alpha(frame &f);
    const command_line &c_;
    std::FILE *standard_input_;
    std::FILE *file_ = nullptr;
    std::FILE *alpha_file_ = nullptr;
    int64_t alpha_planes_ = 0;
    const format_info *format_ = nullptr;
    int32_t width_ = 0, height_ = 0;
    frame png_;
    bool png_taken_ = false;
    int64_t frames_ = 0;
    std::vector<uint8_t> scratch_;
};

// Frames to OUT and, when `alpha_path` is not empty, their alpha planes to
// that file, one per frame (16-bit little-endian words, lines packed).
class frame_sink {
public:
    frame_sink(std::string path, std::string alpha_path, std::FILE *standard_output);
    ~frame_sink();
    frame_sink(const frame_sink &) = delete;
    frame_sink &operator=(const frame_sink &) = delete;

    // The file is created at the first frame, so a run that fails before
    // drawing anything leaves no output behind. `closed`: the reader of
    // the output went away (a closed pipe).
    write_status put(const frame &f, std::string &message);
    // Creates an empty raw output when no frame came, flushes; a message
    // on failure.
    std::string finish();

private:
    std::string open();
    std::string path_, alpha_path_;
    std::FILE *standard_output_;
    std::FILE *file_ = nullptr;
    std::FILE *alpha_file_ = nullptr;
    int64_t frames_ = 0;
    std::vector<uint8_t> scratch_;
};

// Runs a task on `threads` threads at once (the caller's among them) and
// waits for all of them; the helpers live as long as the pool.
class worker_pool {
public:
    explicit worker_pool(int32_t threads);
    ~worker_pool();
    worker_pool(const worker_pool &) = delete;
    worker_pool &operator=(const worker_pool &) = delete;

    int32_t size() const { return static_cast<int32_t>(helpers_.size()) + 1; }
    // task(i) for i in 0 .. size() - 1; i = 0 on the calling thread.
    void run(const std::function<void(int32_t)> &task);

private:
    void serve(int32_t index);
    std::vector<std::thread> helpers_;
    std::mutex mutex_;
    std::condition_variable start_, done_;
    const std::function<void(int32_t)> *task_ = nullptr;
    uint64_t generation_ = 0;
    int32_t pending_ = 0;
    bool stopping_ = false;
};

// What a command supplies to the stream loop.
struct stream_job {
    const char *command; // "warp" or "scale", for messages
    // Output frame size from the input's; a message when it cannot be had.
    std::function<std::string(int32_t in_width, int32_t in_height, int32_t &width, int32_t &height)>
        output_size;
    // Geometry of frame `index`; a message when the frame cannot be drawn.
    // `covers_output`: the draw writes every output pixel whole, so the
    // background need not be laid under it again.
    std::function<std::string(int64_t index, const frame &in, bool &covers_output)> prepare;
    // Draws the lines phase, phase + period, ... of the prepared frame.
    std::function<void(frame &in, frame &out, int32_t phase, int32_t period)> draw;
};

// The whole run: exit code, messages on `err`, progress on `err` when it
// is a terminal.
int run_stream(const command_line &c, const stream_job &job, std::FILE *standard_input,
               std::FILE *standard_output, std::FILE *err);

} // namespace tovrel_tool
