// The properties that the boundary defines: for naming what a walk finds and for checking it.
#pragma once

#include <array>
#include <cstdint>

#include "plugin/ox_wp_plugin.h"

namespace host {

enum class PropertyLevel { plugin, file, section, variable };

// The index of properties of the plug-in, which depends on how many of each kind there are.
inline constexpr int kNoFixedIndex = -1;

struct PropertyDefinition {
  int32_t identifier;
  const char* name; // as in the boundary's header, without prefix
  PropertyLevel level;
  int index;
  int32_t type; // of the value
};

// Each level stands together, in the order of its indexes. Properties of the plug-in stand in the
// order in which a walk must report their kinds.
inline constexpr std::array kPropertyTable = std::to_array<PropertyDefinition>({
    {ox_wp_prop_file_extension, "file_extension", PropertyLevel::plugin, kNoFixedIndex,
     ox_wp_type_string},
    {ox_wp_prop_exporter, "exporter", PropertyLevel::plugin, kNoFixedIndex, ox_wp_type_string},
    {ox_wp_prop_plugin_name, "plugin_name", PropertyLevel::plugin, kNoFixedIndex,
     ox_wp_type_string},
    {ox_wp_prop_plugin_version, "plugin_version", PropertyLevel::plugin, kNoFixedIndex,
     ox_wp_type_string},
    {ox_wp_prop_error_message, "error_message", PropertyLevel::plugin, kNoFixedIndex,
     ox_wp_type_message},

    {ox_wp_prop_file_kind, "file_kind", PropertyLevel::file, ox_wp_index_file_kind,
     ox_wp_type_integer},
    {ox_wp_prop_section_count, "section_count", PropertyLevel::file, ox_wp_index_section_count,
     ox_wp_type_integer},
    {ox_wp_prop_file_changed, "file_changed", PropertyLevel::file, ox_wp_index_file_changed,
     ox_wp_type_integer},

    {ox_wp_prop_section_kind, "section_kind", PropertyLevel::section, ox_wp_index_section_kind,
     ox_wp_type_integer},
    {ox_wp_prop_variable_count, "variable_count", PropertyLevel::section,
     ox_wp_index_variable_count, ox_wp_type_integer},
    {ox_wp_prop_section_x_label, "section_x_label", PropertyLevel::section,
     ox_wp_index_section_x_label, ox_wp_type_string},

    {ox_wp_prop_variable_name, "variable_name", PropertyLevel::variable, ox_wp_index_variable_name,
     ox_wp_type_string},
    {ox_wp_prop_variable_kind, "variable_kind", PropertyLevel::variable, ox_wp_index_variable_kind,
     ox_wp_type_integer},
    {ox_wp_prop_variable_data_type, "variable_data_type", PropertyLevel::variable,
     ox_wp_index_variable_data_type, ox_wp_type_integer},
    {ox_wp_prop_sample_count, "sample_count", PropertyLevel::variable, ox_wp_index_sample_count,
     ox_wp_type_integer},
    {ox_wp_prop_variable_x_label, "variable_x_label", PropertyLevel::variable,
     ox_wp_index_variable_x_label, ox_wp_type_string},
    {ox_wp_prop_variable_y_label, "variable_y_label", PropertyLevel::variable,
     ox_wp_index_variable_y_label, ox_wp_type_string},
    {ox_wp_prop_x_start, "x_start", PropertyLevel::variable, ox_wp_index_x_start,
     ox_wp_type_double},
    {ox_wp_prop_x_step, "x_step", PropertyLevel::variable, ox_wp_index_x_step, ox_wp_type_double},
    {ox_wp_prop_x_end, "x_end", PropertyLevel::variable, ox_wp_index_x_end, ox_wp_type_double},
});

// The definition of an identifier; null for one that the boundary does not define.
constexpr const PropertyDefinition* findProperty(int32_t identifier) noexcept {
  for (const PropertyDefinition& property : kPropertyTable)
    if (property.identifier == identifier)
      return &property;
  return nullptr;
}

// The name of an identifier; "unknown" for one that the boundary does not define.
constexpr const char* propertyName(int32_t identifier) noexcept {
  const PropertyDefinition* property = findProperty(identifier);
  return property ? property->name : "unknown";
}

} // namespace host
