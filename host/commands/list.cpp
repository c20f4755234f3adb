// `list`: the streams that files hold.

#include "host/base/error.h"
#include "host/boundary/selection.h"
#include "host/commands/commands.h"
#include "host/listing/listing.h"

namespace host {

namespace {

std::unique_ptr<Listing> makeListing(const ListRequest& request, Output& output) {
  const Columns columns = request.samples ? Columns::headersAndSamples : Columns::headers;
  switch (request.format) {
  case ListFormat::json:
    return jsonListing(output);
  case ListFormat::csv:
    return csvListing(output, columns);
  case ListFormat::table:
    break;
  }
  return tableListing(output, columns);
}

} // namespace

int list(const Plugin& plugin, const ListRequest& request) {
  Output output(kStandardOutput, request.files);
  StreamChoice choice(request.streams);
  const std::unique_ptr<Listing> listing = makeListing(request, output);
  int status = kSuccess;
  listing->begin(walkPlugin(plugin));
  for (const std::string& path : request.files) {
    std::optional<File> file;
    try {
      file = openFile(plugin, path);
    } catch (const Error& error) {
      status = kFailure;
      reportError(error.what());
      listing->failure(path, error.what());
    }
    if (file) {
      choice.apply(*file);
      listing->file(*file, request.samples ? summarizeSamples(plugin, *file) : SampleSummaries{});
    }
    output.flush(); // before an error message of the next file
    plugin->release_all_files(plugin.handle());
  }
  listing->end();
  output.commit();
  choice.expectMatches();
  return status;
}

} // namespace host
