#include "host/drawing/panels.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

#include <fmt/format.h>

#include "host/base/messages.h"

namespace host {

namespace {

constexpr double kRepetition = 4294.967296; // of start times, in seconds
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kHour = 3600;     // seconds
constexpr double kTouching = 1e-6; // seconds; starts are in microseconds

// False where the interval is unknown, damaged, or too small to tell two samples apart.
bool hasTimes(const Stream& stream) {
  return stream.start() + stream.interval() > stream.start() && std::isfinite(stream.end());
}

bool fits32Bits(const Stream& stream) {
  return stream.start() >= -kRepetition / 2 && stream.start() < kRepetition / 2;
}

// REQUIRES: there is a range.
bool coverOneRange(std::vector<Range> ranges) {
  std::ranges::sort(ranges, {}, &Range::low);
  double reached = ranges[0].low;
  for (const Range& range : ranges) {
    if (range.low > reached + kTouching)
      return false;
    reached = std::max(reached, range.high);
  }
  return true;
}

void appendColumn(std::vector<Point>& points, std::span<const double> samples, double middle) {
  std::vector<double> finite;
  std::copy_if(samples.begin(), samples.end(), std::back_inserter(finite),
               [](double value) { return std::isfinite(value); });
  if (finite.empty()) {
    points.push_back({middle, std::numeric_limits<double>::quiet_NaN()});
    return;
  }
  const auto [smallest, largest] = std::minmax_element(finite.begin(), finite.end());
  for (const double value : {finite.front(), *smallest, *largest, finite.back()})
    points.push_back({middle, value});
}

// The finite samples of the window.
void addPoints(Panel& panel, const TimeAxis& axis, const Window& window, const Samples& samples,
               std::uint64_t columns) {
  const auto size = static_cast<double>(samples.values.size());
  std::size_t first = 0;
  std::size_t end = samples.values.size();
  if (axis.hasTimes) {
    const auto sampleAt = [&](double time) { return (time - axis.offset) / axis.interval; };
    first = static_cast<std::size_t>(std::clamp(std::ceil(sampleAt(window.from)), 0.0, size));
    end = static_cast<std::size_t>(std::clamp(std::floor(sampleAt(window.to)) + 1, 0.0, size));
  }
  const std::span<const double> all = samples.values;
  const auto chosen = all.subspan(first, std::max(first, end) - first);
  panel.hasSamples = !chosen.empty();
  bool isRun = false; // whether the last point was finite
  for (const Point& point : decimate(chosen, columns)) {
    const bool isNewRun = !std::exchange(isRun, std::isfinite(point.value));
    if (!isRun)
      continue;
    if (isNewRun)
      panel.runs.emplace_back();
    panel.runs.back().push_back({axis.at(static_cast<double>(first) + point.x), point.value});
    panel.y.low = std::min(panel.y.low, point.value);
    panel.y.high = std::max(panel.y.high, point.value);
  }
}

Panel makePanel(const Stream& stream, const TimeAxis& axis, const Window& window,
                const Samples& samples, std::uint64_t columns) {
  Panel panel;
  panel.title = stream.name();
  // Beside the axis it would cover numbers.
  if (const std::string& label = stream.get(ox_wp_prop_variable_y_label).string; !label.empty())
    panel.title += " [" + label + ']';
  panel.hasTimes = axis.hasTimes;
  panel.y = {kInfinity, -kInfinity};
  panel.xLabel = axis.hasTimes ? stream.get(ox_wp_prop_variable_x_label).string : "sample number";
  const auto count = static_cast<double>(samples.values.size());
  // A single sample is drawn in the middle.
  panel.x = {axis.at(count > 1 ? 0 : -1), axis.at(std::max(1.0, count))};
  if (axis.hasTimes)
    panel.x = {std::max(panel.x.low, window.from), std::min(panel.x.high, window.to)};
  if (const std::string shortfall = samples.shortfall(); !shortfall.empty())
    panel.title += " (" + shortfall + ")";
  addPoints(panel, axis, window, samples, columns);
  if (panel.y.low > panel.y.high)
    panel.y = {-1, 1};
  return panel;
}

// Says what the time axis counts, and from where. All times are nominal: nothing tells of a gap.
void labelTimes(Panel& panel, const TimeAxes& axes) {
  panel.xUnit = panel.x.high - panel.x.low > 3 * kHour ? kHour : 1;
  panel.xLabel =
      fmt::format("nominal {} ({} after {} start{})", panel.xLabel, panel.xUnit == 1 ? "s" : "h",
                  axes.areShared() ? "the file's" : "each stream's",
                  axes.areFolded() ? "; starts repeat every 71.6 min" : "");
}

} // namespace

TimeAxes::TimeAxes(const std::vector<Stream>& streams)
    : isFolding_(std::all_of(streams.begin(), streams.end(), fits32Bits)) {
  const auto first = std::find_if(streams.begin(), streams.end(), hasTimes);
  if (first == streams.end())
    return;
  reference_ = first->start();
  std::vector<Range> ranges;
  for (const Stream& stream : streams) {
    if (!hasTimes(stream))
      continue;
    const TimeAxis axis{true, afterReference(stream), stream.interval()};
    areFolded_ |= axis.offset != stream.start() - reference_;
    earliest_ = std::min(earliest_, axis.offset);
    ranges.push_back({axis.offset, axis.at(static_cast<double>(stream.sampleCount()))});
  }
  areShared_ = coverOneRange(std::move(ranges));
  areFolded_ &= areShared_;
}

double TimeAxes::afterReference(const Stream& stream) const noexcept {
  const double difference = stream.start() - reference_;
  return isFolding_ ? std::remainder(difference, kRepetition) : difference;
}

TimeAxis TimeAxes::of(const Stream& stream) const noexcept {
  const double offset = areShared_ ? afterReference(stream) - earliest_ : 0;
  return hasTimes(stream) ? TimeAxis{true, offset, stream.interval()} : TimeAxis{};
}

std::vector<Point> decimate(std::span<const double> samples, std::uint64_t columns) {
  std::vector<Point> points;
  if (samples.size() <= 2 * columns) {
    for (std::size_t i = 0; i < samples.size(); ++i)
      points.push_back({static_cast<double>(i), samples[i]});
    return points;
  }
  for (std::uint64_t column = 0; column < columns; ++column) {
    const std::size_t first = samples.size() * column / columns;
    const std::size_t end = samples.size() * (column + 1) / columns;
    appendColumn(points, samples.subspan(first, end - first),
                 static_cast<double>(first + end - 1) / 2);
  }
  return points;
}

std::vector<Panel> makePanels(const Plugin& plugin, const File& file, const TimeAxes& axes,
                              const Window& window, std::uint64_t columns) {
  std::vector<Panel> panels;
  for (const Stream& stream : file.streams) {
    try {
      const Samples samples = copySamples(plugin, file, stream);
      panels.push_back(makePanel(stream, axes.of(stream), window, samples, columns));
    } catch (const Error& error) {
      reportError(error.what());
    }
  }
  Range shared = {kInfinity, -kInfinity};
  for (const Panel& panel : panels)
    if (panel.hasTimes)
      shared = {std::min(shared.low, panel.x.low), std::max(shared.high, panel.x.high)};
  for (Panel& panel : panels) {
    if (!panel.hasTimes)
      continue;
    if (axes.areShared())
      panel.x = shared;
    if (panel.x.low >= panel.x.high) // nothing of it is within the window
      panel.x = {std::isfinite(window.from) ? window.from : window.to - 1,
                 std::isfinite(window.to) ? window.to : window.from + 1};
    labelTimes(panel, axes);
  }
  return panels;
}

} // namespace host
