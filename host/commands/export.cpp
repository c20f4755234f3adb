// `export`: samples as CSV or as raw doubles.
//
// CSV has a column of times and one of values for each stream, side by side, as spreadsheets and
// plotting programs take them. A copy always starts at a stream's first sample, so rows of several
// streams would need all streams in memory. Instead each stream is copied in turn into a temporary
// file, and what is written comes from there: one stream is in memory, then one small window of
// each. So nothing is written before all is read and the file is known not to have changed
// meanwhile.

#include <algorithm>
#include <bit>
#include <cctype>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <optional>
#include <set>
#include <span>
#include <system_error>

#include <fmt/compile.h>
#include <fmt/format.h>

#include "host/base/error.h"
#include "host/base/output.h"
#include "host/base/progress.h"
#include "host/base/spool.h"
#include "host/base/strings.h"
#include "host/boundary/path.h"
#include "host/boundary/samples.h"
#include "host/boundary/selection.h"
#include "host/commands/commands.h"

namespace host {

namespace {

static_assert(std::endian::native == std::endian::little, "f64 is written as it is in memory");

constexpr size_t kWindow = 8192; // samples of each stream that are in memory while rows are merged
constexpr uint64_t kRowsBetweenProgress = 4096;

// A stream with its samples in the spool.
// REQUIRES: windows, and cells, are taken in order.
class SpooledStream {
public:
  SpooledStream(Stream stream, const Samples& samples, Spool& spool)
      : stream_(std::move(stream)), count_(samples.values.size()), spool_(&spool),
        position_(spool.append(samples.values)) {}

  uint64_t count() const noexcept { return count_; }

  // The samples from `first` on, at most kWindow of them.
  std::span<const double> window(uint64_t first) {
    window_.resize(std::min<uint64_t>(kWindow, count_ - first));
    spool_->read(position_ + first, window_);
    return window_;
  }

  // The headings of the two columns.
  std::string headings() const {
    return csvField(stream_.name + " time_s") + ',' + csvField(stream_.name + " value");
  }

  // Both cells are empty behind the last sample, the time also where the sample rate is unknown.
  void writeCells(fmt::memory_buffer& row, uint64_t index) {
    const auto out = std::back_inserter(row);
    if (index < count_ && stream_.interval != 0)
      fmt::format_to(out, FMT_COMPILE("{}"), toNanosecond(stream_.timeOf(index)));
    row.push_back(',');
    if (index >= count_)
      return;
    if (index % kWindow == 0)
      window(index);
    fmt::format_to(out, FMT_COMPILE("{}"), window_[index % kWindow]);
  }

private:
  Stream stream_;
  uint64_t count_;
  const Spool* spool_;
  uint64_t position_; // in the spool
  std::vector<double> window_;
};

// Copies all streams, and reports what of them is missing. Throws Error when the file has changed
// meanwhile.
std::vector<SpooledStream> readStreams(const Plugin& plugin, const File& file, Spool& spool) {
  Progress progress("Reading streams", file.streams.size());
  std::vector<SpooledStream> streams;
  for (const Stream& stream : file.streams) {
    progress.show(streams.size());
    const Samples samples = copySamples(plugin, file, stream);
    if (const std::string shortfall = samples.shortfall(); !shortfall.empty())
      reportError(stream.name + ": " + shortfall);
    streams.emplace_back(stream, samples, spool);
  }
  expectUnchanged(plugin, file);
  return streams;
}

void writeCsv(std::span<SpooledStream> streams, Output& output) {
  uint64_t rows = 0;
  std::string headings;
  for (const SpooledStream& stream : streams) {
    rows = std::max(rows, stream.count());
    headings += stream.headings() + ',';
  }
  headings.back() = '\n';
  output.write(headings);

  Progress progress("Writing rows", rows);
  fmt::memory_buffer row;
  for (uint64_t index = 0; index < rows; ++index) {
    row.clear();
    for (SpooledStream& stream : streams) {
      if (row.size() != 0)
        row.push_back(',');
      stream.writeCells(row, index);
    }
    row.push_back('\n');
    output.write({row.data(), row.size()});
    if (index % kRowsBetweenProgress == 0)
      progress.show(index);
  }
}

void writeDoubles(std::span<SpooledStream> streams, Output& output) {
  for (SpooledStream& stream : streams)
    for (uint64_t first = 0; first < stream.count(); first += kWindow) {
      const auto bytes = std::as_bytes(stream.window(first));
      output.write({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    }
}

// A name for a file, made from any bytes: neither a path nor hidden, and not too long.
std::string fileNameFor(const Stream& stream) {
  constexpr size_t kLongest = 200;
  std::string name = stream.name.substr(0, kLongest);
  for (char& c : name)
    if (std::isalnum(static_cast<unsigned char>(c)) == 0 && c != '-' && c != '.')
      c = '_';
  if (name.empty() || name.front() == '.')
    name.insert(0, 1, '_');
  return name;
}

void createFolder(const std::string& path) {
  std::error_code error;
  std::filesystem::create_directories(path, error);
  if (error)
    throw systemError(path, error.value());
}

// The path of each stream's file. Of streams with the same name, the second and later are numbered.
std::vector<std::string> splitPaths(const File& file, const ExportRequest& request) {
  std::set<std::string> names;
  std::vector<std::string> paths;
  for (const Stream& stream : file.streams) {
    const std::string wanted = fileNameFor(stream);
    std::string name = wanted;
    for (int number = 2; !names.insert(name).second; ++number)
      name = fmt::format("{}-{}", wanted, number);
    paths.push_back(request.folder + '/' + name + '.' + request.format);
  }
  return paths;
}

} // namespace

int exportSamples(const Plugin& plugin, const ExportRequest& request) {
  NameChoice choice(request.streams);
  const File file = openChosen(plugin, request.file, choice);
  choice.expectMatches();
  if (file.streams.empty())
    throw Error(request.file + ": no stream that can be delivered");
  const bool isSplit = !request.folder.empty();
  if (isSplit)
    createFolder(request.folder);
  const std::vector<std::string> paths =
      isSplit ? splitPaths(file, request) : std::vector{request.output};
  for (const std::string& path : paths)
    expectToKeep({request.file}, path);

  // The first is opened before the file is read, which can take long.
  std::optional<Output> output(paths[0]);
  Spool spool;
  std::vector<SpooledStream> streams = readStreams(plugin, file, spool);
  const size_t together = isSplit ? 1 : streams.size(); // in one output
  for (size_t i = 0; i < paths.size(); ++i) {
    if (i > 0)
      output.emplace(paths[i]);
    const auto writeStreams = request.format == "csv" ? writeCsv : writeDoubles;
    writeStreams(std::span(streams).subspan(i * together, together), *output);
    output->commit(isSplit ? Output::OnDisk::later : Output::OnDisk::now);
  }
  if (isSplit)
    putOnDisk(request.folder);
  return kSuccess;
}

} // namespace host
