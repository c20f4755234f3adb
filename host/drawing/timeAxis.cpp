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

bool fits32Bits(const Stream& stream) {
  return stream.start >= -kRepetition / 2 && stream.start < kRepetition / 2;
}

} // namespace

TimeAxes timeAxes(const std::vector<Stream>& streams) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  const bool isFolding = std::all_of(streams.begin(), streams.end(), fits32Bits);
  TimeAxes axes;
  double earliest = kInfinity;
  double latest = -kInfinity;
  double longest = 0;
  const Stream* reference = nullptr;
  for (const Stream& stream : streams) {
    axes.streams.push_back({hasTimes(stream), false, 0, stream.interval});
    TimeAxis& axis = axes.streams.back();
    if (!axis.hasTimes)
      continue;
    reference = reference ? reference : &stream;
    const double difference = stream.start - reference->start;
    axis.offset = isFolding ? std::remainder(difference, kRepetition) : difference;
    axes.areFolded |= axis.offset != difference;
    const double length = static_cast<double>(stream.sampleCount) * stream.interval;
    earliest = std::min(earliest, axis.offset);
    latest = std::max(latest, axis.offset + length);
    longest = std::max(longest, length);
  }
  const bool isShared = latest - earliest <= kLongestShare * longest;
  axes.areFolded &= isShared;
  for (TimeAxis& axis : axes.streams) {
    axis.isShared = axis.hasTimes && isShared;
    axis.offset = axis.isShared ? axis.offset - earliest : 0;
  }
  return axes;
}

} // namespace host
