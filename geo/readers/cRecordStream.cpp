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

// How far past the file a damaged record leads libmseed. Samples of two bytes, some of which it
// does not take, begin within 64 KiB and are at most 64 Ki; those of more bytes it takes whatever
// they are. Headers lead it a few bytes.
constexpr std::size_t kZerosForSamples = 192 << 10;
constexpr std::size_t kZerosForHeaders = MINRECLEN;

// In a damaged record libmseed can read up to MAXRECLEN bytes past its buffer.
constexpr std::size_t kBufferSize = std::size_t{2} * MAXRECLEN;

// Odd and negative, so that libmseed takes it for no length of a record.
constexpr off_t kUnknownSize = -1;

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

cRecordStream::cRecordStream(cDataFile& file, Samples wanted) : wanted_(static_cast<flag>(wanted)) {
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
  if (!state_->fp)
    return;
  // Filled as libmseed would fill it, but with zeros behind: by what it finds there, it accepts or
  // skips a damaged record.
  char* const rest = state_->rawrec + start.copy(state_->rawrec, start.size());
  const std::size_t room = MAXRECLEN - start.size();
  const std::size_t found = std::fread(rest, 1, room, state_->fp);
  zerosEnd_ = rest + found;
  addZeros(wanted == Samples::decoded ? kZerosForSamples : kZerosForHeaders);
  state_->readlen = static_cast<int>(start.size() + found);
  state_->filesize = kUnknownSize;
  if (found == room || std::feof(state_->fp))
    result_ = MS_NOERROR;
}

cRecordStream::~cRecordStream() {
  ms_readmsr_r(&state_, &record_, nullptr, 0, nullptr, nullptr, 0, 0, 0);
}

MSRecord* cRecordStream::next() {
  constexpr int kDetectLength = -1;
  constexpr flag kSkipNonData = 1;
  constexpr flag kQuiet = 0;
  if (result_ != MS_NOERROR)
    return nullptr;
  bool isAtEnd = false;
  do {
    // libmseed waits forever if the file is shorter than `filesize`. So the size stays unknown
    // until the end of the file. Until then, an end that libmseed reports can be that of its
    // buffer, and the call is made again.
    isAtEnd = feof_unlocked(state_->fp) != 0;
    if (isAtEnd)
      state_->filesize = state_->filepos + state_->readlen - state_->readoffset;
    // The stream is open, and the name is the one in the state: libmseed opens nothing.
    result_ = ms_readmsr_r(&state_, &record_, state_->filename, kDetectLength, nullptr, nullptr,
                           kSkipNonData, wanted_, kQuiet);
  } while (!isAtEnd && (result_ == MS_ENDOFFILE || result_ == MS_NOTSEED));
  // A damaged record can have a negative length. libmseed would go back by it and never reach the
  // end.
  if (result_ == MS_NOERROR && record_->reclen < 0)
    result_ = MS_OUTOFRANGE;
  if (result_ != MS_NOERROR)
    return nullptr;
  // Compressed samples can lead libmseed on to the end of the record that its header states. Where
  // that lies beyond the zeros, there are more of them now, and the record is decoded again.
  if (record_->datasamples && record_->record + record_->reclen > zerosEnd_) {
    addZeros(static_cast<std::size_t>(state_->rawrec + kBufferSize - zerosEnd_));
    state_->readoffset -= record_->reclen;
    state_->filepos -= record_->reclen;
    --state_->recordcount;
    return next();
  }
  return record_;
}

void cRecordStream::addZeros(std::size_t count) noexcept {
  std::memset(zerosEnd_, 0, count);
  zerosEnd_ += count;
}

std::int64_t cRecordStream::samplesHeld() const noexcept {
  const std::ptrdiff_t bytesRead = state_->rawrec + state_->readlen - record_->record;
  const int size = bytesPerSample(record_->encoding);
  // The decoders of compressed samples stop at the end of the record.
  if (size == 0)
    return bytesRead < record_->reclen ? 0 : record_->samplecnt;
  const std::int64_t bytes =
      std::min<std::int64_t>(record_->reclen, bytesRead) - record_->fsdh->data_offset;
  return std::clamp<std::int64_t>(bytes / size, 0, record_->samplecnt);
}
