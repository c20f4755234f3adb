#include "host/boundary/selection.h"

#include <algorithm>

#include <fnmatch.h>

#include "host/base/error.h"
#include "host/base/text.h"

namespace host {

namespace {

bool matches(const StreamRecord& stream, const std::string& pattern) {
  return fnmatch(pattern.c_str(), stream.name.c_str(), 0) == 0;
}

} // namespace

std::vector<StreamRecord> selectStreams(const FileRecord& file,
                                        const std::vector<std::string>& patterns) {
  std::vector<StreamRecord> streams = file.streams;
  for (const std::string& pattern : patterns)
    if (std::none_of(streams.begin(), streams.end(),
                     [&](const StreamRecord& stream) { return matches(stream, pattern); }))
      throw Error(file.path + ": no stream is named " + pattern);
  std::erase_if(streams, [&](const StreamRecord& stream) {
    return !patterns.empty() &&
           std::none_of(patterns.begin(), patterns.end(),
                        [&](const std::string& pattern) { return matches(stream, pattern); });
  });
  std::erase_if(streams, [](const StreamRecord& stream) {
    if (!stream.deliverable)
      reportError(printable(stream.name) + ": the plug-in can't deliver its samples, left out");
    return !stream.deliverable;
  });
  if (streams.empty())
    throw Error(file.path + ": no stream that can be delivered");
  return streams;
}

} // namespace host
