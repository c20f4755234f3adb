// The framework's templates: what this plug-in's own host never makes them do.
#include <climits>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "geo/cGeoParserPlugin.h"
#include "testing/temporaryFolder.h"

namespace {

using BasePlugin = cOxWpPlugin<cGeoParserFile>;

// "identifier text" (or "identifier type code text" for messages), from index 0 until nothing
// comes.
std::vector<std::string> walk(BasePlugin& plugin) {
  std::vector<std::string> seen;
  for (int i = 0;; ++i) {
    _ox_wp_prop_type property = {};
    plugin.getPluginProperty(i, &property);
    if (property.identifier == ox_wp_prop_none)
      return seen;
    std::string line = std::to_string(property.identifier) + " ";
    if (property.type != ox_wp_type_string)
      line += std::to_string(property.type) + " " + std::to_string(property.integer_value) + " ";
    seen.push_back(line + property.string_value);
  }
}

_ox_wp_prop_type labelled(int identifier, const char* label, const char* value) {
  _ox_wp_prop_type record = {};
  record.identifier = identifier;
  record.label = label;
  record.type = ox_wp_type_string;
  record.string_value = value;
  return record;
}

} // namespace

TEST(plugin, propertiesAreOneSequence) {
  cGeoParserPlugin plugin;
  using Lines = std::vector<std::string>;
  EXPECT_EQ(walk(plugin), Lines{"145 *"});
  plugin.setPluginVersion("V");
  EXPECT_EQ(walk(plugin), (Lines{"145 *", "146 V"})); // an empty name takes no place
  plugin.setPluginName("N");
  plugin.registerExporter("E");
  plugin.registerFileExtension("*");
  plugin.queueErrorMessage(-5, "a");
  plugin.queueErrorMessage(7, "b");

  _ox_wp_prop_type property = {};
  plugin.getPluginProperty(5, &property); // a walk that stops early leaves the messages
  plugin.getPluginProperty(-1, &property);
  EXPECT_EQ(property.identifier, ox_wp_prop_none);
  plugin.getPluginProperty(INT_MIN, &property);
  plugin.getPluginProperty(INT_MAX, nullptr);
  const Lines described = {"145 *", "145 *", "147 E", "144 N", "146 V"};
  Lines withMessages = described;
  withMessages.insert(withMessages.end(), {"148 8 -5 a", "148 8 7 b"});
  EXPECT_EQ(walk(plugin), withMessages);
  EXPECT_EQ(walk(plugin), described);

  cGeoParserFile& file = plugin.files().emplace_back(plugin);
  file.setErrorMessage("wrong");
  EXPECT_STREQ(plugin.getErrorMessage(), "wrong");
  file.queueErrorMessage(1, "c");
  plugin.getPluginProperty(100, &property); // any question past the end clears the queue
  EXPECT_EQ(walk(plugin), described);
}

TEST(plugin, findsAndReleasesItsFiles) {
  cGeoParserPlugin plugin;
  const auto add = [&plugin](const char* name) {
    cGeoParserFile* file = &plugin.files().emplace_back(plugin);
    file->setFileName(name);
    return file;
  };
  cGeoParserFile* const first = add("/nowhere/a");
  cGeoParserFile* const second = add("/nowhere/a");
  cGeoParserFile* const third = add("/nowhere/ab");
  EXPECT_EQ(plugin.findFile("/nowhere/a"), first);
  EXPECT_EQ(plugin.findFile(std::string("/nowhere/ab")), third);
  EXPECT_EQ(plugin.findFile("/nowhere"), nullptr);
  EXPECT_EQ(plugin.findFile(static_cast<const char*>(nullptr)), nullptr);

  EXPECT_EQ(plugin.releaseFile(first), 0);
  EXPECT_EQ(plugin.findFile("/nowhere/a"), second);
  EXPECT_EQ(plugin.releaseFile(nullptr), 1);
  plugin.popFile();
  EXPECT_EQ(plugin.findFile("/nowhere/ab"), nullptr);
  EXPECT_EQ(plugin.releaseAllFiles(), 0);
  plugin.popFile();
  EXPECT_EQ(plugin.releaseFile(second), 1);
}

TEST(storedProperties, areTheSameByIdentifierAndLabel) {
  using BaseFile = cOxWpPluginFile<cGeoParserPlugin, cGeoParserSection>;
  cGeoParserPlugin plugin;
  BaseFile file(plugin);
  {
    std::string text = "text of the caller";
    file.pushProperty(labelled(5, "a", text.c_str()));
    file.setProperty(cOxWpPluginProperty(labelled(5, "b", nullptr)));
    text.assign(text.size(), '?');
  }
  file.setProperty(cOxWpPluginProperty(labelled(6, "a", "six")));
  file.setProperty(cOxWpPluginProperty(labelled(5, "b", "new")));

  // "result identifier label value" of each index.
  const auto answer = [&file](int index) {
    _ox_wp_prop_type property = labelled(-1, "?", "?");
    const int result = file.getFileProperty(index, &property);
    return std::to_string(result) + " " + std::to_string(property.identifier) + " " +
           property.label + " " + property.string_value;
  };
  EXPECT_EQ(answer(0), "0 10 ? ?");
  EXPECT_EQ(answer(1), "0 5 a text of the caller");
  EXPECT_EQ(answer(2), "0 5 b new");
  EXPECT_EQ(answer(3), "0 6 a six");
  for (const int outside : {4, -1, INT_MIN, INT_MAX})
    EXPECT_EQ(answer(outside), "1 0 ? ?");
  file.clearProperties();
  EXPECT_EQ(answer(1), "1 0 ? ?");
}

TEST(changeCheck, reportsAChangeOnce) {
  const TemporaryFolder folder;
  const std::string name = folder.write("f", "12345");
  cGeoParserPlugin plugin;
  cGeoParserFile file(plugin);
  EXPECT_FALSE(file.checkFileChanged()); // no name, nothing on disk
  file.setFileName(name);
  EXPECT_FALSE(file.checkFileChanged());

  const auto changedOnce = [&file](const char* what) {
    EXPECT_TRUE(file.checkFileChanged()) << what;
    EXPECT_FALSE(file.checkFileChanged()) << what;
  };
  folder.write("f", "123456");
  file.setFileName(name); // the name it has: nothing is looked up
  changedOnce("another size");
  const auto now = std::filesystem::last_write_time(name);
  std::filesystem::last_write_time(name, now + std::chrono::seconds(2));
  changedOnce("another second");
  std::filesystem::remove(name);
  changedOnce("removed");
  folder.write("f", "");
  EXPECT_FALSE(file.checkFileChanged()) << "an empty file is like none";

  cGeoParserFile empty(plugin);
  empty.setFileName(name);
  EXPECT_TRUE(empty.checkFileChanged()) << "the time of an empty file counts at first";
  empty.setFileName(static_cast<const char*>(nullptr));
  EXPECT_EQ(empty.fileName(), "");
}

TEST(timeAxis, isComputedFromRateStartAndCount) {
  cGeoParserPlugin plugin;
  cGeoParserFile file(plugin);
  cGeoParserSection section(file);
  cGeoParserVariable& variable = section.variables.emplace_back();
  const struct {
    double rate;
    std::int32_t startTime;
    std::uint64_t count;
    double start, interval, end;
  } cases[] = {
      {0, 2000000, 500, 2, 0, 2},
      {-0.0, 2000000, 500, 2, 0, 2},
      {100, -1000000, 1000, -1, 0.01, 9},
      {-4, 0, 8, 0, -0.25, -2},
      // The start is a product, not a quotient; the end is rounded once, not twice.
      {3, 1085515272, 2051, 1085.5152719999999, 1. / 3, 1769.1819386666664},
      {1, INT32_MIN, UINT64_MAX, -2147.483648, 1, 18446744073709549568.},
  };
  for (const auto& c : cases) {
    variable.sampleRate = c.rate;
    variable.startTime = c.startTime;
    variable.sampleCount = c.count;
    const double expected[] = {c.start, c.interval, c.end};
    for (int i = 0; i < 3; ++i) {
      _ox_wp_prop_type property = {};
      EXPECT_EQ(section.getVariableProperty(0, 6 + i, &property), 0);
      EXPECT_EQ(property.double_value, expected[i]) << c.rate << " " << i;
    }
  }
}

TEST(entryPoints, outsideTheTable) {
  _ox_wp_plugin_functions_type table = {};
  EXPECT_EQ(ox_wp_plugin_geo_initialize(&table), 1);
  table.version = 2;
  ASSERT_EQ(ox_wp_plugin_geo_initialize(&table), 0);

  const TemporaryFolder folder;
  const std::string record =
      miniSeedFile::pack({.encoding = 3}, std::vector<std::int32_t>{1, 2, 3});
  auto* const file = static_cast<cGeoParserFile*>(
      table.parse_file(table.plugin, folder.write("a.mseed", record).c_str()));
  ASSERT_NE(file, nullptr);
  cGeoParserSection& section = *file->getSectionHandle(0);
  auto& plugin = *static_cast<cGeoParserPlugin*>(table.plugin);

  // Each way to a copy, with room for two of the three samples.
  constexpr int kBytes = 23;
  constexpr auto kType = ox_wp_type_double;
  double c[7][3] = {};
  ox_wp_plugin_geo_copy_variable_data_double(&section, 0, c[0], 2);
  EXPECT_EQ(section.copyVariableDataDouble(0, c[1], 2), 0);
  EXPECT_EQ(section.copyVariableData(0, kType, c[2], kBytes), 0);
  EXPECT_EQ(file->copyVariableDataDouble(section, 0, c[3], 2), 0);
  EXPECT_EQ(file->copyVariableData(section, 0, kType, c[4], kBytes), 0);
  EXPECT_EQ(plugin.copyVariableDataDouble(*file, section, 0, c[5], 2), 0);
  EXPECT_EQ(plugin.copyVariableData(*file, section, 0, kType, c[6], kBytes), 0);
  for (const auto& copy : c)
    EXPECT_EQ(std::vector(copy, copy + 3), (std::vector<double>{1, 2, 0}));

  // What each refuses: nothing may be stored, there is no buffer.
  ox_wp_plugin_geo_copy_variable_data_double(nullptr, 0, nullptr, 2);
  ox_wp_plugin_geo_copy_variable_data_double(&section, 1, nullptr, 2);
  EXPECT_EQ(section.copyVariableDataDouble(1, nullptr, 0), 1);
  EXPECT_EQ(file->copyVariableDataDouble(section, 1, nullptr, 0), 1);
  EXPECT_EQ(file->copyVariableData(section, 0, ox_wp_type_integer, nullptr, 0), 1);
  EXPECT_EQ(plugin.copyVariableData(*file, section, 0, ox_wp_type_none, nullptr, 0), 1);
  table.release(table.plugin);
}
