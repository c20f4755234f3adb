// The command line: subcommands, options and their help.
#pragma once

#include <string>
#include <vector>

namespace host {

// Reads the arguments (without the program's name), runs the subcommand and returns the exit
// status. Every failure is reported on standard error; nothing is thrown.
int runCommandLine(std::vector<std::string> arguments);

} // namespace host
