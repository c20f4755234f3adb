// A line on standard error that shows how far a long operation is. Nothing is shown when standard
// error is no terminal.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace host {

class Progress {
public:
  // The line starts with `what`; `total` steps make 100 %.
  Progress(std::string what, uint64_t total);
  // Erases the line, so that messages and prompts start on an empty one.
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // Draws at most ten times a second, so it can be called often.
  void show(uint64_t done);

private:
  std::string what_;
  uint64_t total_;
  bool isTerminal_;
  std::chrono::steady_clock::time_point nextDrawing_;
};

} // namespace host
