#include "geo/readers/cGeoFileParserMiniSeed.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <libmseed.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr double kMicrosecondsPerSecond = 1000000.0;

void discard(char* /*message*/) {}

// A data file held open for reading, whatever else happens to its name.
class cOpenFile {
public:
  explicit cOpenFile(const std::string& name)
      : descriptor_(isDataFile(name) ? ::open(name.c_str(), O_RDONLY | O_CLOEXEC) : -1) {}
  ~cOpenFile() { close(); }
  cOpenFile(const cOpenFile&) = delete;
  cOpenFile& operator=(const cOpenFile&) = delete;

  void close() noexcept {
    if (descriptor_ >= 0)
      ::close(std::exchange(descriptor_, -1));
  }

  // Whether the file holds as many bytes as the system says. Some don't, under /sys for one, and
  // the library would wait for the missing ones for ever.
  bool isComplete() const noexcept {
    struct stat status = {};
    char last = 0;
    return descriptor_ >= 0 && fstat(descriptor_, &status) == 0 &&
           pread(descriptor_, &last, 1, status.st_size - 1) == 1;
  }

  // Whether it is a container of records, which begins with one of these. The library takes the
  // lengths written in it on trust, negative ones too, and reads far beyond its buffer.
  bool isPacked() const noexcept {
    char signature[4] = "";
    if (pread(descriptor_, signature, 3, 0) != 3)
      return false;
    const std::string_view packed[] = {"PED", "PSD", "PLC", "PQI", "PLS"};
    return std::find(std::begin(packed), std::end(packed), signature) != std::end(packed);
  }

  // Another name of the same file, good until it is closed.
  std::string otherName() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

private:
  int descriptor_;
};

// The library knows a file by the part of its name that fits its own buffer, and reads standard
// input for "-": with a longer name it starts over for ever, with "-" it reads and closes what
// belongs to the host.
bool isSafeName(const std::string& name) {
  return name.size() < sizeof(MSFileParam::filename) && name != "-";
}

// The records of a file, front to back. The library keeps the file open and a reading state for the
// whole process meanwhile: both end with this object.
class cRecordStream {
public:
  enum class Samples : flag { skipped = 0, decoded = 1 };

  cRecordStream(const std::string& name, Samples wanted) : opened_(name), dataFlag_(wanted) {
    // The library prints unless told otherwise, and can't be asked what it was told before.
    ms_loginit(discard, nullptr, discard, nullptr);
    if (!opened_.isComplete() || opened_.isPacked())
      return;
    if (isSafeName(name)) {
      readName_ = name;
      opened_.close();
    } else {
      readName_ = opened_.otherName();
    }
    result_ = MS_NOERROR;
  }

  ~cRecordStream() { ms_readmsr(&record_, nullptr, 0, nullptr, nullptr, 0, 0, 0); }
  cRecordStream(const cRecordStream&) = delete;
  cRecordStream& operator=(const cRecordStream&) = delete;

  // The next record, good until the next call; null at the end and at an error.
  MSRecord* next() {
    if (result_ != MS_NOERROR)
      return nullptr;
    constexpr int kDetectLength = -1;
    constexpr flag kSkipNonData = 1;
    result_ = ms_readmsr(&record_, readName_.c_str(), kDetectLength, nullptr, nullptr, kSkipNonData,
                         static_cast<flag>(dataFlag_), 0);
    if (result_ != MS_NOERROR)
      return nullptr;
    // A damaged record can claim a negative length: the library would step back by it and never
    // find the end.
    if (record_->reclen < 0) {
      result_ = MS_OUTOFRANGE;
      return nullptr;
    }
    return record_;
  }

  // After next() gave null: whether that was the end and no error.
  bool reachedEnd() const noexcept { return result_ == MS_ENDOFFILE; }

private:
  cOpenFile opened_;
  std::string readName_;
  Samples dataFlag_;
  MSRecord* record_ = nullptr;
  int result_ = MS_GENERROR;
};

// The name of a stream: a record's network, station, location and channel, joined by underscores.
// Zeros fill the array, so that two names compare as a whole: several times cheaper than comparing
// texts of unknown length, which each record would pay for.
class cSourceName {
public:
  cSourceName() = default;
  explicit cSourceName(MSRecord& record) noexcept {
    constexpr flag kWithoutQuality = 0;
    msr_srcname(&record, text_, kWithoutQuality);
  }
  explicit cSourceName(const std::string& name) noexcept { name.copy(text_, sizeof text_ - 1); }

  bool operator==(const cSourceName& other) const noexcept {
    return std::memcmp(text_, other.text_, sizeof text_) == 0;
  }
  const char* c_str() const noexcept { return text_; }

private:
  // Each code with the byte that follows it, rounded up to whole words.
  static constexpr std::size_t kSize =
      (sizeof(MSRecord::network) + sizeof(MSRecord::station) + sizeof(MSRecord::location) +
       sizeof(MSRecord::channel) + 7) /
      8 * 8;
  char text_[kSize] = {};
};

std::int32_t lowBits(std::int64_t value) noexcept {
  return static_cast<std::int32_t>(value);
}

// Toward zero. What 64 bits can't hold, NaN included, becomes the lowest value, as the processor
// has it: files can hold any sample rate.
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

// Finds the variable of a stream. Records of one stream come in a row, or streams take turns: what
// neither the variable of the record before nor the one after it explains is looked up.
class cVariableFinder {
public:
  explicit cVariableFinder(std::vector<cGeoParserVariable>& list) : variables_(list) {}

  // The variable of the record's stream, added when there is none. Good until the next call.
  cGeoParserVariable& variableOf(MSRecord& record) {
    const cSourceName name(record);
    if (!current_ || name != currentName_) {
      currentName_ = name;
      number_ = numberOf(record);
      current_ = &variables_[number_];
    }
    return *current_;
  }

private:
  std::size_t numberOf(const MSRecord& record) {
    const std::size_t next = number_ + 1 < names_.size() ? number_ + 1 : 0;
    if (next < names_.size() && names_[next] == currentName_)
      return next;
    const auto [entry, isNew] = numbers_.try_emplace(currentName_.c_str(), variables_.size());
    if (isNew) {
      variables_.push_back(variableFor(entry->first, record));
      names_.push_back(currentName_);
    }
    return entry->second;
  }

  std::vector<cGeoParserVariable>& variables_;
  std::vector<cSourceName> names_;               // of the variables
  std::map<std::string, unsigned long> numbers_; // of the variables, by source name
  cSourceName currentName_;
  cGeoParserVariable* current_ = nullptr;
  std::size_t number_ = 0;
};

void addRecord(cGeoParserVariable& variable, const MSRecord& record) noexcept {
  variable.sampleCount += static_cast<std::uint64_t>(record.samplecnt);
  if (variable.sampleRate == 0)
    return;

  // The marks are what they are by agreement: the distance is divided by the rate, and the next
  // start is one sample on, not one record.
  const auto distance = static_cast<double>(record.starttime - variable.nextStartTime);
  const std::int32_t gap =
      lowBits(truncated(distance / (variable.sampleRate * kMicrosecondsPerSecond)));
  variable.gapSum =
      static_cast<std::int32_t>(static_cast<std::uint32_t>(variable.gapSum) + magnitude(gap));
  variable.nextStartTime = lowBits(truncated(static_cast<double>(record.starttime) +
                                             kMicrosecondsPerSecond / variable.sampleRate));
}

template<class Sample>
[[gnu::always_inline]] inline void convert(const void* source, std::int64_t count, double* target) {
  const Sample* const samples = static_cast<const Sample*>(source);
#pragma GCC unroll 4
  for (std::int64_t i = 0; i < count; ++i)
    target[i] = static_cast<double>(samples[i]);
}

// Where compiled twice, the loader takes what suits the processor: converting is most of what a
// copy adds to libmseed's work.
#ifdef __x86_64__
#define COMPILED_FOR_AVX2_TOO [[gnu::target_clones("avx2", "default")]]
#else
#define COMPILED_FOR_AVX2_TOO
#endif

// Stores the record's first `count` samples; returns where the next ones go.
COMPILED_FOR_AVX2_TOO double* storeSamples(const MSRecord& record, std::int64_t count,
                                           double* target) {
  switch (record.sampletype) {
  case 'a':
    convert<unsigned char>(record.datasamples, count, target);
    break;
  case 'i':
    convert<std::int32_t>(record.datasamples, count, target);
    break;
  case 'f':
    convert<float>(record.datasamples, count, target);
    break;
  case 'd':
    convert<double>(record.datasamples, count, target);
    break;
  default:
    return target;
  }
  return target + count;
}

} // namespace

int cGeoFileParserMiniSeed::fillSection(cGeoParserSection& section) {
  if (!checkFileHeader() || !parseHeader(section))
    return ox3::rcFailed;
  if (section.variables.empty())
    return ox3::rcFileFormatRecognized;
  file.fileType = geoFileParser::geo_file_miniseed;
  return ox3::rcOk;
}

bool cGeoFileParserMiniSeed::checkFileHeader() {
  std::ifstream stream;
  open(stream, fileName);
  if (!stream.is_open())
    return false;

  // Sequence number, quality, station, location, channel and network are text. A file that is
  // shorter is judged by its last byte again.
  constexpr int kTextSize = 20;
  char byte = 0;
  for (int i = 0; i < kTextSize; ++i) {
    stream.read(&byte, 1);
    const bool isText =
        (byte >= 0x20 && byte <= 0x7E) || byte == '\r' || byte == '\t' || byte == '\n';
    if (!isText)
      return false;
  }
  return true;
}

bool cGeoFileParserMiniSeed::parseHeader(cGeoParserSection& section) {
  cVariableFinder finder(section.variables);
  cRecordStream records(fileName, cRecordStream::Samples::skipped);
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
  const cSourceName name(section.variables[static_cast<std::size_t>(variable)].name);
  std::int64_t copied = 0;

  cRecordStream records(fileName, cRecordStream::Samples::decoded);
  while (MSRecord* record = records.next()) {
    if (cSourceName(*record) != name || !record->datasamples)
      continue;
    const std::int64_t n = std::min(record->samplecnt, count - copied);
    copied += n;
    if (n > 0)
      samples = storeSamples(*record, n, samples);
  }
  return records.reachedEnd() && copied == count;
}
