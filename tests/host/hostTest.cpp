// The other subcommands, on the plug-in that keeps the rules and on one that edits paths.

#include <algorithm>
#include <bit>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <sstream>
#include <tuple>

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <signal.h>
#include <sys/stat.h>

#include "host/base/messages.h"
#include "host/base/output.h"
#include "host/boundary/file.h"
#include "host/commands/commands.h"
#include "host/drawing/panels.h"
#include "testing/environment.h"
#include "tests/host/fixture.h"

namespace host {
namespace {

namespace fs = std::filesystem;

Strings split(const std::string& string, char separator) {
  Strings parts;
  std::istringstream stream(string);
  for (std::string part; std::getline(stream, part, separator);)
    parts.push_back(part);
  return parts;
}

TEST_F(HostTest, CommandLineEndsWithStatusAndMessage) {
  // What is said may be on standard output or error.
  const std::vector<std::tuple<Strings, int, const char*>> cases = {
      {{}, 0, "  export  "},
      {{"--version"}, 0, "ox-wp-host " OX_WP_HOST_VERSION "\n"},
      {{"lis"}, 2, "no subcommand lis; there are list, export, plot, check\n"},
      {{"--plugin", "p", "list", "some"}, 2, "--plugin: a subcommand comes first"},
      {{"plot", "some", "--stream", "A", "--stream", "no"}, 1, "\nox-wp-host: no: no stream has"},
      {{"plot", "some", "--from", "9.1"}, 1, "ox-wp-host: no samples between --from and --to\n"},
      {{"plot", "many", "--plugin", GEO_PLUGIN, "-o", "many.svg"}, 1, "has room for 150"},
      {{"plot", "none", "some"}, 1, "none of 9 samples can be read"},
      {{"list", "--sample", "some"}, 2, "unknown option --sample"},
      {{"export", "--output=", "some"}, 2, "--output: an empty value"},
      {{"list", "--stream", "A", "some", "--stream", "no"}, 1, "no: no stream has such"},
      {{"list", "some", "--stream"}, 2, "ox-wp-host: --stream takes one value\n"},
      {{"list", "--", "++", "[1]", "-x"}, 0, "\n\n-x: 1 stream\n"},
      {{"list", "-"}, 1, "-: standard input cannot be read"},
      {{"list", "--samples", "none", "some"}, 1, "none: A: none of 9 samples can be read"},
      {{"list", "two", "--stream", "B"}, 0, "two: 1 stream\n  section  name  samples"},
      {{"list", "long", "--samples"}, 0, "  428571.2857\n"},
      {{"export", "some", "--stream", "A", "--stream", "no"}, 1, "no: no stream has such"},
      {{"plot", "some", "-o", "some.gif"}, 2, "neither *.svg nor *.png"},
      {{"plot", "some", "--from", "2", "--to", "1", "--plugin", "x"}, 2, "--from must be less"},
      {{"check", FAKE_PLUGIN, "--time-limit", "1.5"}, 2, "1.5 is no whole number"},
      {{"check", FAKE_PLUGIN, "missing"}, 1, "missing: No such file"},
      {{"check", FAKE_PLUGIN, "--rule", "missing"}, 1, "missing: no rule has such a name"},
  };
  for (const char* name : {"some", "++", "[1]", "-x"})
    write(name, "A 10 9 9 0 1\n");
  write("none", "A 10 9 0 0 1\n");
  write("two", "A 10 9 9 0 1\nsection\nB 10 9 9 0 1\n");
  write("long", "A 10 3000000 3000000 0 1\n"); // more than a first buffer holds
  write("many", miniSeedFile::interleaved(151, 9));
  for (const auto& [arguments, status, said] : cases)
    expect(arguments, status, said);
  const Environment broken({"FAKE_PLUGIN_BREAKS=SECTION"});
  expect({"list", "two"}, 1, "two: the plug-in returns no handle for section 1\n");
}

// The plug-in of this tree edits the paths that it is given.
TEST_F(HostTest, TheFileThatIsNamedIsRead) {
  const std::string whole = write("lead.mseed", miniSeedFile::interleaved(1, 100));
  const Environment home({"HOME=" + folder.string()});
  fs::create_directories("d/~");
  for (const char* name : {" lead.mseed", "~", "d/~/r.mseed", "a.dat", "d/in", "d/in.svg",
                           "d^in.svg", "d\\in.svg", "d/in.svg ", "$HOME"})
    fs::copy("lead.mseed", name);
  fs::create_symlink("a.dat", "link.mseed");
  fs::create_directory_symlink("d/~", "up");
  const Strings read = {"./~", " lead.mseed", "link.mseed", "up/../in", "d/~/r.mseed", whole};
  for (const std::string& name : read)
    expect({"list", name}, 0, name + ": 1 stream\n", GEO_PLUGIN);
  for (const char* name : {"~/lead.mseed", "a.dat", "up/../lead.mseed", "none/../lead.mseed"})
    expect({"list", name}, 1, name, GEO_PLUGIN);
  for (const char* name : {"d^in.svg", "d\\in.svg", "d/in.svg ", "$HOME"})
    for (const char* command : {"export", "plot"})
      expect({command, name, "-o", "d/in.svg"}, 1, name + std::string(": not read, since"),
             GEO_PLUGIN);
  EXPECT_TRUE(HostTest::read("d/in.svg") == HostTest::read(whole));
}

TEST_F(HostTest, WhatIsReadIsNeverReplaced) {
  write("some.svg", "A 10 9 9 0 1\n");
  write("A.csv", "A 10 9 9 0 1\n");
  fs::create_symlink("some.svg", "link.svg");
  fs::create_hard_link("some.svg", "same.svg");
  for (const char* command : {"export", "plot"})
    for (const char* target : {"some.svg", "./link.svg", "same.svg"})
      expect({command, "some.svg", "-o", target}, 1, "would change this file");
  fs::create_symlink("A.csv", "A.A.csv"); // the name of the stream's file
  expect({"export", "A.csv", "--split", "."}, 1, "would change this file");
  expect({"list", "/dev/stdout"}, 1, "would change this file");
  EXPECT_EQ(read("some.svg") + read("A.csv"), "A 10 9 9 0 1\nA 10 9 9 0 1\n");
}

TEST_F(HostTest, ListingsStayValidForAnyNameAndNumber) {
  // Not well formed: too long, a surrogate, beyond the last character. Each byte becomes a mark.
  const std::string noUtf8 = "\xc0\xaf\xe0\x9f\xbf\xed\xa0\x80\xf0\x8f\xf4\x90\x80\x80";
  const std::string name = "a\"b,\x1b\x7f\u009b\u00a0é€\u0800🌍\U00010000";
  const std::string marks = "��������������";
  write("odd.fake", name + noUtf8 + " 10 300 6 -1.5 0.1\nsection\n" + "\xe2\x82x\xc3é 0 9 0 0 0\n");
  write("not.fake", "x");
  const auto listed = [&](const char* format) {
    EXPECT_EQ(run({"list", "not.fake", "odd.fake", "--samples", "--format", format}), kFailure);
    return out;
  };
  auto json = nlohmann::json::parse(listed("json"));
  EXPECT_EQ(json["files"][0]["streams"], nlohmann::json::array());
  EXPECT_EQ(json["files"][0]["error"],
            "not.fake: declined by the plug-in; the plug-in says: no streams; declined (7)");
  auto& known = json["files"][1];
  EXPECT_EQ(known["properties"].size(), 2); // without the change flag
  EXPECT_EQ(known["sections"][1]["properties"][2].dump(),
            R"({"identifier":37,"name":"section_x_label","value":"time stamp"})");
  EXPECT_EQ(known["streams"][0]["name"], name + marks);
  EXPECT_EQ(known["streams"][0]["last_sample"], "inf");
  known["streams"][1]["properties"].get_ref<nlohmann::json::array_t&>().resize(1);
  EXPECT_EQ(known["streams"][1].dump(),
            R"({"end":0.0,"first_sample":null,"interval":0.0,"last_sample":null,"name":"�x�é",)"
            R"("properties":[{"identifier":51,"name":"variable_kind","value":0}],"rate":null,)"
            R"("samples":9,"samples_found":0,"section":1,"start":0.0,"type":"none","variable":0})");

  const Strings rows = split(listed("csv"), '\n');
  ASSERT_EQ(rows.size(), 3);
  EXPECT_EQ(rows[1],
            "odd.fake,0,0,\"a\"" + name.substr(1) + marks + "\",300,0.1,10,-1.5,28.5,yes,6,-0,inf");
  EXPECT_EQ(rows[2], "odd.fake,1,0,\uFFFDx\uFFFDé,9,0,0,0,0,no,0,,");

  listed("table");
  for (const std::string& part :
       Strings{"odd.fake: 2 streams\n  section  name ", name.substr(8) + marks + " ",
               "a\"b,\uFFFD\uFFFD\uFFFD\u00a0", "6 of 300 samples found; if",
               "  start (s)    end (s)  deliverable  first sample  last sample\n"})
    EXPECT_NE(out.find(part), std::string::npos) << part << out;
}

class Export : public HostTest {
protected:
  const std::string file = write("some.fake", "A 10 20001 20001 -1.5 0.01\nB 10 9 8192 3 0\n"
                                              "C 10 8193 8193 1.7e9 0.3\nD 0 5 0 0 0\n");
};

TEST_F(Export, KeepsEveryBitOfEverySample) {
  expect({"export", file}, kSuccess, "the plug-in cannot deliver their samples: D\n");
  const Strings rows = split(out, '\n');
  EXPECT_EQ(rows.at(0), "stream,time_s,value");
  std::string raw;
  std::size_t row = 1;
  const File record = openFile(plugin, file);
  for (std::size_t stream = 0; stream < 3; ++stream) {
    const double interval = record.streams[stream].interval();
    const double start = record.streams[stream].start();
    const Samples samples = copySamples(plugin, record, record.streams[stream]);
    raw.append(reinterpret_cast<const char*>(samples.values.data()), samples.values.size() * 8);
    for (std::size_t i = 0; i < samples.values.size(); ++i, ++row) {
      const Strings cells = split(rows.at(row), ',');
      ASSERT_EQ(cells.at(0), record.streams[stream].name());
      // Hundredths, without what start + i * interval adds.
      const double time = std::round((start + static_cast<double>(i) * interval) * 100) / 100;
      ASSERT_TRUE(interval == 0 ? cells[1].empty() : std::stod(cells[1]) == time) << rows[row];
      ASSERT_EQ(std::bit_cast<std::uint64_t>(std::strtod(cells.at(2).c_str(), nullptr)),
                std::bit_cast<std::uint64_t>(samples.values[i]))
          << rows[row];
    }
  }
  EXPECT_EQ(row, rows.size());
  // After the message that stands there, and not in its place.
  ASSERT_EQ(run({"export", file, "--format", "f64", "-o", "/dev/stderr"}), kSuccess);
  EXPECT_TRUE(err.ends_with("their samples: D\n" + raw));
}

TEST_F(Export, FilesGetTheirNamesAndPermissions) {
  write("names", ".-/ 10 9 9 0 1\n.-/ 10 8 7 0 1\n");
  expect({"export", "names", "--format", "f64", "--split", "d/out"}, 0, "7 of 8 samples found");
  EXPECT_EQ(read("d/out/names..-_.f64").size(), 9 * sizeof(double));
  EXPECT_EQ(read("d/out/names..-_-2.f64").size(), 7 * sizeof(double));
  fs::create_symlink("out.csv", "dangling");
  umask(022);
  ASSERT_EQ(run({"export", "names", "-o", "dangling"}), kSuccess);
  EXPECT_EQ(fs::status("out.csv").permissions(), static_cast<fs::perms>(0644));
  fs::permissions("out.csv", fs::perms::owner_all);
  ASSERT_EQ(run({"export", "names", "-o", "dangling"}), kSuccess);
  EXPECT_EQ(fs::status("out.csv").permissions(), fs::perms::owner_all);
}

TEST_F(Export, LeavesNothingHalfDone) {
  write("out", "earlier");
  expect({"export", file, "--stream", "D", "-o", "out"}, 1, "no stream that can be delivered");
  expect({"export", file, "-o", "none/out"}, 1, "none: No such file or directory");
  expect({"export", file, "-o", "/dev/full"}, 1, "/dev/full: No space left");
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGALRM, SIGUSR1, SIGXFSZ}) {
    const auto endInTheMiddle = [&] {
      (void)signal(number, SIG_DFL); // a shell can have it ignored
      const Output output("out");
      (void)raise(number);
    };
    EXPECT_EXIT(endInTheMiddle(), testing::KilledBySignal(number), "");
  }
  const Environment grows({"FAKE_PLUGIN_BREAKS=GROWS"});
  for (const Strings& how : std::vector<Strings>{{"export", "-o", "out"},
                                                 {"export", "--split", "d"},
                                                 {"plot", "-o", "out.svg"},
                                                 {"list", "--samples"}}) {
    expect({how[0], file, how[1], how.back()}, 1, file + ": changed while it was read\n");
    EXPECT_EQ(out, "");
  }
  const File parsed = openFile(plugin, file);
  fs::last_write_time(file, fs::last_write_time(file) + std::chrono::nanoseconds(1));
  EXPECT_THROW(throwIfChanged(plugin, parsed), Error);
  EXPECT_EQ(read("out"), "earlier");
  // The data file is the other one.
  EXPECT_EQ(std::distance(fs::directory_iterator("."), {}), 2);
}

TEST(Decimate, KeepsSpikeWhereverItIs) {
  constexpr std::size_t kSamples = 100'003;
  for (const std::size_t position : {std::size_t{0}, kSamples / 3, kSamples - 1})
    for (const double spike : {-1e9, 1e9})
      for (const double others : {0.5, std::nan("")}) {
        std::vector<double> samples(kSamples, others);
        samples[position] = spike;
        const std::vector<Point> points = decimate(samples, 100);
        EXPECT_LE(points.size(), 400);
        EXPECT_TRUE(std::ranges::is_sorted(points, {}, &Point::x));
        // Each column is about 1000 samples wide.
        EXPECT_TRUE(std::ranges::any_of(points, [&](const Point& p) {
          return std::abs(p.x - static_cast<double>(position)) < 501 && p.value == spike;
        }));
        // The line breaks in the columns with nothing finite, and in no other.
        const auto isBreak = [](const Point& p) { return std::isnan(p.value); };
        EXPECT_EQ(std::ranges::count_if(points, isBreak), std::isnan(others) ? 99 : 0);
      }
}

TEST_F(HostTest, StreamsShareAnAxisWhereTheyOverlap) {
  // The starts of two streams of 10 s, whether they share an axis and fold, and how far the second
  // is after the first.
  // clang-format off
  const std::vector<std::tuple<double, double, bool, bool, double>> cases = {
      {2147.4, 2147.4, true, false, 0}, {2147.4, -2147.4, true, true, 0.167296},
      {2147.4, 2146.4, true, false, -1}, {-2147.4, 2140, true, true, -7.567296},
      {0, 10, true, false, 10}, {0, 10.1, false, false, 0}, // touching is overlapping
      {1.7e9 + 5, 1.7e9, true, false, -5}, {1.7e9, 1.7e9 + 4294.967296, false, false, 0}};
  // clang-format on
  for (const auto& [start, next, areShared, areFolded, after] : cases) {
    write("two",
          fmt::format("A 10 1000 9 {} 0.01\nB 10 1000 9 {} 0.01\nC 10 9 9 0 0\n", start, next));
    const File file = openFile(plugin, "two");
    const TimeAxes axes(file.streams);
    EXPECT_EQ(axes.areShared(), areShared) << next;
    EXPECT_EQ(axes.areFolded(), areFolded) << next;
    EXPECT_NEAR(axes.of(file.streams[0]).offset, std::max(0.0, -after), 1e-6) << next;
    EXPECT_NEAR(axes.of(file.streams[1]).offset, std::max(0.0, after), 1e-6) << next;
    EXPECT_FALSE(axes.of(file.streams[2]).hasTimes);
  }
}

TEST_F(HostTest, PlotDrawsAnyStream) {
  const std::string file =
      write("some-file.fake", "A 10 20 20 2147.4 1\n'`$(1)2\\_\" 10 99 50 -2147.4 1\n"
                              "bad 10 9 0 2147.4 1\none 10 1 1 0 0\nempty 10 0 0 2147.4 1\n");
  EXPECT_EQ(run({"plot", file, "missing", file, "--from", "10", "--to", "25"}), kFailure);
  for (const char* part :
       {"bad: none of 9 samples can be read\nox-wp-host: missing: No such",
        "some-file.fake, A [count]\n     2.714285714 +",
        "`$(1)2\\_\" [count] (50 of 99 samples found;", " no samples\n",
        " 1.428571429 +-------------------------------------------------------",
        "--+\n                10                  15                   20 ",
        " 1.285714286 |                              *\n", "; starts repeat every 71.6 min"})
    EXPECT_NE((out + err).find(part), std::string::npos) << part << " is not in\n" << out << err;
}

TEST_F(HostTest, TimeAxisSaysWhatItCounts) {
  write("apart", "A 10 20 20 1 1\nB 10 30000 9 90 1\nC 10 30000 20000 90000 1\n");
  const Environment size({"COLUMNS=60", "LINES=25"});
  expect({"plot", "apart"}, 0, "nominal time stamp (h after each stream's start)");
  EXPECT_LT(split(out, '\n').size(), 25) << out;
  for (const std::string& line : split(out, '\n'))
    EXPECT_LE(width(line), 60) << out;
  // Once, though the first two have it.
  EXPECT_EQ(split(out, '(').size(), 1 + 2 + 2) << out; // the labels, and two shortfalls
  // A choice of streams moves none of them: B begins at 30.
  write("late", "A 10 60 60 0 1\nB 10 60 60 30 1\n");
  expect({"plot", "late", "--stream", "B", "--from", "40", "--to", "42"}, 0, " 2.142857143 |");
}

TEST_F(HostTest, PictureIsReplacedOnlyByAPicture) {
  write("some", "A 10 20 20 0 1\nB 10 20 20 0 1\n");
  ASSERT_EQ(run({"plot", "some", "-o", "picture.svg"}), kSuccess);
  EXPECT_NE(read("picture.svg").find(">B [count]<"), std::string::npos);
  ASSERT_EQ(run({"plot", "some", "-o", "out.PNG", "--to", "5"}), kSuccess);
  EXPECT_TRUE(read("out.PNG").starts_with("\x89PNG"));
  const Environment ours({"PATH=" + folder.string()});
  expect({"plot", "some", "-o", "picture.svg"}, 1, "gnuplot, which is not installed\n");
  for (const auto& [end, said] : {std::pair{"exit 0", "drawn nothing"}, {"exit 3", "status 3\n"}}) {
    fs::permissions(write("gnuplot", std::string("#!/bin/sh\n") + end), fs::perms::owner_all);
    expect({"plot", "some", "-o", "picture.svg"}, 1, said);
  }
  EXPECT_TRUE(read("picture.svg").starts_with("<?xml"));
}

} // namespace
} // namespace host
