#include "geo/readers/cGeoFileParserGeopsySignal.h"

#include <algorithm>

#include "support/cOxString.h"

// The header, little-endian as the machine is:
//
//   offset  size
//        0    16  tag
//       16     8  test double
//       24     4  test integer
//       28     4  version
//       32     4  header size in bytes, tag and entry table included
//       36     4  entry count
//       40   4 n  entry table
namespace {

constexpr std::streamsize kTagSize = 16;
constexpr double kTestDouble = -3.333333333e35;
constexpr std::uint32_t kTestInteger = 0x841584D7;
constexpr std::int32_t kVersion = 2;
constexpr std::int32_t kFixedHeaderSize = 40;
constexpr std::uint64_t kReadBufferStep = 1024;

// Stores what the file still holds of the number and leaves the rest of it as it was; true when
// that was all of it.
template<class Number>
bool read(std::ifstream& stream, Number& number) {
  stream.read(reinterpret_cast<char*>(&number), sizeof number);
  return stream.gcount() == sizeof number;
}

template<class Number>
bool readsExactly(std::ifstream& stream, Number expected) {
  Number number = {};
  return read(stream, number) && number == expected;
}

// Wraps around, as a 32-bit product does.
std::uint32_t headerSizeFor(std::int32_t entryCount) {
  return (static_cast<std::uint32_t>(entryCount) + 10) * 4;
}

} // namespace

int cGeoFileParserGeopsySignal::fillSection(cGeoParserSection& /*section*/) {
  std::ifstream stream;
  open(stream, fileName);
  return parseHeader(stream) ? ox3::rcFileFormatRecognized : ox3::rcFailed;
}

bool cGeoFileParserGeopsySignal::parseHeader(std::ifstream& stream) {
  if (!stream.good() || !readTag(stream) || !readsExactly(stream, kTestDouble) ||
      !readsExactly(stream, kTestInteger) || !readsExactly(stream, kVersion))
    return false;

  // From here on a file that ends too early is not told apart from one with zeros in the rest.
  read(stream, headerSize);
  if (headerSize < kFixedHeaderSize)
    return false;
  read(stream, entryCount);
  if (entryCount < 0 || static_cast<std::uint32_t>(headerSize) != headerSizeFor(entryCount))
    return false;

  const auto entries = static_cast<std::size_t>(entryCount);
  entryTable = decltype(entryTable)(entries);
  stream.read(reinterpret_cast<char*>(entryTable.data()),
              static_cast<std::streamsize>(entries * sizeof entryTable[0]));
  return true;
}

bool cGeoFileParserGeopsySignal::readTag(std::ifstream& stream) {
  reserveReadBuffer(kTagSize);
  stream.read(readBuffer.get(), kTagSize);
  ox3::cOxString tag(std::string(readBuffer.get(), kTagSize));
  if (!stream.good())
    return false;

  ox3::cOxString expected("GeopsySignal   ");
  expected.trim();
  tag.trim();
  return tag == expected;
}

void cGeoFileParserGeopsySignal::reserveReadBuffer(std::uint64_t bytes) {
  if (readBufferCapacity >= bytes)
    return;
  auto larger = std::make_unique<char[]>(readBufferCapacity + kReadBufferStep);
  std::copy_n(readBuffer.get(), readBufferLength, larger.get());
  readBuffer = std::move(larger);
  readBufferCapacity += kReadBufferStep;
}
