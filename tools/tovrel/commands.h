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

// args excludes the program name.
int run_tool(const std::vector<std::string> &args, std::FILE *out, std::FILE *err);

} // namespace tovrel_tool
