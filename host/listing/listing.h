// The streams of files in the formats that `list` offers.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/boundary/file.h" // IWYU pragma: export

namespace host {

// What is shown of a stream's samples.
struct SampleSummary {
  std::uint64_t found = 0;
  std::optional<double> first; // none when no sample was found
  std::optional<double> last;
  std::string shortfall; // see Samples
};

// One for each stream of a file, or none at all when samples are not asked for.
using SampleSummaries = std::vector<SampleSummary>;

// A format: the opening, what it has of each file with a separator between two, and the closing.
struct Format {
  std::string (*opening)(const Properties& plugin, bool hasSamples);
  // The error is empty unless the file could not be read; then it has a name only.
  std::string (*file)(const File& file, const SampleSummaries& samples, const std::string& error);
  std::string separator;
  std::string closing;
};

// table: aligned columns for people, below a line that names the file.
// json:  every property of every level, once. Numbers that JSON lacks are strings, such as "nan".
// csv:   a row for each stream. Every number but the rate reads back as the same double, and times
//        as the same nanosecond.
const Format& formatNamed(const std::string& name);

} // namespace host
