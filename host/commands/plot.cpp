// `plot`: waveforms as a viewer shows them.

#include <sys/ioctl.h>

#include "host/base/error.h"
#include "host/boundary/path.h"
#include "host/boundary/selection.h"
#include "host/commands/commands.h"
#include "host/drawing/drawing.h"

namespace host {

int plot(const Plugin& plugin, const PlotRequest& request) {
  expectToKeep(request.files, request.output);
  Output output(request.output);
  NameChoice choice(request.streams);
  std::vector<File> files;
  files.reserve(request.files.size());
  for (const std::string& path : request.files)
    files.push_back(openChosen(plugin, path, choice));
  choice.expectMatches();
  std::erase_if(files, [](const File& file) { return file.streams.empty(); });
  if (files.empty())
    throw Error("no stream that can be delivered");
  if (request.output == kStandardOutput) {
    constexpr int kFewestRows = 12; // of a panel
    winsize room = terminalSize();
    --room.ws_row; // for the prompt
    drawCharacters(plugin, files, request.window, room, kFewestRows, output);
  } else {
    drawPicture(plugin, files, request.window, request.output, output);
  }
  for (const File& file : files)
    expectUnchanged(plugin, file);
  output.commit();
  return kSuccess;
}

} // namespace host
