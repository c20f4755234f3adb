// Rules of the properties: which there are, how they are refused, and what they hold.

#include <algorithm>
#include <cmath>
#include <vector>

#include "host/boundary/file.h"
#include "host/boundary/propertyTable.h"
#include "host/check/rules.h"

namespace host {

namespace {

// Calls visit(source) for the file and all that it holds.
template<class Visit>
void forEachSource(const Loaded& loaded, Visit visit) {
  visit(PropertySource{loaded, PropertyLevel::file});
  loaded.forEachSection([&](ox_wp_section_handle section) {
    visit(PropertySource{loaded, PropertyLevel::section, section});
  });
  loaded.forEachVariable(visit);
}

// All fields must be as the caller left them, but the identifier and, on success, the type and what
// belongs to it.
void expectOthersUnchanged(const Reading& reading, const std::string& where) {
  const _ox_wp_prop_type& record = reading.record;
  auto allowed = patterned<_ox_wp_prop_type>();
  allowed.identifier = record.identifier;
  if (record.identifier != ox_wp_prop_none) {
    allowed.type = record.type;
    if (hasString(record.type))
      allowed.string_value = record.string_value;
    if (record.type == ox_wp_type_integer || record.type == ox_wp_type_message)
      allowed.integer_value = record.integer_value;
    if (record.type == ox_wp_type_double)
      allowed.double_value = record.double_value;
  }
  expect(bytesOf(record) == bytesOf(allowed), "{}: another field was written to; seen {}", where,
         reading.describe());
}

void expectRefused(const PropertySource& source, int index) {
  const Reading reading = source.read(index);
  expect(reading.status == 1 && reading.record.identifier == ox_wp_prop_none,
         "{}, index {}: expected status 1, identifier 0; seen {}", source.name(), index,
         reading.describe());
  expectOthersUnchanged(reading, fmt::format("{}, index {}", source.name(), index));
}

// Calls visit(index, reading) for index 0, 1, 2, ... until no property comes back.
template<class Visit>
void walkReadings(const PropertySource& source, Visit visit) {
  for (int index = 0; index < kLongestWalk; ++index) {
    const Reading reading = source.read(index);
    if (reading.record.identifier == ox_wp_prop_none)
      return;
    visit(index, reading);
  }
  throw Broken("the walk does not end");
}

// The place of a property's kind in the order of a walk: that of its row in the table.
void keepsPluginOrder(Loaded& loaded) {
  loaded.declineFiles();
  const PropertyDefinition* last = kPropertyTable.data();
  const PropertySource plugin{loaded, PropertyLevel::plugin};
  walkReadings(plugin, [&](int index, const Reading& reading) {
    expect(!hasString(reading.record.type) || reading.record.string_value,
           "index {}: a null string", index);
    const PropertyDefinition* definition = findProperty(reading.record.identifier);
    if (!definition) // one that this host does not know
      return;
    expect(definition->level == PropertyLevel::plugin && definition->type == reading.record.type,
           "index {}: {} has type {}", index, definition->name, reading.record.type);
    expect(last <= definition, "index {}: {} after {}", index, definition->name, last->name);
    last = definition;
  });
  for (const int index : kNegatives)
    expect(plugin.read(index).record.identifier == ox_wp_prop_none, "index {} is accepted", index);
}

std::string contentOf(const Reading& reading) {
  const _ox_wp_prop_type& record = reading.record;
  return fmt::format("{} {}", record.identifier,
                     hasString(record.type) && record.string_value ? record.string_value : "");
}

// Only an index past the end clears the queue: until then a walk can begin again.
void deliversMessagesOnce(Loaded& loaded) {
  loaded.declineFiles();
  const PropertySource source{loaded, PropertyLevel::plugin};
  std::size_t messages = 0;
  std::size_t others = 0;
  walkReadings(source, [&](int index, const Reading& first) {
    const std::string before = contentOf(first);
    source.read(0);
    const std::string again = contentOf(source.read(index));
    expect(again == before, "index {} gives \"{}\", and \"{}\" in a second walk", index, before,
           again);
    ++(first.record.identifier == ox_wp_prop_error_message ? messages : others);
  });
  const std::size_t later = walkPlugin(loaded.plugin).size();
  expect(later == others, "first {} properties and {} messages, in the next walk {} of both",
         others, messages, later);
}

bool isAllowed(std::int32_t identifier, std::int64_t value) {
  switch (identifier) {
  case ox_wp_prop_variable_data_type:
    return value == ox_wp_type_none || value == ox_wp_type_double;
  case ox_wp_prop_sample_count:
    return value >= 0;
  case ox_wp_prop_section_count:
  case ox_wp_prop_variable_count:
    return std::in_range<int>(value) && value >= 0;
  case ox_wp_prop_file_changed:
    return value == 0 || value == 1;
  default: // the kinds
    return value == 0;
  }
}

void hasTheProperties(Loaded& loaded) {
  forEachSource(loaded, [](const PropertySource& source) {
    for (const PropertyDefinition& definition : kPropertyTable) {
      if (definition.level != source.level)
        continue;
      const Reading reading = source.read(definition.index);
      const _ox_wp_prop_type& record = reading.record;
      expect(reading.status == 0 && record.identifier == definition.identifier &&
                 record.type == definition.type,
             "{}, index {}: expected status 0, {} of type {}; seen {}", source.name(),
             definition.index, definition.name, definition.type, reading.describe());
      expect(record.type != ox_wp_type_string || record.string_value, "{}: {} is a null string",
             source.name(), definition.name);
      expect(record.type != ox_wp_type_integer ||
                 isAllowed(definition.identifier, record.integer_value),
             "{}: {} is {}", source.name(), definition.name, record.integer_value);
    }
  });
}

// A plug-in may have more properties than the boundary defines.
void refusesOtherIndexes(Loaded& loaded) {
  forEachSource(loaded, [](const PropertySource& source) {
    int end = 0;
    walkReadings(source, [&](int index, const Reading&) { end = index + 1; });
    for (const int index : outside(end))
      expectRefused(source, index);
  });
  loaded.forEachSection([&](ox_wp_section_handle section) {
    for (const int variable : outside(loaded.variableCount(section)))
      expectRefused({loaded, PropertyLevel::variable, section, variable}, 0);
  });
}

void expectRecordNeeded(const PropertySource& source) {
  expectStatus(1, source.get(0, nullptr), source.name() + ", a null record");
}

void refusesNullObjects(Loaded& loaded) {
  if (loaded.file)
    forEachSource(loaded, expectRecordNeeded);
  loaded.file = nullptr;
  for (const PropertyLevel level :
       {PropertyLevel::file, PropertyLevel::section, PropertyLevel::variable}) {
    expectRefused({loaded, level}, 0);
    expectRecordNeeded({loaded, level});
  }
}

void leavesOtherFields(Loaded& loaded) {
  const auto expectInWalk = [](const PropertySource& source) {
    walkReadings(source, [&](int index, const Reading& reading) {
      expectOthersUnchanged(reading, fmt::format("{}, index {}", source.name(), index));
    });
  };
  const PropertySource plugin{loaded, PropertyLevel::plugin};
  plugin.get(0, nullptr);
  for (const int index : kNegatives)
    expectOthersUnchanged(plugin.read(index), "plug-in, a negative index");
  expectInWalk(plugin);
  if (loaded.file)
    forEachSource(loaded, expectInWalk);
}

// The product and the sum may each be rounded, or both at once.
void computesTheEnd(Loaded& loaded) {
  loaded.forEachVariable([](const PropertySource& source) {
    const auto count = static_cast<double>(source.value(ox_wp_prop_sample_count).integer_value);
    const double interval = source.value(ox_wp_prop_x_step).double_value;
    const double start = source.value(ox_wp_prop_x_start).double_value;
    const double expected = std::fma(count, interval, start);
    const double largest =
        std::max({std::abs(start), std::abs(count * interval), std::abs(expected)});
    const double seen = source.value(ox_wp_prop_x_end).double_value;
    expect(seen == expected || (std::isnan(seen) && std::isnan(expected)) ||
               std::abs(seen - expected) <= std::nextafter(largest, HUGE_VAL) - largest,
           "{}: expected {}, seen {}", source.name(), expected, seen);
  });
}

// The string as the plug-in delivers it. That it is null is reported by a rule of its own.
const char* stringOf(const PropertySource& source, std::int32_t identifier) {
  const char* const string = source.value(identifier).string_value;
  return string ? string : throw Skipped("a string is null");
}

void expectUnchanged(const char* delivered, const std::string& before) {
  expect(delivered == before, "\"{}\" became \"{}\"", before, delivered);
}

void keepsNames(Loaded& loaded) {
  std::vector<std::pair<const char*, std::string>> names;
  loaded.forEachVariable([&](const PropertySource& source) {
    const char* const name = stringOf(source, ox_wp_prop_variable_name);
    names.emplace_back(name, name);
  });
  forEachSource(loaded, [](const PropertySource& source) { source.read(0); });
  loaded.parse(kMissingFile);
  openFile(loaded.plugin, loaded.subject.file);
  for (const auto& [delivered, before] : names)
    expectUnchanged(delivered, before);
}

// The labels of a section may share one string, but calls for other objects leave it alone.
void keepsLabels(Loaded& loaded) {
  forEachSource(loaded, [&](const PropertySource& source) {
    for (const std::int32_t identifier :
         {ox_wp_prop_section_x_label, ox_wp_prop_variable_x_label, ox_wp_prop_variable_y_label}) {
      if (findProperty(identifier)->level != source.level)
        continue;
      const char* const label = stringOf(source, identifier);
      const std::string before = label;
      for (const PropertyLevel level : {PropertyLevel::plugin, PropertyLevel::file})
        PropertySource{loaded, level}.read(ox_wp_index_section_count);
      loaded.section(0);
      loaded.parse(kMissingFile);
      expectUnchanged(label, before);
    }
  });
}

constexpr std::array kRules = std::to_array<Rule>({
    {"properties of the plug-in end, and come in the order of the boundary", keepsPluginOrder},
    {"queued messages are delivered once, in a full walk", deliversMessagesOnce},
    {"null files, sections and records are refused", refusesNullObjects, Needs::any},
    {"every property has its index, its type and a valid value", hasTheProperties, Needs::file},
    {"any index out of range gives identifier 0 and status 1", refusesOtherIndexes, Needs::file},
    {"unused fields stay unchanged", leavesOtherFields, Needs::any},
    {"the end is start + count * interval", computesTheEnd, Needs::file},
    {"names stay unchanged until their file is released", keepsNames, Needs::file},
    {"a label stays unchanged until the next property of its section", keepsLabels, Needs::file},
});

} // namespace

const std::span<const Rule> kPropertyRules = kRules;

} // namespace host
