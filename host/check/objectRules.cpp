// Rules of the library, its entry point and table, the plug-in object, its files and their handles.

#include <algorithm>
#include <filesystem>
#include <iterator>

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/types.h>
#include <unistd.h>

#include "host/base/messages.h"
#include "host/check/rules.h"

namespace host {

namespace {

// A plug-in object was made before this is called.
void loads(Loaded& /*loaded*/) {}

void returnsFromEveryFunction(Loaded& loaded) {
  loaded.useEverything();
}

// Damages the file in one way after the other. Whatever a plug-in makes of it, it returns.
void returnsForDamagedFiles(Loaded& loaded) {
  const std::string& path = loaded.subject.file;
  const auto use = [&] { Loaded(loaded.subject).useEverything(); };
  constexpr off_t kBytes = 4;
  constexpr off_t kHeader = 64; // of which no byte is left out
  const auto size = static_cast<off_t>(std::filesystem::file_size(path));
  const int file = open(path.c_str(), O_RDWR | O_CLOEXEC);
  for (off_t at = 0; at + kBytes <= size;
       at += at < kHeader ? kBytes : std::max(kBytes, size / 8)) {
    const auto put = [&](const char* bytes) {
      if (pwrite(file, bytes, kBytes, at) != kBytes)
        throw systemError(path);
    };
    std::array<char, kBytes> before{};
    if (pread(file, before.data(), kBytes, at) != kBytes)
      throw systemError(path);
    for (const char* const damage : {"\xFF\xFF\xFF\xFF", "9999"}) {
      put(damage);
      use();
    }
    put(before.data());
  }
  for (const off_t length : {size / 2, off_t{1}, off_t{0}}) {
    std::filesystem::resize_file(path, static_cast<std::uintmax_t>(length));
    use();
  }
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
  expect(!hasOther,
         "{} is exported too; link with -Wl,--version-script=FILE, where FILE holds {{ "
         "global: " OX_WP_PLUGIN_ENTRY_POINT "; local: *; }};",
         other.data());
}

void refusesBadTables(Loaded& loaded) {
  const int status = loaded.library.initialize(nullptr);
  expect(status == 1, "a null table: expected status 1, seen {}", status);
  for (const std::int32_t version : {0, -1, INT32_MIN}) {
    Table table = patterned<Table>();
    table.version = version;
    const auto before = bytesOf(table);
    const int result = loaded.library.initialize(&table);
    expect(result == 1, "version {}: expected status 1, seen {}", version, result);
    expect(bytesOf(table) == before, "version {}: the refused table was written to", version);
  }
}

// The table is not zero before: what is null in it afterwards, the plug-in has set.
void fillsTheTable(Loaded& loaded) {
  for (const std::int32_t version : {1, 2, 7, INT32_MAX}) {
    auto table = patterned<Table>();
    table.version = version;
    const int status = loaded.library.initialize(&table);
    expect(status == 0, "version {}: expected status 0, seen {}", version, status);
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
  expect(first.streamCount() == streams, "after the end of another object: {} of {} streams",
         first.streamCount(), streams);
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
  loaded.content(); // ends with a copy
  const std::string ofTheCopy = current();
  loaded.parse(kMissingFile);
  loaded.content();
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
  for (const char* const path : {kMissingFile, "/", "/dev/null"})
    expect(!loaded.parse(path), "{} gives a handle", path);
  expect(!loaded.parse(nullptr), "a null path gives a handle");
}

void parsesTheFile(Loaded& loaded) {
  expect(loaded.file, "it is declined");
}

// The caller owns the path.
void keepsItsOwnPath(Loaded& loaded) {
  const std::string before = loaded.content();
  std::string path = loaded.subject.file;
  loaded.file = loaded.parse(path.c_str());
  path.assign(path.size(), '?');
  expect(loaded.content() == before, "the file is not found again");
}

void givesEachParseItsHandle(Loaded& loaded) {
  ox_wp_file_handle second = loaded.parse(loaded.subject.file.c_str());
  expect(second, "the second parse is declined");
  expect(second != loaded.file, "both parses give the same handle");
}

void keepsFilesAfterFailedParse(Loaded& loaded) {
  const int streams = loaded.streamCount();
  loaded.parse(kMissingFile);
  expect(loaded.streamCount() == streams, "the earlier file has {} of {} streams",
         loaded.streamCount(), streams);
}

// A plug-in need not offer the release of a single file. Then the file stays usable.
void releasesOneFileOrNone(Loaded& loaded) {
  const int streams = loaded.streamCount();
  ox_wp_file_handle other = loaded.parse(loaded.subject.file.c_str());
  if (!other || other == loaded.file)
    throw Skipped("a second parse gives no handle of its own");
  const Plugin& plugin = loaded.plugin;
  const int ofNull = plugin.call(&Table::release_file, nullptr);
  expect(ofNull == 1, "a null file: expected status 1, seen {}", ofNull);
  const int status = plugin.call(&Table::release_file, other);
  expect(status == 0 || status == 1, "expected status 0 or 1, seen {}", status);
  expect(loaded.streamCount() == streams, "another file has {} of {} streams afterwards",
         loaded.streamCount(), streams);
  if (status == 0)
    return;
  loaded.file = other;
  expect(loaded.streamCount() == streams, "status 1, but the file has {} of {} streams afterwards",
         loaded.streamCount(), streams);
}

void releasesAllFiles(Loaded& loaded) {
  const int streams = loaded.streamCount();
  for (int round = 0; round < 2; ++round) { // the second time there is none
    const int status = loaded.plugin.call(&Table::release_all_files);
    expect(status == 0, "expected status 0, seen {}", status);
  }
  if (!loaded.file)
    return;
  loaded.file = loaded.parse(loaded.subject.file.c_str());
  expect(loaded.file, "the file is declined after release_all_files");
  expect(loaded.streamCount() == streams, "the file has {} streams, then {}", streams,
         loaded.streamCount());
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
  const auto expectFlag = [&](std::int64_t flag, const char* when) {
    const PropertySource source{loaded, PropertyLevel::file};
    const _ox_wp_prop_type record = source.value(ox_wp_prop_file_changed);
    expect(record.identifier == ox_wp_prop_file_changed && record.integer_value == flag,
           "{}: expected {}, seen {}", when, flag, record.integer_value);
  };
  expectFlag(0, "after the parse");
  setModificationTime(path, kTimeOfCopies + 1);
  expectFlag(1, "after a new modification time");
  expectFlag(0, "read again after a new modification time");
  std::filesystem::resize_file(path, std::filesystem::file_size(path) + 1);
  setModificationTime(path, kTimeOfCopies + 1);
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
    {"a missing file, a folder, /dev/null and a null path are declined", declinesMissingFile},
    {"the file is parsed", parsesTheFile, Needs::path},
    {"the path is not needed after the parse", keepsItsOwnPath, Needs::file},
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
