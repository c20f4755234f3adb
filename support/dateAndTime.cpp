#include "support/dateAndTime.h"

#include <cstdlib>
#include <span>

#include "support/cOxLogger.h"
#include "support/cOxString.h"

namespace ox3 {

namespace {

struct cCodeString {
  int code;
  const char* string;
};

constexpr cCodeString kReturnCodeStrings[] = {
    {rcOk, "ok"},
    {rcPartiallyOk, "partially ok"},
    {rcIncompatible, "incompatible"},
    {rcFailed, "failed"},
    {rcFileNotFound, "file not found"},
    {rcParserError, "parser error"},
    {rcConvergence, "convergence"},
    {rcNoConvergence, "no convergence"},
    {rcDivergence, "divergence"},
    {rcNothingToDo, "nothing to do"},
    {rcDone, "done"},
    {rcCouldNotOpenFile, "could not open file"},
    {rcNotFound, "not found"},
    {rcBadFileFormat, "bad file format"},
    {rcDbAccessFailed, "db access failed"},
    {rcPartlyParsed, "partly parsed"},
    {rcFileFormatRecognized, "file format recognized"},
    {rcUndefinedStatus, "undefined status"},
    {rcTimeout, "timeout"},
    {rcDeserializationFailed, "deserialization failed"},
    {rcSerializationFailed, "serialization failed"},
    {rcEncodingFailed, "encodeing failed"}, // misspelt, and kept: programs compare it
    {rcDecodingFailed, "decoding failed"},
    {rcPartialTransmission, "partial transmission"},
    {rcChecksumError, "checksum error"},
    {rcActionInterrupted, "action interrupted"},
    {rcQueued, "queued"},
    {rcBadFunctionArguments, "bad function arguments"},
};

constexpr cCodeString kStatusCodeStrings[] = {
    {scOk, "OK"},
    {scError, "ERROR"},
    {scFileNotFound, "FILE NOT FOUND"},
    {scParseFailed, "PARSE FAILED"},
    {scBadParserIndex, "BAD PARSER INDEX"},
    {scBadName, "BAD NAME"},
    {scBadSelection, "BAD SELECTION"},
    {scBadIndex, "BAD INDEX"},
    {scBadFunctionArguments, "BAD FUNCTION ARGUMENTS"},
    {scTimeout, "TIMEOUT"},
    {scQueued, "QUEUED"},
    {scBadPointer, "BAD POINTER"},
    {scThreadError, "THREAD ERROR"},
    {scInterrupted, "INTERRUPTED"},
};

// Returns `otherwise` for a code that the table does not list.
std::string findString(std::span<const cCodeString> table, int code, const char* otherwise) {
  for (const cCodeString& entry : table)
    if (entry.code == code)
      return entry.string;
  return otherwise;
}

} // namespace

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
  return findString(kReturnCodeStrings, code, "");
}

std::string convert_ox_return_code_to_string(int code) {
  return findString(kStatusCodeStrings, code, "-");
}

} // namespace ox3
