// `watch`: shows a file whenever its change flag is set.

#include <chrono>
#include <csignal>
#include <ctime>
#include <optional>
#include <thread>
#include <utility>

#include <fmt/chrono.h>
#include <unistd.h>

#include "host/base/error.h"
#include "host/boundary/path.h"
#include "host/commands/commands.h"
#include "host/drawing/drawing.h"
#include "host/listing/listing.h"

namespace host {

namespace {

// The boundary cannot release a single file, so all are released after this many parses.
constexpr int kParsesBetweenReleases = 16;

extern "C" void endWatch(int /*signal*/) {
  _exit(kSuccess);
}

// SIGINT and SIGTERM end the process at once, whatever the plug-in is doing, even if it hangs.
// There is nothing to clean up: no file of the watch has a name.
void endOnSignals() {
  struct sigaction action {};
  action.sa_handler = endWatch;
  for (const int signal : {SIGINT, SIGTERM})
    sigaction(signal, &action, nullptr);
}

// The watched file, as it was at the last parse that succeeded.
class WatchedFile {
public:
  WatchedFile(const Plugin& plugin, std::string path) : plugin_(plugin), path_(std::move(path)) {}

  // Returns nothing while the file has not changed. Throws Error when the file is gone or half
  // written; the next call then tries again.
  std::optional<File> parseIfDue() {
    if (handle_ && !hasChanged(plugin_, handle_))
      return std::nullopt;
    handle_ = nullptr;
    if (++parses_ % kParsesBetweenReleases == 0)
      plugin_->release_all_files(plugin_.handle());
    File file = openFile(plugin_, path_);
    handle_ = file.handle;
    return file;
  }

private:
  const Plugin& plugin_;
  std::string path_;
  ox_wp_file_handle handle_ = nullptr;
  int parses_ = 0;
};

void showTime(Output& output) {
  const std::time_t now = std::time(nullptr);
  output.write(fmt::format("{:%Y-%m-%d %H:%M:%S}  ", fmt::localtime(now)));
}

// The file's streams that can be delivered, drawn below the table.
void draw(const Plugin& plugin, File file, Output& output) {
  std::erase_if(file.streams, [](const Stream& stream) { return !stream.deliverable; });
  if (file.streams.empty())
    return;
  try {
    output.write("\n");
    drawCharacters(plugin, {file}, {}, output);
  } catch (const Error& error) {
    reportError(error.what()); // the table is shown all the same
  }
}

// On a terminal the new picture replaces the old one; elsewhere each table follows the last.
void show(const Plugin& plugin, const File& file, Output& output) {
  constexpr const char* kClear = "\x1b[H\x1b[2J";
  const bool isTerminal = isatty(STDOUT_FILENO) == 1;
  if (isTerminal)
    output.write(kClear);
  showTime(output);
  tableListing(output, Columns::headers)->file(file, {});
  output.flush();
  if (isTerminal)
    draw(plugin, file, output);
  output.flush();
}

} // namespace

int watch(const Plugin& plugin, const WatchRequest& request) {
  endOnSignals();
  expectToKeep({request.file}, kStandardOutput);
  Output output(kStandardOutput);
  WatchedFile watched(plugin, request.file);
  std::string lastFailure; // each is reported once
  for (;;) {
    std::optional<File> file;
    try {
      file = watched.parseIfDue();
    } catch (const Error& error) {
      if (lastFailure != error.what())
        reportError(std::string(error.what()) + "; watching on");
      lastFailure = error.what();
    }
    if (file) {
      lastFailure.clear();
      show(plugin, *file, output);
    }
    std::this_thread::sleep_for(request.interval);
  }
}

} // namespace host
