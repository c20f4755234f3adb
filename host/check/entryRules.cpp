// Rules of the library, the entry point, the table and the plug-in object.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <iterator>

#include "host/base/error.h"
#include "host/check/exportedSymbols.h"
#include "host/check/rules.h"
#include "host/check/tracedLibrary.h"

namespace host {

namespace {

using Functions = _ox_wp_plugin_functions_type;

void loads(const Subject& subject) {
  try {
    const Loaded loaded(subject);
  } catch (const Error& error) {
    throw Broken(error.what());
  }
}

void exportsOneFunction(const Subject& subject) {
  const TracedLibrary library(subject.plugin);
  const std::vector<std::string> functions = exportedFunctions(subject.plugin);
  if (functions.empty())
    throw Skipped("the library has no table of sections to look into");
  for (const std::string& function : functions)
    expect(function == OX_WP_PLUGIN_ENTRY_POINT,
           "{} is exported too; link with -Wl,--version-script=FILE, where FILE holds {{ "
           "global: " OX_WP_PLUGIN_ENTRY_POINT "; local: *; }};",
           function);
}

void refusesBadTables(const Subject& subject) {
  const TracedLibrary library(subject.plugin);
  const int status = library.entryPoint()(nullptr);
  expect(status == 1, "a null table: expected status 1, seen {}", status);
  for (const int32_t version : {0, -1, INT32_MIN}) {
    Functions table = patterned<Functions>();
    table.version = version;
    const auto before = bytesOf(table);
    const int result = library.entryPoint()(&table);
    expect(result == 1, "version {}: expected status 1, seen {}", version, result);
    expect(bytesOf(table) == before, "version {}: the refused table was written to", version);
  }
}

// The table is not zero before: what is null in it afterwards, the plug-in has set.
void fillsTheTable(const Subject& subject) {
  const TracedLibrary library(subject.plugin);
  for (const int32_t version : {1, 2, 7, INT32_MAX}) {
    auto table = patterned<Functions>();
    table.version = version;
    const int status = library.entryPoint()(&table);
    expect(status == 0, "version {}: expected status 0, seen {}", version, status);
    expect(table.version == 1, "version {}: expected 1 in the table, seen {}", version,
           table.version);
    expect(table.reserved_4 == 0, "the bytes at 4 are not zero");
    expect(!table.reserved_48 && !table.reserved_96, "the slot at 48 or 96 is not null");
    for (size_t i = 0; i < std::size(table.reserved_120); ++i)
      expect(!table.reserved_120[i], "the slot at {} is not null", 120 + i * sizeof(void*));
    table.release(table.plugin);
  }
}

void makesIndependentObjects(const Subject& subject) {
  const Loaded first(subject);
  const int streams = first.streamCount();
  {
    const Plugin second(first.library);
    expect(second.handle() != first.plugin.handle(), "two objects have the same handle");
    if (first.file)
      expect(second->parse_file(second.handle(), subject.file.c_str()),
             "the second object declines the file");
    second->release_all_files(second.handle());
  }
  expect(first.streamCount() == streams, "after the end of another object: {} of {} streams",
         first.streamCount(), streams);
}

// A parse that succeeds can have an error string of its own, about what it left out.
void hasErrorString(const Subject& subject) {
  const Loaded loaded(subject);
  const auto current = [&] {
    const char* string = loaded.plugin->get_error_message(loaded.plugin.handle());
    expect(string, "get_error_message returns null");
    return std::string(string);
  };
  const std::string ofTheFile = current();
  loaded.parse(kMissingFile);
  const std::string ofMissing = current();
  if (!loaded.file)
    return;
  loaded.parse(subject.file.c_str());
  expect(current() == ofTheFile, "\"{}\" is still there after the next parse", ofMissing);
}

void acceptsNullPlugin(const Subject& subject) {
  const Loaded loaded(subject);
  const Plugin& plugin = loaded.plugin;
  plugin->release(nullptr);
  expect(plugin->release_file(nullptr, nullptr) == 1, "release_file does not return 1");
  expect(plugin->release_all_files(nullptr) == 0, "release_all_files does not return 0");
  expect(!plugin->get_error_message(nullptr), "get_error_message does not return null");
  expect(!plugin->parse_file(nullptr, kMissingFile), "parse_file returns a handle");
  expect(!plugin->get_section_handle(nullptr, nullptr, 0), "get_section_handle returns a handle");
  auto record = patterned<_ox_wp_prop_type>();
  plugin->get_plugin_property(nullptr, 0, &record);
  expect(bytesOf(record) == bytesOf(patterned<_ox_wp_prop_type>()),
         "get_plugin_property writes to the record");
}

void printsNothing(const Subject& subject) {
  useEverything(Loaded(subject), subject);
  (void)std::fflush(nullptr);
  const std::string line = firstLine(subject.printed);
  expect(line.empty(), "it printed \"{}\"", line);
}

std::ptrdiff_t entriesIn(const char* folder) {
  return std::distance(std::filesystem::directory_iterator(folder), {});
}

// A descriptor that is opened once and kept is not lost; one at each use is.
void closesDescriptors(const Subject& subject) {
  useEverything(Loaded(subject), subject);
  const auto before = entriesIn("/proc/self/fd");
  useEverything(Loaded(subject), subject);
  const auto after = entriesIn("/proc/self/fd");
  expect(after == before, "{} descriptors after the first use, {} after the second", before, after);
}

void startsNoThread(const Subject& subject) {
  const auto before = entriesIn("/proc/self/task");
  const Loaded loaded(subject);
  useEverything(loaded, subject);
  const auto after = entriesIn("/proc/self/task");
  expect(after == before, "{} threads before the use, {} after it", before, after);
}

constexpr std::array kRules = std::to_array<Rule>({
    {"the library loads and makes a plug-in object", loads, Needs::none, true},
    {"the entry point is the only exported function", exportsOneFunction},
    {"a null table and versions below 1 are refused, the table untouched", refusesBadTables},
    {"versions from 1 on become 1, and the rest of the table is null", fillsTheTable},
    {"plug-in objects are independent of each other", makesIndependentObjects, Needs::any},
    {"the error string is not null, and is of the last call", hasErrorString, Needs::any},
    {"a null plug-in is refused", acceptsNullPlugin},
    {"nothing is printed", printsNothing, Needs::any},
    {"no descriptor is left open", closesDescriptors, Needs::any},
    {"no thread is started", startsNoThread, Needs::any},
});

} // namespace

const std::span<const Rule> kEntryRules = kRules;

} // namespace host
