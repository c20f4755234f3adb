// The command line: subcommands, options and their help.
#pragma once

#include <string>
#include <vector>

namespace host {

// Reads the arguments (without the program's name), runs the subcommand and returns the exit
// status.
int runCommandLine(std::vector<std::string> arguments);

} // namespace host
