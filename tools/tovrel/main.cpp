// tovrel: command-line front end of the library (demo, warp, scale).
#include <string>
#include <vector>

#include "commands.h"

int main(int argc, char **argv) {
    std::vector<std::string> args(argv + (argc > 0 ? 1 : 0), argv + argc);
    return tovrel_tool::run_tool(args, stdout, stderr);
}
