// The guarded way to libmseed: the records of a miniSEED file.
#pragma once

#include <cstdint>
#include <string>

#include <libmseed.h> // the one place: who reads records includes this header

#include "geo/readers/cDataFile.h"

// Reads the records front to back. libmseed keeps one reading state for the whole process, which
// begins with the first record and ends with this object.
class cRecordStream {
public:
  enum class Samples : flag { skipped = 0, decoded = 1 };

  // `file` outlives the stream.
  cRecordStream(cDataFile& file, Samples wanted);
  ~cRecordStream();
  cRecordStream(const cRecordStream&) = delete;
  cRecordStream& operator=(const cRecordStream&) = delete;

  // The next record, valid until the next call; null at the end and after an error.
  MSRecord* next();

  // After next() returned null: true at the end of the file, false after an error.
  bool reachedEnd() const noexcept { return result_ == MS_ENDOFFILE; }

private:
  [[gnu::cold]] void tryOwnName();
  int read();

  cDataFile& file_;
  std::string readName_; // that libmseed opens
  Samples wanted_;
  std::int64_t position_ = 0; // the end of the records so far, were nothing between them
  std::int64_t nextLook_;     // the position from which the file is looked at again
  MSRecord* record_ = nullptr;
  int result_ = MS_GENERROR;
};

// True when the record, read with its samples, holds as many as it declares. libmseed decodes
// others all the same, from whatever lies behind the record in memory.
bool holdsItsSamples(const MSRecord& record) noexcept;
