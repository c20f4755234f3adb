#include "host/check/exportedSymbols.h"

#include <fstream>
#include <string_view>

#include <elf.h>

namespace host {

namespace {

// Leaves the stream failed when there is not enough.
template<class Record>
Record readAt(std::ifstream& file, uint64_t position) {
  Record record{};
  file.seekg(static_cast<std::streamoff>(position));
  file.read(reinterpret_cast<char*>(&record), sizeof record);
  return record;
}

std::string textAt(std::ifstream& file, uint64_t position) {
  std::string text;
  file.seekg(static_cast<std::streamoff>(position));
  std::getline(file, text, '\0');
  return text;
}

// Version names are absolute symbols: the linker's book-keeping, nothing that can be called.
bool isExported(const Elf64_Sym& symbol) noexcept {
  return ELF64_ST_BIND(symbol.st_info) != STB_LOCAL && symbol.st_shndx != SHN_UNDEF &&
         symbol.st_shndx != SHN_ABS;
}

std::vector<std::string> namesIn(std::ifstream& file, const Elf64_Shdr& symbols,
                                 const Elf64_Shdr& texts) {
  std::vector<std::string> names;
  for (uint64_t at = 0; at < symbols.sh_size && file; at += sizeof(Elf64_Sym)) {
    const auto symbol = readAt<Elf64_Sym>(file, symbols.sh_offset + at);
    if (isExported(symbol))
      names.push_back(textAt(file, texts.sh_offset + symbol.st_name));
  }
  return names;
}

} // namespace

std::optional<std::vector<std::string>> exportedSymbols(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const auto header = readAt<Elf64_Ehdr>(file, 0);
  const std::string_view magic(reinterpret_cast<const char*>(header.e_ident), SELFMAG);
  if (!file || magic != ELFMAG || header.e_ident[EI_CLASS] != ELFCLASS64)
    return std::nullopt;
  const auto section = [&](uint64_t index) {
    return readAt<Elf64_Shdr>(file, header.e_shoff + index * sizeof(Elf64_Shdr));
  };
  for (uint64_t index = 0; index < header.e_shnum; ++index) {
    const Elf64_Shdr candidate = section(index);
    if (file && candidate.sh_type == SHT_DYNSYM)
      return namesIn(file, candidate, section(candidate.sh_link));
  }
  return std::nullopt;
}

} // namespace host
