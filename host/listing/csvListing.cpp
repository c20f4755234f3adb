// `list` as CSV: a row for each stream.

#include <fmt/format.h>

#include "host/base/strings.h"
#include "host/listing/listing.h"

namespace host {

namespace {

// Shortest digits that read back as the same double; empty when there is no value.
std::string exactNumber(const std::optional<double>& value) {
  return value ? fmt::format("{}", *value) : "";
}

class Csv : public Listing {
public:
  Csv(Output& output, bool hasSamples) : output_(output), hasSamples_(hasSamples) {}

  void begin(const Properties& /*plugin*/) override {
    output_.write("file,section,variable,name,samples,sample_interval_s,sample_rate_hz,start_s,"
                  "end_s,deliverable");
    output_.write(hasSamples_ ? ",samples_found,first_sample,last_sample\n" : "\n");
  }

  void file(const File& file, const SampleSummaries& samples) override {
    for (size_t i = 0; i < file.streams.size(); ++i) {
      const Stream& stream = file.streams[i];
      // The rate is computed from the interval: 15 digits drop what that division adds.
      output_.write(fmt::format("{},{},{},{},{},{},{:.15g},{},{},{}", csvField(file.path),
                                stream.sectionIndex, stream.variable, csvField(stream.name),
                                stream.sampleCount, stream.interval, stream.sampleRate(),
                                toNanosecond(stream.start), toNanosecond(stream.end),
                                stream.deliverable ? "yes" : "no"));
      if (!samples.empty())
        output_.write(fmt::format(",{},{},{}", samples[i].found, exactNumber(samples[i].first),
                                  exactNumber(samples[i].last)));
      output_.write("\n");
    }
  }

private:
  Output& output_;
  bool hasSamples_;
};

} // namespace

std::unique_ptr<Listing> csvListing(Output& output, bool hasSamples) {
  return std::make_unique<Csv>(output, hasSamples);
}

} // namespace host
