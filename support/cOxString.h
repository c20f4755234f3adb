// Strings that are edited in place. Characters are bytes.
#pragma once

#include <string>

namespace ox3 {

namespace oxString {

// Every byte through tolower.
void to_lower(std::string& s);

// Cuts white space (tab, line feed, carriage return, blank) at both ends. A NUL counts as white
// space at the back; at the front it means that there is no text, and empties the string.
void trim(std::string& s);

// Every occurrence of `from`, front to back, becomes `to`; what was put in is not searched again.
// An empty `from` puts `to` before each byte and at the end.
void replace_string_all(std::string& s, const std::string& from, const std::string& to);

// The first occurrence of `from`, if any, becomes `to`.
void replace_string_first(std::string& s, const std::string& from, const std::string& to);

// Drops every `c`.
void remove_string_all(std::string& s, char c);

} // namespace oxString

class cOxString : public std::string {
public:
  cOxString() = default;
  cOxString(const std::string& text) : std::string(text) {}
  cOxString(const char* text) : std::string(text ? text : "") {}

  void trim() { oxString::trim(*this); }
  void replaceFirst(const std::string& from, const std::string& to) {
    oxString::replace_string_first(*this, from, to);
  }
  void replaceAll(const std::string& from, const std::string& to);
  void removeAll(char c) { oxString::remove_string_all(*this, c); }

  // Each line break, of one or two bytes, becomes one blank.
  void replaceNewlineBySpace();
};

} // namespace ox3
