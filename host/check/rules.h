// The rules of the boundary, as tables of a name and a function, and what the functions share.
//
// A rule runs in a process of its own, so it may end in any way: it returns when the plug-in keeps
// the rule, throws Broken when it does not, and Skipped when there is nothing to see.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include <fmt/core.h>

#include "host/boundary/plugin.h"

namespace host {

struct Broken : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct Skipped : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// What a rule is tried on.
struct Subject {
  std::string plugin;  // path of the library
  std::string file;    // a data file; empty when there is none
  std::string scratch; // an empty folder for files of the rule's own
  int printed;         // descriptor that standard output and standard error go to
};

struct Rule {
  std::string_view name;
  void (*run)(const Subject& subject);
  bool needsFile;
};

std::span<const Rule> entryRules();    // the entry point, the table, the plug-in object
std::span<const Rule> fileRules();     // parsing, handles, releasing
std::span<const Rule> propertyRules(); // the properties of all levels
std::span<const Rule> sampleRules();   // copies

// Says what was seen when that breaks the rule.
template<class... Arguments>
void expect(bool kept, fmt::format_string<Arguments...> seen, Arguments&&... arguments) {
  if (!kept)
    throw Broken(fmt::format(seen, std::forward<Arguments>(arguments)...));
}

// Numbers at and beyond the ends of what can be asked for.
inline constexpr std::array kNegatives = {-1, -2, INT32_MIN};

// A record or table with every byte set, to see afterwards which ones were written.
template<class Record>
Record patterned() noexcept {
  std::array<unsigned char, sizeof(Record)> bytes;
  bytes.fill(0xA5);
  return std::bit_cast<Record>(bytes);
}

template<class Record>
bool sameBytes(const Record& a, const Record& b) noexcept {
  using Bytes = std::array<unsigned char, sizeof(Record)>;
  return std::bit_cast<Bytes>(a) == std::bit_cast<Bytes>(b);
}

// A path at which there is no file.
std::string missingFile(const Subject& subject);

// A plug-in object of its own with the subject's file parsed, if there is one.
struct Loaded {
  // Throws Skipped when the plug-in declines the file: a rule of its own says so.
  explicit Loaded(const Subject& subject);

  // Numbers from properties. Each reads one property that is asserted to be there.
  int sectionCount() const;
  int variableCount(ox_wp_section_handle section) const;
  int64_t sampleCount(ox_wp_section_handle section, int variable) const;

  // Of all sections; 0 without a file. Tells whether a file is still what it was.
  int streamCount() const;

  ox_wp_section_handle section(int index) const;

  // Calls visit(section) for every section, or visit(section, variable) for every variable.
  template<class Visit>
  void forEachSection(Visit visit) const {
    for (int index = 0; index < sectionCount(); ++index)
      visit(section(index));
  }
  template<class Visit>
  void forEachVariable(Visit visit) const {
    forEachSection([&](ox_wp_section_handle handle) {
      for (int variable = 0; variable < variableCount(handle); ++variable)
        visit(handle, variable);
    });
  }

  Library library;
  Plugin plugin;
  ox_wp_file_handle file = nullptr;
};

// Uses everything once: walks every level, copies, asks for what is not there, releases.
void useEverything(const Subject& subject);

} // namespace host
