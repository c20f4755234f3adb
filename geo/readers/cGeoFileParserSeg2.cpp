#include "geo/readers/cGeoFileParserSeg2.h"

#include "geo/cGeoParserPlugin.h"
#include "geo/readers/cDataFile.h"
#include "support/dateAndTime.h"

ox3::returnCode cGeoFileParserSeg2::fillSection(cGeoParserSection& /*section*/) {
  const cDataFile openedAndClosed(fileName_);
  return ox3::rcFailed;
}
