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

constexpr const char* kWalk = "properties of the plug-in end";
constexpr const char* kMessages = "queued messages are delivered once";
constexpr const char* kNull = "null files, sections and records";
constexpr const char* kProcess = "the process stays as it was";
constexpr const char* kError = "the error string is not null";
constexpr const char* kFilled = "buffers of the stream's length";

constexpr std::array kBreakages = std::to_array<Breakage>({
    {"FUNCTION", "the library loads", "no function release"},
    {"RELEASE", "the library loads", "crashed in release"},
    {"CRASH", "every function returns when", "crashed in copy_"},
    {"DAMAGED", "every function returns for a damaged", "parse_file threw: too long"},
    {"SLOT", "versions from 1 on become 1", "slot at 248"},
    {"REFUSED_TABLE", "a null table and versions below 1", "a null ta"},
    {"OBJECTS", "plug-in objects are independent", "0 of 3 streams"},
    {"OLD_ERROR", kError, "\"no streams\" is still there after the next parse"},
    {"COPY_ERROR", kError, "\"no streams\" is still there after a copy"},
    {"NULL_PLUGIN", "a null plug-in is refused", "release_file returns"},
    {"MISSING", "a missing file, a folder", "a null path gives"},
    {"DECLINES", "the file is parsed", "declined"},
    {"PATH", "the path is not needed", "not found again"},
    {"HANDLES", "two parses of one path", "the same handle"},
    {"PARSE", "a failed parse leaves earlier files usable", "0 of 3 streams"},
    {"RELEASE_FILE", "release_file returns 0", "0 of 3 streams"},
    {"RELEASE_ALL", "release_all_files returns 0", "seen 1"},
    {"SECTION", "each section has one handle", "section 1 of 2"},
    {"CHANGE", "the change flag", "again"},
    {"PRINTS", "nothing is printed", "\"declined\""},
    {"DESCRIPTOR", "no descriptor is left open", "after the second"},
    {"FOLDER", kProcess, "the working folder changed"},
    {"SETS_LOCALE", kProcess, "the locale changed"},
    {"UMASK", kProcess, "the umask"},
    {"ROUNDING", kProcess, "the rounding"},
    {"ENVIRONMENT", kProcess, "the environment"},
    {"THREAD", kProcess, "the number of threads"},
    {"GROWS", "the file is only read", "written to"},
    {"LOCALE", "nothing depends on the locale", "de_DE"},
    {"MESSAGES", kMessages, "first 3 properties and 2"},
    {"EARLY_END", kMessages, "\"148 declined\""},
    {"MESSAGE_TYPE", kWalk, "error_message has type 2"},
    {"NULL_STRING", kWalk, "a null string"},
    {"NULL", kNull, "section, index 0: expected status 1"},
    {"THROWS", kNull, "get_file_property threw: std::bad_alloc"},
    {"KIND", "every property has its index", "variable_kind is 1"},
    {"INDEX", "any index out of range", "file, index 3: expected status 1"},
    {"RECORD_FIELDS", "unused fields stay unchanged", "file, index 0: another field"},
    {"X_END", "the end is start + count * interval", "variable 0: expected 3.5, seen 3.49"},
    {"NAMES", "names stay unchanged", "\"A_BHZ\" became \"?_BHZ\""},
    {"LABELS", "a label stays unchanged", "\"time stamp\""},
    {"NULL_SECTION", "a copy from a null section is refused", "a null section: expected status 1"},
    {"DECLARED", "a copy finds the samples", "variable 0: 500 of 501 samples"},
    {"NEVER_0", kFilled, "500 of 500 samples"},
    {"OVERRUN", kFilled, "0 was written after"},
    {"LONG_COPY", "a longer buffer gives 1", "one sample too many"},
    {"NEGATIVE_SIZE", "sizes below a sample store nothing", "-1 bytes"},
    {"KEPT_SAMPLES", "samples are read from the file", "vanished"},
    {"TYPE", "other sample types are refused", "variable 0: type -1"},
    {"VARIABLE", "copies of variables outside", "variable 2: expected status 1"},
    {"NULL_BUFFER", "a null buffer is refused", "null for 1 samples"},
});

class Check : public HostTest {
protected:
  // The lines about rules that are broken or skipped.
  Strings faults(const char* path, const char* seconds = "30") {
    const int status = run({"check", path, file, "--time-limit", seconds});
    EXPECT_EQ(status, out.find("BROKEN") == std::string::npos ? 0 : 1) << out;
    Strings lines;
    std::istringstream all(out);
    for (std::string line; std::getline(all, line);)
      if (!line.starts_with("ok ") && line.find(" rules: ") == std::string::npos)
        lines.push_back(line);
    return lines;
  }

  const std::string content =
      "A_BHZ 10 500 500 -1.5 0.01\nnone 0 30 0 0 0\nsection\nB 10 9 9 1.7e9 0.1\n";
  const std::string file = write("some.fake", content);
};

TEST_F(Check, FindsTheBrokenRuleAndNoOther) {
  // Its sources are in a package that need not be installed.
  const bool hasLocale = system("localedef -i de_DE -f UTF-8 ./de_DE.UTF-8 2>&1") == 0; // NOLINT
  const Environment locale({"LOCPATH=" + folder.string(), "TMPDIR=" + (folder / "t").string()});
  std::filesystem::create_directories("t/ox-wp-host-XXXXXX");
  const Strings none = faults(FAKE_PLUGIN);
  EXPECT_EQ(none.size(), hasLocale ? 0 : 1) << out;
  EXPECT_NE(faults(TALKATIVE_PLUGIN).at(0).find("breaks is exported too"), std::string::npos);
  for (const auto& [name, rule, report] : kBreakages) {
    const Environment fault({std::string("FAKE_PLUGIN_BREAKS=") + name});
    const Strings lines = faults(FAKE_PLUGIN);
    if (!hasLocale && std::string(name) == "LOCALE")
      continue;
    const auto isSkipped = [](const std::string& line) { return line.starts_with("skip"); };
    const auto broken = std::find_if_not(lines.begin(), lines.end(), isSkipped);
    ASSERT_NE(broken, lines.end()) << name;
    EXPECT_TRUE(broken->starts_with(std::string("BROKEN  ") + rule)) << name << *broken;
    EXPECT_NE(broken->find(report), std::string::npos) << name << ": " << *broken;
    EXPECT_TRUE(std::all_of(broken + 1, lines.end(), isSkipped)) << name << ": " << out;
  }
  EXPECT_EQ(read(file), content);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator("t"), {}), 1);
}

TEST_F(Check, ReportsEachFileAndWhatTheMachineForbids) {
  expect({"check", FAKE_PLUGIN, "."}, 1, ".: a folder, not a file");
  const Environment surroundings({"FAKE_PLUGIN_BREAKS=X_END", "TMPDIR=/proc"});
  expect({"check", FAKE_PLUGIN, file, "--rule", "the end*"}, 1, "ERROR   the end");
  const Environment enough({"TMPDIR"});
  expect({"check", FAKE_PLUGIN, file, file, "--rule", "the end*"}, 1, "; " + file + ": variable 0");
  const Environment fault({"FAKE_PLUGIN_BREAKS=RELEASE"});
  expect({"check", FAKE_PLUGIN}, 1, "(as above: crashed in release");
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
