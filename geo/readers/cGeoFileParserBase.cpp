#include "geo/readers/cGeoFileParserBase.h"

#include <sys/stat.h>

bool isDataFile(const std::string& name) {
  struct stat status = {};
  return stat(name.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0;
}

void cGeoFileParserState::open(std::ifstream& stream, const std::string& name) {
  if (isDataFile(name))
    stream.open(name, std::ios::in | std::ios::binary);
  else
    stream.setstate(std::ios::failbit);
}
