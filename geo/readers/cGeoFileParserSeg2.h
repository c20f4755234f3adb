// The SEG-2 reader: opens such a file and declines it.
#pragma once

#include <fstream>

#include "geo/cGeoParserPlugin.h"
#include "geo/readers/cGeoFileParserBase.h"
#include "support/dateAndTime.h"

class cGeoFileParserSeg2 : public cGeoFileParserBase<cGeoFileParserSeg2> {
public:
  explicit cGeoFileParserSeg2(cGeoParserFile& record) : cGeoFileParserBase(record) {}

  // Returns false and leaves the stream as it was: nothing of the layout is decoded.
  bool parseHeader(std::ifstream& /*stream*/) { return false; }

private:
  friend cGeoFileParserBase;
  ox3::returnCode fillSection(cGeoParserSection& section);
};
