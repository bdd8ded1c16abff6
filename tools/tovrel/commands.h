// The tool's entry point, callable in-process (the tests do) with the
// streams it writes to.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace tovrel_tool {

// Exit codes.
constexpr int exit_ok = 0;
constexpr int exit_failure = 1; // I/O, unsupported input, library report
constexpr int exit_usage = 2;   // malformed command line

// args excludes the program name. `in` and `out` are the streams that "-"
// names; `out` also receives --help and the demo's lines.
int run_tool(const std::vector<std::string> &args, std::FILE *in, std::FILE *out, std::FILE *err);
inline int run_tool(const std::vector<std::string> &args, std::FILE *out, std::FILE *err) {
    return run_tool(args, stdin, out, err);
}

} // namespace tovrel_tool
