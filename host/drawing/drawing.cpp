#include "host/drawing/drawing.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <functional>
#include <limits>
#include <sstream>

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "host/base/error.h"
#include "host/boundary/samples.h"
#include "host/drawing/decimate.h"
#include "host/drawing/gnuplot.h"

namespace host {

namespace {

// Of pictures, in pixels.
constexpr int kWidth = 1200;
constexpr int kLeftMargin = 90;
constexpr int kRightMargin = 25;
constexpr int kHead = 44; // the file's name
constexpr int kPanelHeight = 190;
constexpr int kPanelTop = 24;          // of it: the stream's name
constexpr int kPanelBottom = 58;       // and the time axis
constexpr int kHighestPicture = 32000; // the drawing program's limit is 32767

// Of characters.
constexpr winsize kUsualTerminal{24, 80, 0, 0};
constexpr int kFewestRows = 12; // of a panel

struct Range {
  double low;
  double high;
};

// What a panel shows, ready to be drawn.
struct Panel {
  std::string title;
  std::string axis;
  Range x;
  Range y;
  std::string data; // rows of x and y
  bool isEmpty;     // there is no finite sample
};

// A little room above and below, within what the drawing program can calculate with.
Range withRoom(Range range) {
  constexpr double kLargest = 1e300;
  double room = (range.high / 2 - range.low / 2) * 0.1; // halves: their sum can't overflow
  if (room == 0)
    room = std::abs(range.high) * 0.1;
  if (room == 0) // all samples 0, or too small for a tenth of them
    room = 1;
  return {std::max(range.low - room, -kLargest), std::min(range.high + room, kLargest)};
}

// Whether times make an axis. Where the interval is unknown, damaged or too small to tell two
// samples apart, they don't.
bool hasTimes(const StreamRecord& stream, uint64_t samples) {
  return stream.timeOf(1) > stream.start && std::isfinite(stream.timeOf(samples));
}

Panel makePanel(const StreamRecord& stream, const Samples& samples, uint64_t columns) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  const bool timed = hasTimes(stream, samples.values.size());
  const auto x = [&](uint64_t sample) {
    return timed ? stream.timeOf(sample) : static_cast<double>(sample);
  };
  Panel panel;
  panel.title = stream.name;
  if (const std::string shortfall = samples.shortfall(); !shortfall.empty())
    panel.title += " (" + shortfall + ")";
  panel.axis = timed ? "time (s)" : "sample number";
  panel.x = {x(0), x(std::max<uint64_t>(1, samples.values.size()))};
  panel.y = {kInfinity, -kInfinity};
  for (const Point& point : decimate(samples.values, columns)) {
    if (!std::isfinite(point.value)) {
      panel.data += "\n"; // the line breaks here
      continue;
    }
    fmt::format_to(std::back_inserter(panel.data), "{} {}\n", x(point.sample), point.value);
    panel.y.low = std::min(panel.y.low, point.value);
    panel.y.high = std::max(panel.y.high, point.value);
  }
  panel.isEmpty = panel.y.low > panel.y.high;
  panel.y = panel.isEmpty ? Range{-1, 1} : withRoom(panel.y);
  return panel;
}

void drawPanel(const Gnuplot& gnuplot, const Panel& panel) {
  gnuplot.write(fmt::format("set title {} noenhanced\n"
                            "set xlabel {}\n"
                            "set xrange [{}:{}]\n"
                            "set yrange [{}:{}]\n",
                            gnuplotText(panel.title), gnuplotText(panel.axis), panel.x.low,
                            panel.x.high, panel.y.low, panel.y.high));
  if (panel.isEmpty) {
    gnuplot.write("set label 1 'no samples' at graph 0.5, 0.5 center\n"
                  "plot NaN notitle\n"
                  "unset label 1\n");
    return;
  }
  gnuplot.write("$samples << END\n" + panel.data +
                "END\n"
                "plot $samples using 1:2 with lines linestyle 1 notitle\n");
}

// Streams are copied when their turn has come, so that one is in memory at a time.
void drawPanels(const Plugin& plugin, const FileRecord& file,
                const std::vector<StreamRecord>& streams, uint64_t columns, Gnuplot& gnuplot,
                const std::function<std::string(size_t)>& placement) {
  for (size_t i = 0; i < streams.size(); ++i) {
    const Samples samples = copySamples(plugin, file, streams[i]);
    gnuplot.write(placement(i));
    drawPanel(gnuplot, makePanel(streams[i], samples, columns));
  }
}

std::string extensionOf(const std::string& name) {
  return std::filesystem::path(name).extension().string();
}

// Without the blanks that fill up lines, and without empty lines.
void writeTrimmed(const std::string& picture, Output& output) {
  std::istringstream lines(picture);
  for (std::string line; std::getline(lines, line);) {
    line.erase(line.find_last_not_of(" \f") + 1);
    if (!line.empty())
      output.write(line + '\n');
  }
}

winsize terminalSize() {
  winsize size{};
  const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return known ? size : kUsualTerminal;
}

} // namespace

bool isPictureName(const std::string& name) {
  const std::string extension = extensionOf(name);
  return extension == ".svg" || extension == ".png";
}

void drawPicture(const Plugin& plugin, const FileRecord& file,
                 const std::vector<StreamRecord>& streams, const std::string& name,
                 Output& output) {
  const auto panels = static_cast<int>(streams.size());
  if (panels > (kHighestPicture - kHead) / kPanelHeight)
    throw Error(
        fmt::format("{} streams make too high a picture; choose some with --stream", panels));
  const double height = kHead + panels * kPanelHeight;
  const char* terminal = extensionOf(name) == ".svg" ? "svg" : "pngcairo";

  Gnuplot gnuplot;
  gnuplot.write(fmt::format(
      "set encoding utf8\n"
      "set terminal {} size {},{} background '#ffffff' font 'sans,10'\n"
      "set multiplot title {} noenhanced font 'sans,13'\n"
      "set style line 1 linecolor rgb '#1f5fa8' linewidth 1\n"
      "set border 3 linecolor rgb '#606060'\n"
      "set grid linecolor rgb '#d8d8d8' linetype 1 linewidth 0.5\n"
      "set tics nomirror out textcolor rgb '#303030' font 'sans,9'\n"
      "set format '%.10g'\n"
      "set xlabel offset 0,0.6\n"
      "set title offset 0,-0.5 font 'sans,11'\n"
      "set lmargin at screen {}\n"
      "set rmargin at screen {}\n",
      terminal, kWidth, height, gnuplotText(std::filesystem::path(file.path).filename().string()),
      static_cast<double>(kLeftMargin) / kWidth, 1 - static_cast<double>(kRightMargin) / kWidth));
  const auto placement = [&](size_t panel) {
    const double top = height - kHead - static_cast<double>(panel) * kPanelHeight;
    return fmt::format("set tmargin at screen {}\nset bmargin at screen {}\n",
                       (top - kPanelTop) / height, (top - kPanelHeight + kPanelBottom) / height);
  };
  drawPanels(plugin, file, streams, kWidth - kLeftMargin - kRightMargin, gnuplot, placement);
  gnuplot.write("unset multiplot\n");
  output.write(gnuplot.finish());
}

void drawCharacters(const Plugin& plugin, const FileRecord& file,
                    const std::vector<StreamRecord>& streams, Output& output) {
  const winsize terminal = terminalSize();
  const int rows = std::max(kFewestRows, terminal.ws_row / static_cast<int>(streams.size()) - 1);
  Gnuplot gnuplot;
  gnuplot.write(fmt::format("set encoding utf8\n"
                            "set terminal dumb nofeed noenhanced size {},{}\n"
                            "set style line 1 linetype 1\n"
                            "set format '%.10g'\n",
                            terminal.ws_col, rows));
  drawPanels(plugin, file, streams, terminal.ws_col, gnuplot, [](size_t) { return ""; });
  writeTrimmed(gnuplot.finish(), output);
}

} // namespace host
