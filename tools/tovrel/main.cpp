// tovrel: command-line front end of the library (demo, warp, scale).
#include <csignal>
#include <string>
#include <vector>

#include "commands.h"

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#endif

int main(int argc, char **argv) {
    // A closed output pipe shows as EPIPE on the write and ends the run
    // cleanly instead of killing the process.
#ifdef SIGPIPE
    std::signal(SIGPIPE, SIG_IGN);
#endif
#ifdef _WIN32
    // Raw frames on "-" must pass unchanged: no CR/LF translation.
    _setmode(_fileno(stdin), _O_BINARY);
    _setmode(_fileno(stdout), _O_BINARY);
#endif
    std::vector<std::string> args(argv + (argc > 0 ? 1 : 0), argv + argc);
    return tovrel_tool::run_tool(args, stdout, stderr);
}
