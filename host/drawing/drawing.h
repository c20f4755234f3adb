// Waveforms as a viewer shows them: one panel for each stream, drawn by gnuplot.
#pragma once

#include <limits>
#include <string>
#include <vector>

#include <sys/ioctl.h>

#include "host/base/output.h"   // IWYU pragma: export
#include "host/boundary/walk.h" // IWYU pragma: export

namespace host {

// The part of the time axis that is drawn, in seconds from its first sample; infinite where there
// is no limit.
struct Window {
  double from = -std::numeric_limits<double>::infinity();
  double to = std::numeric_limits<double>::infinity();
};

// Whether there is a kind of picture for a file of this name.
bool isPictureName(const std::string& name);

// A picture file, of the kind that the name says. The streams of a file share one time axis where
// their start times allow it.
// REQUIRES: every file has a stream, and all are deliverable.
void drawPicture(const Plugin& plugin, const std::vector<File>& files, const Window& window,
                 const std::string& name, Output& output);

// The same in characters, as wide as `room`. Its rows are shared by the panels, but each has at
// least `fewestRows`.
void drawCharacters(const Plugin& plugin, const std::vector<File>& files, const Window& window,
                    const winsize& room, int fewestRows, Output& output);

// Of the terminal on standard output, or else of a usual one.
winsize terminalSize() noexcept;

} // namespace host
