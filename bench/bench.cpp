// Parse and copy through the boundary, each compared with a bare loop of the same libmseed calls on
// the same file in the same run. The figures that count are the ratios at the end.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/bareLoop.h"
#include "bench/instructionCounter.h"
#include "testing/loadedPlugin.h"
#include "testing/miniSeedFile.h"

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

// A station code for each stream: "S0000" and on.
std::string station(int stream) {
  const std::string number = std::to_string(stream);
  return "S" + std::string(4 - number.size(), '0') + number;
}

// A few records of each stream, written again and again until the file has its size.
std::string writeFile(const Layout& wanted) {
  std::string path = std::filesystem::temp_directory_path() / "ox-wp-bench";
  path += wanted.extension;
  std::vector<std::string> streams;
  streams.reserve(static_cast<std::size_t>(wanted.streams));
  constexpr std::size_t kSamples = 3000;
  for (int i = 0; i < wanted.streams; ++i)
    streams.push_back(miniSeedFile::pack(
        {.station = station(i), .encoding = wanted.encoding, .recordLength = wanted.recordLength},
        miniSeedFile::waveFor(wanted.encoding, kSamples, i)));
  const std::string once =
      miniSeedFile::interleave(streams, static_cast<std::size_t>(wanted.recordLength));
  miniSeedFile::repeat(path, once,
                       std::max<std::size_t>((wanted.kibibytes << 10) / once.size(), 1));
  return path;
}

// What a copy cannot do without, besides decoding: as many doubles written.
void write(std::vector<double>& samples) {
  for (std::size_t i = 0; i < samples.size(); ++i)
    samples[i] = static_cast<double>(i);
  benchmark::ClobberMemory();
}

const InstructionCounter& instructions() {
  static const InstructionCounter counter;
  return counter;
}

template<class Work>
void measure(benchmark::State& state, const Work& work) {
  work(); // the file into the page cache
  const std::uint64_t before = instructions().count();
  for (auto _ : state)
    work();
  state.counters["instructions"] = benchmark::Counter(
      static_cast<double>(instructions().count() - before), benchmark::Counter::kAvgIterations);
}

// Prints the usual lines, and at the end the ratios of each file.
class RatioReporter : public benchmark::ConsoleReporter {
public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      const auto instructionsOfRun = run.counters.find("instructions"); // a failed run has none
      if (instructionsOfRun != run.counters.end())
        costs_[run.benchmark_name()] = {run.GetAdjustedCPUTime(), instructionsOfRun->second};
    }
  }

  void printRatios(const std::vector<std::string>& files) const {
    std::printf("\nplug-in / bare loop of the same calls; the last column: / bare loop and writing "
                "the samples%s\n%-40s %12s %12s %12s %12s %12s\n",
                instructions().works() ? "" : " (this machine does not count instructions)", "",
                "parse instr.", "parse time", "copy instr.", "copy time", "copy time");
    for (const std::string& file : files) {
      if (!costs_.contains(file + "/copy/writing"))
        continue; // filtered out
      std::printf("%-40s", file.c_str());
      for (const char* what : {"/parse", "/copy"}) {
        const Cost& plugin = costs_.at(file + what + "/plugin");
        const Cost& bare = costs_.at(file + what + "/bare");
        if (bare.instructions > 0)
          std::printf(" %12.4f", plugin.instructions / bare.instructions);
        else
          std::printf(" %12s", "-");
        std::printf(" %12.3f", plugin.time / bare.time);
      }
      std::printf(" %12.3f\n",
                  costs_.at(file + "/copy/plugin").time / (costs_.at(file + "/copy/bare").time +
                                                           costs_.at(file + "/copy/writing").time));
    }
  }

private:
  struct Cost {
    double time;
    double instructions;
  };
  std::map<std::string, Cost> costs_;
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
    LoadedPlugin plugin;
    RatioReporter reporter;
    std::vector<std::string> files;
    std::vector<Layout> grid(std::begin(kQuickGrid), std::end(kQuickGrid));
    if (full)
      grid.insert(grid.end(), std::begin(kFullGrid), std::end(kFullGrid));
    for (const Layout& wanted : grid) {
      const std::string path = writeFile(wanted);
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
      std::filesystem::remove(path);
      files.push_back(wanted.name());
    }
    reporter.printRatios(files);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "ox-wp-bench: %s\n", failure.what());
    return 1;
  }
  return 0;
}
