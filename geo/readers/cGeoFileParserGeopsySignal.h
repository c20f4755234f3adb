// The Geopsy signal reader: recognises a file of this format by its header and loads none of it.
#pragma once

#include <cstdint>
#include <fstream>

#include "geo/cGeoParserPlugin.h"
#include "geo/readers/cGeoFileParserBase.h"
#include "support/dateAndTime.h"

class cGeoFileParserGeopsySignal : public cGeoFileParserBase<cGeoFileParserGeopsySignal> {
public:
  explicit cGeoFileParserGeopsySignal(cGeoParserFile& record) : cGeoFileParserBase(record) {}

  // Reads a header from the stream's position; true when it is that of a Geopsy signal file.
  bool parseHeader(std::ifstream& stream);

private:
  friend cGeoFileParserBase;
  ox3::returnCode fillSection(cGeoParserSection& section);
  bool readTag(std::ifstream& stream);
  void reserveReadBuffer(std::uint64_t bytes);
};
