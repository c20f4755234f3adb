// The subcommands, called once the command line is read. Each returns the exit status.
#pragma once

#include <string>
#include <vector>

#include "host/base/output.h"     // IWYU pragma: export
#include "host/boundary/plugin.h" // IWYU pragma: export
#include "host/drawing/drawing.h" // IWYU pragma: export

namespace host {

inline constexpr int kSuccess = 0;
inline constexpr int kFailure = 1;  // of a file or a rule
inline constexpr int kWrongUse = 2; // of the command line

// What the command line asks for. Each subcommand takes a part of it.
struct Request {
  std::string plugin; // path; empty: the default plug-in
  std::vector<std::string> files;
  std::vector<std::string> patterns;    // of names of streams, or of rules; none: all
  std::string output = kStandardOutput; // of plot *.svg or *.png; characters on standard output
  std::string folder;                   // of export, a file for each stream; empty: `output`
  std::string format;                   // of list table, json or csv; of export csv or f64
  bool samples = false;                 // list: the first, the last and how many
  Window window;                        // plot
  unsigned timeLimit = 30;              // check: in seconds, for one rule on one file
};

int list(const Plugin& plugin, const Request& request);
int exportSamples(const Plugin& plugin, const Request& request);
int plot(const Plugin& plugin, const Request& request);
int check(const Request& request);

} // namespace host
