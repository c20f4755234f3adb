// Makes miniSEED for tests, benchmarks and fuzzing, and an example for people who have no
// recording.
#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace miniSeedFile {

// How the records of one stream are written.
struct Stream {
  std::string network = "XX";
  std::string station = "TEST";
  std::string location{};
  std::string channel = "BHZ";
  char quality = 'D';
  double sampleRate = 100;    // Hz
  bool exactRate = false;     // adds the blockette that holds the rate as a float
  std::int64_t startTime = 0; // microseconds since 1970
  int encoding = 11;          // SEED's number: 0, 1, 3, 4, 5, 10 or 11
  int recordLength = 512;     // bytes, a power of 2 from 128 on
  bool bigEndian = true;
};

// Encodings 1, 3, 10 and 11 take integers, 4 floats, 5 doubles, 0 text.
using Samples =
    std::variant<std::vector<std::int32_t>, std::vector<float>, std::vector<double>, std::string>;

// Where to damage a record: offsets in its header.
constexpr std::size_t kSampleCountOffset = 30; // 2 bytes
constexpr std::size_t kDataOffsetOffset = 44;  // 2 bytes
constexpr std::size_t kEncodingOffset = 52;    // 1 byte; only without exactRate

// Returns the bytes of as many records as the samples need. Throws std::runtime_error when libmseed
// cannot write them.
std::string pack(const Stream& stream, const Samples& data);

// Returns interleaved records of several streams, as a data logger writes them.
std::string interleave(const std::vector<std::string>& streams, std::size_t recordLength);

// Returns a decaying oscillation of `count` samples, different for each `seed`.
std::vector<std::int32_t> wave(std::size_t count, int seed);

// Returns the same as samples that the encoding takes; text is a single letter repeated.
Samples waveFor(int encoding, std::size_t count, int seed);

// Returns records of so many streams, interleaved, with so many samples of waveFor in each.
std::string interleaved(int streams, std::size_t samples, int encoding = 11,
                        int recordLength = 512);

// Returns the bytes with `patch` in place of those from `offset` on.
std::string patched(std::string bytes, std::size_t offset, const std::string& patch);

// All throw std::system_error when the file cannot be written.
void write(const std::string& path, const std::string& bytes);
void repeat(const std::string& path, const std::string& bytes, std::size_t times);
// Writes `bytes` as often as they fit into `size`, and at least once.
void fill(const std::string& path, std::size_t size, const std::string& bytes);

} // namespace miniSeedFile
