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
// which reads `fileName_` into the section.
template<class Reader>
class cGeoFileParserBase {
public:
  // Returns rcOk when the file record has one more section, rcFileFormatRecognized when the file is
  // of the reader's format but has no data, and rcFailed when it is not of the format or cannot be
  // read. On failure the last section is removed: it is the one that was appended, unless memory
  // ran out before.
  ox3::returnCode parseFile(const std::string& name) {
    fileName_ = name;
    ox3::returnCode code = ox3::rcFailed;
    try {
      file_.sections().emplace_back(file_);
      code = static_cast<Reader*>(this)->fillSection(file_.sections().back());
    } catch (const std::exception&) {
      code = ox3::rcFailed;
    }
    if (code != ox3::rcOk)
      file_.popSection();
    return code;
  }

  // As parseFile.
  ox3::returnCode reloadFile(const std::string& name) {
    reloadFlag_ = true;
    return parseFile(name);
  }

protected:
  explicit cGeoFileParserBase(cGeoParserFile& record) : file_(record) {}

  struct cFree {
    void operator()(void* memory) const noexcept { std::free(memory); }
  };

  bool reloadFlag_ = false; // of the unit's interface: set by reloadFile, read by no reader
  std::string fileName_;
  std::unique_ptr<char[]> readBuffer_;
  std::uint64_t readBufferLength_ = 0; // valid bytes
  std::uint64_t readBufferCapacity_ = 0;
  cGeoParserFile& file_; // the record that the reader fills; not owned
  std::int32_t entryCount_ = 0;
  std::int32_t headerSize_ = 0;
  // No vector: a header of forty bytes can declare a table of 4 GiB, and zeros that calloc hands
  // out take up no memory until they are overwritten.
  std::unique_ptr<std::int32_t[], cFree> entryTable_;
};
