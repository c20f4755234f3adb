// Strings, logger, paths, environment and status codes: the letters matter.
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/cOxFilePath.h"
#include "support/cOxLogger.h"
#include "support/cOxString.h"
#include "support/dateAndTime.h"
#include "testing/temporaryFolder.h"

using namespace std::string_literals;
using ox3::cOxFilePath;
using ox3::cOxLogger;
using ox3::cOxString;

namespace {

// Notes every message as "code:text", raw text as it is.
struct Notes : ox3::cOxLoggerCallBack {
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

using Lines = std::vector<std::string>;

// A variable of the environment for the length of a test; null unsets it.
class Environment {
public:
  Environment(const char* variable, const char* value) : name_(variable) {
    if (const char* before = std::getenv(variable))
      old_ = before;
    set(value);
  }
  ~Environment() { set(old_.empty() ? nullptr : old_.c_str()); }
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;

private:
  void set(const char* value) { value ? setenv(name_, value, 1) : unsetenv(name_); }
  const char* name_;
  std::string old_;
};

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
  const Lines all = {"1:i", "2:f", "3:e", "4:h", "5:w w", "6:d", "7:n"};
  for (unsigned long level = 0; level <= all.size(); ++level) {
    Notes seen;
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
      to.sendMsg(8, "s");
    };
    sendAll(logger);
    Lines expected(all.begin(), all.begin() + static_cast<long>(level));
    EXPECT_EQ(std::exchange(seen.all, {}), expected);
    sendAll(std::as_const(logger));
    EXPECT_EQ(seen.all, expected);
  }
}

TEST(logger, buffersUntilThereIsACallback) {
  Notes seen;
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
  EXPECT_EQ(seen.all, (Lines{"7:first", "3:second", "1:third"}));

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
  Notes seen;
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

TEST(paths, areNormalised) {
  const Environment home("HOME", "/home/u");
  const Environment one("OX_ONE", "one");
  const Environment empty("OX_EMPTY", "");
  const Environment unset("OX_UNSET", nullptr);
  const Environment nested("OX_NESTED", "x$OX_ONE");
  const struct {
    const char *text, *name, *last, *extension;
  } cases[] = {
      {"  /a/./b//c/../d.TXT  ", "/a/b/d.TXT", "d.TXT", ".txt"},
      {"../../x", "../../x", "x", ""},
      {"a/../../x", "../x", "x", ""},
      {"C:\\dir\\f.seg2", "C:/dir/f.seg2", "f.seg2", ".seg2"},
      {"a^b", "a/b", "b", ""},
      {"^data^x", "/data/x", "x", ""},
      {"~/data", "/home/u/data", "data", ""},
      {"~", "/home/u", "u", ""},
      {"$HOME/x", "/home/u/x", "x", ""},
      {"${HOME}x", "/home/ux", "ux", ""},
      {"x/$HOME", "x/$HOME", "$HOME", ""},
      {"$OX_ONE\\$OX_ONE/y", "one/one/y", "y", ""},
      {"$OX_UNSET/${OX_EMPTY}/z", "$OX_UNSET/${OX_EMPTY}/z", "z", ""},
      {"$OX_NESTED/z", "xone/z", "z", ""},
      {"a/${OX_ONE", "a/${OX_ONE", "${OX_ONE", ""},
      {"$/a", "$/a", "a", ""},
      {".profile", ".profile", ".profile", ".profile"},
      {"archive.tar.GZ", "archive.tar.GZ", "archive.tar.GZ", ".gz"},
      {"a.b/c", "a.b/c", "c", ""},
      {"/", "/", "", ""},
      {"", "", "", ""},
  };
  for (const auto& c : cases) {
    cOxFilePath path(c.text);
    EXPECT_EQ(path.name(), c.name) << c.text;
    EXPECT_EQ(path.fileName(), c.last) << c.text;
    EXPECT_EQ(path.extensionLowerCase(), c.extension) << c.text;
  }
  EXPECT_EQ(cOxFilePath("/a/b").combinePathImpl("|"), "/a|b");
  EXPECT_EQ(cOxFilePath(static_cast<const char*>(nullptr)).name(), "");
}

TEST(paths, forgetTheirNameWhenTheyChange) {
  cOxFilePath path("/a/b");
  EXPECT_EQ(path.name(), "/a/b");
  path.pushToPath("..");
  EXPECT_EQ(path.name(), "/a");
  path.splitPath("x/y");
  EXPECT_EQ(path.name(), "/x/y"); // a split leaves the root as it was
  path.setPath("z");
  EXPECT_EQ(path.name(), "z");
}

TEST(paths, danglingLinkIsNothing) {
  const TemporaryFolder folder;
  std::filesystem::create_symlink("file", folder / "link");
  EXPECT_FALSE(cOxFilePath(folder / "link").exists());
  folder.write("file", "");
  EXPECT_TRUE(cOxFilePath(folder / "link").exists());
  EXPECT_TRUE(cOxFilePath(folder / ".").exists());
  EXPECT_FALSE(cOxFilePath("").exists());
}

TEST(paths, reportWhatTheyCannotResolve) {
  const Environment home("HOME", nullptr);
  const Environment unset("OX_UNSET", nullptr);
  const Environment empty("OX_EMPTY", "");
  const Environment endless("OX_ENDLESS", "b$OX_ENDLESS/");
  const struct {
    const char* text;
    Lines messages;
  } cases[] = {
      {"${OX_UNSET}/a",
       {"7:Could not resolve system variable \"OX_UNSET\" .",
        "3:Could not resolve system variable \"${OX_UNSET}\" in file path."}},
      {"$OX_EMPTY/a", {"3:Could not resolve system variable \"$OX_EMPTY\" in file path."}},
      {"~/a", {"7:Could not resolve system variable \"HOME\" ."}},
      {"$OX_ENDLESS/a",
       {"7:cOxFilePath caught exception : a system variable makes the path too long"}},
  };
  for (const auto& c : cases) {
    // A level above the default one comes only with a copy: assign a louder logger's state.
    cOxFilePath path("");
    static_cast<cOxLogger&>(path) = cOxLogger(7);
    Notes seen;
    path.setLoggerCallBack(&seen);
    path.setPath(c.text);
    EXPECT_EQ(seen.all, c.messages) << c.text;
  }
  EXPECT_EQ(cOxFilePath("~/a").name(), "~/a");
  EXPECT_EQ(cOxFilePath("$OX_ENDLESS/a").name(), "");
}

TEST(environmentVariables, specialPathIsNotThePathClass) {
  Notes seen;
  cOxLogger logger(7);
  logger.setLoggerCallBack(&seen);
  for (const auto& [home, expected] :
       {std::pair{"/h", "/hx~"}, {static_cast<const char*>(nullptr), "x~"}}) {
    const Environment set("HOME", home);
    EXPECT_EQ(ox3::evaluateSpecialPath("~x~", logger), expected);
    EXPECT_EQ(ox3::evaluateSpecialPath("x~", logger), "x~");
    EXPECT_EQ(ox3::evaluateSpecialPath("", logger), "");
    EXPECT_EQ(ox3::evaluateEnvironmentVariable("HOME"), home ? home : "");
  }
  EXPECT_EQ(seen.all, Lines{"7:Could not resolve system variable \"HOME\" ."});
}

// The texts that aren't what their names make one expect, and the codes that are none.
TEST(statusCodes, texts) {
  const std::pair<int, const char*> returnTexts[] = {
      {-1, ""}, {1, "partially ok"},      {16, "file format recognized"},
      {17, ""}, {22, "encodeing failed"}, {28, "bad function arguments"},
      {29, ""}};
  for (const auto& [code, text] : returnTexts)
    EXPECT_EQ(ox3::convert_return_code_to_string(static_cast<ox3::returnCode>(code)), text);
  const std::pair<int, const char*> statusTexts[] = {
      {-1, "-"},           {0, "OK"}, {3, "PARSE FAILED"}, {4, "-"}, {5, "BAD PARSER INDEX"},
      {14, "INTERRUPTED"}, {15, "-"}};
  for (const auto& [code, text] : statusTexts)
    EXPECT_EQ(ox3::convert_ox_return_code_to_string(code), text);
}
