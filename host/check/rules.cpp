#include "host/check/rules.h"

#include <algorithm>
#include <chrono>
#include <cstdint>

#include <unistd.h>

#include "host/boundary/walk.h"

namespace host {

std::string Reading::describe() const {
  if (record.identifier == ox_wp_prop_none)
    return fmt::format("status {}, identifier 0", status);
  return fmt::format("status {}, identifier {} ({}), type {}", status, record.identifier,
                     propertyName(record.identifier), record.type);
}

std::string Owner::name() const {
  constexpr std::array kNames = {"plug-in", "file", "section", "variable"};
  const char* name = kNames[static_cast<size_t>(level)];
  return level == PropertyLevel::variable ? fmt::format("{} {}", name, variable) : name;
}

int Owner::get(int index, _ox_wp_prop_type* record) const {
  const Plugin& plugin = loaded.plugin;
  switch (level) {
  case PropertyLevel::plugin:
    return plugin->get_plugin_property(plugin.handle(), index, record);
  case PropertyLevel::file:
    return plugin->get_file_property(plugin.handle(), loaded.file, index, record);
  case PropertyLevel::section:
    return plugin->get_section_property(plugin.handle(), loaded.file, section, index, record);
  default:
    return plugin->get_variable_property(plugin.handle(), loaded.file, section, variable, index,
                                         record);
  }
}

Reading Owner::read(int index) const {
  Reading reading;
  reading.status = get(index, &reading.record);
  return reading;
}

_ox_wp_prop_type Owner::value(int32_t identifier) const {
  return read(findProperty(identifier)->index).record;
}

int Owner::count(int32_t identifier) const {
  const _ox_wp_prop_type record = value(identifier);
  if (record.identifier != identifier || record.integer_value < 0 ||
      record.integer_value > INT32_MAX)
    throw Skipped(fmt::format("no valid {} is delivered", propertyName(identifier)));
  return static_cast<int>(record.integer_value);
}

Loaded::Loaded(const Subject& subject) : library(subject.plugin), plugin(library) {
  if (subject.file.empty())
    return;
  file = parse(subject.file.c_str());
  if (!file)
    throw Skipped("the file is declined");
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
  ox_wp_section_handle handle = plugin->get_section_handle(plugin.handle(), file, index);
  if (!handle)
    throw Skipped(fmt::format("section {} has no handle", index));
  return handle;
}

void useEverything(const Loaded& loaded, const Subject& subject) {
  const Plugin& plugin = loaded.plugin;
  loaded.declineFiles(subject);
  if (loaded.file) {
    const File file = openFile(plugin, subject.file);
    std::array<double, 4> first{}; // a copy reads the whole file, however small its buffer is
    for (size_t i = 0; i < std::min(kStreamsTried, file.streams.size()); ++i) {
      expectTimeForCopy(subject);
      plugin->copy_variable_data(plugin.handle(), file.handle, file.streams[i].section,
                                 file.streams[i].variable, ox_wp_type_double, first.data(),
                                 sizeof first);
    }
  }
  walkPlugin(plugin);
}

void expectTimeForCopy(const Subject& subject) {
  if (std::chrono::steady_clock::now() > subject.lastCopy)
    throw Skipped("copies of this file are too slow for the time limit");
}

std::string firstLine(int printed) {
  std::array<char, 200> bytes{};
  const ssize_t length = pread(printed, bytes.data(), bytes.size(), 0);
  const std::string start(bytes.data(), static_cast<size_t>(std::max<ssize_t>(0, length)));
  return start.substr(0, std::max<size_t>(1, start.find('\n')));
}

} // namespace host
