#include "host/boundary/walk.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <utility>

#include <unistd.h>

#include "host/base/error.h"

namespace host {

namespace {

constexpr std::array kNames = std::to_array<std::pair<int32_t, const char*>>({
    {ox_wp_prop_file_kind, "file_kind"},
    {ox_wp_prop_section_count, "section_count"},
    {ox_wp_prop_file_changed, "file_changed"},
    {ox_wp_prop_x_start, "x_start"},
    {ox_wp_prop_x_step, "x_step"},
    {ox_wp_prop_x_end, "x_end"},
    {ox_wp_prop_section_x_label, "section_x_label"},
    {ox_wp_prop_section_kind, "section_kind"},
    {ox_wp_prop_variable_count, "variable_count"},
    {ox_wp_prop_variable_name, "variable_name"},
    {ox_wp_prop_variable_x_label, "variable_x_label"},
    {ox_wp_prop_variable_y_label, "variable_y_label"},
    {ox_wp_prop_variable_kind, "variable_kind"},
    {ox_wp_prop_variable_data_type, "variable_data_type"},
    {ox_wp_prop_sample_count, "sample_count"},
    {ox_wp_prop_plugin_name, "plugin_name"},
    {ox_wp_prop_file_extension, "file_extension"},
    {ox_wp_prop_plugin_version, "plugin_version"},
    {ox_wp_prop_exporter, "exporter"},
    {ox_wp_prop_error_message, "error_message"},
});

Property copyOf(const _ox_wp_prop_type& record) {
  Property property;
  property.identifier = record.identifier;
  property.type = record.type;
  if ((record.type == ox_wp_type_string || record.type == ox_wp_type_message) &&
      record.string_value)
    property.text = record.string_value;
  property.number = record.double_value;
  property.integer = record.integer_value;
  return property;
}

// Asks index 0, 1, 2, ... until no property comes back. The identifier decides, not the status: at
// the level of the plug-in the status means nothing.
template<class Ask>
Properties walk(Ask ask) {
  Properties properties;
  for (int index = 0; index < kLongestWalk; ++index) {
    _ox_wp_prop_type record{};
    ask(index, &record);
    if (record.identifier == ox_wp_prop_none)
      break;
    properties.push_back(copyOf(record));
  }
  return properties;
}

// The property with this identifier; an empty one when it is not among them.
Property pick(const Properties& properties, int32_t identifier) {
  const auto found = std::find_if(properties.begin(), properties.end(),
                                  [&](const Property& p) { return p.identifier == identifier; });
  return found == properties.end() ? Property{} : *found;
}

StreamRecord walkStream(const Plugin& plugin, const FileRecord& file, ox_wp_section_handle section,
                        int variable) {
  StreamRecord stream;
  stream.section = section;
  stream.variable = variable;
  stream.properties = walk([&](int index, _ox_wp_prop_type* record) {
    plugin->get_variable_property(plugin.handle(), file.handle, section, variable, index, record);
  });
  const Properties& properties = stream.properties;
  stream.name = pick(properties, ox_wp_prop_variable_name).text;
  stream.sampleCount = static_cast<uint64_t>(
      std::max<int64_t>(0, pick(properties, ox_wp_prop_sample_count).integer));
  stream.start = pick(properties, ox_wp_prop_x_start).number;
  stream.interval = pick(properties, ox_wp_prop_x_step).number;
  stream.end = pick(properties, ox_wp_prop_x_end).number;
  stream.deliverable = pick(properties, ox_wp_prop_variable_data_type).integer == ox_wp_type_double;
  return stream;
}

SectionRecord walkSection(const Plugin& plugin, const FileRecord& file,
                          ox_wp_section_handle handle) {
  SectionRecord section;
  section.properties = walk([&](int index, _ox_wp_prop_type* record) {
    plugin->get_section_property(plugin.handle(), file.handle, handle, index, record);
  });
  const int64_t streams = pick(section.properties, ox_wp_prop_variable_count).integer;
  for (int variable = 0; variable < std::min<int64_t>(streams, INT_MAX); ++variable)
    section.streams.push_back(walkStream(plugin, file, handle, variable));
  return section;
}

// The boundary gives no reason for a declined file; the system may know one.
Error declined(const std::string& path) {
  if (access(path.c_str(), R_OK) != 0)
    return systemError(path);
  return Error(path + ": holds nothing that the plug-in delivers");
}

} // namespace

const char* propertyName(int32_t identifier) noexcept {
  const auto* found = std::find_if(kNames.begin(), kNames.end(),
                                   [&](const auto& name) { return name.first == identifier; });
  return found == kNames.end() ? "unknown" : found->second;
}

double StreamRecord::timeOf(uint64_t sample) const noexcept {
  return std::fma(static_cast<double>(sample), interval, start);
}

Properties walkPlugin(const Plugin& plugin) {
  return walk([&](int index, _ox_wp_prop_type* record) {
    plugin->get_plugin_property(plugin.handle(), index, record);
  });
}

FileRecord openFile(const Plugin& plugin, const std::string& path) {
  FileRecord file;
  file.path = path;
  file.handle = plugin->parse_file(plugin.handle(), path.c_str());
  if (!file.handle)
    throw declined(path);
  file.properties = walk([&](int index, _ox_wp_prop_type* record) {
    plugin->get_file_property(plugin.handle(), file.handle, index, record);
  });
  file.changed = pick(file.properties, ox_wp_prop_file_changed).integer != 0;
  const int64_t sections = pick(file.properties, ox_wp_prop_section_count).integer;
  for (int index = 0; index < std::min<int64_t>(sections, INT_MAX); ++index) {
    ox_wp_section_handle section = plugin->get_section_handle(plugin.handle(), file.handle, index);
    if (!section)
      throw Error(path + ": the plug-in does not hand out section " + std::to_string(index));
    file.sections.push_back(walkSection(plugin, file, section));
  }
  return file;
}

} // namespace host
