#include "host/check/rules.h"

#include "host/base/error.h"
#include "host/boundary/propertyTable.h"
#include "host/boundary/samples.h"

namespace host {

namespace {

int64_t integerOf(const _ox_wp_prop_type& record, int32_t identifier) {
  expect(record.identifier == identifier, "property {} is {} instead", propertyName(identifier),
         record.identifier);
  return record.integer_value;
}

int countOf(const _ox_wp_prop_type& record, int32_t identifier) {
  const int64_t count = integerOf(record, identifier);
  expect(std::in_range<int>(count) && count >= 0, "property {} is {}", propertyName(identifier),
         count);
  return static_cast<int>(count);
}

void useFile(const Plugin& plugin, const std::string& path) {
  try {
    const FileRecord file = openFile(plugin, path);
    for (const StreamRecord& stream : file.streams)
      copySamples(plugin, file, stream);
  } catch (const Error&) { // NOLINT(bugprone-empty-catch): declining is a use as well
  }
}

} // namespace

std::string missingFile(const Subject& subject) {
  return subject.scratch + "/missing";
}

Loaded::Loaded(const Subject& subject) : library(subject.plugin), plugin(library) {
  if (subject.file.empty())
    return;
  file = plugin->parse_file(plugin.handle(), subject.file.c_str());
  if (!file)
    throw Skipped("the file is declined");
}

int Loaded::sectionCount() const {
  _ox_wp_prop_type record{};
  plugin->get_file_property(plugin.handle(), file, 1, &record);
  return countOf(record, ox_wp_prop_section_count);
}

int Loaded::variableCount(ox_wp_section_handle section) const {
  _ox_wp_prop_type record{};
  plugin->get_section_property(plugin.handle(), file, section, 1, &record);
  return countOf(record, ox_wp_prop_variable_count);
}

int64_t Loaded::sampleCount(ox_wp_section_handle section, int variable) const {
  _ox_wp_prop_type record{};
  plugin->get_variable_property(plugin.handle(), file, section, variable, 3, &record);
  return integerOf(record, ox_wp_prop_sample_count);
}

int Loaded::streamCount() const {
  int count = 0;
  if (file)
    forEachSection([&](ox_wp_section_handle handle) { count += variableCount(handle); });
  return count;
}

ox_wp_section_handle Loaded::section(int index) const {
  ox_wp_section_handle handle = plugin->get_section_handle(plugin.handle(), file, index);
  expect(handle, "section {} is null", index);
  return handle;
}

void useEverything(const Subject& subject) {
  const Library library(subject.plugin);
  const Plugin plugin(library);
  plugin->parse_file(plugin.handle(), missingFile(subject).c_str());
  if (!subject.file.empty())
    useFile(plugin, subject.file);
  walkPlugin(plugin);
  plugin->release_all_files(plugin.handle());
}

} // namespace host
