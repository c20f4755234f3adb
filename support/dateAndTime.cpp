#include "support/dateAndTime.h"

#include <cstdlib>

#include "support/cOxString.h"

namespace ox3 {

std::string evaluateEnvironmentVariable(const std::string& name, const cOxLogger* logger) {
  if (const char* value = std::getenv(name.c_str()))
    return value;
  if (logger)
    logger->noclMsg("Could not resolve system variable \"" + name + "\" .");
  return "";
}

std::string evaluateEnvironmentVariableImpl(const std::string& name, const cOxLogger* logger) {
  return evaluateEnvironmentVariable(name, logger);
}

std::string evaluateEnvironmentVariable(const std::string& name) {
  return evaluateEnvironmentVariable(name, nullptr);
}

std::string evaluateSpecialPath(std::string path, cOxLogger& logger) {
  if (path.starts_with('~'))
    oxString::replace_string_first(path, "~", evaluateEnvironmentVariableImpl("HOME", &logger));
  return path;
}

std::string convert_return_code_to_string(returnCode code) {
  switch (code) {
  case rcOk:
    return "ok";
  case rcPartiallyOk:
    return "partially ok";
  case rcIncompatible:
    return "incompatible";
  case rcFailed:
    return "failed";
  case rcFileNotFound:
    return "file not found";
  case rcParserError:
    return "parser error";
  case rcConvergence:
    return "convergence";
  case rcNoConvergence:
    return "no convergence";
  case rcDivergence:
    return "divergence";
  case rcNothingToDo:
    return "nothing to do";
  case rcDone:
    return "done";
  case rcCouldNotOpenFile:
    return "could not open file";
  case rcNotFound:
    return "not found";
  case rcBadFileFormat:
    return "bad file format";
  case rcDbAccessFailed:
    return "db access failed";
  case rcPartlyParsed:
    return "partly parsed";
  case rcFileFormatRecognized:
    return "file format recognized";
  case rcUndefinedStatus:
    return "undefined status";
  case rcTimeout:
    return "timeout";
  case rcDeserializationFailed:
    return "deserialization failed";
  case rcSerializationFailed:
    return "serialization failed";
  case rcEncodingFailed:
    return "encodeing failed";
  case rcDecodingFailed:
    return "decoding failed";
  case rcPartialTransmission:
    return "partial transmission";
  case rcChecksumError:
    return "checksum error";
  case rcActionInterrupted:
    return "action interrupted";
  case rcQueued:
    return "queued";
  case rcBadFunctionArguments:
    return "bad function arguments";
  }
  return "";
}

std::string convert_ox_return_code_to_string(int code) {
  switch (static_cast<statusCode>(code)) {
  case scOk:
    return "OK";
  case scError:
    return "ERROR";
  case scFileNotFound:
    return "FILE NOT FOUND";
  case scParseFailed:
    return "PARSE FAILED";
  case scBadParserIndex:
    return "BAD PARSER INDEX";
  case scBadName:
    return "BAD NAME";
  case scBadSelection:
    return "BAD SELECTION";
  case scBadIndex:
    return "BAD INDEX";
  case scBadFunctionArguments:
    return "BAD FUNCTION ARGUMENTS";
  case scTimeout:
    return "TIMEOUT";
  case scQueued:
    return "QUEUED";
  case scBadPointer:
    return "BAD POINTER";
  case scThreadError:
    return "THREAD ERROR";
  case scInterrupted:
    return "INTERRUPTED";
  }
  return "-";
}

} // namespace ox3
