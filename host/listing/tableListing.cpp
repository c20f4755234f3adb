#include <algorithm>
#include <array>

#include <fmt/core.h>

#include "host/base/text.h"
#include "host/listing/listing.h"

namespace host {

namespace {

struct Column {
  const char* heading;
  bool isText;
};

constexpr std::array kColumns = std::to_array<Column>({
    {"name", true},
    {"samples", false},
    {"rate (Hz)", false},
    {"start (s)", false},
    {"end (s)", false},
    {"deliverable", true},
    {"first sample", false},
    {"last sample", false},
    {"", true}, // what is missing
});

using Row = std::array<std::string, kColumns.size()>;

// As many digits as people compare by eye; the other shapes have all of them.
std::string shortNumber(double value) {
  return fmt::format("{:.10g}", value);
}

std::string shortNumber(const std::optional<double>& value) {
  return value ? shortNumber(*value) : "-";
}

Row rowOf(const StreamRecord& record, const SampleSummary& samples) {
  return {printable(record.name),
          std::to_string(record.sampleCount),
          record.interval == 0 ? "unknown" : shortNumber(record.sampleRate()),
          fmt::format("{:.6f}", record.start),
          fmt::format("{:.6f}", record.end),
          record.deliverable ? "yes" : "no",
          shortNumber(samples.first),
          shortNumber(samples.last),
          record.deliverable ? samples.shortfall : ""};
}

// The number of characters: bytes that do not continue one.
size_t width(const std::string& text) {
  return static_cast<size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

class Table : public Listing {
public:
  explicit Table(Output& output) : output_(output) {}

  void file(const ListedFile& file) override {
    output_.write(fmt::format("{}{}: {} stream{}\n", first_ ? "" : "\n",
                              printable(file.record.path), file.samples.size(),
                              file.samples.size() == 1 ? "" : "s"));
    first_ = false;
    if (file.samples.empty())
      return;
    std::vector<Row> rows(1);
    std::transform(kColumns.begin(), kColumns.end(), rows[0].begin(),
                   [](const Column& column) { return column.heading; });
    for (size_t i = 0; i < file.samples.size(); ++i)
      rows.push_back(rowOf(file.record.streams[i], file.samples[i]));
    writeAligned(rows);
  }

private:
  void writeAligned(const std::vector<Row>& rows) {
    std::array<size_t, kColumns.size()> widths{};
    for (const Row& row : rows)
      for (size_t i = 0; i < row.size(); ++i)
        widths[i] = std::max(widths[i], width(row[i]));
    for (const Row& row : rows) {
      std::string line;
      for (size_t i = 0; i < row.size(); ++i) {
        const std::string padding(widths[i] - width(row[i]), ' ');
        line += "  " + (kColumns[i].isText ? row[i] + padding : padding + row[i]);
      }
      line.erase(line.find_last_not_of(' ') + 1);
      output_.write(line + '\n');
    }
  }

  Output& output_;
  bool first_ = true;
};

} // namespace

std::unique_ptr<Listing> tableListing(Output& output) {
  return std::make_unique<Table>(output);
}

} // namespace host
