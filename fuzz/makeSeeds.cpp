// make-seeds FOLDER: writes the files from which fuzzing of the boundary starts.
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

#include "testing/miniSeedFile.h"
#include "testing/writtenRecord.h"

using namespace std::string_literals;

namespace {

using miniSeedFile::pack;
using miniSeedFile::patched;
using miniSeedFile::waveFor;

std::vector<std::string> everyEncoding() {
  std::vector<std::string> result;
  for (const int encoding : {0, 1, 3, 4, 5, 10, 11})
    for (const bool bigEndian : {true, false})
      for (const int length : {128, 256, 512, 4096, 65536})
        result.push_back(
            pack({.encoding = encoding, .recordLength = length, .bigEndian = bigEndian},
                 waveFor(encoding, 150, 1)));
  return result;
}

std::vector<std::string> severalStreams() {
  std::vector<std::string> streams;
  for (const char* channel : {"BHE", "BHN", "BHZ"})
    streams.push_back(pack({.channel = channel, .recordLength = 256}, waveFor(11, 1000, 1)));
  const std::string gaps = pack({.startTime = 0}, waveFor(11, 100, 1)) +
                           pack({.startTime = 1LL << 40}, waveFor(11, 100, 1));
  return {miniSeedFile::interleave(streams, 256), gaps,
          pack({.sampleRate = 0, .exactRate = true}, waveFor(11, 100, 1)),
          pack({.sampleRate = 1e-30, .exactRate = true}, waveFor(11, 100, 1))};
}

// One file for each kind of damage that loggers, disks and transmissions do.
std::vector<std::string> damaged() {
  const std::string good = pack({.encoding = 3}, waveFor(3, 20, 1));
  const std::string noise(384, '#');
  const std::string blank = "000003" + std::string(506, ' ');
  const std::string offset = patched(good, miniSeedFile::kDataOffsetOffset, "\x7f\xff");
  const std::string count = patched(good, miniSeedFile::kSampleCountOffset, "\xff\xff");
  const std::string twoLengths =
      patched(patched(good, 39, "\2"), 50, "\0\x38\3\1\x9\0\3\xe8\0\0\3\1\x14\0"s);
  // By what lies behind them, libmseed accepts or skips these.
  const std::string sro = patched(count, miniSeedFile::kEncodingOffset, "\x1e");
  const std::string steim =
      patched(patched(twoLengths, 60, "\xa"), miniSeedFile::kSampleCountOffset, "\xff\xff") + good;
  const std::string opaque = // a blockette 2000 behind the first one
      patched(patched(patched(good, 39, "\2"), miniSeedFile::kDataOffsetOffset, "\0\x80"s), 50,
              "\0\x38\3\1\x9\0\7\xd0\0\0\0\x18\0\0\0\0\0\1\0\0\0\0abcd"s);
  const std::string withoutLength = patched(good, 46, "\0\0"s);
  // Another stream's record that cannot be decoded and holds one that can.
  const std::string nested = patched(
      patched(pack({.channel = "BHN", .encoding = 3, .recordLength = 1024}, waveFor(3, 9, 1)),
              miniSeedFile::kEncodingOffset, "\x4d"),
      512, good);
  const std::string spelledOtherwise = patched(good, 12, "\0\0\0"s);
  std::vector<std::string> result = {good + noise + offset + blank + good,
                                     count + good,
                                     twoLengths,
                                     twoLengths + good,
                                     sro,
                                     steim,
                                     opaque + good,
                                     withoutLength + good + withoutLength,
                                     written({-1, {}, {1, 2}, true}, false),
                                     good.substr(0, 300),
                                     good + good.substr(0, 100),
                                     good + nested + spelledOtherwise + good,
                                     patched(good, 39, "\7"),
                                     std::string(4096, 'D')};
  for (const char* signature : {"PED", "PSD", "PLC", "PQI", "PLS"})
    result.push_back(signature + "-------Q--BHZ             512"s + good);
  return result;
}

std::vector<std::string> geopsyHeaders() {
  const std::string start =
      "GeopsySignal\0\0\0\0\xF0\xDB\x49\x8A\xA6\x0C\x50\xC7\xD7\x84\x15\x84\2\0\0\0"s;
  return {start + "\x34\0\0\0\3\0\0\0abcdefghijkl"s,
          start + "\x28\0\0\0\0\0\0\x40"s}; // a table of 4 GiB
}

} // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: make-seeds FOLDER\n");
    return 2;
  }
  try {
    std::filesystem::create_directories(argv[1]);
    int number = 0;
    for (const auto& group : {everyEncoding(), severalStreams(), damaged(), geopsyHeaders()})
      for (const std::string& bytes : group) {
        const std::string choices = {static_cast<char>(number % 6),
                                     static_cast<char>(number % 4 * 43),
                                     static_cast<char>(number * 37)};
        miniSeedFile::write(argv[1] + ("/" + std::to_string(number++)), bytes + choices);
      }
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "make-seeds: %s\n", failure.what());
    return 1;
  }
  return 0;
}
