// The samples of one stream, copied through the boundary.
#pragma once

#include <climits>
#include <cstdint>
#include <string>
#include <vector>

#include "host/boundary/walk.h"

namespace host {

// A copy's size in bytes is an int, and a copy always starts at the first sample.
inline constexpr uint64_t kMostSamplesOfACopy = INT_MAX / sizeof(double);

// A NaN that no recording holds: a slot that still reads so after a copy was not written to.
double unwrittenMark() noexcept;
bool isUnwritten(double value) noexcept;

struct Samples {
  std::vector<double> values; // the samples that were found
  uint64_t declared = 0;      // by the file

  // What is missing and why, for people; empty when nothing is.
  std::string shortfall() const;
};

// Copies as many samples of the stream as one copy holds. A stream that is not deliverable has
// none.
Samples copySamples(const Plugin& plugin, const FileRecord& file, const StreamRecord& stream);

} // namespace host
