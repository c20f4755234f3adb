#include "host/drawing/drawing.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <iterator>
#include <sstream>
#include <tuple>

#include <fmt/format.h>
#include <stdio.h>
#include <stdlib.h>
#include <strings.h>
#include <unistd.h>

#include "host/base/messages.h"

namespace host {

namespace {

// Of pictures, in pixels.
constexpr int kLeftMargin = 125; // numbers of 14 digits
constexpr int kRightMargin = 25;
constexpr int kWidth = kLeftMargin + kPictureColumns + kRightMargin;
constexpr int kHead = 44;      // the title of the whole
constexpr int kPanelTop = 24;  // of a panel: its title
constexpr int kPlot = 120;     // of a panel: the waveform
constexpr int kPanelTics = 40; // of a panel: the numbers of the time axis
constexpr int kPanelLabel = 24;

// Of characters.
constexpr unsigned kFewestColumns = 40;
constexpr int kUsualRows = 12;          // of a panel
constexpr int kFewestRows = 5;          // of a panel: two have its waveform
constexpr unsigned kLeftColumns = 17;   // numbers of ten digits
constexpr unsigned kColumnsOfATic = 16; // so that no number touches the next

// A string in quotes, for a script. Every byte is written as an octal number: some would have a
// meaning there, such as the back-tick, which runs a command.
std::string gnuplotString(std::string_view string) {
  std::string quoted = "\"";
  for (const char c : printable(string))
    quoted += fmt::format("\\{:03o}", static_cast<unsigned char>(c));
  return quoted + '"';
}

// Runs a command of the shell, and returns what it prints and its wait status.
std::pair<std::string, int> runCommand(const char* command) {
  FILE* const pipe = popen(command, "re"); // NOLINT(cert-env33-c): all commands are fixed
  if (!pipe)
    throw systemError("gnuplot");
  std::string printed;
  std::array<char, 1 << 16> part{};
  while (const std::size_t size = fread(part.data(), 1, part.size(), pipe))
    printed.append(part.data(), size);
  return {std::move(printed), pclose(pipe)};
}

// Runs a script and returns what it draws. Throws Error when that is nothing.
std::string runGnuplot(const std::string& script) {
  // The script is gnuplot's standard input, which it has from this process.
  FILE* const file = tmpfile();
  if (!file || fwrite(script.data(), 1, script.size(), file) != script.size() ||
      fseek(file, 0, SEEK_SET) != 0 || dup2(fileno(file), STDIN_FILENO) < 0)
    throw systemError("temporary file for gnuplot");
  (void)fclose(file);
  // Without the user's own settings, which could change the picture. In another locale gnuplot
  // cannot convert the characters of the script.
  const auto [picture, status] =
      runCommand("LC_ALL=C.UTF-8 exec gnuplot --default-settings 2>/dev/null");
  if (WIFSIGNALED(status))
    throw Error(fmt::format("gnuplot was ended by signal {}", WTERMSIG(status)));
  if (status != 0)
    throw Error(fmt::format("gnuplot ended with status {}", WEXITSTATUS(status)));
  if (picture.empty())
    throw Error("gnuplot has drawn nothing");
  return picture;
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

// The label stands once, below the last of the panels that have it.
bool isLabelled(const std::vector<Panel>& panels, std::size_t i) {
  return i + 1 == panels.size() || panels[i].xLabel != panels[i + 1].xLabel;
}

std::string scriptOf(const Panel& panel, bool isLabelled) {
  const Range y = withRoom(panel.y);
  std::string script =
      fmt::format("set title {}\nset xlabel {}\nset xrange [{}:{}]\nset yrange [{}:{}]\n",
                  gnuplotString(panel.title), gnuplotString(isLabelled ? panel.xLabel : ""),
                  panel.x.low / panel.xUnit, panel.x.high / panel.xUnit, y.low, y.high);
  std::string line;
  std::string dots; // a line would not show them
  for (const std::vector<Point>& run : panel.runs) {
    std::string& rows = run.size() == 1 ? dots : line;
    for (const Point& point : run)
      fmt::format_to(std::back_inserter(rows), "{} {}\n", point.x / panel.xUnit, point.value);
    rows += '\n'; // which ends the line
  }
  std::string plots;
  for (const auto& [name, rows, style] :
       {std::tuple{"$line", &line, "lines"}, {"$dots", &dots, "points"}}) {
    if (rows->empty())
      continue;
    script += fmt::format("{} << END\n{}END\n", name, *rows);
    plots +=
        fmt::format("{} {} with {} linestyle 1 notitle", plots.empty() ? "plot" : ",", name, style);
  }
  return script + (plots.empty()
                       ? fmt::format("set label 1 '{}' at graph 0.5, 0.5 center\n"
                                     "plot NaN notitle\nunset label 1\n",
                                     panel.hasSamples ? "no finite samples" : "no samples")
                       : plots + '\n');
}

bool hasExtension(const std::string& name, const char* extension) {
  return strcasecmp(std::filesystem::path(name).extension().c_str(), extension) == 0;
}

// Leaves out the blanks at the ends of lines, and empty lines.
std::string trimmed(std::string picture) {
  std::replace(picture.begin(), picture.end(), '\f', '\n'); // between two panels
  std::istringstream lines(picture);
  std::string result;
  for (std::string line; std::getline(lines, line);) {
    line.erase(line.find_last_not_of(' ') + 1);
    result += line.empty() ? "" : line + '\n';
  }
  return result;
}

// The distance of numbers on an axis with room for `most` steps: 1, 2 or 5 times a power of ten.
// gnuplot itself would print several into one place.
double ticStep(double length, unsigned most) {
  const double least = length / std::max(2U, most);
  const double power = std::pow(10, std::floor(std::log10(least)));
  for (const double step : {power, 2 * power, 5 * power})
    if (step >= least)
      return step;
  return 10 * power;
}

} // namespace

void throwIfNoGnuplot() {
  if (runCommand("command -v gnuplot").first.empty())
    throw Error("drawing needs the program gnuplot, which is not installed");
}

bool isPictureName(const std::string& name) {
  return hasExtension(name, ".svg") || hasExtension(name, ".png");
}

std::string drawPicture(const std::vector<Panel>& panels, const std::string& head,
                        const std::string& name) {
  std::vector<int> bottoms; // of each panel, below the waveform
  double height = kHead;
  for (std::size_t i = 0; i < panels.size(); ++i) {
    bottoms.push_back(kPanelTics + (isLabelled(panels, i) ? kPanelLabel : 0));
    height += kPanelTop + kPlot + bottoms[i];
  }
  std::string script = fmt::format(
      "set encoding utf8\n"
      "set terminal {} noenhanced size {},{} background '#ffffff' font 'sans,10'\n"
      "set multiplot title {} font 'sans,13'\n"
      "set style line 1 linecolor rgb '#1f5fa8' linewidth 1 pointtype 7 pointsize 0.6\n"
      "set border 3 back linecolor rgb '#606060'\n"
      "set grid linecolor rgb '#d8d8d8' linetype 1 linewidth 0.5\n"
      "set tics nomirror out textcolor rgb '#303030' font 'sans,9'\n"
      "set format '%.14g'\n"
      "set xlabel offset 0,0.6\n"
      "set title offset 0,-0.5 font 'sans,11'\n"
      "set lmargin at screen {}\n"
      "set rmargin at screen {}\n",
      hasExtension(name, ".svg") ? "svg" : "pngcairo", kWidth, height, gnuplotString(head),
      static_cast<double>(kLeftMargin) / kWidth, 1 - static_cast<double>(kRightMargin) / kWidth);
  double top = height - kHead - kPanelTop; // of a waveform
  for (std::size_t i = 0; i < panels.size(); ++i) {
    script += fmt::format("set tmargin at screen {}\nset bmargin at screen {}\n", top / height,
                          (top - kPlot) / height);
    script += scriptOf(panels[i], isLabelled(panels, i));
    top -= kPlot + bottoms[i] + kPanelTop;
  }
  return runGnuplot(script + "unset multiplot\n");
}

std::string drawCharacters(std::vector<Panel> panels, const winsize& room) {
  const unsigned columns = std::max<unsigned>(room.ws_col, kFewestColumns);
  const int rows = room.ws_row == 0
                       ? kUsualRows
                       : std::max(kFewestRows, (room.ws_row - 1) / static_cast<int>(panels.size()));
  std::string script = fmt::format("set encoding utf8\n"
                                   "set terminal dumb nofeed noenhanced size {},{}\n"
                                   "set style line 1 linetype 1 pointtype '*'\n"
                                   "set border 3\nset tics nomirror scale 0\n"
                                   "set tmargin 1\nset rmargin 1\nset lmargin {}\n"
                                   "set format x '%.14g'\nset format y '%.10g'\n",
                                   columns, rows, kLeftColumns);
  for (Panel& panel : panels) {
    panel.title = shortened(panel.title, columns); // gnuplot leaves out what is too long
    panel.xLabel = shortened(panel.xLabel, columns);
  }
  for (std::size_t i = 0; i < panels.size(); ++i) {
    const Panel& panel = panels[i];
    script += fmt::format("set bmargin {}\nset xtics {}\nset ytics ({}, {})\n",
                          isLabelled(panels, i) ? 2 : 1,
                          ticStep((panel.x.high - panel.x.low) / panel.xUnit,
                                  (columns - kLeftColumns) / kColumnsOfATic),
                          panel.y.low, panel.y.high);
    script += scriptOf(panel, isLabelled(panels, i));
  }
  return trimmed(runGnuplot(script));
}

} // namespace host
