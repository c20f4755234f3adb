// Paths of data files, as the system sees them. A plug-in may edit them.
#pragma once

#include <string>
#include <vector>

namespace host {

// A message why this is not a regular file that can be opened; empty when it is.
std::string whyUnreadable(const std::string& path);

// Throws Error when writing to `output` would change one of `inputs`, the files that are read.
void expectToKeep(const std::vector<std::string>& inputs, const std::string& output);

} // namespace host
