// The plug-in as a host has it: loaded from its file, reached through its one symbol.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <ios>
#include <limits>
#include <map>
#include <numeric>
#include <tuple>
#include <utility>

#include <gtest/gtest.h>
#include <libmseed.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include "plugin/ox_wp_plugin.h"
#include "testing/loadedPlugin.h"
#include "testing/miniSeedFile.h"
#include "testing/openDescriptors.h"
#include "testing/temporaryFolder.h"
#include "testing/writtenRecord.h"

namespace {

using miniSeedFile::pack;
using miniSeedFile::patched;
using Integers = std::vector<std::int32_t>;
using Doubles = std::vector<double>;

constexpr double kMark = -12345.678; // no test file has this sample

Integers ramp(std::size_t count, std::int32_t first = 1) {
  Integers result(count);
  std::iota(result.begin(), result.end(), first);
  return result;
}

// `samples`, then marks up to `size`.
template<class Samples>
Doubles padded(const Samples& samples, std::size_t size) {
  Doubles result(samples.begin(), samples.end());
  result.resize(size, kMark);
  return result;
}

// The properties of a variable. Strings are copied at once, because labels share one string.
struct Variable {
  std::map<int, double> numbers;
  std::map<int, std::string> texts;
  std::string name() const { return texts.at(ox_wp_prop_variable_name); }
  double count() const { return numbers.at(ox_wp_prop_sample_count); }
};

class Boundary : public testing::Test {
protected:
  ox_wp_file_handle parse(const std::string& path) const {
    return host.parse_file(host.plugin, path.c_str());
  }

  // A file of these bytes, parsed. Null when the plug-in declines it.
  ox_wp_file_handle parseBytes(const std::string& bytes) const {
    return parse(folder.write("a.mseed", bytes));
  }

  ox_wp_section_handle section(ox_wp_file_handle file) const {
    return host.get_section_handle(host.plugin, file, 0);
  }

  std::vector<Variable> variables(ox_wp_file_handle file) const {
    std::vector<Variable> result;
    for (int v = 0;; ++v) {
      Variable seen;
      _ox_wp_prop_type property = {};
      for (int i = 0;
           host.get_variable_property(host.plugin, file, section(file), v, i, &property) == 0;
           ++i) {
        if (property.type == ox_wp_type_string)
          seen.texts[property.identifier] = property.string_value;
        else
          seen.numbers[property.identifier] = property.type == ox_wp_type_double
                                                  ? property.double_value
                                                  : static_cast<double>(property.integer_value);
      }
      if (seen.texts.empty())
        return result;
      result.push_back(seen);
    }
  }

  // Copies into a buffer of `size` doubles. Returns the status, and the buffer with two doubles
  // that lie behind it.
  std::pair<int, Doubles> copy(ox_wp_file_handle file, int variable, int size) const {
    Doubles buffer(static_cast<std::size_t>(std::max(size, 0)) + 2, kMark);
    const int status = host.copy_variable_data(host.plugin, file, section(file), variable,
                                               ox_wp_type_double, buffer.data(), size * 8);
    return {status, buffer};
  }

  // A recording of ramp(3).
  std::string writeRamp(const std::string& name) const {
    return folder.write(name, pack({.encoding = 3}, ramp(3)));
  }

  void expectRead(const std::string& path) const {
    const ox_wp_file_handle file = parse(path);
    ASSERT_NE(file, nullptr) << path;
    EXPECT_EQ(copy(file, 0, 3), std::pair(0, padded(ramp(3), 5))) << path;
  }

  LoadedPlugin plugin;
  const _ox_wp_plugin_functions_type& host = plugin.table();
  TemporaryFolder folder;
};

} // namespace

// The checker tests index, type and fields.
TEST_F(Boundary, PropertiesSayWhatTheFileHolds) {
  const ox_wp_file_handle file = parseBytes(
      pack({.location = "00", .sampleRate = 3, .startTime = (1LL << 32) - 1500096, .encoding = 3},
           ramp(5)));
  const std::vector<Variable> streams = variables(file);
  ASSERT_EQ(streams.size(), 1U);
  const std::map<int, std::string> texts = {
      {48, "XX_TEST_00_BHZ"}, {49, "time stamp"}, {50, "count"}};
  EXPECT_EQ(streams[0].texts, texts);
  // The start is the low 32 bits of the microseconds, and a product, not a quotient. The end is
  // rounded once, not twice.
  const std::map<int, double> numbers = {{34, -1.5000959999999999},
                                         {35, 1. / 3},
                                         {36, 0.1665706666666667},
                                         {51, 0},
                                         {52, 10},
                                         {53, 5}};
  EXPECT_EQ(streams[0].numbers, numbers);
}

// Recordings that libmseed did not write, with samples worked out from the SEED manual.
TEST_F(Boundary, RecordingsAreReadAsTheFormatIsPublished) {
  const Recorded integers = {
      3, {{4, {1, -1, 0x7FFFFFFF, -0x80000000LL}}}, {1, -1, 2147483647, -2147483648.}};
  const Recorded text = {0, {{1, {'t', ' ', 0xFF, 0x80}}}, {116, 32, 255, 128}};
  const Recorded shorts = {1, {{2, {1, -1, -32768, 32767}}}, {1, -1, -32768, 32767}};
  const Recorded doubles = {5, // -1.5, the smallest, the largest, infinity
                            {{8, {-0x4008000000000000, 1, 0x7FEFFFFFFFFFFFFF, 0x7FF0000000000000}}},
                            {-1.5, 5e-324, std::numeric_limits<double>::max(), INFINITY}};
  const Recorded exact = {
      4, {{4, {0x3FC00000, 0xC0100000, 1}}}, {1.5, -2.25, std::ldexp(1, -149)}, true};
  // One frame: which words hold differences, the first and the last sample, differences. The first
  // difference leads from an earlier record and is not used.
  const Recorded steim1 = {10,
                           {{4, {0b00'00'00'01'10'11 << 20, 10, 100000}},
                            {1, {99, 2, -3, 0}},
                            {2, {291, -1}},
                            {4, {99701}}},
                           {10, 12, 9, 9, 300, 299, 100000}};
  const Recorded steim2 = {11,
                           {{4, {0b00'00'00'01'10'10'10'11'11'11 << 12, 10, 116425}},
                            {1, {99, 2, -3, 0}},
                            {4,
                             {0x40018697,    // 30 bits: 99991
                              0xBFCE3E80,    // 15 bits: -100, 16000
                              0xC01FFDFF,    // 10 bits: 1, -1, 511
                              0x0108381F,    // 6 bits: 1, 2, 3, -32, 31
                              0x43F7C002,    // 5 bits: 1, -1, 15, -16, 0, 2
                              0x8123487F}}}, // 4 bits: 1, 2, 3, 4, -8, 7, -1
                           {10,     12,     9,      9,      100000, 99900,  115900,
                            115901, 115900, 116411, 116412, 116414, 116417, 116385,
                            116416, 116417, 116416, 116431, 116415, 116415, 116417,
                            116418, 116420, 116423, 116427, 116419, 116426, 116425}};
  Recorded unstated = steim1; // which libmseed takes for granted
  unstated.encoding = -1;
  const std::pair<const char*, std::vector<Recorded>> cases[] = {
      {"32 bits", {integers}},
      {"text", {text}},
      {"16 bits", {shorts}},
      {"doubles", {doubles}},
      {"floats, with an exact rate", {exact}},
      {"Steim-1", {steim1}},
      {"Steim-2", {steim2}},
      {"first unstated", {unstated, steim2}},
      {"others unstated", {integers, unstated, unstated}}};
  for (const auto& [what, records] : cases)
    for (const bool bigEndian : {true, false}) {
      SCOPED_TRACE(std::string(what) + (bigEndian ? ", big-endian" : ", little-endian"));
      std::string bytes;
      Doubles samples;
      for (const Recorded& record : records) {
        bytes += written(record, bigEndian);
        samples.insert(samples.end(), record.samples.begin(), record.samples.end());
      }
      const ox_wp_file_handle file = parseBytes(bytes);
      ASSERT_NE(file, nullptr);
      const Variable seen = variables(file).at(0);
      EXPECT_EQ(seen.name(), "XX_TEST_00_BHZ");
      EXPECT_EQ(seen.numbers.at(ox_wp_prop_variable_data_type), ox_wp_type_double);
      EXPECT_EQ(seen.count(), samples.size());
      EXPECT_EQ(seen.numbers.at(ox_wp_prop_x_start), 62.5);
      EXPECT_EQ(seen.numbers.at(ox_wp_prop_x_step), records[0].hasExactRate ? 1 / 1.5 : 0.05);
      EXPECT_EQ(copy(file, 0, static_cast<int>(samples.size())),
                std::pair(0, padded(samples, samples.size() + 2)));
    }
}

// What libmseed can decode is copied on request even where the variable says that it isn't
// deliverable; what it can't is counted and skipped.
TEST_F(Boundary, OtherEncodingsAreNotDeliverable) {
  for (const int encoding : {2, 12, 13, 14, 16, 30, 32, 77, 254}) {
    const std::string record = pack({.encoding = 3}, ramp(5));
    const ox_wp_file_handle file = parseBytes(patched(record, miniSeedFile::kEncodingOffset,
                                                      std::string(1, static_cast<char>(encoding))));
    const Variable seen = variables(file).at(0);
    EXPECT_EQ(seen.numbers.at(ox_wp_prop_variable_data_type), ox_wp_type_none) << encoding;
    EXPECT_EQ(seen.count(), 5);
    const bool decodable = encoding >= 12 && encoding <= 32;
    EXPECT_EQ(copy(file, 0, 5).first, decodable ? 0 : 1) << encoding;
  }
}

TEST_F(Boundary, CopiesStopWhereTheBufferEnds) {
  std::string bytes;
  std::int32_t end = 0;
  for (const auto& [count, length] : {std::pair(3, 128), {40, 65536}, {5, 512}}) { // with gaps
    bytes += pack({.startTime = end * 60000000LL, .encoding = 3, .recordLength = length},
                  ramp(static_cast<std::size_t>(count), end + 1));
    end += count;
  }
  const ox_wp_file_handle file = parseBytes(bytes);
  for (int size = 0; size <= end + 1; ++size) {
    const auto found = static_cast<std::size_t>(std::min(size, end));
    EXPECT_EQ(
        copy(file, 0, size),
        std::pair(size > end ? 1 : 0, padded(ramp(found), static_cast<std::size_t>(size) + 2)));
  }
}

TEST_F(Boundary, StreamsAreInTheOrderOfTheirFirstRecord) {
  // Quality, rate, encoding and start of later records make no other stream and change nothing.
  const auto record = [](const char* channel, char quality, double rate, int encoding, int first) {
    miniSeedFile::Stream stream{.channel = channel, .quality = quality, .encoding = encoding};
    stream.sampleRate = rate;
    stream.startTime = first * 1000000LL;
    return pack(stream, ramp(3, first));
  };
  const std::string blank = pack({.network = "", .station = "", .channel = ""}, ramp(3, 300));
  const ox_wp_file_handle file =
      parseBytes(record("BHZ", 'D', 10, 3, 1) + record("BHE", 'R', 20, 11, 100) + blank +
                 record("BHZ", 'Q', 99, 11, 4) + record("BHN", 'M', 40, 1, 200) +
                 record("BHE", 'R', 20, 3, 103) + record("BHZ", 'D', 5, 3, 7));
  const std::vector<Variable> streams = variables(file);
  const std::tuple<const char*, std::int32_t, std::size_t, double, double> expected[] = {
      {"XX_TEST__BHZ", 1, 9, 0.1, 1},
      {"XX_TEST__BHE", 100, 6, 0.05, 100},
      {"___", 300, 3, 0.01, 0},
      {"XX_TEST__BHN", 200, 3, 0.025, 200}};
  ASSERT_EQ(streams.size(), std::size(expected));
  int i = 0;
  for (const auto& [name, first, count, step, start] : expected) {
    const Variable& seen = streams[static_cast<std::size_t>(i)];
    EXPECT_EQ(seen.name(), name);
    EXPECT_EQ(seen.numbers.at(ox_wp_prop_x_start), start) << name;
    EXPECT_EQ(seen.numbers.at(ox_wp_prop_x_step), step) << name;
    EXPECT_EQ(copy(file, i++, static_cast<int>(seen.count())).second,
              padded(ramp(count, first), count + 2))
        << name;
  }
}

TEST_F(Boundary, DamagedRecordsAreCountedButNotFound) {
  const std::string good = pack({}, ramp(10)) + pack({}, ramp(10, 11));
  const std::string noise(384, '#');
  const std::string blank = "000003" + std::string(506, ' ');
  const std::string badOffset =
      patched(pack({}, ramp(5, 50)), miniSeedFile::kDataOffsetOffset, std::string("\x7f\xff", 2));
  const ox_wp_file_handle file = parseBytes(good.substr(0, 512) + noise + badOffset + blank +
                                            good.substr(512) + good.substr(0, 100));
  EXPECT_EQ(variables(file).at(0).count(), 25);
  EXPECT_EQ(copy(file, 0, 25), std::pair(1, padded(ramp(20), 27)));
  EXPECT_EQ(copy(file, 0, 20), std::pair(0, padded(ramp(20), 22)));
}

// A copy need not decode the records of other streams. It finds what it would find if it did.
TEST_F(Boundary, CopyFindsItsStreamAmongOthers) {
  const auto own = [](std::int32_t first) {
    return pack({.encoding = 3, .recordLength = 256}, ramp(3, first));
  };
  const std::string other = pack({.channel = "BHN", .encoding = 3, .recordLength = 1024}, ramp(3));
  const auto undecodable = [](const std::string& record) {
    return patched(record, miniSeedFile::kEncodingOffset, "\x4d");
  };
  // Two blockettes 1000; the second one states a length of 2 to the `exponent`.
  const auto twoLengths = [&](char exponent) {
    return patched(patched(patched(undecodable(other), 39, "\2"), 44, std::string("\0\x40", 2)), 50,
                   std::string("\0\x38\3\1\xa\0\3\xe8\0\0\x4d\1", 12) + exponent);
  };
  const std::pair<std::string, std::size_t> cases[] = {
      {patched(undecodable(other), 512, own(4)) + own(7), 9},
      {patched(undecodable(other), 500, own(9)) + own(4), 6}, // libmseed looks at every 128th byte
      {patched(other, 512, own(9)) + own(4), 6},
      {twoLengths('\x1e'), 3}, // longer than the file and the buffer
      {twoLengths('\2') + own(4), 6},
      {other + patched(own(4), 12, std::string(3, '\0')) + own(7) + other + own(10), 12}};
  for (const auto& [bytes, count] : cases)
    EXPECT_EQ(copy(parseBytes(own(1) + bytes), 0, static_cast<int>(count)),
              std::pair(0, padded(ramp(count), count + 2)))
        << "row " << &count - &cases[0].second;
  EXPECT_EQ(copy(parseBytes(other + undecodable(other) + own(1)), 1, 3),
            std::pair(0, padded(ramp(3), 5)));
  // libmseed reads nothing from a file in which it decodes nothing.
  EXPECT_EQ(copy(parseBytes(other + undecodable(own(1))), 1, 0).first, 0);
  EXPECT_EQ(copy(parseBytes(undecodable(other) + undecodable(own(1))), 1, 0).first, 1);
}

TEST_F(Boundary, RecordGivesTheSamplesThatItHolds) {
  const std::string record =
      pack({.encoding = 3}, ramp(3)); // of 512 bytes, 456 of them for samples
  const std::pair<char, int> sizes[] = {{0, 1},  {1, 2},  {3, 4},  {4, 4},  {5, 8}, {12, 3},
                                        {13, 2}, {14, 2}, {16, 2}, {30, 2}, {32, 2}};
  for (const auto& [encoding, bytes] : sizes)
    for (const int beyond : {0, 1, 200}) { // at 2 bytes, within the next record
      const int held = 456 / bytes;
      const int declared = held + beyond;
      const std::string bigEndian = {static_cast<char>(declared >> 8), static_cast<char>(declared)};
      const ox_wp_file_handle file =
          parseBytes(patched(patched(record, miniSeedFile::kEncodingOffset, {encoding}),
                             miniSeedFile::kSampleCountOffset, bigEndian) +
                     record);
      EXPECT_EQ(variables(file).at(0).count(), declared + 3);
      const auto [status, samples] = copy(file, 0, declared + 3);
      EXPECT_EQ(status, beyond > 0) << int{encoding};
      EXPECT_EQ(Doubles(samples.begin() + held, samples.end()),
                padded(ramp(3), static_cast<std::size_t>(5 + beyond)))
          << int{encoding};
    }

  // Records whose end is missing: one that is cut, where libmseed takes what is left for the
  // record; one of 200 samples that only fit into the length that a second blockette 1000 states;
  // and two that libmseed accepts or skips by what lies behind them in memory.
  const std::string twoLengths =
      patched(patched(patched(record, 39, "\2"), miniSeedFile::kSampleCountOffset, {0, '\xc8'}), 44,
              std::string("\0\x40\0\x30\3\xe8\0\x38\3\1\x9\0\3\xe8\0\0\3\1\xa\0", 20));
  const auto cut = [](int encoding) {
    return pack({.encoding = encoding, .recordLength = 4096}, ramp(900)).substr(0, 2048);
  };
  const std::string sro = patched(patched(pack({.encoding = 3, .recordLength = 256}, ramp(3)),
                                          miniSeedFile::kEncodingOffset, "\x1e"),
                                  miniSeedFile::kSampleCountOffset, std::string("\2\0", 2));
  const std::string steim = patched(twoLengths, 60, "\xa\1\x14") + record;
  const std::tuple<std::string, int, std::ptrdiff_t> missing[] = {{cut(3), 900, 498},
                                                                  {cut(11), 900, 0},
                                                                  {twoLengths, 200, 112},
                                                                  {sro, 512, 100},
                                                                  {steim, 200, 3}};
  for (const auto& [bytes, declared, held] : missing) {
    const auto [status, samples] = copy(parseBytes(record + bytes), 0, 3 + declared);
    EXPECT_EQ(status, 1) << declared;
    EXPECT_EQ(std::count(samples.begin(), samples.end(), kMark), 2 + declared - held) << held;
  }
}

TEST_F(Boundary, AnySampleRateIsTaken) {
  for (const float rate : {0.F, -0.F, -1.F, 1e-30F, 3e38F, -3e38F, INFINITY, -INFINITY, NAN}) {
    SCOPED_TRACE(rate);
    std::string bytes;
    for (const std::int64_t start : {0LL, 1LL << 40, -(1LL << 40)})
      bytes +=
          pack({.sampleRate = rate, .exactRate = true, .startTime = start, .encoding = 3}, ramp(3));
    const ox_wp_file_handle file = parseBytes(bytes);
    const double expected = rate == 0 ? 0 : 1 / static_cast<double>(rate);
    std::map<int, double> numbers = variables(file).at(0).numbers;
    const double step = numbers[ox_wp_prop_x_step];
    EXPECT_TRUE(std::isnan(rate) ? std::isnan(step) : step == expected) << step;
    EXPECT_TRUE(rate != 0 || numbers[ox_wp_prop_x_end] == 0);
    EXPECT_EQ(copy(file, 0, 9).first, 0);
  }
}

TEST_F(Boundary, RecordingIsReadUnderAnyName) {
  const std::string before = std::filesystem::current_path();
  std::filesystem::current_path(folder / "");
  expectRead(std::filesystem::path(writeRamp("-")).filename()); // libmseed's standard input
  std::filesystem::current_path(before);
  const std::string deep = std::string(200, 'd') + "/" + std::string(200, 'e') + "/";
  std::filesystem::create_directories(folder / deep);
  for (const std::size_t length : {511U, 512U, 600U}) // libmseed keeps 511 bytes of a name
    expectRead(writeRamp(deep + std::string(length - (folder / deep).size(), 'f')));
}

TEST_F(Boundary, HostMayUseLibmseedMeanwhile) {
  MSRecord* record = nullptr;
  const std::string own = folder.write("own", pack({}, ramp(3)) + pack({}, ramp(9)));
  ms_readmsr(&record, own.c_str(), -1, nullptr, nullptr, 1, 0, 0);
  expectRead(writeRamp("a.mseed"));
  ms_readmsr(&record, own.c_str(), -1, nullptr, nullptr, 1, 0, 0);
  EXPECT_EQ(record->samplecnt, 9);
  ms_readmsr(&record, nullptr, 0, nullptr, nullptr, 0, 0, 0);
}

// In sparse files: libmseed skips what is no record, 128 bytes at once.
TEST_F(Boundary, RecordsAreFoundBehindWhatIsNone) {
  const std::string good = pack({.encoding = 3}, ramp(3));
  const std::string path = folder / "a.mseed";
  const std::tuple<std::string, std::string, int, int> cases[] = {
      {good, "", 3, 3}, {good, good + good, 9, 3}, {std::string(512, '#'), good, 3, 0}};
  for (const std::uintmax_t gap : {0U, 100U, 4096U, 1U << 20, 70U << 20})
    for (const auto& [before, after, all, ifUnaligned] : cases) {
      SCOPED_TRACE(std::to_string(gap) + " bytes, " + std::to_string(all) + " samples");
      miniSeedFile::write(path, before);
      std::filesystem::resize_file(path, before.size() + gap);
      std::ofstream(path, std::ios::binary | std::ios::app) << after;
      const int found = gap == 100 ? ifUnaligned : all;
      const ox_wp_file_handle file = parse(path);
      EXPECT_EQ(file ? variables(file).at(0).count() : 0, found);
      EXPECT_EQ(copy(file, 0, found).first, file ? 0 : 1);
    }
}

TEST_F(Boundary, BadInputLeavesNoTrace) {
  const std::string good = pack({.encoding = 3}, ramp(3));
  const std::string gone = folder.write("gone", good);
  const ox_wp_file_handle vanished = parse(gone);
  std::filesystem::remove(gone);
  std::filesystem::create_directory(folder / "folder.mseed");

  const long descriptors = openDescriptors();
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  std::vector<std::string> paths = {"", "/", "/dev/zero", gone, gone + "/x",
                                    folder / "folder.mseed", "${OX_UNSET}",
                                    std::string(100000, 'x'), "/proc/self/mem",
                                    // its size is 4096, but it ends before
                                    "/sys/devices/system/cpu/online"};
  // Pipes make a reader wait. A writer that waits at one goes on when it is opened.
  const int opened = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  for (const char* extension : {"", ".mseed", ".seg2", ".x"}) {
    paths.push_back(folder / "pipe" + extension);
    ASSERT_EQ(mkfifo(paths.back().c_str(), 0600), 0);
    ASSERT_GE(inotify_add_watch(opened, paths.back().c_str(), IN_OPEN), 0);
  }
  // A second blockette 1000 whose record length is 2 to the 31st: libmseed would go on forever.
  const std::string twoLengths =
      patched(patched(good, 39, "\2"), 50, std::string("\0\x38\3\1\x9\0\3\xe8\0\0\3\1\x1f\0", 14));
  const std::pair<const char*, std::string> contents[] = {
      {"empty", ""},
      {"two lengths", twoLengths},
      {"two lengths, second record", good + twoLengths},
      {"one byte", "x"},
      {"start only", std::string(20, '0')},
      {"letters", std::string(4096, 'D')},
      {"cut in its data", good.substr(0, 300)},
      {"cut in its header", good.substr(0, 47)},
      {"zeros for a header", "000001D " + std::string(1000, '\0')},
      {"four zeros", std::string(4, '\0')},
      {"packed, digits", "PED0000000" + std::string(500, '9')},
      {"packed, negative length",
       "PLS-------Q--BHZ -70366596694017" + good.substr(0, 64) + std::string(64, 'z')}};
  for (const auto& [what, content] : contents)
    for (const char* extension : {".mseed", ".msd", ".seg2", ".dat", ".sg", ""})
      paths.push_back(folder.write(std::string(what) + extension, content));
  for (const std::string& path : paths)
    EXPECT_EQ(parse(path), nullptr) << path;
  EXPECT_EQ(host.parse_file(host.plugin, nullptr), nullptr);
  parse(folder.write("blockettes.mseed", patched(good, 39, "\7"))); // libmseed warns of each record

  EXPECT_EQ(copy(vanished, 0, 3), std::pair(1, Doubles(5, kMark)));
  std::filesystem::rename(folder / "pipe", gone);
  EXPECT_EQ(copy(vanished, 0, 3).first, 1);
  EXPECT_EQ(testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(openDescriptors(), descriptors + 1);
  inotify_event first = {};
  EXPECT_EQ(read(opened, &first, sizeof first), -1) << "pipe " << first.wd << " was opened";
  close(opened);
}

// Other plug-ins need not do this, so the checker does not look for it.
TEST_F(Boundary, KeepsWhatOnlyThisPluginPromises) {
  const ox_wp_file_handle file = parseBytes(pack({.encoding = 3}, ramp(3)));
  const ox_wp_section_handle handle = section(file);
  _ox_wp_prop_type x = {};
  _ox_wp_prop_type y = {};
  host.get_section_property(host.plugin, file, handle, ox_wp_index_section_x_label, &x);
  EXPECT_STREQ(x.string_value, "time stamp");
  host.get_variable_property(host.plugin, file, handle, 0, ox_wp_index_variable_y_label, &y);
  EXPECT_EQ(x.string_value, y.string_value); // all labels of a section share one string
  EXPECT_STREQ(x.string_value, "count");
  EXPECT_EQ(host.release_file(host.plugin, file), 1);

  EXPECT_EQ(variables(file).at(0).count(), 3); // and it is still there
  EXPECT_STREQ(host.get_error_message(host.plugin), "");
}
