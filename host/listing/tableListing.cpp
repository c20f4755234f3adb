// `list` as a table for people.

#include <algorithm>
#include <array>

#include <fmt/format.h>

#include "host/base/strings.h"
#include "host/listing/listing.h"

namespace host {

namespace {

struct Column {
  const char* heading;
  bool isLeftAligned;
};

// The last three only where there are samples.
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

using Row = std::vector<std::string>;

// Ten digits suffice for people; the other formats have all of them.
std::string shortNumber(double value) {
  return fmt::format("{:.10g}", value);
}

std::string shortNumber(const std::optional<double>& value) {
  return value ? shortNumber(*value) : "-";
}

Row rowOf(const Stream& stream) {
  return {printable(stream.name),
          std::to_string(stream.sampleCount),
          stream.interval == 0 ? "unknown" : shortNumber(stream.sampleRate()),
          fmt::format("{:.6f}", stream.start),
          fmt::format("{:.6f}", stream.end),
          stream.deliverable ? "yes" : "no"};
}

void append(Row& row, const SampleSummary& samples) {
  row.push_back(shortNumber(samples.first));
  row.push_back(shortNumber(samples.last));
  row.push_back(samples.shortfall);
}

std::vector<std::string> aligned(const std::vector<Row>& rows) {
  std::array<size_t, kColumns.size()> widths{};
  for (const Row& row : rows)
    for (size_t i = 0; i < row.size(); ++i)
      widths[i] = std::max(widths[i], width(row[i]));
  std::vector<std::string> lines;
  for (const Row& row : rows) {
    std::string& line = lines.emplace_back();
    for (size_t i = 0; i < row.size(); ++i) {
      const std::string padding(widths[i] - width(row[i]), ' ');
      line += "  " + (kColumns[i].isLeftAligned ? row[i] + padding : padding + row[i]);
    }
    line.erase(line.find_last_not_of(' ') + 1);
  }
  return lines;
}

class Table : public Listing {
public:
  explicit Table(Output& output) : output_(output) {}

  void file(const File& file, const SampleSummaries& samples) override {
    if (!isFirst_)
      output_.write("\n");
    isFirst_ = false;
    for (const std::string& line : tableLines(file, samples))
      output_.write(line + '\n');
  }

private:
  Output& output_;
  bool isFirst_ = true;
};

} // namespace

std::vector<std::string> tableLines(const File& file, const SampleSummaries& samples) {
  std::vector<std::string> lines = {fmt::format("{}: {} stream{}", printable(file.path),
                                                file.streams.size(),
                                                file.streams.size() == 1 ? "" : "s")};
  if (file.streams.empty())
    return lines;
  std::vector<Row> rows(1);
  for (const Stream& stream : file.streams)
    rows.push_back(rowOf(stream));
  for (size_t i = 0; i < samples.size(); ++i)
    append(rows[i + 1], samples[i]);
  for (size_t i = 0; i < rows.back().size(); ++i)
    rows[0].emplace_back(kColumns[i].heading);
  for (std::string& line : aligned(rows))
    lines.push_back(std::move(line));
  return lines;
}

std::unique_ptr<Listing> tableListing(Output& output) {
  return std::make_unique<Table>(output);
}

} // namespace host
