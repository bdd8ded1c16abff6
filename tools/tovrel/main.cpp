// tovrel: command-line front end of the library (demo, warp, scale).
#include <csignal>
#include <string>
#include <vector>

#include "commands.h"

int main(int argc, char **argv) {
    // A closed output pipe shows as EPIPE on the write and ends the run
    // cleanly instead of killing the process.
    std::signal(SIGPIPE, SIG_IGN);
    std::vector<std::string> args(argv + (argc > 0 ? 1 : 0), argv + argc);
    return tovrel_tool::run_tool(args, stdout, stderr);
}
