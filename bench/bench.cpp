// The times of a parse and a copy through the boundary, each compared with a bare loop of the same
// libmseed calls on the same file in the same run. The figures that count are the ratios at the
// end.
#include <cstdio>
#include <exception>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/bareLoop.h"
#include "testing/loadedPlugin.h"
#include "testing/miniSeedFile.h"
#include "testing/temporaryFolder.h"

namespace {

// What a file is made of.
struct Layout {
  std::size_t kibibytes;
  int recordLength; // bytes
  int streams;      // interleaved record by record
  int encoding;
  const char* extension = ".mseed";

  std::string name() const {
    return std::to_string(kibibytes) + "KiB/" + std::to_string(recordLength) + "B/" +
           std::to_string(streams) + "streams/encoding" + std::to_string(encoding) + extension;
  }
};

constexpr std::size_t kMebi = 1024; // KiB

const Layout kQuickGrid[] = {
    {4, 512, 1, 11},           {4, 512, 1, 11, ".x"},     {kMebi, 512, 1, 11},
    {16 * kMebi, 512, 1, 11},  {16 * kMebi, 512, 2, 11},  {16 * kMebi, 512, 3000, 11},
    {16 * kMebi, 4096, 1, 11}, {16 * kMebi, 4096, 3, 11}, {16 * kMebi, 512, 1, 0},
    {16 * kMebi, 512, 1, 1},   {16 * kMebi, 512, 1, 3},   {16 * kMebi, 512, 1, 4},
    {16 * kMebi, 512, 1, 5},   {16 * kMebi, 512, 1, 10},  {64 * kMebi, 512, 1, 11},
};
const Layout kFullGrid[] = {
    {256 * kMebi, 512, 1, 11},   {256 * kMebi, 512, 3000, 11},  {1024 * kMebi, 512, 1, 11},
    {1024 * kMebi, 4096, 1, 11}, {1024 * kMebi, 512, 3000, 11},
};

// What a copy cannot do without, besides decoding: as many doubles written.
void write(std::vector<double>& samples) {
  for (std::size_t i = 0; i < samples.size(); ++i)
    samples[i] = static_cast<double>(i);
  benchmark::ClobberMemory();
}

template<class Work>
void measure(benchmark::State& state, const Work& work) {
  work(); // the file into the page cache
  for (auto _ : state)
    work();
}

// Prints the usual lines, and at the end the ratios of each file.
class RatioReporter : public benchmark::ConsoleReporter {
public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs)
      times_[run.benchmark_name()] = run.GetAdjustedCPUTime();
  }

  void printRatios(const std::vector<std::string>& files) {
    std::printf("\nplug-in / bare loop of the same calls; the last column: / bare loop and writing "
                "the samples\n%-40s %8s %8s %8s\n",
                "", "parse", "copy", "copy");
    for (const std::string& file : files) {
      const double copy = times_[file + "/copy/plugin"];
      const double bare = times_[file + "/copy/bare"];
      std::printf("%-40s %8.3f %8.3f %8.3f\n", file.c_str(),
                  times_[file + "/parse/plugin"] / times_[file + "/parse/bare"], copy / bare,
                  copy / (bare + times_[file + "/copy/writing"]));
    }
  }

private:
  std::map<std::string, double> times_;
};

} // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  const bool full = argc == 2 && std::string(argv[1]) == "full";
  if (argc > 1 && !full) {
    std::fprintf(stderr, "usage: ox-wp-bench [full] [--benchmark_...]\n");
    return 2;
  }
  try {
    const TemporaryFolder folder;
    LoadedPlugin plugin;
    RatioReporter reporter;
    std::vector<std::string> files;
    std::vector<Layout> grid(std::begin(kQuickGrid), std::end(kQuickGrid));
    if (full)
      grid.insert(grid.end(), std::begin(kFullGrid), std::end(kFullGrid));
    for (const Layout& wanted : grid) {
      const std::string path = folder / "a" + wanted.extension;
      miniSeedFile::fill(
          path, wanted.kibibytes << 10,
          miniSeedFile::interleaved(wanted.streams, 3000, wanted.encoding, wanted.recordLength));
      plugin.parse(path);
      std::vector<double> samples = plugin.buffer();
      const auto add = [&](const char* what, const auto& work) {
        benchmark::RegisterBenchmark((wanted.name() + what).c_str(),
                                     [&work](benchmark::State& state) { measure(state, work); });
      };
      const auto parse = [&] { plugin.parse(path); };
      const auto parseBare = [&] { readAll(path, kHeadersOnly); };
      const auto copy = [&] { plugin.copy(samples); };
      const auto copyBare = [&] { readAll(path, kWithSamples); };
      const auto writing = [&] { write(samples); };
      add("/parse/plugin", parse);
      add("/parse/bare", parseBare);
      add("/copy/plugin", copy);
      add("/copy/bare", copyBare);
      add("/copy/writing", writing);
      benchmark::RunSpecifiedBenchmarks(&reporter);
      benchmark::ClearRegisteredBenchmarks();
      files.push_back(wanted.name());
    }
    reporter.printRatios(files);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "ox-wp-bench: %s\n", failure.what());
    return 1;
  }
  return 0;
}
