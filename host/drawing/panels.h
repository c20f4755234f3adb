// What is drawn of a file: a panel for each stream, on time axes, with fewer points than samples.
#pragma once

#include <cmath>   // IWYU pragma: export
#include <cstdint> // IWYU pragma: export
#include <limits>  // IWYU pragma: export
#include <span>
#include <string>
#include <vector>

#include "host/boundary/file.h" // IWYU pragma: export

namespace host {

struct Range {
  double low;
  double high;
};

// Where a stream lies on its axis.
struct TimeAxis {
  bool hasTimes = false; // else the axis counts samples: there is no usable interval
  double offset = 0;     // of the first sample, in seconds
  double interval = 0;   // between samples, in seconds

  double at(double sample) const noexcept { return hasTimes ? offset + sample * interval : sample; }
};

// The streams of a file share an axis, which starts at the earliest first sample, if together they
// cover one range of time without a break. Otherwise it is not known how far they are apart: where
// every start time fits 32 bits of microseconds, it may be what is left of a longer one. There the
// smallest difference between two starts counts.
class TimeAxes {
public:
  // Takes all streams of the file, so that a choice of some moves none of them.
  explicit TimeAxes(const std::vector<Stream>& streams);

  TimeAxis of(const Stream& stream) const noexcept;
  // By all streams that have times; else each starts at 0.
  bool areShared() const noexcept { return areShared_; }
  // Whether folding changed the distance between two streams.
  bool areFolded() const noexcept { return areFolded_; }

private:
  double afterReference(const Stream& stream) const noexcept;

  bool isFolding_;
  bool areShared_ = false;
  bool areFolded_ = false;
  double reference_ = 0; // the start of one of the streams
  double earliest_ = 0;  // the least of the starts, after the reference
};

struct Point {
  double x; // a number of a sample, between two for the middle of a column; or where that is drawn
  double value;
};

// Returns the points of a line through the samples, a stroke for each of `columns` equal parts of
// them: all points of a part stand in its middle, the first finite sample, the smallest, the
// largest and the last, so that strokes of neighbours are connected and a spike of one sample
// stays. A part without a finite sample gives one point that is NaN. No more than two samples for
// each column are returned as they are.
std::vector<Point> decimate(std::span<const double> samples, std::uint64_t columns);

// The part of the time axis that is drawn, in seconds from its start; infinite where there is no
// limit.
struct Window {
  double from = -std::numeric_limits<double>::infinity();
  double to = std::numeric_limits<double>::infinity();

  bool isLimited() const noexcept { return std::isfinite(from) || std::isfinite(to); }
};

// One stream, ready to be drawn.
struct Panel {
  std::string title;     // with the unit of the values
  bool hasTimes = false; // else the axis counts samples
  std::string xLabel;
  Range x{};                            // in seconds, or numbers of samples
  Range y{};                            // of the values that are drawn
  double xUnit = 1;                     // the axis counts multiples of it
  std::vector<std::vector<Point>> runs; // each is a line, or a dot if it has one point only
  bool hasSamples = false;              // which may all be infinite or NaN
};

// Copies the streams of a file, one after the other, and returns a panel for each, with points for
// so many columns. A stream of which nothing can be read is reported and has none.
// REQUIRES: all streams are deliverable.
std::vector<Panel> makePanels(const Plugin& plugin, const File& file, const TimeAxes& axes,
                              const Window& window, std::uint64_t columns);

} // namespace host
