// The choice of streams and of rules by their names.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "host/boundary/walk.h" // IWYU pragma: export

namespace host {

// Shell patterns for names; no pattern means all.
class NameChoice {
public:
  explicit NameChoice(const std::vector<std::string>& patterns);

  bool matches(const std::string& name);
  // Removes the streams that no pattern matches.
  void apply(File& file);
  // The patterns that have matched no name so far.
  const std::set<std::string>& unmatched() const noexcept { return unmatched_; }
  // Throws Error for a pattern that has matched no stream of any file. The message has some of the
  // names that there are.
  void expectMatches() const;

private:
  std::vector<std::string> patterns_;
  std::set<std::string> unmatched_; // of the patterns
  std::vector<std::string> names_;  // that were seen
};

// Parses a file and keeps the streams that are chosen and can be delivered. Reports the others that
// are chosen. The file may have no stream left.
File openChosen(const Plugin& plugin, const std::string& path, NameChoice& choice);

} // namespace host
