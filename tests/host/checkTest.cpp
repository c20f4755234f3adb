// Whether `check` finds each kind of broken rule, and nothing else, in plug-ins that break one.

#include <algorithm>
#include <array>
#include <sstream>

#include "testing/environment.h"
#include "tests/host/fixture.h"

namespace host {
namespace {

struct Breakage {
  const char* name;
  const char* rule;
  const char* report; // something that is said of it
};

constexpr std::array kBreakages = std::to_array<Breakage>({
    {"FUNCTION", "the library loads and makes a plug-in object", "no function release"},
    {"CRASH", "every function returns when it is used as intended", "crashed in copy_"},
    {"SLOT", "versions from 1 on become 1, and the rest of the table is null", "slot at 248"},
    {"REFUSED_TABLE", "a null table and versions below 1 are refused, the table untouched",
     "a null ta"},
    {"OLD_ERROR", "the error string is not null, and is of the last call", "\"no streams\""},
    {"PRINTS", "nothing is printed", "\"declined\""},
    {"DESCRIPTOR", "no descriptor is left open", "after the second"},
    {"THREAD", "no thread is started", "threads after the use"},
    {"PARSE", "a failed parse leaves earlier files usable", "0 of 4 streams"},
    {"RELEASE_FILE", "release_file returns 0, or 1 with the file still usable", "0 of 4 streams"},
    {"SECTION", "each section has one handle; any other index gives null", "section 1 of 2"},
    {"CHANGE", "the change flag reports each change once", "again"},
    {"MESSAGES", "queued messages are delivered once, in a full walk", "first 2 properties and 2"},
    {"EARLY_END", "queued messages are delivered once, in a full walk", "\"148 declined\""},
    {"MESSAGE_TYPE", "properties of the plug-in end, and come in the order of the boundary",
     "error_message has type 2"},
    {"NULL_STRING", "properties of the plug-in end, and come in the order of the boundary",
     "a null string"},
    {"NULL", "null files, sections and records are refused", "section, index 0: expected status 1"},
    {"THROWS", "null files, sections and records are refused", "get_file_property threw"},
    {"RECORD_FIELDS", "unused fields stay unchanged", "file, index 0: another field"},
    {"X_END", "the end is start + count * interval", "variable 0: expected 3.5, seen 3.49"},
    {"NAMES", "names stay unchanged until their file is released", "\"A_BHZ\" became \"?_BHZ\""},
    {"LABELS", "a label stays unchanged until the next property of its section", "\"time stamp\""},
    {"NULL_SECTION", "a copy from a null section is refused", "a null section: expected status 1"},
    {"NEVER_0", "buffers of the stream's length or less are filled", "500 of 500 samples"},
    {"OVERRUN", "buffers of the stream's length or less are filled", "0 was written after"},
    {"LONG_COPY", "a longer buffer gives 1 and holds all samples", "one sample too many"},
    {"NEGATIVE_SIZE", "sizes below a sample store nothing", "-1 bytes"},
    {"KEPT_SAMPLES", "samples are read from the file as it is at the copy", "vanished"},
    {"TYPE", "other sample types are refused, the buffer untouched", "variable 0: type -1"},
    {"NULL_BUFFER", "a null buffer is refused", "null for 1 samples"},
});

class Check : public HostTest {
protected:
  // The lines about rules that are broken or skipped.
  Strings faults(const char* path, const char* seconds = "30") {
    run({"check", path, file, "--time-limit", seconds});
    Strings lines;
    std::istringstream all(out);
    for (std::string line; std::getline(all, line);)
      if (line.starts_with("BROKEN") || line.starts_with("skip"))
        lines.push_back(line);
    return lines;
  }

  const std::string file = write("some.fake", "A_BHZ 10 500 500 -1.5 0.01\npart 10 300 120 0 0.3\n"
                                              "none 0 30 0 0 0\nsection\nB 10 9 9 1.7e9 0.1\n");
};

TEST_F(Check, FindsTheBrokenRuleAndNoOther) {
  EXPECT_EQ(faults(FAKE_PLUGIN), Strings());
  EXPECT_NE(faults(TALKATIVE_PLUGIN).at(0).find("breaks is exported too"), std::string::npos);
  for (const auto& [name, rule, report] : kBreakages) {
    const Environment fault({std::string("FAKE_PLUGIN_BREAKS=") + name});
    const Strings lines = faults(FAKE_PLUGIN);
    ASSERT_FALSE(lines.empty()) << name;
    EXPECT_TRUE(lines[0].starts_with(std::string("BROKEN  ") + rule + ": ")) << name << lines[0];
    EXPECT_NE(lines[0].find(report), std::string::npos) << name << ": " << lines[0];
    const auto isSkipped = [](const std::string& line) { return line.starts_with("skip"); };
    EXPECT_TRUE(std::all_of(lines.begin() + 1, lines.end(), isSkipped)) << name << ": " << out;
  }
}

TEST_F(Check, DoesNotWaitForEveryRuleThatHangs) {
  const Environment fault({"FAKE_PLUGIN_BREAKS=HANG"});
  const Strings lines = faults(FAKE_PLUGIN, "1");
  ASSERT_GT(lines.size(), 3);
  EXPECT_NE(lines[0].find("hung in parse_file: no end within 1 s"), std::string::npos) << out;
  EXPECT_NE(lines[2].find("(as above: "), std::string::npos) << out;
  EXPECT_NE(lines[3].find("(3 rules hung)"), std::string::npos) << out;
}

} // namespace
} // namespace host
