// write-miniseed: writes a small three-channel recording to the path given.
#include <cstdint>
#include <cstdio>
#include <exception>

#include "testing/miniSeedFile.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: write-miniseed FILE\n");
    return 2;
  }
  try {
    constexpr std::size_t kSampleCount = 3000;
    constexpr std::int64_t kStart = 1718091882956800; // 2024-06-11T07:44:42.9568Z
    std::vector<std::string> streams;
    for (const char* channel : {"BHE", "BHN", "BHZ"}) {
      const miniSeedFile::Stream stream{
          .location = "00", .channel = channel, .sampleRate = 20, .startTime = kStart};
      const auto seed = static_cast<int>(streams.size());
      streams.push_back(miniSeedFile::pack(stream, miniSeedFile::wave(kSampleCount, seed)));
    }
    miniSeedFile::write(argv[1], miniSeedFile::interleave(streams, 512));
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "write-miniseed: %s\n", failure.what());
    return 1;
  }
  return 0;
}
