// The framework's templates: what this plug-in's own host never makes them do.
#include <climits>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "geo/cGeoParserPlugin.h"
#include "tests/temporaryFolder.h"

namespace {

using basePlugin = cOxWpPlugin<cGeoParserFile>;

// "identifier text" (or "identifier type code text" for messages), from index 0 until nothing
// comes.
std::vector<std::string> walk(basePlugin& plugin) {
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
  using lines = std::vector<std::string>;
  EXPECT_EQ(walk(plugin), lines{"145 *"});
  plugin.setPluginVersion("V");
  EXPECT_EQ(walk(plugin), (lines{"145 *", "146 V"})); // an empty name takes no place
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
  const lines described = {"145 *", "145 *", "147 E", "144 N", "146 V"};
  lines withMessages = described;
  withMessages.insert(withMessages.end(), {"148 8 -5 a", "148 8 7 b"});
  EXPECT_EQ(walk(plugin), withMessages);
  EXPECT_EQ(walk(plugin), described);

  plugin.queueErrorMessage(1, "c");
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

TEST(plugin, filesPassTheirMessagesOn) {
  cGeoParserPlugin plugin;
  cGeoParserFile& file = plugin.files().emplace_back(plugin);
  EXPECT_STREQ(plugin.getErrorMessage(), "");
  file.setErrorMessage("wrong");
  EXPECT_STREQ(plugin.getErrorMessage(), "wrong");
  file.queueErrorMessage(3, "queued");
  EXPECT_EQ(walk(plugin).back(), "148 8 3 queued");
  EXPECT_EQ(static_cast<basePlugin&>(plugin).parseFile("x"), nullptr);
}

TEST(storedProperties, areTheSameByIdentifierAndLabel) {
  using baseFile = cOxWpPluginFile<cGeoParserPlugin, cGeoParserSection>;
  cGeoParserPlugin plugin;
  baseFile file(plugin);
  file.sections().emplace_back(plugin.files().emplace_back(plugin));
  {
    std::string text = "text of the caller";
    file.pushProperty(labelled(5, "a", text.c_str()));
    file.setProperty(cOxWpPluginProperty(labelled(5, "b", nullptr)));
    text.assign(text.size(), '?');
  }
  file.setProperty(cOxWpPluginProperty(labelled(6, "a", "six")));
  file.setProperty(cOxWpPluginProperty(labelled(5, "b", "new")));

  const struct {
    int index, result, identifier;
    const char *label, *value;
  } cases[] = {
      {1, 0, 5, "a", "text of the caller"},
      {2, 0, 5, "b", "new"},
      {3, 0, 6, "a", "six"},
      {4, 1, 0, nullptr, nullptr},
      {-1, 1, 0, nullptr, nullptr},
      {INT_MIN, 1, 0, nullptr, nullptr},
  };
  for (const auto& c : cases) {
    _ox_wp_prop_type property = {};
    EXPECT_EQ(file.getFileProperty(c.index, &property), c.result) << c.index;
    EXPECT_EQ(property.identifier, c.identifier) << c.index;
    EXPECT_STREQ(property.label, c.label) << c.index;
    EXPECT_STREQ(property.string_value, c.value) << c.index;
  }
  _ox_wp_prop_type property = {};
  EXPECT_EQ(file.getFileProperty(0, &property), 0);
  EXPECT_EQ(property.identifier, ox_wp_prop_section_count);
  EXPECT_EQ(property.integer_value, 1);
  file.clearProperties();
  EXPECT_EQ(file.getFileProperty(1, &property), 1);
}

TEST(changeCheck, reportsAChangeOnce) {
  const temporaryFolder folder;
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

TEST(sections, areReachedByIndexAndPoppedFromTheBack) {
  cGeoParserPlugin plugin;
  cGeoParserFile file(plugin);
  EXPECT_EQ(file.getSectionHandle(0), nullptr);
  file.popSection();
  for (int i = 0; i < 3; ++i)
    file.sections().emplace_back(file).tag = i;
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(std::as_const(file).getSectionHandle(i)->tag, i);
  for (const int outside : {3, -1, INT_MIN})
    EXPECT_EQ(file.getSectionHandle(outside), nullptr) << outside;
  file.popSection();
  EXPECT_EQ(file.getSectionHandle(2), nullptr);
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

  const temporaryFolder folder;
  const std::string bytes = miniSeedFile::pack({.encoding = 3}, std::vector<std::int32_t>{1, 2, 3});
  auto* const file = static_cast<cGeoParserFile*>(
      table.parse_file(table.plugin, folder.write("a.mseed", bytes).c_str()));
  ASSERT_NE(file, nullptr);
  cGeoParserSection& section = *file->getSectionHandle(0);
  auto& plugin = *static_cast<cGeoParserPlugin*>(table.plugin);

  // Each way to a copy, with room for two of the three samples; then what each refuses.
  constexpr int bytesForTwo = 23;
  const std::vector<double> two = {1, 2, 0};
  std::vector<std::vector<double>> copies(7, std::vector<double>(3));
  ox_wp_plugin_geo_copy_variable_data_double(&section, 0, copies[0].data(), 2);
  EXPECT_EQ(section.copyVariableDataDouble(0, copies[1].data(), 2), 0);
  EXPECT_EQ(section.copyVariableData(0, ox_wp_type_double, copies[2].data(), bytesForTwo), 0);
  EXPECT_EQ(file->copyVariableDataDouble(section, 0, copies[3].data(), 2), 0);
  EXPECT_EQ(file->copyVariableData(section, 0, ox_wp_type_double, copies[4].data(), bytesForTwo),
            0);
  EXPECT_EQ(plugin.copyVariableDataDouble(*file, section, 0, copies[5].data(), 2), 0);
  EXPECT_EQ(
      plugin.copyVariableData(*file, section, 0, ox_wp_type_double, copies[6].data(), bytesForTwo),
      0);
  EXPECT_EQ(copies, std::vector(7, two));

  double* const untouched = nullptr;
  ox_wp_plugin_geo_copy_variable_data_double(nullptr, 0, untouched, 2);
  ox_wp_plugin_geo_copy_variable_data_double(&section, 1, untouched, 2);
  EXPECT_EQ(section.copyVariableDataDouble(1, untouched, 0), 1);
  EXPECT_EQ(file->copyVariableDataDouble(section, 1, untouched, 0), 1);
  EXPECT_EQ(file->copyVariableData(section, 0, ox_wp_type_integer, untouched, 0), 1);
  EXPECT_EQ(plugin.copyVariableData(*file, section, 0, ox_wp_type_none, untouched, 0), 1);
  table.release(table.plugin);
}
