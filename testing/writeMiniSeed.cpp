// write-miniseed: writes a small three-channel recording to the path given.
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
    std::vector<std::string> streams;
    for (const char* channel : {"BHE", "BHN", "BHZ"}) {
      const miniSeedFile::Stream stream{.location = "00", .channel = channel, .sampleRate = 20};
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
