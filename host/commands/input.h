// What the subcommands do alike with the files that they read, and say about them on standard
// error.
#pragma once

#include <string>

#include "host/boundary/selection.h"

namespace host {

// Parses a file and keeps the streams that are chosen and can be delivered. Reports the others that
// are chosen. The file may have no stream left.
File openChosen(const Plugin& plugin, const std::string& path, StreamChoice& choice);

// Says what copying all streams costs, when that is much: each copy reads the whole file.
void announceCost(const File& file);

} // namespace host
