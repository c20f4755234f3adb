#include "geo/readers/cRecordStream.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include <unistd.h>

namespace {

// The file is looked at again after so many bytes of records. libmseed reads 1 MiB at once, so that
// looking more often would cost time and not help.
constexpr std::int64_t kBytesBetweenLooks = 131072;

void discard(char* /*message*/) {}

// True for a container of records. libmseed trusts the lengths written in it, negative ones
// included, and reads far beyond its buffer.
bool isPacked(const cDataFile& file) {
  constexpr std::string_view kSignatures[] = {"PED", "PSD", "PLC", "PQI", "PLS"};
  char start[3] = {};
  const std::string_view signature(start, file.readStart(start, sizeof start));
  return std::find(std::begin(kSignatures), std::end(kSignatures), signature) !=
         std::end(kSignatures);
}

// libmseed recognises an open file by the part of its name that fits its own buffer: with a longer
// name it starts over forever. For "-" it reads and closes the host's standard input.
bool isSafeName(const std::string& name) {
  return name.size() < sizeof(MSFileParam::filename) && name != "-";
}

// The size of an uncompressed sample in a record; 0 for compressed ones, whose decoders stop at the
// end of the record.
int bytesPerSample(int encoding) noexcept {
  switch (encoding) {
  case DE_ASCII:
    return 1;
  case DE_INT16:
  case DE_GEOSCOPE163:
  case DE_GEOSCOPE164:
  case DE_CDSN:
  case DE_SRO:
  case DE_DWWSSN:
    return 2;
  case DE_GEOSCOPE24:
    return 3;
  case DE_INT32:
  case DE_FLOAT32:
    return 4;
  case DE_FLOAT64:
    return 8;
  default:
    return 0;
  }
}

} // namespace

cRecordStream::cRecordStream(cDataFile& file, Samples wanted)
    : file_(file), wanted_(wanted), nextLook_(kBytesBetweenLooks) {
  // libmseed prints unless it has other handlers, and does not say which it had before.
  ms_loginit(discard, nullptr, discard, nullptr);
  if (!file_.isReadable() || !file_.settle() || isPacked(file_))
    return;
  readName_ = file_.descriptorName();
  result_ = MS_NOERROR;
}

cRecordStream::~cRecordStream() {
  ms_readmsr(&record_, nullptr, 0, nullptr, nullptr, 0, 0, 0);
}

MSRecord* cRecordStream::next() {
  if (result_ != MS_NOERROR)
    return nullptr;
  // libmseed takes the size of the file once, when it opens it, and waits forever for bytes that
  // are gone since.
  if (position_ >= nextLook_) {
    if (!file_.advance(position_)) {
      result_ = MS_GENERROR;
      return nullptr;
    }
    nextLook_ = position_ + kBytesBetweenLooks;
  }
  result_ = read();
  if (result_ == MS_GENERROR && !record_)
    tryOwnName();
  if (result_ == MS_ENDOFFILE && !file_.isWhole())
    result_ = MS_GENERROR;
  if (result_ != MS_NOERROR)
    return nullptr;
  // A damaged record can have a negative length. libmseed would go back by it and never reach the
  // end.
  if (record_->reclen < 0) {
    result_ = MS_OUTOFRANGE;
    return nullptr;
  }
  position_ += record_->reclen;
  return record_;
}

// Reads the file by its own name if this process may not use /proc and libmseed can take the name.
void cRecordStream::tryOwnName() {
  if (access(file_.descriptorName().c_str(), R_OK) == 0 || !isSafeName(file_.ownName()))
    return;
  readName_ = file_.ownName();
  result_ = read();
}

int cRecordStream::read() {
  constexpr int kDetectLength = -1;
  constexpr flag kSkipNonData = 1;
  constexpr flag kQuiet = 0;
  return ms_readmsr(&record_, readName_.c_str(), kDetectLength, nullptr, nullptr, kSkipNonData,
                    static_cast<flag>(wanted_), kQuiet);
}

bool holdsItsSamples(const MSRecord& record) noexcept {
  // libmseed cuts a record by its first blockette 1000, and reads on to the end that the last one
  // states.
  constexpr int kBlockette1000 = 1000;
  for (const BlktLink* link = record.blkts; link; link = link->next)
    if (link->blkt_type == kBlockette1000 &&
        static_cast<const blkt_1000_s*>(link->blktdata)->reclen < record.Blkt1000->reclen)
      return false;
  const std::int64_t held = record.reclen - record.fsdh->data_offset;
  return record.samplecnt * bytesPerSample(record.encoding) <= held;
}
