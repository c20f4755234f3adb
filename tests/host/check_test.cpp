// That `check` sees every broken rule, and nothing else, on plug-ins that break one rule each.

#include "host/rule_process.h"
#include "tests/host/fixture.h"

namespace host {
namespace {

constexpr std::chrono::seconds kTimeLimit{2};

// Every outcome but "ok", a line each: the rule, and what was seen or why it was skipped.
struct Outcomes {
  std::string broken;
  std::string skipped;
};

Outcomes runAll(const std::string& plugin, const std::string& file) {
  Outcomes outcomes;
  for (const auto rules : {entryRules(), fileRules(), propertyRules(), sampleRules()})
    for (const Rule& rule : rules) {
      const Outcome outcome = runRule(rule, plugin, file, kTimeLimit);
      std::string& list = outcome.verdict == Verdict::broken ? outcomes.broken : outcomes.skipped;
      if (outcome.verdict != Verdict::ok)
        list += std::string(rule.name) + ": " + outcome.seen + '\n';
    }
  return outcomes;
}

class Check : public HostTest {
protected:
  const std::string file = write("some.fake", "fake\n"
                                              "A_B__BHZ 10 500 500 -1.5 0.01\n"
                                              "part 10 300 120 0 0.3\n"
                                              "none 0 30 0 0 0\n");
};

TEST_F(Check, FindsNothingInPluginThatKeepsTheRules) {
  const Outcomes outcomes = runAll(fakePlugin(), file);
  EXPECT_EQ(outcomes.broken, "");
  EXPECT_EQ(outcomes.skipped, "");
}

TEST_F(Check, FindsTheBrokenRule) {
  struct Case {
    const char* plugin;
    const char* report;
  };
  for (const auto& [name, report] : {
           Case{"REFUSED_TABLE", "a null table and versions below 1 are refused, the table "
                                 "untouched: version 0: the refused table was written to"},
           Case{"VERSION", "later versions are accepted and become 1: version 2 became 2"},
           Case{"RESERVED_SLOT",
                "all functions are there, every other slot is null: the slot at 48 is not null"},
           Case{"EXPORTS", "only the entry point is exported: surplus_symbol is exported as well"},
           Case{"ONE_OBJECT",
                "plug-in objects are independent of each other: two objects have one handle"},
           Case{"ERROR_TEXT", "the error text is empty at first: the error text is \"none\""},
           Case{"NULL_PLUGIN", "a null plug-in is refused: get_error_message does not give null"},
           Case{"PRINTS", "nothing is printed: it printed \"declined\""},
           Case{"DESCRIPTOR", "no descriptor is left open: "},
           Case{"MISSING_FILE", "a missing file is declined: a missing file gives a handle"},
           Case{"NO_FILE", "the file is parsed: the file is declined"},
           Case{"SAME_HANDLE",
                "two parses of one path give two handles: both parses give the same handle"},
           Case{"FAILED_PARSE",
                "a failed parse leaves earlier files usable: the earlier file has 0 of 3 streams"},
           Case{"RELEASE_FILE",
                "release_file answers 1 and releases nothing: release_file gives 0"},
           Case{"RELEASE_ALL", "release_all_files answers 0 and files can be parsed again: "
                               "release_all_files gives 1"},
           Case{"HANG", "sections are handed out by index, null outside: hung: no end within 2 s"},
           Case{"CHANGE_FLAG",
                "the change flag tells each change once: the change flag is 1 when asked again"},
           Case{"PLUGIN_ORDER",
                "the plug-in's properties end and come in order: file_extension comes too late"},
           Case{"PLUGIN_RECORD", "plug-in records keep the fields that are not theirs: index -1"},
           Case{"MESSAGES", "queued messages come once in a full walk: 2 properties and 1 "
                            "messages, then 3 of both"},
           Case{"EARLY_WALK",
                "queued messages come once in a full walk: index 2 gives identifier 148, then 0"},
           Case{"NULL_SECTION",
                "null files, sections and records are refused: section: index 0 gives status 0"},
           Case{"PROPERTY_TYPE", "every property stands at its index with its type: variable 0: "
                                 "index 1 gives status 0, identifier 51, type 10"},
           Case{"WALK_END", "walks end with identifier 0 and status 1, as outside indexes do: "
                            "section: index 3 gives status 0"},
           Case{"OUTSIDE_VARIABLE",
                "variables outside the section are refused: variable 3: index 0 gives status 0"},
           Case{"RECORD_FIELDS", "records keep the fields that are not theirs: file: index 0"},
           Case{"KIND", "kinds, data types and sample counts are what they can be: the kind of the "
                        "file is not 0"},
           Case{"X_END", "the end is start + count * interval, rounded once: variable 0 ends at"},
           Case{"NAMES", "names stay as they are: the name \"A_B__BHZ\" became \"none\""},
           Case{"LABELS", "the labels of a section share one text: variable 0"},
           Case{"NULL_COPY",
                "a copy from a null section is refused: variable 0: a null section gives 0"},
           Case{"SHORT_COPY", "buffers of the stream's length or less are filled: variable 0: 500 "
                              "of 500 samples give 1"},
           Case{"LONG_COPY",
                "a longer buffer gives 1 and is written to as far as samples go: variable 0"},
           Case{"BYTE_SIZE", "sizes are rounded down to whole samples: variable 0, 4 bytes"},
           Case{"NEGATIVE_SIZE", "negative sizes store nothing: variable 0, -1 bytes"},
           Case{
               "SAMPLE_TYPE",
               "other sample types are refused, the buffer untouched: variable 0: type -1 gives 0"},
           Case{
               "OUTSIDE_COPY",
               "copies of variables outside the section are refused: variable 0: number 3 gives 0"},
           Case{"CRASH", "a null buffer is refused: crashed: signal 6 (Aborted)"},
       }) {
    const std::string broken = runAll(fakePlugin(name), file).broken;
    EXPECT_TRUE(broken.starts_with(report)) << name << ": " << broken;
    EXPECT_EQ(std::count(broken.begin(), broken.end(), '\n'), 1) << name << ": " << broken;
  }
}

TEST_F(Check, JudgesWhatIsNoPluginByOneRule) {
  std::string verdicts;
  for (const Rule& rule : entryRules())
    verdicts += static_cast<char>(runRule(rule, file, "", kTimeLimit).verdict);
  EXPECT_EQ(verdicts, "b" + std::string(entryRules().size() - 1, 's'));
}

} // namespace
} // namespace host
