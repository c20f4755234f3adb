#include <cmath>

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include "host/boundary/propertyTable.h"
#include "host/listing/listing.h"

namespace host {

namespace {

using Json = nlohmann::ordered_json; // keeps the order in which a reader expects the keys

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
    json["value"] = property.text;
    break;
  case ox_wp_type_message:
    json["value"] = {{"code", property.integer}, {"text", property.text}};
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

Json streamJson(const StreamRecord& stream, const SampleSummary& samples) {
  return {{"section", stream.section},
          {"variable", stream.variable},
          {"properties", propertiesJson(stream.properties)},
          {"deliverable", stream.deliverable},
          {"samples_found", samples.found},
          {"first_sample", optionalJson(samples.first)},
          {"last_sample", optionalJson(samples.last)}};
}

class JsonListing : public Listing {
public:
  explicit JsonListing(Output& output) : output_(output) {}

  void begin(const Properties& plugin) override {
    document_["plugin"] = {{"properties", propertiesJson(plugin)}};
    document_["files"] = Json::array();
  }

  void file(const ListedFile& file) override {
    Json sections = Json::array();
    for (const Properties& section : file.record.sections)
      sections.push_back({{"properties", propertiesJson(section)}});
    Json streams = Json::array();
    for (size_t i = 0; i < file.samples.size(); ++i)
      streams.push_back(streamJson(file.record.streams[i], file.samples[i]));
    document_["files"].push_back({{"path", file.record.path},
                                  {"properties", propertiesJson(file.record.properties)},
                                  {"sections", std::move(sections)},
                                  {"streams", std::move(streams)}});
  }

  void failure(const std::string& path, const std::string& reason) override {
    document_["files"].push_back({{"path", path}, {"error", reason}});
  }

  void end() override {
    // Names can hold any bytes; JSON is UTF-8.
    output_.write(document_.dump(2, ' ', false, Json::error_handler_t::replace) + '\n');
  }

private:
  Output& output_;
  Json document_;
};

} // namespace

std::unique_ptr<Listing> jsonListing(Output& output) {
  return std::make_unique<JsonListing>(output);
}

} // namespace host
