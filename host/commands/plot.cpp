// `plot`: waveforms as a viewer shows them.

#include "host/boundary/selection.h"
#include "host/commands/commands.h"
#include "host/drawing/drawing.h"

namespace host {

int plot(const Plugin& plugin, const PlotRequest& request) {
  const FileRecord file = openFile(plugin, request.file);
  const std::vector<StreamRecord> streams = selectStreams(file, request.streams);
  Output output(request.output);
  if (request.output.empty())
    drawCharacters(plugin, file, streams, output);
  else
    drawPicture(plugin, file, streams, request.output, output);
  output.commit();
  return kSuccess;
}

} // namespace host
