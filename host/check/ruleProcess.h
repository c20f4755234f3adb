// Runs one rule, in a child process: a plug-in that crashes or hangs there harms nothing else.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "host/check/rules.h"

namespace host {

enum class Verdict { ok, broken, hung, skipped };

struct Outcome {
  Verdict verdict = Verdict::ok;
  std::string seen; // what breaks the rule, or why it was skipped
};

// Runs the rule on a plug-in and a data file, which may be empty, in a child process. Afterwards
// the child, the processes that it started and its folder are gone, also when a signal ends the
// caller meanwhile. Without a time limit the rule runs in this process, for a debugger.
Outcome runRule(const Rule& rule, const std::string& plugin, const std::string& file,
                std::optional<std::chrono::seconds> timeLimit);

} // namespace host
