#include "host/check/exportedSymbols.h"

#include <cstdint>
#include <fstream>
#include <ios>
#include <iterator>
#include <stdexcept>

#include <elf.h>

namespace host {

namespace {

// Throws std::out_of_range behind the end of the file.
template<class Record>
Record readAt(const std::string& file, uint64_t position) {
  Record record{};
  if (file.copy(reinterpret_cast<char*>(&record), sizeof record, position) < sizeof record)
    throw std::out_of_range("the library ends early");
  return record;
}

bool isExportedFunction(const Elf64_Sym& symbol) noexcept {
  const int type = ELF64_ST_TYPE(symbol.st_info);
  return ELF64_ST_BIND(symbol.st_info) != STB_LOCAL && symbol.st_shndx != SHN_UNDEF &&
         (type == STT_FUNC || type == STT_GNU_IFUNC);
}

} // namespace

std::vector<std::string> exportedFunctions(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  const std::string file(std::istreambuf_iterator<char>(stream), {});
  const auto header = readAt<Elf64_Ehdr>(file, 0);
  const auto section = [&](uint64_t index) {
    return readAt<Elf64_Shdr>(file, header.e_shoff + index * sizeof(Elf64_Shdr));
  };
  std::vector<std::string> names;
  for (uint64_t index = 0; index < header.e_shnum; ++index) {
    const Elf64_Shdr symbols = section(index);
    if (symbols.sh_type != SHT_DYNSYM)
      continue;
    const Elf64_Shdr strings = section(symbols.sh_link);
    for (uint64_t at = 0; at < symbols.sh_size; at += sizeof(Elf64_Sym)) {
      const auto symbol = readAt<Elf64_Sym>(file, symbols.sh_offset + at);
      if (isExportedFunction(symbol))
        names.emplace_back(&file.at(strings.sh_offset + symbol.st_name));
    }
  }
  return names;
}

} // namespace host
