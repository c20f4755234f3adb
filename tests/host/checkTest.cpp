// Whether `check` finds each kind of broken rule, and nothing else, in plug-ins that break one.

#include <array>
#include <chrono>
#include <regex>

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include "host/commands/commands.h"
#include "testing/environment.h"
#include "tests/host/fixture.h"

namespace host {
namespace {

// How each breakage is reported: the start of the only line about a rule that is not kept.
constexpr std::array kBreakages = std::to_array<std::pair<const char*, const char*>>({
    {"FUNCTION", "the library loads and makes a plug-in object: the plug-in has no function rel"},
    {"SLOT", "versions from 1 on become 1, and the rest of the table is null: the slot at 248"},
    {"REFUSED_TABLE", "a null table and versions below 1 are refused, the table untouched: a null"},
    {"OLD_ERROR", "the error string is not null, and is of the last call: \"no streams\" is still"},
    {"PRINTS", "nothing is printed: it printed \"declined\""},
    {"DESCRIPTOR", "no descriptor is left open: "},
    {"THREAD", "no thread is started: 1 threads before the use, "},
    {"PARSE", "a failed parse leaves earlier files usable: the earlier file has 0 of 4 streams"},
    {"RELEASE_FILE", "release_file returns 0, or 1 with the file still usable: another file has 0"},
    {"SECTION", "each section has one handle; any other index gives null: section 1 of 2 is null"},
    {"CHANGE", "the change flag reports each change once: read again after a new modification"},
    {"MESSAGES", "queued messages are delivered once, in a full walk: first 2 properties and 2"},
    {"EARLY_END", "queued messages are delivered once, in a full walk: index 2 gives \"148 dec"},
    {"MESSAGE_TYPE", "properties of the plug-in end, and come in the order of the boundary: in"},
    {"NULL_STRING", "properties of the plug-in end, and come in the order of the boundary: ind"},
    {"NULL", "null files, sections and records are refused: section, index 0: expected status 1"},
    {"THROWS", "null files, sections and records are refused: crashed in get_file_property: sig"},
    {"RECORD_FIELDS", "unused fields stay unchanged: file, index 0: byte 32 of the record was"},
    {"X_END", "the end is start + count * interval: variable 0: expected 3.5, seen 3.49"},
    {"NAMES", "names stay unchanged until their file is released: \"A_BHZ\" became \"?_BHZ"},
    {"LABELS", "a label stays unchanged until the next property of its section: \"time stamp\" be"},
    {"NULL_SECTION", "a copy from a null section is refused: variable 0: a null section: expecte"},
    {"NEVER_0", "buffers of the stream's length or less are filled: variable 0, 4000 bytes: 500"},
    {"OVERRUN", "buffers of the stream's length or less are filled: variable 0, 4000 bytes: 0 w"},
    {"LONG_COPY", "a longer buffer gives 1 and holds all samples: variable 0"},
    {"NEGATIVE_SIZE", "sizes below a sample store nothing: variable 0, -1 bytes"},
    {"KEPT_SAMPLES", "samples are read from the file as it is at the copy: variable 0: after"},
    {"TYPE", "other sample types are refused, the buffer untouched: variable 0: type -1: expec"},
    {"NULL_BUFFER", "a null buffer is refused: variable 0: null for 1 samples: expected status 1"},
});

class Check : public HostTest {
protected:
  // The lines about rules that are broken or skipped, without the name of the file.
  std::string faults(const char* path, int seconds = 30) const {
    testing::internal::CaptureStdout();
    check({path, {file}, {}, std::chrono::seconds(seconds)});
    const std::regex others("ok  .*\n|[0-9]+ rules: .*\n|[^ ]*/some.fake: ");
    return std::regex_replace(testing::internal::GetCapturedStdout(), others, "");
  }

  const std::string file = write("some.fake", "A_BHZ 10 500 500 -1.5 0.01\npart 10 300 120 0 0.3\n"
                                              "none 0 30 0 0 0\nsection\nB 10 9 9 1.7e9 0.1\n");
};

TEST_F(Check, FindsTheBrokenRuleAndNoOther) {
  EXPECT_EQ(faults(FAKE_PLUGIN), "");
  EXPECT_NE(faults(TALKATIVE_PLUGIN).find("breaks is exported too"), std::string::npos);
  for (const auto& [name, report] : kBreakages) {
    const Environment fault({std::string("FAKE_PLUGIN_BREAKS=") + name});
    const std::string broken = faults(FAKE_PLUGIN);
    EXPECT_TRUE(broken.starts_with(std::string("BROKEN  ") + report)) << name << ": " << broken;
    EXPECT_EQ(broken.find("BROKEN", 1), std::string::npos) << name << ": " << broken;
  }
}

TEST_F(Check, DoesNotWaitForEveryRuleThatHangs) {
  const Environment fault({"FAKE_PLUGIN_BREAKS=HANG"});
  const std::string broken = faults(FAKE_PLUGIN, 1);
  const std::regex expected("(BROKEN.*hung in parse_file: .*\\n){3}(skip.*hung\\)\\n)+");
  EXPECT_TRUE(std::regex_match(broken, expected)) << broken;
}

TEST_F(Check, EndsWhatThePluginStarts) {
  prctl(PR_SET_CHILD_SUBREAPER, 1); // which makes it a child of this process
  const Environment fault({"FAKE_PLUGIN_BREAKS=FORKS"});
  EXPECT_EQ(faults(FAKE_PLUGIN), "");
  int status = 0;
  wait(&status);
  EXPECT_EQ(status, SIGKILL);
}

} // namespace
} // namespace host
