// What the readers share: their members, and the steps of one parse.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <exception>
#include <memory>
#include <string>

#include "geo/cGeoParserPlugin.h"
#include "support/dateAndTime.h"

// `Reader` is the class that derives from this one. It has a member
//   ox3::returnCode fillSection(cGeoParserSection&)
// which reads `fileName` into the section.
template<class Reader>
class cGeoFileParserBase {
public:
  // Returns rcOk when the file record has one more section, rcFileFormatRecognized when the file is
  // of the reader's format but has no data, and rcFailed when it is not of the format or cannot be
  // read. On failure the last section is removed. If appending itself failed, that is an older
  // section; this is intended.
  ox3::returnCode parseFile(const std::string& name) {
    fileName = name;
    ox3::returnCode code = ox3::rcFailed;
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
  ox3::returnCode reloadFile(const std::string& name) {
    reloadFlag = true;
    return parseFile(name);
  }

protected:
  explicit cGeoFileParserBase(cGeoParserFile& record) : file(record) {}

  struct cFree {
    void operator()(void* memory) const noexcept { std::free(memory); }
  };

  bool reloadFlag = false; // set by reloadFile; no reader reads it
  std::string fileName;
  std::unique_ptr<char[]> readBuffer;
  std::uint64_t readBufferLength = 0; // valid bytes
  std::uint64_t readBufferCapacity = 0;
  cGeoParserFile& file; // the record that the reader fills; not owned
  std::int32_t entryCount = 0;
  std::int32_t headerSize = 0;
  // No vector: a header of forty bytes can declare a table of 4 GiB, and zeros that calloc hands
  // out take up no memory until they are overwritten.
  std::unique_ptr<std::int32_t[], cFree> entryTable;
};
