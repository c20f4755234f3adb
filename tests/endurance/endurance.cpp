// ox-wp-endure [ROUNDS [MEGABYTES]]: works the plug-in for long, and on large files, and fails when
// memory or descriptors grow or time doesn't stay in proportion to the file.
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <malloc.h>
#include <unistd.h>

#include "testing/loadedPlugin.h"
#include "testing/miniSeedFile.h"

namespace {

constexpr double mostGrowth = 1;        // MiB of resident memory, from warmed up to the end
constexpr double mostAtPeak = 8;        // MiB, while a large file is parsed and copied
constexpr double mostTimePerByte = 1.5; // of a large file, compared with one an eighth of it
constexpr std::size_t smallerBy = 8;

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
  throw std::runtime_error("the system doesn't tell the memory in use");
}
double resident() {
  return mebibytes("VmRSS:");
}
double peak() {
  return mebibytes("VmHWM:");
}
void forgetPeak() {
  std::ofstream("/proc/self/clear_refs") << 5;
}

long openDescriptors() {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return std::distance(begin(all), end(all));
}

double processorTime() {
  return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

class folder {
public:
  folder() {
    if (!mkdtemp(path.data()))
      throw std::runtime_error("no temporary folder");
  }
  ~folder() { std::filesystem::remove_all(path); }
  folder(const folder&) = delete;
  folder& operator=(const folder&) = delete;
  std::string operator/(const std::string& name) const { return path + "/" + name; }

private:
  std::string path = std::filesystem::temp_directory_path() / "ox-wp-endure-XXXXXX";
};

// Records of so many streams in turn.
std::string records(int streams, std::size_t samples) {
  std::vector<std::string> packed;
  packed.reserve(static_cast<std::size_t>(streams));
  for (int i = 0; i < streams; ++i)
    packed.push_back(
        miniSeedFile::pack({.station = std::to_string(10000 + i)}, miniSeedFile::wave(samples, i)));
  return miniSeedFile::interleave(packed, 512);
}

// What a host does all day: good files, and all that can go wrong with one.
class everyday {
public:
  everyday() {
    miniSeedFile::write(good, records(3, 3000));
    miniSeedFile::write(cut, records(1, 3000).substr(0, 700));
    miniSeedFile::write(noise, std::string(5000, '#'));
    for (const char* extension : {".mseed", ".dat", ".sg"})
      std::filesystem::copy(noise, noise + extension);
  }

  void round() {
    for (const std::string& bad :
         {noise, noise + ".mseed", noise + ".dat", noise + ".sg", files / "missing", files / "."})
      expect(!plugin.tryToParse(bad), "a bad file is accepted");
    plugin.parse(cut);
    plugin.parse(good);
    expect(plugin.walk() == 27, "a walk doesn't find three variables");
    std::vector<double> all = plugin.buffer();
    plugin.copy(all);
    all.resize(all.size() + 1);
    expect(!plugin.tryToCopy(all), "a copy finds more than there is");
    std::filesystem::rename(good, good + ".gone");
    expect(!plugin.tryToCopy(all), "a copy finds what is gone");
    std::filesystem::rename(good + ".gone", good);
  }

private:
  folder files;
  std::string good = files / "good.mseed";
  std::string cut = files / "cut";
  std::string noise = files / "noise";
  LoadedPlugin plugin;
};

void endureRounds(long rounds) {
  everyday host;
  const long warmUp = rounds / 10;
  for (long i = 0; i < warmUp; ++i)
    host.round();
  const double before = resident();
  const long descriptors = openDescriptors();
  const double start = processorTime();
  for (long i = warmUp; i < rounds; ++i)
    host.round();
  const double after = resident();
  std::printf("%ld rounds, after the first %ld: %.1f s, resident memory %.2f -> %.2f MiB, "
              "descriptors %ld -> %ld\n\n",
              rounds, warmUp, processorTime() - start, before, after, descriptors,
              openDescriptors());
  expect(after - before < mostGrowth, "memory grows");
  expect(openDescriptors() == descriptors, "descriptors stay open");
}

// Seconds of a parse and a copy.
double endureFile(const std::string& path, int streams) {
  LoadedPlugin plugin;
  std::vector<double> samples(300); // the whole file is read for them
  double least = 0;
  malloc_trim(0); // or what was freed before would hide what is taken now
  const double before = resident();
  forgetPeak();
  constexpr int attempts = 3; // one alone can meet a busy machine
  for (int i = 0; i < attempts; ++i) {
    const double start = processorTime();
    plugin.parse(path);
    plugin.copy(samples);
    const double time = processorTime() - start;
    least = i == 0 ? time : std::min(least, time);
  }
  std::printf("%8ju MiB %8d %12.3f %18.2f\n", std::filesystem::file_size(path) >> 20, streams,
              least, peak() - before);
  expect(peak() - before < mostAtPeak, "a large file takes much memory");
  return least;
}

void endureFiles(std::size_t megabytes) {
  std::printf("%12s %8s %12s %18s\n", "file", "streams", "seconds", "peak memory, MiB");
  const folder files;
  const std::string path = files / "large";
  for (const int streams : {1, 3000}) {
    const std::string once = records(streams, 300);
    const std::size_t times = std::max((megabytes << 20) / once.size(), smallerBy);
    miniSeedFile::repeat(path, once, times / smallerBy);
    const double small = endureFile(path, streams);
    miniSeedFile::repeat(path, once, times / smallerBy * smallerBy);
    expect(endureFile(path, streams) < mostTimePerByte * smallerBy * small,
           "a large file takes more than its time");
  }
}

} // namespace

int main(int argc, char** argv) {
  constexpr int decimal = 10;
  const long rounds = argc > 1 ? std::strtol(argv[1], nullptr, decimal) : 100000;
  const long megabytes = argc > 2 ? std::strtol(argv[2], nullptr, decimal) : 1024;
  if (argc > 3 || rounds < 10 || megabytes < 1) {
    std::fprintf(stderr, "usage: endure [ROUNDS [MEGABYTES]]\n");
    return 2;
  }
  try {
    endureRounds(rounds);
    endureFiles(static_cast<std::size_t>(megabytes));
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "endure: %s\n", failure.what());
    return 1;
  }
  return failed ? 1 : 0;
}
