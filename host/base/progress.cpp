#include "host/base/progress.h"

#include <chrono>
#include <cstdint>

#include <fmt/format.h>
#include <unistd.h>

#include "host/base/error.h"

namespace host {

namespace {

constexpr std::chrono::milliseconds kBetweenDrawings{100};
constexpr const char* kErase = "\r\x1b[K"; // the line, from its start

} // namespace

Progress::Progress(std::string what, uint64_t total)
    : what_(std::move(what)), total_(total), isTerminal_(isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() {
  if (isTerminal_)
    writeToStandardError(kErase);
}

void Progress::show(uint64_t done) {
  const auto now = std::chrono::steady_clock::now();
  if (!isTerminal_ || now < nextDrawing_ || total_ == 0)
    return;
  // The cursor goes back to the start of the line, so that a message is written over it.
  writeToStandardError(fmt::format("{}{}: {} %\r", kErase, what_, done * 100 / total_));
  nextDrawing_ = now + kBetweenDrawings;
}

} // namespace host
