// `check`: which rules of the boundary are tried on which files, what that says of the plug-in, and
// the report.

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
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

// What is printed for each Verdict.
constexpr std::array kWords = {"skip", "ok", "skip", "ERROR", "BROKEN", "BROKEN"};

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
      : plugin_(std::filesystem::absolute(request.plugin)), files_(request.files),
        timeLimit_(request.timeLimit) {
    files_.insert(files_.begin(), "");
  }

  // One outcome for all files.
  Outcome run(const Rule& rule) {
    Outcome whole{Verdict::skipped, stopped_.empty() ? "no file given" : stopped_, ""};
    const std::size_t first = rule.needs <= Needs::any ? 0 : 1; // 0: without a file
    const std::size_t end = rule.needs == Needs::none ? 1 : files_.size();
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

private:
  Outcome runOn(const Rule& rule, std::size_t i) {
    Outcome outcome = runInChild(rule, plugin_, files_[i], timeLimit_);
    if (i > 0 && !outcome.seen.empty())
      outcome.seen = files_[i] + ": " + outcome.seen;
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

  std::string plugin_;             // absolute: a plug-in may change the working folder
  std::vector<std::string> files_; // the first is empty: no file
  std::chrono::seconds timeLimit_;
  std::string failing_; // the function that does not return as intended; or empty
  int hung_ = 0;
  std::string stopped_; // why no further rule is tried; or empty
};

} // namespace

int check(const Request& request) {
  const std::vector<Rule> rules = chosenRules(request);
  std::vector<std::string> read = request.files;
  read.push_back(request.plugin);
  for (const std::string& name : read)
    if (const std::string reason = whyUnreadable(name); !reason.empty())
      throw Error(reason);
  for (const std::string& file : request.files)
    (void)pathForPlugin(file); // throws where a copy could not be handed over either
  refuseToOverwrite(read, kStandardOutput);
  Checker checker(request);
  Output output(kStandardOutput);
  std::map<std::string_view, std::size_t> count;
  for (const Rule& rule : rules) {
    const Outcome outcome = checker.run(rule);
    const char* const word = kWords.at(static_cast<std::size_t>(outcome.verdict));
    const std::string seen = outcome.seen.empty() ? "" : ": " + printable(outcome.seen);
    output.write(fmt::format("{:<8}{}{}\n", word, rule.name, seen));
    output.flush(); // the next rule may take its time
    ++count[word];
  }
  output.write(fmt::format("{} ok, {} broken, {} skipped, {} not tried\n", count["ok"],
                           count["BROKEN"], count["skip"], count["ERROR"]));
  output.commit();
  return count["BROKEN"] + count["ERROR"] == 0 ? kSuccess : kFailure;
}

} // namespace host
