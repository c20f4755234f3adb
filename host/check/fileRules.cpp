// Rules of parsing, of handles and of releasing.

#include <cstdint>
#include <ctime>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>

#include "host/base/error.h"
#include "host/check/rules.h"

namespace host {

namespace fs = std::filesystem;

namespace {

void declinesMissingFile(const Subject& subject) {
  const Loaded loaded(subject);
  expect(!loaded.parse(kMissingFile), "a missing file gives a handle");
  expect(!loaded.parse(nullptr), "a null path gives a handle");
}

void parsesTheFile(const Subject& subject) {
  try {
    const Loaded loaded(subject);
  } catch (const Skipped& declined) {
    throw Broken(declined.what());
  }
}

void givesEachParseItsHandle(const Subject& subject) {
  const Loaded loaded(subject);
  ox_wp_file_handle second = loaded.parse(subject.file.c_str());
  expect(second, "the second parse is declined");
  expect(second != loaded.file, "both parses give the same handle");
}

void keepsFilesAfterFailedParse(const Subject& subject) {
  const Loaded loaded(subject);
  const int streams = loaded.streamCount();
  loaded.parse(kMissingFile);
  expect(loaded.streamCount() == streams, "the earlier file has {} of {} streams",
         loaded.streamCount(), streams);
}

// A plug-in need not offer the release of a single file. Then the file stays usable.
void releasesOneFileOrNone(const Subject& subject) {
  Loaded loaded(subject);
  const int streams = loaded.streamCount();
  ox_wp_file_handle other = loaded.parse(subject.file.c_str());
  if (!other || other == loaded.file)
    throw Skipped("a second parse gives no handle of its own");
  const Plugin& plugin = loaded.plugin;
  const int ofNull = plugin->release_file(plugin.handle(), nullptr);
  expect(ofNull == 1, "a null file: expected status 1, seen {}", ofNull);
  const int status = plugin->release_file(plugin.handle(), other);
  expect(status == 0 || status == 1, "expected status 0 or 1, seen {}", status);
  expect(loaded.streamCount() == streams, "another file has {} of {} streams afterwards",
         loaded.streamCount(), streams);
  if (status == 0)
    return;
  loaded.file = other;
  expect(loaded.streamCount() == streams, "status 1, but the file has {} of {} streams afterwards",
         loaded.streamCount(), streams);
}

void releasesAllFiles(const Subject& subject) {
  Loaded loaded(subject);
  const int streams = loaded.streamCount();
  const Plugin& plugin = loaded.plugin;
  for (int round = 0; round < 2; ++round) { // the second time there is none
    const int status = plugin->release_all_files(plugin.handle());
    expect(status == 0, "expected status 0, seen {}", status);
  }
  if (!loaded.file)
    return;
  loaded.file = loaded.parse(subject.file.c_str());
  expect(loaded.file, "the file is declined after release_all_files");
  expect(loaded.streamCount() == streams, "the file has {} streams, then {}", streams,
         loaded.streamCount());
}

void handsOutSections(const Subject& subject) {
  const Loaded loaded(subject);
  const Plugin& plugin = loaded.plugin;
  const auto sectionAt = [&](int index) {
    return plugin->get_section_handle(plugin.handle(), loaded.file, index);
  };
  const int count = loaded.sectionCount();
  for (int index = 0; index < count; ++index) {
    ox_wp_section_handle section = sectionAt(index);
    expect(section, "section {} of {} is null", index, count);
    expect(section == sectionAt(index), "section {} has two handles", index);
  }
  for (const int index : {count, INT32_MAX, -1, -2, INT32_MIN})
    expect(!sectionAt(index), "section {} of {} is not null", index, count);
  expect(!plugin->get_section_handle(nullptr, loaded.file, 0), "a null plug-in has a section");
  expect(!plugin->get_section_handle(plugin.handle(), nullptr, 0), "a null file has a section");
}

void setModificationTime(const std::string& path, time_t seconds) {
  const std::array<timespec, 2> times = {{{0, UTIME_OMIT}, {seconds, 0}}};
  if (utimensat(AT_FDCWD, path.c_str(), times.data(), 0) != 0)
    throw systemError(path);
}

// Changes the file and reads the flag twice each time: 1, then 0.
void reportsEachChangeOnce(const Subject& subject) {
  constexpr time_t kSomeTime = 1'000'000'000;
  const std::string& path = subject.file;
  setModificationTime(path, kSomeTime);
  const Loaded loaded(subject);
  const auto expectFlag = [&](int64_t flag, const char* when) {
    const Owner owner{loaded, PropertyLevel::file};
    const _ox_wp_prop_type record = owner.value(ox_wp_prop_file_changed);
    expect(record.identifier == ox_wp_prop_file_changed && record.integer_value == flag,
           "{}: expected {}, seen {}", when, flag, record.integer_value);
  };
  expectFlag(0, "after the parse");
  setModificationTime(path, kSomeTime + 1);
  expectFlag(1, "after a new modification time");
  expectFlag(0, "read again after a new modification time");
  fs::resize_file(path, fs::file_size(path) + 1);
  setModificationTime(path, kSomeTime + 1);
  expectFlag(1, "after a new size");
  expectFlag(0, "read again after a new size");
  fs::remove(path);
  expectFlag(1, "after the file has vanished");
}

constexpr std::array kRules = std::to_array<Rule>({
    {"a missing file and a null path are declined", declinesMissingFile},
    {"the file is parsed", parsesTheFile, Needs::file},
    {"two parses of one path give two handles", givesEachParseItsHandle, Needs::file},
    {"a failed parse leaves earlier files usable", keepsFilesAfterFailedParse, Needs::file},
    {"release_file returns 0, or 1 with the file still usable", releasesOneFileOrNone, Needs::file},
    {"release_all_files returns 0, and files can be parsed again", releasesAllFiles, Needs::any},
    {"each section has one handle; any other index gives null", handsOutSections, Needs::file},
    {"the change flag reports each change once", reportsEachChangeOnce, Needs::copy},
});

} // namespace

const std::span<const Rule> kFileRules = kRules;

} // namespace host
