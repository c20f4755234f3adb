// One rule, run in a child process: what the plug-in does there, crash and hang included, stays
// there.
#pragma once

#include <chrono>
#include <string>

#include "host/check/rules.h"

namespace host {

enum class Verdict : char { ok = 'o', broken = 'b', skipped = 's' };

struct Outcome {
  Verdict verdict = Verdict::broken;
  std::string seen; // what breaks the rule, or why it was skipped
};

// Runs the rule on a plug-in and a data file, which may be empty.
Outcome runRule(const Rule& rule, const std::string& plugin, const std::string& file,
                std::chrono::seconds timeLimit);

} // namespace host
