#include "host/drawing/drawing.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <limits>
#include <span>
#include <sstream>
#include <tuple>
#include <utility>

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "host/base/error.h"
#include "host/base/progress.h"
#include "host/base/strings.h"
#include "host/boundary/samples.h"
#include "host/drawing/decimate.h"
#include "host/drawing/gnuplot.h"
#include "host/drawing/timeAxis.h"

namespace host {

namespace {

// Of pictures, in pixels.
constexpr int kWidth = 1200;
constexpr int kLeftMargin = 105;
constexpr int kRightMargin = 25;
constexpr int kHead = 44; // the file's name
constexpr int kPanelHeight = 190;
constexpr int kPanelTop = 24;          // of a panel: its title
constexpr int kPanelBottom = 58;       // of a panel: the time axis
constexpr int kHighestPicture = 32000; // gnuplot's limit is 32767

// Of characters.
constexpr winsize kUsualTerminal{24, 80, 0, 0};
constexpr unsigned kFewestColumns = 40;
constexpr unsigned kLeftColumns = 17;   // numbers of nine digits
constexpr unsigned kColumnsOfATic = 16; // so that no number touches the next

constexpr double kInfinity = std::numeric_limits<double>::infinity();

// One stream, ready to be drawn.
struct Panel {
  std::string title;
  std::string xLabel;
  std::string yLabel;
  Range x;
  Range y;          // of the values that are drawn
  std::string line; // rows of x and y; an empty row breaks the line
  std::string dots; // the points that no line reaches
  std::string note; // where there is nothing to draw
};

std::string fileName(const File& file) {
  return std::filesystem::path(file.path).filename();
}

size_t countStreams(const std::vector<File>& files) {
  size_t count = 0;
  for (const File& file : files)
    count += file.streams.size();
  return count;
}

// Adds room above and below, within the numbers that gnuplot can calculate with.
Range withRoom(Range range) {
  constexpr double kLargest = 1e300;
  double room = (range.high / 2 - range.low / 2) * 0.1; // halves: the difference cannot overflow
  if (room == 0)
    room = std::abs(range.high) * 0.1;
  if (room == 0) // all samples 0, or too small for a tenth of them
    room = 1;
  return {std::max(range.low - room, -kLargest), std::min(range.high + room, kLargest)};
}

// The finite samples of the window, as rows. A run of one point is a dot: a line would not show it.
void addPoints(Panel& panel, const TimeAxis& axis, const Window& window, const Samples& samples,
               uint64_t columns) {
  const auto size = static_cast<double>(samples.values.size());
  size_t first = 0;
  size_t end = samples.values.size();
  if (axis.hasTimes) {
    const auto sampleAt = [&](double time) { return (time - axis.offset) / axis.interval; };
    first = static_cast<size_t>(std::clamp(std::ceil(sampleAt(window.from)), 0.0, size));
    end = static_cast<size_t>(std::clamp(std::floor(sampleAt(window.to)) + 1, 0.0, size));
  }
  std::string run;
  size_t length = 0;
  const auto endRun = [&] {
    (length == 1 ? panel.dots : panel.line) += run + '\n';
    run.clear();
    length = 0;
  };
  const std::span<const double> all = samples.values;
  const auto chosen = all.subspan(first, std::max(first, end) - first);
  panel.note = chosen.empty() ? "no samples" : "no finite samples";
  for (const Point& point : decimate(chosen, columns)) {
    if (!std::isfinite(point.value)) {
      endRun();
      continue;
    }
    fmt::format_to(std::back_inserter(run), "{} {}\n",
                   axis.at(static_cast<double>(first) + point.sample), point.value);
    ++length;
    panel.y.low = std::min(panel.y.low, point.value);
    panel.y.high = std::max(panel.y.high, point.value);
  }
  endRun();
}

Panel makePanel(const Stream& stream, const TimeAxis& axis, const Window& window,
                const Samples& samples, uint64_t columns) {
  Panel panel;
  panel.title = stream.name;
  panel.xLabel = "sample number";
  panel.yLabel = stream.yLabel;
  const auto count = static_cast<double>(samples.values.size());
  // A single sample is drawn in the middle.
  panel.x = {axis.at(count > 1 ? 0 : -1), axis.at(std::max(1.0, count))};
  panel.y = {kInfinity, -kInfinity};
  if (axis.hasTimes) {
    panel.title += fmt::format(": starts at {:.6f} s", stream.start);
    panel.xLabel = fmt::format("{} (s after the first sample{})", stream.xLabel,
                               axis.isShared ? " of the file" : "");
    panel.x = {std::max(panel.x.low, window.from), std::min(panel.x.high, window.to)};
  }
  if (const std::string shortfall = samples.shortfall(); !shortfall.empty())
    panel.title += " (" + shortfall + ")";
  addPoints(panel, axis, window, samples, columns);
  if (panel.y.low > panel.y.high)
    panel.y = {-1, 1};
  return panel;
}

// The panels of a file, appended to those of other files.
void addPanels(std::vector<Panel>& panels, const Plugin& plugin, const File& file,
               const Window& window, uint64_t columns, Progress& progress) {
  const TimeAxes axes = timeAxes(file.streams);
  const size_t first = panels.size();
  Range shared = {kInfinity, -kInfinity};
  for (size_t i = 0; i < file.streams.size(); ++i) {
    progress.show(panels.size());
    const Samples samples = copySamples(plugin, file, file.streams[i]);
    panels.push_back(makePanel(file.streams[i], axes.streams[i], window, samples, columns));
    const Range& x = panels.back().x;
    if (axes.streams[i].isShared)
      shared = {std::min(shared.low, x.low), std::max(shared.high, x.high)};
  }
  for (size_t i = 0; i < file.streams.size(); ++i) {
    Range& x = panels[first + i].x;
    if (axes.streams[i].isShared)
      x = shared;
    if (x.low >= x.high) // nothing of it is within the window
      x = {std::isfinite(window.from) ? window.from : window.to - 1,
           std::isfinite(window.to) ? window.to : window.from + 1};
  }
  if (axes.areFolded)
    panels.back().xLabel += "; starts repeat every 71.6 min";
}

// The panels of all files. One stream's samples are in memory at a time.
std::vector<Panel> makePanels(const Plugin& plugin, const std::vector<File>& files,
                              const Window& window, uint64_t columns) {
  Progress progress("Reading streams", countStreams(files));
  std::vector<Panel> panels;
  for (const File& file : files) {
    const size_t first = panels.size();
    addPanels(panels, plugin, file, window, columns, progress);
    for (size_t i = first; files.size() > 1 && i < panels.size(); ++i)
      panels[i].title.insert(0, fileName(file) + ", ");
  }
  return panels;
}

void drawPanel(const Gnuplot& gnuplot, const Panel& panel) {
  const Range y = withRoom(panel.y);
  gnuplot.write(fmt::format("set title {} noenhanced\n"
                            "set xlabel {} noenhanced\n"
                            "set ylabel {} noenhanced\n"
                            "set xrange [{}:{}]\n"
                            "set yrange [{}:{}]\n",
                            gnuplotText(panel.title), gnuplotText(panel.xLabel),
                            gnuplotText(panel.yLabel), panel.x.low, panel.x.high, y.low, y.high));
  std::string plots;
  for (const auto& [name, rows, style] :
       {std::tuple{"$line", &panel.line, "lines"}, {"$dots", &panel.dots, "points"}}) {
    if (rows->find_first_not_of('\n') == std::string::npos)
      continue;
    gnuplot.write(fmt::format("{} << END\n{}END\n", name, *rows));
    plots += fmt::format("{} {} using 1:2 with {} linestyle 1 notitle",
                         plots.empty() ? "plot" : ",", name, style);
  }
  gnuplot.write(plots.empty() ? fmt::format("set label 1 '{}' at graph 0.5, 0.5 center\n"
                                            "plot NaN notitle\n"
                                            "unset label 1\n",
                                            panel.note)
                              : plots + '\n');
}

std::string extensionOf(const std::string& name) {
  std::string extension = std::filesystem::path(name).extension().string();
  for (char& c : extension)
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return extension;
}

// Leaves out the blanks at the ends of lines, and empty lines.
void writeTrimmed(std::string picture, Output& output) {
  std::replace(picture.begin(), picture.end(), '\f', '\n'); // between two panels
  std::istringstream lines(picture);
  for (std::string line; std::getline(lines, line);) {
    line.erase(line.find_last_not_of(' ') + 1);
    if (!line.empty())
      output.write(line + '\n');
  }
}

// The distance of numbers on an axis with room for `most` steps: 1, 2 or 5 times a power of ten.
// gnuplot itself would print several into one place.
double ticStep(const Range& range, unsigned most) {
  const double least = (range.high - range.low) / std::max(2U, most);
  const double power = std::pow(10, std::floor(std::log10(least)));
  for (const double step : {power, 2 * power, 5 * power})
    if (step >= least)
      return step;
  return 10 * power;
}

} // namespace

bool isPictureName(const std::string& name) {
  const std::string extension = extensionOf(name);
  return extension == ".svg" || extension == ".png";
}

void drawPicture(const Plugin& plugin, const std::vector<File>& files, const Window& window,
                 const std::string& name, Output& output) {
  const auto panels = static_cast<int>(countStreams(files));
  if (panels > (kHighestPicture - kHead) / kPanelHeight)
    throw Error(
        fmt::format("{} streams make too high a picture; choose some with --stream", panels));
  const double height = kHead + panels * kPanelHeight;
  const char* terminal = extensionOf(name) == ".svg" ? "svg" : "pngcairo";
  const std::string head =
      files.size() == 1 ? fileName(files[0]) : fmt::format("{} files", files.size());

  Gnuplot gnuplot;
  gnuplot.write(fmt::format(
      "set encoding utf8\n"
      "set terminal {} size {},{} background '#ffffff' font 'sans,10'\n"
      "set multiplot title {} noenhanced font 'sans,13'\n"
      "set style line 1 linecolor rgb '#1f5fa8' linewidth 1 pointtype 7 pointsize 0.6\n"
      "set border 3 back linecolor rgb '#606060'\n"
      "set grid linecolor rgb '#d8d8d8' linetype 1 linewidth 0.5\n"
      "set tics nomirror out textcolor rgb '#303030' font 'sans,9'\n"
      "set format '%.14g'\n"
      "set xlabel offset 0,0.6\n"
      "set title offset 0,-0.5 font 'sans,11'\n"
      "set lmargin at screen {}\n"
      "set rmargin at screen {}\n",
      terminal, kWidth, height, gnuplotText(head), static_cast<double>(kLeftMargin) / kWidth,
      1 - static_cast<double>(kRightMargin) / kWidth));
  double top = height - kHead;
  for (const Panel& panel :
       makePanels(plugin, files, window, kWidth - kLeftMargin - kRightMargin)) {
    gnuplot.write(fmt::format("set tmargin at screen {}\nset bmargin at screen {}\n",
                              (top - kPanelTop) / height,
                              (top - kPanelHeight + kPanelBottom) / height));
    drawPanel(gnuplot, panel);
    top -= kPanelHeight;
  }
  gnuplot.write("unset multiplot\n");
  output.write(gnuplot.finish());
}

void drawCharacters(const Plugin& plugin, const std::vector<File>& files, const Window& window,
                    const winsize& room, int fewestRows, Output& output) {
  const unsigned columns = std::max<unsigned>(room.ws_col, kFewestColumns);
  const int rows = std::max(fewestRows, room.ws_row / static_cast<int>(countStreams(files)));
  Gnuplot gnuplot;
  gnuplot.write(fmt::format("set encoding utf8\n"
                            "set terminal dumb nofeed noenhanced size {},{}\n"
                            "set style line 1 linetype 1 pointtype '*'\n"
                            "set border 3\nset tics nomirror scale 0\n"
                            "set tmargin 1\nset rmargin 1\nset lmargin {}\n"
                            "set format x '%.14g'\nset format y '%.9g'\n",
                            columns, rows, kLeftColumns));
  std::vector<Panel> panels = makePanels(plugin, files, window, columns);
  for (size_t i = 0; i < panels.size(); ++i) {
    Panel& panel = panels[i];
    if (!panel.yLabel.empty()) // beside the axis it would cover numbers
      panel.title += " [" + std::exchange(panel.yLabel, {}) + ']';
    panel.title = shortened(panel.title, columns); // gnuplot leaves out what is too long
    panel.xLabel = shortened(panel.xLabel, columns);
    const bool isLabelled = i + 1 == panels.size() || panel.xLabel != panels[i + 1].xLabel;
    if (!isLabelled)
      panel.xLabel.clear();
    gnuplot.write(fmt::format(
        "set bmargin {}\nset xtics {}\nset ytics ({}, {})\n", isLabelled ? 2 : 1,
        ticStep(panel.x, (columns - kLeftColumns) / kColumnsOfATic), panel.y.low, panel.y.high));
    drawPanel(gnuplot, panel);
  }
  writeTrimmed(gnuplot.finish(), output);
}

winsize terminalSize() noexcept {
  winsize size{};
  (void)ioctl(STDOUT_FILENO, TIOCGWINSZ, &size);
  return size.ws_col > 0 && size.ws_row > 0 ? size : kUsualTerminal;
}

} // namespace host
