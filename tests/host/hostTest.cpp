// The other subcommands, on the plug-in that keeps the rules.

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <optional>
#include <sstream>
#include <tuple>

#include <nlohmann/json.hpp>
#include <pty.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/base/error.h"
#include "host/base/output.h"
#include "host/base/strings.h"
#include "host/boundary/samples.h"
#include "host/boundary/walk.h"
#include "host/commandLine.h"
#include "host/commands/commands.h"
#include "host/drawing/decimate.h"
#include "host/drawing/timeAxis.h"
#include "testing/environment.h"
#include "testing/openDescriptors.h"
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

// The bits of the number in a cell, none for an empty one.
std::optional<uint64_t> bitsOf(const std::string& cell) {
  if (cell.empty())
    return {};
  return std::bit_cast<uint64_t>(std::strtod(cell.c_str(), nullptr));
}

TEST_F(HostTest, ExitStatusTellsWrongUseFromFailure) {
  std::filesystem::current_path(folder);
  write("list", "A 10 9 9 0 1\n");
  write("names", ".-/ 10 9 9 0 1\n.-/ 10 8 8 0 1\n");
  write("none", "A 10 9 0 0 1\n");
  write("[1]", "A 10 9 9 0 1\n");
  std::filesystem::create_symlink("list", "link");
  std::filesystem::create_symlink("out.csv", "dangling");
  std::filesystem::create_hard_link("list", "same");
  const std::vector<std::pair<Texts, int>> cases = {
      {{}, 0},
      {{"list"}, 2},
      {{"plot", "list", "-o", "list.gif"}, 2},
      {{"plot", "list", "--from", "2", "--to", "1", "--plugin", "missing"}, 2},
      {{"watch", "list", "--interval", "nan", "--plugin", "missing"}, 2},
      {{"export", "list", "--split", "", "--plugin", "missing"}, 2},
      {{"check", FAKE_PLUGIN, "--time-limit", "0"}, 2},
      {{"list", "--samples", "--stream", "A", "list", "--plugin", FAKE_PLUGIN}, 0},
      {{"list", "--stream", "B", "list", "--plugin", FAKE_PLUGIN}, 1},
      {{"export", "list", "--plugin", FAKE_PLUGIN, "-o", "dangling", "--stream", "[A]"}, 0},
      {{"export", "none", "--plugin", FAKE_PLUGIN, "-o", "out.csv"}, 1},
      {{"list", "--samples", "none", "--plugin", FAKE_PLUGIN}, 1},
      {{"--plugin", FAKE_PLUGIN, "[1]"}, 0},
      {{"export", "names", "--plugin", FAKE_PLUGIN, "--format", "f64", "--split", "out"}, 0},
      {{"export", "list", "--plugin", FAKE_PLUGIN, "-o", "./link"}, 1},
      {{"export", "./list", "--plugin", FAKE_PLUGIN, "-o", "same"}, 1},
      {{"plot", "list", "--plugin", FAKE_PLUGIN, "-o", "out.PNG", "--to", "5"}, 0},
      {{"--plugin", FAKE_PLUGIN, "export", "./list"}, 2},
      {{"check", "--list"}, 0},
      {{"check", "list"}, 1},
      {{"check", FAKE_PLUGIN, "missing"}, 2},
      {{"check", FAKE_PLUGIN, "--rule", "missing"}, 2},
  };
  for (const auto& [arguments, status] : cases)
    EXPECT_EQ(runCommandLine(arguments), status) << testing::PrintToString(arguments);
  EXPECT_EQ(split(read("out.csv"), '\n').size(), 10);
  EXPECT_EQ(read("out/_.-_.f64").size(), 9 * sizeof(double));
  EXPECT_EQ(read("out/_.-_-2.f64").size(), 8 * sizeof(double));
  EXPECT_TRUE(read("out.PNG").starts_with("\x89PNG"));
  EXPECT_EQ(read("list"), "A 10 9 9 0 1\n");
  std::filesystem::current_path("/"); // the folder goes
}

TEST_F(HostTest, ListingsStayValidForAnyNameAndNumber) {
  // Not well formed: too long, a surrogate, beyond the last character. Each byte becomes a mark.
  const std::string noUtf8 = "\xc0\xaf\xe0\x9f\xbf\xed\xa0\x80\xf0\x8f\xf4\x90\x80\x80";
  const std::string name = "a\"b,\x1b\x7f\u009b\u00a0é€\u0800🌍\U00010000";
  std::string marks;
  for (size_t i = 0; i < noUtf8.size(); ++i)
    marks += "\uFFFD";
  const std::string path = write("odd.fake", name + noUtf8 + " 10 300 6 -1.5 0.1\nsection\n" +
                                                 "\xe2\x82x\xc3é 0 9 0 0 0\n");
  const auto listed = [&](const char* format) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(list(plugin, {{path, "none"}, {}, true, format}), kFailure);
    return testing::internal::GetCapturedStdout();
  };
  auto json = nlohmann::json::parse(listed("json"));
  auto& known = json["files"][0];
  EXPECT_EQ(json["plugin"]["properties"][1]["name"], "plugin_name");
  EXPECT_EQ(known["properties"].size(), 2); // without the change flag
  EXPECT_EQ(known["sections"][1]["properties"][1]["value"], 1);
  EXPECT_EQ(known["streams"][0]["properties"][0]["value"], name + marks);
  EXPECT_EQ(known["streams"][0]["last_sample"], "inf");
  known["streams"][1].erase("properties");
  EXPECT_EQ(known["streams"][1].dump(),
            R"({"end":0.0,"first_sample":null,"last_sample":null,"name":"�x�é","rate":null,)"
            R"("samples":9,"samples_found":0,"section":1,"start":0.0,"type":"none","variable":0})");
  EXPECT_EQ(json["files"][1].dump(), "{\"error\":\"none: No such file or directory; the plug-in "
                                     "says: no streams; declined (7)\",\"path\":\"none\"}");

  const Texts rows = split(listed("csv"), '\n');
  ASSERT_EQ(rows.size(), 3);
  EXPECT_EQ(rows[1],
            path + ",0,0,\"a\"" + name.substr(1) + marks + "\",300,0.1,10,-1.5,28.5,yes,6,-0,inf");
  EXPECT_EQ(rows[2], path + ",1,0,\uFFFDx\uFFFDé,9,0,0,0,0,no,0,,");

  const std::string table = listed("table");
  EXPECT_NE(table.find("a\"b,\uFFFD\uFFFD\uFFFD" + name.substr(8) + marks + " "), std::string::npos)
      << table;
  EXPECT_NE(table.find("6 of 300 samples found"), std::string::npos) << table;
  EXPECT_NE(table.find("  start (s)    end (s)  deliverable  first sample  last sample\n"),
            std::string::npos)
      << table;
}

class Export : public HostTest {
protected:
  // Longer than what is in memory while columns are merged, and not equally long.
  const std::string file = write("some.fake", "A 10 20001 20001 -1.5 0.01\nB 10 9 8192 3 0\n"
                                              "C 10 8200 8193 1.7e9 0.3\nD 0 5 0 0 0\n");
  const std::string target = (folder / "out").string();

  int run(const Texts& streams, const char* format, const std::string& output) {
    return exportSamples(plugin, {file, streams, output, {}, format});
  }
};

TEST_F(Export, KeepsEveryBitOfEverySample) {
  const Environment none({"TMPDIR="}); // means that there is none
  const File record = openFile(plugin, file);
  std::string raw;
  ASSERT_EQ(run({}, "csv", target), kSuccess);
  const Texts rows = split(read(target), '\n');
  ASSERT_EQ(rows.size(), 20002);
  EXPECT_EQ(rows[0], "A time_s,A value,B time_s,B value,C time_s,C value");
  for (size_t i = 0; i < 3; ++i) {
    const Stream& stream = record.streams[i];
    const Samples samples = copySamples(plugin, record, stream);
    raw.append(reinterpret_cast<const char*>(samples.values.data()), samples.values.size() * 8);
    for (size_t sample = 0; sample < 20001; ++sample) {
      const Texts cells = split(rows[sample + 1] + ",.", ',');
      std::optional<uint64_t> time;
      std::optional<uint64_t> value;
      if (sample < samples.values.size())
        value = std::bit_cast<uint64_t>(samples.values[sample]);
      if (value && stream.interval != 0) // hundredths, without what start + sample * interval adds
        time = std::bit_cast<uint64_t>(std::round(stream.timeOf(sample) * 100) / 100);
      ASSERT_EQ(bitsOf(cells[2 * i]), time) << rows[sample + 1];
      ASSERT_EQ(bitsOf(cells[2 * i + 1]), value) << rows[sample + 1];
    }
  }
  testing::internal::CaptureStdout();
  EXPECT_EQ(::write(STDOUT_FILENO, "before", 6), 6);
  ASSERT_EQ(run({}, "f64", "/dev/stdout"), kSuccess);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "before" + raw);
}

TEST_F(Export, LeavesNothingHalfDone) {
  write("out", "earlier");
  EXPECT_THROW(run({"X*"}, "csv", target), Error);
  EXPECT_THROW(run({"D"}, "csv", target), Error);
  EXPECT_THROW(run({}, "csv", folder / "none" / "out"), Error);
  EXPECT_THROW(run({}, "csv", "/dev/full"), Error);

  for (const int number : {SIGTERM, SIGQUIT, SIGXCPU, SIGXFSZ}) {
    const auto endInTheMiddle = [&] {
      (void)signal(number, SIG_DFL); // a shell can have it ignored
      const Output output(target);
      (void)raise(number);
    };
    EXPECT_EXIT(endInTheMiddle(), testing::KilledBySignal(number), "");
  }
  const Environment grows({"FAKE_PLUGIN_BREAKS=GROWS"});
  EXPECT_THROW(run({}, "csv", target), Error);
  EXPECT_THROW(exportSamples(plugin, {file, {"A"}, "-", folder / "split", "f64"}), Error);
  EXPECT_EQ(list(plugin, {{file}, {}, true, "table"}), kFailure);
  EXPECT_TRUE(std::filesystem::remove(folder / "split")); // an empty folder
  EXPECT_EQ(read(target), "earlier");
  // The data file is the other one.
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 2);
}

TEST(Decimate, KeepsSpikeWhereverItIs) {
  constexpr size_t kSamples = 100'003;
  for (const size_t position : {size_t{0}, size_t{1}, kSamples / 3, kSamples - 1})
    for (const double spike : {-1e9, 1e9})
      for (const double others : {0.5, std::nan("")}) {
        // The column that holds the spike is less than 1001 samples wide.
        const auto isSpike = [&](const Point& p) {
          return std::abs(p.sample - static_cast<double>(position)) < 501 && p.value == spike;
        };
        const auto isBreak = [](const Point& p) { return !std::isfinite(p.value); };
        std::vector<double> samples(kSamples, others);
        samples[kSamples / 2] = HUGE_VAL;
        samples[position] = spike;
        const std::vector<Point> points = decimate(samples, 100);
        EXPECT_LE(points.size(), 400);
        EXPECT_TRUE(std::ranges::is_sorted(points, {}, &Point::sample));
        EXPECT_TRUE(std::ranges::any_of(points, isSpike));
        // The line breaks in the columns with nothing finite, and in no other.
        EXPECT_EQ(std::ranges::count_if(points, isBreak), std::isnan(others) ? 99 : 0);
      }
}

TEST(TimeAxes, ShareWhatStartTimesAllow) {
  // Two starts, whether the streams share an axis, and how far the second is behind the first.
  const std::vector<std::tuple<double, double, bool, double>> cases = {
      {2147.4, 2147.4, true, 0},          {2147.4, -2147.4, true, 0.167296},
      {2147.4, 2146.4, true, -1},         {-2147.4, 2000, false, 0},
      {1.7e9 + 20, 1.7e9 - 5, true, -25}, {1.7e9, 1.7e9 + 4294.967296, false, 0}};
  Stream first;
  first.sampleCount = 1000;
  first.interval = 0.01;
  Stream second = first;
  for (const auto& [start, next, isShared, behind] : cases) {
    first.start = start;
    second.start = next;
    const std::vector<TimeAxis> axes = timeAxes({first, second}).streams;
    EXPECT_EQ(axes[1].isShared, isShared) << next;
    EXPECT_NEAR(axes[0].offset, std::max(0.0, -behind), 1e-6) << next;
    EXPECT_NEAR(axes[1].offset, std::max(0.0, behind), 1e-6) << next;
  }
}

TEST_F(HostTest, PlotDrawsAnyStream) {
  const std::string file =
      write("some-file.fake", "A 10 20 20 2147.4 1\n'`$(1)2\\_\" 10 99 50 -2147.4 1\n"
                              "one 10 1 1 0 0\nempty 10 0 0 2147.4 1\n");
  testing::internal::CaptureStdout();
  ASSERT_EQ(plot(plugin, {{file, file}, {}, kStandardOutput, {10, 25}}), kSuccess);
  const std::string drawn = testing::internal::GetCapturedStdout();
  for (const std::string& part : Texts{
           "some-file.fake, A: starts at 2147.400000 s [count]\n      2.71428571 +",
           "`$(1)2\\_\": starts at -2147.400000 s (50 of 99 samples found) […\n", " no samples\n",
           " 1.42857143 +" + std::string(60, '-') + "+\n                10                  15    ",
           " 0.857142857 |                              *\n", "; starts repeat every 71.6 min\n"})
    EXPECT_NE(drawn.find(part), std::string::npos) << part << " is not in\n" << drawn;

  const std::string target = (folder / "picture.svg").string();
  const long descriptors = openDescriptors();
  ASSERT_EQ(plot(plugin, {{file}, {}, target, {}}), kSuccess);
  EXPECT_EQ(openDescriptors(), descriptors);
  const Environment ours({"PATH=" + folder.string() + ':' + std::getenv("PATH")});
  // A gnuplot that draws nothing, and one while which the file changes.
  for (const std::string& then : {std::string("true"), "echo | tee -a " + file}) {
    std::filesystem::permissions(write("gnuplot", "#!/bin/sh\ncat >/dev/null\n" + then),
                                 std::filesystem::perms::owner_all);
    EXPECT_THROW(plot(plugin, {{file}, {}, target, {}}), Error) << then;
  }
  EXPECT_TRUE(read(target).starts_with("<?xml"));
}

TEST_F(HostTest, WatchShowsEachStateWithinTheTerminalUntilCtrlC) {
  std::string streams;
  for (char c = 'A'; c <= 'L'; ++c)
    streams += std::string(60, 'A') + c + " 10 9 9 1.7e9 1\n";
  const std::string file = write("some.fake", "B 10 9 9 0 1\nA 10 9 9 0 1\n");
  winsize size{24, 80, 0, 0};
  int terminal = -1;
  const pid_t child = forkpty(&terminal, nullptr, nullptr, &size);
  if (child < 0)
    GTEST_SKIP() << "no terminal can be made here";
  if (child == 0)
    _exit(runCommandLine(
        {"watch", file, "--stream", "A*", "--interval", "0.02", "--plugin", FAKE_PLUGIN}));
  alarm(20); // ends a test that waits for what is never shown
  const auto screenUntil = [&](const std::string& end) {
    std::string screen;
    for (char c = 0; !screen.ends_with(end) && ::read(terminal, &c, 1) == 1; screen += c)
      if (screen.ends_with("\x1b[2J"))
        screen.clear();
    return screen;
  };
  EXPECT_NE(screenUntil("of the file)\r\n").find(": 1 stream\r\n"), std::string::npos);
  std::filesystem::rename(write("new", "A"), file);
  screenUntil("the plug-in says: no streams; declined (7); watching on\r\n");
  std::filesystem::rename(write("new", streams), file);
  screenUntil("of the file)\r\n");
  size = {16, 60, 0, 0};
  ioctl(terminal, TIOCSWINSZ, &size);
  const std::string screen = screenUntil("of the file)\r\n");
  EXPECT_LT(split(screen, '\n').size(), size.ws_row) << screen;
  for (const std::string& line : split(screen, '\r')) // with "\n", or what erases progress
    EXPECT_LE(width(line), size.ws_col + 4) << screen;
  kill(child, SIGINT);
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  alarm(0);
}

} // namespace
} // namespace host
