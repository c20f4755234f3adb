// Environment variables and status codes.
#include "support/dateAndTime.h"

#include <string>

#include <gtest/gtest.h>

#include "support/cOxLogger.h"
#include "tests/support/fixture.h"

TEST(EnvironmentVariable, SpecialPathDiffersFromThePathClass) {
  ReceivedMessages seen;
  ox3::cOxLogger logger(7);
  logger.setLoggerCallBack(&seen);
  const Environment home({"HOME=/h"});
  EXPECT_EQ(ox3::evaluateSpecialPath("~x~", logger), "/hx~");
  EXPECT_EQ(ox3::evaluateSpecialPath("x~", logger), "x~");
  const Environment none({"HOME"});
  EXPECT_EQ(ox3::evaluateSpecialPath("~x~", logger), "x~");
  EXPECT_EQ(seen.all, Lines{"7:Could not resolve system variable \"HOME\" ."});
}

TEST(StatusCode, OtherNumbersHaveTheirOwnString) {
  EXPECT_EQ(ox3::convert_return_code_to_string(static_cast<ox3::returnCode>(17)), "");
  EXPECT_EQ(ox3::convert_ox_return_code_to_string(4), "-");
}
