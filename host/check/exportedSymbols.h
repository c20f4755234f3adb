// The names that a shared library exports, read from the file.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace host {

// None when the file is no 64-bit ELF library with a section table.
std::optional<std::vector<std::string>> exportedSymbols(const std::string& path);

} // namespace host
