// The logger: which messages reach the callback, when and in which form.
#include <ios>
#include <ostream>
#include <utility>

#include <gtest/gtest.h>

#include "support/cOxLogger.h"
#include "support/cOxString.h"
#include "tests/support/fixture.h"

using ox3::cOxLogger;

TEST(Logger, SendsWhatItsLevelLetsThroughAsOneLine) {
  const Lines all = {"1:i", "2:f", "3:e", "4:h", "5:w w", "6:d", "7:n"};
  for (unsigned long level = 0; level <= all.size(); ++level) {
    ReceivedMessages seen;
    cOxLogger logger = level == 6 ? cOxLogger() : cOxLogger(level); // 6 is the default
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
    const Lines expected(all.begin(), all.begin() + static_cast<long>(level));
    EXPECT_EQ(std::exchange(seen.all, {}), expected);
    sendAll(std::as_const(logger));
    EXPECT_EQ(seen.all, expected);
  }
}

TEST(Logger, BuffersUntilThereIsACallback) {
  ReceivedMessages seen;
  cOxLogger logger(7);
  logger.warnMsg("dropped: no buffer");
  logger.enableBuffer();
  logger.noclMsg(" first\n");
  std::as_const(logger).warnMsg("dropped: const");
  logger.handleBuffer(); // no callback: kept
  logger.errorMsg("second");
  seen.throws = true;
  EXPECT_ANY_THROW(logger.setLoggerCallBack(&seen)); // nothing is lost
  seen.throws = false;
  logger.handleBuffer();
  logger.infoMsg("third");
  logger.handleBuffer(); // empty: nothing twice
  EXPECT_EQ(std::exchange(seen.all, {}), (Lines{"7:first", "3:second", "1:third"}));
}

TEST(Logger, PassesRawTextAndInterruptionOn) {
  ReceivedMessages seen;
  cOxLogger logger(0UL);
  logger << "lost" << std::flush;
  logger.setActionIsInterrupted(true);
  EXPECT_FALSE(logger.checkActionIsInterrupted());
  logger.setLoggerCallBack(&seen);
  logger << std::string(" text\n") << -1L << 'c' << 0.5 << true << ox3::cOxString("ox")
         << std::flush << std::hex << +[](std::ios& s) -> std::ios& { return s; } << 10;
  EXPECT_EQ(seen.raw, " text\n-1c0.51ox\n\n\n10");
  logger.setActionIsInterrupted(true);
  EXPECT_TRUE(logger.checkActionIsInterrupted());
}
