// Any bytes as a path, in an environment whose variables hold what paths get wrong. Where nothing
// is expanded, the result has to be that of a second, simpler implementation of the same rules.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/fuzz.h"
#include "support/cOxFilePath.h"

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

Components split(const std::string& text, char separator) {
  Components result(1);
  for (const char c : text) {
    if (c == separator)
      result.emplace_back();
    else
      result.back() += c;
  }
  return result;
}

// The path when "~" and "$" have no meaning.
std::string plainPath(std::string text) {
  const auto isWhite = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
  std::size_t start = 0;
  while (start < text.size() && isWhite(text[start]))
    ++start;
  text.erase(0, start);
  if (!text.empty() && text[0] == '\0')
    return "";
  while (!text.empty() && (isWhite(text.back()) || text.back() == '\0'))
    text.pop_back();

  for (char& c : text)
    if (c == '^')
      c = '/';
  std::string result;
  if (!text.empty() && text[0] == '/')
    result = "/";
  for (char& c : text)
    if (c == '\\')
      c = '/';
  Components kept;
  for (const std::string& component : split(text, '/')) {
    if (component == ".." && !kept.empty() && kept.back() != "..")
      kept.pop_back();
    else if (!component.empty() && component != ".")
      kept.push_back(component);
  }
  for (const std::string& component : kept)
    result += (&component == &kept.front() ? "" : "/") + component;
  return result;
}

void checkComponents(ox3::cOxFilePath& path) {
  const std::string name = path.name();
  Components parts = split(name, '/');
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
  const bool isPlain = text.find_first_of("$~") == std::string::npos;
  if (isPlain)
    require(name == plainPath(text), "both implementations agree");
  if (name.find_first_of("$~") == std::string::npos && plainPath(name) == name)
    require(ox3::cOxFilePath(name).name() == name, "a normalised path stays as it is");
  return 0;
}
