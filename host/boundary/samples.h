// The samples of one stream, copied through the boundary.
#pragma once

#include <climits>
#include <cstdint>
#include <string>
#include <vector>

#include "host/boundary/walk.h" // IWYU pragma: export

namespace host {

// The size of a copy in bytes is an int, and a copy always starts at the first sample.
inline constexpr uint64_t kMostSamplesOfACopy = INT_MAX / sizeof(double);

// A NaN that no recording holds: an element that still has this value after a copy was not written.
double unwrittenMark() noexcept;
bool isUnwritten(double value) noexcept;
// Drops the marks at the end. A sample in front of them that happens to equal the mark stays.
void dropUnwritten(std::vector<double>& values) noexcept;

struct Samples {
  std::vector<double> values; // the samples that were found
  uint64_t declared = 0;      // by the stream

  // What is missing and why, for people; empty when nothing is.
  std::string shortfall() const;
};

// Copies as many samples of the stream as one copy holds. A stream that is not deliverable has and
// declares none. Memory is taken for what the file can hold, not for what it declares. Throws Error
// when the stream declares samples and none is found: the file is gone or cannot be read.
Samples copySamples(const Plugin& plugin, const File& file, const Stream& stream);

} // namespace host
