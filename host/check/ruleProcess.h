// Runs one rule, in a child process: a plug-in that crashes or hangs there harms nothing else.
#pragma once

#include <chrono>
#include <string>

#include "host/check/rules.h" // IWYU pragma: export

namespace host {

enum class Verdict { ok, broken, hung, skipped };

struct Outcome {
  Verdict verdict = Verdict::ok;
  std::string seen; // what breaks the rule, or why it was skipped
};

// Runs the rule on a plug-in and a data file, which may be empty. Afterwards the child, the
// processes of its group and its copy of the file are gone, also when a signal ends the caller
// meanwhile.
Outcome runRule(const Rule& rule, const std::string& plugin, const std::string& file,
                std::chrono::seconds timeLimit);

} // namespace host
