// `export`: samples as CSV or as raw doubles.
//
// CSV has a column of times and one of values for each stream, side by side, as spreadsheets and
// plotting programs take them. A copy always starts at a stream's first sample, so rows across
// streams would need all streams in memory. Instead each stream is copied in turn and put aside in
// a temporary file, and the rows are merged from there: memory holds one stream, then one small
// window a stream. A single stream needs no such file.

#include <algorithm>
#include <bit>
#include <functional>
#include <span>

#include <fmt/compile.h>
#include <fmt/format.h>

#include "host/base/error.h"
#include "host/base/output.h"
#include "host/base/progress.h"
#include "host/base/spool.h"
#include "host/base/text.h"
#include "host/boundary/samples.h"
#include "host/boundary/selection.h"
#include "host/commands/commands.h"

namespace host {

namespace {

static_assert(std::endian::native == std::endian::little, "f64 is written as it is in memory");

constexpr size_t kWindow = 8192; // samples of each stream that are in memory while rows are merged
constexpr uint64_t kRowsBetweenProgress = 4096;

// Copies a stream and tells on standard error what of it is missing.
Samples takeSamples(const Plugin& plugin, const FileRecord& file, const StreamRecord& stream) {
  Samples samples = copySamples(plugin, file, stream);
  if (const std::string shortfall = samples.shortfall(); !shortfall.empty())
    reportError(printable(stream.name) + ": " + shortfall);
  return samples;
}

// The two columns of one stream. Rows are asked for in order.
class Columns {
public:
  using Read = std::function<void(uint64_t first, std::span<double> window)>;

  Columns(StreamRecord stream, uint64_t count, Read read)
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

  StreamRecord stream_;
  uint64_t count_;
  Read read_;
  std::vector<double> window_;
};

void writeRows(std::vector<Columns>& all, Output& output) {
  uint64_t rows = 0;
  std::string headings;
  for (const Columns& columns : all) {
    rows = std::max(rows, columns.count());
    headings += columns.heading() + ',';
  }
  headings.back() = '\n';
  output.write(headings);

  Progress progress("Writing rows", rows);
  fmt::memory_buffer row;
  for (uint64_t index = 0; index < rows; ++index) {
    row.clear();
    for (Columns& columns : all) {
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

void exportOneAsCsv(const Plugin& plugin, const FileRecord& file, const StreamRecord& stream,
                    Output& output) {
  const Samples samples = takeSamples(plugin, file, stream);
  const auto read = [&samples](uint64_t first, std::span<double> window) {
    std::copy_n(samples.values.begin() + static_cast<std::ptrdiff_t>(first), window.size(),
                window.begin());
  };
  std::vector<Columns> columns{{stream, samples.values.size(), read}};
  writeRows(columns, output);
}

void exportManyAsCsv(const Plugin& plugin, const FileRecord& file,
                     const std::vector<StreamRecord>& streams, Output& output) {
  Spool spool;
  std::vector<Columns> columns;
  {
    Progress progress("Reading streams", streams.size());
    for (const StreamRecord& stream : streams) {
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

void exportAsDoubles(const Plugin& plugin, const FileRecord& file,
                     const std::vector<StreamRecord>& streams, Output& output) {
  Progress progress("Writing streams", streams.size());
  uint64_t done = 0;
  for (const StreamRecord& stream : streams) {
    progress.show(done++);
    const Samples samples = takeSamples(plugin, file, stream);
    const auto bytes = std::as_bytes(std::span(samples.values));
    output.write({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  }
}

} // namespace

int exportSamples(const Plugin& plugin, const ExportRequest& request) {
  const FileRecord file = openFile(plugin, request.file);
  const std::vector<StreamRecord> streams = selectStreams(file, request.streams);
  Output output(request.output);
  if (request.format == ExportFormat::f64)
    exportAsDoubles(plugin, file, streams, output);
  else if (streams.size() == 1)
    exportOneAsCsv(plugin, file, streams.front(), output);
  else
    exportManyAsCsv(plugin, file, streams, output);
  output.commit();
  return kSuccess;
}

} // namespace host
