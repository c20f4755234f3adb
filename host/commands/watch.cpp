// `watch`: shows a file whenever its change flag is set.

#include <algorithm>
#include <chrono>
#include <ratio>

#include <fmt/chrono.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <time.h>
#include <unistd.h>

#include "host/base/error.h"
#include "host/base/strings.h"
#include "host/boundary/path.h"
#include "host/boundary/selection.h"
#include "host/commands/commands.h"
#include "host/listing/listing.h"

namespace host {

namespace {

constexpr int kFewestRows = 5; // of a panel: two at least have its waveform

extern "C" void endWatch(int /*signal*/) {
  _exit(kSuccess);
}

// SIGWINCH, which says that the terminal has another size. It is blocked, so that it waits for
// sigtimedwait() and is not lost meanwhile.
sigset_t blockResizing() {
  sigset_t resizing;
  sigemptyset(&resizing);
  sigaddset(&resizing, SIGWINCH);
  sigprocmask(SIG_BLOCK, &resizing, nullptr);
  return resizing;
}

void write(Output& output, const std::vector<std::string>& lines) {
  for (const std::string& line : lines)
    output.write(line + '\n');
  output.flush();
}

// The table, and below it the streams that can be delivered, as many as have room.
void showOnTerminal(const Plugin& plugin, File file, std::vector<std::string> lines,
                    Output& output) {
  winsize room = terminalSize();
  const auto most = static_cast<size_t>(std::max(3, room.ws_row / 2));
  if (lines.size() > most) {
    const size_t more = lines.size() - most + 1;
    lines.resize(most - 1);
    lines.push_back(fmt::format("  and {} more", more));
  }
  // A message and the cursor have a row each.
  const int rows = room.ws_row - static_cast<int>(lines.size()) - 2;
  room.ws_row = static_cast<unsigned short>(std::max(0, rows));
  std::erase_if(file.streams, [](const Stream& stream) { return !stream.deliverable; });
  const size_t drawn = std::min<size_t>(file.streams.size(), room.ws_row / kFewestRows);
  if (drawn < file.streams.size())
    lines[0] += fmt::format(", {} of {} drawn", drawn, file.streams.size());
  file.streams.resize(drawn);
  for (std::string& line : lines)
    line = shortened(line, room.ws_col);
  output.write("\x1b[H\x1b[2J");
  write(output, lines);
  if (drawn == 0)
    return;
  try {
    drawCharacters(plugin, {file}, {}, room, kFewestRows, output);
    output.flush();
  } catch (const Error& error) {
    reportError(error.what()); // the table is shown all the same
  }
}

// Shows the file as it is and returns it. Throws Error when it is gone or half written, or has
// changed meanwhile.
ox_wp_file_handle show(const Plugin& plugin, const WatchRequest& request, bool onTerminal,
                       Output& output) {
  plugin->release_all_files(plugin.handle());
  File file = openFile(plugin, request.file);
  NameChoice choice(request.streams);
  choice.apply(file);
  choice.expectMatches();
  std::vector<std::string> lines = tableLines(file, {});
  const time_t now = time(nullptr);
  lines[0].insert(0, fmt::format("{:%Y-%m-%d %H:%M:%S}  ", fmt::localtime(now)));
  if (onTerminal) {
    showOnTerminal(plugin, file, lines, output);
    expectUnchanged(plugin, file);
  } else {
    write(output, lines);
  }
  return file.handle;
}

} // namespace

int watch(const Plugin& plugin, const WatchRequest& request) {
  // They end the process at once, whatever the plug-in is doing, even if it hangs. There is nothing
  // to clean up: no file of the watch has a name.
  for (const int number : {SIGINT, SIGTERM})
    (void)signal(number, endWatch);
  expectToKeep({request.file}, kStandardOutput);
  Output output(kStandardOutput);
  const bool onTerminal = isatty(STDOUT_FILENO) == 1;
  const sigset_t resizing = blockResizing();
  const auto nanoseconds = std::chrono::ceil<std::chrono::nanoseconds>(request.interval).count();
  const timespec interval{nanoseconds / std::nano::den, nanoseconds % std::nano::den};
  ox_wp_file_handle shown = nullptr; // null where the file is to be shown anew
  std::string lastFailure;           // each is reported once
  for (;;) {
    try {
      if (!shown || hasChanged(plugin, shown)) {
        shown = nullptr;
        shown = show(plugin, request, onTerminal, output);
        lastFailure.clear();
      }
    } catch (const Error& error) {
      if (lastFailure != error.what())
        reportError(std::string(error.what()) + "; watching on");
      lastFailure = error.what();
    }
    if (sigtimedwait(&resizing, nullptr, &interval) == SIGWINCH && onTerminal)
      shown = nullptr;
  }
}

} // namespace host
