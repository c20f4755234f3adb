#include "host/listing/listing.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "host/base/messages.h"
#include "host/boundary/propertyTable.h"

namespace host {

namespace {

// Table

struct Column {
  const char* heading;
  bool isLeftAligned;
};

// The first only where a file has several sections, the last four only where there are samples.
constexpr std::array kColumns = std::to_array<Column>({
    {"section", false},
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

// Ten digits suffice for people; the other formats have all of them.
std::string shortNumber(const std::optional<double>& value) {
  return value ? fmt::format("{:.10g}", *value) : "-";
}

Row tableRow(const File& file, const Stream& stream) {
  return {file.sections.size() > 1 ? std::to_string(stream.sectionIndex) : "",
          printable(stream.name()),
          std::to_string(stream.sampleCount()),
          stream.interval() == 0 ? "unknown" : shortNumber(stream.sampleRate()),
          fmt::format("{:.6f}", stream.start()),
          fmt::format("{:.6f}", stream.end()),
          stream.isDeliverable() ? "yes" : "no"};
}

// Columns without a value are left out.
std::string aligned(const std::vector<Row>& rows) {
  std::vector<std::string> lines(rows.size() + 1);
  for (std::size_t i = 0; i < kColumns.size(); ++i) {
    std::size_t widest = 0;
    for (const Row& row : rows)
      widest = std::max(widest, width(row[i]));
    if (widest == 0)
      continue;
    widest = std::max(widest, width(kColumns[i].heading));
    const auto layout = fmt::runtime(kColumns[i].isLeftAligned ? "  {:<{}}" : "  {:>{}}");
    lines[0] += fmt::format(layout, kColumns[i].heading, widest);
    for (std::size_t row = 0; row < rows.size(); ++row)
      lines[row + 1] += fmt::format(layout, rows[row][i], widest);
  }
  std::string result;
  for (const std::string& line : lines)
    result += line.substr(0, line.find_last_not_of(' ') + 1) + '\n';
  return result;
}

std::string tableFile(const File& file, const SampleSummaries& samples, const std::string& error) {
  if (!error.empty())
    return {};
  std::vector<Row> rows(file.streams.size());
  std::ranges::transform(file.streams, rows.begin(),
                         [&](const Stream& stream) { return tableRow(file, stream); });
  for (std::size_t i = 0; i < samples.size(); ++i) {
    rows[i][kColumns.size() - 3] = shortNumber(samples[i].first);
    rows[i][kColumns.size() - 2] = shortNumber(samples[i].last);
    rows[i][kColumns.size() - 1] = samples[i].shortfall;
  }
  return fmt::format("{}: {} stream{}\n", printable(file.name), rows.size(),
                     rows.size() == 1 ? "" : "s") +
         (rows.empty() ? "" : aligned(rows));
}

std::string noOpening(const Properties& /*plugin*/, bool /*hasSamples*/) {
  return {};
}

// JSON

using Json = nlohmann::ordered_json; // keeps the keys in the order in which they are set

Json numberJson(const std::optional<double>& value) {
  if (!value)
    return nullptr;
  return std::isfinite(*value) ? Json(*value) : Json(fmt::format("{}", *value));
}

Json valueJson(const Property& property) {
  switch (property.type) {
  case ox_wp_type_string:
    return property.string;
  case ox_wp_type_message:
    return {{"code", property.integer}, {"text", property.string}};
  case ox_wp_type_double:
    return numberJson(property.number);
  case ox_wp_type_integer:
    return property.integer;
  default:
    return nullptr;
  }
}

Json propertiesJson(const Properties& properties) {
  Json json = Json::array();
  for (const Property& property : properties) {
    Json& added = json.emplace_back(Json{{"identifier", property.identifier},
                                         {"name", propertyName(property.identifier)},
                                         {"value", valueJson(property)}});
    if (added["value"].is_null()) // of a type that this host does not know
      added["type"] = property.type;
  }
  return json;
}

// The properties that have a field of their own in the JSON of a stream.
constexpr std::array kFields = {ox_wp_prop_variable_name, ox_wp_prop_sample_count,
                                ox_wp_prop_x_step,        ox_wp_prop_x_start,
                                ox_wp_prop_x_end,         ox_wp_prop_variable_data_type};

Json streamJson(const Stream& stream) {
  Properties others = stream.properties;
  std::erase_if(others, [](const Property& property) {
    return std::ranges::count(kFields, property.identifier) > 0;
  });
  return {{"section", stream.sectionIndex},
          {"variable", stream.variable},
          {"name", stream.name()},
          {"samples", stream.sampleCount()},
          {"interval", numberJson(stream.interval())},
          {"rate", stream.interval() == 0 ? Json(nullptr) : numberJson(stream.sampleRate())},
          {"start", numberJson(stream.start())},
          {"end", numberJson(stream.end())},
          {"type", stream.isDeliverable() ? "double" : "none"},
          {"properties", propertiesJson(others)}};
}

// Names can hold any bytes; JSON is UTF-8.
std::string dumped(const Json& json) {
  return json.dump(2, ' ', false, Json::error_handler_t::replace);
}

std::string jsonOpening(const Properties& plugin, bool /*hasSamples*/) {
  return "{\"plugin\": " + dumped({{"properties", propertiesJson(plugin)}}) + ",\n\"files\": [";
}

std::string jsonFile(const File& file, const SampleSummaries& samples, const std::string& error) {
  Json streams = Json::array();
  if (!error.empty())
    return dumped({{"path", file.name}, {"error", error}, {"streams", streams}});
  for (const Stream& stream : file.streams)
    streams.push_back(streamJson(stream));
  for (std::size_t i = 0; i < samples.size(); ++i) {
    streams[i]["samples_found"] = samples[i].found;
    streams[i]["first_sample"] = numberJson(samples[i].first);
    streams[i]["last_sample"] = numberJson(samples[i].last);
  }
  Json sections = Json::array();
  for (const Properties& section : file.sections)
    sections.push_back({{"properties", propertiesJson(section)}});
  return dumped({{"path", file.name},
                 {"properties", propertiesJson(file.properties)},
                 {"sections", std::move(sections)},
                 {"streams", std::move(streams)}});
}

// CSV

std::string csvOpening(const Properties& /*plugin*/, bool hasSamples) {
  return std::string("file,section,variable,name,samples,sample_interval_s,sample_rate_hz,start_s,"
                     "end_s,deliverable") +
         (hasSamples ? ",samples_found,first_sample,last_sample\n" : "\n");
}

// Shortest digits that read back as the same double; empty when there is no value.
std::string exactNumber(const std::optional<double>& value) {
  return value ? fmt::format("{}", *value) : "";
}

std::string csvFile(const File& file, const SampleSummaries& samples,
                    const std::string& /*error*/) {
  std::string rows;
  for (std::size_t i = 0; i < file.streams.size(); ++i) {
    const Stream& stream = file.streams[i];
    // The rate is computed from the interval: 15 digits drop what that division adds.
    rows +=
        fmt::format("{},{},{},{},{},{},{:.15g},{},{},{}", csvField(file.name), stream.sectionIndex,
                    stream.variable, csvField(stream.name()), stream.sampleCount(),
                    stream.interval(), stream.sampleRate(), toNanosecond(stream.start()),
                    toNanosecond(stream.end()), stream.isDeliverable() ? "yes" : "no");
    if (!samples.empty())
      rows += fmt::format(",{},{},{}", samples[i].found, exactNumber(samples[i].first),
                          exactNumber(samples[i].last));
    rows += '\n';
  }
  return rows;
}

} // namespace

const Format& formatNamed(const std::string& name) {
  static const std::map<std::string, Format> formats = {
      {"table", {noOpening, tableFile, "\n", ""}},
      {"json", {jsonOpening, jsonFile, ",\n", "]}\n"}},
      {"csv", {csvOpening, csvFile, "", ""}}};
  return formats.at(name);
}

} // namespace host
