#include "host/drawing/decimate.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace host {

namespace {

void appendColumn(std::vector<Point>& points, std::span<const double> samples, double middle) {
  const auto isFinite = [](double value) { return std::isfinite(value); };
  const auto first = std::find_if(samples.begin(), samples.end(), isFinite);
  if (first == samples.end()) {
    points.push_back({middle, std::numeric_limits<double>::quiet_NaN()});
    return;
  }
  double smallest = *first;
  double largest = *first;
  double last = *first;
  for (const double value : samples) {
    if (!std::isfinite(value))
      continue;
    smallest = std::min(smallest, value);
    largest = std::max(largest, value);
    last = value;
  }
  points.push_back({middle, *first});
  for (const double value : {smallest, largest, last})
    if (value != points.back().value)
      points.push_back({middle, value});
}

} // namespace

std::vector<Point> decimate(std::span<const double> samples, uint64_t columns) {
  std::vector<Point> points;
  if (samples.size() <= 2 * columns) {
    for (size_t i = 0; i < samples.size(); ++i)
      points.push_back({static_cast<double>(i), samples[i]});
    return points;
  }
  for (uint64_t column = 0; column < columns; ++column) {
    const size_t first = samples.size() * column / columns;
    const size_t end = samples.size() * (column + 1) / columns;
    appendColumn(points, samples.subspan(first, end - first),
                 static_cast<double>(first + end - 1) / 2);
  }
  return points;
}

} // namespace host
