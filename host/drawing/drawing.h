// Waveforms as a viewer shows them: one panel a stream, drawn by gnuplot.
#pragma once

#include <string>
#include <vector>

#include "host/base/output.h"
#include "host/boundary/walk.h"

namespace host {

// Whether there is a kind of picture for a file of this name.
bool isPictureName(const std::string& name);

// A picture file: its kind follows from the name.
void drawPicture(const Plugin& plugin, const FileRecord& file,
                 const std::vector<StreamRecord>& streams, const std::string& name, Output& output);

// Characters, as wide as the terminal.
void drawCharacters(const Plugin& plugin, const FileRecord& file,
                    const std::vector<StreamRecord>& streams, Output& output);

} // namespace host
