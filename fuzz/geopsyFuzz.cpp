// Any bytes as a Geopsy signal file: the reader and the rules of the header, read a second time in
// another way, come to the same answer.
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include <unistd.h>

#include "fuzz/fuzz.h"
#include "geo/readers/cGeoFileParserGeopsySignal.h"

using fuzz::require;

namespace {

// Little-endian; bytes that the file lacks count as 0.
std::uint32_t number(std::string_view bytes, std::size_t offset) {
  std::uint32_t result = 0;
  for (std::size_t i = 0; i < 4 && offset + i < bytes.size(); ++i)
    result |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[offset + i])) << 8 * i;
  return result;
}

bool isTag(std::string_view tag) {
  constexpr std::string_view kWhite = " \t\r\n";
  constexpr std::string_view kText = "GeopsySignal";
  while (!tag.empty() && kWhite.find(tag.front()) != std::string_view::npos)
    tag.remove_prefix(1);
  return tag.starts_with(kText) &&
         tag.substr(kText.size()).find_first_not_of(std::string_view(" \t\r\n\0", 5)) ==
             std::string_view::npos;
}

int expected(std::string_view bytes) {
  constexpr std::string_view kFixed("\xF0\xDB\x49\x8A\xA6\x0C\x50\xC7" // the test double
                                    "\xD7\x84\x15\x84"                 // the test integer
                                    "\x02\0\0\0",                      // the version
                                    16);
  if (bytes.size() < 16 || !isTag(bytes.substr(0, 16)) || bytes.substr(16, 16) != kFixed)
    return ox3::rcFailed;
  const std::uint32_t headerSize = number(bytes, 32);
  const std::uint32_t entries = number(bytes, 36);
  const bool isHeader = headerSize >= 40 && headerSize <= INT32_MAX && entries <= INT32_MAX &&
                        headerSize == static_cast<std::uint32_t>(4 * (entries + 10ULL));
  return isHeader ? ox3::rcFileFormatRecognized : ox3::rcFailed;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fuzz::InputFolder folder;
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  const std::string name = folder.name(".sg");
  miniSeedFile::write(name, bytes);

  cGeoParserPlugin plugin;
  cGeoParserFile file(plugin);
  const int first = cGeoFileParserGeopsySignal(file).parseFile(name);
  require(first == expected(bytes), "reader and rules come to the same answer");
  require(cGeoFileParserGeopsySignal(file).reloadFile(name) == first, "a second reading agrees");
  require(file.sections().empty() && file.fileType == 0, "nothing is loaded");
  unlink(name.c_str());
  return 0;
}
