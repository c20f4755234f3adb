// ox-wp-endure [MEGABYTES [SECONDS]]: parses and copies large files, then files that change
// meanwhile, each for so many seconds. Fails when a large file takes much memory, and when a call
// does not return.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <stop_token>
#include <thread>
#include <tuple>

#include <fcntl.h>
#include <malloc.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include "testing/loadedPlugin.h"
#include "testing/miniSeedFile.h"
#include "testing/temporaryFolder.h"

namespace {

constexpr double kMostAtPeak = 8;     // MiB, while a large file is parsed and copied
constexpr unsigned kLongestCall = 10; // seconds, after which the alarm ends this process

void expect(bool condition, const char* what) {
  if (!condition)
    throw std::runtime_error(what);
}

double mebibytes(const char* key) {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    double kibibytes = 0;
    if (word == key && status >> kibibytes)
      return kibibytes / 1024;
  }
  throw std::runtime_error("the system does not report the memory in use");
}

void endureLargeFiles(std::size_t megabytes) {
  std::printf("%12s %8s %18s\n", "file", "streams", "peak memory, MiB");
  const TemporaryFolder files;
  const std::string path = files / "large";
  for (const int streams : {1, 3000}) {
    miniSeedFile::fill(path, megabytes << 20, miniSeedFile::interleaved(streams, 300));
    LoadedPlugin plugin;
    std::vector<double> samples(300); // the whole file is read for them
    malloc_trim(0); // memory that was freed before would hide what is allocated now
    const double before = mebibytes("VmRSS:");
    std::ofstream("/proc/self/clear_refs") << 5; // forgets the peak
    plugin.parse(path);
    plugin.copy(samples);
    const double peak = mebibytes("VmHWM:") - before;
    std::printf("%8zu MiB %8d %18.2f\n", megabytes, streams, peak);
    expect(peak < kMostAtPeak, "a large file takes much memory");
  }
}

// Parses and copies a file that changes meanwhile.
void endureChanges(const char* what, const std::string& path, int perSecond, double seconds) {
  LoadedPlugin plugin;
  std::vector<double> samples(300);
  long parses = 0;
  long accepted = 0;
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + std::chrono::duration<double>(seconds);
  while (Clock::now() < end) {
    alarm(kLongestCall);
    ++parses;
    if (plugin.tryToParse(path)) {
      ++accepted;
      plugin.tryToCopy(samples);
    }
  }
  alarm(0);
  std::printf("%-28s %9d %12ld %12ld\n", what, perSecond, parses, accepted);
  expect(accepted > 0, "a file that changes is never accepted");
}

void endureChangingFiles(double seconds) {
  std::printf("\n%-28s %9s %12s %12s\n", "change", "a second", "parses", "accepted");
  const TemporaryFolder files;
  const std::string path = files / "changing";
  const std::string pipe = files / "pipe";
  expect(mkfifo(pipe.c_str(), 0600) == 0, "there is no pipe");
  const std::string bytes =
      miniSeedFile::interleaved(1, 2000000); // more than libmseed reads at once
  const auto append = [&](int flags, std::size_t size) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | flags, 0600);
    constexpr std::size_t kPiece = 131072; // as cp does
    for (std::size_t at = 0; at < size; at += kPiece)
      if (write(file, bytes.data() + at, std::min(kPiece, size - at)) < 0)
        break;
    close(file);
  };
  const auto rewrite = [&] { append(O_TRUNC, bytes.size()); };
  const auto grow = [&] { append(O_APPEND, 512); };
  const auto exchange = [&] {
    renameat2(AT_FDCWD, pipe.c_str(), AT_FDCWD, path.c_str(), RENAME_EXCHANGE);
  };
  const std::tuple<const char*, std::function<void()>, int> changes[] = {
      {"rewritten in place", rewrite, 5},
      {"rewritten in place", rewrite, 500},
      {"grown", grow, 5},
      {"grown", grow, 500},
      {"exchanged for a pipe", exchange, 500},
      {"exchanged for a pipe", exchange, 100000}};
  for (const auto& [what, change, perSecond] : changes) {
    std::filesystem::remove(path);
    rewrite();
    const std::jthread writer([&act = change, rate = perSecond](const std::stop_token& end) {
      for (; !end.stop_requested(); usleep(static_cast<useconds_t>(1000000 / rate)))
        act();
    });
    endureChanges(what, path, perSecond, seconds);
  }
}

} // namespace

int main(int argc, char** argv) {
  const long megabytes = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 1024;
  const double seconds = argc > 2 ? std::strtod(argv[2], nullptr) : 60;
  if (argc > 3 || megabytes < 1 || seconds <= 0) {
    std::fprintf(stderr, "usage: ox-wp-endure [MEGABYTES [SECONDS]]\n");
    return 2;
  }
  try {
    endureLargeFiles(static_cast<std::size_t>(megabytes));
    endureChangingFiles(seconds);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "endure: %s\n", failure.what());
    return 1;
  }
  return 0;
}
