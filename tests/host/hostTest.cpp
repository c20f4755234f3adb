// The other subcommands, on the plug-in that keeps the rules.

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <csignal>
#include <optional>
#include <sstream>
#include <tuple>

#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/base/error.h"
#include "host/base/output.h"
#include "host/boundary/samples.h"
#include "host/commandLine.h"
#include "host/commands/commands.h"
#include "host/drawing/decimate.h"
#include "host/drawing/timeAxis.h"
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
  double value = 0;
  const char* end = cell.data() + cell.size();
  if (cell.empty())
    return {};
  EXPECT_EQ(std::from_chars(cell.data(), end, value).ptr, end) << cell;
  return std::bit_cast<uint64_t>(value);
}

TEST_F(HostTest, ExitStatusTellsWrongUseFromFailure) {
  std::filesystem::current_path(folder);
  write("list", "A 10 9 9 0 1\n");
  write("no", "something else\n");
  std::filesystem::create_symlink("list", "link");
  std::filesystem::create_hard_link("list", "same");
  const std::vector<std::pair<Texts, int>> cases = {
      {{}, 0},
      {{"list"}, 2},
      {{"list", "--format", "xml", "list"}, 2},
      {{"plot", "list", "-o", "list.gif"}, 2},
      {{"plot", "list", "--from", "2", "--to", "1", "--plugin", FAKE_PLUGIN}, 2},
      {{"check", FAKE_PLUGIN, "--time-limit", "0"}, 2},
      {{"list", "--samples", "--stream", "A", "list", "--plugin", FAKE_PLUGIN}, 0},
      {{"list", "--stream", "B", "list", "--plugin", FAKE_PLUGIN}, 1},
      {{"export", "list", "--plugin", FAKE_PLUGIN, "-o", "out.csv", "--stream", "A"}, 0},
      {{"export", "list", "--plugin", FAKE_PLUGIN, "--format", "f64", "--split", "out"}, 0},
      {{"export", "list", "--plugin", FAKE_PLUGIN, "-o", "./link"}, 1},
      {{"export", "./list", "--plugin", FAKE_PLUGIN, "-o", "same"}, 1},
      {{"plot", "list", "--plugin", FAKE_PLUGIN, "-o", "out.PNG", "--to", "5"}, 0},
      {{"./list", "--plugin", FAKE_PLUGIN}, 0},
      {{"--plugin", FAKE_PLUGIN, "no", "list"}, 1},
      {{"check", "--list"}, 0},
      {{"check", "no"}, 1},
      {{"check", FAKE_PLUGIN, "missing"}, 2},
      {{"check", FAKE_PLUGIN, "--rule", "missing"}, 2},
  };
  for (const auto& [arguments, status] : cases)
    EXPECT_EQ(runCommandLine(arguments), status) << testing::PrintToString(arguments);
  EXPECT_EQ(split(read("out.csv"), '\n').size(), 10);
  EXPECT_EQ(read("out/A.f64").size(), 9 * sizeof(double));
  EXPECT_TRUE(read("out.PNG").starts_with("\x89PNG"));
  EXPECT_EQ(read("list"), "A 10 9 9 0 1\n");
}

TEST_F(HostTest, ListingsStayValidForAnyNameAndNumber) {
  // Not well formed: too long, a surrogate, beyond the last character. A mark for each byte.
  const std::string noUtf8 = "\xc0\xaf\xed\xa0\x80\xf4\x90\x80\x80";
  const std::string marks = "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD";
  const std::string path = write("odd.fake", "a\"b,\x1b\u009bé€🌍" + noUtf8 +
                                                 " 10 300 6 -1.5 0.1\n\xe2\x82x\xc3 0 9 0 0 0\n");
  const auto listed = [&](ListFormat format) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(list(plugin, {{path}, {}, true, format}), kSuccess);
    return testing::internal::GetCapturedStdout();
  };
  const auto json = nlohmann::json::parse(listed(ListFormat::json));
  const auto& streams = json["files"][0]["streams"];
  EXPECT_EQ(streams[0]["properties"][0]["value"], "a\"b,\x1b\u009bé€🌍" + marks);
  EXPECT_EQ(streams[0]["properties"].size(), 9);
  EXPECT_EQ(streams[0]["rate"], 10);
  EXPECT_EQ(streams[0]["samples_found"], 6);
  EXPECT_EQ(streams[0]["last_sample"], "inf");
  EXPECT_EQ(streams[1]["first_sample"], nullptr);

  const Texts rows = split(listed(ListFormat::csv), '\n');
  ASSERT_EQ(rows.size(), 3);
  EXPECT_EQ(rows[1],
            path + ",0,0,\"a\"\"b,\x1b\u009bé€🌍" + marks + "\",300,0.1,10,-1.5,28.5,yes,6,-0,inf");
  EXPECT_EQ(rows[2], path + ",0,1,\uFFFD\uFFFDx\uFFFD,9,0,0,0,0,no,0,,");

  const std::string table = listed(ListFormat::table);
  EXPECT_NE(table.find("a\"b,\uFFFD\uFFFDé€🌍" + marks + " "), std::string::npos) << table;
  EXPECT_NE(table.find("6 of 300 samples found"), std::string::npos) << table;
}

class Export : public HostTest {
protected:
  // Longer than what is in memory while columns are merged, and not equally long.
  const std::string file = write("some.fake", "A 10 20001 20001 -1.5 0.01\nB 10 9 8192 3 0\n"
                                              "C 10 8200 8193 0 0.3\nD 0 5 0 0 0\n");
  const std::string target = (folder / "out").string();

  int run(const Texts& streams, ExportFormat format, const std::string& output) {
    return exportSamples(plugin, {file, streams, output, {}, format});
  }
};

TEST_F(Export, KeepsEveryBitOfEverySample) {
  const File record = openFile(plugin, file);
  std::string raw;
  ASSERT_EQ(run({}, ExportFormat::csv, target), kSuccess);
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
  ASSERT_EQ(run({}, ExportFormat::f64, target), kSuccess);
  EXPECT_EQ(read(target), raw);
}

TEST_F(Export, LeavesNothingHalfDone) {
  write("out", "earlier");
  EXPECT_THROW(run({"X*"}, ExportFormat::csv, target), Error);
  EXPECT_THROW(run({"D"}, ExportFormat::csv, target), Error);
  EXPECT_THROW(run({}, ExportFormat::csv, folder / "none" / "out"), Error);
  EXPECT_THROW(run({}, ExportFormat::csv, "/dev/full"), Error);

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
  Stream first;
  first.sampleCount = 1000;
  first.interval = 0.01;
  first.start = 2147.4;
  // The start of the second, whether both share an axis, and where the second lies on it.
  const std::vector<std::tuple<double, bool, double>> cases = {
      {2147.4, true, 0}, {-2147.4, true, 0.167296}, {2146.4, true, 0}, {2000, false, 0}};
  for (const auto& [start, isShared, offset] : cases) {
    Stream second = first;
    second.start = start;
    const std::vector<TimeAxis> axes = timeAxes({first, second}).streams;
    EXPECT_EQ(axes[1].isShared, isShared) << start;
    EXPECT_NEAR(axes[1].offset, offset, 1e-9) << start;
    EXPECT_NEAR(axes[0].offset, start == 2146.4 ? 1 : 0, 1e-9) << start;
  }
}

TEST_F(HostTest, PlotDrawsAnyStream) {
  const std::string file = write("odd.fake", "'`$(1)2\\_\" 10 5000 5000 -1.5 0.1\n"
                                             "short 10 1 1 0 0\nempty 10 0 0 0 -1\n");
  const std::string target = (folder / "picture.svg").string();
  ASSERT_EQ(plot(plugin, {{file}, {}, target, {}}), kSuccess);
  const std::string picture = read(target);
  EXPECT_TRUE(picture.starts_with("<?xml"));
  EXPECT_NE(picture.find("`$(1)2\\_"), std::string::npos);
  EXPECT_NE(picture.find("no samples"), std::string::npos);
  EXPECT_NE(picture.find("gpPt6' transform='translate("), std::string::npos); // the dot of "short"
}

TEST_F(HostTest, WatchShowsEachStateAndEndsOnCtrlC) {
  const std::filesystem::path log = folder / "log";
  const std::string stream = "A 10 9 9 0 1\n";
  const std::string file = write("some.fake", stream);
  const pid_t child = fork();
  if (child == 0) {
    const int target = open(log.c_str(), O_WRONLY | O_CREAT, 0600);
    dup2(target, STDOUT_FILENO);
    dup2(target, STDERR_FILENO);
    _exit(runCommandLine({"watch", file, "--interval", "0.02", "--plugin", FAKE_PLUGIN}));
  }
  const std::vector<std::pair<std::string, const char*>> states = {
      {stream, "1 stream\n"},
      {"", "some.fake: No such file or directory; "}, // where the file is removed
      {"A", "declined by the plug-in; the plug-in says: declined (7); watching on\n"},
      {stream + stream, "2 streams\n"},
      {stream + stream + stream, "3 streams\n"},
  };
  for (const auto& [content, shown] : states) {
    if (content.empty())
      std::filesystem::remove(file);
    else
      std::filesystem::rename(write("new", content), file);
    for (int i = 0; i < 500 && read(log).find(shown) == std::string::npos; ++i)
      usleep(10'000);
    EXPECT_NE(read(log).find(shown), std::string::npos) << shown << " is not in " << read(log);
  }
  kill(child, SIGINT);
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

} // namespace
} // namespace host
