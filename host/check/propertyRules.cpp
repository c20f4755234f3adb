// Rules of the properties: which there are, how they are refused, and what they hold.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <utility>
#include <vector>

#include "host/boundary/propertyTable.h"
#include "host/boundary/walk.h"
#include "host/check/rules.h"

namespace host {

namespace {

// A property as it was read into a record with every byte set.
struct Reading {
  int status;
  _ox_wp_prop_type record = patterned<_ox_wp_prop_type>();

  // For messages.
  std::string describe() const {
    if (record.identifier == ox_wp_prop_none)
      return fmt::format("status {}, identifier 0", status);
    return fmt::format("status {}, identifier {} ({}), type {}", status, record.identifier,
                       propertyName(record.identifier), record.type);
  }
};

// What has properties: the plug-in, a file, a section or a variable.
struct Owner {
  PropertyLevel level;
  std::string name; // for messages
  std::function<int(int index, _ox_wp_prop_type* record)> get;

  Reading read(int index) const {
    Reading reading{};
    reading.status = get(index, &reading.record);
    return reading;
  }

  // The property of this identifier, at its fixed index.
  _ox_wp_prop_type value(int32_t identifier) const {
    return read(findProperty(identifier)->index).record;
  }
  const char* string(int32_t identifier) const {
    const char* string = value(identifier).string_value;
    expect(string, "{}: {} is a null string", name, propertyName(identifier));
    return string;
  }
};

Owner pluginOwner(const Plugin& plugin) {
  return {PropertyLevel::plugin, "plug-in", [&plugin](int index, _ox_wp_prop_type* record) {
            return plugin->get_plugin_property(plugin.handle(), index, record);
          }};
}

Owner fileOwner(const Loaded& loaded) {
  return {PropertyLevel::file, "file", [&loaded](int index, _ox_wp_prop_type* record) {
            return loaded.plugin->get_file_property(loaded.plugin.handle(), loaded.file, index,
                                                    record);
          }};
}

Owner sectionOwner(const Loaded& loaded, ox_wp_section_handle section) {
  return {PropertyLevel::section, "section",
          [&loaded, section](int index, _ox_wp_prop_type* record) {
            return loaded.plugin->get_section_property(loaded.plugin.handle(), loaded.file, section,
                                                       index, record);
          }};
}

Owner variableOwner(const Loaded& loaded, ox_wp_section_handle section, int variable) {
  return {PropertyLevel::variable, fmt::format("variable {}", variable),
          [&loaded, section, variable](int index, _ox_wp_prop_type* record) {
            return loaded.plugin->get_variable_property(loaded.plugin.handle(), loaded.file,
                                                        section, variable, index, record);
          }};
}

// Calls visit(owner) for the file and all that it holds.
template<class Visit>
void forEachOwner(const Loaded& loaded, Visit visit) {
  visit(fileOwner(loaded));
  loaded.forEachSection(
      [&](ox_wp_section_handle section) { visit(sectionOwner(loaded, section)); });
  loaded.forEachVariable([&](ox_wp_section_handle section, int variable) {
    visit(variableOwner(loaded, section, variable));
  });
}

// Calls visit(definition) for the properties that the boundary defines at a level.
template<class Visit>
void forEachDefinition(PropertyLevel level, Visit visit) {
  for (const PropertyDefinition& definition : kPropertyTable)
    if (definition.level == level)
      visit(definition);
}

constexpr std::array kFields = std::to_array<std::pair<size_t, const char*>>({
    {offsetof(_ox_wp_prop_type, identifier), "identifier"},
    {offsetof(_ox_wp_prop_type, reserved_4), "reserved_4"},
    {offsetof(_ox_wp_prop_type, label), "label"},
    {offsetof(_ox_wp_prop_type, type), "type"},
    {offsetof(_ox_wp_prop_type, reserved_20), "reserved_20"},
    {offsetof(_ox_wp_prop_type, string_value), "string_value"},
    {offsetof(_ox_wp_prop_type, double_value), "double_value"},
    {offsetof(_ox_wp_prop_type, reserved_40), "reserved_40"},
    {offsetof(_ox_wp_prop_type, integer_value), "integer_value"},
});

// All fields must be as the caller left them, but the identifier and, on success, the type and what
// belongs to it.
void expectOthersUnchanged(const Reading& reading, const std::string& where) {
  const _ox_wp_prop_type& record = reading.record;
  auto allowed = patterned<_ox_wp_prop_type>();
  allowed.identifier = record.identifier;
  if (record.identifier != ox_wp_prop_none) {
    allowed.type = record.type;
    if (record.type == ox_wp_type_string || record.type == ox_wp_type_message)
      allowed.string_value = record.string_value;
    if (record.type == ox_wp_type_integer || record.type == ox_wp_type_message)
      allowed.integer_value = record.integer_value;
    if (record.type == ox_wp_type_double)
      allowed.double_value = record.double_value;
  }
  const auto seen = bytesOf(record);
  const auto expected = bytesOf(allowed);
  for (size_t i = 0; i < kFields.size(); ++i) {
    const size_t end = i + 1 < kFields.size() ? kFields[i + 1].first : seen.size();
    for (size_t at = kFields[i].first; at < end; ++at)
      expect(seen[at] == expected[at], "{}: {} was written to ({})", where, kFields[i].second,
             reading.describe());
  }
}

void expectRefused(const Owner& owner, int index) {
  const Reading reading = owner.read(index);
  expect(reading.status == 1 && reading.record.identifier == ox_wp_prop_none,
         "{}, index {}: expected status 1, identifier 0; seen {}", owner.name, index,
         reading.describe());
  expectOthersUnchanged(reading, fmt::format("{}, index {}", owner.name, index));
}

// Calls visit(index, reading) for index 0, 1, 2, ... until no property comes back.
template<class Visit>
void walkReadings(const Owner& owner, Visit visit) {
  for (int index = 0; index < kLongestWalk; ++index) {
    const Reading reading = owner.read(index);
    if (reading.record.identifier == ox_wp_prop_none)
      return;
    visit(index, reading);
  }
  throw Broken("the walk does not end");
}

// The place of a property's kind in the order of a walk: that of its row in the table.
void keepsPluginOrder(const Subject& subject) {
  const TracedLibrary library(subject.plugin);
  const Plugin plugin(library);
  const PropertyDefinition* last = nullptr;
  walkReadings(pluginOwner(plugin), [&](int index, const Reading& reading) {
    const PropertyDefinition* definition = findProperty(reading.record.identifier);
    if (!definition) // one that this host does not know
      return;
    expect(definition->level == PropertyLevel::plugin && definition->type == reading.record.type,
           "index {}: {} has type {}", index, definition->name, reading.record.type);
    expect(!last || last <= definition, "index {}: {} after {}", index, definition->name,
           last->name);
    last = definition;
  });
}

void keepsPluginRecords(const Subject& subject) {
  const Loaded loaded(subject);
  const Owner owner = pluginOwner(loaded.plugin);
  owner.get(0, nullptr);
  for (const int index : kNegatives) {
    const Reading reading = owner.read(index);
    expect(reading.record.identifier == ox_wp_prop_none, "index {}: expected identifier 0, seen {}",
           index, reading.record.identifier);
    expectOthersUnchanged(reading, fmt::format("index {}", index));
  }
  walkReadings(owner, [](int index, const Reading& reading) {
    expectOthersUnchanged(reading, fmt::format("index {}", index));
  });
}

// Only an index past the end clears the queue: until then every property can be read again.
void deliversMessagesOnce(const Subject& subject) {
  const TracedLibrary library(subject.plugin);
  const Plugin plugin(library);
  const Owner owner = pluginOwner(plugin);
  plugin->parse_file(plugin.handle(), kMissingFile); // may queue a message
  size_t messages = 0;
  size_t others = 0;
  walkReadings(owner, [&](int index, const Reading& first) {
    const Reading second = owner.read(index);
    expect(second.record.identifier == first.record.identifier,
           "index {} gives identifier {}, then {}", index, first.record.identifier,
           second.record.identifier);
    ++(first.record.identifier == ox_wp_prop_error_message ? messages : others);
  });
  const size_t later = walkPlugin(plugin).size();
  expect(later == others, "first {} properties and {} messages, in the next walk {} of both",
         others, messages, later);
}

void hasTheProperties(const Subject& subject) {
  const Loaded loaded(subject);
  forEachOwner(loaded, [](const Owner& owner) {
    forEachDefinition(owner.level, [&](const PropertyDefinition& definition) {
      const Reading reading = owner.read(definition.index);
      const _ox_wp_prop_type& record = reading.record;
      expect(reading.status == 0 && record.identifier == definition.identifier &&
                 record.type == definition.type,
             "{}, index {}: expected status 0, identifier {} ({}), type {}; seen {}", owner.name,
             definition.index, definition.identifier, definition.name, definition.type,
             reading.describe());
      expect(record.type != ox_wp_type_string || record.string_value, "{}: {} is a null string",
             owner.name, definition.name);
    });
  });
}

// A plug-in may have more properties than the boundary defines.
void endsWalks(const Subject& subject) {
  const Loaded loaded(subject);
  forEachOwner(loaded, [](const Owner& owner) {
    int end = 0;
    walkReadings(owner, [&](int index, const Reading&) { end = index + 1; });
    for (const int index : {end, INT32_MAX})
      expectRefused(owner, index);
    for (const int index : kNegatives)
      expectRefused(owner, index);
  });
}

void refusesOtherVariables(const Subject& subject) {
  const Loaded loaded(subject);
  loaded.forEachSection([&](ox_wp_section_handle section) {
    for (const int variable : {loaded.variableCount(section), INT32_MAX})
      expectRefused(variableOwner(loaded, section, variable), 0);
    for (const int variable : kNegatives)
      expectRefused(variableOwner(loaded, section, variable), 0);
  });
}

void refusesNullObjects(const Subject& subject) {
  Loaded loaded(subject);
  const auto expectRecordNeeded = [](const Owner& owner) {
    const int status = owner.get(0, nullptr);
    expect(status == 1, "{}: a null record: expected status 1, seen {}", owner.name, status);
  };
  if (loaded.file)
    forEachOwner(loaded, expectRecordNeeded);
  std::vector<Owner> nulls = {sectionOwner(loaded, nullptr), variableOwner(loaded, nullptr, 0)};
  loaded.file = nullptr;
  nulls.push_back(fileOwner(loaded));
  for (Owner& owner : nulls) {
    owner.name = "null " + owner.name;
    expectRefused(owner, 0);
    expectRecordNeeded(owner);
  }
}

void leavesOtherFields(const Subject& subject) {
  const Loaded loaded(subject);
  forEachOwner(loaded, [](const Owner& owner) {
    forEachDefinition(owner.level, [&](const PropertyDefinition& definition) {
      expectOthersUnchanged(owner.read(definition.index), owner.name);
    });
  });
}

void reportsKnownValues(const Subject& subject) {
  const Loaded loaded(subject);
  forEachOwner(loaded, [](const Owner& owner) {
    forEachDefinition(owner.level, [&](const PropertyDefinition& definition) {
      const int64_t value = owner.value(definition.identifier).integer_value;
      const auto expectThat = [&](bool kept) {
        expect(kept, "{}: {} is {}", owner.name, definition.name, value);
      };
      switch (definition.identifier) {
      case ox_wp_prop_file_kind:
      case ox_wp_prop_section_kind:
      case ox_wp_prop_variable_kind:
        return expectThat(value == 0);
      case ox_wp_prop_variable_data_type:
        return expectThat(value == ox_wp_type_none || value == ox_wp_type_double);
      case ox_wp_prop_section_count:
      case ox_wp_prop_variable_count:
      case ox_wp_prop_sample_count:
        return expectThat(value >= 0);
      default:
        return;
      }
    });
  });
}

void computesTheEnd(const Subject& subject) {
  const Loaded loaded(subject);
  loaded.forEachVariable([&](ox_wp_section_handle section, int variable) {
    const Owner owner = variableOwner(loaded, section, variable);
    const auto count = static_cast<double>(owner.value(ox_wp_prop_sample_count).integer_value);
    const double expected = std::fma(count, owner.value(ox_wp_prop_x_step).double_value,
                                     owner.value(ox_wp_prop_x_start).double_value);
    const double seen = owner.value(ox_wp_prop_x_end).double_value;
    expect(seen == expected || (std::isnan(seen) && std::isnan(expected)),
           "{}: expected {}, seen {}", owner.name, expected, seen);
  });
}

// A string as the plug-in delivered it, and a copy of it from then.
struct KeptString {
  explicit KeptString(const char* string) : delivered(string), copy(string) {}
  void expectUnchanged() const {
    expect(delivered == copy, "\"{}\" became \"{}\"", copy, delivered);
  }

  const char* delivered;
  std::string copy;
};

void keepsNames(const Subject& subject) {
  const Loaded loaded(subject);
  std::vector<KeptString> names;
  loaded.forEachVariable([&](ox_wp_section_handle section, int variable) {
    names.emplace_back(variableOwner(loaded, section, variable).string(ox_wp_prop_variable_name));
  });
  forEachOwner(loaded, [](const Owner& owner) { owner.read(0); });
  loaded.plugin->parse_file(loaded.plugin.handle(), kMissingFile);
  openFile(loaded.plugin, subject.file);
  for (const KeptString& name : names)
    name.expectUnchanged();
}

// The labels of a section may share one string, but calls for other objects leave it alone.
void keepsLabels(const Subject& subject) {
  const Loaded loaded(subject);
  forEachOwner(loaded, [&](const Owner& owner) {
    for (const int32_t identifier :
         {ox_wp_prop_section_x_label, ox_wp_prop_variable_x_label, ox_wp_prop_variable_y_label}) {
      if (findProperty(identifier)->level != owner.level)
        continue;
      const KeptString label(owner.string(identifier));
      fileOwner(loaded).value(ox_wp_prop_section_count);
      pluginOwner(loaded.plugin).read(0);
      loaded.section(0);
      loaded.plugin->parse_file(loaded.plugin.handle(), kMissingFile);
      label.expectUnchanged();
    }
  });
}

constexpr std::array kRules = std::to_array<Rule>({
    {"properties of the plug-in end, and come in the order of the boundary", keepsPluginOrder},
    {"unused fields stay unchanged in properties of the plug-in", keepsPluginRecords},
    {"queued messages are delivered once, in a full walk", deliversMessagesOnce},
    {"null files, sections and records are refused", refusesNullObjects},
    {"every property has its index and its type", hasTheProperties, Needs::file},
    {"any index out of range gives identifier 0 and status 1", endsWalks, Needs::file},
    {"properties of variables outside the section are refused", refusesOtherVariables, Needs::file},
    {"unused fields stay unchanged", leavesOtherFields, Needs::file},
    {"kind is 0, data type none or double, count not negative", reportsKnownValues, Needs::file},
    {"the end is start + count * interval, rounded once", computesTheEnd, Needs::file},
    {"names stay unchanged until their file is released", keepsNames, Needs::file},
    {"a label stays unchanged until the next property of its section", keepsLabels, Needs::file},
});

} // namespace

std::span<const Rule> propertyRules() {
  return kRules;
}

} // namespace host
