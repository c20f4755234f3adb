// `list` as JSON: every property, and the most used ones by name.

#include <cmath>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "host/boundary/propertyTable.h"
#include "host/listing/listing.h"

namespace host {

namespace {

using Json = nlohmann::ordered_json; // keeps the keys in the order in which they are set

Json numberJson(double value) {
  return std::isfinite(value) ? Json(value) : Json(fmt::format("{}", value));
}

Json optionalJson(const std::optional<double>& value) {
  return value ? numberJson(*value) : Json(nullptr);
}

Json propertyJson(const Property& property) {
  Json json = {{"identifier", property.identifier}, {"name", propertyName(property.identifier)}};
  switch (property.type) {
  case ox_wp_type_string:
    json["value"] = property.string;
    break;
  case ox_wp_type_message:
    json["value"] = {{"code", property.integer}, {"text", property.string}};
    break;
  case ox_wp_type_double:
    json["value"] = numberJson(property.number);
    break;
  case ox_wp_type_integer:
    json["value"] = property.integer;
    break;
  default:
    json["value"] = nullptr;
    json["type"] = property.type;
  }
  return json;
}

Json propertiesJson(const Properties& properties) {
  Json json = Json::array();
  for (const Property& property : properties)
    json.push_back(propertyJson(property));
  return json;
}

Json streamJson(const Stream& stream) {
  return {{"section", stream.sectionIndex},
          {"variable", stream.variable},
          {"name", stream.name},
          {"samples", stream.sampleCount},
          {"rate", stream.interval == 0 ? Json(nullptr) : numberJson(stream.sampleRate())},
          {"start", numberJson(stream.start)},
          {"end", numberJson(stream.end)},
          {"type", stream.deliverable ? "double" : "none"},
          {"properties", propertiesJson(stream.properties)}};
}

class JsonListing : public Listing {
public:
  explicit JsonListing(Output& output) : output_(output) {}

  void begin(const Properties& plugin) override {
    output_.write("{\"plugin\": " + dumped({{"properties", propertiesJson(plugin)}}) +
                  ",\n\"files\": [");
  }

  void file(const File& file, const SampleSummaries& samples) override {
    Json sections = Json::array();
    for (const Properties& section : file.sections)
      sections.push_back({{"properties", propertiesJson(section)}});
    Json streams = Json::array();
    for (const Stream& stream : file.streams)
      streams.push_back(streamJson(stream));
    for (size_t i = 0; i < samples.size(); ++i) {
      streams[i]["samples_found"] = samples[i].found;
      streams[i]["first_sample"] = optionalJson(samples[i].first);
      streams[i]["last_sample"] = optionalJson(samples[i].last);
    }
    writeElement({{"path", file.path},
                  {"properties", propertiesJson(file.properties)},
                  {"sections", std::move(sections)},
                  {"streams", std::move(streams)}});
  }

  void failure(const std::string& path, const std::string& reason) override {
    writeElement({{"path", path}, {"error", reason}});
  }

  void end() override { output_.write("]}\n"); }

private:
  // Names can hold any bytes; JSON is UTF-8.
  static std::string dumped(const Json& json) {
    return json.dump(2, ' ', false, Json::error_handler_t::replace);
  }

  void writeElement(const Json& json) {
    output_.write((isFirst_ ? "" : ",\n") + dumped(json));
    isFirst_ = false;
  }

  Output& output_;
  bool isFirst_ = true;
};

} // namespace

std::unique_ptr<Listing> jsonListing(Output& output) {
  return std::make_unique<JsonListing>(output);
}

} // namespace host
