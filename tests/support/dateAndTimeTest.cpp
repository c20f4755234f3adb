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
  setEnvironment({"HOME=/h"});
  EXPECT_EQ(ox3::evaluateSpecialPath("~x~", logger), "/hx~");
  EXPECT_EQ(ox3::evaluateSpecialPath("x~", logger), "x~");
  setEnvironment({"HOME"});
  EXPECT_EQ(ox3::evaluateSpecialPath("~x~", logger), "x~");
  EXPECT_EQ(ox3::evaluateEnvironmentVariable("HOME"), "");
  EXPECT_EQ(seen.all, Lines{"7:Could not resolve system variable \"HOME\" ."});
}

TEST(StatusCode, HasAStringOnlyInItsTable) {
  for (const int code : {-1, 17, 29})
    EXPECT_EQ(ox3::convert_return_code_to_string(static_cast<ox3::returnCode>(code)), "") << code;
  EXPECT_EQ(ox3::convert_return_code_to_string(ox3::rcEncodingFailed), "encodeing failed");
  for (const int code : {-1, 4, 15})
    EXPECT_EQ(ox3::convert_ox_return_code_to_string(code), "-") << code;
  EXPECT_EQ(ox3::convert_ox_return_code_to_string(ox3::scInterrupted), "INTERRUPTED");
}
