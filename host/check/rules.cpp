#include "host/check/rules.h"

#include <algorithm>

#include <unistd.h>

#include "host/base/error.h"
#include "host/boundary/propertyTable.h"
#include "host/boundary/walk.h"

namespace host {

namespace {

int countOf(const _ox_wp_prop_type& record, int32_t identifier) {
  expect(record.identifier == identifier, "{} has identifier {} instead of {}",
         propertyName(identifier), record.identifier, identifier);
  expect(std::in_range<int>(record.integer_value) && record.integer_value >= 0, "{} is {}",
         propertyName(identifier), record.integer_value);
  return static_cast<int>(record.integer_value);
}

void useFile(const Plugin& plugin, const Subject& subject) {
  try {
    const File file = openFile(plugin, subject.file);
    std::array<double, 4> first{}; // a copy reads the whole file, however small its buffer is
    for (size_t i = 0; i < std::min(kStreamsTried, file.streams.size()); ++i) {
      expectTimeForCopy(subject);
      const Stream& stream = file.streams[i];
      plugin->copy_variable_data(plugin.handle(), file.handle, stream.section, stream.variable,
                                 ox_wp_type_double, first.data(), sizeof first);
    }
  } catch (const Error&) { // NOLINT(bugprone-empty-catch): a declined file is of use too
  }
}

} // namespace

Loaded::Loaded(const Subject& subject) : library(subject.plugin), plugin(library) {
  if (subject.file.empty())
    return;
  file = plugin->parse_file(plugin.handle(), subject.file.c_str());
  if (!file)
    throw Skipped("the file is declined");
}

int Loaded::sectionCount() const {
  _ox_wp_prop_type record{};
  plugin->get_file_property(plugin.handle(), file, ox_wp_index_section_count, &record);
  return countOf(record, ox_wp_prop_section_count);
}

int Loaded::variableCount(ox_wp_section_handle section) const {
  _ox_wp_prop_type record{};
  plugin->get_section_property(plugin.handle(), file, section, ox_wp_index_variable_count, &record);
  return countOf(record, ox_wp_prop_variable_count);
}

int Loaded::streamCount() const {
  int count = 0;
  if (file)
    forEachSection([&](ox_wp_section_handle handle) { count += variableCount(handle); });
  return count;
}

ox_wp_section_handle Loaded::section(int index) const {
  ox_wp_section_handle handle = plugin->get_section_handle(plugin.handle(), file, index);
  expect(handle, "the handle of section {} is null", index);
  return handle;
}

void useEverything(const Subject& subject) {
  const TracedLibrary library(subject.plugin);
  const Plugin plugin(library);
  plugin->parse_file(plugin.handle(), kMissingFile);
  if (!subject.file.empty())
    useFile(plugin, subject);
  walkPlugin(plugin);
  plugin->release_all_files(plugin.handle());
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
