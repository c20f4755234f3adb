#include "host/check/exportedSymbols.h"

#include <fstream>
#include <string_view>

#include <elf.h>

namespace host {

namespace {

// Leaves the stream failed when the file ends too early.
template<class Record>
Record readAt(std::ifstream& file, uint64_t position) {
  Record record{};
  file.seekg(static_cast<std::streamoff>(position));
  file.read(reinterpret_cast<char*>(&record), sizeof record);
  return record;
}

std::string stringAt(std::ifstream& file, uint64_t position) {
  std::string string;
  file.seekg(static_cast<std::streamoff>(position));
  std::getline(file, string, '\0');
  return string;
}

bool isExportedFunction(const Elf64_Sym& symbol) noexcept {
  const int type = ELF64_ST_TYPE(symbol.st_info);
  return ELF64_ST_BIND(symbol.st_info) != STB_LOCAL && symbol.st_shndx != SHN_UNDEF &&
         (type == STT_FUNC || type == STT_GNU_IFUNC);
}

std::vector<std::string> namesIn(std::ifstream& file, const Elf64_Shdr& symbols,
                                 const Elf64_Shdr& strings) {
  std::vector<std::string> names;
  for (uint64_t at = 0; at < symbols.sh_size && file; at += sizeof(Elf64_Sym)) {
    const auto symbol = readAt<Elf64_Sym>(file, symbols.sh_offset + at);
    if (isExportedFunction(symbol))
      names.push_back(stringAt(file, strings.sh_offset + symbol.st_name));
  }
  return names;
}

} // namespace

std::optional<std::vector<std::string>> exportedFunctions(const std::string& path) {
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
