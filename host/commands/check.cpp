// `check`: whether a plug-in keeps the rules of the boundary.

#include <fmt/core.h>

#include "host/base/error.h"
#include "host/base/output.h"
#include "host/base/strings.h"
#include "host/boundary/path.h"
#include "host/boundary/selection.h"
#include "host/check/ruleProcess.h"
#include "host/check/rules.h"
#include "host/commands/commands.h"

namespace host {

namespace {

// Each rule that hangs costs a time limit, so the rest is skipped after so many.
constexpr int kMostHangs = 3;

std::vector<Rule> allRules() {
  std::vector<Rule> rules;
  for (const auto part : {kEntryRules, kFileRules, kPropertyRules, kSampleRules})
    rules.insert(rules.end(), part.begin(), part.end());
  return rules;
}

bool isBroken(const Outcome& outcome) noexcept {
  return outcome.verdict == Verdict::broken || outcome.verdict == Verdict::hung;
}

// One outcome for all files: broken or hung if it is so on any file, else ok if it is ok on any.
Outcome runOnAll(const Rule& rule, const CheckRequest& request) {
  std::vector<std::string> files;
  if (rule.needs < Needs::file)
    files.emplace_back();
  if (rule.needs != Needs::none)
    files.insert(files.end(), request.files.begin(), request.files.end());
  Outcome whole{Verdict::skipped, "no file given"};
  std::string broken; // what was seen, with the files
  for (const std::string& file : files) {
    Outcome outcome = runRule(rule, request.plugin, file, request.timeLimit);
    if (!file.empty())
      outcome.seen = file + ": " + outcome.seen;
    if (isBroken(outcome))
      broken += (broken.empty() ? "" : "; ") + outcome.seen;
    // A further file would cost a time limit more, or show the same.
    if (outcome.verdict == Verdict::hung || (outcome.verdict == Verdict::broken && file.empty()))
      return {outcome.verdict, broken};
    if (whole.verdict != Verdict::ok)
      whole = outcome;
  }
  return broken.empty() ? whole : Outcome{Verdict::broken, broken};
}

std::string line(const Rule& rule, const Outcome& outcome) {
  switch (outcome.verdict) {
  case Verdict::ok:
    return fmt::format("ok      {}\n", rule.name);
  case Verdict::skipped:
    return fmt::format("skip    {} ({})\n", rule.name, printable(outcome.seen));
  default:
    return fmt::format("BROKEN  {}: {}\n", rule.name, printable(outcome.seen));
  }
}

int runRules(const std::vector<Rule>& rules, const CheckRequest& request) {
  Output output(kStandardOutput);
  size_t ok = 0;
  size_t skipped = 0;
  int hung = 0;
  std::string stopped; // why no further rule is tried
  for (const Rule& rule : rules) {
    const Outcome outcome =
        stopped.empty() ? runOnAll(rule, request) : Outcome{Verdict::skipped, stopped};
    output.write(line(rule, outcome));
    output.flush(); // the next rule may take its time
    ok += outcome.verdict == Verdict::ok ? 1 : 0;
    skipped += outcome.verdict == Verdict::skipped ? 1 : 0;
    if (outcome.verdict == Verdict::hung && ++hung == kMostHangs)
      stopped = fmt::format("{} rules hung", hung);
    if (isBroken(outcome) && rule.isFirst)
      stopped = "there is no plug-in object";
  }
  const size_t broken = rules.size() - ok - skipped;
  output.write(fmt::format("{} rule{}: {} ok, {} broken, {} skipped{}\n", rules.size(),
                           rules.size() == 1 ? "" : "s", ok, broken, skipped,
                           stopped.empty() ? "" : "; stopped since " + stopped));
  output.commit();
  return broken == 0 ? kSuccess : kFailure;
}

int listRules(const std::vector<Rule>& rules) {
  Output output(kStandardOutput);
  for (const Rule& rule : rules)
    output.write(
        fmt::format("{}{}\n", rule.name, rule.needs < Needs::file ? "" : " (needs a file)"));
  output.commit();
  return kSuccess;
}

} // namespace

int check(const CheckRequest& request) {
  std::vector<Rule> rules = allRules();
  NameChoice choice(request.rules);
  std::erase_if(rules, [&](const Rule& rule) { return !choice.matches(std::string(rule.name)); });
  for (const std::string& pattern : choice.unmatched()) {
    reportError("no rule matches " + pattern + "; check --list shows the rules");
    return kWrongUse;
  }
  if (request.listOnly)
    return listRules(rules);
  std::vector<std::string> paths = request.files;
  paths.insert(paths.begin(), request.plugin);
  for (const std::string& path : paths)
    if (const std::string reason = whyUnreadable(path); !reason.empty()) {
      reportError(reason);
      return kWrongUse;
    }
  expectToKeep(paths, kStandardOutput);
  return runRules(rules, request);
}

} // namespace host
