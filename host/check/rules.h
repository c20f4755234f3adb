// The rules of the boundary: tables of a name and a function, and what the functions share.
//
// The rules follow from ox_wp_plugin.h and hold for any plug-in. A rule returns when the plug-in
// keeps it. It throws Broken when the plug-in does not, and Skipped when it cannot be tried; any
// other exception is a trouble of the checker's own and counts as Skipped.
#pragma once

#include <array>
#include <bit>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include <fmt/core.h>

#include "host/boundary/propertyTable.h" // IWYU pragma: export
#include "host/check/tracedLibrary.h"    // IWYU pragma: export

namespace host {

// The plug-in breaks the rule; the message says what was seen.
struct Broken : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The rule cannot be tried; the message says why.
struct Skipped : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// What a rule is tried on.
struct Subject {
  std::string plugin; // path of the library
  std::string file;   // path of a data file, or of a copy that the rule may change; empty: none
  int printed;        // descriptor behind standard output and error
  // Half of the time limit. No copy starts later, so that a slow one is not taken for a hang.
  std::chrono::steady_clock::time_point lastCopy;
};

// With none, a rule is tried without a file. With any, it is tried so and on each file too. From
// file on, it is skipped without one.
enum class Needs { none, any, file, copy };

struct Rule {
  std::string_view name;
  void (*run)(const Subject& subject);
  Needs needs = Needs::none;
  bool isFirst = false; // where it is broken, no other rule can be tried
};

extern const std::span<const Rule> kEntryRules;    // the entry point, the table, the plug-in object
extern const std::span<const Rule> kFileRules;     // parsing, handles, releasing
extern const std::span<const Rule> kPropertyRules; // the properties of all levels
extern const std::span<const Rule> kSampleRules;   // copies

// Throws Broken with what was seen, unless the rule is kept.
template<class... Arguments>
void expect(bool kept, fmt::format_string<Arguments...> seen, Arguments&&... arguments) {
  if (!kept)
    throw Broken(fmt::format(seen, std::forward<Arguments>(arguments)...));
}

// Indexes below the valid ones.
inline constexpr std::array kNegatives = {-1, -2, INT32_MIN};

// A path at which there is no file and none can be made.
inline constexpr const char* kMissingFile = "/proc/self/missing";

// Every copy may read the whole file, so only the first streams of a file are copied.
inline constexpr size_t kStreamsTried = 8;

// A record or table with every byte set, to see afterwards which ones were written.
template<class Record>
Record patterned() noexcept {
  std::array<unsigned char, sizeof(Record)> bytes;
  bytes.fill(0xA5);
  return std::bit_cast<Record>(bytes);
}

template<class Record>
std::array<unsigned char, sizeof(Record)> bytesOf(const Record& record) noexcept {
  return std::bit_cast<std::array<unsigned char, sizeof(Record)>>(record);
}

// A property as it was read into a record with every byte set.
struct Reading {
  std::string describe() const; // for messages

  int status = 0;
  _ox_wp_prop_type record = patterned<_ox_wp_prop_type>();
};

struct Loaded;

// What has properties: the plug-in, its file, a section or a variable.
struct Owner {
  std::string name() const; // for messages
  int get(int index, _ox_wp_prop_type* record) const;
  Reading read(int index) const;
  // The property of this identifier, at its fixed index.
  _ox_wp_prop_type value(int32_t identifier) const;
  // The same, as a number of objects. Throws Skipped where it is none: a rule of its own reports
  // it.
  int count(int32_t identifier) const;

  const Loaded& loaded;
  PropertyLevel level;
  ox_wp_section_handle section = nullptr;
  int variable = 0;
};

// A plug-in object with the subject's file parsed, if there is one.
//
// What one rule reports, such as a declined file or a section without a handle, is Skipped here:
// the other rules take it for granted.
struct Loaded {
  explicit Loaded(const Subject& subject);

  // Parses another file or null; the result is null where that is declined.
  ox_wp_file_handle parse(const char* path) const {
    return plugin->parse_file(plugin.handle(), path);
  }
  // Parses files about which a plug-in may queue messages.
  void declineFiles(const Subject& subject) const {
    parse(kMissingFile);
    parse(subject.plugin.c_str());
  }

  int sectionCount() const {
    return Owner{*this, PropertyLevel::file}.count(ox_wp_prop_section_count);
  }
  int variableCount(ox_wp_section_handle section) const {
    return Owner{*this, PropertyLevel::section, section}.count(ox_wp_prop_variable_count);
  }

  // Of all sections; 0 where there is none to be found. Shows whether a file is still what it was.
  int streamCount() const;

  ox_wp_section_handle section(int index) const;

  template<class Visit>
  void forEachSection(Visit visit) const { // visit(section)
    for (int index = 0; index < sectionCount(); ++index)
      visit(section(index));
  }
  template<class Visit>
  void forEachVariable(Visit visit) const { // visit(owner)
    forEachSection([&](ox_wp_section_handle handle) {
      for (int variable = 0; variable < variableCount(handle); ++variable)
        visit(Owner{*this, PropertyLevel::variable, handle, variable});
    });
  }

  TracedLibrary library;
  Plugin plugin;
  ox_wp_file_handle file = nullptr;
};

// Parses, walks every level, and copies the first streams.
void useEverything(const Loaded& loaded, const Subject& subject);

// Throws Skipped when it is too late for another copy.
void expectTimeForCopy(const Subject& subject);

// The first line that the rule's process printed; "\n" for an empty one, "" for nothing at all.
std::string firstLine(int printed);

} // namespace host
