#include "host/drawing/decimate.h"

#include <cmath>
#include <limits>
#include <utility>

namespace host {

namespace {

// Appends the extremes of the samples from `first` to before `last`.
void appendExtremes(std::vector<Point>& points, std::span<const double> samples, uint64_t first,
                    uint64_t last) {
  Point smallest{first, std::numeric_limits<double>::infinity()};
  Point largest{first, -std::numeric_limits<double>::infinity()};
  for (uint64_t i = first; i < last; ++i) {
    const double value = samples[i];
    if (!std::isfinite(value))
      continue;
    if (value < smallest.value)
      smallest = {i, value};
    if (value > largest.value)
      largest = {i, value};
  }
  if (smallest.value > largest.value) { // nothing finite
    points.push_back({first, std::numeric_limits<double>::quiet_NaN()});
    return;
  }
  if (smallest.sample > largest.sample)
    std::swap(smallest, largest);
  points.push_back(smallest);
  if (smallest.sample != largest.sample)
    points.push_back(largest);
}

} // namespace

std::vector<Point> decimate(std::span<const double> samples, uint64_t columns) {
  std::vector<Point> points;
  if (samples.size() <= 2 * columns) {
    for (uint64_t i = 0; i < samples.size(); ++i)
      points.push_back({i, samples[i]});
    return points;
  }
  points.reserve(2 * columns);
  for (uint64_t column = 0; column < columns; ++column)
    appendExtremes(points, samples, samples.size() * column / columns,
                   samples.size() * (column + 1) / columns);
  return points;
}

} // namespace host
