// The golden corpus against the values kept in golden_values.h.
//
//   golden_tests                 run the corpus, compare with the kept values
//   golden_tests --verbose       also print every case's CRC and parameters
//   golden_tests --case=N        print case N alone
//   golden_tests --regenerate    rewrite golden_values.h from this build
//   golden_tests --isa=sse2      the same with the SIMD members capped at SSE2,
//   golden_tests --isa=scalar    or with the scalar statements alone
#include <gtest/gtest.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "corpus.h"
#include "diag/isa.h"
#include "golden_values.h"

namespace golden {
namespace {

// Enough cases to meet every format pair, flag and footprint many times,
// few enough to run in seconds under wine and the sanitizers.
constexpr uint32_t case_count = 20000;

bool verbose = false;

struct corpus_values {
    uint32_t everywhere = 0, per_kind = 0;
    uint32_t everywhere_cases = 0, per_kind_cases = 0;
};

void print_case(uint32_t n, const case_result &c) {
    std::printf("case %5" PRIu32 " %08" PRIx32 "%s %s\n", n, c.crc, c.rcp_dependent ? " rcp" : "",
                c.summary.c_str());
}

const corpus_values &run_corpus() {
    static const corpus_values values = [] {
        corpus_values v;
        for (uint32_t n = 0; n < case_count; ++n) {
            const case_result c = run_case(n);
            if (verbose) print_case(n, c);
            uint32_t &sum = c.rcp_dependent ? v.per_kind : v.everywhere;
            sum = crc32(sum, &c.crc, sizeof c.crc); // little-endian on every target
            ++(c.rcp_dependent ? v.per_kind_cases : v.everywhere_cases);
        }
        return v;
    }();
    return values;
}

const char *processor_name() {
    __builtin_cpu_init();
    return __builtin_cpu_is("intel") ? "Intel" : __builtin_cpu_is("amd") ? "AMD" : "other";
}

const kind_value *known_kind(uint32_t kind) {
    for (const kind_value &k : kind_values)
        if (k.kind == kind) return &k;
    return nullptr;
}

constexpr const char *what_to_do =
    "First check that the change of output is intended: run `golden_tests --verbose` built from\n"
    "the commit before and after the change and diff the two outputs; the first differing case\n"
    "names the operation, formats, sizes, pitches and flags (`golden_tests --case=N` repeats it).\n"
    "A family that now draws where it was refused, or a deliberate change of rounding, is a\n"
    "reason; a difference between targets or instruction sets is a bug. To accept the new\n"
    "output run natively `cmake --build build --target golden_regenerate` (or\n"
    "`golden_tests --regenerate`) and commit tests/golden/golden_values.h with the reason.";

TEST(GoldenCorpus, SameBytesEverywhere) {
    const corpus_values &v = run_corpus();
    EXPECT_EQ(v.everywhere, everywhere_value)
        << "The " << v.everywhere_cases << " cases that do not depend on the processor's "
        << "reciprocal give " << std::hex << v.everywhere << ", golden_values.h holds "
        << everywhere_value << ".\n"
        << what_to_do;
}

TEST(GoldenCorpus, SameBytesPerProcessorKind) {
    const corpus_values &v = run_corpus();
    const uint32_t kind = rcp_kind();
    const kind_value *known = known_kind(kind);
    if (known == nullptr)
        GTEST_SKIP() << "The approximate reciprocal of this processor (" << processor_name()
                     << ", kind " << std::hex << kind << ") is not among the known kinds; the "
                     << std::dec << v.per_kind_cases
                     << " perspective cases drawn by packed members "
                     << "give " << std::hex << v.per_kind << " here and are not checked. Run "
                     << "`golden_tests --regenerate` on this machine to add the kind.";
    EXPECT_EQ(v.per_kind, known->value)
        << "The " << v.per_kind_cases << " perspective cases drawn by packed members give "
        << std::hex << v.per_kind << " on this processor kind (" << known->processor << ", " << kind
        << "); golden_values.h holds " << known->value << ".\n"
        << what_to_do;
}

// Rewrites the values file: this processor kind's value replaces its entry;
// other kinds are kept only while the everywhere value they were measured
// beside still holds (otherwise the corpus changed under them).
int regenerate() {
    const corpus_values &v = run_corpus();
    const uint32_t kind = rcp_kind();
    std::vector<kind_value> kinds{{kind, processor_name(), v.everywhere, v.per_kind}};
    for (const kind_value &k : kind_values)
        if (k.kind != kind && k.everywhere == v.everywhere)
            kinds.push_back(k);
        else if (k.kind != kind)
            std::printf("dropped the value of processor kind %08" PRIx32 " (%s): regenerate on "
                        "such a processor to add it back\n",
                        k.kind, k.processor);
    std::FILE *f = std::fopen(GOLDEN_VALUES_FILE, "w");
    if (!f) {
        std::perror(GOLDEN_VALUES_FILE);
        return 1;
    }
    std::fprintf(f,
                 "// Golden values of the corpus, written by `golden_tests --regenerate`.\n"
                 "// Change them only with a reason (see golden_test.cpp).\n"
                 "#pragma once\n\n#include <cstdint>\n\nnamespace golden {\n\n"
                 "// The %" PRIu32 " cases that give the same bytes on every processor.\n"
                 "inline constexpr uint32_t everywhere_value = 0x%08" PRIx32 ";\n\n"
                 "// The %" PRIu32 " perspective cases drawn by packed members, per kind of\n"
                 "// approximate reciprocal (rcp_kind()), measured beside `everywhere`.\n"
                 "struct kind_value {\n    uint32_t kind;\n    const char *processor;\n"
                 "    uint32_t everywhere;\n    uint32_t value;\n};\n"
                 "inline constexpr kind_value kind_values[] = {\n",
                 v.everywhere_cases, v.everywhere, v.per_kind_cases);
    for (const kind_value &k : kinds)
        std::fprintf(f, "    {0x%08" PRIx32 ", \"%s\", 0x%08" PRIx32 ", 0x%08" PRIx32 "},\n",
                     k.kind, k.processor, k.everywhere, k.value);
    std::fprintf(f, "};\n\n} // namespace golden\n");
    std::fclose(f);
    std::printf("wrote %s: everywhere %08" PRIx32 " (%" PRIu32 " cases), kind %08" PRIx32
                " (%s) %08" PRIx32 " (%" PRIu32 " cases)\n",
                GOLDEN_VALUES_FILE, v.everywhere, v.everywhere_cases, kind, processor_name(),
                v.per_kind, v.per_kind_cases);
    return 0;
}

} // namespace
} // namespace golden

int main(int argc, char **argv) {
    testing::InitGoogleTest(&argc, argv);
    bool regenerate = false;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--verbose") {
            golden::verbose = true;
        } else if (arg == "--regenerate") {
            regenerate = true;
        } else if (arg == "--isa=sse2" || arg == "--isa=scalar") {
            tovrel::isa_cap_for_tests(arg == "--isa=sse2" ? tovrel::isa_level::sse2
                                                          : tovrel::isa_level::scalar);
        } else if (arg.rfind("--case=", 0) == 0) {
            const uint32_t n = static_cast<uint32_t>(std::stoul(arg.substr(7)));
            golden::print_case(n, golden::run_case(n));
            return 0;
        } else {
            std::fprintf(stderr,
                         "usage: %s [--verbose] [--case=N] [--regenerate] [--isa=sse2|scalar]\n",
                         argv[0]);
            return 2;
        }
    }
    return regenerate ? golden::regenerate() : RUN_ALL_TESTS();
}
