// `list`: what streams files hold.

#include "host/base/error.h"
#include "host/commands/commands.h"
#include "host/listing/listing.h"

namespace host {

namespace {

std::unique_ptr<Listing> makeListing(ListFormat format, Output& output) {
  switch (format) {
  case ListFormat::json:
    return jsonListing(output);
  case ListFormat::csv:
    return csvListing(output);
  case ListFormat::table:
    break;
  }
  return tableListing(output);
}

} // namespace

int list(const Plugin& plugin, const ListRequest& request) {
  Output output(kStandardOutput);
  const std::unique_ptr<Listing> listing = makeListing(request.format, output);
  int status = kSuccess;
  listing->begin(walkPlugin(plugin));
  for (const std::string& path : request.files) {
    std::optional<ListedFile> file;
    try {
      file = summarize(plugin, openFile(plugin, path));
    } catch (const Error& error) {
      status = kFailure;
      reportError(error.what());
      listing->failure(path, error.what());
    }
    if (file)
      listing->file(*file);
    output.flush(); // before an error line of the next file
    plugin->release_all_files(plugin.handle());
  }
  listing->end();
  output.commit();
  return status;
}

} // namespace host
