// Fewer points for a picture than there are samples.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace host {

struct Point {
  double sample; // its number; between two samples for the middle of a column
  double value;
};

// The points of a line through the samples, a stroke for each of `columns` equal parts of them: all
// points of a part stand in its middle, the first finite sample, the smallest, the largest and the
// last, so that strokes of neighbours are connected and a spike of one sample stays. A part without
// a finite sample gives one point that is NaN. No more than two samples for each column are
// returned as they are.
std::vector<Point> decimate(std::span<const double> samples, uint64_t columns);

} // namespace host
