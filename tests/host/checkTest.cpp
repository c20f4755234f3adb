// Whether `check` finds each kind of broken rule, and nothing else, in plug-ins that break one.

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <sstream>

#include <poll.h>
#include <unistd.h>

#include "host/commands/commands.h"
#include "tests/host/fixture.h"

namespace host {
namespace {

constexpr std::chrono::seconds kNoHang{30};

// What `check` prints about the rules whose line starts so, without the name of the file.
std::string linesOf(const std::string& start, const std::string& plugin, const std::string& file,
                    std::chrono::seconds timeLimit = kNoHang) {
  testing::internal::CaptureStdout();
  check({.plugin = plugin, .files = {file}, .rules = {}, .timeLimit = timeLimit});
  std::istringstream output(testing::internal::GetCapturedStdout());
  std::string lines;
  for (std::string line; std::getline(output, line);) {
    if (const size_t name = line.find(file + ": "); name != std::string::npos)
      line.erase(name, file.size() + 2);
    if (line.starts_with(start))
      lines += line + '\n';
  }
  return lines;
}

// How each breakage is reported: the start of the only line about a broken rule.
constexpr std::array kBreakages = std::to_array<std::pair<const char*, const char*>>({
    {"VERSION", "the library loads and makes a plug-in object: the plug-in refuses version 1"},
    {"FUNCTION", "the library loads and makes a plug-in object: the plug-in has no function rel"},
    {"REFUSED_TABLE", "a null table and versions below 1 are refused, the table untouched: ver"},
    {"SLOT", "versions from 1 on become 1, and the rest of the table is null: the slot at 248"},
    {"PRINTS", "nothing is printed: it printed \"declined\""},
    {"DESCRIPTOR", "no descriptor is left open: "},
    {"THREAD", "no thread is started: 1 threads before the use, "},
    {"PARSE", "a failed parse leaves earlier files usable: the earlier file has 0 of 4 streams"},
    {"RELEASE_FILE", "release_file returns 0, or 1 with the file still usable: another file has 0"},
    {"SECTION", "each section has one handle; any other index gives null: section 1 of 2 is null"},
    {"NEGATIVE_SECTION", "each section has one handle; any other index gives null: section -1"},
    {"CHANGE", "the change flag reports each change once: read again after a new modification"},
    {"MESSAGES", "queued messages are delivered once, in a full walk: first 2 properties and 1"},
    {"EARLY_END", "queued messages are delivered once, in a full walk: index 2 gives identifier"},
    {"MESSAGE_TYPE", "properties of the plug-in end, and come in the order of the boundary: in"},
    {"NULL_STRING", "properties of the plug-in end, and come in the order of the boundary: ind"},
    {"NULL", "null files, sections and records are refused: section, index 0: expected status 1"},
    {"THROWS", "null files, sections and records are refused: crashed in get_file_property: sig"},
    {"RECORD_FIELDS", "unused fields stay unchanged: file, index 0: byte 32 of the record was"},
    {"X_END", "the end is start + count * interval: variable 0: expected 3.5, seen 3.49"},
    {"NAMES", "names stay unchanged until their file is released: \"A_B__BHZ\" became \"?_B"},
    {"LABELS", "a label stays unchanged until the next property of its section: \"time stamp\""},
    {"NULL_SECTION", "a copy from a null section is refused: variable 0: a null section: expected"},
    {"SHORT_COPY", "buffers of the stream's length or less are filled: variable 0, 4000 bytes: 5"},
    {"NEVER_0", "buffers of the stream's length or less are filled: variable 0, 4000 bytes: 500"},
    {"OVERRUN", "buffers of the stream's length or less are filled: variable 0, 4000 bytes: 0 w"},
    {"LONG_COPY", "a longer buffer gives 1 and holds all samples: variable 0"},
    {"NEGATIVE_SIZE", "sizes below a sample store nothing: variable 0, -1 bytes"},
    {"KEPT_SAMPLES", "samples are read from the file as it is at the copy: variable 0: after"},
    {"TYPE", "other sample types are refused, the buffer untouched: variable 0: type -1: expec"},
    {"CRASH", "a null buffer is refused: crashed in copy_variable_data: signal 6 (Aborted)"},
});

class Check : public HostTest {
protected:
  ~Check() override { unsetenv("FAKE_PLUGIN_BREAKS"); }

  const std::string file =
      write("some.fake", "A_B__BHZ 10 500 500 -1.5 0.01\npart 10 300 120 0 0.3\nnone 0 30 0 0 0\n"
                         "section\nB 10 9 9 1.7e9 0.1\n");
};

TEST_F(Check, FindsTheBrokenRuleAndNoOther) {
  EXPECT_EQ(linesOf("BROKEN", FAKE_PLUGIN, file) + linesOf("skip", FAKE_PLUGIN, file), "");
  EXPECT_TRUE(linesOf("BROKEN", TALKATIVE_PLUGIN, file)
                  .starts_with("BROKEN  the entry point is the only exported function: breaks is"));
  for (const auto& [name, report] : kBreakages) {
    setenv("FAKE_PLUGIN_BREAKS", name, 1);
    const std::string broken = linesOf("BROKEN", FAKE_PLUGIN, file);
    EXPECT_TRUE(broken.starts_with(std::string("BROKEN  ") + report)) << name << ": " << broken;
    EXPECT_EQ(broken.find('\n') + 1, broken.size()) << name << ": " << broken;
  }
}

TEST_F(Check, DoesNotWaitForEveryRuleThatHangs) {
  setenv("FAKE_PLUGIN_BREAKS", "HANG", 1);
  const std::string broken = linesOf("BROKEN", FAKE_PLUGIN, file, std::chrono::seconds(1));
  EXPECT_EQ(std::count(broken.begin(), broken.end(), '\n'), 3) << broken;
  EXPECT_NE(broken.find(": hung in parse_file: no end within 1 s\n"), std::string::npos) << broken;
}

TEST_F(Check, EndsWhatThePluginStarts) {
  std::array<int, 2> ends{}; // what the plug-in starts holds the second for as long as it lives
  ASSERT_EQ(pipe(ends.data()), 0);
  setenv("FAKE_PLUGIN_BREAKS", "FORKS", 1);
  EXPECT_EQ(linesOf("BROKEN", FAKE_PLUGIN, file), "");
  close(ends[1]);
  pollfd reading{ends[0], 0, 0};
  EXPECT_EQ(poll(&reading, 1, 5000), 1);
  close(ends[0]);
}

} // namespace
} // namespace host
