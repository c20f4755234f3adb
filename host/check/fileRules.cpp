// Rules of parsing, of handles and of releasing.

#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>

#include "host/base/error.h"
#include "host/check/rules.h"

namespace host {

namespace fs = std::filesystem;

namespace {

void declinesMissingFile(const Subject& subject) {
  const TracedLibrary library(subject.plugin);
  const Plugin plugin(library);
  expect(!plugin->parse_file(plugin.handle(), kMissingFile), "a missing file gives a handle");
  expect(!plugin->parse_file(plugin.handle(), nullptr), "a null path gives a handle");
}

void parsesTheFile(const Subject& subject) {
  const TracedLibrary library(subject.plugin);
  const Plugin plugin(library);
  expect(plugin->parse_file(plugin.handle(), subject.file.c_str()), "the file is declined");
}

void givesEachParseItsHandle(const Subject& subject) {
  const Loaded loaded(subject);
  ox_wp_file_handle second =
      loaded.plugin->parse_file(loaded.plugin.handle(), subject.file.c_str());
  expect(second, "the second parse is declined");
  expect(second != loaded.file, "both parses give the same handle");
}

void keepsFilesAfterFailedParse(const Subject& subject) {
  const Loaded loaded(subject);
  const int streams = loaded.streamCount();
  loaded.plugin->parse_file(loaded.plugin.handle(), kMissingFile);
  expect(loaded.streamCount() == streams, "the earlier file has {} of {} streams",
         loaded.streamCount(), streams);
}

// A plug-in need not offer the release of a single file. Then the file stays usable.
void releasesOneFileOrNone(const Subject& subject) {
  Loaded loaded(subject);
  const int streams = loaded.streamCount();
  ox_wp_file_handle other = loaded.plugin->parse_file(loaded.plugin.handle(), subject.file.c_str());
  if (!other || other == loaded.file)
    throw Skipped("a second parse gives no handle of its own");
  const int status = loaded.plugin->release_file(loaded.plugin.handle(), other);
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
  loaded.file = plugin->parse_file(plugin.handle(), subject.file.c_str());
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
  for (int index = 0; index < count; ++index)
    expect(sectionAt(index), "section {} of {} is null", index, count);
  for (const int index : {count, INT32_MAX})
    expect(!sectionAt(index), "section {} of {} is not null", index, count);
  for (const int index : kNegatives)
    expect(!sectionAt(index), "section {} is not null", index);
  expect(!plugin->get_section_handle(nullptr, loaded.file, 0), "a null plug-in has a section");
  expect(!plugin->get_section_handle(plugin.handle(), nullptr, 0), "a null file has a section");
}

void setModificationTime(const std::string& path, time_t seconds) {
  const std::array<timespec, 2> times = {{{0, UTIME_OMIT}, {seconds, 0}}};
  if (utimensat(AT_FDCWD, path.c_str(), times.data(), 0) != 0)
    throw systemError(path);
}

// Changes a copy of the file and reads the flag twice each time: 1, then 0.
void reportsEachChangeOnce(const Subject& subject) {
  constexpr time_t kSomeTime = 1'000'000'000;
  const fs::path copy = fs::path(subject.scratch) / fs::path(subject.file).filename();
  fs::copy_file(subject.file, copy);
  fs::permissions(copy, fs::perms::owner_write, fs::perm_options::add);
  setModificationTime(copy, kSomeTime);
  Subject copied = subject;
  copied.file = copy.string();
  const Loaded loaded(copied);
  const auto expectFlag = [&](int64_t flag, const char* when) {
    _ox_wp_prop_type record{};
    loaded.plugin->get_file_property(loaded.plugin.handle(), loaded.file, ox_wp_index_file_changed,
                                     &record);
    expect(record.identifier == ox_wp_prop_file_changed && record.integer_value == flag,
           "{}: expected {}, seen {}", when, flag, record.integer_value);
  };
  expectFlag(0, "after the parse");
  setModificationTime(copy, kSomeTime + 1);
  expectFlag(1, "after a new modification time");
  expectFlag(0, "read again after a new modification time");
  fs::resize_file(copy, fs::file_size(copy) + 1);
  setModificationTime(copy, kSomeTime + 1);
  expectFlag(1, "after a new size");
  expectFlag(0, "read again after a new size");
  fs::remove(copy);
  expectFlag(1, "after the file has vanished");
}

constexpr std::array kRules = std::to_array<Rule>({
    {"a missing file and a null path are declined", declinesMissingFile},
    {"the file is parsed", parsesTheFile, Needs::file},
    {"two parses of one path give two handles", givesEachParseItsHandle, Needs::file},
    {"a failed parse leaves earlier files usable", keepsFilesAfterFailedParse, Needs::file},
    {"release_file returns 0, or 1 with the file still usable", releasesOneFileOrNone, Needs::file},
    {"release_all_files returns 0, and files can be parsed again", releasesAllFiles},
    {"each section has a handle; any other index gives null", handsOutSections, Needs::file},
    {"the change flag reports each change once", reportsEachChangeOnce, Needs::fileAndFolder},
});

} // namespace

std::span<const Rule> fileRules() {
  return kRules;
}

} // namespace host
