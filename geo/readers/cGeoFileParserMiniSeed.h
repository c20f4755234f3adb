// The miniSEED reader: one section of a file, one variable per data stream; samples are read anew
// from the file each time they are asked for.
#pragma once

#include "geo/readers/cGeoFileParserBase.h"

// libmseed keeps one reading state per process: no two parses or copies may run at once, in
// whichever objects.
class cGeoFileParserMiniSeed : public cGeoFileParserBase<cGeoFileParserMiniSeed> {
public:
  explicit cGeoFileParserMiniSeed(cGeoParserFile& record) : cGeoFileParserBase(record) {}

  // Whether the file could be miniSEED at all: its first twenty bytes are text.
  bool checkFileHeader();

  // Fills the section from the headers of the file's records; false when libmseed reports an error.
  bool parseHeader(cGeoParserSection& section);

  // Stores the first `count` samples of a variable, in file order and without holes. False, with
  // the samples found stored, when there are fewer or the file can't be read to its end; false,
  // with nothing stored, for a bad index and for a null `samples` with a positive `count`. A
  // negative count stores nothing.
  bool copyVariableDataDouble(cGeoParserSection& section, int variable, double* samples, int count);

private:
  friend cGeoFileParserBase;
  int fillSection(cGeoParserSection& section);
};
