#include "host/boundary/selection.h"

#include <algorithm>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <fnmatch.h>

#include "host/base/error.h"

namespace host {

std::string someOf(const std::vector<std::string>& names) {
  constexpr size_t kSome = 5;
  const auto shown = static_cast<std::ptrdiff_t>(std::min(names.size(), kSome));
  std::string list = fmt::format("{}", fmt::join(names.begin(), names.begin() + shown, ", "));
  if (names.size() > kSome)
    list += fmt::format(" and {} more", names.size() - kSome);
  return list;
}

StreamChoice::StreamChoice(const std::vector<std::string>& patterns) {
  for (const std::string& glob : patterns)
    patterns_.push_back({glob, false});
}

bool StreamChoice::matches(const std::string& name) {
  bool matched = patterns_.empty();
  for (Pattern& pattern : patterns_)
    if (fnmatch(pattern.glob.c_str(), name.c_str(), 0) == 0)
      matched = pattern.isMatched = true;
  return matched;
}

void StreamChoice::apply(File& file) {
  std::erase_if(file.streams, [&](const Stream& stream) {
    names_.push_back(stream.name);
    return !matches(stream.name);
  });
}

void StreamChoice::expectMatches() const {
  for (const Pattern& pattern : patterns_)
    if (!pattern.isMatched)
      throw Error(names_.empty()
                      ? pattern.glob + ": no stream was found"
                      : pattern.glob + ": no stream has such a name; there are " + someOf(names_));
}

} // namespace host
