#include "host/listing/listing.h"

#include "host/base/progress.h"
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

SampleSummaries summarizeSamples(const Plugin& plugin, const File& file) {
  announceCost(file);
  Progress progress("Reading streams", file.streams.size());
  SampleSummaries summaries;
  for (const Stream& stream : file.streams) {
    progress.show(summaries.size());
    summaries.push_back(summarize(copySamples(plugin, file, stream)));
  }
  return summaries;
}

} // namespace host
