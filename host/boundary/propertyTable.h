// The properties that the boundary defines: for naming what a walk finds and for checking it.
#pragma once

#include <array>
#include <cstdint>

#include "plugin/ox_wp_plugin.h" // IWYU pragma: export

namespace host {

enum class PropertyLevel { plugin, file, section, variable };

// The index of properties of the plug-in, which depends on how many of each kind there are.
inline constexpr int kNoFixedIndex = -1;

struct PropertyDefinition {
  std::int32_t identifier;
  const char* name; // as in the boundary's header, without prefix
  PropertyLevel level;
  int index;
  std::int32_t type; // of the value
};

// Each level stands together, in the order of its indexes. Properties of the plug-in stand in the
// order in which a walk must report their kinds.
inline constexpr std::array kPropertyTable = [] {
  using enum PropertyLevel;
  constexpr std::int32_t kString = ox_wp_type_string;
  constexpr std::int32_t kInteger = ox_wp_type_integer;
  constexpr std::int32_t kDouble = ox_wp_type_double;
  return std::to_array<PropertyDefinition>({
      {ox_wp_prop_file_extension, "file_extension", plugin, kNoFixedIndex, kString},
      {ox_wp_prop_exporter, "exporter", plugin, kNoFixedIndex, kString},
      {ox_wp_prop_plugin_name, "plugin_name", plugin, kNoFixedIndex, kString},
      {ox_wp_prop_plugin_version, "plugin_version", plugin, kNoFixedIndex, kString},
      {ox_wp_prop_error_message, "error_message", plugin, kNoFixedIndex, ox_wp_type_message},

      {ox_wp_prop_file_kind, "file_kind", file, ox_wp_index_file_kind, kInteger},
      {ox_wp_prop_section_count, "section_count", file, ox_wp_index_section_count, kInteger},
      {ox_wp_prop_file_changed, "file_changed", file, ox_wp_index_file_changed, kInteger},

      {ox_wp_prop_section_kind, "section_kind", section, ox_wp_index_section_kind, kInteger},
      {ox_wp_prop_variable_count, "variable_count", section, ox_wp_index_variable_count, kInteger},
      {ox_wp_prop_section_x_label, "section_x_label", section, ox_wp_index_section_x_label,
       kString},

      {ox_wp_prop_variable_name, "variable_name", variable, ox_wp_index_variable_name, kString},
      {ox_wp_prop_variable_kind, "variable_kind", variable, ox_wp_index_variable_kind, kInteger},
      {ox_wp_prop_variable_data_type, "variable_data_type", variable,
       ox_wp_index_variable_data_type, kInteger},
      {ox_wp_prop_sample_count, "sample_count", variable, ox_wp_index_sample_count, kInteger},
      {ox_wp_prop_variable_x_label, "variable_x_label", variable, ox_wp_index_variable_x_label,
       kString},
      {ox_wp_prop_variable_y_label, "variable_y_label", variable, ox_wp_index_variable_y_label,
       kString},
      {ox_wp_prop_x_start, "x_start", variable, ox_wp_index_x_start, kDouble},
      {ox_wp_prop_x_step, "x_step", variable, ox_wp_index_x_step, kDouble},
      {ox_wp_prop_x_end, "x_end", variable, ox_wp_index_x_end, kDouble},
  });
}();

// Whether the value has a string; that of a message has a number too.
constexpr bool hasString(std::int32_t type) noexcept {
  return type == ox_wp_type_string || type == ox_wp_type_message;
}

// The definition of an identifier; null for one that the boundary does not define.
constexpr const PropertyDefinition* findProperty(std::int32_t identifier) noexcept {
  for (const PropertyDefinition& property : kPropertyTable)
    if (property.identifier == identifier)
      return &property;
  return nullptr;
}

// The name of an identifier; "unknown" for one that the boundary does not define.
constexpr const char* propertyName(std::int32_t identifier) noexcept {
  const PropertyDefinition* property = findProperty(identifier);
  return property ? property->name : "unknown";
}

} // namespace host
