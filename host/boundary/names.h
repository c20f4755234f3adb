// Names that a person types: of data files, and patterns for streams and rules.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "host/boundary/file.h" // IWYU pragma: export

namespace host {

// Returns why this is not a regular file that can be opened; empty when it is one.
std::string whyUnreadable(const std::string& name);

// Returns the path to hand to a plug-in, which may edit it: an absolute path without ".." and
// without links to folders. The last component stays as it is, since a plug-in may choose the
// format by its ending. Throws Error when there is no such file, or when the path holds what a
// plug-in may take for something else: it would read another file.
std::string pathForPlugin(const std::string& name);

// Throws Error when writing to `output` would change one of `inputs`, the files that are read.
void refuseToOverwrite(const std::vector<std::string>& inputs, const std::string& output);

// Shell patterns for names; no pattern means all.
class NameChoice {
public:
  explicit NameChoice(const std::vector<std::string>& patterns);

  bool matches(const std::string& name);
  // Removes the streams that no pattern matches.
  void apply(File& file);
  // Throws Error for a pattern that has matched no name. The message has some of the names that
  // there are, and of what kind they are.
  void throwIfUnmatched(const std::string& kind = "stream") const;

private:
  std::vector<std::string> patterns_;
  std::set<std::string> unmatched_; // of the patterns
  std::vector<std::string> names_;  // that were seen
};

// Parses a file and keeps the streams that are chosen and can be delivered. Reports the others that
// are chosen. The file may have no stream left.
File openChosen(const Plugin& plugin, const std::string& name, NameChoice& choice);

} // namespace host
