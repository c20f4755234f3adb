#include "geo/readers/cGeoFileParserSeg2.h"

int cGeoFileParserSeg2::fillSection(cGeoParserSection& /*section*/) {
  std::ifstream stream;
  open(stream, fileName);
  stream.close();
  return ox3::rcFailed;
}
