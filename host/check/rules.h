// The rules of the boundary: tables of a name and a function, and what the functions share.
//
// The rules follow from ox_wp_plugin.h and hold for any plug-in. A rule returns when the plug-in
// keeps it. It throws Broken when the plug-in does not, and Skipped when it cannot be tried. Other
// exceptions say that the machine kept the rule from running.
#pragma once

#include <array>
#include <bit>
#include <chrono>  // IWYU pragma: export
#include <cstdint> // IWYU pragma: export
#include <filesystem>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include <fmt/core.h>

#include "host/base/messages.h"
#include "host/boundary/plugin.h"        // IWYU pragma: export
#include "host/boundary/propertyTable.h" // IWYU pragma: export

namespace host {

// The plug-in breaks the rule; the message says what was seen.
struct Broken : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The rule cannot be tried; the message says why.
using Skipped = Error;

// What a rule is tried on.
struct Subject {
  std::string plugin; // path of the library
  std::string file;   // path of a copy of a data file, which the rule may change; empty: none
  int printed;        // descriptor behind standard output and error
  // Half of the time limit. No copy starts later, so that a slow one is not taken for a hang.
  std::chrono::steady_clock::time_point lastCopy;
};

struct Loaded;

enum class Needs {
  none, // tried once, without a file
  any,  // so, and on each file
  path, // on each file, declined ones too
  file, // on each file that is not declined
};

// What else is tried once a rule is broken.
enum class WhenBroken {
  goOn,         // everything
  skipFunction, // everything but rules that end in the same function
  stop,         // nothing
};

struct Rule {
  std::string_view name;
  void (*run)(Loaded& loaded);
  Needs needs = Needs::none;
  WhenBroken whenBroken = WhenBroken::goOn;
};

// The first rule is the one without which no other can be tried. The second uses everything: what
// crashes there is no fault of another rule.
extern const std::span<const Rule> kObjectRules;   // the library, the plug-in object, its files
extern const std::span<const Rule> kProcessRules;  // what else of the process is touched
extern const std::span<const Rule> kPropertyRules; // the properties of all levels
extern const std::span<const Rule> kSampleRules;   // copies

// Throws Broken with what was seen, unless the rule is kept.
template<class... Arguments>
void expect(bool kept, fmt::format_string<Arguments...> seen, Arguments&&... arguments) {
  if (!kept)
    throw Broken(fmt::format(seen, std::forward<Arguments>(arguments)...));
}

inline void expectStatus(int expected, int seen, const std::string& what) {
  expect(seen == expected, "{}: expected status {}, seen {}", what, expected, seen);
}

// Indexes below the valid ones, and all that are tried around `count` valid ones.
inline constexpr std::array kNegatives = {-1, -2, INT32_MIN};
constexpr std::array<int, 5> outside(int count) noexcept {
  return {count, INT32_MAX, kNegatives[0], kNegatives[1], kNegatives[2]};
}

// A path at which there is no file and none can be made.
inline constexpr const char* kMissingFile = "/proc/self/missing";

// Long ago, so that a copy of a data file is seen to be written to.
inline std::filesystem::file_time_type timeOfCopies() {
  using namespace std::chrono;
  return file_clock::from_sys(sys_seconds(seconds(1'000'000'000)));
}

// Every copy may read the whole file, so only the first streams of a file are copied.
inline constexpr std::size_t kStreamsTried = 8;

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

// What has properties: the plug-in, its file, a section or a variable.
struct PropertySource {
  std::string name() const; // for messages
  int get(int index, _ox_wp_prop_type* record) const;
  Reading read(int index) const;
  // The property of this identifier, at its fixed index.
  _ox_wp_prop_type value(std::int32_t identifier) const;
  // The same, as a number of objects. Throws Skipped where it is none: a rule of its own reports
  // it.
  int count(std::int32_t identifier) const;
  // Copies samples of a variable. Throws Skipped when it is too late for another copy.
  int copy(ox_wp_data_type type, void* buffer, int size) const;

  const Loaded& loaded;
  PropertyLevel level;
  ox_wp_section_handle section = nullptr;
  int variable = 0;
};

// What a plug-in must leave as it is: names and values.
using ProcessState = std::array<std::pair<const char*, std::string>, 4>;
ProcessState processState();

// A plug-in object with the subject's file parsed, if there is one and it is not declined.
struct Loaded {
  explicit Loaded(const Subject& triedOn);

  // Parses another file or null; the result is null where that is declined.
  ox_wp_file_handle parse(const char* path) const { return plugin.call(&Table::parse_file, path); }
  // Parses files about which a plug-in may queue messages.
  void declineFiles() const;
  // Parses, walks every level, and copies the first streams.
  void useEverything() const;
  // Parses the file again. Returns the properties of its variables and the start of the first ones'
  // samples, to be compared.
  std::string content() const;
  // Throws Skipped when it is too late for another copy.
  void expectTimeForCopy() const;

  int sectionCount() const {
    return PropertySource{*this, PropertyLevel::file}.count(ox_wp_prop_section_count);
  }
  int variableCount(ox_wp_section_handle section) const {
    return PropertySource{*this, PropertyLevel::section, section}.count(ox_wp_prop_variable_count);
  }
  // Of all sections; 0 where there is none to be found. Shows whether a file is still what it was.
  int streamCount() const;
  // Throws Skipped where it has no handle: a rule of its own reports it.
  ox_wp_section_handle section(int index) const;

  template<class Visit>
  void forEachSection(Visit visit) const { // visit(section)
    for (int index = 0; index < sectionCount(); ++index)
      visit(section(index));
  }
  template<class Visit>
  void forEachVariable(Visit visit) const { // visit(source)
    forEachSection([&](ox_wp_section_handle handle) {
      for (int variable = 0; variable < variableCount(handle); ++variable)
        visit(PropertySource{*this, PropertyLevel::variable, handle, variable});
    });
  }

  const Subject& subject;
  const ProcessState before = processState(); // loading the library can change it too
  Library library;
  Plugin plugin;
  ox_wp_file_handle file = nullptr;
};

// The first line that the rule's process printed; "\n" for an empty one, "" for nothing at all.
std::string firstLine(int printed);

} // namespace host
