// Fewer points for a picture than there are samples.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace host {

struct Point {
  uint64_t sample; // its number in the stream
  double value;
};

// The smallest and the largest sample of each of `columns` equal parts of the stream, in order of
// their appearance, so that a spike of one sample stays. A part without a finite sample gives one
// point that is NaN. A stream of no more than two samples a column is returned whole.
std::vector<Point> decimate(std::span<const double> samples, uint64_t columns);

} // namespace host
