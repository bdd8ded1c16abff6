// One run per command through the tool's entry point, on small generated
// files in a fresh temporary directory.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <random>

#ifdef __linux__
#include <fcntl.h>
#include <unistd.h>
#endif

#include "commands.h"
#include "demo.h"
#include "image_io.h"

namespace tovrel_tool {
namespace {

namespace fs = std::filesystem;

struct run_result {
    int code;
    std::string out, err;
};

std::string drain(std::FILE *f) {
    std::string text;
    std::rewind(f);
    char buffer[4096];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, f)) > 0) text.append(buffer, n);
    std::fclose(f);
    return text;
}

// `input` is what "-" reads.
run_result run(const std::vector<std::string> &args, const std::vector<uint8_t> &input = {}) {
    std::FILE *in = std::tmpfile();
    std::fwrite(input.data(), 1, input.size(), in);
    std::rewind(in);
    std::FILE *out = std::tmpfile();
    std::FILE *err = std::tmpfile();
    const int code = run_tool(args, in, out, err);
    std::fclose(in);
    return {code, drain(out), drain(err)};
}

std::vector<uint8_t> bytes_of(const std::string &text) {
    return {text.begin(), text.end()};
}

class Tool : public ::testing::Test {
protected:
    void SetUp() override {
        std::random_device rd;
        dir_ = fs::path(::testing::TempDir()) /
               ("tovrel-tool-" + std::to_string(rd()) + "-" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::create_directories(dir_);
    }
    void TearDown() override {
        std::error_code ec;
        fs::remove_all(dir_, ec);
    }
    std::string path(const char *name) const { return (dir_ / name).string(); }

    // A w x h RGBQ frame of seeded random bytes.
    frame random_frame(int32_t w, int32_t h, uint32_t seed) {
        frame f;
        EXPECT_EQ(make_frame(f, find_format("rgbq"), w, h), "");
        std::mt19937 gen(seed);
        for (uint8_t &b : f.pixels) b = static_cast<uint8_t>(gen());
        return f;
    }

    fs::path dir_;
};

TEST_F(Tool, DemoWritesEveryScene) {
    const run_result r = run({"demo", path("scenes")});
    ASSERT_EQ(r.code, exit_ok) << r.err;
    for (const char *name : {"testcard.png", "perspective.png", "minify.png", "layers.png",
                             "overlay.png", "tiles.png", "zoom.png", "yuy2.png"}) {
        frame f;
        ASSERT_EQ(read_png((dir_ / "scenes" / name).string(), f), "") << name;
        EXPECT_EQ(f.width, scene_width);
        EXPECT_EQ(f.height, scene_height);
        EXPECT_NE(r.out.find(name), std::string::npos) << r.out;
    }
    // Rendered through ffmpeg when it is installed, else said to be skipped.
    EXPECT_NE(r.out.find("move.mp4"), std::string::npos) << r.out;
}

// Identity and mirror quads with point sampling copy texels exactly, with
// or without the (then affine) perspective weights.
TEST_F(Tool, WarpPlacesTheCornersAsGiven) {
    const frame in = random_frame(37, 23, 1234);
    ASSERT_EQ(write_png(path("in.png"), in), "");
    for (const char *extra : {"--bg=000000", "--persp"}) {
        const run_result same_run = run({"warp", path("in.png"), path("same.png"), "--quad",
                                         "0,0,37,0,37,23,0,23", "--no-filter", extra});
        ASSERT_EQ(same_run.code, exit_ok) << same_run.err;
        frame same;
        ASSERT_EQ(read_png(path("same.png"), same), "");
        EXPECT_EQ(same.pixels, in.pixels) << extra;
    }
    const run_result r = run({"warp", path("in.png"), path("mirror.png"), "--quad",
                              "37,0,0,0,0,23,37,23", "--no-filter", "--out-size", "40x30"});
    ASSERT_EQ(r.code, exit_ok) << r.err;
    frame mirror;
    ASSERT_EQ(read_png(path("mirror.png"), mirror), "");
    ASSERT_EQ(mirror.width, 40);
    for (int32_t y = 0; y < 30; ++y)
        for (int32_t x = 0; x < 40; ++x)
            for (int i = 0; i < 4; ++i) {
                const uint8_t want = (x < 37 && y < 23) ? in.row(y)[4 * (36 - x) + i] : 0;
                ASSERT_EQ(mirror.row(y)[4 * x + i], want) << x << "," << y;
            }
}

// Raw signed 16-bit frames mapped 1:1: every pixel but the last column and
// row (sampled at fraction 127 by the clamp margin) comes out unchanged,
// copied (S16X4) or laid over the black frame (S16X4A).
TEST_F(Tool, WarpCopiesRawSignedFrames) {
    for (const char *name : {"s16x4", "s16x4a"}) {
        frame in;
        ASSERT_EQ(make_frame(in, find_format(name), 6, 5), "");
        std::mt19937 gen(5);
        for (uint8_t &b : in.pixels) b = static_cast<uint8_t>(gen());
        for (size_t i = 6; i < in.pixels.size(); i += 8) in.pixels[i] = 0, in.pixels[i + 1] = 16;
        ASSERT_EQ(write_raw(path("in.raw"), in), "");
        const run_result r = run({"warp", path("in.raw"), path("out.raw"), "--format", name,
                                  "--size", "6x5", "--quad", "0,0,6,0,6,5,0,5"});
        ASSERT_EQ(r.code, exit_ok) << r.err;
        frame out;
        ASSERT_EQ(read_raw(path("out.raw"), find_format(name), 6, 5, out), "");
        for (int32_t y = 0; y < 4; ++y)
            ASSERT_TRUE(std::equal(in.row(y), in.row(y) + 5 * 8, out.row(y))) << name << y;
    }
}

// --alpha: the PNG's alpha becomes a straight w12b plane (round(a * 4096 /
// 255), the fourth byte opaque) laid over --under or --bg; point sampled
// 1:1, each byte is (S e + D (4096 - e)) >> 12.
TEST_F(Tool, WarpLaysAPngWithAlphaOver) {
    const frame in = random_frame(9, 7, 31), under = random_frame(12, 8, 32);
    ASSERT_EQ(write_png(path("in.png"), in), "");
    ASSERT_EQ(write_png(path("under.png"), under), "");
    for (bool over_image : {true, false}) {
        std::vector<std::string> args = {"warp",   path("in.png"),    path("out.png"),
                                         "--quad", "0,0,9,0,9,7,0,7", "--no-filter",
                                         "--alpha"};
        for (const char *a : {"--under", "under.png"}) args.push_back(a);
        if (over_image)
            args.back() = path("under.png");
        else
            args.resize(args.size() - 2), args.push_back("--bg=10203040");
        const run_result r = run(args);
        ASSERT_EQ(r.code, exit_ok) << r.err;
        frame out;
        ASSERT_EQ(read_png(path("out.png"), out), "");
        ASSERT_EQ(out.width, over_image ? 12 : 9);
        for (int32_t y = 0; y < out.height; ++y)
            for (int32_t x = 0; x < out.width; ++x)
                for (int i = 0; i < 4; ++i) {
                    const uint32_t d = over_image ? under.row(y)[4 * x + i] : 0x10 + 0x10 * i;
                    uint32_t want = d;
                    if (x < 9 && y < 7) {
                        const uint32_t e = (in.row(y)[4 * x + 3] * 4096 + 127) / 255;
                        const uint32_t s = i == 3 ? 255 : in.row(y)[4 * x + i];
                        want = (s * e + d * (4096 - e)) >> 12;
                    }
                    ASSERT_EQ(out.row(y)[4 * x + i], want) << x << "," << y << "," << i;
                }
    }
}

TEST_F(Tool, WarpReportsTheLibrarysRefusal) {
    frame in;
    ASSERT_EQ(make_frame(in, find_format("yuvq"), 4, 2), "");
    ASSERT_EQ(write_raw(path("in.yuvq"), in), "");
    const run_result r = run({"warp", path("in.yuvq"), path("out.yuvq"), "--format", "yuvq",
                              "--size", "4x2", "--quad", "0,0,4,0,4,2,0,2"});
    EXPECT_EQ(r.code, exit_failure);
    EXPECT_NE(r.err.find("tovrel: library: source texture is not supported.\n"), std::string::npos)
        << r.err;
    EXPECT_FALSE(fs::exists(path("out.yuvq")));
}

// Raw RGBQ halved: every component is the rounded mean of a 2x2 block.
TEST_F(Tool, ScaleHalvesRawFrames) {
    const frame in = random_frame(8, 6, 99);
    ASSERT_EQ(write_raw(path("in.rgbq"), in), "");
    const run_result r = run({"scale", path("in.rgbq"), path("out.rgbq"), "--format", "rgbq",
                              "--size", "8x6", "--dst", "0,0,4,3"});
    ASSERT_EQ(r.code, exit_ok) << r.err;
    frame out;
    ASSERT_EQ(read_raw(path("out.rgbq"), find_format("rgbq"), 4, 3, out), "");
    for (int32_t y = 0; y < 3; ++y)
        for (int32_t x = 0; x < 4; ++x)
            for (int i = 0; i < 4; ++i) {
                const int sum = in.row(2 * y)[8 * x + i] + in.row(2 * y)[8 * x + 4 + i] +
                                in.row(2 * y + 1)[8 * x + i] + in.row(2 * y + 1)[8 * x + 4 + i];
                ASSERT_EQ(out.row(y)[4 * x + i], (sum + 2) >> 2) << x << "," << y << "," << i;
            }
    // A file shorter than one frame is a partial frame: refused, nothing drawn.
    const run_result shorter = run({"scale", path("in.rgbq"), path("x.rgbq"), "--format", "rgbq",
                                    "--size", "8x7", "--dst", "0,0,4,3"});
    EXPECT_EQ(shorter.code, exit_failure);
    EXPECT_NE(shorter.err.find("ends in a partial frame: 192 of the 224 bytes"), std::string::npos)
        << shorter.err;
}

#ifdef __linux__
// Progress goes to standard error only when it is a terminal (here a
// pseudo-terminal); the stream tests check that a file gets nothing.
TEST_F(Tool, ProgressOnATerminal) {
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(master, 0);
    ASSERT_EQ(grantpt(master), 0);
    ASSERT_EQ(unlockpt(master), 0);
    std::FILE *terminal = std::fopen(ptsname(master), "w");
    ASSERT_NE(terminal, nullptr);
    std::FILE *in = std::tmpfile();
    const frame f = random_frame(8, 8, 3);
    for (int k = 0; k < 5; ++k) std::fwrite(f.pixels.data(), 1, f.pixels.size(), in);
    std::rewind(in);
    std::FILE *out = std::tmpfile();
    const int code = run_tool(
        {"warp", "-", "-", "--format", "rgba", "--size", "8x8", "--quad", "0,0,8,0,8,8,0,8"}, in,
        out, terminal);
    std::fclose(terminal);
    std::fclose(in);
    std::fclose(out);
    char text[256] = {};
    const ssize_t n = read(master, text, sizeof text - 1);
    close(master);
    EXPECT_EQ(code, exit_ok);
    ASSERT_GT(n, 0);
    EXPECT_NE(std::string(text).find("tovrel: warp: 5 frames, "), std::string::npos) << text;
}
#endif

// Frames back to back on standard input: each comes out as if it were
// alone, in order; a trailing partial frame is reported after them.
TEST_F(Tool, StreamsWholeFramesThenReportsAPartialOne) {
    // Partly covered pixels over the background, and a whole-frame cover.
    for (const char *dst : {"0.5,0,3.5,2", "0,0,4,2"}) {
        std::vector<uint8_t> input, want;
        for (uint32_t k = 0; k < 3; ++k) {
            const frame f = random_frame(6, 4, 500 + k);
            input.insert(input.end(), f.pixels.begin(), f.pixels.end());
            ASSERT_EQ(write_raw(path("one.rgba"), f), "");
            const run_result alone = run({"scale", path("one.rgba"), path("one-out.rgba"),
                                          "--format", "rgba", "--size", "6x4", "--dst", dst});
            ASSERT_EQ(alone.code, exit_ok) << alone.err;
            frame o;
            ASSERT_EQ(read_raw(path("one-out.rgba"), find_format("rgba"), 4, 2, o), "");
            want.insert(want.end(), o.pixels.begin(), o.pixels.end());
        }
        const std::vector<std::string> args = {"scale",  "-",   "-",     "--format", "rgba",
                                               "--size", "6x4", "--dst", dst};
        const run_result whole = run(args, input);
        ASSERT_EQ(whole.code, exit_ok) << whole.err;
        EXPECT_EQ(bytes_of(whole.out), want) << dst;
        EXPECT_EQ(whole.err, "");

        input.resize(input.size() + 10, 7);
        const run_result partial = run(args, input);
        EXPECT_EQ(partial.code, exit_failure);
        EXPECT_EQ(bytes_of(partial.out), want) << dst;
        EXPECT_NE(partial.err.find("standard input ends in a partial frame: 10 of the 96 bytes "
                                   "of a 6x4 rgba frame, after 3 whole frames"),
                  std::string::npos)
            << partial.err;
    }
    const run_result empty =
        run({"scale", "-", "-", "--format", "rgba", "--size", "6x4", "--dst", "0,0,3,2"});
    EXPECT_EQ(empty.code, exit_ok) << empty.err;
    EXPECT_EQ(empty.out, "");
}

// Splitting the lines of each frame over threads changes no byte.
TEST_F(Tool, ThreadsGiveTheSameBytes) {
    std::vector<uint8_t> input;
    for (uint32_t k = 0; k < 2; ++k) {
        const frame f = random_frame(40, 30, 900 + k);
        input.insert(input.end(), f.pixels.begin(), f.pixels.end());
    }
    const std::vector<std::vector<std::string>> jobs = {
        {"warp", "--quad", "3.5,1,38,6,33,29,1,22.5", "--persp", "--aa", "--out-size", "41x31"},
        {"warp", "--quad", "30,2,39,2,39,9,30,9", "--field", "bottom"},
        {"scale", "--dst", "1.25,0.5,17.75,29", "--src", "2,3,39,27.5"},
    };
    for (const std::vector<std::string> &job : jobs) {
        std::vector<std::string> args = job;
        args.insert(args.begin() + 1, {"-", "-", "--format", "rgba", "--size", "40x30"});
        const run_result one = run(args, input);
        ASSERT_EQ(one.code, exit_ok) << one.err;
        args.insert(args.end(), {"--threads", "3"});
        const run_result three = run(args, input);
        ASSERT_EQ(three.code, exit_ok) << three.err;
        EXPECT_EQ(three.out, one.out) << job[2];
    }
}

// A move: frame k at k/N of the way from --dst to --dst-to, held after N.
TEST_F(Tool, MoveInterpolatesThenHolds) {
    const std::vector<uint8_t> white(4 * 4 * 4 * 4, 255); // four 4x4 frames
    const run_result r =
        run({"scale", "-", "-", "--format", "bgra", "--size", "4x4", "--dst", "0,0,2,2", "--dst-to",
             "6,4,8,6", "--move-frames", "2", "--bg", "0000ff"},
            white);
    ASSERT_EQ(r.code, exit_ok) << r.err;
    ASSERT_EQ(r.out.size(), 4u * 8 * 6 * 4);
    const int lefts[4] = {0, 3, 6, 6}, tops[4] = {0, 2, 4, 4};
    for (int k = 0; k < 4; ++k)
        for (int y = 0; y < 6; ++y)
            for (int x = 0; x < 8; ++x) {
                const bool inside =
                    x >= lefts[k] && x < lefts[k] + 2 && y >= tops[k] && y < tops[k] + 2;
                // bgra: the blue background is byte 0.
                const uint8_t *p =
                    reinterpret_cast<const uint8_t *>(r.out.data()) + ((k * 6 + y) * 8 + x) * 4;
                EXPECT_EQ(p[0], 255) << k << ":" << x << "," << y;
                EXPECT_EQ(p[2], inside ? 255 : 0) << k << ":" << x << "," << y;
            }
}

// Planar 4:2:2 files become packed pairs Y0, U, Y1, V and come back intact.
TEST_F(Tool, PlanarFormatsConvertBothWays) {
    for (const char *name : {"yuv422p", "yuv422p10le"}) {
        const format_info *format = find_format(name);
        frame f;
        ASSERT_EQ(make_frame(f, format, 6, 3), "") << name;
        std::vector<uint8_t> file(f.pixels.size());
        for (size_t i = 0; i < file.size(); ++i) file[i] = static_cast<uint8_t>(i * 7 + 1);
        frame_from_file(file.data(), f);
        const size_t s = format->bytes_per_pixel / 2; // bytes per sample
        // Pixel pair 4 (line 1, pixels 2 and 3): Y at sample 8, 9; U, V at 4.
        const uint8_t *pair = f.pixels.data() + 4 * s * 4;
        const size_t y = 8 * s, u = 18 * s + 4 * s, v = 18 * s + 9 * s + 4 * s;
        for (size_t b = 0; b < s; ++b) {
            EXPECT_EQ(pair[b], file[y + b]) << name;
            EXPECT_EQ(pair[s + b], file[u + b]) << name;
            EXPECT_EQ(pair[2 * s + b], file[y + s + b]) << name;
            EXPECT_EQ(pair[3 * s + b], file[v + b]) << name;
        }
        std::vector<uint8_t> back(file.size());
        frame_to_file(f, back.data());
        EXPECT_EQ(back, file) << name;
    }
}

// A point-sampled identity warp returns 4:2:2 streams byte for byte, packed
// or planar, 8 or 10 bits, split over threads or not.
TEST_F(Tool, IdentityWarpReturns422Streams) {
    for (const char *name : {"yuyv422", "yuv422p", "w210", "yuv422p10le"}) {
        const bool ten_bit = find_format(name)->code == TOVREL_FORMAT_W210;
        std::vector<uint8_t> input(2 * 10 * 6 * (ten_bit ? 4 : 2)); // two 10x6 frames
        std::mt19937 gen(77);
        for (size_t i = 0; i < input.size(); ++i) // 10-bit samples: high bytes 0..3
            input[i] = static_cast<uint8_t>(gen() & (ten_bit && (i & 1) ? 3 : 255));
        for (const char *threads : {"1", "4"}) {
            const run_result r =
                run({"warp", "-", "-", "--format", name, "--size", "10x6", "--quad",
                     "0,0,10,0,10,6,0,6", "--no-filter", "--threads", threads},
                    input);
            ASSERT_EQ(r.code, exit_ok) << r.err;
            EXPECT_EQ(bytes_of(r.out), input) << name << ", threads " << threads;
        }
    }
}

// A yuvq frame through its alpha plane into W210 with alpha, 1:1: luma times
// 4, opaque pixels opaque, transparent ones left transparent.
TEST_F(Tool, ScaleDrawsYuvqThroughItsAlpha) {
    frame in, alpha;
    ASSERT_EQ(make_frame(in, find_format("yuvq"), 4, 2), "");
    ASSERT_EQ(make_frame(alpha, find_format("word"), 4, 2), "");
    for (size_t i = 0; i < in.pixels.size(); ++i) in.pixels[i] = uint8_t(16 + i);
    for (size_t i = 0; i < 8; ++i) alpha.pixels[2 * i + 1] = i % 4 == 3 ? 0 : 0x10; // 4096 or 0
    ASSERT_EQ(write_raw(path("in.yuvq"), in), "");
    ASSERT_EQ(write_raw(path("in.alpha"), alpha), "");
    const run_result missing = run({"scale", path("in.yuvq"), path("out.w210"), "--format", "yuvq",
                                    "--size", "4x2", "--dst", "0,0,4,2"});
    EXPECT_EQ(missing.code, exit_usage);
    const run_result r = run({"scale", path("in.yuvq"), path("out.w210"), "--format", "yuvq",
                              "--size", "4x2", "--dst", "0,0,4,2", "--alpha", path("in.alpha"),
                              "--out-format", "w210", "--out-alpha", path("out.alpha")});
    ASSERT_EQ(r.code, exit_ok) << r.err;
    frame out, out_alpha;
    ASSERT_EQ(read_raw(path("out.w210"), find_format("w210"), 4, 2, out), "");
    ASSERT_EQ(read_raw(path("out.alpha"), find_format("word"), 4, 2, out_alpha), "");
    for (int32_t i = 0; i < 8; ++i) {
        uint16_t y, a;
        std::memcpy(&y, out.pixels.data() + 4 * i, 2);
        std::memcpy(&a, out_alpha.pixels.data() + 2 * i, 2);
        EXPECT_EQ(a, i % 4 == 3 ? 0 : 4096) << i;
        if (i % 4 != 3) {
            EXPECT_EQ(y, 4 * in.pixels[size_t(4 * i)]) << i;
        }
    }
    // A stream of three frames: the one alpha plane serves all of them, and
    // each output frame and plane is the single run's.
    std::vector<uint8_t> three;
    for (int k = 0; k < 3; ++k) three.insert(three.end(), in.pixels.begin(), in.pixels.end());
    const run_result s =
        run({"scale", "-", "-", "--format", "yuvq", "--size", "4x2", "--dst", "0,0,4,2", "--alpha",
             path("in.alpha"), "--out-format", "w210", "--out-alpha", path("out3.alpha")},
            three);
    ASSERT_EQ(s.code, exit_ok) << s.err;
    std::vector<uint8_t> frames, planes;
    for (int k = 0; k < 3; ++k) {
        frames.insert(frames.end(), out.pixels.begin(), out.pixels.end());
        planes.insert(planes.end(), out_alpha.pixels.begin(), out_alpha.pixels.end());
    }
    EXPECT_EQ(bytes_of(s.out), frames);
    frame read_planes;
    ASSERT_EQ(read_raw(path("out3.alpha"), find_format("word"), 4, 6, read_planes), "");
    EXPECT_EQ(read_planes.pixels, planes);
    // Two planes for three frames: the third frame has none.
    std::vector<uint8_t> two(alpha.pixels);
    two.insert(two.end(), alpha.pixels.begin(), alpha.pixels.end());
    std::FILE *f = std::fopen(path("two.alpha").c_str(), "wb");
    std::fwrite(two.data(), 1, two.size(), f);
    std::fclose(f);
    const run_result short_alpha = run({"scale", "-", "-", "--format", "yuvq", "--size", "4x2",
                                        "--dst", "0,0,4,2", "--alpha", path("two.alpha")},
                                       three);
    EXPECT_EQ(short_alpha.code, exit_failure);
    EXPECT_NE(short_alpha.err.find("two.alpha holds 2 whole alpha planes of 4x2 words; frame 2 of "
                                   "standard input has none"),
              std::string::npos)
        << short_alpha.err;
}

TEST_F(Tool, ExitCodesAndMessages) {
    const run_result usage = run({"warp", "a.png"});
    EXPECT_EQ(usage.code, exit_usage);
    EXPECT_NE(usage.err.find("Try 'tovrel --help'"), std::string::npos);
    const run_result missing = run({"scale", path("none.png"), path("o.png"), "--dst", "0,0,1,1"});
    EXPECT_EQ(missing.code, exit_failure);
    EXPECT_NE(missing.err.find("cannot open"), std::string::npos) << missing.err;
    ASSERT_EQ(write_raw(path("junk.png"), random_frame(4, 4, 7)), "");
    const run_result junk = run({"scale", path("junk.png"), path("o.png"), "--dst", "0,0,1,1"});
    EXPECT_EQ(junk.code, exit_failure);
    EXPECT_NE(junk.err.find("not a readable PNG"), std::string::npos) << junk.err;
    const run_result help = run({"--help"});
    EXPECT_EQ(help.code, exit_ok);
    EXPECT_NE(help.out.find("tovrel warp IN OUT"), std::string::npos);
}

} // namespace
} // namespace tovrel_tool
