// The subcommands, called once the command line is read. Each returns the exit status.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "host/base/output.h"     // IWYU pragma: export
#include "host/boundary/plugin.h" // IWYU pragma: export
#include "host/drawing/drawing.h" // IWYU pragma: export

namespace host {

inline constexpr int kSuccess = 0;
inline constexpr int kFailure = 1;  // of a file or a rule
inline constexpr int kWrongUse = 2; // of the command line

struct ListRequest {
  std::vector<std::string> files;
  std::vector<std::string> streams; // patterns of names; none: all streams
  bool samples = false;             // copies the samples and shows the first, the last and how many
  std::string format = "table";     // or json, csv
};
int list(const Plugin& plugin, const ListRequest& request);

struct ExportRequest {
  std::string file;
  std::vector<std::string> streams; // as for ListRequest
  std::string output = kStandardOutput;
  std::string folder;         // for a file for each stream, in place of `output`; else empty
  std::string format = "csv"; // or f64
};
int exportSamples(const Plugin& plugin, const ExportRequest& request);

struct PlotRequest {
  std::vector<std::string> files;
  std::vector<std::string> streams;     // as for ListRequest
  std::string output = kStandardOutput; // *.svg or *.png; characters on standard output
  Window window;
};
int plot(const Plugin& plugin, const PlotRequest& request);

struct WatchRequest {
  std::string file;
  std::vector<std::string> streams;          // as for ListRequest
  std::chrono::duration<double> interval{1}; // between two readings of the change flag
};
int watch(const Plugin& plugin, const WatchRequest& request);

struct CheckRequest {
  std::string plugin;
  std::vector<std::string> files;
  std::vector<std::string> rules;     // patterns of names; none: all rules
  std::chrono::seconds timeLimit{30}; // for one rule on one file
  bool listOnly = false;              // shows the rules and runs none
};
int check(const CheckRequest& request);

} // namespace host
