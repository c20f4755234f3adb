// The names that a shared library exports, read from the file.
#ifndef OX_WP_HOST_EXPORTED_SYMBOLS_H
#define OX_WP_HOST_EXPORTED_SYMBOLS_H

#include <optional>
#include <string>
#include <vector>

namespace host {

// None when the file is no 64-bit ELF library with a section table.
std::optional<std::vector<std::string>> exportedSymbols(const std::string& path);

} // namespace host

#endif
