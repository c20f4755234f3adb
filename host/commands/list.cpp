// `list`: the streams that files hold.

#include "host/base/messages.h"
#include "host/boundary/file.h"
#include "host/commands/commands.h"
#include "host/listing/listing.h"

namespace host {

namespace {

// Copies every stream in turn. One stream's samples are in memory at a time. A copy that fails is
// reported, sets `status` and leaves its row without samples, unless the file has changed: then all
// fail with it.
SampleSummaries summarizeSamples(const Plugin& plugin, const File& file, int& status) {
  SampleSummaries summaries;
  for (const Stream& stream : file.streams) {
    SampleSummary& summary = summaries.emplace_back();
    Samples samples{{}, stream.sampleCount()};
    try {
      samples = copySamples(plugin, file, stream);
    } catch (const Error& error) {
      status = kFailure;
      reportError(error.what());
    }
    summary.found = samples.values.size();
    summary.shortfall = samples.shortfall();
    if (samples.values.empty())
      continue;
    summary.first = samples.values.front();
    summary.last = samples.values.back();
  }
  throwIfChanged(plugin, file);
  return summaries;
}

} // namespace

int list(const Plugin& plugin, const Request& request) {
  refuseToOverwrite(request.files, kStandardOutput);
  Output output(kStandardOutput);
  const Format& format = formatNamed(request.format);
  NameChoice choice(request.patterns);
  int status = kSuccess;
  output.write(format.opening(walkPlugin(plugin), request.samples));
  std::string separator;
  for (const std::string& name : request.files) {
    File file;
    SampleSummaries samples;
    std::string failure;
    try {
      file = openFile(plugin, name);
      keepChosen(file, choice);
      if (request.samples)
        samples = summarizeSamples(plugin, file, status);
    } catch (const Error& error) {
      file = {};
      file.name = name;
      failure = error.what();
      status = kFailure;
      reportError(failure);
    }
    if (const std::string shown = format.file(file, samples, failure); !shown.empty()) {
      output.write(separator + shown);
      separator = format.separator;
    }
    output.flush(); // before an error message of the next file
    plugin.call(&Table::release_all_files);
  }
  output.write(format.closing);
  output.commit();
  choice.throwIfUnmatched();
  return status;
}

} // namespace host
