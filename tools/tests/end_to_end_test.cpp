// One run per command through the tool's entry point, on small generated
// files in a fresh temporary directory.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <random>

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

run_result run(const std::vector<std::string> &args) {
    std::FILE *out = std::tmpfile();
    std::FILE *err = std::tmpfile();
    const int code = run_tool(args, out, err);
    return {code, drain(out), drain(err)};
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
    for (const char *name :
         {"testcard.png", "perspective.png", "minify.png", "layers.png", "tiles.png", "zoom.png"}) {
        frame f;
        ASSERT_EQ(read_png((dir_ / "scenes" / name).string(), f), "") << name;
        EXPECT_EQ(f.width, scene_width);
        EXPECT_EQ(f.height, scene_height);
        EXPECT_NE(r.out.find(name), std::string::npos) << r.out;
    }
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
