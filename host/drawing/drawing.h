// Panels as a picture or in characters, drawn by gnuplot.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/base/terminal.h"  // IWYU pragma: export
#include "host/drawing/panels.h" // IWYU pragma: export

namespace host {

inline constexpr std::size_t kMostPanels = 150;        // of a picture: gnuplot has a limit
inline constexpr std::uint64_t kPictureColumns = 1070; // of a panel, in pixels

// Throws Error where gnuplot is not installed.
void throwIfNoGnuplot();

// Whether there is a kind of picture for a file of this name.
bool isPictureName(const std::string& name);

// Returns a picture of the kind that the name of its file says.
std::string drawPicture(const std::vector<Panel>& panels, const std::string& head,
                        const std::string& name);

// Returns the same in characters. The panels share the rows of the room, if it has any, but for one
// for the prompt.
std::string drawCharacters(std::vector<Panel> panels, const winsize& room);

} // namespace host
