// `plot`: waveforms as a viewer shows them.

#include <algorithm>
#include <filesystem>

#include "host/base/messages.h"
#include "host/commands/commands.h"

namespace host {

namespace {

std::string lastName(const std::string& path) {
  return std::filesystem::path(path).filename().string();
}

} // namespace

int plot(const Plugin& plugin, const Request& request) {
  refuseToOverwrite(request.files, request.output);
  throwIfNoGnuplot();
  Output output(request.output);
  const bool isPicture = request.output != kStandardOutput;
  const winsize room = terminalSize();
  NameChoice choice(request.patterns);
  std::vector<Panel> panels;
  std::size_t streams = 0; // that are to be drawn
  int status = kSuccess;
  for (const std::string& name : request.files) {
    try {
      File file = openFile(plugin, name);
      const TimeAxes axes(file.streams); // of all: a choice moves none
      keepChosen(file, choice);
      keepDeliverable(file);
      streams += file.streams.size();
      if (isPicture && streams > kMostPanels)
        break;
      std::vector<Panel> added =
          makePanels(plugin, file, axes, request.window, isPicture ? kPictureColumns : room.ws_col);
      throwIfChanged(plugin, file);
      if (added.size() < file.streams.size())
        status = kFailure;
      for (Panel& panel : added)
        if (request.files.size() > 1)
          panel.title.insert(0, lastName(name) + ", ");
      panels.insert(panels.end(), added.begin(), added.end());
    } catch (const Error& error) {
      reportError(error.what());
      status = kFailure;
    }
    plugin.call(&Table::release_all_files);
  }
  if (isPicture && streams > kMostPanels)
    throw Error("a picture has room for " + std::to_string(kMostPanels) +
                " streams; choose some with --stream");
  if (panels.empty()) {
    choice.throwIfUnmatched();
    if (status != kSuccess)
      return status; // the reason was reported
  }
  if (std::ranges::none_of(panels, &Panel::hasSamples))
    throw Error(request.window.isLimited() ? "no samples between --from and --to"
                                           : "no samples to draw");
  output.write(isPicture ? drawPicture(panels,
                                       request.files.size() == 1
                                           ? lastName(request.files[0])
                                           : std::to_string(request.files.size()) + " files",
                                       request.output)
                         : drawCharacters(std::move(panels), room));
  output.commit();
  choice.throwIfUnmatched(); // the others are drawn all the same
  return status;
}

} // namespace host
