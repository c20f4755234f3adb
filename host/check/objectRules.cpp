// Rules of the library, its entry point and table, the plug-in object, its files and their handles.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <ios>
#include <iterator>

#include <stdio.h>
#include <stdlib.h>

#include "host/check/rules.h"

namespace host {

namespace {

// Finds a file that has become unusable.
void expectStreams(const Loaded& loaded, int expected, const char* when) {
  const int seen = loaded.streamCount();
  expect(seen == expected, "{}: {} of {} streams", when, seen, expected);
}

// A plug-in object was made before this is called.
void loads(Loaded& /*loaded*/) {}

void returnsFromEveryFunction(Loaded& loaded) {
  loaded.useEverything();
}

// Whatever a plug-in makes of a damaged file, it returns.
void returnsForDamagedFiles(Loaded& loaded) {
  const std::string& path = loaded.subject.file;
  const auto size = static_cast<std::streamoff>(std::filesystem::file_size(path));
  constexpr std::streamoff kHeader = 64; // bytes, of which none is left out
  std::array<char, 4> bytes{};
  for (std::streamoff at = 0; at + 4 <= size;
       at += at < kHeader ? 4 : std::max(kHeader, size / 8)) {
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekg(at).read(bytes.data(), bytes.size());
    const auto turn = [&] {
      for (char& byte : bytes)
        byte = static_cast<char>(~byte);
      file.seekp(at).write(bytes.data(), bytes.size()).flush();
    };
    turn();
    Loaded(loaded.subject).useEverything();
    turn();
  }
  std::filesystem::resize_file(path, static_cast<std::uintmax_t>(size / 2));
  Loaded(loaded.subject).useEverything();
}

void exportsOneFunction(Loaded& loaded) {
  // The path can hold any bytes, which a shell would take apart. A version can follow a name.
  setenv("LIBRARY", loaded.subject.plugin.c_str(), 1);
  // NOLINTNEXTLINE(cert-env33-c): the command is fixed
  FILE* const others = popen(R"(all=$(nm -D --defined-only -- "$LIBRARY") || exit
    echo "$all" | sed -n 's/.* [TWi] \([^@]*\).*/\1/p' | grep -vx )" OX_WP_PLUGIN_ENTRY_POINT
                             "; true",
                             "re");
  std::array<char, 200> other{};
  const bool hasOther = others && fscanf(others, "%199s", other.data()) == 1;
  if (!others || pclose(others) != 0)
    throw Skipped("nm, of binutils, cannot read the library");
  expect(!hasOther, "{} is exported too; see --version-script in ld(1)", other.data());
}

void refusesBadTables(Loaded& loaded) {
  expectStatus(1, loaded.library.initialize(nullptr), "a null table");
  for (const std::int32_t version : {0, -1, INT32_MIN}) {
    Table table = patterned<Table>();
    table.version = version;
    const auto before = bytesOf(table);
    expectStatus(1, loaded.library.initialize(&table), fmt::format("version {}", version));
    expect(bytesOf(table) == before, "version {}: the refused table was written to", version);
  }
}

// The table is not zero before: what is null in it afterwards, the plug-in has set.
void fillsTheTable(Loaded& loaded) {
  for (const std::int32_t version : {1, 2, 7, INT32_MAX}) {
    auto table = patterned<Table>();
    table.version = version;
    expectStatus(0, loaded.library.initialize(&table), fmt::format("version {}", version));
    expect(table.version == 1, "version {}: expected 1 in the table, seen {}", version,
           table.version);
    expect(table.reserved_4 == 0, "the bytes at 4 are not zero");
    expect(!table.reserved_48 && !table.reserved_96, "the slot at 48 or 96 is not null");
    for (std::size_t i = 0; i < std::size(table.reserved_120); ++i)
      expect(!table.reserved_120[i], "the slot at {} is not null", 120 + i * sizeof(void*));
    const RunningFunction note("release");
    table.release(table.plugin);
  }
}

void makesIndependentObjects(Loaded& first) {
  const int streams = first.streamCount();
  {
    const Plugin second(first.library);
    expect(second.handle() != first.plugin.handle(), "two objects have the same handle");
    if (first.file)
      expect(second.call(&Table::parse_file, first.subject.file.c_str()),
             "the second object declines the file");
    second.call(&Table::release_all_files);
  }
  expectStreams(first, streams, "after the end of another object");
}

// A call that succeeds can have an error string of its own, about what it left out.
void hasErrorString(Loaded& loaded) {
  const auto current = [&] {
    const char* string = loaded.plugin.call(&Table::get_error_message);
    expect(string, "get_error_message returns null");
    return std::string(string);
  };
  const std::string ofTheFile = current();
  loaded.parse(kMissingFile);
  const std::string ofMissing = current();
  if (!loaded.file)
    return;
  loaded.parse(loaded.subject.file.c_str());
  expect(current() == ofTheFile, "\"{}\" is still there after the next parse", ofMissing);
  if (loaded.streamCount() == 0)
    return;
  const PropertySource stream{loaded, PropertyLevel::variable, loaded.section(0)};
  double sample = 0;
  stream.copy(ox_wp_type_double, &sample, sizeof sample);
  const std::string ofTheCopy = current();
  loaded.parse(kMissingFile);
  stream.copy(ox_wp_type_double, &sample, sizeof sample);
  expect(current() == ofTheCopy, "\"{}\" is still there after a copy", ofMissing);
}

void acceptsNullPlugin(Loaded& loaded) {
  const Plugin& plugin = loaded.plugin;
  const auto expectRight = [](bool isRight, const char* function) {
    expect(isRight, "{} returns something else than ox_wp_plugin.h says", function);
  };
  plugin.callFor(nullptr, &Table::release);
  expectRight(plugin.callFor(nullptr, &Table::release_file, nullptr) == 1, "release_file");
  expectRight(plugin.callFor(nullptr, &Table::release_all_files) == 0, "release_all_files");
  expectRight(!plugin.callFor(nullptr, &Table::get_error_message), "get_error_message");
  expectRight(!plugin.callFor(nullptr, &Table::parse_file, kMissingFile), "parse_file");
  expectRight(!plugin.callFor(nullptr, &Table::get_section_handle, nullptr, 0),
              "get_section_handle");
  auto record = patterned<_ox_wp_prop_type>();
  plugin.callFor(nullptr, &Table::get_plugin_property, 0, &record);
  expect(bytesOf(record) == bytesOf(patterned<_ox_wp_prop_type>()),
         "get_plugin_property writes to the record");
}

void declinesMissingFile(Loaded& loaded) {
  expect(!loaded.parse(kMissingFile), "a missing file gives a handle");
  expect(!loaded.parse(nullptr), "a null path gives a handle");
}

void parsesTheFile(Loaded& loaded) {
  expect(loaded.file, "it is declined");
}

void givesEachParseItsHandle(Loaded& loaded) {
  ox_wp_file_handle second = loaded.parse(loaded.subject.file.c_str());
  expect(second, "the second parse is declined");
  expect(second != loaded.file, "both parses give the same handle");
}

void keepsFilesAfterFailedParse(Loaded& loaded) {
  const int streams = loaded.streamCount();
  loaded.parse(kMissingFile);
  expectStreams(loaded, streams, "the earlier file");
}

// A plug-in need not offer the release of a single file. Then the file stays usable.
void releasesOneFileOrNone(Loaded& loaded) {
  const int streams = loaded.streamCount();
  ox_wp_file_handle other = loaded.parse(loaded.subject.file.c_str());
  if (!other || other == loaded.file)
    throw Skipped("a second parse gives no handle of its own");
  const Plugin& plugin = loaded.plugin;
  expectStatus(1, plugin.call(&Table::release_file, nullptr), "a null file");
  const int status = plugin.call(&Table::release_file, other);
  expect(status == 0 || status == 1, "expected status 0 or 1, seen {}", status);
  expectStreams(loaded, streams, "another file afterwards");
  if (status == 0)
    return;
  loaded.file = other;
  expectStreams(loaded, streams, "the file after status 1");
}

void releasesAllFiles(Loaded& loaded) {
  const int streams = loaded.streamCount();
  for (const char* const files : {"all files", "no file"})
    expectStatus(0, loaded.plugin.call(&Table::release_all_files), files);
  if (!loaded.file)
    return;
  loaded.file = loaded.parse(loaded.subject.file.c_str());
  expectStreams(loaded, streams, "the file when parsed again");
}

void handsOutSections(Loaded& loaded) {
  const Plugin& plugin = loaded.plugin;
  const auto sectionAt = [&](int index) {
    return plugin.call(&Table::get_section_handle, loaded.file, index);
  };
  const int count = loaded.sectionCount();
  for (int index = 0; index < count; ++index) {
    ox_wp_section_handle section = sectionAt(index);
    expect(section, "section {} of {} is null", index, count);
    expect(section == sectionAt(index), "section {} has two handles", index);
  }
  for (const int index : outside(count))
    expect(!sectionAt(index), "section {} of {} is not null", index, count);
  expect(!plugin.callFor(nullptr, &Table::get_section_handle, loaded.file, 0),
         "a null plug-in has a section");
  expect(!plugin.call(&Table::get_section_handle, nullptr, 0), "a null file has a section");
}

// Changes the file and reads the flag twice each time: 1, then 0.
void reportsEachChangeOnce(Loaded& loaded) {
  const std::string& path = loaded.subject.file;
  const auto later = timeOfCopies() + std::chrono::seconds(1);
  const auto expectFlag = [&](std::int64_t flag, const char* when) {
    const PropertySource source{loaded, PropertyLevel::file};
    const _ox_wp_prop_type record = source.value(ox_wp_prop_file_changed);
    expect(record.identifier == ox_wp_prop_file_changed && record.integer_value == flag,
           "{}: expected {}, seen {}", when, flag, record.integer_value);
  };
  expectFlag(0, "after the parse");
  std::filesystem::last_write_time(path, later);
  expectFlag(1, "after a new modification time");
  expectFlag(0, "read again after a new modification time");
  std::filesystem::resize_file(path, std::filesystem::file_size(path) + 1);
  std::filesystem::last_write_time(path, later);
  expectFlag(1, "after a new size");
  expectFlag(0, "read again after a new size");
  std::filesystem::remove(path);
  expectFlag(1, "after the file has vanished");
}

constexpr std::array kRules = std::to_array<Rule>({
    {"the library loads, and a plug-in object is made and released", loads, Needs::none,
     WhenBroken::stop},
    {"every function returns when it is used as intended", returnsFromEveryFunction, Needs::any,
     WhenBroken::skipFunction},
    {"every function returns for a damaged file", returnsForDamagedFiles, Needs::path},
    {"the entry point is the only exported function", exportsOneFunction},
    {"a null table and versions below 1 are refused, the table untouched", refusesBadTables},
    {"versions from 1 on become 1, and the rest of the table is null", fillsTheTable},
    {"plug-in objects are independent of each other", makesIndependentObjects, Needs::any},
    {"the error string is not null, and is of the last call", hasErrorString, Needs::any},
    {"a null plug-in is refused", acceptsNullPlugin},
    {"a missing file and a null path are declined", declinesMissingFile},
    {"the file is parsed", parsesTheFile, Needs::path},
    {"two parses of one path give two handles", givesEachParseItsHandle, Needs::file},
    {"a failed parse leaves earlier files usable", keepsFilesAfterFailedParse, Needs::file},
    {"release_file returns 0, or 1 with the file still usable", releasesOneFileOrNone, Needs::file},
    {"release_all_files returns 0, and files can be parsed again", releasesAllFiles, Needs::any},
    {"each section has one handle; any other index gives null", handsOutSections, Needs::file},
    {"the change flag reports each change once", reportsEachChangeOnce, Needs::file},
});

} // namespace

const std::span<const Rule> kObjectRules = kRules;

} // namespace host
