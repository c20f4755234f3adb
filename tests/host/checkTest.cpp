// Whether `check` finds each kind of broken rule, and nothing else, in plug-ins that break one.

#include <algorithm>
#include <array>

#include "testing/environment.h"
#include "tests/host/fixture.h"

namespace host {
namespace {

struct Breakage {
  const char* name;
  const char* rule;   // the start of its name
  const char* report; // something that is said of it
};

constexpr std::array kBreakages = std::to_array<Breakage>({
    {"FUNCTION", "the library loads", "no function release"},
    {"CRASH", "every function returns when", "crashed in copy_"},
    {"DAMAGED", "every function returns for a damaged", "parse_file threw: too long"},
    {"SLOT", "versions from 1 on become 1", "slot at 248"},
    {"REFUSED_TABLE", "a null table and versions below 1", "a null ta"},
    {"OBJECTS", "plug-in objects are independent", "0 of 3 streams"},
    {"OLD_ERROR", "the error string is not null", "\"no streams\" is still there after the next"},
    {"COPY_ERROR", "the error string is not null", "\"no streams\" is still there after a copy"},
    {"NULL_PLUGIN", "a null plug-in is refused", "release_file returns"},
    {"MISSING", "a missing file and", "a null path gives"},
    {"DECLINES", "the file is parsed", "declined"},
    {"HANDLES", "two parses of one path", "the same handle"},
    {"PARSE", "a failed parse leaves earlier files usable", "0 of 3 streams"},
    {"RELEASE_FILE", "release_file returns 0", "0 of 3 streams"},
    {"RELEASE_ALL", "release_all_files returns 0", "seen 1"},
    {"SECTION", "each section has one handle", "section 1 of 2"},
    {"CHANGE", "the change flag", "again"},
    {"PRINTS", "nothing is printed", "\"declined\""},
    {"DESCRIPTOR", "no descriptor is left open", "after the second"},
    {"PROCESS", "the process stays as it was",
     "changed; the working folder; the locale; the umask; the number of threads"},
    {"GROWS", "the file is only read", "written to"},
    {"LOCALE", "nothing depends on the locale", "de_DE"},
    {"MESSAGES", "queued messages are delivered once", "first 3 properties and 2"},
    {"EARLY_END", "queued messages are delivered once", "\"148 declined\""},
    {"NULL_STRING", "properties of the plug-in end", "a null string"},
    {"MESSAGE_TYPE", "properties of the plug-in end", "error_message has type 2"},
    {"NULL", "null files, sections and records", "section, index 0: expected status 1"},
    {"THROWS", "null files, sections and records", "get_file_property threw: std::bad_alloc"},
    {"KIND", "every property has its index", "variable_kind is 1"},
    {"INDEX", "any index out of range", "file, index 3: expected status 1"},
    {"RECORD_FIELDS", "unused fields stay unchanged", "file, index 0: another field"},
    {"X_END", "the end is start + count * interval", "variable 0: expected 3.5, seen 3.49"},
    {"NAMES", "names stay unchanged", "\"A_BHZ\" became \"?_BHZ\""},
    {"LABELS", "a label stays unchanged", "\"time stamp\""},
    {"NULL_SECTION", "a copy from a null section is refused", "a null section: expected status 1"},
    {"DECLARED", "a copy finds the samples", "variable 0: 500 of 501 samples"},
    {"NEVER_0", "buffers of the stream's length", "500 of 500 samples"},
    {"OVERRUN", "buffers of the stream's length", "0 was written after"},
    {"LONG_COPY", "a longer buffer gives 1", "one sample too many"},
    {"NEGATIVE_SIZE", "sizes below a sample store nothing", "-1 bytes"},
    {"KEPT_SAMPLES", "samples are read from the file", "vanished"},
    {"TYPE", "other sample types are refused", "variable 0: type -1"},
    {"VARIABLE", "copies of variables outside", "variable 2: expected status 1"},
    {"NULL_BUFFER", "a null buffer is refused", "null for 1 samples"},
});

class Check : public HostTest {
protected:
  const std::string content =
      "A_BHZ 10 500 500 -1.5 0.01\nnone 0 30 0 0 0\nsection\nB 10 9 9 1.7e9 0.1\n";
  const std::string file = write("some.fake", content);
};

TEST_F(Check, FindsTheBrokenRuleAndNoOther) {
  // Its sources are in a package that need not be installed.
  const bool hasLocale = system("localedef -i de_DE -f UTF-8 ./de_DE.UTF-8 2>&1") == 0; // NOLINT
  const Environment locale({"LOCPATH=" + folder.string(), "TMPDIR=" + (folder / "t").string()});
  std::filesystem::create_directories("t/ox-wp-host-XXXXXX");
  expect({"check", FAKE_PLUGIN, file}, 0, hasLocale ? " 0 broken, 0 skipped" : " 1 skipped");
  expect({"check", TALKATIVE_PLUGIN, file}, 1, "breaks is exported too");
  for (const auto& [name, rule, report] : kBreakages) {
    if (!hasLocale && std::string(name) == "LOCALE")
      continue;
    const Environment fault({std::string("FAKE_PLUGIN_BREAKS=") + name});
    expect({"check", FAKE_PLUGIN, file}, 1, " 1 broken, ");
    const std::string broken = out.substr(std::min(out.size(), out.find("BROKEN")));
    EXPECT_TRUE(broken.starts_with(std::string("BROKEN  ") + rule)) << name << ": " << out;
    EXPECT_LT(broken.find(report), broken.find('\n')) << name << ": " << out;
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
  expect({"check", FAKE_PLUGIN}, 1, ": as above: crashed in release");
}

TEST_F(Check, DoesNotWaitForEveryRuleThatHangs) {
  const Environment fault({"FAKE_PLUGIN_BREAKS=HANG"});
  expect({"check", FAKE_PLUGIN, file, "--time-limit", "1"}, 1, ": 3 rules hung");
  EXPECT_NE(out.find(": hung in parse_file: no end within 1 s"), std::string::npos) << out;
  EXPECT_NE(out.find(": as above: "), std::string::npos) << out;
}

} // namespace
} // namespace host
