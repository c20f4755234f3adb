// The way to libmseed: the records of a miniSEED file.
#pragma once

#include <cstddef>
#include <cstdint>

#include <libmseed.h> // IWYU pragma: export, the one place

#include "geo/readers/cDataFile.h"

// Reads the records front to back. The reading state is this object's own; the one that libmseed
// keeps for the process is left alone.
class cRecordStream {
public:
  enum class Samples : flag { skipped = 0, decoded = 1 };

  // `file` outlives the stream, which reads it from its first byte on.
  cRecordStream(cDataFile& file, Samples wanted);
  ~cRecordStream();
  cRecordStream(const cRecordStream&) = delete;
  cRecordStream& operator=(const cRecordStream&) = delete;

  // The next record, valid until the next call; null at the end and after an error.
  MSRecord* next();

  // How many samples the decoded record that next() returned last holds: at most as many as it
  // declares. libmseed decodes the others from whatever lies behind the record in memory.
  std::int64_t samplesHeld() const noexcept;

  // After next() returned null: true at the end of the file, false after an error.
  bool reachedEnd() const noexcept { return result_ == MS_ENDOFFILE; }

private:
  void addZeros(std::size_t count) noexcept;

  flag wanted_;
  MSFileParam* state_ = nullptr;
  MSRecord* record_ = nullptr;
  char* zerosEnd_ = nullptr; // of those behind what libmseed's buffer holds of the file
  int result_ = MS_GENERROR;
};
