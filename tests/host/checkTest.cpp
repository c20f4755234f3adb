// That `check` sees every kind of broken rule, and nothing else, on plug-ins that break one each.

#include <algorithm>
#include <cstdlib>

#include "host/check/ruleProcess.h"
#include "tests/host/fixture.h"

namespace host {
namespace {

constexpr std::chrono::seconds kTimeLimit{2};

// Every outcome but "ok", a line each: the verdict, the rule, and what was seen.
std::string runAll(const std::string& plugin, const std::string& file) {
  std::string outcomes;
  for (const auto rules : {entryRules(), fileRules(), propertyRules(), sampleRules()})
    for (const Rule& rule : rules) {
      const auto [verdict, seen] = runRule(rule, plugin, file, kTimeLimit);
      if (verdict != Verdict::ok)
        outcomes += fmt::format("{} {}: {}\n", static_cast<char>(verdict), rule.name, seen);
    }
  return outcomes;
}

// What each breakage is seen as: how the one line begins.
constexpr std::array kBreakages = std::to_array<std::pair<const char*, const char*>>({
    {"REFUSED_TABLE", "a null table and versions below 1 are refused, the table untouched: "
                      "version 0: the refused table was written to"},
    {"SLOT", "all functions are there, every other slot is null: the slot at 48 is not null"},
    {"PRINTS", "nothing is printed: it printed \"declined\""},
    {"DESCRIPTOR", "no descriptor is left open: "},
    {"PARSE", "a failed parse leaves earlier files usable: the earlier file has 0 of 3 streams"},
    {"HANG", "sections are handed out by index, null outside: hung: no end within 2 s"},
    {"CHANGE", "the change flag tells each change once: the change flag is 1 when asked again"},
    {"MESSAGES",
     "queued messages come once in a full walk: 2 properties and 1 messages, then 3 of both"},
    {"EARLY", "queued messages come once in a full walk: index 2 gives identifier 148, then 0"},
    {"NULL", "null files, sections and records are refused: section: index 0 gives status 0"},
    {"RECORD_FIELDS", "records keep the fields that are not theirs: file: index 0"},
    {"X_END", "the end is start + count * interval, rounded once: variable 0 ends at"},
    {"LABELS", "the labels of a section share one text: variable 0"},
    {"SHORT_COPY",
     "buffers of the stream's length or less are filled: variable 0: 500 of 500 samples give 1"},
    {"LONG_COPY", "a longer buffer gives 1 and is written to as far as samples go: variable 0"},
    {"NEGATIVE_SIZE", "negative sizes store nothing: variable 0, -1 bytes"},
    {"TYPE", "other sample types are refused, the buffer untouched: variable 0: type -1 gives 0"},
    {"CRASH", "a null buffer is refused: crashed: signal 6 (Aborted)"},
});

using Check = HostTest;

TEST_F(Check, FindsTheBrokenRuleAndNoOther) {
  const std::string file = write("some.fake", "A_B__BHZ 10 500 500 -1.5 0.01\n"
                                              "part 10 300 120 0 0.3\nnone 0 30 0 0 0\n");
  EXPECT_EQ(runAll(FAKE_PLUGIN, file), "");
  EXPECT_EQ(runAll(TALKATIVE_PLUGIN, file),
            "b only the entry point is exported: breaks is exported as well\n");
  for (const auto& [name, report] : kBreakages) {
    setenv("FAKE_PLUGIN_BREAKS", name, 1);
    const std::string outcomes = runAll(FAKE_PLUGIN, file);
    EXPECT_TRUE(outcomes.starts_with(std::string("b ") + report)) << name << ": " << outcomes;
    EXPECT_EQ(std::count(outcomes.begin(), outcomes.end(), '\n'), 1) << name << ": " << outcomes;
  }
  unsetenv("FAKE_PLUGIN_BREAKS");
}

TEST_F(Check, JudgesWhatIsNoPluginByOneRule) {
  std::string verdicts;
  for (const Rule& rule : entryRules())
    verdicts +=
        static_cast<char>(runRule(rule, write("text", "no library"), "", kTimeLimit).verdict);
  EXPECT_EQ(verdicts, "b" + std::string(entryRules().size() - 1, 's'));
}

} // namespace
} // namespace host
