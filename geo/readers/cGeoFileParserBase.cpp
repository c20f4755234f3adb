#include "geo/readers/cGeoFileParserBase.h"

#include <sys/stat.h>

void cGeoFileParserState::open(std::ifstream& stream, const std::string& name) {
  struct stat status = {};
  const bool openable =
      stat(name.c_str(), &status) == 0 && (S_ISREG(status.st_mode) || S_ISDIR(status.st_mode));
  if (openable)
    stream.open(name, std::ios::in | std::ios::binary);
  else
    stream.setstate(std::ios::failbit);
}
