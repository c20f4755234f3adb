// The streams of a file in the three formats that `list` offers.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/base/output.h"   // IWYU pragma: export
#include "host/boundary/walk.h" // IWYU pragma: export

namespace host {

// What is shown of a stream's samples.
struct SampleSummary {
  uint64_t found = 0;
  std::optional<double> first; // none when no sample was found
  std::optional<double> last;
  std::string shortfall; // see Samples
};

// One for each stream of a file, or none at all when samples are not asked for.
using SampleSummaries = std::vector<SampleSummary>;

// One format. The calls come in the order: begin, then a file or a failure each, then end. Each
// call writes at once, so that an interrupted listing has the files that were done.
class Listing {
public:
  virtual ~Listing() = default;
  virtual void begin(const Properties& /*plugin*/) {}
  virtual void file(const File& file, const SampleSummaries& samples) = 0;
  virtual void failure(const std::string& /*path*/, const std::string& /*reason*/) {}
  virtual void end() {}
};

// Aligned columns for people, below a line that names the file.
std::vector<std::string> tableLines(const File& file, const SampleSummaries& samples);
// The same, with an empty line between two files.
std::unique_ptr<Listing> tableListing(Output& output);
// One row for each stream. Every number but the rate reads back as the same double, and times as
// the same nanosecond.
std::unique_ptr<Listing> csvListing(Output& output, bool hasSamples);
// Every property of every level. Numbers that JSON lacks are strings, such as "nan" and "inf".
std::unique_ptr<Listing> jsonListing(Output& output);

} // namespace host
