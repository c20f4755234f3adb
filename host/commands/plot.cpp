// `plot`: waveforms as a viewer shows them.

#include "host/base/error.h"
#include "host/boundary/selection.h"
#include "host/commands/commands.h"
#include "host/drawing/drawing.h"

namespace host {

int plot(const Plugin& plugin, const PlotRequest& request) {
  Output output(request.output, request.files);
  StreamChoice choice(request.streams);
  std::vector<File> files;
  for (const std::string& path : request.files)
    files.push_back(openChosen(plugin, path, choice));
  choice.expectMatches();
  std::erase_if(files, [](const File& file) { return file.streams.empty(); });
  if (files.empty())
    throw Error("no stream that can be delivered");
  if (request.output == kStandardOutput)
    drawCharacters(plugin, files, request.window, output);
  else
    drawPicture(plugin, files, request.window, request.output, output);
  output.commit();
  return kSuccess;
}

} // namespace host
