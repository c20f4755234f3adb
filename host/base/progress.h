// A line on standard error that tells how far a long work is; nothing when that is no terminal.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace host {

class Progress {
public:
  // The line starts with `what`; `total` steps make 100 %.
  Progress(std::string what, uint64_t total);
  // Wipes the line, so that messages and prompts start clean.
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // Cheap enough for every few thousand rows: most calls draw nothing.
  void show(uint64_t done);

private:
  std::string what_;
  uint64_t total_;
  bool isTerminal_;
  std::chrono::steady_clock::time_point nextDrawing_;
};

} // namespace host
