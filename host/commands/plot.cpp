// `plot`: waveforms as a viewer shows them.

#include <filesystem>
#include <utility>

#include "host/base/messages.h"
#include "host/commands/commands.h"

namespace host {

int plot(const Plugin& plugin, const Request& request) {
  refuseToOverwrite(request.files, request.output);
  Output output(request.output);
  const bool isPicture = request.output != kStandardOutput;
  winsize room = terminalSize();
  NameChoice choice(request.patterns);
  std::vector<Panel> panels;
  int status = kSuccess;
  for (const std::string& name : request.files) {
    try {
      File file = openFile(plugin, name);
      const TimeAxes axes(file.streams); // of all: a choice moves none
      keepChosen(file, choice);
      keepDeliverable(file);
      if (isPicture && panels.size() + file.streams.size() > kMostPanels)
        throw Error(name + ": too many streams for a picture; choose some with --stream");
      std::vector<Panel> added =
          makePanels(plugin, file, axes, request.window, isPicture ? kPictureColumns : room.ws_col);
      throwIfChanged(plugin, file);
      if (added.size() < file.streams.size())
        status = kFailure;
      for (Panel& panel : added)
        if (request.files.size() > 1)
          panel.title.insert(0, std::filesystem::path(name).filename().string() + ", ");
      panels.insert(panels.end(), added.begin(), added.end());
    } catch (const Error& error) {
      reportError(error.what());
      status = kFailure;
    }
    plugin.call(&Table::release_all_files);
  }
  choice.throwIfUnmatched();
  if (panels.empty())
    throw Error("no stream that can be drawn");
  const std::string head = request.files.size() == 1
                               ? std::filesystem::path(request.files[0]).filename().string()
                               : std::to_string(request.files.size()) + " files";
  if (room.ws_row > 0)
    --room.ws_row; // for the prompt
  output.write(isPicture ? drawPicture(panels, head, request.output)
                         : drawCharacters(std::move(panels), room));
  output.commit();
  return status;
}

} // namespace host
