#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include <unistd.h>

#include "host/base/error.h"
#include "host/check/exportedSymbols.h"
#include "host/check/rules.h"

namespace host {

namespace {

using Functions = _ox_wp_plugin_functions_type;

// Not by way of Plugin: these rules hand over tables of their own.
struct Initialized {
  Initialized(const Library& library, int32_t version) : functions(patterned<Functions>()) {
    functions.version = version;
    status = library.entryPoint()(&functions);
  }
  ~Initialized() {
    if (status == 0)
      functions.release(functions.plugin);
  }
  Initialized(const Initialized&) = delete;
  Initialized& operator=(const Initialized&) = delete;

  Functions functions;
  int status;
};

void loads(const Subject& subject) {
  try {
    const Library library(subject.plugin);
    const Plugin plugin(library);
    expect(plugin.handle(), "the plug-in handle is null");
  } catch (const Error& error) {
    throw Broken(error.what());
  }
}

void exportsOneSymbol(const Subject& subject) {
  const auto symbols = exportedSymbols(subject.plugin);
  if (!symbols)
    throw Skipped("the library's symbol table is not to be found");
  for (const std::string& symbol : *symbols)
    expect(symbol == OX_WP_PLUGIN_ENTRY_POINT, "{} is exported as well", symbol);
}

void refusesBadTables(const Subject& subject) {
  const Library library(subject.plugin);
  const int status = library.entryPoint()(nullptr);
  expect(status == 1, "a null table gives {}", status);
  for (const int32_t version : {0, -1, INT32_MIN}) {
    Functions table = patterned<Functions>();
    table.version = version;
    const Functions before = table;
    const int result = library.entryPoint()(&table);
    expect(result == 1, "version {} gives {}", version, result);
    expect(sameBytes(table, before), "version {}: the refused table was written to", version);
  }
}

void acceptsLaterVersions(const Subject& subject) {
  const Library library(subject.plugin);
  for (const int32_t version : {1, 2, 7, INT32_MAX}) {
    const Initialized initialized(library, version);
    expect(initialized.status == 0, "version {} gives {}", version, initialized.status);
    expect(initialized.functions.version == 1, "version {} became {}", version,
           initialized.functions.version);
  }
}

void fillsTheTable(const Subject& subject) {
  const Library library(subject.plugin);
  const Initialized initialized(library, OX_WP_PLUGIN_VERSION);
  const Functions& f = initialized.functions;
  const std::array filled = {f.plugin != nullptr,
                             f.get_plugin_property != nullptr,
                             f.release != nullptr,
                             f.get_error_message != nullptr,
                             f.parse_file != nullptr,
                             f.release_file != nullptr,
                             f.release_all_files != nullptr,
                             f.get_file_property != nullptr,
                             f.get_section_handle != nullptr,
                             f.get_section_property != nullptr,
                             f.get_variable_property != nullptr,
                             f.copy_variable_data != nullptr};
  expect(std::count(filled.begin(), filled.end(), false) == 0, "{} of the {} slots are null",
         std::count(filled.begin(), filled.end(), false), filled.size());
  expect(f.reserved_4 == 0, "the bytes at 4 are not zero");
  expect(!f.reserved_48, "the slot at 48 is not null");
  expect(!f.reserved_96, "the slot at 96 is not null");
  for (const void* slot : f.reserved_120)
    expect(!slot, "a slot behind 120 is not null");
}

void makesIndependentObjects(const Subject& subject) {
  const Loaded first(subject);
  const int streams = first.streamCount();
  {
    const Plugin second(first.library);
    expect(second.handle() != first.plugin.handle(), "two objects have one handle");
    if (first.file)
      expect(second->parse_file(second.handle(), subject.file.c_str()),
             "the second object declines the file");
    second->release_all_files(second.handle());
  }
  expect(first.streamCount() == streams, "another object's end leaves {} of {} streams",
         first.streamCount(), streams);
}

void startsWithoutErrorText(const Subject& subject) {
  const Library library(subject.plugin);
  const Plugin plugin(library);
  const char* text = plugin->get_error_message(plugin.handle());
  expect(text, "the error text is null");
  expect(*text == '\0', "the error text is \"{}\"", text);
}

void acceptsNullPlugin(const Subject& subject) {
  const Library library(subject.plugin);
  const Plugin plugin(library);
  plugin->release(nullptr);
  expect(plugin->release_all_files(nullptr) == 0, "release_all_files does not give 0");
  expect(!plugin->get_error_message(nullptr), "get_error_message does not give null");
  expect(!plugin->parse_file(nullptr, missingFile(subject).c_str()), "parse_file gives a handle");
  expect(!plugin->get_section_handle(nullptr, nullptr, 0), "get_section_handle gives a handle");
  auto record = patterned<_ox_wp_prop_type>();
  plugin->get_plugin_property(nullptr, 0, &record);
  expect(sameBytes(record, patterned<_ox_wp_prop_type>()),
         "get_plugin_property wrote to the record");
}

void printsNothing(const Subject& subject) {
  useEverything(subject);
  (void)std::fflush(nullptr);
  std::array<char, 60> start{};
  const ssize_t length = pread(subject.printed, start.data(), start.size() - 1, 0);
  expect(length == 0, "it printed \"{}\"",
         std::string_view(start.data(), std::strcspn(start.data(), "\n")));
}

std::ptrdiff_t openDescriptors() {
  const std::filesystem::directory_iterator descriptors("/proc/self/fd");
  return std::distance(begin(descriptors), end(descriptors));
}

void closesDescriptors(const Subject& subject) {
  const auto before = openDescriptors();
  useEverything(subject);
  const auto after = openDescriptors();
  expect(after == before, "{} descriptors before, {} after", before, after);
}

constexpr std::array kRules = std::to_array<Rule>({
    {"the library loads and has the entry point", loads, false},
    {"only the entry point is exported", exportsOneSymbol, false},
    {"a null table and versions below 1 are refused, the table untouched", refusesBadTables, false},
    {"later versions are accepted and become 1", acceptsLaterVersions, false},
    {"all functions are there, every other slot is null", fillsTheTable, false},
    {"plug-in objects are independent of each other", makesIndependentObjects, false},
    {"the error text is empty at first", startsWithoutErrorText, false},
    {"a null plug-in is refused", acceptsNullPlugin, false},
    {"nothing is printed", printsNothing, false},
    {"no descriptor is left open", closesDescriptors, false},
});

} // namespace

std::span<const Rule> entryRules() {
  return kRules;
}

} // namespace host
