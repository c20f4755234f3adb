#include "host/boundary/walk.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <sys/stat.h>

#include "host/base/error.h"
#include "host/boundary/path.h"
#include "host/boundary/propertyTable.h"

namespace host {

namespace {

Property copyOf(const _ox_wp_prop_type& record) {
  Property property;
  property.identifier = record.identifier;
  property.type = record.type;
  if (hasString(record.type) && record.string_value)
    property.string = record.string_value;
  property.number = record.double_value;
  property.integer = record.integer_value;
  return property;
}

// Reads index 0, 1, 2 and so on until no property is delivered. The identifier decides, not the
// status: at the level of the plug-in the status means nothing.
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

// The property with this identifier; an empty one when there is none.
Property pick(const Properties& properties, int32_t identifier) {
  const auto found = std::find_if(properties.begin(), properties.end(),
                                  [&](const Property& p) { return p.identifier == identifier; });
  return found == properties.end() ? Property{} : *found;
}

Stream walkStream(const Plugin& plugin, const File& file, ox_wp_section_handle section,
                  int variable) {
  Stream stream;
  stream.sectionIndex = static_cast<int>(file.sections.size()) - 1;
  stream.section = section;
  stream.variable = variable;
  stream.properties = walk([&](int index, _ox_wp_prop_type* record) {
    plugin->get_variable_property(plugin.handle(), file.handle, section, variable, index, record);
  });
  const Properties& properties = stream.properties;
  stream.name = pick(properties, ox_wp_prop_variable_name).string;
  stream.xLabel = pick(properties, ox_wp_prop_variable_x_label).string;
  stream.yLabel = pick(properties, ox_wp_prop_variable_y_label).string;
  stream.sampleCount = static_cast<uint64_t>(
      std::max<int64_t>(0, pick(properties, ox_wp_prop_sample_count).integer));
  stream.start = pick(properties, ox_wp_prop_x_start).number;
  stream.interval = pick(properties, ox_wp_prop_x_step).number;
  stream.end = pick(properties, ox_wp_prop_x_end).number;
  stream.deliverable = pick(properties, ox_wp_prop_variable_data_type).integer == ox_wp_type_double;
  return stream;
}

// Appends the section and its streams to the file's.
void walkSection(const Plugin& plugin, File& file, ox_wp_section_handle section) {
  file.sections.push_back(walk([&](int index, _ox_wp_prop_type* record) {
    plugin->get_section_property(plugin.handle(), file.handle, section, index, record);
  }));
  const int64_t streams = pick(file.sections.back(), ox_wp_prop_variable_count).integer;
  for (int variable = 0; variable < std::min<int64_t>(streams, INT_MAX); ++variable)
    file.streams.push_back(walkStream(plugin, file, section, variable));
}

// What the system knows of the reason is the plainest.
Error declined(const Plugin& plugin, const File& file) {
  std::string reason = whyUnreadable(file.path);
  if (reason.empty())
    reason = file.path + (file.size == 0 ? ": an empty file" : ": declined by the plug-in");
  return Error(reason + pluginMessages(plugin));
}

} // namespace

double Stream::timeOf(uint64_t sample) const noexcept {
  return std::fma(static_cast<double>(sample), interval, start);
}

double toNanosecond(double seconds) noexcept {
  constexpr double kNanoseconds = 1e9;             // of a second
  constexpr double kExact = 0x1p53 / kNanoseconds; // beyond it a double is coarser than that
  return std::abs(seconds) < kExact ? std::round(seconds * kNanoseconds) / kNanoseconds : seconds;
}

Properties walkPlugin(const Plugin& plugin) {
  return walk([&](int index, _ox_wp_prop_type* record) {
    plugin->get_plugin_property(plugin.handle(), index, record);
  });
}

std::string pluginMessages(const Plugin& plugin) {
  std::vector<std::string> messages;
  if (const char* error = plugin->get_error_message(plugin.handle()); error && *error != '\0')
    messages.emplace_back(error);
  for (const Property& property : walkPlugin(plugin))
    if (property.identifier == ox_wp_prop_error_message)
      messages.push_back(fmt::format("{} ({})", property.string, property.integer));
  return messages.empty() ? "" : fmt::format("; the plug-in says: {}", fmt::join(messages, "; "));
}

File openFile(const Plugin& plugin, const std::string& path) {
  File file;
  file.path = path;
  if (struct stat status{}; stat(path.c_str(), &status) == 0)
    file.size = static_cast<uint64_t>(status.st_size);
  file.handle = plugin->parse_file(plugin.handle(), path.c_str());
  if (!file.handle)
    throw declined(plugin, file);
  file.properties = walk([&](int index, _ox_wp_prop_type* record) {
    const int unread = index < ox_wp_index_file_changed ? index : index + 1;
    plugin->get_file_property(plugin.handle(), file.handle, unread, record);
  });
  const int64_t sections = pick(file.properties, ox_wp_prop_section_count).integer;
  for (int index = 0; index < std::min<int64_t>(sections, INT_MAX); ++index) {
    ox_wp_section_handle section = plugin->get_section_handle(plugin.handle(), file.handle, index);
    if (!section)
      throw Error(path + ": the plug-in returns no handle for section " + std::to_string(index));
    walkSection(plugin, file, section);
  }
  return file;
}

bool hasChanged(const Plugin& plugin, ox_wp_file_handle file) {
  _ox_wp_prop_type record{};
  plugin->get_file_property(plugin.handle(), file, ox_wp_index_file_changed, &record);
  return record.identifier == ox_wp_prop_file_changed && record.integer_value != 0;
}

void expectUnchanged(const Plugin& plugin, const File& file) {
  if (hasChanged(plugin, file.handle))
    throw Error(file.path + ": changed while it was read");
}

} // namespace host
