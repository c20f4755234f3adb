#include "support/cOxFilePath.h"

#include <algorithm>
#include <exception>
#include <stdexcept>

#include <sys/stat.h>

#include "support/cOxLogger.h"
#include "support/cOxString.h"
#include "support/dateAndTime.h"

namespace ox3 {

namespace {

constexpr const char* kSeparators = "/\\";

// A variable that contains its own name never stops expanding. These limit the path's length and
// the bytes that all expansions write; no real path comes near them.
constexpr std::size_t kLongestPath = 16 << 20;
constexpr std::size_t kMostWritten = 128 << 20;

// "$NAME" or "${NAME}" in a path; both strings are empty if there is none.
struct cVariableReference {
  std::string token;
  std::string name;
};

// Returns the reference whose "$" is at `start`. A name without braces ends before a separator: at
// the very end of a path it is not a reference.
cVariableReference referenceAt(const std::string& path, std::size_t start) {
  if (path.compare(start, 2, "${") == 0) {
    const std::size_t brace = path.find('}', start);
    if (brace == std::string::npos)
      return {};
    return {path.substr(start, brace + 1 - start), path.substr(start + 2, brace - start - 2)};
  }
  const std::size_t separator = std::min(path.find('/', start), path.find('\\', start));
  if (separator == std::string::npos)
    return {};
  return {path.substr(start, separator - start), path.substr(start + 1, separator - start - 1)};
}

// The size of `path` with every `token` replaced by `value`.
std::size_t sizeAfterReplacing(const std::string& path, const std::string& token,
                               const std::string& value) {
  std::size_t result = path.size();
  for (std::size_t p = path.find(token); p != std::string::npos;
       p = path.find(token, p + token.size()))
    result = result - token.size() + value.size();
  return result;
}

// A message that cannot be sent, for want of memory or because the callback throws, is dropped.
void reportException(cOxLogger& logger, const std::exception& failure) {
  try {
    logger.noclMsg(std::string("cOxFilePath caught exception : ") + failure.what());
  } catch (const std::exception&) {
    return;
  }
}

} // namespace

void cOxFilePath::setPath(const std::string& path) {
  try {
    cOxString expanded(path);
    expanded.trim();
    absolute_ = false;
    splitPath({}); // what is left if the next step throws

    evaluateSystemVariables(expanded);
    absolute_ = expanded.starts_with('/');
    splitPath(expanded);
  } catch (const std::exception& failure) {
    reportException(*this, failure);
  }
}

void cOxFilePath::splitPath(const cOxString& path) {
  components_.clear();
  name_.clear();
  std::size_t start = 0;
  while (start < path.size()) {
    const std::size_t end = std::min(path.find_first_of(kSeparators, start), path.size());
    pushToPath(path.substr(start, end - start));
    start = end + 1;
  }
}

void cOxFilePath::pushToPath(const std::string& component) {
  if (component.empty() || component == ".")
    return;
  if (component == ".." && !components_.empty() && components_.back() != "..")
    components_.pop_back();
  else
    components_.push_back(component);
  name_.clear(); // at the end, because `component` may refer to it
}

void cOxFilePath::evaluateSystemVariables(cOxString& path) {
  if (path.starts_with('~')) {
    const std::string home = getHomeFolder();
    if (!home.empty())
      path.replaceFirst("~", home + "/");
  }

  std::size_t written = 0;
  for (std::size_t p = path.find('$'); p != std::string::npos; p = path.find('$', p + 1)) {
    const auto [token, variable] = referenceAt(path, p);
    if (token.empty())
      continue;
    const std::string value = evaluateEnvironmentVariable(variable, this);
    if (value.empty()) {
      errorMsg("Could not resolve system variable \"" + token + "\" in file path.");
      continue;
    }
    const std::size_t size = sizeAfterReplacing(path, token, value);
    written += size;
    if (size > kLongestPath || written > kMostWritten)
      throw std::length_error("a system variable makes the path too long");
    path.replaceAll(token, value);
  }

  path.replaceAll("^", "/");
}

std::string cOxFilePath::getHomeFolder() const {
  return evaluateEnvironmentVariable("HOME", this);
}

std::string cOxFilePath::combinePathImpl(const std::string& separator) const {
  std::string result = absolute_ ? "/" : "";
  for (const std::string& component : components_) {
    if (&component != &components_.front())
      result += separator;
    result += component;
  }
  return result;
}

const std::string& cOxFilePath::name() {
  if (name_.empty())
    name_ = combinePathImpl("/");
  return name_;
}

std::string cOxFilePath::fileName() const {
  return components_.empty() ? "" : components_.back();
}

std::string cOxFilePath::extensionLowerCase() const {
  const std::string last = fileName();
  const std::size_t dot = last.rfind('.');
  if (dot == std::string::npos)
    return "";
  std::string extension = last.substr(dot);
  oxString::to_lower(extension);
  return extension;
}

bool cOxFilePath::exists() {
  struct stat status = {};
  return stat(name().c_str(), &status) == 0;
}

} // namespace ox3
