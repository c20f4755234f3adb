// ox-wp-profile parse|copy|bare-parse|bare-copy FILE KIBIBYTES STREAMS TIMES: makes FILE, then
// parses it, copies its first stream, or makes the same libmseed calls without the plug-in. For
// programs that count instructions or system calls.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/bareLoop.h"
#include "testing/loadedPlugin.h"
#include "testing/miniSeedFile.h"

namespace {

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
    const auto streams = static_cast<int>(std::strtol(argv[4], nullptr, 10));
    miniSeedFile::fill(argv[2], std::strtoul(argv[3], nullptr, 10) << 10,
                       miniSeedFile::interleaved(streams, 3000));
    work(argv[1], argv[2], std::strtol(argv[5], nullptr, 10));
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "ox-wp-profile: %s\n", failure.what());
    return 1;
  }
  return 0;
}
