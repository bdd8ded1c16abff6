#include "stream.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <utility>

#ifdef _WIN32
#include <io.h>
#define isatty _isatty
#define fileno _fileno
#else
#include <unistd.h>
#endif

#include "image_io.h"
#include "session.h"

namespace tovrel_tool {
namespace {

int fail(std::FILE *err, const char *command, const std::string &message) {
    std::fprintf(err, "tovrel: %s: %s\n", command, message.c_str());
    return 1;
}

// PNG pictures are R, G, B, A; a bgra frame holds B, G, R, A.
void swap_red_blue(frame &f) {
    for (size_t i = 0; i + 3 < f.pixels.size(); i += 4) std::swap(f.pixels[i], f.pixels[i + 2]);
}

// Frames done and frames per second, redrawn in place at most four times a
// second, on a terminal only: a log file or pipe gets nothing.
class progress_meter {
public:
    progress_meter(std::FILE *err, const char *command)
        : err_(err), command_(command), on_(isatty(fileno(err)) == 1),
          start_(std::chrono::steady_clock::now()), shown_(start_) {}

    void frame_done() {
        ++frames_;
        if (!on_) return;
        const auto now = std::chrono::steady_clock::now();
        if (now - shown_ < std::chrono::milliseconds(250)) return;
        shown_ = now;
        show(now);
    }
    void finish() {
        if (!on_ || frames_ == 0) return;
        show(std::chrono::steady_clock::now());
        std::fputc('\n', err_);
    }

private:
    void show(std::chrono::steady_clock::time_point now) {
        const double seconds = std::chrono::duration<double>(now - start_).count();
        std::fprintf(err_, "\rtovrel: %s: %lld frames, %.1f frames/s ", command_,
                     static_cast<long long>(frames_), seconds > 0.0 ? frames_ / seconds : 0.0);
        std::fflush(err_);
    }
    std::FILE *err_;
    const char *command_;
    bool on_;
    int64_t frames_ = 0;
    std::chrono::steady_clock::time_point start_, shown_;
};

// Reads up to `size` bytes; fewer only at the end of the file or on an
// error (ferror tells).
size_t read_fully(std::FILE *file, uint8_t *bytes, size_t size) {
    size_t got = 0;
    while (got < size) {
        const size_t n = std::fread(bytes + got, 1, size - got, file);
        if (n == 0) break;
        got += n;
    }
    return got;
}

} // namespace

std::string stream_name(const std::string &path, bool output) {
    if (path != "-") return path;
    return output ? "standard output" : "standard input";
}

frame_source::frame_source(const command_line &c, std::FILE *standard_input)
    : c_(c), standard_input_(standard_input) {}

frame_source::~frame_source() {
    if (file_ && file_ != standard_input_) std::fclose(file_);
    if (alpha_file_) std::fclose(alpha_file_);
}

std::string frame_source::open() {
    if (is_png_name(c_.input)) {
        std::string problem = read_png(c_.input, png_);
        if (!problem.empty()) return problem;
        if (!c_.format.empty()) {
            png_.format = find_format(c_.format);
            if (png_.format->swap_red_blue) swap_red_blue(png_);
        }
        if (c_.alpha_plane) alpha_from_fourth_byte(png_);
        format_ = png_.format;
        width_ = png_.width;
        height_ = png_.height;
        return {};
    }
    format_ = find_format(c_.format);
    width_ = c_.width;
    height_ = c_.height;
    if (!c_.alpha.empty()) {
        alpha_file_ = std::fopen(c_.alpha.c_str(), "rb");
        if (!alpha_file_) return "cannot open " + c_.alpha + ": " + std::strerror(errno);
    }
    if (c_.input == "-") {
        file_ = standard_input_;
    } else {
        file_ = std::fopen(c_.input.c_str(), "rb");
        if (!file_) return "cannot open " + c_.input + ": " + std::strerror(errno);
    }
    return {};
}

read_status frame_source::next(frame &f, std::string &message) {
    if (!file_) {
        if (png_taken_) return read_status::end;
        png_taken_ = true;
        f = png_;
        return read_status::frame;
    }
    if (f.format != format_ || f.width != width_ || f.height != height_) {
        message = make_frame(f, format_, width_, height_);
        if (!message.empty()) {
            message = stream_name(c_.input, false) + ": " + message;
            return read_status::failed;
        }
    }
    const bool converted = format_->from_file != nullptr;
    if (converted) scratch_.resize(f.pixels.size());
    uint8_t *target = converted ? scratch_.data() : f.pixels.data();
    const size_t want = f.pixels.size();
    const size_t got = read_fully(file_, target, want);
    if (std::ferror(file_)) {
        message = "cannot read " + stream_name(c_.input, false) + ": " + std::strerror(errno);
        return read_status::failed;
    }
    if (got == 0) return read_status::end;
    if (got < want) {
        message = stream_name(c_.input, false) +
                  " ends in a partial frame: " + std::to_string(got) + " of the " +
                  std::to_string(want) + " bytes of a " + std::to_string(width_) + "x" +
                  std::to_string(height_) + " " + format_->name + " frame, after " +
                  std::to_string(frames_) + " whole frames";
        return read_status::partial;
    }
    if (converted) frame_from_file(scratch_.data(), f);
    if (alpha_file_) {
        message = next_alpha(f);
        if (!message.empty()) return read_status::failed;
    }
    ++frames_;
    return read_status::frame;
}

std::string frame_source::next_alpha(frame &f) {
    if (f.alpha.size() != size_t(f.width) * size_t(f.height))
        add_alpha_plane(f, 0, TOVREL_ALPHA_STRAIGHT);
    // Words are little-endian in the file and in memory.
    const size_t want = f.alpha.size() * 2;
    const size_t got = read_fully(alpha_file_, reinterpret_cast<uint8_t *>(f.alpha.data()), want);
    if (std::ferror(alpha_file_)) return "cannot read " + c_.alpha + ": " + std::strerror(errno);
    if (got == want) {
        ++alpha_planes_;
        return {};
    }
    if (got == 0 && alpha_planes_ == 1) return {}; // one plane serves every frame
    return c_.alpha + " holds " + std::to_string(alpha_planes_) + " whole alpha planes of " +
           std::to_string(f.width) + "x" + std::to_string(f.height) + " words; frame " +
           std::to_string(frames_) + " of " + stream_name(c_.input, false) + " has none";
}

frame_sink::frame_sink(std::string path, std::string alpha_path, std::FILE *standard_output)
    : path_(std::move(path)), alpha_path_(std::move(alpha_path)),
      standard_output_(standard_output) {}

frame_sink::~frame_sink() {
    if (file_ && file_ != standard_output_) std::fclose(file_);
    if (alpha_file_) std::fclose(alpha_file_);
}

std::string frame_sink::open() {
    if (!alpha_path_.empty()) {
        alpha_file_ = std::fopen(alpha_path_.c_str(), "wb");
        if (!alpha_file_) return "cannot create " + alpha_path_ + ": " + std::strerror(errno);
    }
    if (path_ == "-") {
        file_ = standard_output_;
        return {};
    }
    file_ = std::fopen(path_.c_str(), "wb");
    if (!file_) return "cannot create " + path_ + ": " + std::strerror(errno);
    return {};
}

write_status frame_sink::put(const frame &f, std::string &message) {
    if (is_png_name(path_)) {
        if (frames_ > 0) {
            message = path_ + " holds one picture; the input has more frames (name a raw output)";
            return write_status::failed;
        }
        ++frames_;
        if (!f.format->swap_red_blue) {
            message = write_png(path_, f);
        } else {
            frame rgba = f;
            swap_red_blue(rgba);
            message = write_png(path_, rgba);
        }
        return message.empty() ? write_status::written : write_status::failed;
    }
    if (!file_) {
        message = open();
        if (!message.empty()) return write_status::failed;
    }
    const uint8_t *bytes = f.pixels.data();
    if (f.format->to_file) {
        scratch_.resize(f.pixels.size());
        frame_to_file(f, scratch_.data());
        bytes = scratch_.data();
    }
    // A frame is flushed whole, so that the next program in a pipe gets it
    // now and a closed pipe is seen at the frame it happened.
    errno = 0;
    if (std::fwrite(bytes, 1, f.pixels.size(), file_) != f.pixels.size() ||
        std::fflush(file_) != 0) {
        if (errno == EPIPE) return write_status::closed;
        message = "cannot write " + stream_name(path_, true) + ": " + std::strerror(errno);
        return write_status::failed;
    }
    if (alpha_file_ &&
        std::fwrite(f.alpha.data(), 2, f.alpha.size(), alpha_file_) != f.alpha.size()) {
        message = "cannot write " + alpha_path_ + ": " + std::strerror(errno);
        return write_status::failed;
    }
    ++frames_;
    return write_status::written;
}

std::string frame_sink::finish() {
    if (is_png_name(path_)) return frames_ ? std::string() : "no frame to write to " + path_;
    if (!file_) return open();
    if (std::fflush(file_) != 0 && errno != EPIPE)
        return "cannot write " + stream_name(path_, true) + ": " + std::strerror(errno);
    return {};
}

worker_pool::worker_pool(int32_t threads) {
    for (int32_t i = 1; i < threads; ++i) helpers_.emplace_back([this, i] { serve(i); });
}

worker_pool::~worker_pool() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    start_.notify_all();
    for (std::thread &t : helpers_) t.join();
}

void worker_pool::run(const std::function<void(int32_t)> &task) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        task_ = &task;
        pending_ = static_cast<int32_t>(helpers_.size());
        ++generation_;
    }
    start_.notify_all();
    task(0);
    std::unique_lock<std::mutex> lock(mutex_);
    done_.wait(lock, [this] { return pending_ == 0; });
    task_ = nullptr;
}

void worker_pool::serve(int32_t index) {
    uint64_t seen = 0;
    for (;;) {
        const std::function<void(int32_t)> *task;
        {
            std::unique_lock<std::mutex> lock(mutex_);
            start_.wait(lock, [&] { return stopping_ || generation_ != seen; });
            if (stopping_) return;
            seen = generation_;
            task = task_;
        }
        (*task)(index);
        std::lock_guard<std::mutex> lock(mutex_);
        if (--pending_ == 0) done_.notify_one();
    }
}

int run_stream(const command_line &c, const stream_job &job, std::FILE *standard_input,
               std::FILE *standard_output, std::FILE *err) {
    frame_source source(c, standard_input);
    std::string problem = source.open();
    if (!problem.empty()) return fail(err, job.command, problem);
    int32_t width = 0, height = 0;
    problem = job.output_size(source.width(), source.height(), width, height);
    if (!problem.empty()) return fail(err, job.command, problem);
    // OUT's format: --out-format, else IN's; a yuvq IN draws into YUY2 with
    // alpha.
    const bool yuvq_in = source.format()->code == TOVREL_FORMAT_YUVQ;
    const format_info *out_format = !c.out_format.empty() ? find_format(c.out_format)
                                    : yuvq_in             ? find_format(TOVREL_FORMAT_YUY2)
                                                          : source.format();
    frame blank;
    if (!c.under.empty()) {
        // --under: a PNG is the first content, and its size the size, of
        // every output frame.
        problem = read_png(c.under, blank);
        if (problem.empty() && out_format->swap_red_blue) swap_red_blue(blank);
        blank.format = out_format;
    } else {
        problem = make_frame(blank, out_format, width, height, c.background.data());
    }
    if (!problem.empty()) return fail(err, job.command, problem);
    if (yuvq_in || !c.out_alpha.empty()) add_alpha_plane(blank, 0, TOVREL_ALPHA_STRAIGHT);

    frame_sink sink(c.output, c.out_alpha, standard_output);
    worker_pool pool(c.threads);
    progress_meter progress(err, job.command);
    report_scope reports(err);
    frame in, out;
    for (int64_t index = 0;; ++index) {
        const read_status got = source.next(in, problem);
        if (got == read_status::end) break;
        if (got != read_status::frame) {
            progress.finish();
            return fail(err, job.command, problem);
        }
        bool covers_output = false;
        problem = job.prepare(index, in, covers_output);
        if (!problem.empty()) {
            progress.finish();
            return fail(err, job.command, "frame " + std::to_string(index) + ": " + problem);
        }
        if (!covers_output || out.pixels.size() != blank.pixels.size()) out = blank;
        const int32_t period = pool.size();
        pool.run([&](int32_t phase) { job.draw(in, out, phase, period); });
        if (reports.count()) {
            progress.finish();
            return fail(err, job.command,
                        "the library refused; " + stream_name(c.output, true) +
                            (index ? " ends after frame " + std::to_string(index - 1)
                                   : std::string(" not written")));
        }
        const write_status put = sink.put(out, problem);
        if (put == write_status::closed) break;
        if (put == write_status::failed) {
            progress.finish();
            return fail(err, job.command, problem);
        }
        progress.frame_done();
    }
    progress.finish();
    problem = sink.finish();
    if (!problem.empty()) return fail(err, job.command, problem);
    return 0;
}

} // namespace tovrel_tool
