#include "diag/diag.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "param_names.h"

namespace tovrel {
namespace {

std::vector<std::string> g_lines;

int record(char *line) {
    g_lines.emplace_back(line);
    return 1;
}

void write(line_assembler &a, int wrap, const char *format, ...) {
    va_list args;
    va_start(args, format);
    a.write(format, args, wrap, record);
    va_end(args);
}

class LineAssembler : public ::testing::Test {
protected:
    void SetUp() override { g_lines.clear(); }
    line_assembler lines;
};

// Texts handed to the assembler one write at a time (with the write's
// wrap column), and the lines it hands over.
struct assembly_case {
    const char *name;
    std::vector<std::pair<int, std::string>> writes;
    std::vector<std::string> lines;
};
void PrintTo(const assembly_case &c, std::ostream *os) {
    *os << c.name;
}
class Assembly : public ::testing::TestWithParam<assembly_case> {};

TEST_P(Assembly, HandsOverWholeLines) {
    g_lines.clear();
    line_assembler lines;
    for (const auto &[wrap, text] : GetParam().writes) write(lines, wrap, "%s", text.c_str());
    EXPECT_EQ(g_lines, GetParam().lines);
}

const std::string x75(75, 'x'), a69(69, 'a');
INSTANTIATE_TEST_SUITE_P(
    Cases, Assembly,
    ::testing::Values(
        // Past the wrap column: handed over whole, not cut.
        assembly_case{"long_text_whole", {{70, x75}}, {x75 + "\n"}},
        // Short of it: waits for the next report.
        assembly_case{"short_text_waits", {{70, a69}, {70, "tail\n"}}, {a69 + "tail\n"}},
        assembly_case{
            "several_lines", {{70, "one\ntwo 2\nthree\n"}}, {"one\n", "two 2\n", "three\n"}},
        // The newline forced at the wrap column gives way to the next text.
        assembly_case{"forced_newline", {{4, "abcd"}, {70, "ef\n"}}, {"abcd\n", "ef\n"}}),
    param_names::printed{});

TEST_F(LineAssembler, CompactionKeepsPendingTextAndOutput) {
    std::vector<std::string> expected;
    for (int i = 0; lines.write_offset() <= line_assembler::compact_threshold; ++i) {
        write(lines, 70, "report number %02d of a long run\n", i);
        char line[64];
        std::snprintf(line, sizeof line, "report number %02d of a long run\n", i);
        expected.emplace_back(line);
    }
    ASSERT_GT(lines.write_offset(), line_assembler::compact_threshold);
    write(lines, 70, "%s", "pending ");
    const size_t pending = std::string("pending ").size();
    write(lines, 70, "%s", "end\n");
    expected.emplace_back("pending end\n");
    EXPECT_EQ(g_lines, expected);
    // The pending text was moved to the start before formatting.
    EXPECT_LE(lines.write_offset(), pending + 4);
}

TEST_F(LineAssembler, OverlongFormattingIsBoundedNotOverrun) {
    const std::string huge(5000, 'z');
    write(lines, 70, "%s", huge.c_str());
    ASSERT_EQ(g_lines.size(), 1u);
    EXPECT_LT(g_lines[0].size(), line_assembler::capacity);
    EXPECT_EQ(g_lines[0].back(), '\n');
}

TEST(ScreenCursor, LinesWrapToTheTopPastTheBottomLimit) {
    screen_cursor cursor;
    std::vector<int32_t> drawn;
    for (int i = 0; i < 56; ++i) {
        drawn.push_back(cursor.place(1080));
        if (cursor.bottom < cursor.y) cursor.y = 0;
    }
    EXPECT_EQ(cursor.bottom, 1060);
    EXPECT_EQ(drawn[0], 0);
    EXPECT_EQ(drawn[53], 1060);
    EXPECT_EQ(drawn[54], 0);
    EXPECT_EQ(drawn[55], 20);
}

struct profile_case {
    uint64_t elapsed, total;
    const char *expected;
};

void PrintTo(const profile_case &c, std::ostream *os) {
    *os << c.elapsed << "_of_" << c.total;
}

class ProfileFormat : public ::testing::TestWithParam<profile_case> {};

TEST_P(ProfileFormat, FormatsTimeAndShare) {
    const profile_case &c = GetParam();
    // 1 000 000 cycles per second: one cycle is one microsecond.
    EXPECT_STREQ(profile_format_with("span", c.elapsed, c.total, 1000000), c.expected);
}

INSTANTIATE_TEST_SUITE_P(Cases, ProfileFormat,
                         ::testing::Values(profile_case{0, 100, ""},
                                           profile_case{1500, 0, "span  1.500 msec(  0.00%)\n"},
                                           profile_case{2000, 1000, "span  2.000 msec(  0.00%)\n"},
                                           profile_case{1000, 1000, "span  1.000 msec(100.00%)\n"},
                                           profile_case{12345, 98765,
                                                        "span 12.345 msec( 12.49%)\n"}),
                         param_names::printed{});

TEST(Profile, StartStopAccumulatesWithCorrection) {
    uint64_t acc = 0;
    const uint64_t start = profile_start(&acc);
    const uint64_t stop = profile_stop(&acc);
    EXPECT_EQ(acc, stop - start);
    EXPECT_GE(acc, 50u);
}

// The report channel, end to end through the host's sink.
std::vector<std::string> g_host_lines;
void TOVREL_CALL host_sink(const char *line, void *user) {
    g_host_lines.emplace_back(line);
    *static_cast<int *>(user) += 1;
}

TEST(Report, HostSinkReceivesAssembledLines) {
    g_host_lines.clear();
    int calls = 0;
    tovrel_set_report_sink(host_sink, &calls);
    diag_report("%s", "RGBQ -> RGBQ ");
    diag_report("with tiling is not supported.\n");
    diag_report("%s\n%s\n", "first", "second");
    diag_set_output(2);
    const char *empty = "";
    diag_print(empty);             // an empty format prints nothing
    diag_print("printed %d\n", 2); // mode 2 goes where reports go
    diag_set_output(3);
    diag_print("discarded\n");
    diag_set_output(0);
    tovrel_set_report_sink(nullptr, nullptr);
    EXPECT_EQ(g_host_lines,
              (std::vector<std::string>{"RGBQ -> RGBQ with tiling is not supported.\n", "first\n",
                                        "second\n", "printed 2\n"}));
    EXPECT_EQ(calls, 4);
}

TEST(Report, PrintBeepRingsOnlyOnce) {
    ::testing::internal::CaptureStdout();
    const char *empty = "";
    diag_print_beep(empty);
    diag_print_beep("a");
    diag_print_beep("b");
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "a\ab");
}

} // namespace
} // namespace tovrel
