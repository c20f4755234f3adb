// ox-wp-endure MEGABYTES SECONDS: parses and copies large files, then files that change
// meanwhile, each for so many seconds. Fails when a large file takes much memory, and when a call
// does not return.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <stdexcept>
#include <stop_token>
#include <thread>

#include <fcntl.h>
#include <malloc.h>
#include <stdio.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "testing/loadedPlugin.h"
#include "testing/miniSeedFile.h"
#include "testing/temporaryFolder.h"

namespace {

constexpr long kMostAtPeak = 8192;    // KiB, while a large file is parsed and copied
constexpr unsigned kLongestCall = 10; // seconds, after which the alarm ends this process

void expect(bool condition, const char* what) {
  if (!condition)
    throw std::runtime_error(what);
}

long peakMemory() { // KiB
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

void endureLargeFiles(std::size_t megabytes) {
  const TemporaryFolder files;
  const std::string path = files / "large";
  for (const int streams : {1, 3000}) {
    miniSeedFile::fill(path, megabytes << 20, miniSeedFile::interleaved(streams, 300));
    LoadedPlugin plugin;
    std::vector<double> samples(300); // the whole file is read for them
    malloc_trim(0); // memory that was freed before would hide what is allocated now
    std::ofstream reset("/proc/self/clear_refs");
    expect(static_cast<bool>(reset << 5 << std::flush), "the peak of memory can't be reset");
    const long before = peakMemory();
    plugin.parse(path);
    plugin.copy(samples);
    const long needed = peakMemory() - before;
    std::printf("%zu MiB, %d streams: %ld KiB of memory\n", megabytes, streams, needed);
    expect(needed < kMostAtPeak, "a large file takes much memory");
  }
}

void endureChangingFiles(double seconds) {
  const TemporaryFolder files;
  const std::string path = files / "changing";
  const std::string pipe = files / "pipe";
  expect(mkfifo(pipe.c_str(), 0600) == 0, "there is no pipe");
  const std::string bytes = miniSeedFile::interleaved(1, 2000000); // read by libmseed in parts
  const auto append = [&](int flags, std::size_t size) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | flags, 0600);
    constexpr std::size_t kPiece = 131072; // as cp does
    for (std::size_t at = 0; at < size; at += kPiece)
      if (write(file, bytes.data() + at, std::min(kPiece, size - at)) < 0)
        break;
    close(file);
  };
  const auto endure = [&](const char* what, int perSecond, const auto& change) {
    std::filesystem::remove(path);
    append(0, bytes.size());
    const std::jthread writer([&](const std::stop_token& end) {
      for (; !end.stop_requested(); usleep(static_cast<useconds_t>(1000000 / perSecond)))
        change();
    });
    LoadedPlugin plugin;
    std::vector<double> samples(300);
    long parses = 0;
    long accepted = 0;
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::duration<double>(seconds);
    for (; Clock::now() < end; ++parses) {
      alarm(kLongestCall);
      if (plugin.tryToParse(path)) {
        ++accepted;
        plugin.tryToCopy(samples);
      }
    }
    alarm(0);
    std::printf("%s %d times a second: %ld parses, %ld accepted\n", what, perSecond, parses,
                accepted);
    expect(accepted > 0, "a file that changes is never accepted");
  };
  const auto rewrite = [&] { append(O_TRUNC, bytes.size()); };
  const auto exchange = [&] {
    renameat2(AT_FDCWD, pipe.c_str(), AT_FDCWD, path.c_str(), RENAME_EXCHANGE);
  };
  endure("rewritten in place", 5, rewrite);
  endure("rewritten in place", 500, rewrite);
  endure("grown", 500, [&] { append(O_APPEND, 512); });
  endure("exchanged for a pipe", 500, exchange);
  endure("exchanged for a pipe", 100000, exchange);
}

} // namespace

int main(int argc, char** argv) {
  try {
    (void)setvbuf(stdout, nullptr, _IOLBF, 0); // the alarm loses what is buffered
    expect(argc == 3, "usage: ox-wp-endure MEGABYTES SECONDS");
    endureLargeFiles(std::strtoul(argv[1], nullptr, 10));
    endureChangingFiles(std::strtod(argv[2], nullptr));
    return 0;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "endure: %s\n", failure.what());
    return 1;
  }
}
