#include "geo/readers/cRecordStream.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string_view>

#include <stdio.h>

#include "geo/readers/cDataFile.h"

namespace {

constexpr flag kHeaderOnly = 0;
constexpr flag kWithSamples = 1;

// For a damaged record libmseed reads past the file, and what lies there decides whether it accepts
// two-byte samples. So zeros lie there: 64 KiB to their start plus 64 Ki samples. Wider samples are
// accepted whatever their bytes. Headers lead it a few bytes.
constexpr std::size_t kZerosForSamples = 192 << 10;
constexpr std::size_t kZerosForHeaders = MINRECLEN;

// In a damaged record libmseed can read up to MAXRECLEN bytes past its buffer.
constexpr std::size_t kBufferSize = std::size_t{2} * MAXRECLEN;

// Stands for the number of bytes left in the file until that is known. Within a call libmseed
// subtracts multiples of MINRECLEN from it, and at the end of the file it takes the low 32 bits for
// the length of a record that states none: an odd number is none. Far below zero, so that libmseed
// also sees the end where a file system knows no positions: it then counts from before zero.
constexpr off_t kUnknownRest = -(off_t{1} << 62) - 1;

void discard(char* /*message*/) {}

// True for a container of records. libmseed trusts the lengths written in it, negative ones
// included, and reads far beyond its buffer.
bool isPacked(std::string_view start) noexcept {
  constexpr std::string_view kSignatures[] = {"PED", "PSD", "PLC", "PQI", "PLS"};
  return std::any_of(std::begin(kSignatures), std::end(kSignatures),
                     [&](std::string_view signature) { return start.starts_with(signature); });
}

// The size of an uncompressed sample in a record; 0 for compressed ones.
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

cSourceName::cSourceName(MSRecord& record) noexcept {
  constexpr flag kWithoutQuality = 0;
  name[0] = '\0';
  msr_srcname(&record, name, kWithoutQuality);
}

cRecordStream::cRecordStream(cDataFile& file, std::string_view sourceName) : source_(sourceName) {
  // libmseed prints unless it has other handlers, and does not say which it had before.
  ms_loginit(discard, nullptr, discard, nullptr);
  const std::string_view start = file.start();
  if (isPacked(start))
    return;
  // libmseed frees these, and closes the stream, at the release call.
  state_ = static_cast<MSFileParam*>(std::calloc(1, sizeof(MSFileParam)));
  if (!state_)
    return;
  state_->rawrec = static_cast<char*>(std::malloc(kBufferSize));
  if (!state_->rawrec)
    return;
  state_->fp = file.takeRest();
  if (state_->fp && fillBuffer(start))
    result_ = MS_NOERROR;
}

cRecordStream::~cRecordStream() {
  ms_readmsr_r(&state_, &record_, nullptr, 0, nullptr, nullptr, 0, 0, 0);
}

// Fills the buffer as libmseed would fill it, but with zeros behind.
bool cRecordStream::fillBuffer(std::string_view start) noexcept {
  char* const rest = state_->rawrec + start.copy(state_->rawrec, start.size());
  const std::size_t room = MAXRECLEN - start.size();
  const std::size_t found = std::fread(rest, 1, room, state_->fp);
  state_->readlen = static_cast<int>(start.size() + found);
  zerosEnd_ = rest + found;
  addZeros(source_.empty() ? kZerosForHeaders : kZerosForSamples);
  return found == room || std::feof(state_->fp);
}

MSRecord* cRecordStream::nextHeader() noexcept {
  return call(kHeaderOnly) && acceptLength() ? record_ : nullptr;
}

MSRecord* cRecordStream::nextOfSource() noexcept {
  for (;;) {
    // The guess only saves a call: a wrong one changes no result.
    const bool isDecoded = nextSeemsOfSource();
    if (isDecoded ? !decode() : !call(kHeaderOnly))
      return nullptr;
    bool isWanted = isOfSource();
    if (!isDecoded && (isWanted || decodingMayReadOthers())) {
      goBack();
      if (!decode())
        return nullptr;
      isWanted = isOfSource();
    }
    if (isWanted) {
      codes_.emplace(record_->record);
      return record_;
    }
  }
}

// Makes libmseed's reading call; false at the end and after an error.
bool cRecordStream::call(flag samples) noexcept {
  constexpr int kDetectLength = -1;
  constexpr flag kSkipNonData = 1;
  constexpr flag kQuiet = 0;
  bool isAtEnd = false;
  do {
    // libmseed waits forever if the file is shorter than `filesize`. So the size stays unknown
    // until the end of the file. Until then, an end that libmseed reports can be that of its
    // buffer, and the call is made again.
    isAtEnd = feof_unlocked(state_->fp) != 0;
    // Negative where a record states a length beyond the buffer. libmseed sets `filepos` back by
    // that much when it reads on.
    const off_t buffered = state_->readlen - state_->readoffset;
    state_->filesize =
        state_->filepos + (isAtEnd ? buffered : std::min<off_t>(buffered, 0) + kUnknownRest);
    // The stream is open, and the name is the one in the state: libmseed opens nothing.
    result_ = ms_readmsr_r(&state_, &record_, state_->filename, kDetectLength, nullptr, nullptr,
                           kSkipNonData, samples, kQuiet);
  } while (!isAtEnd && (result_ == MS_ENDOFFILE || result_ == MS_NOTSEED));
  return result_ == MS_NOERROR;
}

// False for a damaged record of negative length. libmseed would go back by it and never reach the
// end.
bool cRecordStream::acceptLength() noexcept {
  if (record_->reclen >= 0)
    return true;
  result_ = MS_OUTOFRANGE;
  return false;
}

// Reads the next record with samples.
bool cRecordStream::decode() noexcept {
  if (!call(kWithSamples) || !acceptLength())
    return false;
  // Compressed samples are decoded up to the end that the record states. Where that lies beyond the
  // zeros, there are more of them now, and the record is decoded again.
  if (!record_->datasamples || record_->reclen <= zerosEnd_ - record_->record)
    return true;
  addZeros(static_cast<std::size_t>(state_->rawrec + kBufferSize - zerosEnd_));
  goBack();
  return decode();
}

// Moves back to the start of the record, for another call.
void cRecordStream::goBack() noexcept {
  state_->readoffset -= record_->reclen;
  state_->filepos -= record_->reclen;
  --state_->recordcount;
}

bool cRecordStream::nextSeemsOfSource() const noexcept {
  // libmseed reports a file in which it has decoded nothing as no miniSEED. So calls are with
  // samples until one record, of any source, was read.
  if (state_->recordcount == 0)
    return true;
  return codes_ && state_->readlen - state_->readoffset >= cCodes::kEnd &&
         codes_->areOf(state_->rawrec + state_->readoffset);
}

bool cRecordStream::isOfSource() noexcept {
  return (codes_ && codes_->areOf(record_->record)) || source_ == cSourceName(*record_).name;
}

// Whether a call with samples may read something else than this record and what lies behind it. If
// libmseed cannot decode a record, it looks for others within it, in steps of MINRECLEN. Lengths of
// MINRECLEN and more are multiples of it, so the search ends where the record does.
bool cRecordStream::decodingMayReadOthers() const noexcept {
  if (record_->reclen < MINRECLEN || record_->reclen > bytesInBuffer())
    return true;
  for (int step = MINRECLEN; step < record_->reclen; step += MINRECLEN)
    if (MS_ISVALIDHEADER(record_->record + step))
      return true;
  return false;
}

void cRecordStream::addZeros(std::size_t count) noexcept {
  std::memset(zerosEnd_, 0, count);
  zerosEnd_ += count;
}

// Bytes of the file, from the start of the record on.
std::ptrdiff_t cRecordStream::bytesInBuffer() const noexcept {
  return state_->rawrec + state_->readlen - record_->record;
}

std::int64_t cRecordStream::samplesHeld() const noexcept {
  const int size = bytesPerSample(record_->encoding);
  // The decoders of compressed samples stop at the end of the record.
  if (size == 0)
    return bytesInBuffer() < record_->reclen ? 0 : record_->samplecnt;
  const std::int64_t bytes =
      std::min<std::int64_t>(record_->reclen, bytesInBuffer()) - record_->fsdh->data_offset;
  return std::clamp<std::int64_t>(bytes / size, 0, record_->samplecnt);
}
