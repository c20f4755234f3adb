// `check`: whether a plug-in keeps the rules of the boundary.

#include <fmt/core.h>

#include "host/base/output.h"
#include "host/base/text.h"
#include "host/check/ruleProcess.h"
#include "host/commands/commands.h"

namespace host {

namespace {

// A rule that can do without a file is tried without one as well: a declined file would hide it.
std::vector<std::string> filesFor(const Rule& rule, const CheckRequest& request) {
  std::vector<std::string> files = request.files;
  if (!rule.needsFile)
    files.insert(files.begin(), "");
  return files;
}

// One outcome over all files: the first that breaks the rule, else ok if it was seen to hold.
Outcome runOnAll(const Rule& rule, const CheckRequest& request) {
  Outcome whole{Verdict::skipped, "no file given"};
  for (const std::string& file : filesFor(rule, request)) {
    Outcome outcome = runRule(rule, request.plugin, file, request.timeLimit);
    if (!file.empty() && outcome.verdict != Verdict::ok)
      outcome.seen = file + ": " + outcome.seen;
    if (outcome.verdict == Verdict::broken)
      return outcome;
    if (whole.verdict != Verdict::ok)
      whole = outcome;
  }
  return whole;
}

std::string line(const Rule& rule, const Outcome& outcome) {
  switch (outcome.verdict) {
  case Verdict::ok:
    return fmt::format("ok      {}\n", rule.name);
  case Verdict::skipped:
    return fmt::format("skip    {} ({})\n", rule.name, printable(outcome.seen));
  case Verdict::broken:
    break;
  }
  return fmt::format("BROKEN  {}: {}\n", rule.name, printable(outcome.seen));
}

} // namespace

int check(const CheckRequest& request) {
  Output output(kStandardOutput);
  int ok = 0;
  int broken = 0;
  int skipped = 0;
  for (const auto rules : {entryRules(), fileRules(), propertyRules(), sampleRules()})
    for (const Rule& rule : rules) {
      const Outcome outcome = runOnAll(rule, request);
      ++(outcome.verdict == Verdict::ok       ? ok
         : outcome.verdict == Verdict::broken ? broken
                                              : skipped);
      output.write(line(rule, outcome));
      output.flush(); // the next rule may take its time
    }
  output.write(fmt::format("{} rules: {} ok, {} broken, {} skipped\n", ok + broken + skipped, ok,
                           broken, skipped));
  output.commit();
  return broken == 0 ? kSuccess : kFailure;
}

} // namespace host
