#include "host/boundary/samples.h"

#include <algorithm>
#include <bit>

#include <fmt/core.h>

namespace host {

namespace {

constexpr uint64_t kMarkBits = 0x7ff8'6d61'726b'6564; // a quiet NaN

// The samples stand at the start, so the marks are at the end. Seen from there: a sample that
// happens to equal the mark hides nothing in front of it.
size_t countWritten(const std::vector<double>& values) {
  return static_cast<size_t>(values.rend() -
                             std::find_if_not(values.rbegin(), values.rend(), isUnwritten));
}

} // namespace

double unwrittenMark() noexcept {
  return std::bit_cast<double>(kMarkBits);
}

bool isUnwritten(double value) noexcept {
  return std::bit_cast<uint64_t>(value) == kMarkBits;
}

std::string Samples::shortfall() const {
  if (values.size() == declared)
    return {};
  if (values.size() == kMostSamplesOfACopy)
    return fmt::format("the first {} of {} samples: one copy holds no more", values.size(),
                       declared);
  return fmt::format("{} of {} samples found", values.size(), declared);
}

Samples copySamples(const Plugin& plugin, const FileRecord& file, const StreamRecord& stream) {
  Samples samples;
  samples.declared = stream.sampleCount;
  if (!stream.deliverable)
    return samples;
  samples.values.assign(std::min(stream.sampleCount, kMostSamplesOfACopy), unwrittenMark());
  const int size = static_cast<int>(samples.values.size() * sizeof(double));
  // The status says no more than the marks do.
  plugin->copy_variable_data(plugin.handle(), file.handle, stream.handle, stream.variable,
                             ox_wp_type_double, samples.values.data(), size);
  samples.values.resize(countWritten(samples.values));
  return samples;
}

} // namespace host
