// One rule, run in a child process: what the plug-in does there, crash and hang included, stays
// there.
#ifndef OX_WP_HOST_RULE_PROCESS_H
#define OX_WP_HOST_RULE_PROCESS_H

#include <chrono>
#include <string>

#include "host/check_rules.h"

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

#endif
