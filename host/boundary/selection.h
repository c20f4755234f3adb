// The choice of streams by their names.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "host/boundary/walk.h"

namespace host {

// The first few of the names, for a message.
std::string someOf(const std::vector<std::string>& names);

// Shell patterns for the names of streams; no pattern means all streams.
class StreamChoice {
public:
  explicit StreamChoice(const std::vector<std::string>& patterns);

  // Removes the streams that no pattern matches.
  void apply(File& file);
  // Throws Error for a pattern that has matched no stream of any file. The message has some of the
  // names that there are.
  void expectMatches() const;

private:
  bool matches(const std::string& name);

  std::vector<std::string> patterns_;
  std::set<std::string> unmatched_; // of the patterns
  std::vector<std::string> names_;  // of all streams that were seen
};

} // namespace host
