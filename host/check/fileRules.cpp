#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>

#include "host/base/error.h"
#include "host/check/rules.h"

namespace host {

namespace fs = std::filesystem;

namespace {

void declinesMissingFile(const Subject& subject) {
  const Library library(subject.plugin);
  const Plugin plugin(library);
  expect(!plugin->parse_file(plugin.handle(), missingFile(subject).c_str()),
         "a missing file gives a handle");
}

void parsesTheFile(const Subject& subject) {
  const Library library(subject.plugin);
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
  loaded.plugin->parse_file(loaded.plugin.handle(), missingFile(subject).c_str());
  expect(loaded.streamCount() == streams, "the earlier file has {} of {} streams",
         loaded.streamCount(), streams);
}

void releasesNoSingleFile(const Subject& subject) {
  const Loaded loaded(subject);
  const int streams = loaded.streamCount();
  for (ox_wp_file_handle file : {loaded.file, ox_wp_file_handle{nullptr}}) {
    const int status = loaded.plugin->release_file(loaded.plugin.handle(), file);
    expect(status == 1, "release_file gives {}", status);
  }
  expect(loaded.streamCount() == streams, "the file has {} of {} streams", loaded.streamCount(),
         streams);
}

void releasesAllFiles(const Subject& subject) {
  Loaded loaded(subject);
  const int streams = loaded.streamCount();
  const Plugin& plugin = loaded.plugin;
  for (int round = 0; round < 2; ++round) { // the second time there is none
    const int status = plugin->release_all_files(plugin.handle());
    expect(status == 0, "release_all_files gives {}", status);
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
  for (int index = 0; index < count; ++index) {
    ox_wp_section_handle section = sectionAt(index);
    expect(section && sectionAt(index) == section, "section {} is null or changes its handle",
           index);
  }
  expect(!sectionAt(count), "section {} of {} is not null", count, count);
  expect(!sectionAt(INT32_MAX), "section {} is not null", INT32_MAX);
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

// Changes a copy of the file and asks each time: once it must say so, then no more.
void reportsEachChangeOnce(const Subject& subject) {
  constexpr time_t kSomeTime = 1'000'000'000;
  const fs::path copy = fs::path(subject.scratch) / fs::path(subject.file).filename();
  fs::copy_file(subject.file, copy);
  fs::permissions(copy, fs::perms::owner_write, fs::perm_options::add);
  setModificationTime(copy, kSomeTime);
  Subject other = subject;
  other.file = copy.string();
  const Loaded loaded(other);
  const auto expectFlag = [&](int64_t flag, const char* when) {
    _ox_wp_prop_type record{};
    loaded.plugin->get_file_property(loaded.plugin.handle(), loaded.file, 2, &record);
    expect(record.identifier == ox_wp_prop_file_changed && record.integer_value == flag,
           "the change flag is {} {}", record.integer_value, when);
  };
  expectFlag(0, "after the parse");
  setModificationTime(copy, kSomeTime + 1);
  expectFlag(1, "after a new modification time");
  expectFlag(0, "when asked again after a new modification time");
  fs::resize_file(copy, fs::file_size(copy) + 1);
  setModificationTime(copy, kSomeTime + 1);
  expectFlag(1, "after a new size");
  expectFlag(0, "when asked again after a new size");
}

constexpr std::array kRules = std::to_array<Rule>({
    {"a missing file is declined", declinesMissingFile, false},
    {"the file is parsed", parsesTheFile, true},
    {"two parses of one path give two handles", givesEachParseItsHandle, true},
    {"a failed parse leaves earlier files usable", keepsFilesAfterFailedParse, true},
    {"release_file answers 1 and releases nothing", releasesNoSingleFile, false},
    {"release_all_files answers 0 and files can be parsed again", releasesAllFiles, false},
    {"sections are handed out by index, null outside", handsOutSections, true},
    {"the change flag tells each change once", reportsEachChangeOnce, true},
});

} // namespace

std::span<const Rule> fileRules() {
  return kRules;
}

} // namespace host
