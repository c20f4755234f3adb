// Strings, logger, paths, environment and status codes: the letters matter.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/cOxLogger.h"
#include "support/cOxString.h"

using namespace std::string_literals;
using ox3::cOxLogger;
using ox3::cOxString;

namespace {

// Notes every message as "code:text", raw text as it is.
struct notes : ox3::cOxLoggerCallBack {
  void message(unsigned long code, const std::string& text) override {
    all.push_back(std::to_string(code) + ":" + text);
  }
  void rawText(const std::string& text) override { raw += text; }
  void setInterrupted(bool value) override { interrupted = value; }
  bool checkInterrupted() override { return interrupted; }
  void progress() override {}

  std::vector<std::string> all;
  std::string raw;
  bool interrupted = false;
};

using lines = std::vector<std::string>;

} // namespace

TEST(strings, trimTreatsTheEndsDifferently) {
  const std::pair<std::string, std::string> cases[] = {
      {"  \tabc \r\n", "abc"}, {"   ", ""},        {"", ""},
      {" \0abc"s, ""},         {"abc\0"s, "abc"},  {"abc \0\t\0"s, "abc"},
      {"\fabc\v", "\fabc\v"},  {"a\0b"s, "a\0b"s}, {"\0"s, ""},
  };
  for (const auto& [text, expected] : cases) {
    cOxString s(text);
    s.trim();
    EXPECT_EQ(s, expected) << testing::PrintToString(text);
  }
}

TEST(strings, replace) {
  const struct {
    const char *text, *from, *to, *all, *first;
  } cases[] = {
      {"aaa", "a", "aa", "aaaaaa", "aaaa"},
      {"x.y.z", ".", "", "xyz", "xy.z"},
      {"a\\b", "\\", "/", "a/b", "a/b"},
      {"abab", "ab", "", "", "ab"},
      {"aaaa", "aa", "a", "aa", "aaa"},
      {"abc", "x", "yy", "abc", "abc"},
      {"ab", "", "-", "-a-b-", "-ab"},
      {"ab", "", "", "ab", "ab"},
      {"", "", "-", "-", "-"},
      {"a.b", "a.b", "a.b.c", "a.b.c", "a.b.c"},
  };
  for (const auto& c : cases) {
    cOxString all(c.text);
    all.replaceAll(c.from, c.to);
    EXPECT_EQ(all, c.all) << c.text;
    cOxString first(c.text);
    first.replaceFirst(c.from, c.to);
    EXPECT_EQ(first, c.first) << c.text;
  }
  EXPECT_EQ(cOxString(static_cast<const char*>(nullptr)), "");
}

TEST(strings, bytesAndLineBreaks) {
  cOxString breaks("a\r\nb\n\rc\nd\re\r\n\r\n");
  breaks.replaceNewlineBySpace();
  EXPECT_EQ(breaks, "a b c d e  ");

  cOxString dots(".a..b.");
  dots.removeAll('.');
  EXPECT_EQ(dots, "ab");

  std::string mixed = "ÄB.Mseed\xff";
  ox3::oxString::to_lower(mixed);
  EXPECT_EQ(mixed, "Äb.mseed\xff");
}

TEST(logger, sendsWhatItsLevelLetsThroughAsOneLine) {
  for (unsigned long level = 0; level <= 8; ++level) {
    notes seen;
    cOxLogger logger(level);
    logger.setLoggerCallBack(&seen);
    const auto sendAll = [](auto& to) {
      to.infoMsg(" i\n");
      to.fatalErrorMsg("f");
      to.errorMsg("e");
      to.highWarnMsg("h");
      to.warnMsg("w\r\nw");
      to.debugMsg("d");
      to.noclMsg("n");
    };
    sendAll(logger);
    sendAll(std::as_const(logger));
    logger.sendMsg(8, "s");
    lines expected = {"1:i", "2:f", "3:e", "4:h", "5:w w", "6:d", "7:n"};
    expected.resize(std::min<std::size_t>(level, 7));
    const lines once = expected;
    expected.insert(expected.end(), once.begin(), once.end());
    if (level == 8)
      expected.emplace_back("8:s");
    EXPECT_EQ(seen.all, expected) << level;
  }
}

TEST(logger, buffersUntilThereIsACallback) {
  notes seen;
  cOxLogger logger(7);
  logger.warnMsg("dropped: no buffer");
  logger.enableBuffer();
  logger.noclMsg(" first\n");
  std::as_const(logger).warnMsg("dropped: const");
  logger.handleBuffer(); // no callback: kept
  logger.errorMsg("second");
  logger.setLoggerCallBack(&seen);
  logger.infoMsg("third");
  logger.handleBuffer(); // empty: nothing twice
  EXPECT_EQ(seen.all, (lines{"7:first", "3:second", "1:third"}));

  for (const bool disable : {true, false}) { // both lose what is held
    cOxLogger losing;
    losing.enableBuffer();
    losing.infoMsg("lost");
    disable ? losing.disableBuffer() : losing.enableBuffer();
    losing.setLoggerCallBack(&seen);
    losing.handleBuffer();
  }
  EXPECT_EQ(seen.all.size(), 3U);
}

TEST(logger, rawTextAndInterruption) {
  notes seen;
  cOxLogger logger(0UL);
  logger << "lost" << std::endl;
  logger.setActionIsInterrupted(true);
  EXPECT_FALSE(logger.checkActionIsInterrupted());
  logger.setLoggerCallBack(&seen);
  logger << " text\n"s << -1L << 'c' << 0.5 << true << static_cast<unsigned short>(7)
         << cOxString("ox") << std::flush << std::endl;
  EXPECT_EQ(seen.raw, " text\n-1c0.517ox\n\n");
  logger.setActionIsInterrupted(true);
  EXPECT_TRUE(logger.checkActionIsInterrupted());
  EXPECT_TRUE(seen.interrupted);
}

