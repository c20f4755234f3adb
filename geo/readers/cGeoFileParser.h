// The dispatcher: decides which reader parses a file and which one delivers its samples.
#pragma once

#include <string>

#include "geo/cGeoParserPlugin.h"
#include "support/dateAndTime.h"

// A short-lived object: one for each parse request and one for each copy.
class cGeoFileParser {
public:
  // Fills `file` from the file `name`: tries readers, that of the extension first, until one
  // returns a final code. The type geo_file_seg2 puts that reader first; any other type changes
  // nothing. Returns rcOk, rcPartlyParsed, rcFailed or rcFileNotFound; message() then states the
  // outcome.
  int parse(cGeoParserFile& file, std::string name, geoFileParser::geo_file_type type);

  // Copies the first `count` samples of a variable of `file`. Returns rcOk when all were found,
  // else rcFailed.
  int copyVariableDataDouble(cGeoParserFile& file, cGeoParserSection& section, int variable,
                             double* buffer, int count);

  // True when `code`, returned by a reader, ends the search. The message then states the outcome,
  // and a format that was recognised but not loaded becomes rcFailed.
  bool printErrorMessageAndQuit(const std::string& name, ox3::returnCode& code);

  // A Geopsy signal file may have any extension.
  bool checkGeopsySignalExtension(const std::string& /*extension*/) const { return true; }

  // Empty before the first parse.
  const std::string& message() const noexcept { return message_; }

private:
  std::string message_;
};
