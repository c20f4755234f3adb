// Any bytes as a path, in an environment whose variables hold what paths get wrong.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include <stdlib.h>

#include "fuzz/fuzz.h"
#include "support/cOxFilePath.h"
#include "support/cOxString.h"

using fuzz::require;

namespace {

using Components = std::vector<std::string>;

// A variable that holds its own name makes a path grow up to a limit. It grows in large steps here,
// since each step reads the whole path.
bool setEnvironment() {
  const std::string loop = std::string(8 << 20, 'x') + "${LOOP}${A}/";
  const std::pair<const char*, std::string> variables[] = {
      {"HOME", "/home/user"}, {"A", "a/b"},   {"EMPTY", ""},    {"UP", "../.."},
      {"LOOP", loop},         {"CARET", "^"}, {"DOLLAR", "$A/"}};
  for (const auto& [name, value] : variables)
    setenv(name, value.c_str(), 1);
  return true;
}

Components split(const std::string& path) {
  Components result(1);
  for (const char c : path) {
    if (c == '/')
      result.emplace_back();
    else
      result.back() += c;
  }
  return result;
}

void checkComponents(ox3::cOxFilePath& path) {
  const std::string name = path.name();
  Components parts = split(name);
  if (parts.front().empty())
    parts.erase(parts.begin()); // an absolute path, or an empty one
  if (parts.size() == 1 && parts.front().empty())
    parts.clear(); // the root
  bool atFront = true;
  for (const std::string& part : parts) {
    require(!part.empty() && part != ".", "no component is empty or a dot");
    require(part.find_first_of("/\\^") == std::string::npos, "no separator is left");
    atFront = atFront && part == "..";
    require(atFront || part != "..", "\"..\" comes first");
  }
  require(path.fileName() == (parts.empty() ? "" : parts.back()), "the file name comes last");
  require(path.combinePathImpl("/") == name, "the name is the combined path");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool isSet = setEnvironment();
  if (!isSet)
    return -1;
  const std::string text(reinterpret_cast<const char*>(data), size);
  ox3::cOxFilePath path(text);
  checkComponents(path);
  path.exists();

  const std::string name = path.name();
  std::string trimmed = name;
  ox3::oxString::trim(trimmed);
  if (trimmed == name && name.find_first_of("$~") == std::string::npos)
    require(ox3::cOxFilePath(name).name() == name, "a normalised path stays as it is");
  return 0;
}
