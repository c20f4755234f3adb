// Environment variables, and the two enumerations of status codes with their strings.
#pragma once

#include <string>

#include "support/cOxLogger.h"

namespace ox3 {

// Returns the value of an environment variable; an empty string if it is not set. A logger, if
// given, then gets a noclMsg. evaluateEnvironmentVariableImpl does the same.
std::string evaluateEnvironmentVariable(const std::string& name, const cOxLogger* logger);
std::string evaluateEnvironmentVariableImpl(const std::string& name, const cOxLogger* logger);
std::string evaluateEnvironmentVariable(const std::string& name);

// Returns `path` with a leading "~" replaced by $HOME, or removed if HOME is not set. This differs
// from cOxFilePath, which appends a "/" to $HOME, and keeps the "~" if HOME is not set.
std::string evaluateSpecialPath(std::string path, cOxLogger& logger);

// Status of the readers and of the dispatcher. Codes that nothing here uses are part of the
// interface of this unit, as are those of statusCode.
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

// Returns a lower-case string; an empty one for a number that is no returnCode.
std::string convert_return_code_to_string(returnCode code);

// Returns the upper-case string of a statusCode; "-" for a number that is no statusCode.
std::string convert_ox_return_code_to_string(int code);

} // namespace ox3
