// ox-wp-once parse|copy FILE: makes FILE, 16 MB of one stream, then parses it, and copies it where
// asked to. For a profiler.
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include "testing/loadedPlugin.h"
#include "testing/miniSeedFile.h"

int main(int argc, char** argv) {
  const std::string what = argc == 3 ? argv[1] : "";
  if (what != "parse" && what != "copy") {
    std::fprintf(stderr, "usage: once parse|copy FILE\n");
    return 2;
  }
  try {
    const std::string records = miniSeedFile::pack({}, miniSeedFile::wave(3000, 0));
    miniSeedFile::repeat(argv[2], records, (16 << 20) / records.size());
    LoadedPlugin plugin;
    plugin.parse(argv[2]);
    if (what == "copy") {
      std::vector<double> samples = plugin.buffer();
      plugin.copy(samples);
    }
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "once: %s\n", failure.what());
    return 1;
  }
  return 0;
}
