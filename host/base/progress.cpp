#include "host/base/progress.h"

#include <cstdio>

#include <fmt/core.h>
#include <unistd.h>

namespace host {

namespace {

constexpr std::chrono::milliseconds kBetweenDrawings{100};
constexpr const char* kWipe = "\r\x1b[K"; // to the line's start, erase to its end

} // namespace

Progress::Progress(std::string what, uint64_t total)
    : what_(std::move(what)), total_(total), isTerminal_(isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() {
  if (isTerminal_)
    (void)std::fputs(kWipe, stderr);
}

void Progress::show(uint64_t done) {
  const auto now = std::chrono::steady_clock::now();
  if (!isTerminal_ || now < nextDrawing_ || total_ == 0)
    return;
  // Back to the start of the line, so that a message takes its place.
  fmt::print(stderr, "{}{}: {} %\r", kWipe, what_, done * 100 / total_);
  nextDrawing_ = now + kBetweenDrawings;
}

} // namespace host
