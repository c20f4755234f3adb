#include <cmath>

#include <fmt/core.h>
#include <nlohmann/json.hpp>

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

Json streamJson(const ListedStream& stream) {
  const SampleSummary& samples = stream.samples;
  return {{"properties", propertiesJson(stream.record.properties)},
          {"deliverable", stream.record.deliverable},
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
    for (const SectionRecord& section : file.record.sections)
      sections.push_back(
          {{"properties", propertiesJson(section.properties)}, {"variables", Json::array()}});
    for (const ListedStream& stream : file.streams)
      sections[static_cast<size_t>(stream.section)]["variables"].push_back(streamJson(stream));
    document_["files"].push_back({{"path", file.record.path},
                                  {"properties", propertiesJson(file.record.properties)},
                                  {"sections", std::move(sections)}});
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
