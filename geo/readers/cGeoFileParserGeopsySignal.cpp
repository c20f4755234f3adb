#include "geo/readers/cGeoFileParserGeopsySignal.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <ios>
#include <new>

#include "geo/cGeoParserPlugin.h"
#include "geo/readers/cDataFile.h"
#include "support/cOxString.h"
#include "support/dateAndTime.h"

// The header, little-endian like the processor:
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
constexpr const char* kTag = "GeopsySignal"; // with blanks or zeros around it
constexpr double kTestDouble = -3.333333333e35;
constexpr std::uint32_t kTestInteger = 0x841584D7;
constexpr std::int32_t kVersion = 2;
constexpr std::int32_t kFixedHeaderSize = 40; // without the entry table
constexpr std::uint64_t kReadBufferStep = 1024;

// Reads a number; false when the file ends within it. The bytes that the file does not hold stay as
// they were.
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

// Modulo 2^32.
std::uint32_t headerSizeFor(std::int32_t entryCount) {
  return kFixedHeaderSize + 4 * static_cast<std::uint32_t>(entryCount);
}

} // namespace

ox3::returnCode cGeoFileParserGeopsySignal::fillSection(cGeoParserSection& /*section*/) {
  std::ifstream stream = cDataFile(fileName_).takeStream();
  return parseHeader(stream) ? ox3::rcFileFormatRecognized : ox3::rcFailed;
}

bool cGeoFileParserGeopsySignal::parseHeader(std::ifstream& stream) {
  if (!stream.good() || !readTag(stream) || !readsExactly(stream, kTestDouble) ||
      !readsExactly(stream, kTestInteger) || !readsExactly(stream, kVersion))
    return false;

  // From here on, bytes that the file does not hold count as 0.
  read(stream, headerSize_);
  if (headerSize_ < kFixedHeaderSize)
    return false;
  read(stream, entryCount_);
  if (entryCount_ < 0 || static_cast<std::uint32_t>(headerSize_) != headerSizeFor(entryCount_))
    return false;

  const auto entries = static_cast<std::size_t>(entryCount_);
  entryTable_.reset(static_cast<std::int32_t*>(
      std::calloc(std::max<std::size_t>(entries, 1), sizeof(std::int32_t))));
  if (!entryTable_)
    throw std::bad_alloc();
  stream.read(reinterpret_cast<char*>(entryTable_.get()),
              static_cast<std::streamsize>(entries * sizeof(std::int32_t)));
  return true;
}

bool cGeoFileParserGeopsySignal::readTag(std::ifstream& stream) {
  reserveReadBuffer(kTagSize);
  stream.read(readBuffer_.get(), kTagSize);
  ox3::cOxString tag(std::string(readBuffer_.get(), kTagSize));
  if (!stream.good())
    return false;

  tag.trim();
  return tag == kTag;
}

void cGeoFileParserGeopsySignal::reserveReadBuffer(std::uint64_t bytes) {
  if (readBufferCapacity_ >= bytes)
    return;
  auto larger = std::make_unique<char[]>(readBufferCapacity_ + kReadBufferStep);
  std::copy_n(readBuffer_.get(), readBufferLength_, larger.get());
  readBuffer_ = std::move(larger);
  readBufferCapacity_ += kReadBufferStep;
}
