#include <fmt/core.h>

#include "host/base/text.h"
#include "host/listing/listing.h"

namespace host {

namespace {

// Shortest digits that read back as the same double; empty when there is no value.
std::string exactNumber(const std::optional<double>& value) {
  return value ? fmt::format("{}", *value) : "";
}

class Csv : public Listing {
public:
  explicit Csv(Output& output) : output_(output) {}

  void begin(const Properties& /*plugin*/) override {
    output_.write("file,section,variable,name,samples,samples_found,sample_interval_s,"
                  "sample_rate_hz,start_s,end_s,deliverable,first_sample,last_sample\n");
  }

  void file(const ListedFile& file) override {
    for (size_t i = 0; i < file.samples.size(); ++i) {
      const StreamRecord& record = file.record.streams[i];
      const SampleSummary& samples = file.samples[i];
      // The rate is computed from the interval: 15 digits drop what that division adds.
      output_.write(fmt::format("{},{},{},{},{},{},{},{:.15g},{},{},{},{},{}\n",
                                csvField(file.record.path), record.section, record.variable,
                                csvField(record.name), record.sampleCount, samples.found,
                                record.interval, record.sampleRate(), record.start, record.end,
                                record.deliverable ? "yes" : "no", exactNumber(samples.first),
                                exactNumber(samples.last)));
    }
  }

private:
  Output& output_;
};

} // namespace

std::unique_ptr<Listing> csvListing(Output& output) {
  return std::make_unique<Csv>(output);
}

} // namespace host
