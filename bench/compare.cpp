// ox-wp-compare [MILLIONS]: reads so many million samples of one stream without gaps, as doubles in
// fresh memory, with the plug-in and with libmseed's own functions; and writes them to a file with
// ox-wp-host and with mseed2sac. Repeats each several times, one after the other, and prints
// medians.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <libmseed.h>
#include <malloc.h>
#include <sys/resource.h>

#include "testing/loadedPlugin.h"
#include "testing/miniSeedFile.h"
#include "testing/temporaryFolder.h"

namespace {

constexpr std::size_t kAttempts = 9;

// Processor time of this process or of its children so far, in seconds.
double timeOf(int whose) {
  rusage usage = {};
  getrusage(whose, &usage);
  const auto seconds = [](const timeval& t) {
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

struct Way {
  const char* name;
  int whose; // RUSAGE_SELF or RUSAGE_CHILDREN
  std::function<void()> take;
  std::vector<double> times = {};

  double median() {
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
  }
};

void byPlugin(const std::string& path) {
  LoadedPlugin plugin;
  plugin.parse(path);
  const std::size_t count = plugin.sampleCount();
  const auto samples = std::make_unique_for_overwrite<double[]>(count);
  plugin.copy({samples.get(), count});
}

void byReadTraces(const std::string& path) {
  MSTraceGroup* group = nullptr;
  constexpr double kAsRecorded = -1; // tolerances of time and sample rate
  if (ms_readtraces(&group, path.c_str(), -1, kAsRecorded, kAsRecorded, 0, 1, 1, 0) != MS_NOERROR ||
      group->numtraces != 1)
    throw std::runtime_error("ms_readtraces does not find one trace");
  if (mst_convertsamples(group->traces, 'd', 0) != 0)
    throw std::runtime_error("mst_convertsamples fails");
  mst_freegroup(&group);
}

void byProgram(const std::string& command) {
  // It reports each trace. NOLINTNEXTLINE(cert-env33-c): the commands are those of this file
  if (std::system((command + " 2>/dev/null").c_str()) != 0)
    throw std::runtime_error(command + " fails");
}

void compare(std::size_t millions) {
  // Large blocks are fresh each time. Otherwise some sizes would be those of earlier rounds.
  mallopt(M_MMAP_THRESHOLD, 1 << 20);
  const TemporaryFolder folder;
  std::filesystem::current_path(folder / "."); // the programs write here
  const std::string path = "one.mseed";
  const std::string host = "'" HOST_PATH "'";
  const std::string plugin = "'" PLUGIN_PATH "'";
  miniSeedFile::write(path, miniSeedFile::pack({}, miniSeedFile::wave(millions * 1000000, 1)));
  Way ways[] = {
      {"plug-in: parse and copy", RUSAGE_SELF, [&] { byPlugin(path); }},
      {"ms_readtraces, mst_convertsamples", RUSAGE_SELF, [&] { byReadTraces(path); }},
      {"ox-wp-host export --format f64", RUSAGE_CHILDREN,
       [&] {
         byProgram(host + " export --plugin " + plugin + " --format f64 -o one.f64 " + path);
       }},
      {"mseed2sac (4-byte floats)", RUSAGE_CHILDREN, [&] { byProgram("mseed2sac -O " + path); }},
  };
  for (std::size_t i = 0; i < kAttempts; ++i)
    for (Way& each : ways) {
      const double before = timeOf(each.whose);
      each.take();
      each.times.push_back(timeOf(each.whose) - before);
    }
  std::printf("%zu million samples, %ju MiB, one stream, processor time, median of %zu\n", millions,
              std::filesystem::file_size(path) >> 20, kAttempts);
  const double first = ways[0].median();
  for (Way& each : ways)
    std::printf("%-34s %8.1f ms %8.2f\n", each.name, each.median() * 1000, each.median() / first);
}

} // namespace

int main(int argc, char** argv) {
  const long millions = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 32;
  if (millions < 1) {
    std::fprintf(stderr, "usage: ox-wp-compare [MILLIONS]\n");
    return 2;
  }
  try {
    compare(static_cast<std::size_t>(millions));
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "ox-wp-compare: %s\n", failure.what());
    return 1;
  }
  return 0;
}
