// `export`: samples as CSV or as raw doubles.
//
// CSV has a column of times and one of values for each stream, side by side, as spreadsheets and
// plotting programs take them. A copy always starts at a stream's first sample, so rows of several
// streams would need all streams in memory. Instead each stream is copied in turn into a temporary
// file, and the rows are merged from there: one stream is in memory, then one small window of each
// stream. A single stream needs no such file.

#include <algorithm>
#include <bit>
#include <cctype>
#include <filesystem>
#include <functional>
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
#include "host/commands/commands.h"
#include "host/commands/input.h"

namespace host {

namespace {

static_assert(std::endian::native == std::endian::little, "f64 is written as it is in memory");

constexpr size_t kWindow = 8192; // samples of each stream that are in memory while rows are merged
constexpr uint64_t kRowsBetweenProgress = 4096;

// Copies a stream and reports on standard error what of it is missing.
Samples takeSamples(const Plugin& plugin, const File& file, const Stream& stream) {
  Samples samples = copySamples(plugin, file, stream);
  if (const std::string shortfall = samples.shortfall(); !shortfall.empty())
    reportError(printable(stream.name) + ": " + shortfall);
  return samples;
}

// The two columns of one stream.
// REQUIRES: rows are written in order.
class StreamColumns {
public:
  using Read = std::function<void(uint64_t first, std::span<double> window)>;

  StreamColumns(Stream stream, uint64_t count, Read read)
      : stream_(std::move(stream)), count_(count), read_(std::move(read)) {}

  uint64_t count() const noexcept { return count_; }

  std::string heading() const {
    return csvField(stream_.name + " time_s") + ',' + csvField(stream_.name + " value");
  }

  // Both cells are empty behind the last sample, the time also where the sample rate is unknown.
  void writeCells(fmt::memory_buffer& row, uint64_t index) {
    const auto out = std::back_inserter(row);
    if (index < count_ && stream_.interval != 0)
      fmt::format_to(out, FMT_COMPILE("{}"), stream_.timeOf(index));
    row.push_back(',');
    if (index < count_)
      fmt::format_to(out, FMT_COMPILE("{}"), valueAt(index));
  }

private:
  double valueAt(uint64_t index) {
    const size_t inWindow = index % kWindow;
    if (inWindow == 0) {
      window_.resize(std::min<uint64_t>(kWindow, count_ - index));
      read_(index, window_);
    }
    return window_[inWindow];
  }

  Stream stream_;
  uint64_t count_;
  Read read_;
  std::vector<double> window_;
};

void writeRows(std::vector<StreamColumns>& all, Output& output) {
  uint64_t rows = 0;
  std::string headings;
  for (const StreamColumns& columns : all) {
    rows = std::max(rows, columns.count());
    headings += columns.heading() + ',';
  }
  headings.back() = '\n';
  output.write(headings);

  Progress progress("Writing rows", rows);
  fmt::memory_buffer row;
  for (uint64_t index = 0; index < rows; ++index) {
    row.clear();
    for (StreamColumns& columns : all) {
      if (row.size() != 0)
        row.push_back(',');
      columns.writeCells(row, index);
    }
    row.push_back('\n');
    output.write({row.data(), row.size()});
    if (index % kRowsBetweenProgress == 0)
      progress.show(index);
  }
}

void exportOneAsCsv(const Stream& stream, const Samples& samples, Output& output) {
  const auto read = [&samples](uint64_t first, std::span<double> window) {
    std::copy_n(samples.values.begin() + static_cast<std::ptrdiff_t>(first), window.size(),
                window.begin());
  };
  std::vector<StreamColumns> columns{{stream, samples.values.size(), read}};
  writeRows(columns, output);
}

void exportManyAsCsv(const Plugin& plugin, const File& file, Output& output) {
  Spool spool;
  std::vector<StreamColumns> columns;
  {
    Progress progress("Reading streams", file.streams.size());
    for (const Stream& stream : file.streams) {
      progress.show(columns.size());
      const Samples samples = takeSamples(plugin, file, stream);
      const uint64_t position = spool.append(samples.values);
      columns.emplace_back(stream, samples.values.size(),
                           [&spool, position](uint64_t first, std::span<double> window) {
                             spool.read(position + first, window);
                           });
    }
  }
  writeRows(columns, output);
}

void exportOneAsDoubles(const Samples& samples, Output& output) {
  const auto bytes = std::as_bytes(std::span(samples.values));
  output.write({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

void exportManyAsDoubles(const Plugin& plugin, const File& file, Output& output) {
  Progress progress("Writing streams", file.streams.size());
  uint64_t done = 0;
  for (const Stream& stream : file.streams) {
    progress.show(done++);
    exportOneAsDoubles(takeSamples(plugin, file, stream), output);
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

// Writes a file for each stream. Of streams with the same name, the second and later are numbered.
void exportSplit(const Plugin& plugin, const File& file, const ExportRequest& request) {
  const bool isCsv = request.format == ExportFormat::csv;
  std::error_code error;
  std::filesystem::create_directories(request.folder, error);
  if (error)
    throw systemError(request.folder, error.value());
  std::set<std::string> names;
  Progress progress("Writing streams", file.streams.size());
  for (const Stream& stream : file.streams) {
    progress.show(names.size());
    const std::string wanted = fileNameFor(stream);
    std::string name = wanted;
    for (int number = 2; !names.insert(name).second; ++number)
      name = fmt::format("{}-{}", wanted, number);
    const std::string path = request.folder + '/' + name + (isCsv ? ".csv" : ".f64");
    expectToKeep({request.file}, path);
    Output output(path);
    const Samples samples = takeSamples(plugin, file, stream);
    if (isCsv)
      exportOneAsCsv(stream, samples, output);
    else
      exportOneAsDoubles(samples, output);
    output.commit();
  }
}

void exportTogether(const Plugin& plugin, const File& file, const ExportRequest& request) {
  expectToKeep({request.file}, request.output);
  Output output(request.output);
  if (request.format == ExportFormat::f64)
    exportManyAsDoubles(plugin, file, output);
  else if (file.streams.size() == 1)
    exportOneAsCsv(file.streams[0], takeSamples(plugin, file, file.streams[0]), output);
  else
    exportManyAsCsv(plugin, file, output);
  expectUnchanged(plugin, file);
  output.commit();
}

} // namespace

int exportSamples(const Plugin& plugin, const ExportRequest& request) {
  StreamChoice choice(request.streams);
  const File file = openChosen(plugin, request.file, choice);
  choice.expectMatches();
  if (file.streams.empty())
    throw Error(request.file + ": no stream that can be delivered");
  announceCost(file);
  if (request.folder.empty())
    exportTogether(plugin, file, request);
  else
    exportSplit(plugin, file, request);
  return kSuccess;
}

} // namespace host
