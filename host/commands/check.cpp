// `check`: whether a plug-in keeps the rules of the boundary.

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <map>
#include <optional>

#include <fmt/core.h>
#include <fmt/ranges.h>
#include <fnmatch.h>
#include <unistd.h>

#include "host/base/error.h"
#include "host/base/output.h"
#include "host/base/text.h"
#include "host/check/ruleProcess.h"
#include "host/commands/commands.h"

namespace host {

namespace fs = std::filesystem;

namespace {

// How many rules may hang on a file, and in all, until the rest is skipped: each costs a time
// limit.
constexpr int kHangsOfAFile = 2;
constexpr int kHangsInAll = 6;

// The rules whose name matches a pattern; all of them without a pattern. Throws Error for a pattern
// that matches none.
std::vector<Rule> selectRules(const std::vector<std::string>& patterns) {
  std::vector<Rule> rules;
  for (const auto part : {entryRules(), fileRules(), propertyRules(), sampleRules()})
    rules.insert(rules.end(), part.begin(), part.end());
  const auto matches = [](const Rule& rule, const std::string& pattern) {
    return fnmatch(pattern.c_str(), std::string(rule.name).c_str(), 0) == 0;
  };
  for (const std::string& pattern : patterns)
    if (std::none_of(rules.begin(), rules.end(),
                     [&](const Rule& rule) { return matches(rule, pattern); }))
      throw Error("no rule matches " + printable(pattern) + "; check --list shows the rules");
  std::erase_if(rules, [&](const Rule& rule) {
    return !patterns.empty() &&
           std::none_of(patterns.begin(), patterns.end(),
                        [&](const std::string& pattern) { return matches(rule, pattern); });
  });
  return rules;
}

// Throws Error when a file cannot be what the caller meant, for which no plug-in is to blame.
void expectReadable(const std::string& path) {
  std::error_code error;
  const fs::file_type type = fs::status(path, error).type();
  if (access(path.c_str(), R_OK) != 0)
    throw systemError(printable(path));
  if (type == fs::file_type::directory)
    throw Error(printable(path) + ": is a folder");
  if (type != fs::file_type::regular)
    throw Error(printable(path) + ": is not a regular file");
}

class Checker {
public:
  explicit Checker(const CheckRequest& request) : request_(request) {}

  // One outcome for all files: broken if the rule is broken on any, else ok if it is kept on any.
  Outcome run(const Rule& rule) {
    std::vector<std::string> files = request_.files;
    if (rule.needs == Needs::nothing) // a declined file would hide what can be seen without one
      files.insert(files.begin(), "");
    Outcome whole{Verdict::skipped, "no file given"};
    std::vector<std::string> broken; // what was seen, with the file
    for (const std::string& file : files) {
      Outcome outcome = runOn(rule, file);
      if (!file.empty())
        outcome.seen = file + ": " + outcome.seen;
      const bool hung = outcome.verdict == Verdict::hung;
      if (hung || outcome.verdict == Verdict::broken) {
        broken.push_back(outcome.seen);
        if (hung || file.empty()) // a further file would cost a time limit, or show the same
          break;
      }
      if (whole.verdict != Verdict::ok)
        whole = outcome;
    }
    if (broken.empty())
      return whole;
    return {Verdict::broken, fmt::format("{}", fmt::join(broken, "; "))};
  }

  // From now on, every rule is skipped for this reason.
  void stop(const std::string& reason) { stopped_ = reason; }
  bool sawTooManyHangs() const noexcept { return sawTooManyHangs_; }

private:
  Outcome runOn(const Rule& rule, const std::string& file) {
    if (!stopped_.empty())
      return {Verdict::skipped, stopped_};
    if (request_.inProcess)
      return runRuleInProcess(rule, request_.plugin, file);
    if (hangs_[file] == kHangsOfAFile)
      return {Verdict::skipped, fmt::format("{} rules hung {}", kHangsOfAFile,
                                            file.empty() ? "without a file" : "on this file")};
    Outcome outcome = runRule(rule, request_.plugin, file, request_.timeLimit);
    if (outcome.verdict == Verdict::hung) {
      sawTooManyHangs_ |= ++hangs_[file] == kHangsOfAFile;
      if (++hangsInAll_ == kHangsInAll) {
        sawTooManyHangs_ = true;
        stop(fmt::format("{} rules hung", kHangsInAll));
      }
    }
    return outcome;
  }

  const CheckRequest& request_;
  std::string stopped_;
  std::map<std::string, int> hangs_; // by file
  int hangsInAll_ = 0;
  bool sawTooManyHangs_ = false;
};

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
  Checker checker(request);
  std::map<Verdict, int> counts;
  for (const Rule& rule : rules) {
    const Outcome outcome = checker.run(rule);
    ++counts[outcome.verdict];
    output.write(line(rule, outcome));
    output.flush(); // the next rule may take its time
    if (outcome.verdict == Verdict::broken && rule.run == entryRules().front().run)
      checker.stop("there is no plug-in object");
  }
  output.write(fmt::format("{} rule{}: {} ok, {} broken, {} skipped{}\n", rules.size(),
                           rules.size() == 1 ? "" : "s", counts[Verdict::ok],
                           counts[Verdict::broken], counts[Verdict::skipped],
                           checker.sawTooManyHangs() ? ", some of them because others hung" : ""));
  output.commit();
  return counts[Verdict::broken] == 0 ? kSuccess : kFailure;
}

int listRules(const std::vector<Rule>& rules) {
  Output output(kStandardOutput);
  for (const Rule& rule : rules)
    output.write(
        fmt::format("{}{}\n", rule.name, rule.needs == Needs::nothing ? "" : " (needs a file)"));
  output.commit();
  return kSuccess;
}

} // namespace

int check(const CheckRequest& request) {
  std::vector<Rule> rules;
  try {
    rules = selectRules(request.rules);
    if (!request.listOnly) {
      expectReadable(request.plugin);
      for (const std::string& file : request.files)
        expectReadable(file);
    }
  } catch (const Error& error) {
    reportError(error.what());
    return kWrongUse;
  }
  return request.listOnly ? listRules(rules) : runRules(rules, request);
}

} // namespace host
