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

StreamChoice::StreamChoice(const std::vector<std::string>& patterns)
    : patterns_(patterns), unmatched_(patterns.begin(), patterns.end()) {}

bool StreamChoice::matches(const std::string& name) {
  bool isMatched = patterns_.empty();
  for (const std::string& pattern : patterns_)
    if (fnmatch(pattern.c_str(), name.c_str(), 0) == 0) {
      isMatched = true;
      unmatched_.erase(pattern);
    }
  return isMatched;
}

void StreamChoice::apply(File& file) {
  std::erase_if(file.streams, [&](const Stream& stream) {
    names_.push_back(stream.name);
    return !matches(stream.name);
  });
}

void StreamChoice::expectMatches() const {
  for (const std::string& pattern : unmatched_)
    throw Error(names_.empty()
                    ? pattern + ": no stream was found"
                    : pattern + ": no stream has such a name; there are " + someOf(names_));
}

} // namespace host
