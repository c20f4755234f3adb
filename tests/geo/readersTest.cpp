// Readers and dispatcher: their codes and messages, and what they leave in the file record.
#include <cstdint>
#include <tuple>
#include <utility>

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "geo/cGeoParserPlugin.h"
#include "geo/readers/cGeoFileParser.h"
#include "geo/readers/cGeoFileParserGeopsySignal.h"
#include "geo/readers/cGeoFileParserMiniSeed.h"
#include "testing/miniSeedFile.h"
#include "testing/temporaryFolder.h"

using namespace std::string_literals;

namespace {

using miniSeedFile::patched;

// A Geopsy signal header: tag, test double, test integer, version, header size, entry count.
std::string geopsy() {
  return "GeopsySignal\0\0\0\0\xF0\xDB\x49\x8A\xA6\x0C\x50\xC7\xD7\x84\x15\x84\2\0\0\0\x28\0\0\0\0\0\0\0"s;
}

std::string miniSeed() {
  return miniSeedFile::pack({.encoding = 3}, std::vector<std::int32_t>{1, 2, 3});
}

std::string cutRecord() {
  return miniSeed().substr(0, 300);
}

// A file record for a reader to fill, with a section that was there before.
struct Record {
  Record() { file.sections().emplace_back(file).tag = 77; }
  bool isAsBefore() const {
    return file.sections().size() == 1 && file.sections().back().tag == 77;
  }
  cGeoParserPlugin plugin;
  cGeoParserFile file{plugin};
};

template<class Reader>
int codeOf(const std::string& name) {
  Record before;
  Reader reader(before.file);
  const int code = reader.parseFile(name);
  EXPECT_EQ(reader.reloadFile(name), code) << name;
  EXPECT_TRUE(before.isAsBefore()) << name;
  return code;
}

} // namespace

TEST(GeopsySignal, IsRecognisedByEveryFieldOfItsHeader) {
  const TemporaryFolder folder;
  const std::tuple<const char*, std::string, int> cases[] = {
      {"more behind it", geopsy() + "data", 16},
      {"white space around the tag", patched(geopsy(), 0, " \tGeopsySignal "), 16},
      {"missing entries", patched(geopsy(), 32, "\x34\0\0\0\3"s), 16},
      {"cut within the header size", geopsy().substr(0, 33), 16},
      {"a table that would fill 4 GiB", patched(geopsy(), 39, "\x40"), 16},
      {"tag", patched(geopsy(), 12, "s"), 3},
      {"test double", patched(geopsy(), 16, "\xF1"), 3},
      {"test integer", patched(geopsy(), 24, "\xD6"), 3},
      {"version", patched(geopsy(), 28, "\3"), 3},
      {"header size too small", patched(geopsy(), 32, "\x30\0\0\0\3"s), 3},
  };
  for (const auto& [what, bytes, code] : cases)
    EXPECT_EQ(codeOf<cGeoFileParserGeopsySignal>(folder.write("a", bytes)), code) << what;
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  EXPECT_LT(usage.ru_maxrss, 1024 * 1024) << "KiB";
}

TEST(MiniSeed, HeaderTestTakesTwentyBytesOfText) {
  const TemporaryFolder folder;
  const std::pair<std::string, int> cases[] = {
      {cutRecord(), 16}, // a record's header, but no whole record
      {patched(cutRecord(), 8, "\r\n\t ~"), 16},
      {patched(cutRecord(), 8, "\x7f"), 3}, // not text
      {patched(cutRecord(), 8, "\x1f"), 3},
      {patched(cutRecord(), 19, "\x80"), 3}, // the twentieth byte
      {patched(cutRecord(), 20, "\x80"), 16},
  };
  for (const auto& [bytes, code] : cases)
    EXPECT_EQ(codeOf<cGeoFileParserMiniSeed>(folder.write("a", bytes)), code)
        << bytes.substr(0, 20);
}

TEST(MiniSeed, AddsToASectionAndMarksTheFile) {
  const TemporaryFolder folder;
  Record before;
  cGeoFileParserMiniSeed reader(before.file);
  EXPECT_EQ(reader.parseFile(folder.write("a", miniSeed())), 0);
  EXPECT_EQ(before.file.sections().size(), 2U);
  EXPECT_EQ(before.file.fileType, 26);
  cGeoParserSection& section = before.file.sections().back();
  EXPECT_EQ(section.file, &before.file);
  EXPECT_TRUE(reader.parseHeader(section)); // what the section has stays as it is
  ASSERT_EQ(section.variables.size(), 2U);
  EXPECT_EQ(section.variables[0].sampleCount, section.variables[1].sampleCount);
}

TEST(Dispatcher, ReadersHaveTheirOrder) {
  const TemporaryFolder folder;
  using enum geoFileParser::geo_file_type;
  const struct {
    std::string name, bytes;
    geoFileParser::geo_file_type type;
    int code;
  } cases[] = {
      {"x.mseed", miniSeed(), geo_file_undefined, 0},
      {"x.MSD", miniSeed(), geo_file_undefined, 0},
      {"x", miniSeed(), geo_file_undefined, 0},
      {"x.dat", miniSeed(), geo_file_undefined, 3}, // never offered to the miniSEED reader
      {"x.SEG2", miniSeed(), geo_file_undefined, 3},
      {"x.mseed", miniSeed(), geo_file_seg2, 3},
      {"x.mseed", miniSeed(), geo_file_geopsy_signal, 0}, // only SEG-2 can be forced
      {"x.msd", cutRecord(), geo_file_undefined, 3},
      {"x", geopsy(), geo_file_undefined, 3},
  };
  for (const auto& c : cases) {
    const std::string name = folder.write(c.name, c.bytes);
    cGeoParserPlugin plugin;
    cGeoParserFile file(plugin);
    cGeoFileParser parser;
    EXPECT_EQ(parser.parse(file, " " + name + "/. ", c.type), c.code) << name;
    EXPECT_EQ(parser.message(), c.code == 0 ? "The file \"" + name + "\" was parsed succesfully."
                                            : "Failed to parse the file \"" + name + "\".");
    EXPECT_EQ(file.fileName(), name);
    EXPECT_EQ(file.sections().size(), c.code == 0 ? 1U : 0U) << name;

    EXPECT_EQ(parser.parse(file, " /nowhere/./x.mseed", c.type), 4); // leaves the record alone
    EXPECT_EQ(parser.message(), "The file \" /nowhere/./x.mseed\" does not exist.");
    EXPECT_EQ(file.fileName(), name);
  }
}

// No reader returns this code today.
