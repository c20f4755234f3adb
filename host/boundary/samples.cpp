#include "host/boundary/samples.h"

#include <algorithm>
#include <bit>
#include <cstdint>

#include <fmt/format.h>

#include "host/base/error.h"

namespace host {

namespace {

constexpr uint64_t kSamplesPerByte = 2; // the densest encoding of miniSEED has 1.75
constexpr uint64_t kSmallestRoom = uint64_t{1} << 20;
constexpr uint64_t kMarkBits = 0x7ff8'6d61'726b'6564; // a quiet NaN

} // namespace

double unwrittenMark() noexcept {
  return std::bit_cast<double>(kMarkBits);
}

bool isUnwritten(double value) noexcept {
  return std::bit_cast<uint64_t>(value) == kMarkBits;
}

void dropUnwritten(std::vector<double>& values) noexcept {
  while (!values.empty() && isUnwritten(values.back()))
    values.pop_back();
}

std::string Samples::shortfall() const {
  if (values.size() == declared)
    return {};
  if (values.size() == kMostSamplesOfACopy)
    return fmt::format("the first {} of {} samples: one copy holds no more", values.size(),
                       declared);
  return fmt::format("{} of {} samples found", values.size(), declared);
}

Samples copySamples(const Plugin& plugin, const File& file, const Stream& stream) {
  Samples samples;
  if (!stream.deliverable)
    return samples;
  samples.declared = stream.sampleCount;
  const uint64_t most = std::min(stream.sampleCount, kMostSamplesOfACopy);
  // A damaged file can declare far more samples than it holds. Where the first buffer is too small
  // after all, a larger one follows.
  for (uint64_t room = std::min(most, std::max(kSmallestRoom, kSamplesPerByte * file.size));;
       room = std::min(most, 4 * room)) {
    samples.values.assign(room, unwrittenMark());
    plugin->copy_variable_data(plugin.handle(), file.handle, stream.section, stream.variable,
                               ox_wp_type_double, samples.values.data(),
                               static_cast<int>(room * sizeof(double)));
    dropUnwritten(samples.values);
    if (room == most || samples.values.size() < room)
      break;
  }
  // A status of 1 says no more: samples that are missing have left their marks.
  if (samples.values.empty() && most > 0)
    throw Error(fmt::format("{}: {}: none of {} samples can be read{}", file.path, stream.name,
                            samples.declared, pluginMessages(plugin)));
  return samples;
}

} // namespace host
