// The templates of a plug-in and its files: what the host of this plug-in cannot reach.
#include <chrono>
#include <climits>
#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "geo/cGeoParserPlugin.h"
#include "testing/temporaryFolder.h"

namespace {

using Lines = std::vector<std::string>;

// Walks the plug-in's properties; a line is "identifier string", or "identifier type code string"
// for a message.
Lines walk(cGeoParserPlugin& plugin) {
  Lines seen;
  _ox_wp_prop_type property = {};
  for (int i = 0; plugin.getPluginProperty(i, &property), property.identifier != 0; ++i) {
    std::string line = std::to_string(property.identifier) + " ";
    if (property.type != ox_wp_type_string)
      line += std::to_string(property.type) + " " + std::to_string(property.integer_value) + " ";
    seen.push_back(line + property.string_value);
  }
  return seen;
}

_ox_wp_prop_type labelled(int identifier, const char* label, const char* value) {
  return {identifier, 0, label, ox_wp_type_message, 0, value, 0.5, 0, -7};
}

} // namespace

TEST(Plugin, PropertiesAreOneSequence) {
  cGeoParserPlugin plugin;
  EXPECT_EQ(walk(plugin), Lines{"145 *"}); // an empty name or version takes no place
  plugin.setPluginVersion("V");
  EXPECT_EQ(walk(plugin), (Lines{"145 *", "146 V"}));
  plugin.setPluginName("N");
  plugin.registerExporter("E");
  plugin.registerFileExtension("*");
  cGeoParserFile& file = plugin.files().emplace_back(plugin);
  file.queueErrorMessage(-5, "a");
  plugin.queueErrorMessage(7, "b");

  _ox_wp_prop_type property = {};
  plugin.getPluginProperty(5, &property); // a walk that stops early leaves the messages
  plugin.getPluginProperty(-1, &property);
  EXPECT_EQ(property.identifier, ox_wp_prop_none);
  plugin.getPluginProperty(INT_MAX, nullptr);
  const Lines described = {"145 *", "145 *", "147 E", "144 N", "146 V"};
  EXPECT_EQ(walk(plugin),
            (Lines{"145 *", "145 *", "147 E", "144 N", "146 V", "148 8 -5 a", "148 8 7 b"}));
  EXPECT_EQ(walk(plugin), described);
  plugin.queueErrorMessage(1, "c");
  plugin.getPluginProperty(100, &property); // any index past the end clears the queue
  EXPECT_EQ(walk(plugin), described);

  file.setErrorMessage("wrong");
  EXPECT_STREQ(plugin.getErrorMessage(), "wrong");
}

TEST(Plugin, FindsAndReleasesItsFiles) {
  cGeoParserPlugin plugin;
  cGeoParserFile* files[3];
  const char* const names[] = {"/nowhere/a", "/nowhere/a", "/nowhere/ab"};
  for (int i = 0; i < 3; ++i)
    (files[i] = &plugin.files().emplace_back(plugin))->setFileName(names[i]);
  EXPECT_EQ(plugin.findFile("/nowhere/a"), files[0]);
  EXPECT_EQ(plugin.findFile("/nowhere/ab"), files[2]);
  EXPECT_EQ(plugin.findFile("/nowhere"), nullptr);
  EXPECT_EQ(plugin.findFile(static_cast<const char*>(nullptr)), nullptr);

  EXPECT_EQ(plugin.releaseFile(files[0]), 0);
  EXPECT_EQ(plugin.findFile("/nowhere/a"), files[1]);
  EXPECT_EQ(plugin.releaseFile(nullptr), 1);
  plugin.popFile();
  EXPECT_EQ(plugin.findFile("/nowhere/ab"), nullptr);
  EXPECT_EQ(plugin.releaseAllFiles(), 0);
  plugin.popFile();
}

TEST(PluginFile, StoredPropertiesAreTheSameByIdentifierAndLabel) {
  cGeoParserPlugin plugin;
  cOxWpPluginFile<cGeoParserPlugin, cGeoParserSection> file(plugin);
  std::string text = "text of the caller";
  file.pushProperty(labelled(5, text.c_str(), text.c_str()));
  text.assign(text.size(), '?');
  for (const auto& [identifier, label, string] :
       {std::tuple{5, "b", "old"}, {6, "a", nullptr}, {5, "b", "new"}})
    file.setProperty(labelled(identifier, label, string));
  cOxWpPluginProperty filled;
  filled.record.identifier = 7;
  filled.labelText = "c";
  filled.valueText = "d";
  file.pushProperty(filled);

  const auto read = [&file](int index) {
    _ox_wp_prop_type p = labelled(-1, "?", "?");
    const int result = file.getFileProperty(index, &p);
    return testing::PrintToString(std::tuple(result, p.identifier, std::string(p.label), p.type,
                                             std::string(p.string_value), p.double_value,
                                             p.integer_value));
  };
  EXPECT_EQ(read(0), R"((0, 10, "?", 13, "?", 0.5, 0))");
  EXPECT_EQ(read(1), R"((0, 5, "text of the caller", 8, "text of the caller", 0.5, -7))");
  EXPECT_EQ(read(2), R"((0, 5, "b", 8, "new", 0.5, -7))");
  EXPECT_EQ(read(3), R"((0, 6, "a", 8, "", 0.5, -7))");
  EXPECT_EQ(read(4), R"((0, 7, "c", 0, "d", 0, 0))");
  for (const int outside : {5, -1, INT_MIN, INT_MAX})
    EXPECT_EQ(read(outside), R"((1, 0, "?", 8, "?", 0.5, -7))");
  file.clearProperties();
  EXPECT_EQ(read(1), R"((1, 0, "?", 8, "?", 0.5, -7))");
}

TEST(PluginFile, ReportsAChangeOnce) {
  const TemporaryFolder folder;
  const std::string name = folder / "link";
  std::filesystem::create_symlink(folder.write("f", "12345"), name);
  cGeoParserPlugin plugin;
  cGeoParserFile file(plugin);
  file.setFileName(name);
  EXPECT_FALSE(file.checkFileChanged());

  const auto changedOnce = [&file](const char* what) {
    EXPECT_TRUE(file.checkFileChanged()) << what;
    EXPECT_FALSE(file.checkFileChanged()) << what;
  };
  folder.write("f", "123456");
  file.setFileName(name); // the name that it has: nothing is looked up
  changedOnce("another size");
  const auto now = std::filesystem::last_write_time(name);
  std::filesystem::last_write_time(name, now + std::chrono::seconds(2));
  changedOnce("another second");
  std::filesystem::remove(folder / "f");
  changedOnce("removed");
  folder.write("f", "");
  EXPECT_FALSE(file.checkFileChanged()) << "an empty file is like none";

  cGeoParserFile empty(plugin);
  empty.setFileName(name);
  EXPECT_TRUE(empty.checkFileChanged()) << "the time of an empty file counts at first";
  empty.setFileName(static_cast<const char*>(nullptr));
  EXPECT_EQ(empty.fileName(), "");
}

TEST(Section, ComputesTheTimeAxisFromRateStartAndCount) {
  cGeoParserPlugin plugin;
  cGeoParserFile file(plugin);
  cGeoParserSection section(file);
  cGeoParserVariable& variable = section.variables.emplace_back();
  const struct {
    double rate;
    std::int32_t startTime;
    std::uint64_t count;
    double expected[3]; // start, interval, end
  } cases[] = {
      {-0.0, 2000000, 500, {2, 0, 2}},
      {100, -1000000, 1000, {-1, 0.01, 9}},
      // The start is a product, not a quotient; the end is rounded once, not twice.
      {3, 1085515272, 2051, {1085.5152719999999, 1. / 3, 1769.1819386666664}},
      {1, INT32_MIN, UINT64_MAX, {-2147.483648, 1, 18446744073709549568.}},
  };
  for (const auto& c : cases) {
    variable.sampleRate = c.rate;
    variable.startTime = c.startTime;
    variable.sampleCount = c.count;
    for (int i = 0; i < 3; ++i) {
      _ox_wp_prop_type property = {};
      EXPECT_EQ(section.getVariableProperty(0, ox_wp_index_x_start + i, &property), 0);
      EXPECT_EQ(property.double_value, c.expected[i]) << c.rate << " " << i;
    }
  }
}

TEST(EntryPoints, OutsideTheTable) {
  _ox_wp_plugin_functions_type table = {};
  table.version = 2;
  ASSERT_EQ(ox_wp_plugin_geo_initialize(&table), 0);
  auto& plugin = *static_cast<cGeoParserPlugin*>(table.plugin);
  const TemporaryFolder folder;
  const std::vector<std::int32_t> samples = {1, 2, 3};
  cGeoParserFile* const file =
      plugin.parseFile(folder.write("a", miniSeedFile::pack({.encoding = 3}, samples)).c_str());
  ASSERT_NE(file, nullptr);
  cGeoParserSection& section = *file->getSectionHandle(0);

  // Each way to a copy, into a buffer for two of the three samples.
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

  // Without a buffer, nothing may be stored.
  ox_wp_plugin_geo_copy_variable_data_double(nullptr, 0, nullptr, 2);
  ox_wp_plugin_geo_copy_variable_data_double(&section, 1, nullptr, 2);
  EXPECT_EQ(section.copyVariableDataDouble(1, nullptr, 0), 1);
  EXPECT_EQ(file->copyVariableData(section, 0, ox_wp_type_integer, nullptr, 0), 1);
  table.release(table.plugin);
}
