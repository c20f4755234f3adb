#include "support/cOxString.h"

#include <algorithm>
#include <cctype>
#include <string_view>

namespace ox3 {

namespace oxString {

void to_lower(std::string& s) {
  std::transform(s.begin(), s.end(), s.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
}

void trim(std::string& s) {
  constexpr std::string_view kWhiteSpace = "\t\n\r ";
  constexpr std::string_view kWhiteSpaceOrNul("\t\n\r \0", 5);

  const std::size_t start = s.find_first_not_of(kWhiteSpace);
  if (start == std::string::npos || s[start] == '\0') {
    s.clear();
    return;
  }
  s.erase(s.find_last_not_of(kWhiteSpaceOrNul) + 1);
  s.erase(0, start);
}

void replace_string_all(std::string& s, const std::string& from, const std::string& to) {
  // An empty `from` occurs at every position: go on one byte after the last one.
  const std::size_t step = std::max<std::size_t>(from.size(), 1);
  std::string result;
  result.reserve(s.size());
  std::size_t kept = 0;
  for (std::size_t p = s.find(from); p != std::string::npos; p = s.find(from, p + step)) {
    result.append(s, kept, p - kept).append(to);
    kept = p + from.size();
  }
  s = result.append(s, kept);
}

void replace_string_first(std::string& s, const std::string& from, const std::string& to) {
  const std::size_t p = s.find(from);
  if (p != std::string::npos)
    s.replace(p, from.size(), to);
}

void remove_string_all(std::string& s, char c) {
  std::erase(s, c);
}

} // namespace oxString

void cOxString::replaceNewlineBySpace() {
  replaceAll("\r\n", " ");
  replaceAll("\n\r", " ");
  replaceAll("\n", " ");
  replaceAll("\r", " ");
}

} // namespace ox3
