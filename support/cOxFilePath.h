// A path as users and hosts write it, normalised: "~", environment variables, "." and ".." are
// resolved, by text alone.
#pragma once

#include <string>
#include <vector>

#include "support/cOxLogger.h"
#include "support/cOxString.h"

namespace ox3 {

// Problems are reported to the path itself, which is a logger.
class cOxFilePath : public cOxLogger {
public:
  explicit cOxFilePath(const char* path) : cOxFilePath(cOxString(path)) {}
  explicit cOxFilePath(const std::string& path) { setPath(path); }

  // Replaces the whole path. "/" and "\" separate, "^" as well; white space around the text is
  // dropped. No std::exception leaves: the path then keeps what was built so far.
  void setPath(const std::string& text);

  // Replaces the components by those of `text`, in which nothing is expanded.
  void splitPath(const cOxString& text);

  // Appends one component: "." is nothing, ".." takes the last component back where it can.
  void pushToPath(const std::string& component);

  // Expands, in place: a leading "~" to $HOME; ${NAME}, and $NAME where a separator follows, to the
  // variable's value; every "^" to "/". What can't be resolved stays. Throws std::length_error when
  // variables make the text more than 64 KiB longer.
  void evaluateSystemVariables(cOxString& text);

  // $HOME, or empty.
  std::string getHomeFolder() const;

  std::string combinePathImpl(const std::string& separator) const;

  // The full path, with "/".
  const std::string& name();

  // The last component; empty for an empty path.
  std::string fileName() const;

  // From the last "." of the last component on, dot included; empty if there is none.
  std::string extensionLowerCase() const;

  // Whether the file system has anything of this name; a dangling link is nothing.
  bool exists();

private:
  std::vector<std::string> components_; // outermost first; neither "" nor "."
  std::string name_;                    // empty: not built yet
  bool absolute_ = false;
};

} // namespace ox3
