#include "host/boundary/file.h"

#include <algorithm>
#include <set>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/base/messages.h"
#include "host/base/terminal.h"
#include "host/boundary/propertyTable.h"

namespace host {

namespace {

constexpr std::uint64_t kSamplesPerByte = 2; // the densest encoding of miniSEED has 1.75
constexpr std::uint64_t kSmallestRoom = std::uint64_t{1} << 20;

struct stat stateOf(const std::string& path) {
  struct stat state{}; // stays all zero where there is no file
  (void)stat(path.c_str(), &state);
  return state;
}

// Reads index 0, 1, 2 and so on, but for one that is left out, until no property is delivered. The
// identifier decides, not the status: at the level of the plug-in the status means nothing.
template<int kLeftOut = -1, class Slot, class... Owner>
Properties walk(const Plugin& plugin, Slot slot, Owner... owner) {
  Properties properties;
  for (int index = 0; index < kLongestWalk; ++index) {
    if (index == kLeftOut)
      continue;
    _ox_wp_prop_type record{};
    plugin.call(slot, owner..., index, &record);
    if (record.identifier == ox_wp_prop_none)
      break;
    const bool isString = hasString(record.type) && record.string_value;
    properties.push_back({record.identifier, record.type, isString ? record.string_value : "",
                          record.double_value, record.integer_value});
  }
  return properties;
}

// Appends the section and its streams to the file's.
void walkSection(const Plugin& plugin, File& file, ox_wp_section_handle section) {
  const int sectionIndex = static_cast<int>(file.sections.size());
  file.sections.push_back(walk(plugin, &Table::get_section_property, file.handle, section));
  const std::int64_t count = find(file.sections.back(), ox_wp_prop_variable_count).integer;
  for (int variable = 0; variable < std::min<std::int64_t>(count, INT_MAX); ++variable)
    file.streams.push_back(
        {sectionIndex, section, variable,
         walk(plugin, &Table::get_variable_property, file.handle, section, variable)});
}

} // namespace

const Property& find(const Properties& properties, std::int32_t identifier) noexcept {
  static const Property none;
  const auto found = std::find_if(properties.begin(), properties.end(),
                                  [&](const Property& p) { return p.identifier == identifier; });
  return found == properties.end() ? none : *found;
}

Properties walkPlugin(const Plugin& plugin) {
  return walk(plugin, &Table::get_plugin_property);
}

std::string pluginMessages(const Plugin& plugin) {
  std::vector<std::string> messages;
  if (const char* error = plugin.call(&Table::get_error_message); error && *error != '\0')
    messages.emplace_back(error);
  for (const Property& property : walkPlugin(plugin))
    if (property.identifier == ox_wp_prop_error_message)
      messages.push_back(fmt::format("{} ({})", property.string, property.integer));
  return messages.empty() ? "" : fmt::format("; the plug-in says: {}", fmt::join(messages, "; "));
}

File openFile(const Plugin& plugin, const std::string& name) {
  File file;
  file.name = name;
  file.path = pathForPlugin(name);
  file.state = stateOf(file.path);
  file.handle = plugin.call(&Table::parse_file, file.path.c_str());
  if (!file.handle) {
    std::string reason = whyUnreadable(name); // what the system knows of it is the plainest
    if (reason.empty())
      reason = name + (file.state.st_size == 0 ? ": an empty file" : ": declined by the plug-in");
    throw Error(reason + pluginMessages(plugin));
  }
  file.properties = walk<ox_wp_index_file_changed>(plugin, &Table::get_file_property, file.handle);
  const std::int64_t count = find(file.properties, ox_wp_prop_section_count).integer;
  for (int index = 0; index < std::min<std::int64_t>(count, INT_MAX); ++index) {
    ox_wp_section_handle section = plugin.call(&Table::get_section_handle, file.handle, index);
    if (!section)
      throw Error(name + ": the plug-in returns no handle for section " + std::to_string(index));
    walkSection(plugin, file, section);
  }
  return file;
}

void keepChosen(File& file, NameChoice& choice) {
  std::erase_if(file.streams, [&](const Stream& stream) { return !choice.matches(stream.name()); });
}

void keepDeliverable(File& file) {
  std::set<std::string> others;
  std::erase_if(file.streams, [&](const Stream& stream) {
    if (!stream.isDeliverable())
      others.insert(stream.name());
    return !stream.isDeliverable();
  });
  if (!others.empty())
    reportError(file.name +
                ": left out, since the plug-in cannot deliver their samples: " + someOf(others));
}

bool isUnwritten(double value) noexcept {
  return std::bit_cast<std::uint64_t>(value) == std::bit_cast<std::uint64_t>(kUnwritten);
}

void dropUnwritten(std::vector<double>& values) noexcept {
  while (!values.empty() && isUnwritten(values.back()))
    values.pop_back();
}

std::string Samples::shortfall() const {
  if (values.size() == declared)
    return {};
  return fmt::format("{} of {} samples found; {}", values.size(), declared,
                     values.size() == kMostSamplesOfACopy
                         ? "one copy holds no more"
                         : "if a record in the middle is lost, those after it come too early");
}

Samples copySamples(const Plugin& plugin, const File& file, const Stream& stream) {
  Samples samples;
  if (!stream.isDeliverable())
    return samples;
  samples.declared = stream.sampleCount();
  const StatusLine line(fmt::format("Reading stream {} of {}: {}",
                                    &stream - file.streams.data() + 1, file.streams.size(),
                                    stream.name()));
  const std::uint64_t most = std::min(samples.declared, kMostSamplesOfACopy);
  // A damaged file can declare far more samples than it holds. Where the first buffer is too small
  // after all, a larger one follows.
  const auto size = static_cast<std::uint64_t>(file.state.st_size);
  for (std::uint64_t room = std::min(most, std::max(kSmallestRoom, kSamplesPerByte * size));;
       room = std::min(most, 4 * room)) {
    samples.values.assign(room, kUnwritten);
    plugin.call(&Table::copy_variable_data, file.handle, stream.section, stream.variable,
                ox_wp_type_double, samples.values.data(), static_cast<int>(room * sizeof(double)));
    dropUnwritten(samples.values);
    if (room == most || samples.values.size() < room)
      break;
  }
  // A status of 1 says no more: samples that are missing have left their marks.
  if (samples.values.empty() && most > 0)
    throw Error(fmt::format("{}: {}: none of {} samples can be read{}", file.name, stream.name(),
                            samples.declared, pluginMessages(plugin)));
  return samples;
}

void throwIfChanged(const Plugin& plugin, const File& file) {
  _ox_wp_prop_type record{};
  plugin.call(&Table::get_file_property, file.handle, ox_wp_index_file_changed, &record);
  const bool isFlagged = record.identifier == ox_wp_prop_file_changed && record.integer_value != 0;
  const struct stat now = stateOf(file.path);
  if (isFlagged || now.st_size != file.state.st_size || now.st_ino != file.state.st_ino ||
      now.st_mtim.tv_sec != file.state.st_mtim.tv_sec ||
      now.st_mtim.tv_nsec != file.state.st_mtim.tv_nsec)
    throw Error(file.name + ": changed while it was read");
}

} // namespace host
