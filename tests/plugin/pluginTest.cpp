// The templates of a plug-in and its files: what the host of this plug-in cannot reach.
#include <climits>
#include <cstdint>
#include <filesystem>
#include <tuple>

#include <gtest/gtest.h>

#include "geo/cGeoParserPlugin.h"
#include "plugin/cOxWpPluginFile.h"
#include "plugin/ox_wp_plugin.h"
#include "testing/miniSeedFile.h"
#include "testing/temporaryFolder.h"

namespace {

// Walks the plug-in's properties: identifier, type, string and, of a message, the code.
std::string walk(cGeoParserPlugin& plugin) {
  std::string seen;
  _ox_wp_prop_type property = {};
  for (int i = 0; plugin.getPluginProperty(i, &property), property.identifier != 0; ++i) {
    seen += std::to_string(property.identifier) + " " + std::to_string(property.type) + " " +
            property.string_value + " " + std::to_string(property.integer_value) + ";";
    property = {};
  }
  return seen;
}

_ox_wp_prop_type labelled(int identifier, const char* label, const char* value) {
  return {identifier, 0, label, ox_wp_type_message, 0, value, 0.5, 0, -7};
}

} // namespace

TEST(Plugin, PropertiesAreOneSequence) {
  cGeoParserPlugin plugin;
  EXPECT_EQ(walk(plugin), "145 2 * 0;"); // an empty name or version takes no place
  plugin.setPluginVersion("V");
  plugin.setPluginName("N");
  plugin.registerExporter("E");
  cGeoParserFile& file = plugin.files().emplace_back(plugin);
  file.queueErrorMessage(-5, "a");
  plugin.queueErrorMessage(7, "b");

  const std::string described = "145 2 * 0;147 2 E 0;144 2 N 0;146 2 V 0;";
  _ox_wp_prop_type property = {};
  plugin.getPluginProperty(5, &property); // a walk that stops early leaves the messages
  plugin.getPluginProperty(-1, &property);
  plugin.getPluginProperty(100, nullptr);
  EXPECT_EQ(walk(plugin), described + "148 8 a -5;148 8 b 7;");
  EXPECT_EQ(walk(plugin), described);
  file.setErrorMessage("wrong");
  EXPECT_STREQ(plugin.getErrorMessage(), "wrong");
}

TEST(PluginFile, StoredPropertiesAreTheSameByIdentifierAndLabel) {
  cGeoParserPlugin plugin;
  cOxWpPluginFile<cGeoParserPlugin, cGeoParserSection> file(plugin);
  std::string text = "text of the caller";
  file.pushProperty(labelled(5, text.c_str(), text.c_str()));
  text.assign(text.size(), '?');
  for (const auto& [identifier, label, string] :
       {std::tuple{5, "b", "old"}, {6, "b", nullptr}, {5, "b", "new"}})
    file.setProperty(labelled(identifier, label, string));

  const auto read = [&file](int index) {
    _ox_wp_prop_type p = labelled(-1, "?", "?");
    const int result = file.getFileProperty(index, &p);
    return testing::PrintToString(std::tuple(result, p.identifier, std::string(p.label),
                                             std::string(p.string_value), p.integer_value));
  };
  EXPECT_EQ(read(0), R"((0, 10, "?", "?", 0))"); // sections
  EXPECT_EQ(read(1), R"((0, 5, "text of the caller", "text of the caller", -7))");
  EXPECT_EQ(read(2), R"((0, 5, "b", "new", -7))");
  EXPECT_EQ(read(3), R"((0, 6, "b", "", -7))");
  for (const int outside : {4, -1, INT_MIN})
    EXPECT_EQ(read(outside), R"((1, 0, "?", "?", -7))");
}

TEST(PluginFile, ComparesWhatItsNameLeadsTo) {
  const TemporaryFolder folder;
  const std::string name = folder / "link";
  std::filesystem::create_symlink(folder.write("f", "12345"), name);
  cGeoParserPlugin plugin;
  cGeoParserFile file(plugin);
  file.setFileName(name);
  folder.write("f", "123456");
  file.setFileName(name); // the name that it has: nothing is looked up
  EXPECT_TRUE(file.checkFileChanged());
  folder.write("f", "");
  EXPECT_TRUE(file.checkFileChanged());
  std::filesystem::remove(folder / "f");
  EXPECT_FALSE(file.checkFileChanged()) << "an empty file is like none";

  folder.write("f", "");
  cGeoParserFile empty(plugin);
  empty.setFileName(name);
  EXPECT_TRUE(empty.checkFileChanged()) << "the time of an empty file counts at first";
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
  EXPECT_EQ(plugin.parseFile(folder.write("junk", "junk").c_str()), nullptr);
  EXPECT_EQ(plugin.files().size(), 1U);
  cGeoParserSection& section = *file->getSectionHandle(0);

  // Each way to a copy, into a buffer for two of the three samples.
  double c[7][3] = {};
  ox_wp_plugin_geo_copy_variable_data_double(&section, 0, c[0], 2);
  EXPECT_EQ(section.copyVariableDataDouble(0, c[1], 2), 0);
  EXPECT_EQ(section.copyVariableData(0, ox_wp_type_double, c[2], 23), 0);
  EXPECT_EQ(file->copyVariableDataDouble(section, 0, c[3], 2), 0);
  EXPECT_EQ(file->copyVariableData(section, 0, ox_wp_type_double, c[4], 23), 0);
  EXPECT_EQ(plugin.copyVariableDataDouble(*file, section, 0, c[5], 2), 0);
  EXPECT_EQ(plugin.copyVariableData(*file, section, 0, ox_wp_type_double, c[6], 23), 0);
  for (const auto& copy : c)
    EXPECT_EQ(std::vector(copy, copy + 3), (std::vector<double>{1, 2, 0}));

  ox_wp_plugin_geo_copy_variable_data_double(nullptr, 0, nullptr, 2);
  file->fileType = geoFileParser::geo_file_seg2; // only miniSEED has samples
  EXPECT_EQ(section.copyVariableDataDouble(0, c[0], 2), 1);
  table.release(table.plugin);
}
