// The other subcommands, on the plug-in that keeps the rules.

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <csignal>
#include <limits>

#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/command_line.h"
#include "host/commands.h"
#include "host/decimate.h"
#include "host/error.h"
#include "host/listing.h"
#include "host/samples.h"
#include "host/text.h"
#include "tests/host/fixture.h"

namespace host {
namespace {

using Texts = std::vector<std::string>;

Texts split(const std::string& text, char separator) {
  Texts parts;
  std::istringstream stream(text);
  for (std::string part; std::getline(stream, part, separator);)
    parts.push_back(part);
  return parts;
}

double number(const std::string& text) {
  double value = 0;
  const char* end = text.data() + text.size();
  EXPECT_EQ(std::from_chars(text.data(), end, value).ptr, end) << text;
  return value;
}

TEST_F(HostTest, ExitStatusTellsWrongUseFromFailure) {
  std::filesystem::current_path(folder);
  write("list", "fake\nA 10 9 9 0 1\n");
  write("no", "something else\n");
  struct Case {
    Texts arguments;
    int status;
  };
  for (const auto& [arguments, status] : {
           Case{{}, 2},
           Case{{"list"}, 2},
           Case{{"list", "--format", "xml", "list"}, 2},
           Case{{"plot", "list", "-o", "list.gif"}, 2},
           Case{{"list", "list", "--plugin", fakePlugin()}, 0},
           Case{{"./list", "--plugin", fakePlugin()}, 0},
           Case{{"--plugin", fakePlugin(), "no", "list"}, 1},
           Case{{"check", fakePlugin()}, 0},
           Case{{"check", fakePlugin("VERSION")}, 1},
       })
    EXPECT_EQ(runCommandLine(arguments), status) << testing::PrintToString(arguments);
}

TEST_F(HostTest, ListingsStayValidForAnyNameAndNumber) {
  const std::string name = "a\"b,\xff\x1b[2J";
  const std::string path = write("odd.fake", "fake\n" + name + " 10 300 6 -1.5 0.1\nB 0 9 0 0 0\n");
  const ListedFile file = summarize(plugin, openFile(plugin, path));
  const auto shaped = [&](std::unique_ptr<Listing> (*make)(Output&)) {
    const std::string target = (folder / "listing").string();
    Output output(target);
    const auto listing = make(output);
    listing->begin(walkPlugin(plugin));
    listing->file(file);
    listing->end();
    output.commit();
    return read(target);
  };
  const auto json = nlohmann::json::parse(shaped(jsonListing));
  const auto& variables = json["files"][0]["sections"][0]["variables"];
  EXPECT_EQ(variables[0]["properties"][0]["value"], "a\"b,\uFFFD\x1b[2J");
  EXPECT_EQ(variables[0]["properties"].size(), 9);
  EXPECT_EQ(variables[0]["samples_found"], 6);
  EXPECT_EQ(variables[0]["last_sample"], "inf");
  EXPECT_EQ(variables[1]["first_sample"], nullptr);

  const Texts rows = split(shaped(csvListing), '\n');
  ASSERT_EQ(rows.size(), 3);
  EXPECT_EQ(rows[1], path + ",0,0,\"a\"\"b,\uFFFD\x1b[2J\",300,6,0.1,10,-1.5,28.5,yes,-0,inf");
  EXPECT_EQ(rows[2], path + ",0,1,B,9,0,0,0,0,0,no,,");

  const std::string table = shaped(tableListing);
  EXPECT_NE(table.find("a\"b,\uFFFD\uFFFD[2J"), std::string::npos) << table;
  EXPECT_NE(table.find("6 of 300 samples found"), std::string::npos) << table;
}

class Export : public HostTest {
protected:
  // Longer than what is in memory while columns are merged, and not equally long.
  const std::string file = write("some.fake", "fake\nA 10 20001 20001 -1.5 0.01\nB 10 9 8192 3 0\n"
                                              "C 10 8200 8193 0 0.3\nD 0 5 0 0 0\n");
  const std::string target = (folder / "out").string();

  int run(const Texts& streams, ExportFormat format, const std::string& output) {
    return exportSamples(plugin, {file, streams, output, format});
  }
};

TEST_F(Export, KeepsEveryBitOfEverySample) {
  const FileRecord record = openFile(plugin, file);
  std::string raw;
  ASSERT_EQ(run({}, ExportFormat::csv, target), kSuccess);
  const Texts rows = split(read(target), '\n');
  ASSERT_EQ(rows.size(), 20002);
  EXPECT_EQ(rows[0], "A time_s,A value,B time_s,B value,C time_s,C value");
  for (size_t i = 0; i < 3; ++i) {
    const StreamRecord& stream = record.sections[0].streams[i];
    const Samples samples = copySamples(plugin, record, stream);
    raw.append(reinterpret_cast<const char*>(samples.values.data()), samples.values.size() * 8);
    for (size_t sample = 0; sample < 20001; ++sample) {
      Texts cells = split(rows[sample + 1] + ",.", ',');
      const std::string& time = cells[2 * i];
      const std::string& value = cells[2 * i + 1];
      ASSERT_EQ(value.empty(), sample >= samples.values.size()) << rows[sample + 1];
      ASSERT_EQ(time.empty(), value.empty() || stream.interval == 0) << rows[sample + 1];
      if (!value.empty()) {
        ASSERT_EQ(std::bit_cast<uint64_t>(number(value)),
                  std::bit_cast<uint64_t>(samples.values[sample]));
      }
      if (!time.empty()) {
        ASSERT_EQ(number(time), stream.timeOf(sample));
      }
    }
  }
  ASSERT_EQ(run({}, ExportFormat::f64, target), kSuccess);
  EXPECT_EQ(read(target), raw);
}

TEST_F(Export, LeavesNothingHalfDone) {
  write("out", "earlier");
  EXPECT_THROW(run({"X*"}, ExportFormat::csv, target), Error);
  EXPECT_THROW(run({"D"}, ExportFormat::csv, target), Error);
  EXPECT_THROW(run({}, ExportFormat::csv, folder / "none" / "out"), Error);
  EXPECT_THROW(run({}, ExportFormat::csv, "/dev/full"), Error);
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));

  (void)std::signal(SIGXFSZ, SIG_IGN);
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  const rlimit little{100'000, limit.rlim_max}; // as a disk that fills up
  setrlimit(RLIMIT_FSIZE, &little);
  EXPECT_THROW(run({"A"}, ExportFormat::csv, target), Error);
  setrlimit(RLIMIT_FSIZE, &limit);

  const auto endInTheMiddle = [&] {
    Output output(target);
    output.write(std::string(100'000, '.'));
    (void)std::raise(SIGTERM);
  };
  EXPECT_EXIT(endInTheMiddle(), testing::KilledBySignal(SIGTERM), "");
  EXPECT_EQ(read(target), "earlier");
  EXPECT_EQ(filesInFolder(), 2); // with the data file
}

TEST(Decimate, KeepsSpikeWhereverItIs) {
  constexpr size_t kSamples = 100'003;
  for (const size_t position : {size_t{0}, size_t{1}, kSamples / 3, kSamples - 1})
    for (const double spike : {-1e9, 1e9}) {
      std::vector<double> samples(kSamples, 0.5);
      samples[position] = spike;
      const std::vector<Point> points = decimate(samples, 100);
      EXPECT_LE(points.size(), 200);
      EXPECT_EQ(
          std::count_if(points.begin(), points.end(),
                        [&](const Point& p) { return p.sample == position && p.value == spike; }),
          1);
      EXPECT_TRUE(std::is_sorted(points.begin(), points.end(), [](const Point& a, const Point& b) {
        return a.sample < b.sample;
      }));
    }
}

TEST(Decimate, BreaksTheLineOnlyWhereNothingIsFinite) {
  std::vector<double> samples(1000, std::numeric_limits<double>::quiet_NaN());
  samples[150] = 2;
  samples[151] = std::numeric_limits<double>::infinity();
  const std::vector<Point> points = decimate(samples, 10);
  ASSERT_EQ(points.size(), 10);
  for (const Point& point : points)
    EXPECT_EQ(std::isnan(point.value), point.sample != 150);
}

TEST(Text, ReplacesWhatIsNoUtf8) {
  struct Case {
    std::string bytes;
    std::string text;
  };
  for (const auto& [bytes, text] : {
           Case{"", ""},
           Case{"\xc3\xa9 \xe2\x82\xac \xf0\x9f\x8c\x8d", "é € 🌍"},
           Case{"\xc3", "\uFFFD"},
           Case{"\xc0\xaf", "\uFFFD\uFFFD"},
           Case{"\xed\xa0\x80", "\uFFFD\uFFFD\uFFFD"},
           Case{"\xf4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"},
           Case{"\xe2\x82x", "\uFFFD\uFFFDx"},
       })
    EXPECT_EQ(validUtf8(bytes), text);
  EXPECT_EQ(printable("a\n\x7f\xc2\x9b"), "a\uFFFD\uFFFD\uFFFD");
}

TEST_F(HostTest, PlotDrawsAnyStream) {
  const std::string file = write("odd.fake", "fake\n'`$(1)2\\_\" 10 5000 5000 -1.5 0.1\n"
                                             "short 10 1 1 0 0\nempty 10 9 0 0 -1\n");
  const std::string target = (folder / "picture.svg").string();
  ASSERT_EQ(plot(plugin, {file, {}, target}), kSuccess);
  const std::string picture = read(target);
  EXPECT_TRUE(picture.starts_with("<?xml"));
  EXPECT_NE(picture.find("`$(1)2\\_"), std::string::npos);
  EXPECT_NE(picture.find("no samples"), std::string::npos);
}

TEST_F(HostTest, WatchShowsEachStateAndEndsOnCtrlC) {
  const std::filesystem::path log = folder / "log";
  const std::string file = write("some.fake", "fake\nA 10 9 9 0 1\n");
  const auto waitFor = [&](const char* text) {
    for (int i = 0; i < 500 && read(log).find(text) == std::string::npos; ++i)
      usleep(10'000);
    EXPECT_NE(read(log).find(text), std::string::npos) << text << " is not in " << read(log);
  };
  const pid_t child = fork();
  if (child == 0) {
    const int target = open(log.c_str(), O_WRONLY | O_CREAT, 0600);
    dup2(target, STDOUT_FILENO);
    dup2(target, STDERR_FILENO);
    _exit(watch(plugin, {file, std::chrono::milliseconds(20)}));
  }
  waitFor("1 stream\n");
  std::filesystem::remove(file);
  waitFor("some.fake: No such file or directory; watching on\n");
  write("some.fake", "fa");
  waitFor("some.fake: holds nothing that the plug-in delivers; watching on\n");
  for (const char* state : {"2", "3"}) {
    write("new", std::string("fake\nA 10 9 9 0 1\nB 10 9 9 0 1\n") +
                     (*state == '3' ? "C 10 9 9 0 1\n" : ""));
    std::filesystem::rename(folder / "new", file);
    waitFor((std::string(state) + " streams\n").c_str());
  }
  kill(child, SIGINT);
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

} // namespace
} // namespace host
