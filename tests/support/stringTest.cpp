// Strings: every byte of the results matters.
#include <utility>

#include <gtest/gtest.h>

#include "support/cOxString.h"

using namespace std::string_literals;
using ox3::cOxString;

TEST(String, TrimsTheTwoEndsDifferently) {
  const std::pair<std::string, std::string> cases[] = {
      {"  \tabc \r\n", "abc"},        {"   ", ""},        {" \0abc"s, ""}, {"abc \0\t\0"s, "abc"},
      {"\r\n\v\fabc\v", "\v\fabc\v"}, {"a\0b"s, "a\0b"s},
  };
  for (const auto& [text, expected] : cases) {
    cOxString s(text);
    s.trim();
    EXPECT_EQ(s, expected) << testing::PrintToString(text);
  }
}

TEST(String, ReplacesAllOrTheFirst) {
  const struct {
    const char *text, *from, *to, *expected; // all, the first
  } cases[] = {
      {"aaa", "a", "aa", "aaaaaa,aaaa"}, {"x.y.z", ".", "", "xyz,xy.z"},
      {"a\\b", "\\", "/", "a/b,a/b"},    {"abab", "ab", "", ",ab"},
      {"aaaa", "aa", "a", "aa,aaa"},     {"abc", "x", "yy", "abc,abc"},
      {"ab", "", "-", "-a-b-,-ab"},      {"ab", "", "", "ab,ab"},
  };
  for (const auto& c : cases) {
    cOxString all(c.text);
    cOxString first(c.text);
    all.replaceAll(c.from, c.to);
    first.replaceFirst(c.from, c.to);
    EXPECT_EQ(all + "," + first, c.expected) << c.text << "," << c.from;
  }
  EXPECT_EQ(cOxString(static_cast<const char*>(nullptr)), "");
}

TEST(String, TurnsEachLineBreakIntoOneBlank) {
  cOxString breaks("a\r\nb\n\rc\nd\re\r\n\r\n");
  breaks.replaceNewlineBySpace();
  EXPECT_EQ(breaks, "a b c d e  ");
}
