// ox-wp-endure [ROUNDS [MEGABYTES [SECONDS]]]: uses the plug-in for long, on large files, and on
// files that change while they are read. Fails when memory or descriptors grow, when time does not
// stay in proportion to the file, and when a call does not return.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
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
#include <signal.h>
#include <stdio.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "testing/loadedPlugin.h"
#include "testing/miniSeedFile.h"
#include "testing/openDescriptors.h"
#include "testing/temporaryFolder.h"

namespace {

constexpr double kMostGrowth = 1;        // MiB of resident memory, from warmed up to the end
constexpr double kMostAtPeak = 8;        // MiB, while a large file is parsed and copied
constexpr double kMostTimePerByte = 1.5; // of a large file, compared with one an eighth of it
constexpr std::size_t kSmallerBy = 8;
constexpr double kLeastTime = 0.05;   // seconds; shorter times say nothing on a busy machine
constexpr unsigned kLongestCall = 10; // seconds, after which the alarm ends this process

bool failed = false;

void expect(bool condition, const char* what) {
  if (condition)
    return;
  std::fprintf(stderr, "endure: %s\n", what);
  failed = true;
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
double processorTime() {
  return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

// What a host does all day: good files, and every kind of bad one.
void endureRounds(long rounds) {
  const TemporaryFolder files;
  const std::string good = files.write("good.mseed", miniSeedFile::interleaved(3, 3000));
  const std::string cut = files.write("cut", miniSeedFile::interleaved(1, 3000).substr(0, 700));
  std::vector<std::string> bad = {files / "missing", files / "."};
  for (const char* name : {"noise", "noise.mseed", "noise.dat", "noise.sg"})
    bad.push_back(files.write(name, std::string(5000, '#')));
  LoadedPlugin plugin;
  const auto round = [&] {
    for (const std::string& path : bad)
      expect(!plugin.tryToParse(path), "a bad file is accepted");
    plugin.parse(cut);
    plugin.parse(good);
    expect(plugin.walk() == 27, "a walk does not find three variables");
    std::vector<double> all = plugin.buffer();
    plugin.copy(all);
    all.resize(all.size() + 1);
    expect(!plugin.tryToCopy(all), "a copy finds more than there is");
    std::filesystem::rename(good, good + ".gone");
    expect(!plugin.tryToCopy(all), "a copy finds what is gone");
    std::filesystem::rename(good + ".gone", good);
  };
  const long warmUp = rounds / 10;
  for (long i = 0; i < warmUp; ++i)
    round();
  const double before = mebibytes("VmRSS:");
  const long descriptors = openDescriptors();
  const double start = processorTime();
  for (long i = warmUp; i < rounds; ++i)
    round();
  const double after = mebibytes("VmRSS:");
  std::printf("%ld rounds, after the first %ld: %.1f s, resident memory %.2f -> %.2f MiB, "
              "descriptors %ld -> %ld\n\n",
              rounds, warmUp, processorTime() - start, before, after, descriptors,
              openDescriptors());
  expect(after - before < kMostGrowth, "memory grows");
  expect(openDescriptors() == descriptors, "descriptors stay open");
}

// Seconds of a parse and a copy.
double endureFile(const std::string& path, int streams) {
  LoadedPlugin plugin;
  std::vector<double> samples(300); // the whole file is read for them
  double least = 0;
  malloc_trim(0); // memory that was freed before would hide what is allocated now
  const double before = mebibytes("VmRSS:");
  std::ofstream("/proc/self/clear_refs") << 5; // forgets the peak
  constexpr int kAttempts = 9;                 // most of them can be slow on a busy machine
  for (int i = 0; i < kAttempts; ++i) {
    const double start = processorTime();
    plugin.parse(path);
    plugin.copy(samples);
    const double time = processorTime() - start;
    least = i == 0 ? time : std::min(least, time);
  }
  std::printf("%8ju MiB %8d %12.3f %18.2f\n", std::filesystem::file_size(path) >> 20, streams,
              least, mebibytes("VmHWM:") - before);
  expect(mebibytes("VmHWM:") - before < kMostAtPeak, "a large file takes much memory");
  return least;
}

void endureFiles(std::size_t megabytes) {
  std::printf("%12s %8s %12s %18s\n", "file", "streams", "seconds", "peak memory, MiB");
  const TemporaryFolder files;
  const std::string path = files / "large";
  for (const int streams : {1, 3000}) {
    const std::string once = miniSeedFile::interleaved(streams, 300);
    const std::size_t times = std::max((megabytes << 20) / once.size(), kSmallerBy);
    miniSeedFile::repeat(path, once, times / kSmallerBy);
    const double small = endureFile(path, streams);
    miniSeedFile::repeat(path, once, times / kSmallerBy * kSmallerBy);
    const double large = endureFile(path, streams);
    expect(small < kLeastTime || large < kMostTimePerByte * kSmallerBy * small,
           "a large file takes more than its time");
  }
}

// Parses and copies a file that changes meanwhile.
void endureChanges(const char* what, const std::string& path, int perSecond, double seconds) {
  LoadedPlugin plugin;
  std::vector<double> samples(300); // the whole file is read for them
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

// Lets the host for the shell watch it, which keeps no descriptor of what it has read.
void endureWatching(const std::string& path, int signal, double seconds) {
  const pid_t host = fork();
  if (host < 0)
    throw std::runtime_error("no process can be made");
  if (host == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
    dup2(STDOUT_FILENO, STDERR_FILENO);
    execl(HOST_PATH, HOST_PATH, "watch", "--interval", "0.01", path.c_str(), nullptr);
    _exit(1);
  }
  long open[2] = {};
  for (long& count : open) {
    usleep(static_cast<useconds_t>(seconds * 5e5));
    count = openDescriptors(host);
  }
  constexpr long kAtStart = 8; // the first count can come before the plug-in is loaded
  expect(open[1] <= open[0] + kAtStart, "watch leaves descriptors open");
  kill(host, signal);
  int status = -1;
  alarm(kLongestCall);
  waitpid(host, &status, 0);
  alarm(0);
  expect(status == 0, "watch does not end as it should");
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
  const std::tuple<const char*, std::function<void()>, int, int> changes[] = {
      {"rewritten in place", rewrite, 5, SIGINT},
      {"rewritten in place", rewrite, 500, SIGTERM},
      {"grown", grow, 5, SIGINT},
      {"grown", grow, 500, SIGTERM},
      {"exchanged for a pipe", exchange, 500, SIGINT},
      {"exchanged for a pipe", exchange, 100000, SIGTERM}};
  for (const auto& [what, change, perSecond, signal] : changes) {
    std::filesystem::remove(path);
    rewrite();
    const std::jthread writer([&act = change, rate = perSecond](const std::stop_token& end) {
      for (; !end.stop_requested(); usleep(static_cast<useconds_t>(1000000 / rate)))
        act();
    });
    endureChanges(what, path, perSecond, seconds);
    endureWatching(path, signal, seconds);
  }
}

} // namespace

int main(int argc, char** argv) {
  constexpr int kDecimal = 10;
  const long rounds = argc > 1 ? std::strtol(argv[1], nullptr, kDecimal) : 100000;
  const long megabytes = argc > 2 ? std::strtol(argv[2], nullptr, kDecimal) : 1024;
  const double seconds = argc > 3 ? std::strtod(argv[3], nullptr) : 60;
  if (argc > 4 || rounds < 10 || megabytes < 1 || seconds <= 0) {
    std::fprintf(stderr, "usage: ox-wp-endure [ROUNDS [MEGABYTES [SECONDS]]]\n");
    return 2;
  }
  try {
    endureRounds(rounds);
    endureFiles(static_cast<std::size_t>(megabytes));
    endureChangingFiles(seconds);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "endure: %s\n", failure.what());
    return 1;
  }
  return failed ? 1 : 0;
}
