// The way to libmseed: the records of a miniSEED file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

#include <libmseed.h> // IWYU pragma: export, the one place

#include "geo/readers/cDataFile.h"

// Station, location, channel and network, as they stand in the bytes of a record. Records with the
// same codes have the same source name. Different codes can share one too: blanks at the end of a
// code, and bytes behind a NUL, do not count.
class cCodes {
public:
  static constexpr int kEnd = offsetof(fsdh_s, start_time);

  explicit cCodes(const char* record) noexcept {
    std::memcpy(codes_, record + kStart, sizeof codes_);
  }
  bool areOf(const char* record) const noexcept {
    return std::memcmp(codes_, record + kStart, sizeof codes_) == 0;
  }

private:
  static constexpr std::size_t kStart = offsetof(fsdh_s, station);
  char codes_[kEnd - kStart];
};

// The codes joined by underscores.
struct cSourceName {
  explicit cSourceName(MSRecord& record) noexcept;
  // Long enough for all codes with their separators, since each code is shorter than its array.
  char name[sizeof(MSRecord::network) + sizeof(MSRecord::station) + sizeof(MSRecord::location) +
            sizeof(MSRecord::channel)];
};

// Reads the records front to back. The reading state is this object's own; the one that libmseed
// keeps for the process is left alone.
class cRecordStream {
public:
  // With a name: the records of that source with samples, the same ones that a loop of calls with
  // samples finds. Without a name: the headers of all records. Reads the file from its first byte
  // on; `file` and `sourceName` outlive the stream.
  explicit cRecordStream(cDataFile& file, std::string_view sourceName = {});
  ~cRecordStream();
  cRecordStream(const cRecordStream&) = delete;
  cRecordStream& operator=(const cRecordStream&) = delete;

  // The next record, valid until the next call; null at the end and after an error.
  MSRecord* next() {
    if (result_ != MS_NOERROR)
      return nullptr;
    return source_.empty() ? nextHeader() : nextOfSource();
  }

  // How many samples the decoded record that next() returned last holds: at most as many as it
  // declares. libmseed decodes the others from whatever lies behind the record in memory.
  std::int64_t samplesHeld() const noexcept;

  // After next() returned null: true at the end of the file, false after an error.
  bool reachedEnd() const noexcept { return result_ == MS_ENDOFFILE; }

private:
  bool fillBuffer(std::string_view start) noexcept;
  void addZeros(std::size_t count) noexcept;
  MSRecord* nextHeader() noexcept;
  MSRecord* nextOfSource() noexcept;
  bool call(flag samples) noexcept;
  bool acceptLength() noexcept;
  bool decode() noexcept;
  void goBack() noexcept;
  bool nextSeemsOfSource() const noexcept;
  bool isOfSource() noexcept;
  bool decodingMayReadOthers() const noexcept;
  std::ptrdiff_t bytesInBuffer() const noexcept;

  std::string_view source_; // its name; empty for all records
  MSFileParam* state_ = nullptr;
  MSRecord* record_ = nullptr;
  char* zerosEnd_ = nullptr;    // of the zeros behind the file's bytes in the buffer
  std::optional<cCodes> codes_; // of a record of the source
  int result_ = MS_GENERROR;
};
