// `list`: the streams that files hold.

#include "host/base/error.h"
#include "host/base/progress.h"
#include "host/boundary/path.h"
#include "host/boundary/samples.h"
#include "host/boundary/selection.h"
#include "host/commands/commands.h"
#include "host/listing/listing.h"

namespace host {

namespace {

std::unique_ptr<Listing> makeListing(const ListRequest& request, Output& output) {
  if (request.format == "json")
    return jsonListing(output);
  return request.format == "csv" ? csvListing(output, request.samples) : tableListing(output);
}

// Copies every stream in turn. One stream's samples are in memory at a time. A copy that fails is
// reported, sets `status` and leaves its row without samples, unless the file has changed: then all
// fail with it.
SampleSummaries summarizeSamples(const Plugin& plugin, const File& file, int& status) {
  Progress progress("Reading streams", file.streams.size());
  SampleSummaries summaries;
  std::vector<std::string> failures;
  for (const Stream& stream : file.streams) {
    progress.show(summaries.size());
    Samples samples{{}, stream.sampleCount};
    try {
      samples = copySamples(plugin, file, stream);
    } catch (const Error& error) {
      failures.emplace_back(error.what());
    }
    summaries.push_back({samples.values.size(), {}, {}, samples.shortfall()});
    if (!samples.values.empty()) {
      summaries.back().first = samples.values.front();
      summaries.back().last = samples.values.back();
    }
  }
  expectUnchanged(plugin, file);
  for (const std::string& failure : failures) {
    status = kFailure;
    reportError(failure);
  }
  return summaries;
}

} // namespace

int list(const Plugin& plugin, const ListRequest& request) {
  expectToKeep(request.files, kStandardOutput);
  Output output(kStandardOutput);
  NameChoice choice(request.streams);
  const std::unique_ptr<Listing> listing = makeListing(request, output);
  int status = kSuccess;
  listing->begin(walkPlugin(plugin));
  for (const std::string& path : request.files) {
    std::optional<File> file;
    SampleSummaries samples;
    try {
      file = openFile(plugin, path);
      choice.apply(*file);
      if (request.samples)
        samples = summarizeSamples(plugin, *file, status);
    } catch (const Error& error) {
      file.reset();
      status = kFailure;
      reportError(error.what());
      listing->failure(path, error.what());
    }
    if (file)
      listing->file(*file, samples);
    output.flush(); // before an error message of the next file
    plugin->release_all_files(plugin.handle());
  }
  listing->end();
  output.commit();
  choice.expectMatches();
  return status;
}

} // namespace host
