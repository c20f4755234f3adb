#include "host/check/rules.h"

#include <algorithm>

#include <unistd.h>

#include "host/boundary/file.h"

namespace host {

std::string Reading::describe() const {
  if (record.identifier == ox_wp_prop_none)
    return fmt::format("status {}, identifier 0", status);
  return fmt::format("status {}, identifier {} ({}), type {}", status, record.identifier,
                     propertyName(record.identifier), record.type);
}

std::string PropertySource::name() const {
  constexpr std::array kNames = {"plug-in", "file", "section", "variable"};
  const char* name = kNames[static_cast<std::size_t>(level)];
  return level == PropertyLevel::variable ? fmt::format("{} {}", name, variable) : name;
}

int PropertySource::get(int index, _ox_wp_prop_type* record) const {
  const Plugin& plugin = loaded.plugin;
  switch (level) {
  case PropertyLevel::plugin:
    return plugin.call(&Table::get_plugin_property, index, record);
  case PropertyLevel::file:
    return plugin.call(&Table::get_file_property, loaded.file, index, record);
  case PropertyLevel::section:
    return plugin.call(&Table::get_section_property, loaded.file, section, index, record);
  default:
    return plugin.call(&Table::get_variable_property, loaded.file, section, variable, index,
                       record);
  }
}

Reading PropertySource::read(int index) const {
  Reading reading;
  reading.status = get(index, &reading.record);
  return reading;
}

_ox_wp_prop_type PropertySource::value(std::int32_t identifier) const {
  return read(findProperty(identifier)->index).record;
}

int PropertySource::count(std::int32_t identifier) const {
  const _ox_wp_prop_type record = value(identifier);
  if (record.identifier != identifier || record.integer_value != (record.integer_value & INT32_MAX))
    throw Skipped(fmt::format("no valid {} is delivered", propertyName(identifier)));
  return static_cast<int>(record.integer_value);
}

int PropertySource::copy(ox_wp_data_type type, void* buffer, int size) const {
  loaded.expectTimeForCopy();
  return loaded.plugin.call(&Table::copy_variable_data, loaded.file, section, variable, type,
                            buffer, size);
}

Loaded::Loaded(const Subject& triedOn)
    : subject(triedOn), library(triedOn.plugin), plugin(library) {
  if (!subject.file.empty())
    file = parse(subject.file.c_str());
}

void Loaded::declineFiles() const {
  parse(kMissingFile);
  parse(subject.plugin.c_str());
}

void Loaded::useEverything() const {
  declineFiles();
  if (file)
    content();
  walkPlugin(plugin);
}

std::string Loaded::content() const {
  const File again = openFile(plugin, subject.file);
  std::string all;
  for (const Stream& stream : again.streams)
    for (const Property& property : stream.properties)
      all += fmt::format("{} {} {}\n", property.string, property.number, property.integer);
  for (std::size_t i = 0; i < std::min(kStreamsTried, again.streams.size()); ++i) {
    expectTimeForCopy();
    std::array<double, 1000> samples{};
    plugin.call(&Table::copy_variable_data, again.handle, again.streams[i].section,
                again.streams[i].variable, ox_wp_type_double, samples.data(), sizeof samples);
    all.append(reinterpret_cast<const char*>(samples.data()), sizeof samples);
  }
  return all;
}

void Loaded::expectTimeForCopy() const {
  if (std::chrono::steady_clock::now() > subject.lastCopy)
    throw Skipped("copies of this file are too slow for the time limit");
}

int Loaded::streamCount() const {
  int count = 0;
  try {
    if (file)
      forEachSection([&](ox_wp_section_handle handle) { count += variableCount(handle); });
    return count;
  } catch (const Skipped&) {
    return 0;
  }
}

ox_wp_section_handle Loaded::section(int index) const {
  ox_wp_section_handle handle = plugin.call(&Table::get_section_handle, file, index);
  if (!handle)
    throw Skipped(fmt::format("section {} has no handle", index));
  return handle;
}

std::string firstLine(int printed) {
  std::array<char, 200> bytes{};
  const ssize_t length = pread(printed, bytes.data(), bytes.size(), 0);
  const std::string start(bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(0, length)));
  return start.substr(0, std::max<std::size_t>(1, start.find('\n')));
}

} // namespace host
