#include "geo/readers/cGeoFileParser.h"

#include <span>

#include "geo/cGeoParserPlugin.h"
#include "geo/readers/cGeoFileParserGeopsySignal.h"
#include "geo/readers/cGeoFileParserMiniSeed.h"
#include "geo/readers/cGeoFileParserSeg2.h"
#include "support/cOxFilePath.h"
#include "support/dateAndTime.h"

namespace {

// One attempt: a reader that lives as long as the call.
template<class Reader>
ox3::returnCode parseWith(cGeoParserFile& file, const std::string& name) {
  return Reader(file).parseFile(name);
}

using Attempt = ox3::returnCode (*)(cGeoParserFile&, const std::string&);
constexpr Attempt kSeg2 = parseWith<cGeoFileParserSeg2>;
constexpr Attempt kGeopsySignal = parseWith<cGeoFileParserGeopsySignal>;
constexpr Attempt kMiniSeed = parseWith<cGeoFileParserMiniSeed>;

// The order of the attempts. A file named like SEG-2 is never read as miniSEED. One named like
// miniSEED that no reader takes is read as such twice. Kept as it is, since hosts rely on it.
constexpr Attempt kSeg2First[] = {kSeg2, kGeopsySignal};
constexpr Attempt kMiniSeedFirst[] = {kMiniSeed, kGeopsySignal, kSeg2, kMiniSeed};
constexpr Attempt kGeopsySignalFirst[] = {kGeopsySignal, kSeg2, kMiniSeed};

std::span<const Attempt> attemptsFor(geoFileParser::geo_file_type type,
                                     const std::string& extension) {
  if (type == geoFileParser::geo_file_seg2 || extension == ".seg2" || extension == ".dat")
    return kSeg2First;
  if (extension == ".mseed" || extension == ".msd")
    return kMiniSeedFirst;
  return kGeopsySignalFirst;
}

std::string successMessage(const std::string& name) {
  return "The file \"" + name + "\" was parsed succesfully.";
}

std::string partialMessage(const std::string& name) {
  return "The file \"" + name + "\" was parsed only partially .";
}

std::string failureMessage(const std::string& name) {
  return "Failed to parse the file \"" + name + "\".";
}

std::string missingFileMessage(const std::string& name) {
  return "The file \"" + name + "\" does not exist.";
}

} // namespace

int cGeoFileParser::parse(cGeoParserFile& file, std::string name,
                          geoFileParser::geo_file_type type) {
  ox3::cOxFilePath path(name);
  if (!path.exists()) {
    message_ = missingFileMessage(name);
    return ox3::rcFileNotFound;
  }
  name = path.name();
  file.setFileName(name);

  const std::span<const Attempt> attempts = attemptsFor(type, path.extensionLowerCase());
  for (const Attempt parseFile : attempts) {
    ox3::returnCode code = parseFile(file, name);
    if (printErrorMessageAndQuit(name, code))
      return code;
  }
  message_ = failureMessage(name);
  return ox3::rcFailed;
}

bool cGeoFileParser::printErrorMessageAndQuit(const std::string& name, ox3::returnCode& code) {
  switch (code) {
  case ox3::rcOk:
    message_ = successMessage(name);
    return true;
  case ox3::rcPartlyParsed:
    message_ = partialMessage(name);
    return true;
  case ox3::rcFileFormatRecognized:
    message_ = failureMessage(name);
    code = ox3::rcFailed;
    return true;
  default:
    return false; // not the reader's format: the next reader tries
  }
}

int cGeoFileParser::copyVariableDataDouble(cGeoParserFile& file, cGeoParserSection& section,
                                           int variable, double* buffer, int count) {
  if (file.fileType != geoFileParser::geo_file_miniseed)
    return ox3::rcFailed;
  cGeoFileParserMiniSeed reader(file);
  return reader.copyVariableDataDouble(section, variable, buffer, count) ? ox3::rcOk
                                                                         : ox3::rcFailed;
}
