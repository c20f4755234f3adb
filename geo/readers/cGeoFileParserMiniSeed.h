// How miniSEED becomes a section and its samples doubles.
//
// A parse reads the headers of all records and makes one section of them, with one variable per
// stream: its name, its number of samples, and the rate and start of its first record. No samples
// are kept. A copy reads the file again, decodes the records of one stream, and converts their
// samples to doubles. The records come from libmseed, through cRecordStream.
#pragma once

#include "geo/cGeoParserPlugin.h"
#include "geo/readers/cDataFile.h"
#include "geo/readers/cGeoFileParserBase.h"
#include "support/dateAndTime.h"

class cGeoFileParserMiniSeed : public cGeoFileParserBase<cGeoFileParserMiniSeed> {
public:
  explicit cGeoFileParserMiniSeed(cGeoParserFile& record) : cGeoFileParserBase(record) {}

  // True when the file can be miniSEED: its first twenty bytes are text.
  bool checkFileHeader();

  // Adds the streams of the file to the section; false when libmseed reports an error.
  bool parseHeader(cGeoParserSection& section);

  // Stores the first `count` samples of a variable, in the order of the file; gaps are not filled.
  // Returns false, with the samples found stored, when there are fewer or the file cannot be read
  // to its end. Returns false, with nothing stored, for an index out of range and for a null
  // `samples` with a positive `count`. A negative count stores nothing.
  bool copyVariableDataDouble(cGeoParserSection& section, int variable, double* samples, int count);

private:
  friend cGeoFileParserBase;
  ox3::returnCode fillSection(cGeoParserSection& section);
  static bool checkFileHeader(cDataFile& data);
  static bool parseHeader(cDataFile& data, cGeoParserSection& section);
};
