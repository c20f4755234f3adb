// Rules of the library, the entry point, the table and the plug-in object.

#include <cstdio>
#include <filesystem>

#include "host/base/error.h"
#include "host/check/exportedSymbols.h"
#include "host/check/rules.h"

namespace host {

namespace {

using Functions = _ox_wp_plugin_functions_type;

// A table of the rule's own, with a version of its own, which Plugin does not offer.
struct Initialized {
  Initialized(const Library& library, int32_t version) : functions(patterned<Functions>()) {
    functions.version = version;
    status = library.entryPoint()(&functions);
  }
  ~Initialized() {
    if (status == 0 && functions.release)
      functions.release(functions.plugin);
  }
  Initialized(const Initialized&) = delete;
  Initialized& operator=(const Initialized&) = delete;

  Functions functions;
  int status;
};

void loads(const Subject& subject) {
  try {
    const TracedLibrary library(subject.plugin);
    const Plugin plugin(library);
  } catch (const Error& error) {
    throw Broken(error.what());
  }
}

void exportsOneFunction(const Subject& subject) {
  const auto symbols = exportedFunctions(subject.plugin);
  if (!symbols)
    throw Skipped("the library has no symbol table to look into");
  for (const std::string& symbol : *symbols)
    expect(symbol == OX_WP_PLUGIN_ENTRY_POINT, "{} is exported too", symbol);
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

void acceptsLaterVersions(const Subject& subject) {
  const TracedLibrary library(subject.plugin);
  for (const int32_t version : {1, 2, 7, INT32_MAX}) {
    const Initialized initialized(library, version);
    expect(initialized.status == 0, "version {}: expected status 0, seen {}", version,
           initialized.status);
    expect(initialized.functions.version == 1, "version {}: expected 1 in the table, seen {}",
           version, initialized.functions.version);
  }
}

void fillsTheTable(const Subject& subject) {
  const Library library(subject.plugin); // not traced: that fills every slot
  const Initialized initialized(library, OX_WP_PLUGIN_VERSION);
  const auto slots = std::bit_cast<std::array<const void*, sizeof(Functions) / sizeof(void*)>>(
      initialized.functions);
  for (size_t at = offsetof(Functions, plugin); at < sizeof(Functions); at += sizeof(void*)) {
    const bool isReserved = at == offsetof(Functions, reserved_48) ||
                            at == offsetof(Functions, reserved_96) ||
                            at >= offsetof(Functions, reserved_120);
    expect((slots[at / sizeof(void*)] == nullptr) == isReserved, "the slot at {} is {}null", at,
           isReserved ? "not " : "");
  }
  expect(initialized.functions.reserved_4 == 0, "the bytes at 4 are not zero");
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

void hasErrorString(const Subject& subject) {
  const TracedLibrary library(subject.plugin);
  const Plugin plugin(library);
  expect(plugin->get_error_message(plugin.handle()), "get_error_message returns null");
}

void acceptsNullPlugin(const Subject& subject) {
  const TracedLibrary library(subject.plugin);
  const Plugin plugin(library);
  plugin->release(nullptr);
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
  if (subject.printed < 0)
    throw Skipped("output is not captured");
  useEverything(subject);
  (void)std::fflush(nullptr);
  const std::string line = firstLine(subject.printed);
  expect(line.empty(), "it printed \"{}\"", line);
}

std::ptrdiff_t openDescriptors() {
  const std::filesystem::directory_iterator descriptors("/proc/self/fd");
  return std::distance(begin(descriptors), end(descriptors));
}

// A descriptor that is opened once and kept is not lost; one at each use is.
void closesDescriptors(const Subject& subject) {
  useEverything(subject);
  const auto before = openDescriptors();
  useEverything(subject);
  const auto after = openDescriptors();
  expect(after == before, "{} descriptors after the first use, {} after the second", before, after);
}

constexpr std::array kRules = std::to_array<Rule>({
    {"the library loads and makes a plug-in object", loads},
    {"the entry point is the only exported function", exportsOneFunction},
    {"a null table and versions below 1 are refused, the table untouched", refusesBadTables},
    {"later versions are accepted and become 1", acceptsLaterVersions},
    {"all functions are in the table, every other slot is null", fillsTheTable},
    {"plug-in objects are independent of each other", makesIndependentObjects},
    {"the error string is not null", hasErrorString},
    {"a null plug-in is refused", acceptsNullPlugin},
    {"nothing is printed", printsNothing},
    {"no descriptor is left open", closesDescriptors},
});

} // namespace

std::span<const Rule> entryRules() {
  return kRules;
}

} // namespace host
