// Paths: what a written path becomes, and what it reports when it cannot be resolved.
#include <tuple>

#include <gtest/gtest.h>

#include "support/cOxFilePath.h"
#include "support/cOxLogger.h"
#include "support/dateAndTime.h"
#include "tests/support/fixture.h"

using ox3::cOxFilePath;

TEST(FilePath, IsNormalised) {
  const Environment variables({"HOME=/home/u", "OX_ONE=one", "OX_EMPTY=", "OX_UNSET",
                               "OX_NESTED=x$OX_ONE", "OX_LONG=" + std::string(80000, '/')});
  const struct {
    const char *text, *name, *last, *extension;
  } cases[] = {
      {"  /a/./b//c/../d.TXT  ", "/a/b/d.TXT", "d.TXT", ".txt"},
      {"../../x", "../../x", "x", ""},
      {"C:\\dir\\f.seg2", "C:/dir/f.seg2", "f.seg2", ".seg2"},
      {"\\a", "a", "a", ""},
      {"^data^x", "/data/x", "x", ""},
      {"~data", "/home/u/data", "data", ""},
      {"x~/~", "x~/~", "~", ""},
      {"${HOME}x", "/home/ux", "ux", ""},
      {"x/$HOME", "x/$HOME", "$HOME", ""},
      {"$OX_ONE\\y", "one/y", "y", ""},
      {"$OX_ONE^x/y", "$OX_ONE/x/y", "y", ""},
      {"${OX_NESTED}/${OX_ONE}", "xone/one", "one", ""},
      {"$OX_UNSET/${OX_EMPTY}/${OX_ONE}/z", "$OX_UNSET/${OX_EMPTY}/one/z", "z", ""},
      {"${OX_ONE/$OX_ONE/", "${OX_ONE/one", "one", ""},
      {"$OX_LONG/tmp", "/tmp", "tmp", ""},
      {"$/a", "$/a", "a", ""},
      {".profile", ".profile", ".profile", ".profile"},
      {"archive.tar.GZ", "archive.tar.GZ", "archive.tar.GZ", ".gz"},
      {"a.b/c", "a.b/c", "c", ""},
      {"a.Ä\xff", "a.Ä\xff", "a.Ä\xff", ".Ä\xff"},
      {"/", "/", "", ""},
  };
  for (const auto& c : cases) {
    cOxFilePath path(c.text);
    EXPECT_EQ(path.name(), c.name) << c.text;
    EXPECT_EQ(path.fileName(), c.last) << c.text;
    EXPECT_EQ(path.extensionLowerCase(), c.extension) << c.text;
  }
  EXPECT_EQ(cOxFilePath("/a/b").combinePathImpl("|"), "/a|b");
}

TEST(FilePath, ReportsWhatItCannotResolve) {
  const Environment variables({"HOME", "OX_UNSET", "OX_EMPTY=", "OX_ENDLESS=b$OX_ENDLESS/",
                               "OX_LARGE=" + std::string(17 << 20, 'x')});
  const std::string unresolved = "Could not resolve system variable ";
  const std::string tooLong =
      "7:cOxFilePath caught exception : a system variable makes the path too long";
  const std::tuple<const char*, const char*, Lines> cases[] = {
      {"${OX_UNSET}/a",
       "${OX_UNSET}/a",
       {"7:" + unresolved + "\"OX_UNSET\" .", "3:" + unresolved + "\"${OX_UNSET}\" in file path."}},
      {"$OX_EMPTY/a", "$OX_EMPTY/a", {"3:" + unresolved + "\"$OX_EMPTY\" in file path."}},
      {"~/a", "~/a", {"7:" + unresolved + "\"HOME\" ."}},
      {"$OX_ENDLESS/a", "", {tooLong}},
      {"$OX_LARGE/a", "", {tooLong}},
  };
  for (const auto& [text, name, messages] : cases) {
    cOxFilePath path("");
    static_cast<ox3::cOxLogger&>(path) = ox3::cOxLogger(7); // the only way to another level
    ReceivedMessages seen;
    path.setLoggerCallBack(&seen);
    path.setPath(text);
    EXPECT_EQ(seen.all, messages) << text;
    EXPECT_EQ(path.name(), name) << text;
  }
}

// Unlike the path class.
TEST(SpecialPath, HasNoSlashAfterHome) {
  const Environment home({"HOME=/h"});
  ox3::cOxLogger logger;
  EXPECT_EQ(ox3::evaluateSpecialPath("~x~", logger), "/hx~");
  EXPECT_EQ(ox3::evaluateSpecialPath("x~", logger), "x~");
  const Environment none({"HOME"});
  EXPECT_EQ(ox3::evaluateSpecialPath("~x~", logger), "x~");
}
