#include "host/commands/input.h"

#include <fmt/format.h>

#include "host/base/error.h"

namespace host {

File openChosen(const Plugin& plugin, const std::string& path, StreamChoice& choice) {
  File file = openFile(plugin, path);
  choice.apply(file);
  std::vector<std::string> others;
  std::erase_if(file.streams, [&](const Stream& stream) {
    if (!stream.deliverable)
      others.push_back(stream.name);
    return !stream.deliverable;
  });
  if (!others.empty())
    reportError(path +
                ": left out, since the plug-in cannot deliver their samples: " + someOf(others));
  return file;
}

void announceCost(const File& file) {
  constexpr uint64_t kMuch = uint64_t{1} << 30; // bytes: about a second
  const uint64_t copies = file.streams.size();
  if (copies > 1 && file.size > kMuch / copies)
    reportError(
        fmt::format("{}: {} streams, which takes {} readings of {:.1f} MB; --stream chooses "
                    "some of them",
                    file.path, copies, copies, static_cast<double>(file.size) / 1e6));
}

} // namespace host
