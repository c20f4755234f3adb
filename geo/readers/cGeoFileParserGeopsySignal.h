// The Geopsy signal reader: recognises such a file by its header and loads nothing of it.
#pragma once

#include <cstdint>
#include <fstream>

#include "geo/readers/cGeoFileParserBase.h"

class cGeoFileParserGeopsySignal : public cGeoFileParserBase<cGeoFileParserGeopsySignal> {
public:
  explicit cGeoFileParserGeopsySignal(cGeoParserFile& record) : cGeoFileParserBase(record) {}

  // Reads a header from where the stream stands; true when it is that of a Geopsy signal file.
  bool parseHeader(std::ifstream& stream);

private:
  friend cGeoFileParserBase;
  int fillSection(cGeoParserSection& section);
  bool readTag(std::ifstream& stream);
  void reserveReadBuffer(std::uint64_t bytes);
};
