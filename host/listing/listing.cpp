#include "host/listing/listing.h"

#include "host/boundary/samples.h"

namespace host {

namespace {

SampleSummary summarize(const Samples& samples) {
  SampleSummary summary;
  summary.found = samples.values.size();
  summary.shortfall = samples.shortfall();
  if (!samples.values.empty()) {
    summary.first = samples.values.front();
    summary.last = samples.values.back();
  }
  return summary;
}

} // namespace

ListedFile summarize(const Plugin& plugin, FileRecord record) {
  ListedFile listed;
  listed.record = std::move(record);
  for (const StreamRecord& stream : listed.record.streams)
    listed.samples.push_back(summarize(copySamples(plugin, listed.record, stream)));
  return listed;
}

} // namespace host
