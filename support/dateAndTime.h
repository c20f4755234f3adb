// Environment variables, and the library's status codes with their texts.
#pragma once

#include <string>

#include "support/cOxLogger.h"

namespace ox3 {

// The value of an environment variable, empty when it is not set; `logger`, unless null, is then
// told. The two names mean the same.
std::string evaluateEnvironmentVariable(const std::string& name, const cOxLogger* logger);
std::string evaluateEnvironmentVariableImpl(const std::string& name, const cOxLogger* logger);
std::string evaluateEnvironmentVariable(const std::string& name);

// `path` with a leading "~" replaced by $HOME, by nothing when that is not set. cOxFilePath expands
// it differently.
std::string evaluateSpecialPath(std::string path, cOxLogger& logger);

// What readers and the dispatcher answer. 17 is no code.
enum returnCode : int {
  rcOk = 0,
  rcPartiallyOk = 1,
  rcIncompatible = 2,
  rcFailed = 3,
  rcFileNotFound = 4,
  rcParserError = 5,
  rcConvergence = 6,
  rcNoConvergence = 7,
  rcDivergence = 8,
  rcNothingToDo = 9,
  rcDone = 10,
  rcCouldNotOpenFile = 11,
  rcNotFound = 12,
  rcBadFileFormat = 13,
  rcDbAccessFailed = 14,
  rcPartlyParsed = 15,
  rcFileFormatRecognized = 16,
  rcUndefinedStatus = 18,
  rcTimeout = 19,
  rcDeserializationFailed = 20,
  rcSerializationFailed = 21,
  rcEncodingFailed = 22,
  rcDecodingFailed = 23,
  rcPartialTransmission = 24,
  rcChecksumError = 25,
  rcActionInterrupted = 26,
  rcQueued = 27,
  rcBadFunctionArguments = 28
};

// 4 is no code.
enum statusCode : int {
  scOk = 0,
  scError = 1,
  scFileNotFound = 2,
  scParseFailed = 3,
  scBadParserIndex = 5,
  scBadName = 6,
  scBadSelection = 7,
  scBadIndex = 8,
  scBadFunctionArguments = 9,
  scTimeout = 10,
  scQueued = 11,
  scBadPointer = 12,
  scThreadError = 13,
  scInterrupted = 14
};

// Lower case; empty for what is no code.
std::string convert_return_code_to_string(returnCode code);

// The text of a statusCode, in upper case; "-" for what is no code.
std::string convert_ox_return_code_to_string(int code);

} // namespace ox3
