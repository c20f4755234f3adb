#include "geo/readers/cGeoFileParserMiniSeed.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "geo/readers/cRecordStream.h"
#include "geo/readers/toDoubles.h"

namespace {

constexpr double kMicrosecondsPerSecond = 1000000.0;

// Network, station, location and channel of a record, as libmseed holds them: the parts of its
// source name. Records with the same codes belong to one stream, so that most of them need no name.
class cStreamCodes {
public:
  // Codes of no record: in a record, each ends with a zero.
  cStreamCodes() noexcept { std::memset(codes_, '#', sizeof codes_); }
  explicit cStreamCodes(const MSRecord& record) noexcept {
    std::memcpy(codes_, codesOf(record), sizeof codes_);
  }

  bool areOf(const MSRecord& record) const noexcept {
    return std::memcmp(codes_, codesOf(record), sizeof codes_) == 0;
  }

private:
  static constexpr std::size_t kOffset = offsetof(MSRecord, network);
  static constexpr std::size_t kSize =
      offsetof(MSRecord, channel) + sizeof(MSRecord::channel) - kOffset;
  static_assert(kSize == sizeof(MSRecord::network) + sizeof(MSRecord::station) +
                             sizeof(MSRecord::location) + sizeof(MSRecord::channel));

  static const char* codesOf(const MSRecord& record) noexcept {
    return reinterpret_cast<const char*>(&record) + kOffset;
  }

  char codes_[kSize];
};

// The codes joined by underscores.
struct cSourceName {
  explicit cSourceName(MSRecord& record) noexcept {
    constexpr flag kWithoutQuality = 0;
    text[0] = '\0';
    msr_srcname(&record, text, kWithoutQuality);
  }
  char text[sizeof(cStreamCodes)]; // long enough: each code is shorter than its array
};

std::int32_t lowBits(std::int64_t value) noexcept {
  return static_cast<std::int32_t>(value);
}

// Truncates toward zero. NaN and values outside 64 bits become INT64_MIN, as the x86-64 conversion
// does: a file can have any sample rate.
std::int64_t truncated(double value) noexcept {
  constexpr double kLimit = 9223372036854775808.0; // 2^63
  if (value >= -kLimit && value < kLimit)
    return static_cast<std::int64_t>(value);
  return std::numeric_limits<std::int64_t>::min();
}

std::uint32_t magnitude(std::int32_t value) noexcept {
  const auto bits = static_cast<std::uint32_t>(value);
  return value < 0 ? 0 - bits : bits;
}

bool isConvertible(int encoding) noexcept {
  switch (encoding) {
  case DE_ASCII:
  case DE_INT16:
  case DE_INT32:
  case DE_FLOAT32:
  case DE_FLOAT64:
  case DE_STEIM1:
  case DE_STEIM2:
    return true;
  default:
    return false;
  }
}

cGeoParserVariable variableFor(const std::string& name, const MSRecord& first) {
  cGeoParserVariable variable;
  variable.name = name;
  variable.dataType = isConvertible(first.encoding) ? ox_wp_type_double : ox_wp_type_none;
  variable.sampleRate = first.samprate;
  variable.startTime = lowBits(first.starttime);
  variable.nextStartTime = variable.startTime;
  return variable;
}

// Finds a record's variable, or adds one. Records of one stream usually follow each other, or
// streams are interleaved in a fixed order: tries the previous variable, then the next one, and
// only then searches by name.
class cVariableFinder {
public:
  explicit cVariableFinder(std::vector<cGeoParserVariable>& list)
      : variables_(list), first_(list.size()) {}

  // The variable is valid until the next call.
  cGeoParserVariable& variableOf(MSRecord& record) {
    if (!current_ || !codes_[stream_].areOf(record)) {
      stream_ = streamOf(record);
      current_ = &variables_[first_ + stream_];
    }
    return *current_;
  }

private:
  std::size_t streamOf(MSRecord& record) {
    const std::size_t next = stream_ + 1 < codes_.size() ? stream_ + 1 : 0;
    if (next < codes_.size() && codes_[next].areOf(record))
      return next;
    const auto [entry, isNew] = streamByName_.try_emplace(cSourceName(record).text, codes_.size());
    if (isNew) {
      variables_.push_back(variableFor(entry->first, record));
      codes_.emplace_back(record);
    }
    return entry->second;
  }

  std::vector<cGeoParserVariable>& variables_;
  std::size_t first_; // variables that were there before; they stay as they are
  // Streams are numbered in the order of their first record.
  std::vector<cStreamCodes> codes_;
  std::map<std::string, unsigned long> streamByName_;
  cGeoParserVariable* current_ = nullptr;
  std::size_t stream_ = 0;
};

// Picks the records of the stream of a given name. Remembers the last codes that were its, and the
// last that were not.
class cStreamFilter {
public:
  explicit cStreamFilter(const std::string& name) : name_(name) {}

  bool takes(MSRecord& record) {
    if (taken_.areOf(record))
      return true;
    if (left_.areOf(record))
      return false;
    const bool isTaken = name_ == cSourceName(record).text;
    (isTaken ? taken_ : left_) = cStreamCodes(record);
    return isTaken;
  }

private:
  const std::string& name_;
  cStreamCodes taken_;
  cStreamCodes left_;
};

void addRecord(cGeoParserVariable& variable, const MSRecord& record) noexcept {
  variable.sampleCount += static_cast<std::uint64_t>(record.samplecnt);
  if (variable.sampleRate == 0)
    return;

  // Required behaviour, not a mistake: the distance is divided by the rate, and nextStartTime
  // advances by one sample, not by one record. No property publishes either.
  const auto distance = static_cast<double>(record.starttime - variable.nextStartTime);
  const std::int32_t gap =
      lowBits(truncated(distance / (variable.sampleRate * kMicrosecondsPerSecond)));
  variable.gapSum =
      static_cast<std::int32_t>(static_cast<std::uint32_t>(variable.gapSum) + magnitude(gap));
  variable.nextStartTime = lowBits(truncated(static_cast<double>(record.starttime) +
                                             kMicrosecondsPerSecond / variable.sampleRate));
}

// Stores the record's first `count` samples; returns where the next ones go.
double* storeSamples(const MSRecord& record, std::int64_t count, double* target) {
  switch (record.sampletype) {
  case 'a':
    toDoubles(static_cast<const unsigned char*>(record.datasamples), count, target);
    break;
  case 'i':
    toDoubles(static_cast<const std::int32_t*>(record.datasamples), count, target);
    break;
  case 'f':
    toDoubles(static_cast<const float*>(record.datasamples), count, target);
    break;
  case 'd':
    toDoubles(static_cast<const double*>(record.datasamples), count, target);
    break;
  default:
    return target;
  }
  return target + count;
}

} // namespace

ox3::returnCode cGeoFileParserMiniSeed::fillSection(cGeoParserSection& section) {
  cDataFile data(fileName);
  if (!checkFileHeader(data) || !parseHeader(data, section))
    return ox3::rcFailed;
  if (section.variables.empty())
    return ox3::rcFileFormatRecognized;
  file.fileType = geoFileParser::geo_file_miniseed;
  return ox3::rcOk;
}

bool cGeoFileParserMiniSeed::checkFileHeader() {
  return checkFileHeader(cDataFile(fileName));
}

bool cGeoFileParserMiniSeed::checkFileHeader(const cDataFile& data) {
  // Sequence number, quality, station, location, channel and network are text. In a shorter file
  // its last byte stands for the missing ones.
  constexpr std::size_t kTextSize = 20;
  char start[kTextSize] = {};
  const std::size_t size = data.isReadable() ? data.readStart(start, kTextSize) : 0;
  return size > 0 && std::all_of(start, start + size, [](char byte) {
           return (byte >= 0x20 && byte <= 0x7E) || byte == '\r' || byte == '\t' || byte == '\n';
         });
}

bool cGeoFileParserMiniSeed::parseHeader(cGeoParserSection& section) {
  cDataFile data(fileName);
  return parseHeader(data, section);
}

bool cGeoFileParserMiniSeed::parseHeader(cDataFile& data, cGeoParserSection& section) {
  cVariableFinder finder(section.variables);
  cRecordStream records(data, cRecordStream::Samples::skipped);
  while (MSRecord* record = records.next())
    addRecord(finder.variableOf(*record), *record);
  return records.reachedEnd();
}

bool cGeoFileParserMiniSeed::copyVariableDataDouble(cGeoParserSection& section, int variable,
                                                    double* samples, int count) {
  if (variable < 0 || variable >= std::ssize(section.variables))
    return false;
  if (!samples && count > 0)
    return false;

  fileName = file.fileName();
  cStreamFilter stream(section.variables[static_cast<std::size_t>(variable)].name);
  std::int64_t copied = 0;

  cDataFile data(fileName);
  cRecordStream records(data, cRecordStream::Samples::decoded);
  while (MSRecord* record = records.next()) {
    if (!stream.takes(*record) || !record->datasamples || !holdsItsSamples(*record))
      continue;
    // With a negative count this is negative and nothing is stored.
    const std::int64_t n = std::min(record->samplecnt, count - copied);
    copied += n;
    if (n > 0)
      samples = storeSamples(*record, n, samples);
  }
  return records.reachedEnd() && copied == count;
}
