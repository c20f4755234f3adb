// The command line: subcommands, options and their help.
#ifndef OX_WP_HOST_COMMAND_LINE_H
#define OX_WP_HOST_COMMAND_LINE_H

#include <string>
#include <vector>

namespace host {

// Reads the arguments (without the program's name), runs the subcommand and returns the exit
// status.
int runCommandLine(std::vector<std::string> arguments);

} // namespace host

#endif
