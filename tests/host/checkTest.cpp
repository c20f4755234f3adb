// Whether `check` finds each kind of broken rule, and nothing else, in plug-ins that break one.

#include <array>
#include <cstdlib>
#include <sstream>

#include <poll.h>
#include <unistd.h>

#include "host/commands/commands.h"
#include "tests/host/fixture.h"

namespace host {
namespace {

// What `check` prints about the rules whose line starts so, without the name of the file.
std::string linesOf(const std::string& start, const std::string& plugin, const std::string& file) {
  testing::internal::CaptureStdout();
  check({.plugin = plugin, .files = {file}, .rules = {}, .timeLimit = std::chrono::seconds(1)});
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
    {"REFUSED_TABLE",
     "a null table and versions below 1 are refused, the table untouched: version"},
    {"SLOT", "all functions are in the table, every other slot is null: the slot at 248"},
    {"FUNCTION", "all functions are in the table, every other slot is null: the slot at 56"},
    {"PRINTS", "nothing is printed: it printed \"declined\""},
    {"DESCRIPTOR", "no descriptor is left open: "},
    {"PARSE", "a failed parse leaves earlier files usable: the earlier file has 0 of 3 streams"},
    {"RELEASE_FILE", "release_file returns 0, or 1 with the file still usable: another file has 0"},
    {"NEGATIVE_SECTION", "each section has a handle; any other index gives null: section -1 is"},
    {"CHANGE", "the change flag reports each change once: read again after a new modification"},
    {"MESSAGES", "queued messages are delivered once, in a full walk: first 2 properties and 1"},
    {"NULL", "null files, sections and records are refused: section, index 0: expected status 1"},
    {"RECORD_FIELDS", "unused fields stay unchanged: file: byte 32 of the record was written to"},
    {"X_END", "the end is start + count * interval, rounded once: variable 0: expected 3.5, seen"},
    {"LABELS", "a label stays unchanged until the next property of its section: \"time stamp\""},
    {"NULL_SECTION", "a copy from a null section is refused: variable 0: a null section: expected"},
    {"SHORT_COPY",
     "buffers of the stream's length or less are filled: variable 0, 4000 bytes: 500"},
    {"OVERRUN", "buffers of the stream's length or less are filled: variable 0, 4000 bytes: 0 was"},
    {"LONG_COPY", "a longer buffer gives 1 and holds all samples: variable 0"},
    {"NEGATIVE_SIZE", "negative sizes store nothing: variable 0, -1 bytes"},
    {"TYPE", "other sample types are refused, the buffer untouched: variable 0: type -1: expected"},
    {"CRASH", "a null buffer is refused: crashed in copy_variable_data: signal 6 (Aborted)"},
});

class Check : public HostTest {
protected:
  ~Check() override { unsetenv("FAKE_PLUGIN_BREAKS"); }

  const std::string file = write("some.fake", "A_B__BHZ 10 500 500 -1.5 0.01\n"
                                              "part 10 300 120 0 0.3\nnone 0 30 0 0 0\n");
};

TEST_F(Check, FindsTheBrokenRuleAndNoOther) {
  EXPECT_EQ(linesOf("37", FAKE_PLUGIN, file), "37 rules: 37 ok, 0 broken, 0 skipped\n");
  EXPECT_EQ(linesOf("BROKEN", TALKATIVE_PLUGIN, file),
            "BROKEN  the entry point is the only exported function: breaks is exported too\n");
  for (const auto& [name, report] : kBreakages) {
    setenv("FAKE_PLUGIN_BREAKS", name, 1);
    const std::string broken = linesOf("BROKEN", FAKE_PLUGIN, file);
    EXPECT_TRUE(broken.starts_with(std::string("BROKEN  ") + report)) << name << ": " << broken;
    EXPECT_EQ(broken.find('\n') + 1, broken.size()) << name << ": " << broken;
  }
}

TEST_F(Check, DoesNotWaitForEveryRuleThatHangs) {
  setenv("FAKE_PLUGIN_BREAKS", "HANG", 1);
  EXPECT_EQ(linesOf("37", FAKE_PLUGIN, file), "37 rules: 7 ok, 3 broken, 27 skipped; stopped "
                                              "since 3 rules hung\n");
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
