#include "testing/miniSeedFile.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <ios>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <variant>

#include <libmseed.h>

namespace miniSeedFile {

namespace {

struct FreeRecord {
  void operator()(MSRecord* record) const {
    record->datasamples = nullptr; // the caller's
    msr_free(&record);
  }
};

constexpr char kSampleTypes[] = {'i', 'f', 'd', 'a'}; // in the order of the variant

void append(char* record, int length, void* bytes) {
  static_cast<std::string*>(bytes)->append(record, static_cast<std::size_t>(length));
}

template<std::size_t Size>
void setCode(char (&code)[Size], const std::string& text) {
  text.copy(code, Size - 1);
}

} // namespace

std::string pack(const Stream& stream, const Samples& data) {
  const std::unique_ptr<MSRecord, FreeRecord> record(msr_init(nullptr));
  if (!record)
    throw std::runtime_error("no memory for a record");
  setCode(record->network, stream.network);
  setCode(record->station, stream.station);
  setCode(record->location, stream.location);
  setCode(record->channel, stream.channel);
  record->dataquality = stream.quality;
  record->samprate = stream.sampleRate;
  record->starttime = stream.startTime;
  record->encoding = static_cast<std::int8_t>(stream.encoding);
  record->byteorder = stream.bigEndian ? 1 : 0;
  record->reclen = stream.recordLength;
  record->sampletype = kSampleTypes[data.index()];
  std::visit(
      [&record](const auto& values) {
        record->numsamples = static_cast<std::int64_t>(values.size());
        record->datasamples = const_cast<void*>(static_cast<const void*>(values.data()));
      },
      data);
  record->samplecnt = record->numsamples;
  if (stream.exactRate) {
    blkt_100_s exactRate{};
    msr_addblockette(record.get(), reinterpret_cast<char*>(&exactRate), sizeof exactRate, 100, 0);
  }

  std::string bytes;
  constexpr flag kFlush = 1;
  if (msr_pack(record.get(), append, &bytes, nullptr, kFlush, 0) < 0)
    throw std::runtime_error("libmseed can't pack these samples");
  return bytes;
}

std::string interleave(const std::vector<std::string>& streams, std::size_t recordLength) {
  std::string bytes;
  bool more = true;
  for (std::size_t start = 0; more; start += recordLength) {
    more = false;
    for (const std::string& stream : streams) {
      if (start >= stream.size())
        continue;
      bytes += stream.substr(start, recordLength);
      more = true;
    }
  }
  return bytes;
}

std::vector<std::int32_t> wave(std::size_t count, int seed) {
  std::vector<std::int32_t> values(count);
  for (std::size_t i = 0; i < count; ++i) {
    const double t = static_cast<double>(i) / static_cast<double>(count);
    const double value = 20000 * std::exp(-3 * t) * std::sin((60 + 7 * seed) * t);
    values[i] = static_cast<std::int32_t>(std::lround(value));
  }
  return values;
}

Samples waveFor(int encoding, std::size_t count, int seed) {
  std::vector<std::int32_t> integers = wave(count, seed);
  if (encoding == 0)
    return std::string(count, 't');
  if (encoding == 4)
    return std::vector<float>(integers.begin(), integers.end());
  if (encoding == 5)
    return std::vector<double>(integers.begin(), integers.end());
  return integers;
}

std::string interleaved(int streams, std::size_t samples, int encoding, int recordLength) {
  std::vector<std::string> packed;
  packed.reserve(static_cast<std::size_t>(streams));
  for (int i = 0; i < streams; ++i)
    packed.push_back(pack(
        {.station = std::to_string(10000 + i), .encoding = encoding, .recordLength = recordLength},
        waveFor(encoding, samples, i)));
  return interleave(packed, static_cast<std::size_t>(recordLength));
}

std::string patched(std::string bytes, std::size_t offset, const std::string& patch) {
  return bytes.replace(offset, patch.size(), patch);
}

void write(const std::string& path, const std::string& bytes) {
  repeat(path, bytes, 1);
}

void repeat(const std::string& path, const std::string& bytes, std::size_t times) {
  std::ofstream file(path, std::ios::binary);
  for (std::size_t i = 0; i < times; ++i)
    file << bytes;
  file.close();
  if (!file)
    throw std::system_error(errno, std::generic_category(), path);
}

void fill(const std::string& path, std::size_t size, const std::string& bytes) {
  repeat(path, bytes, std::max<std::size_t>(size / bytes.size(), 1));
}

} // namespace miniSeedFile
