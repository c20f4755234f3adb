// Which streams of a file are meant.
#pragma once

#include <string>
#include <vector>

#include "host/boundary/walk.h"

namespace host {

// The deliverable streams whose name matches one of the shell patterns, or all of them when there
// is no pattern, in the order of the file. Streams that are meant but not deliverable are told on
// standard error. Throws Error for a pattern that matches no name and when no stream is left.
std::vector<StreamRecord> selectStreams(const FileRecord& file,
                                        const std::vector<std::string>& patterns);

} // namespace host
