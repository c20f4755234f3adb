// `check`: which rules of the boundary are tried on which files, what that says of the plug-in, and
// the report.

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <iterator>
#include <string>
#include <vector>

#include <fmt/core.h>

#include "host/base/messages.h"
#include "host/boundary/names.h"
#include "host/check/sandbox.h"
#include "host/commands/commands.h"

namespace host {

namespace {

// Each rule that hangs costs a time limit, so the rest is skipped after so many.
constexpr int kMostHangs = 3;

std::vector<Rule> chosenRules(const Request& request) {
  std::vector<Rule> rules;
  NameChoice choice(request.patterns);
  for (const auto part : {kObjectRules, kProcessRules, kPropertyRules, kSampleRules})
    std::copy_if(part.begin(), part.end(), std::back_inserter(rules),
                 [&](const Rule& rule) { return choice.matches(std::string(rule.name)); });
  choice.throwIfUnmatched("rule");
  return rules;
}

bool isBroken(const Outcome& outcome) noexcept {
  return outcome.verdict >= Verdict::broken;
}

class Checker {
public:
  explicit Checker(const Request& request)
      : request_(request), plugin_(std::filesystem::absolute(request.plugin)), paths_{""} {
    for (const std::string& file : request.files)
      paths_.push_back(pathForPlugin(file));
  }

  // One outcome for all files.
  Outcome run(const Rule& rule) {
    if (!stopped_.empty())
      return {Verdict::skipped, stopped_, ""};
    Outcome whole{Verdict::skipped, "no file given", ""};
    const std::size_t first = rule.needs <= Needs::any ? 0 : 1; // 0: without a file
    const std::size_t end = rule.needs == Needs::none ? 1 : paths_.size();
    for (std::size_t i = first; i < end && stopped_.empty(); ++i) {
      const Outcome outcome = runOn(rule, i);
      if (isBroken(whole))
        whole.seen += isBroken(outcome) ? "; " + outcome.seen : "";
      else if (outcome.verdict >= whole.verdict)
        whole = outcome;
      // A file would show the same, or cost a time limit more.
      if (isBroken(outcome) && (i == 0 || outcome.verdict == Verdict::hung))
        break;
    }
    return whole;
  }

  const std::string& stopped() const noexcept { return stopped_; } // why no further rule is tried

private:
  Outcome runOn(const Rule& rule, std::size_t i) {
    Outcome outcome =
        runInChild(rule, plugin_, paths_[i], std::chrono::seconds(request_.timeLimit));
    if (i > 0)
      outcome.seen = request_.files[i - 1] + ": " + outcome.seen;
    if (outcome.verdict == Verdict::hung && ++hung_ == kMostHangs)
      stopped_ = fmt::format("{} rules hung", hung_);
    if (!isBroken(outcome))
      return outcome;
    if (!failing_.empty() && outcome.function == failing_)
      return {Verdict::asAbove, "as above: " + outcome.seen, ""};
    if (rule.whenBroken == WhenBroken::stop && outcome.function != "release")
      stopped_ = "there is no plug-in object";
    else if (rule.whenBroken != WhenBroken::goOn)
      failing_ = outcome.function;
    return outcome;
  }

  const Request& request_;
  std::string plugin_;             // absolute: a plug-in may change the working folder
  std::vector<std::string> paths_; // the first is empty: no file
  std::string failing_;            // the function that does not return as intended; or empty
  int hung_ = 0;
  std::string stopped_;
};

std::string line(const Rule& rule, const Outcome& outcome) {
  if (outcome.verdict == Verdict::ok)
    return fmt::format("ok      {}\n", rule.name);
  const std::string seen = printable(outcome.seen);
  if (outcome.verdict == Verdict::untried)
    return fmt::format("ERROR   {}: {}\n", rule.name, seen);
  return isBroken(outcome) ? fmt::format("BROKEN  {}: {}\n", rule.name, seen)
                           : fmt::format("skip    {} ({})\n", rule.name, seen);
}

} // namespace

int check(const Request& request) {
  const std::vector<Rule> rules = chosenRules(request);
  std::vector<std::string> read = request.files;
  read.push_back(request.plugin);
  for (const std::string& name : read)
    if (const std::string reason = whyUnreadable(name); !reason.empty())
      throw Error(reason);
  refuseToOverwrite(read, kStandardOutput);
  Checker checker(request);
  Output output(kStandardOutput);
  std::size_t ok = 0;
  std::size_t broken = 0;
  std::size_t untried = 0;
  for (const Rule& rule : rules) {
    const Outcome outcome = checker.run(rule);
    output.write(line(rule, outcome));
    output.flush(); // the next rule may take its time
    ok += outcome.verdict == Verdict::ok ? 1 : 0;
    broken += isBroken(outcome) ? 1 : 0;
    untried += outcome.verdict == Verdict::untried ? 1 : 0;
  }
  output.write(fmt::format("{} rule{}: {} ok, {} broken, {} skipped{}{}\n", rules.size(),
                           rules.size() == 1 ? "" : "s", ok, broken,
                           rules.size() - ok - broken - untried,
                           untried == 0 ? "" : fmt::format(", {} not tried", untried),
                           checker.stopped().empty() ? "" : "; stopped: " + checker.stopped()));
  output.commit();
  return broken + untried == 0 ? kSuccess : kFailure;
}

} // namespace host
