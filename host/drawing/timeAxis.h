// The time axes of a file's streams: from which sample on they count, and what they have in common.
#pragma once

#include <vector>

#include "host/boundary/walk.h" // IWYU pragma: export

namespace host {

struct Range {
  double low;
  double high;
};

// Where a stream lies on its axis.
struct TimeAxis {
  bool hasTimes;   // else the axis counts samples: there is no usable interval
  bool isShared;   // with the other streams of the file that have times
  double offset;   // of the first sample, in seconds
  double interval; // between samples, in seconds

  double at(double sample) const noexcept { return hasTimes ? offset + sample * interval : sample; }
};

struct TimeAxes {
  std::vector<TimeAxis> streams; // of each one
  bool areFolded = false;        // two streams lie to each other otherwise than their start times
};

// The streams share an axis that starts at the earliest first sample, unless it would be so long
// that the longest of them could hardly be seen on it. Where every start time fits 32 bits of
// microseconds, it may be what is left of a longer one: then the smallest difference between two of
// them counts.
TimeAxes timeAxes(const std::vector<Stream>& streams);

} // namespace host
