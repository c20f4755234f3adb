// A path as a user or a host writes it, normalised to a list of components. "~", environment
// variables, "." and ".." are resolved in the string; the file system is not looked at.
#pragma once

#include <string>
#include <vector>

#include "support/cOxLogger.h"
#include "support/cOxString.h"

namespace ox3 {

// A path is its own logger: it receives the messages on what could not be resolved.
class cOxFilePath : public cOxLogger {
public:
  explicit cOxFilePath(const char* path) : cOxFilePath(cOxString(path)) {}
  explicit cOxFilePath(const std::string& path) { setPath(path); }

  // Replaces the whole path. White space around it is removed; "/", "\" and "^" separate
  // components. Does not throw a std::exception: after an error the path keeps what was built
  // before it.
  void setPath(const std::string& path);

  // Replaces the components by those of `path`. Expands nothing, and leaves the path absolute or
  // relative as it was.
  void splitPath(const cOxString& path);

  // Appends one component. An empty one and "." are ignored. ".." removes the last component; where
  // there is none, or it is itself "..", it is appended, at the root too.
  void pushToPath(const std::string& component);

  // Replaces, in place: a leading "~" by $HOME and "/"; ${NAME}, and $NAME before "/" or "\", by
  // the variable's value; then every "^" by "/". A variable that is unset or empty stays as it is
  // written. Throws std::length_error for an expansion without an end.
  void evaluateSystemVariables(cOxString& path);

  // Returns $HOME; an empty string if it is not set.
  std::string getHomeFolder() const;

  // Returns the components with `separator` between them, after a "/" if the path is absolute.
  std::string combinePathImpl(const std::string& separator) const;

  // Returns the full path with "/" between the components. The reference is to a cache and is valid
  // until the path changes.
  const std::string& name();

  // Returns the last component; an empty string for an empty path.
  std::string fileName() const;

  // Returns the last component from its last "." on, dot included; an empty string if it has none.
  std::string extensionLowerCase() const;

  // Returns whether the file system has an entry of this name. Links are followed: a dangling one
  // does not exist.
  bool exists();

private:
  std::vector<std::string> components_; // outermost first; never "" or "."
  std::string name_;                    // cache of name(); empty: not built yet
  bool absolute_ = false;
};

} // namespace ox3
