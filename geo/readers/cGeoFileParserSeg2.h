// The SEG-2 reader: opens such a file and declines it.
#pragma once

#include <fstream>

#include "geo/readers/cGeoFileParserBase.h"

class cGeoFileParserSeg2 : public cGeoFileParserBase<cGeoFileParserSeg2> {
public:
  explicit cGeoFileParserSeg2(cGeoParserFile& record) : cGeoFileParserBase(record) {}

  // Always false, the stream untouched: nothing of the layout is decoded.
  bool parseHeader(std::ifstream& /*stream*/) { return false; }

private:
  friend cGeoFileParserBase;
  int fillSection(cGeoParserSection& section);
};
