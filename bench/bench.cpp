// The times of a parse and a copy through the boundary, each compared with a bare loop of the same
// libmseed calls on the same file. Prints the ratios of the medians as docs/performance.md has
// them.
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
  const char* name;
  std::size_t kibibytes;
  int recordLength = 512; // bytes
  int streams = 1;        // interleaved record by record
  int encoding = 11;
  const char* extension = ".mseed";
};

constexpr std::size_t kMebi = 1024; // KiB

const Layout kQuickGrid[] = {
    {"4 KiB", 4},
    {"4 KiB, unknown extension", 4, 512, 1, 11, ".x"},
    {"1 MiB", kMebi},
    {"16 MiB", 16 * kMebi},
    {"16 MiB, 2 streams", 16 * kMebi, 512, 2},
    {"16 MiB, 3,000 streams", 16 * kMebi, 512, 3000},
    {"16 MiB, records of 4 KiB", 16 * kMebi, 4096},
    {"16 MiB, text", 16 * kMebi, 512, 1, 0},
    {"16 MiB, 32-bit integers", 16 * kMebi, 512, 1, 3},
    {"16 MiB, 64-bit floats", 16 * kMebi, 512, 1, 5},
    {"16 MiB, Steim 1", 16 * kMebi, 512, 1, 10},
};
const Layout kFullGrid[] = {
    {"1 GiB", 1024 * kMebi},
    {"1 GiB, 3,000 streams", 1024 * kMebi, 512, 3000},
};

template<class Work>
void measure(benchmark::State& state, const Work& work) {
  work(); // the file into the page cache
  for (auto _ : state)
    work();
}

// Prints the usual lines, and keeps the medians.
class MedianReporter : public benchmark::ConsoleReporter {
public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs)
      if (run.aggregate_name == "median")
        medians_[run.run_name.function_name] = run.GetAdjustedCPUTime();
  }

  double ratio(const std::string& what) {
    return medians_[what + " by plug-in"] / medians_[what + " bare"];
  }

private:
  std::map<std::string, double> medians_;
};

} // namespace

int main(int argc, char** argv) {
  // Later options count: those of the caller.
  std::vector<char*> options = {argv[0]};
  std::string defaults[] = {"--benchmark_repetitions=9", "--benchmark_min_time=0.05",
                            "--benchmark_report_aggregates_only=true",
                            "--benchmark_enable_random_interleaving=true"};
  for (std::string& option : defaults)
    options.push_back(option.data());
  options.insert(options.end(), argv + 1, argv + argc);
  int left = static_cast<int>(options.size());
  benchmark::Initialize(&left, options.data());
  const bool full = left == 2 && std::string(options[1]) == "full";
  if (left > 1 && !full) {
    std::fprintf(stderr, "usage: ox-wp-bench [full] [--benchmark_...]\n");
    return 2;
  }
  try {
    const TemporaryFolder folder;
    LoadedPlugin plugin;
    MedianReporter reporter;
    std::string table = "\n| File | Parse | Copy |\n|---|---|---|\n";
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
        benchmark::RegisterBenchmark(what,
                                     [&work](benchmark::State& state) { measure(state, work); });
      };
      const auto parse = [&] { plugin.parse(path); };
      const auto parseBare = [&] { readAll(path, kHeadersOnly); };
      const auto copy = [&] { plugin.copy(samples); };
      const auto copyBare = [&] { readAll(path, kWithSamples); };
      add("parse by plug-in", parse);
      add("parse bare", parseBare);
      add("copy by plug-in", copy);
      add("copy bare", copyBare);
      std::printf("\n%s\n", wanted.name);
      benchmark::RunSpecifiedBenchmarks(&reporter);
      benchmark::ClearRegisteredBenchmarks();
      char row[100];
      std::snprintf(row, sizeof row, "| %s | %.2f | %.2f |\n", wanted.name, reporter.ratio("parse"),
                    reporter.ratio("copy"));
      table += row;
    }
    std::fputs(table.c_str(), stdout);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "ox-wp-bench: %s\n", failure.what());
    return 1;
  }
  return 0;
}
