// The process of a rule: a plug-in that crashes or hangs there harms nothing else.
#pragma once

#include <chrono>
#include <string>

#include "host/check/rules.h" // IWYU pragma: export

namespace host {

// In order of weight: of several files the heaviest counts. asAbove: this function already failed
// in the second rule; counts as skipped. untried: the machine kept the rule from running.
enum class Verdict { skipped, ok, asAbove, untried, broken, hung };

struct Outcome {
  Verdict verdict = Verdict::skipped;
  std::string seen;     // what breaks the rule, or why it was not tried
  std::string function; // of the plug-in, which crashed, hung or threw; empty where none did
};

// Runs the rule on a plug-in and on a copy of a data file, or on none where the name is empty.
// Afterwards the rule's process, the processes of its group and the copy are gone, also when a
// signal ends the caller meanwhile.
Outcome runInChild(const Rule& rule, const std::string& plugin, const std::string& file,
                   std::chrono::seconds timeLimit);

} // namespace host
