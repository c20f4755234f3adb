// The streams of a file in the three shapes that `list` offers.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/base/output.h"
#include "host/boundary/walk.h"

namespace host {

// What is shown of a stream's samples.
struct SampleSummary {
  uint64_t found = 0;
  std::optional<double> first; // none when no sample was found
  std::optional<double> last;
  std::string shortfall; // see Samples
};

struct ListedFile {
  FileRecord record;
  std::vector<SampleSummary> samples; // of each stream
};

// Copies every stream in turn; holds the samples of one at a time.
ListedFile summarize(const Plugin& plugin, FileRecord record);

// One shape. The calls come in the order: begin, then a file or a failure each, then end.
class Listing {
public:
  virtual ~Listing() = default;
  virtual void begin(const Properties& /*plugin*/) {}
  virtual void file(const ListedFile& file) = 0;
  virtual void failure(const std::string& /*path*/, const std::string& /*reason*/) {}
  virtual void end() {}
};

// Aligned columns for people.
std::unique_ptr<Listing> tableListing(Output& output);
// One row a stream, every number so that it reads back as the same double.
std::unique_ptr<Listing> csvListing(Output& output);
// Every property of every level. Numbers that JSON lacks are texts, such as "nan" and "inf".
std::unique_ptr<Listing> jsonListing(Output& output);

} // namespace host
