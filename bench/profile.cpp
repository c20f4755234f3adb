// ox-wp-profile parse|copy|bare-parse|bare-copy FILE KIBIBYTES STREAMS TIMES: makes FILE, then
// parses it, copies its first stream, or makes the same libmseed calls without the plug-in. For
// programs that count instructions or system calls.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/bareLoop.h"
#include "testing/loadedPlugin.h"
#include "testing/miniSeedFile.h"

namespace {

void makeFile(const std::string& path, std::size_t kibibytes, int streams) {
  std::vector<std::string> packed;
  packed.reserve(static_cast<std::size_t>(streams));
  for (int i = 0; i < streams; ++i)
    packed.push_back(
        miniSeedFile::pack({.station = std::to_string(i)}, miniSeedFile::wave(3000, i)));
  const std::string once = miniSeedFile::interleave(packed, 512);
  miniSeedFile::repeat(path, once, std::max<std::size_t>((kibibytes << 10) / once.size(), 1));
}

void work(const std::string& what, const std::string& path, long times) {
  LoadedPlugin plugin;
  std::vector<double> samples;
  if (what == "copy") {
    plugin.parse(path);
    samples = plugin.buffer();
  }
  for (long i = 0; i < times; ++i)
    if (what == "parse")
      plugin.parse(path);
    else if (what == "copy")
      plugin.copy(samples);
    else if (what == "bare-parse")
      readAll(path, kHeadersOnly);
    else if (what == "bare-copy")
      readAll(path, kWithSamples);
    else
      throw std::runtime_error("there is no '" + what + "'");
}

} // namespace

int main(int argc, char** argv) {
  if (argc != 6) {
    std::fprintf(stderr, "usage: ox-wp-profile parse|copy|bare-parse|bare-copy FILE KIBIBYTES "
                         "STREAMS TIMES\n");
    return 2;
  }
  try {
    makeFile(argv[2], std::strtoul(argv[3], nullptr, 10),
             static_cast<int>(std::strtol(argv[4], nullptr, 10)));
    work(argv[1], argv[2], std::strtol(argv[5], nullptr, 10));
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "ox-wp-profile: %s\n", failure.what());
    return 1;
  }
  return 0;
}
