#include <cmath>
#include <functional>
#include <map>
#include <vector>

#include "host/boundary/propertyTable.h"
#include "host/boundary/walk.h"
#include "host/check/rules.h"

namespace host {

namespace {

// What an object answers to an index: one of a file, a section or a variable.
struct Level {
  std::string name;
  std::function<int(int index, _ox_wp_prop_type* record)> ask;
};

struct Expected {
  int32_t identifier;
  int32_t type;
};

constexpr std::array kFileProperties = std::to_array<Expected>({
    {ox_wp_prop_file_kind, ox_wp_type_integer},
    {ox_wp_prop_section_count, ox_wp_type_integer},
    {ox_wp_prop_file_changed, ox_wp_type_integer},
});
constexpr std::array kSectionProperties = std::to_array<Expected>({
    {ox_wp_prop_section_kind, ox_wp_type_integer},
    {ox_wp_prop_variable_count, ox_wp_type_integer},
    {ox_wp_prop_section_x_label, ox_wp_type_string},
});
constexpr std::array kVariableProperties = std::to_array<Expected>({
    {ox_wp_prop_variable_name, ox_wp_type_string},
    {ox_wp_prop_variable_kind, ox_wp_type_integer},
    {ox_wp_prop_variable_data_type, ox_wp_type_integer},
    {ox_wp_prop_sample_count, ox_wp_type_integer},
    {ox_wp_prop_variable_x_label, ox_wp_type_string},
    {ox_wp_prop_variable_y_label, ox_wp_type_string},
    {ox_wp_prop_x_start, ox_wp_type_double},
    {ox_wp_prop_x_step, ox_wp_type_double},
    {ox_wp_prop_x_end, ox_wp_type_double},
});

Level fileLevel(const Loaded& loaded) {
  return {"file", [&loaded](int index, _ox_wp_prop_type* record) {
            return loaded.plugin->get_file_property(loaded.plugin.handle(), loaded.file, index,
                                                    record);
          }};
}

Level sectionLevel(const Loaded& loaded, ox_wp_section_handle section) {
  return {"section", [&loaded, section](int index, _ox_wp_prop_type* record) {
            return loaded.plugin->get_section_property(loaded.plugin.handle(), loaded.file, section,
                                                       index, record);
          }};
}

Level variableLevel(const Loaded& loaded, ox_wp_section_handle section, int variable) {
  return {fmt::format("variable {}", variable),
          [&loaded, section, variable](int index, _ox_wp_prop_type* record) {
            return loaded.plugin->get_variable_property(loaded.plugin.handle(), loaded.file,
                                                        section, variable, index, record);
          }};
}

// Calls visit(level, properties that it must have) for the file and all that it holds.
template<class Visit>
void forEachLevel(const Loaded& loaded, Visit visit) {
  visit(fileLevel(loaded), std::span<const Expected>(kFileProperties));
  loaded.forEachSection([&](ox_wp_section_handle section) {
    visit(sectionLevel(loaded, section), std::span<const Expected>(kSectionProperties));
  });
  loaded.forEachVariable([&](ox_wp_section_handle section, int variable) {
    visit(variableLevel(loaded, section, variable), std::span<const Expected>(kVariableProperties));
  });
}

// All fields but the identifier and those that belong to the type must be as they were handed over.
void expectOthersKept(const _ox_wp_prop_type& record, const std::string& where) {
  auto kept = patterned<_ox_wp_prop_type>();
  kept.identifier = record.identifier;
  if (record.identifier != ox_wp_prop_none) {
    kept.type = record.type;
    if (record.type == ox_wp_type_string || record.type == ox_wp_type_message)
      kept.string_value = record.string_value;
    if (record.type == ox_wp_type_integer || record.type == ox_wp_type_message)
      kept.integer_value = record.integer_value;
    if (record.type == ox_wp_type_double)
      kept.double_value = record.double_value;
  }
  expect(sameBytes(record, kept), "{}: a field that is not the property's was written to", where);
}

void expectRefused(const Level& level, int index) {
  auto record = patterned<_ox_wp_prop_type>();
  const int status = level.ask(index, &record);
  expect(status == 1 && record.identifier == ox_wp_prop_none,
         "{}: index {} gives status {} and identifier {}", level.name, index, status,
         record.identifier);
  expectOthersKept(record, fmt::format("{}: index {}", level.name, index));
}

void keepsPluginOrder(const Subject& subject) {
  const std::map<int32_t, int> places = {{ox_wp_prop_file_extension, 0},
                                         {ox_wp_prop_exporter, 1},
                                         {ox_wp_prop_plugin_name, 2},
                                         {ox_wp_prop_plugin_version, 3},
                                         {ox_wp_prop_error_message, 4}};
  const Library library(subject.plugin);
  const Plugin plugin(library);
  const Properties properties = walkPlugin(plugin);
  expect(properties.size() < kLongestWalk, "the walk does not end");
  int last = 0;
  for (const Property& property : properties) {
    const auto place = places.find(property.identifier);
    if (place == places.end())
      continue; // one that this host does not know
    const int type = place->second == 4 ? ox_wp_type_message : ox_wp_type_string;
    expect(property.type == type, "{} has type {}", propertyName(property.identifier),
           property.type);
    expect(place->second >= last, "{} comes too late", propertyName(property.identifier));
    last = place->second;
  }
}

void keepsPluginRecords(const Subject& subject) {
  const Loaded loaded(subject);
  const Plugin& plugin = loaded.plugin;
  plugin->get_plugin_property(plugin.handle(), 0, nullptr);
  for (const int index : kNegatives) {
    auto record = patterned<_ox_wp_prop_type>();
    plugin->get_plugin_property(plugin.handle(), index, &record);
    expect(record.identifier == ox_wp_prop_none, "index {} gives identifier {}", index,
           record.identifier);
    expectOthersKept(record, fmt::format("index {}", index));
  }
  for (int index = 0; index < kLongestWalk; ++index) {
    auto record = patterned<_ox_wp_prop_type>();
    plugin->get_plugin_property(plugin.handle(), index, &record);
    expectOthersKept(record, fmt::format("index {}", index));
    if (record.identifier == ox_wp_prop_none)
      break;
  }
}

// Only the question past the end empties the queue: until then every answer can be had again.
void deliversMessagesOnce(const Subject& subject) {
  const Library library(subject.plugin);
  const Plugin plugin(library);
  plugin->parse_file(plugin.handle(), missingFile(subject).c_str()); // may queue a message
  size_t messages = 0;
  size_t others = 0;
  const auto identifierAt = [&](int index) {
    _ox_wp_prop_type record{};
    plugin->get_plugin_property(plugin.handle(), index, &record);
    return record.identifier;
  };
  for (int index = 0; index < kLongestWalk; ++index) {
    const int32_t first = identifierAt(index);
    if (first == ox_wp_prop_none)
      break;
    const int32_t second = identifierAt(index);
    expect(second == first, "index {} gives identifier {}, then {}", index, first, second);
    ++(first == ox_wp_prop_error_message ? messages : others);
  }
  const size_t later = walkPlugin(plugin).size();
  expect(later == others, "{} properties and {} messages, then {} of both", others, messages,
         later);
}

void hasTheProperties(const Subject& subject) {
  const Loaded loaded(subject);
  forEachLevel(loaded, [](const Level& level, std::span<const Expected> properties) {
    int index = 0;
    for (const Expected& expected : properties) {
      _ox_wp_prop_type record{};
      const int status = level.ask(index, &record);
      expect(status == 0 && record.identifier == expected.identifier &&
                 record.type == expected.type,
             "{}: index {} gives status {}, identifier {}, type {}", level.name, index, status,
             record.identifier, record.type);
      expect(record.type != ox_wp_type_string || record.string_value,
             "{}: index {} gives a null text", level.name, index);
      ++index;
    }
  });
}

void endsWalks(const Subject& subject) {
  const Loaded loaded(subject);
  forEachLevel(loaded, [](const Level& level, std::span<const Expected> properties) {
    int index = static_cast<int>(properties.size()); // more may follow
    _ox_wp_prop_type record{};
    while (level.ask(index, &record) == 0 && record.identifier != ox_wp_prop_none) {
      ++index;
      expect(index < kLongestWalk, "{}: the walk does not end", level.name);
    }
    expectRefused(level, index);
    expectRefused(level, INT32_MAX);
    for (const int negative : kNegatives)
      expectRefused(level, negative);
  });
}

void refusesOtherVariables(const Subject& subject) {
  const Loaded loaded(subject);
  loaded.forEachSection([&](ox_wp_section_handle section) {
    expectRefused(variableLevel(loaded, section, loaded.variableCount(section)), 0);
    expectRefused(variableLevel(loaded, section, INT32_MAX), 0);
    for (const int negative : kNegatives)
      expectRefused(variableLevel(loaded, section, negative), 0);
  });
}

void refusesNullObjects(const Subject& subject) {
  Loaded nothing(Subject{subject.plugin, "", subject.scratch, subject.printed});
  for (const Level& level :
       {fileLevel(nothing), sectionLevel(nothing, nullptr), variableLevel(nothing, nullptr, 0)}) {
    expectRefused(level, 0);
    expect(level.ask(0, nullptr) == 1, "{}: a null record does not give 1", level.name);
  }
  if (subject.file.empty())
    return;
  const Loaded loaded(subject);
  forEachLevel(loaded, [](const Level& level, std::span<const Expected>) {
    expect(level.ask(0, nullptr) == 1, "{}: a null record does not give 1", level.name);
  });
}

void keepsRecords(const Subject& subject) {
  const Loaded loaded(subject);
  forEachLevel(loaded, [](const Level& level, std::span<const Expected> properties) {
    for (int index = 0; index < static_cast<int>(properties.size()); ++index) {
      auto record = patterned<_ox_wp_prop_type>();
      level.ask(index, &record);
      expectOthersKept(record, fmt::format("{}: index {}", level.name, index));
    }
  });
}

int64_t integerAt(const Level& level, int index) {
  _ox_wp_prop_type record{};
  level.ask(index, &record);
  return record.integer_value;
}

void reportsKnownValues(const Subject& subject) {
  const Loaded loaded(subject);
  expect(integerAt(fileLevel(loaded), 0) == 0, "the kind of the file is not 0");
  loaded.forEachSection([&](ox_wp_section_handle section) {
    expect(integerAt(sectionLevel(loaded, section), 0) == 0, "the kind of a section is not 0");
  });
  loaded.forEachVariable([&](ox_wp_section_handle section, int variable) {
    const Level level = variableLevel(loaded, section, variable);
    const int64_t type = integerAt(level, 2);
    expect(integerAt(level, 1) == 0, "the kind of {} is not 0", level.name);
    expect(type == ox_wp_type_double || type == ox_wp_type_none, "the data type of {} is {}",
           level.name, type);
    expect(integerAt(level, 3) >= 0, "{} has {} samples", level.name, integerAt(level, 3));
  });
}

void computesTheEnd(const Subject& subject) {
  const Loaded loaded(subject);
  loaded.forEachVariable([&](ox_wp_section_handle section, int variable) {
    const auto number = [&](int index) {
      _ox_wp_prop_type record{};
      variableLevel(loaded, section, variable).ask(index, &record);
      return record.double_value;
    };
    const double end = std::fma(static_cast<double>(loaded.sampleCount(section, variable)),
                                number(7), number(6)); // rounded once
    expect(number(8) == end || (std::isnan(number(8)) && std::isnan(end)),
           "variable {} ends at {} instead of {}", variable, number(8), end);
  });
}

const char* textAt(const Level& level, int index) {
  _ox_wp_prop_type record{};
  level.ask(index, &record);
  expect(record.string_value, "{}: index {} gives no text", level.name, index);
  return record.string_value;
}

void keepsNames(const Subject& subject) {
  const Loaded loaded(subject);
  std::vector<std::pair<const char*, std::string>> names; // as delivered, and as they read then
  loaded.forEachVariable([&](ox_wp_section_handle section, int variable) {
    const char* name = textAt(variableLevel(loaded, section, variable), 0);
    names.emplace_back(name, name);
  });
  loaded.plugin->parse_file(loaded.plugin.handle(), missingFile(subject).c_str());
  openFile(loaded.plugin, subject.file);
  for (const auto& [now, before] : names)
    expect(now == before, "the name \"{}\" became \"{}\"", before, now);
}

void sharesLabels(const Subject& subject) {
  const Loaded loaded(subject);
  loaded.forEachVariable([&](ox_wp_section_handle section, int variable) {
    const Level level = variableLevel(loaded, section, variable);
    const char* const label = textAt(sectionLevel(loaded, section), 2);
    expect(textAt(level, 4) == label && textAt(level, 5) == label,
           "{}: its labels and the section's are texts of their own", level.name);
  });
}

constexpr std::array kRules = std::to_array<Rule>({
    {"the plug-in's properties end and come in order", keepsPluginOrder, false},
    {"plug-in records keep the fields that are not theirs", keepsPluginRecords, false},
    {"queued messages come once in a full walk", deliversMessagesOnce, false},
    {"null files, sections and records are refused", refusesNullObjects, false},
    {"every property stands at its index with its type", hasTheProperties, true},
    {"walks end with identifier 0 and status 1, as outside indexes do", endsWalks, true},
    {"variables outside the section are refused", refusesOtherVariables, true},
    {"records keep the fields that are not theirs", keepsRecords, true},
    {"kinds, data types and sample counts are what they can be", reportsKnownValues, true},
    {"the end is start + count * interval, rounded once", computesTheEnd, true},
    {"names stay as they are", keepsNames, true},
    {"the labels of a section share one text", sharesLabels, true},
});

} // namespace

std::span<const Rule> propertyRules() {
  return kRules;
}

} // namespace host
