#include "host/drawing/timeAxis.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace host {

namespace {

constexpr double kRepetition = 4294.967296; // of start times, in seconds
constexpr double kLongestShare = 10;        // of a shared axis, in lengths of its longest stream

// False where the interval is unknown, damaged, or too small to tell two samples apart.
bool hasTimes(const Stream& stream) {
  return stream.timeOf(1) > stream.start && std::isfinite(stream.timeOf(stream.sampleCount));
}

} // namespace

std::vector<TimeAxis> timeAxes(const std::vector<Stream>& streams) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  std::vector<TimeAxis> axes;
  double earliest = kInfinity;
  double latest = -kInfinity;
  double longest = 0;
  const Stream* reference = nullptr;
  for (const Stream& stream : streams) {
    axes.push_back({hasTimes(stream), false, 0, stream.interval});
    if (!axes.back().hasTimes)
      continue;
    reference = reference ? reference : &stream;
    axes.back().offset = std::remainder(stream.start - reference->start, kRepetition);
    const double length = static_cast<double>(stream.sampleCount) * stream.interval;
    earliest = std::min(earliest, axes.back().offset);
    latest = std::max(latest, axes.back().offset + length);
    longest = std::max(longest, length);
  }
  const bool isShared = latest - earliest <= kLongestShare * longest;
  for (TimeAxis& axis : axes) {
    axis.isShared = axis.hasTimes && isShared;
    axis.offset = axis.isShared ? axis.offset - earliest : 0;
  }
  return axes;
}

} // namespace host
