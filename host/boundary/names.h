// Names that a person types: of data files, and patterns for streams and rules.
#pragma once

#include <set> // IWYU pragma: export
#include <string>
#include <vector>

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
  // Throws Error for a pattern that has matched no name. The message has some of the names that
  // there are, and of what kind they are.
  void throwIfUnmatched(const std::string& kind = "stream") const;

private:
  std::vector<std::string> patterns_;
  std::set<std::string> unmatched_; // of the patterns
  std::set<std::string> names_;     // that were seen
};

// Returns the first few of the names, for a message.
std::string someOf(const std::set<std::string>& names);

} // namespace host
