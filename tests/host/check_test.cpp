// That `check` sees every broken rule, and nothing else, on plug-ins that break one rule each.

#include "host/rule_process.h"
#include "tests/host/fixture.h"

namespace host {
namespace {

constexpr std::chrono::seconds kTimeLimit{2};

// "RULE: what was seen" for each broken rule, a line each.
std::string brokenRules(const std::string& plugin, const std::string& file) {
  std::string broken;
  for (const auto rules : {entryRules(), fileRules(), propertyRules(), sampleRules()})
    for (const Rule& rule : rules) {
      const Outcome outcome = runRule(rule, plugin, file, kTimeLimit);
      if (outcome.verdict != Verdict::ok)
        broken += std::string(rule.name) + ": " + outcome.seen + '\n';
    }
  return broken;
}

class Check : public HostTest {
protected:
  const std::string file = write("some.fake", "fake\n"
                                              "A_B__BHZ 10 500 500 -1.5 0.01\n"
                                              "part 10 300 120 0 0.3\n"
                                              "none 0 30 0 0 0\n");
};

TEST_F(Check, FindsNothingInPluginThatKeepsTheRules) {
  EXPECT_EQ(brokenRules(fakePlugin(), file), "");
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
           Case{"RESERVED_SLOT", "all functions are there, every other slot is null: the slot at "
                                 "48 is not null"},
           Case{"EXPORTS", "only the entry point is exported: surplus_symbol is exported as well"},
           Case{"ONE_OBJECT", "plug-in objects are independent of each other: two objects have one "
                              "handle"},
           Case{"NULL_PLUGIN", "a null plug-in is refused: get_error_message does not give null"},
           Case{"PRINTS", "nothing is printed: it printed \"declined\""},
           Case{"DESCRIPTOR", "no descriptor is left open: "},
           Case{"RELEASE_FILE", "release_file answers 1 and releases nothing: release_file gives "
                                "0"},
           Case{"CRASH", "a null buffer is refused: crashed: signal 6 (Aborted)"},
           Case{"HANG", "sections are handed out by index, null outside: hung: no end within 2 s"},
           Case{"CHANGE_FLAG", "the change flag tells each change once: the change flag is 1 when "
                               "asked again"},
           Case{"RECORD_FIELDS", "records keep the fields that are not theirs: file: index 0"},
           Case{"MESSAGES",
                "queued messages come once in a full walk: 2 properties and 1 messages, "
                "then 3 of both"},
           Case{"WALK_END", "walks end with identifier 0 and status 1, as outside indexes do: "
                            "section: index 3 gives status 0"},
           Case{"X_END", "the end is start + count * interval, rounded once: variable 0 ends at"},
           Case{"LABELS", "the labels of a section share one text: variable 0"},
           Case{"SAMPLE_TYPE", "other sample types are refused, the buffer untouched: variable 0: "
                               "type -1 gives 0"},
           Case{"LONG_COPY", "a longer buffer gives 1 and is written to as far as samples go: "},
           Case{"BYTE_SIZE", "sizes are rounded down to whole samples: variable 0, 4 bytes"},
           Case{"NEGATIVE_SIZE", "negative sizes store nothing: variable 0, -1 bytes"},
       }) {
    const std::string broken = brokenRules(fakePlugin(name), file);
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
