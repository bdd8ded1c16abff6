// Command-line grammar: what is accepted, and the message for what is not.
#include <gtest/gtest.h>

#include "args.h"
#include "param_names.h"

namespace tovrel_tool {
namespace {

std::vector<std::string> words(std::initializer_list<const char *> list) {
    return std::vector<std::string>(list.begin(), list.end());
}

struct rejected_case {
    std::vector<std::string> args;
    const char *message_part;
};

void PrintTo(const rejected_case &c, std::ostream *os) {
    for (size_t i = 0; i < c.args.size(); ++i) *os << (i ? " " : "") << c.args[i];
}

class Rejected : public ::testing::TestWithParam<rejected_case> {};

TEST_P(Rejected, GivesMessage) {
    const parse_result r = parse_command_line(GetParam().args);
    EXPECT_FALSE(r.ok);
    EXPECT_NE(r.error.find(GetParam().message_part), std::string::npos) << r.error;
    EXPECT_EQ(r.error.find('\n'), std::string::npos) << "one line: " << r.error;
}

const char *const quad = "0,0,10,0,10,10,0,10";

INSTANTIATE_TEST_SUITE_P(
    CommandLines, Rejected,
    ::testing::Values(
        rejected_case{words({"frobnicate"}), "unknown command 'frobnicate'"},
        rejected_case{words({"demo", "a", "b"}), "at most one directory"},
        rejected_case{words({"demo", "--fast"}), "unknown option '--fast'"},
        rejected_case{words({"--help", "x"}), "takes no arguments"},
        // wrong counts of files
        rejected_case{words({"warp", "--quad", quad}), "got 0 file names"},
        rejected_case{words({"warp", "in.png", "--quad", quad}), "got 1 file name"},
        rejected_case{words({"scale", "a.png", "b.png", "c.png", "--dst", "0,0,1,1"}),
                      "got 3 file names"},
        // unknown, misplaced, repeated options
        rejected_case{words({"warp", "a.png", "b.png", "--quad", quad, "--bogus"}),
                      "unknown option '--bogus'"},
        rejected_case{words({"warp", "a.png", "b.png", "--quad", quad, "--tile"}),
                      "--tile belongs to scale"},
        rejected_case{words({"scale", "a.png", "b.png", "--dst", "0,0,1,1", "--aa"}),
                      "--aa belongs to warp"},
        rejected_case{words({"warp", "a.png", "b.png", "--quad", quad, "--quad", quad}),
                      "--quad given twice"},
        rejected_case{words({"warp", "a.png", "b.png", "--quad", quad, "--aa=1"}),
                      "--aa takes no value"},
        // missing values and required options
        rejected_case{words({"warp", "a.png", "b.png", "--quad"}), "--quad needs a value"},
        rejected_case{words({"scale", "a.png", "b.png", "--dst"}), "--dst needs a value"},
        rejected_case{words({"warp", "a.png", "b.png"}), "--quad is required"},
        rejected_case{words({"scale", "a.png", "b.png"}), "--dst is required"},
        // malformed numbers and lists
        rejected_case{words({"warp", "a.png", "b.png", "--quad", "0,0,10,0,10,10,0"}),
                      "--quad needs 8 numbers"},
        rejected_case{words({"warp", "a.png", "b.png", "--quad", "0,0,10,0,10,10,0,10,5"}),
                      "--quad needs 8 numbers"},
        rejected_case{words({"warp", "a.png", "b.png", "--quad", "0,0,1e,0,10,10,0,10"}),
                      "got '0,0,1e,0,10,10,0,10'"},
        rejected_case{words({"warp", "a.png", "b.png", "--quad", "0,0,nan,0,10,10,0,10"}),
                      "--quad needs"},
        rejected_case{words({"warp", "a.png", "b.png", "--quad", "0,0,,0,10,10,0,10"}),
                      "--quad needs"},
        rejected_case{words({"warp", "a.png", "b.png", "--quad", "0,0,2e6,0,10,10,0,10"}),
                      "--quad needs"},
        rejected_case{words({"scale", "a.png", "b.png", "--dst", "0, 0,4,4"}), "--dst needs"},
        rejected_case{words({"scale", "a.png", "b.png", "--dst", "4,0,0,4"}), "x0 < x1"},
        rejected_case{words({"scale", "a.png", "b.png", "--dst", "0,0,4,4", "--src", "0,2,4,2"}),
                      "--src needs x0 < x1"},
        rejected_case{words({"warp", "a.png", "b.png", "--quad", quad, "--field", "middle"}),
                      "--field needs top or bottom"},
        rejected_case{words({"warp", "a.png", "b.png", "--quad", quad, "--out-size", "0x10"}),
                      "--out-size needs"},
        rejected_case{words({"warp", "a.png", "b.png", "--quad", quad, "--out-size", "10x"}),
                      "--out-size needs"},
        rejected_case{words({"warp", "a.png", "b.png", "--quad", quad, "--out-size", "40000x2"}),
                      "--out-size needs"},
        rejected_case{words({"warp", "a.raw", "b.png", "--quad", quad, "--format", "rgbq", "--size",
                             "4x4", "--alpha"}),
                      "--alpha takes the alpha channel of a PNG input"},
        rejected_case{words({"warp", "a.png", "b.png", "--quad", quad, "--under", "u.raw"}),
                      "--under needs a PNG file"},
        rejected_case{
            words({"warp", "a.png", "b.png", "--quad", quad, "--under", "u.png", "--bg", "102030"}),
            "--under gives OUT its content and size"},
        rejected_case{words({"warp", "a.png", "b.png", "--quad", quad, "--bg", "12345"}),
                      "--bg needs"},
        // raw frames and formats
        rejected_case{words({"warp", "a.raw", "b.raw", "--quad", quad}),
                      "give --format and --size"},
        rejected_case{words({"warp", "a.raw", "b.raw", "--quad", quad, "--format", "rgbq"}),
                      "give --format and --size"},
        rejected_case{
            words({"warp", "a.raw", "b.raw", "--quad", quad, "--format", "nv12", "--size", "4x4"}),
            "unknown format 'nv12'"},
        rejected_case{words({"warp", "a.png", "b.raw", "--quad", quad, "--size", "4x4"}),
                      "--size describes a raw input"},
        rejected_case{words({"warp", "a.png", "b.raw", "--quad", quad, "--format", "yuy2"}),
                      "a PNG file holds RGBQ"},
        rejected_case{
            words({"warp", "a.yuv", "b.png", "--quad", quad, "--format", "yuy2", "--size", "4x4"}),
            "only RGBQ frames can be written as PNG"},
        rejected_case{words({"warp", "a.yuv", "b.yuv", "--quad", quad, "--format", "yuy2", "--size",
                             "4x4", "--bg", "ffffff"}),
                      "--bg applies to RGBQ"},
        rejected_case{words({"warp", "-", "out.yuv", "--quad", quad}),
                      "standard input is read as raw"},
        // threads and moves
        rejected_case{words({"warp", "a.png", "b.png", "--quad", quad, "--threads", "0"}),
                      "--threads needs a count of threads, 1..64"},
        rejected_case{words({"warp", "a.png", "b.png", "--quad", quad, "--threads", "65"}),
                      "--threads needs"},
        rejected_case{words({"warp", "a.png", "b.png", "--quad", quad, "--quad-to", quad}),
                      "--quad-to needs --move-frames N"},
        rejected_case{words({"warp", "a.png", "b.png", "--quad", quad, "--move-frames", "5"}),
                      "--move-frames needs --quad-to"},
        rejected_case{words({"scale", "a.png", "b.png", "--dst", "0,0,4,4", "--move-frames", "5"}),
                      "--move-frames needs --dst-to"},
        rejected_case{words({"scale", "a.png", "b.png", "--dst", "0,0,4,4", "--dst-to", "0,0,4,4",
                             "--move-frames", "0"}),
                      "--move-frames needs a count of frames"},
        rejected_case{words({"scale", "a.png", "b.png", "--dst", "0,0,4,4", "--dst-to", "4,0,0,4",
                             "--move-frames", "3"}),
                      "--dst-to needs x0 < x1"}),
    param_names::printed{});

TEST(Accepted, DefaultsToDemo) {
    const parse_result r = parse_command_line({});
    ASSERT_TRUE(r.ok);
    EXPECT_EQ(r.cmd.kind, command_kind::demo);
    EXPECT_EQ(r.cmd.demo_dir, "tovrel-demo");
    const parse_result d = parse_command_line(words({"demo", "out/dir"}));
    ASSERT_TRUE(d.ok);
    EXPECT_EQ(d.cmd.demo_dir, "out/dir");
    EXPECT_EQ(parse_command_line(words({"warp", "--help"})).cmd.kind, command_kind::help);
}

TEST(Accepted, WarpWithEveryOption) {
    const parse_result r = parse_command_line(
        words({"warp", "In.PNG", "out.png", "--quad=-1.5,2,+3,4e1,5,6,7,8", "--persp", "--aa",
               "--no-filter", "--field", "bottom", "--out-size", "64x32", "--bg", "#10203040"}));
    ASSERT_TRUE(r.ok) << r.error;
    const command_line &c = r.cmd;
    EXPECT_EQ(c.input, "In.PNG");
    EXPECT_EQ(c.output, "out.png");
    EXPECT_EQ(c.quad, (std::array<double, 8>{-1.5, 2, 3, 40, 5, 6, 7, 8}));
    EXPECT_TRUE(c.perspective && c.edge_aa && c.no_filter);
    EXPECT_EQ(c.field, field_choice::bottom);
    EXPECT_EQ(c.out_width, 64);
    EXPECT_EQ(c.out_height, 32);
    EXPECT_EQ(c.background, (std::array<uint8_t, 4>{0x10, 0x20, 0x30, 0x40}));
}

TEST(Accepted, ScaleOfRawFrames) {
    const parse_result r =
        parse_command_line(words({"scale", "--format", "w210", "--size", "720x486", "--", "-in",
                                  "out", "--dst", "0.5,0,360.5,243", "--src", "0,0,720,486",
                                  "--tile", "--src-field", "top", "--dst-field", "bottom"}));
    ASSERT_FALSE(r.ok) << "files after -- come last; options after them are files";
    const parse_result s = parse_command_line(
        words({"scale", "--format", "w210", "--size", "720x486", "--dst", "0.5,0,360.5,243",
               "--src", "0,0,720,486", "--tile", "--src-field", "top", "--dst-field", "bottom",
               "--", "-in", "out"}));
    ASSERT_TRUE(s.ok) << s.error;
    const command_line &c = s.cmd;
    EXPECT_EQ(c.input, "-in");
    EXPECT_EQ(c.format, "w210");
    EXPECT_EQ(c.width, 720);
    EXPECT_EQ(c.height, 486);
    EXPECT_EQ(c.dst_rect, (std::array<double, 4>{0.5, 0, 360.5, 243}));
    EXPECT_TRUE(c.src_rect_given && c.tile);
    EXPECT_EQ(c.src_field, field_choice::top);
    EXPECT_EQ(c.dst_field, field_choice::bottom);
}

TEST(Values, Colours) {
    std::array<uint8_t, 4> c{};
    EXPECT_TRUE(parse_colour("ff8000", c));
    EXPECT_EQ(c, (std::array<uint8_t, 4>{255, 128, 0, 255}));
    for (const char *bad : {"", "#", "ff800", "ff80000", "gg0000", "+f8000", "ff8000ff00"})
        EXPECT_FALSE(parse_colour(bad, c)) << bad;
}

} // namespace
} // namespace tovrel_tool
