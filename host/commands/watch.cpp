// `watch`: what a host does with the change flag.

#include <chrono>
#include <csignal>
#include <ctime>
#include <optional>
#include <utility>

#include <fmt/chrono.h>
#include <unistd.h>

#include "host/base/error.h"
#include "host/boundary/selection.h"
#include "host/commands/commands.h"
#include "host/drawing/drawing.h"
#include "host/listing/listing.h"

namespace host {

namespace {

// Single files can't be released, so all are, each time after this many parses.
constexpr int kParsesBetweenReleases = 16;

// The signals that end the watch. They wait until they are asked for: a parse or a copy is never
// cut short, and the plug-in is released as always.
class EndingSignals {
public:
  EndingSignals() noexcept {
    sigemptyset(&signals_);
    sigaddset(&signals_, SIGINT);
    sigaddset(&signals_, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals_, &before_);
  }
  ~EndingSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  EndingSignals(const EndingSignals&) = delete;
  EndingSignals& operator=(const EndingSignals&) = delete;

  // Whether one came within this time.
  bool arriveWithin(std::chrono::duration<double> time) const noexcept {
    const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(time).count();
    const timespec timeout{nanoseconds / 1'000'000'000, nanoseconds % 1'000'000'000};
    return sigtimedwait(&signals_, nullptr, &timeout) > 0;
  }

private:
  sigset_t signals_{};
  sigset_t before_{};
};

// The watched file, as it was at the last parse that succeeded.
class WatchedFile {
public:
  WatchedFile(const Plugin& plugin, std::string path) : plugin_(plugin), path_(std::move(path)) {}

  // None while nothing has changed. Throws Error when the file is gone or only half there; then
  // every later call tries again.
  std::optional<FileRecord> parseIfDue() {
    if (!isDue())
      return std::nullopt;
    handle_ = nullptr;
    if (++parses_ % kParsesBetweenReleases == 0)
      plugin_->release_all_files(plugin_.handle());
    FileRecord file = openFile(plugin_, path_);
    handle_ = file.handle;
    changedSinceParse_ = file.changed;
    return file;
  }

private:
  bool isDue() {
    if (!handle_)
      return true;
    // The walk of the last parse has already reset the flag that it saw.
    if (std::exchange(changedSinceParse_, false))
      return true;
    _ox_wp_prop_type record{};
    plugin_->get_file_property(plugin_.handle(), handle_, 2, &record);
    return record.identifier == ox_wp_prop_file_changed && record.integer_value != 0;
  }

  const Plugin& plugin_;
  std::string path_;
  ox_wp_file_handle handle_ = nullptr;
  bool changedSinceParse_ = false;
  int parses_ = 0;
};

void showTime(Output& output) {
  const std::time_t now = std::time(nullptr);
  output.write(fmt::format("{:%Y-%m-%d %H:%M:%S}  ", fmt::localtime(now)));
}

void draw(const Plugin& plugin, const FileRecord& file, Output& output) {
  try {
    output.write("\n");
    drawCharacters(plugin, file, selectStreams(file, {}), output);
  } catch (const Error& error) {
    reportError(error.what()); // the table is there
  }
}

// On a terminal the new picture takes the place of the old one; a log gets a table at a time.
void show(const Plugin& plugin, FileRecord record, Output& output) {
  constexpr const char* kClear = "\x1b[H\x1b[2J";
  const bool isTerminal = isatty(STDOUT_FILENO) == 1;
  const ListedFile file = summarize(plugin, std::move(record));
  if (isTerminal)
    output.write(kClear);
  showTime(output);
  tableListing(output)->file(file);
  if (isTerminal)
    draw(plugin, file.record, output);
  output.flush();
}

} // namespace

int watch(const Plugin& plugin, const WatchRequest& request) {
  const EndingSignals signals;
  Output output(kStandardOutput);
  WatchedFile watched(plugin, request.file);
  std::string lastFailure; // told once, not at every look
  do {
    std::optional<FileRecord> file;
    try {
      file = watched.parseIfDue();
    } catch (const Error& error) {
      if (lastFailure != error.what())
        reportError(std::string(error.what()) + "; watching on");
      lastFailure = error.what();
    }
    if (file) {
      lastFailure.clear();
      show(plugin, std::move(*file), output);
    }
  } while (!signals.arriveWithin(request.interval));
  return kSuccess;
}

} // namespace host
