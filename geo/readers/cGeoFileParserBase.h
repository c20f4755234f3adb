// What the readers share: their members, and the life of one parse.
#pragma once

#include <cstdint>
#include <exception>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "geo/cGeoParserPlugin.h"
#include "geo/readers/cZeroPageAllocator.h"
#include "support/dateAndTime.h"

// A regular file that holds something. A pipe would keep the host waiting for a writer, a device
// for its data, and so can what only looks like a file and says that it is empty, under /proc.
bool isDataFile(const std::string& name);

class cGeoFileParserState {
protected:
  explicit cGeoFileParserState(cGeoParserFile& record) : file(record) {}

  // Opens a data file for binary input; anything else counts as a file that can't be opened.
  static void open(std::ifstream& stream, const std::string& name);

  bool reloadFlag = false; // set by reloadFile; no reader reads it
  std::string fileName;
  std::unique_ptr<char[]> readBuffer;
  std::uint64_t readBufferLength = 0; // valid bytes
  std::uint64_t readBufferCapacity = 0;
  cGeoParserFile& file; // the record that the reader fills; not owned
  std::int32_t entryCount = 0;
  std::int32_t headerSize = 0;
  std::vector<std::int32_t, cZeroPageAllocator<std::int32_t>> entryTable;
};

// `Reader` is the class that derives from this one. It offers
//   int fillSection(cGeoParserSection&)
// which reads `fileName` into the section and returns an ox3::returnCode.
template<class Reader>
class cGeoFileParserBase : protected cGeoFileParserState {
public:
  // Returns an ox3::returnCode: rcFailed when the file is not of the reader's format or can't be
  // read, rcFileFormatRecognized when it is but gives nothing, rcOk when the file record has one
  // more section. Any other result leaves the record's sections as they were, unless there was no
  // memory for one more: the last one is then gone, by intention.
  int parseFile(const std::string& name) {
    fileName = name;
    int code = ox3::rcFailed;
    try {
      file.sections().emplace_back(file);
      code = static_cast<Reader*>(this)->fillSection(file.sections().back());
    } catch (const std::exception&) {
      code = ox3::rcFailed;
    }
    if (code != ox3::rcOk)
      file.popSection();
    return code;
  }

  // As parseFile.
  int reloadFile(const std::string& name) {
    reloadFlag = true;
    return parseFile(name);
  }

protected:
  using cGeoFileParserState::cGeoFileParserState;
};
