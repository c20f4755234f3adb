// Functions that edit a string in place, and a string class that offers them as members. A
// character is a byte.
#pragma once

#include <string>

namespace ox3 {

namespace oxString {

// Replaces every byte by tolower of it.
void to_lower(std::string& s);

// Removes white space (tab, line feed, carriage return, blank) at both ends. At the end a NUL
// counts as white space. A NUL before any other character empties the string, whatever follows.
void trim(std::string& s);

// Replaces every occurrence of `from` by `to`, from the front on. Inserted strings are not searched
// again. With an empty `from`, inserts `to` before each byte and at the end.
void replace_string_all(std::string& s, const std::string& from, const std::string& to);

void replace_string_first(std::string& s, const std::string& from, const std::string& to);
void remove_string_all(std::string& s, char c);

} // namespace oxString

class cOxString : public std::string {
public:
  cOxString() = default;
  cOxString(const std::string& source) : std::string(source) {}
  cOxString(const char* source) : std::string(source ? source : "") {}

  void trim() { oxString::trim(*this); }
  void replaceFirst(const std::string& from, const std::string& to) {
    oxString::replace_string_first(*this, from, to);
  }
  void replaceAll(const std::string& from, const std::string& to) {
    oxString::replace_string_all(*this, from, to);
  }
  void removeAll(char c) { oxString::remove_string_all(*this, c); }

  // Replaces each line break by one blank. CR LF and LF CR are one line break, as are a lone LF and
  // a lone CR.
  void replaceNewlineBySpace();
};

} // namespace ox3
