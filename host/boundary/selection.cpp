#include "host/boundary/selection.h"

#include <algorithm>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <fnmatch.h>

#include "host/base/error.h"

namespace host {

namespace {

// The first few of the names, for a message.
std::string someOf(const std::vector<std::string>& names) {
  constexpr size_t kSome = 5;
  const auto shown = static_cast<std::ptrdiff_t>(std::min(names.size(), kSome));
  std::string list = fmt::format("{}", fmt::join(names.begin(), names.begin() + shown, ", "));
  if (names.size() > kSome)
    list += fmt::format(" and {} more", names.size() - kSome);
  return list;
}

} // namespace

NameChoice::NameChoice(const std::vector<std::string>& patterns)
    : patterns_(patterns), unmatched_(patterns.begin(), patterns.end()) {}

bool NameChoice::matches(const std::string& name) {
  names_.push_back(name);
  bool isMatched = patterns_.empty();
  for (const std::string& pattern : patterns_)
    if (fnmatch(pattern.c_str(), name.c_str(), 0) == 0) {
      isMatched = true;
      unmatched_.erase(pattern);
    }
  return isMatched;
}

void NameChoice::apply(File& file) {
  std::erase_if(file.streams, [&](const Stream& stream) { return !matches(stream.name); });
}

void NameChoice::expectMatches() const {
  for (const std::string& pattern : unmatched_)
    throw Error(names_.empty()
                    ? pattern + ": no stream was found"
                    : pattern + ": no stream has such a name; there are " + someOf(names_));
}

File openChosen(const Plugin& plugin, const std::string& path, NameChoice& choice) {
  File file = openFile(plugin, path);
  choice.apply(file);
  std::vector<std::string> others;
  std::erase_if(file.streams, [&](const Stream& stream) {
    if (!stream.deliverable)
      others.push_back(stream.name);
    return !stream.deliverable;
  });
  if (!others.empty())
    reportError(path +
                ": left out, since the plug-in cannot deliver their samples: " + someOf(others));
  return file;
}

} // namespace host
