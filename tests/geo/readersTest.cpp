// Readers and dispatcher: their codes and messages, and what they leave in the file record.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <tuple>

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "geo/readers/cGeoFileParser.h"
#include "geo/readers/cGeoFileParserGeopsySignal.h"
#include "geo/readers/cGeoFileParserMiniSeed.h"
#include "geo/readers/cGeoFileParserSeg2.h"
#include "geo/readers/cRecordStream.h"
#include "testing/temporaryFolder.h"

using namespace std::string_literals;

namespace {

// A Geopsy signal header. By default each field is valid.
struct GeopsyHeader {
  std::string tag = "GeopsySignal\0\0\0\0"s;
  double testDouble = -3.333333333e35;
  std::uint32_t testInteger = 0x841584D7;
  std::int32_t version = 2;
  std::int32_t headerSize = 40;
  std::int32_t entryCount = 0;

  std::string bytes() const {
    std::string result = tag;
    const auto append = [&result](const auto& field) {
      result.append(reinterpret_cast<const char*>(&field), sizeof field);
    };
    append(testDouble);
    append(testInteger);
    append(version);
    append(headerSize);
    append(entryCount);
    return result;
  }
};

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
  const std::string good = GeopsyHeader{}.bytes();
  const std::string three = GeopsyHeader{.headerSize = 52, .entryCount = 3}.bytes();
  const std::tuple<std::string, std::string, int> cases[] = {
      {"smallest", good, 16},
      {"more behind it", good + "data", 16},
      {"blanks", GeopsyHeader{.tag = "GeopsySignal    "}.bytes(), 16},
      {"leading blanks", GeopsyHeader{.tag = " \tGeopsySignal " + "\0"s}.bytes(), 16},
      {"entries", three + std::string(12, 'x'), 16},
      {"missing entries", three, 16},
      {"cut after the header size", good.substr(0, 36), 16},
      {"cut within the header size", good.substr(0, 33), 16},
      {"cut before the header size", good.substr(0, 32), 3},
      {"cut within the version", good.substr(0, 29), 3},
      {"cut within the tag", good.substr(0, 15), 3},
      {"tag alone", good.substr(0, 16), 3},
      {"empty", "", 3},
      {"NUL first", GeopsyHeader{.tag = "\0GeopsySignal\0\0\0"s}.bytes(), 3},
      {"other tag", GeopsyHeader{.tag = "GeopsySignals\0\0\0"s}.bytes(), 3},
      {"other case", GeopsyHeader{.tag = "geopsySignal\0\0\0\0"s}.bytes(), 3},
      {"test double", GeopsyHeader{.testDouble = -3.333333334e35}.bytes(), 3},
      {"test integer", GeopsyHeader{.testInteger = 0x841584D6}.bytes(), 3},
      {"version 1", GeopsyHeader{.version = 1}.bytes(), 3},
      {"version 3", GeopsyHeader{.version = 3}.bytes(), 3},
      {"header size 36", GeopsyHeader{.headerSize = 36, .entryCount = -1}.bytes(), 3},
      {"header size too small", GeopsyHeader{.headerSize = 48, .entryCount = 3}.bytes(), 3},
      {"negative count", GeopsyHeader{.headerSize = 40, .entryCount = INT32_MIN}.bytes(), 3},
  };
  for (const auto& [name, bytes, code] : cases)
    EXPECT_EQ(codeOf<cGeoFileParserGeopsySignal>(folder.write(name, bytes)), code) << name;
  EXPECT_EQ(codeOf<cGeoFileParserGeopsySignal>(folder / "missing"), 3);
}

// The header is forty bytes; the table that it declares would fill 4 GiB.
TEST(GeopsySignal, HugeTableTakesUpNoMemory) {
  const TemporaryFolder folder;
  const GeopsyHeader header{.entryCount = 1073741824};
  EXPECT_EQ(codeOf<cGeoFileParserGeopsySignal>(folder.write("huge", header.bytes())), 16);
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  EXPECT_LT(usage.ru_maxrss, 1024 * 1024) << "KiB";
}

TEST(Seg2, IsOpenedAndDeclined) {
  const TemporaryFolder folder;
  const std::string file = folder.write("a.seg2", "\x55\x3a\x01\0"s);
  EXPECT_EQ(codeOf<cGeoFileParserSeg2>(file), 3);
  EXPECT_EQ(codeOf<cGeoFileParserSeg2>(folder / "missing"), 3);
  Record before;
  std::ifstream stream(file, std::ios::binary);
  EXPECT_FALSE(cGeoFileParserSeg2(before.file).parseHeader(stream));
  EXPECT_TRUE(stream.good());
  EXPECT_EQ(stream.tellg(), 0);
}

TEST(MiniSeed, HeaderTestTakesTwentyBytesOfText) {
  const TemporaryFolder folder;
  const std::pair<std::string, int> cases[] = {
      {"", 3},           // empty
      {"ten bytes!", 3}, // text, but no record
      {cutRecord(), 16}, // a record's header, but no whole record
      {miniSeedFile::patched(cutRecord(), 8, "\r\n\t ~"), 16},
      {"\x7f" + miniSeed().substr(1), 3}, // not text
      {"\x1f" + miniSeed().substr(1), 3},
      {miniSeed().substr(0, 19) + "\x80" + miniSeed().substr(20), 3}, // the twentieth byte
  };
  for (const auto& [bytes, code] : cases)
    EXPECT_EQ(codeOf<cGeoFileParserMiniSeed>(folder.write("a", bytes)), code)
        << bytes.substr(0, 20);
}

// The marks that the reader keeps from record to record, with gaps of 10 s forward and 13 s back.
TEST(MiniSeed, FillsOneSectionAndMarksTheFile) {
  const TemporaryFolder folder;
  std::string bytes;
  for (const std::int64_t start : {5000000, 15000000, 2000000})
    bytes += miniSeedFile::pack({.sampleRate = 2, .startTime = start, .encoding = 3},
                                std::vector<std::int32_t>(50));
  Record before;
  EXPECT_EQ(cGeoFileParserMiniSeed(before.file).parseFile(folder.write("a", bytes)), 0);
  EXPECT_EQ(before.file.sections().size(), 2U);
  EXPECT_EQ(before.file.sections().back().file, &before.file);
  EXPECT_EQ(before.file.fileType, 26);
  const cGeoParserVariable& variable = before.file.sections().back().variables.at(0);
  EXPECT_EQ(variable.gapSum, 4 + 6);          // 9.5 s and 13.5 s, each over 2 * 10^6
  EXPECT_EQ(variable.nextStartTime, 2500000); // a sample after the last start
}

TEST(MiniSeed, SectionWithVariablesGetsFurtherOnes) {
  const TemporaryFolder folder;
  std::vector<std::string> streams;
  for (const char* channel : {"BHE", "BHN"})
    streams.push_back(miniSeedFile::pack({.channel = channel, .recordLength = 128},
                                         miniSeedFile::wave(300 + streams.size(), 1)));
  Record before;
  cGeoFileParserMiniSeed reader(before.file);
  reader.parseFile(folder.write("a", miniSeedFile::interleave(streams, 128)));
  cGeoParserSection& section = before.file.sections().back();
  EXPECT_TRUE(reader.parseHeader(section));
  ASSERT_EQ(section.variables.size(), 4U);
  for (const std::size_t i : {0U, 1U, 2U, 3U})
    EXPECT_EQ(section.variables[i].sampleCount, 300 + i % 2);
}

// libmseed waits forever for bytes that are missing from the size that it is told.
TEST(RecordStream, FileThatChangesIsReadToTheEndThatIsFound) {
  const TemporaryFolder folder;
  const auto recordSize = static_cast<std::uintmax_t>(miniSeed().size());
  // The size in records before, and after the first was read; libmseed reads 2048 at once.
  const std::pair<int, int> cases[] = {{3000, 2500}, {3000, 1}, {3000, 0}, {3000, 4000}};
  for (const auto& [before, after] : cases) {
    const std::string name = folder / "a";
    miniSeedFile::repeat(name, miniSeed(), 4000);
    std::filesystem::resize_file(name, static_cast<std::uintmax_t>(before) * recordSize);
    cDataFile file(name);
    cRecordStream records(file, cRecordStream::Samples::skipped);
    ASSERT_TRUE(records.next());
    if (after > before)
      miniSeedFile::repeat(name, miniSeed(), 4000);
    else
      std::filesystem::resize_file(name, static_cast<std::uintmax_t>(after) * recordSize);
    int found = 1;
    while (records.next())
      ++found;
    EXPECT_EQ(found, std::max(after, 2048)) << after;
    EXPECT_TRUE(records.reachedEnd()) << after;
  }
}

TEST(Dispatcher, ReadersHaveTheirOrder) {
  const TemporaryFolder folder;
  const std::string geopsy = GeopsyHeader{}.bytes();
  using enum geoFileParser::geo_file_type;
  const struct {
    std::string name, bytes;
    geoFileParser::geo_file_type type;
    int code;
  } cases[] = {
      {"x.mseed", miniSeed(), geo_file_undefined, 0},
      {"x.MSD", miniSeed(), geo_file_undefined, 0},
      {"x", miniSeed(), geo_file_undefined, 0},
      {"x.txt", miniSeed(), geo_file_undefined, 0},
      {"x.dat", miniSeed(), geo_file_undefined, 3}, // never offered to the miniSEED reader
      {"x.SEG2", miniSeed(), geo_file_undefined, 3},
      {"x.mseed", miniSeed(), geo_file_seg2, 3},
      {"x.mseed", miniSeed(), geo_file_geopsy_signal, 0}, // only SEG-2 can be forced
      {"x.dat", miniSeed(), geo_file_miniseed, 3},
      {"x.mseed", "junk", geo_file_undefined, 3},
      {"x.msd", cutRecord(), geo_file_undefined, 3},
      {"x", geopsy, geo_file_undefined, 3},
      {"x.mseed", geopsy, geo_file_undefined, 3},
      {"x.dat", geopsy, geo_file_undefined, 3},
  };
  for (const auto& c : cases) {
    const std::string name = folder.write(c.name, c.bytes);
    cGeoParserPlugin plugin;
    cGeoParserFile file(plugin);
    cGeoFileParser parser;
    EXPECT_EQ(parser.message(), "");
    EXPECT_EQ(parser.parse(file, " " + folder.write(c.name, c.bytes) + "/. ", c.type), c.code)
        << name;
    EXPECT_EQ(parser.message(), c.code == 0 ? "The file \"" + name + "\" was parsed succesfully."
                                            : "Failed to parse the file \"" + name + "\".");
    EXPECT_EQ(file.fileName(), name);
    EXPECT_FALSE(file.checkFileChanged()) << name;
    EXPECT_EQ(file.sections().size(), c.code == 0 ? 1U : 0U) << name;
    EXPECT_EQ(file.fileType, c.code == 0 ? 26 : 0) << name;
  }
}

TEST(Dispatcher, MissingFileLeavesTheRecordAlone) {
  cGeoParserPlugin plugin;
  cGeoParserFile file(plugin);
  file.setFileName("before");
  cGeoFileParser parser;
  EXPECT_EQ(parser.parse(file, " /nowhere/./x.mseed", geoFileParser::geo_file_undefined), 4);
  EXPECT_EQ(parser.message(), "The file \" /nowhere/./x.mseed\" does not exist.");
  EXPECT_EQ(file.fileName(), "before");
}

TEST(Dispatcher, AReadersCodeEndsTheSearchOrNot) {
  for (int value = -1; value < 30; ++value) {
    auto code = static_cast<ox3::returnCode>(value);
    cGeoFileParser parser;
    const bool quit = parser.printErrorMessageAndQuit("n", code);
    EXPECT_EQ(quit, value == 0 || value == 15 || value == 16) << value;
    EXPECT_EQ(code, value == 16 ? 3 : value);
    EXPECT_EQ(parser.message(), value == 0    ? "The file \"n\" was parsed succesfully."
                                : value == 15 ? "The file \"n\" was parsed only partially ."
                                : value == 16 ? "Failed to parse the file \"n\"."
                                              : "");
  }
}

TEST(Dispatcher, CopiesOnlyFromFilesThatTheMiniSeedReaderMarked) {
  const TemporaryFolder folder;
  cGeoParserPlugin plugin;
  cGeoParserFile* const file = plugin.parseFile(folder.write("x", miniSeed()).c_str());
  ASSERT_NE(file, nullptr);
  cGeoParserSection& section = *file->getSectionHandle(0);
  double sample = -7;
  cGeoFileParser parser;
  for (const std::int64_t other : {0, 1, 13}) {
    file->fileType = other;
    EXPECT_EQ(parser.copyVariableDataDouble(*file, section, 0, &sample, 1), 3);
  }
  EXPECT_EQ(sample, -7);
}

TEST(Plugin, FailedParseLeavesTheListAsItWas) {
  const TemporaryFolder folder;
  cGeoParserPlugin plugin;
  const std::string good = folder.write("x", miniSeed());
  EXPECT_NE(plugin.parseFile(good.c_str()), plugin.parseFile((" " + folder / "./x ").c_str()));
  for (const std::string& bad :
       {folder / "missing", folder.write("junk", "junk"), "${OX_UNSET}/x"s, ""s})
    EXPECT_EQ(plugin.parseFile(bad.c_str()), nullptr) << bad;
  EXPECT_EQ(plugin.parseFile(nullptr), nullptr);
  ASSERT_EQ(plugin.files().size(), 2U);
  EXPECT_EQ(plugin.files().back().fileName(), good);
}
