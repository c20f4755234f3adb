// Rules of copies.

#include <algorithm>
#include <bit>
#include <filesystem>
#include <vector>

#include "host/boundary/file.h"
#include "host/check/rules.h"

namespace host {

namespace {

// Slots after what a copy may write to, to see that it does not.
constexpr std::size_t kGuard = 4;

int sizeOf(std::size_t samples) noexcept {
  return static_cast<int>(samples * sizeof(double));
}

struct Copy {
  int status;
  std::vector<double> buffer; // guard included; the mark where nothing was written
};

Copy copy(const PropertySource& variable, int size, ox_wp_data_type type = ox_wp_type_double) {
  const std::size_t room = size < 0 ? 0 : static_cast<std::size_t>(size) / sizeof(double);
  Copy result{0, std::vector<double>(room + kGuard, kUnwritten)};
  result.status = variable.copy(type, result.buffer.data(), size);
  return result;
}

// A variable and the samples that a copy with room for all declared ones finds. What that copy
// writes after them is left to the rules.
struct CopiedStream {
  CopiedStream(const PropertySource& source, std::size_t sampleCount)
      : variable(source), declared(sampleCount), samples(copy(source, sizeOf(sampleCount)).buffer) {
    samples.resize(declared);
    dropUnwritten(samples);
  }

  // The first `count` slots hold the stream's first samples, and the others stay unwritten.
  void expectSamples(const Copy& seen, std::size_t count, int size) const {
    for (std::size_t i = 0; i < seen.buffer.size(); ++i) {
      const double value = seen.buffer[i];
      const double expected = i < count ? samples[i] : kUnwritten;
      if (std::bit_cast<std::uint64_t>(value) == std::bit_cast<std::uint64_t>(expected))
        continue;
      expect(i < count, "{}, {} bytes: {} was written after the {} samples", variable.name(), size,
             value, count);
      throw Broken(fmt::format("{}, {} bytes: sample {} is {}, but {} in a copy of everything",
                               variable.name(), size, i, value, expected));
    }
  }

  // Where a copy does not find what is declared, the file may be damaged, and none need succeed.
  void expectFilled(std::size_t count, int rest) const {
    const int size = sizeOf(count) + rest; // is rounded down
    const Copy filled = copy(variable, size);
    expect(filled.status == 0 || samples.size() < declared,
           "{}, {} bytes: {} of {} samples give status {} instead of 0", variable.name(), size,
           count, samples.size(), filled.status);
    expectSamples(filled, count, size);
  }

  PropertySource variable;
  std::size_t declared;
  std::vector<double> samples;
};

// What the variable declares; 0 when it is not deliverable or one copy does not hold it.
std::size_t declaredSamples(const PropertySource& variable) {
  const std::int64_t declared = variable.value(ox_wp_prop_sample_count).integer_value;
  if (variable.value(ox_wp_prop_variable_data_type).integer_value != ox_wp_type_double ||
      declared < 1 || declared > static_cast<std::int64_t>(kMostSamplesOfACopy - kGuard))
    return 0;
  return static_cast<std::size_t>(declared);
}

// Tries a rule on the first deliverable streams, and on those of them without samples only if it is
// about these.
template<void (*rule)(const CopiedStream& stream), bool isOfEmpty = false>
void onStreams(Loaded& loaded) {
  std::size_t copied = 0;
  bool isTried = false;
  loaded.forEachVariable([&](const PropertySource& variable) {
    const std::size_t declared = declaredSamples(variable);
    if (declared == 0 || copied == kStreamsTried)
      return;
    ++copied;
    const CopiedStream stream(variable, declared);
    if (stream.samples.empty() && !isOfEmpty)
      return;
    rule(stream);
    isTried = true;
  });
  if (!isTried)
    throw Skipped("none of the first streams has samples that can be copied");
}

void findsWhatIsDeclared(const CopiedStream& stream) {
  const std::size_t found = stream.samples.size();
  expect(found == stream.declared, "{}: {} of {} samples are found, unless the file is damaged",
         stream.variable.name(), found, stream.declared);
}

void expectNothingCopied(const PropertySource& variable, const std::string& what, std::size_t count,
                         ox_wp_data_type type = ox_wp_type_double) {
  const Copy refused = copy(variable, sizeOf(count), type);
  expectStatus(1, refused.status, what);
  expect(std::all_of(refused.buffer.begin(), refused.buffer.end(), isUnwritten),
         "{}: the buffer was written to", what);
}

void fillsBuffers(const CopiedStream& stream) {
  const std::size_t all = stream.samples.size();
  stream.expectFilled(all, 0);
  stream.expectFilled((all + 1) / 2, 1);
  stream.expectFilled(1, 7);
}

void reportsLongCopies(const CopiedStream& stream) {
  const std::size_t all = stream.samples.size();
  const Copy longer = copy(stream.variable, sizeOf(all + 1));
  expectStatus(1, longer.status, stream.variable.name() + ", one sample too many");
  stream.expectSamples(longer, all, sizeOf(all + 1));
}

void storesNothingInSmallSizes(const CopiedStream& stream) {
  for (const int size : {7, 1, 0, -1, -8, INT32_MIN}) {
    stream.expectSamples(copy(stream.variable, size), 0, size);
    stream.variable.copy(ox_wp_type_double, nullptr, size);
  }
}

void refusesOtherTypes(const CopiedStream& stream) {
  for (const int type : {-1, 0, 2, 8, 9, 11, 13, INT32_MAX})
    expectNothingCopied(stream.variable, fmt::format("{}: type {}", stream.variable.name(), type),
                        stream.samples.size(), static_cast<ox_wp_data_type>(type));
}

void refusesOtherVariables(const CopiedStream& stream) {
  PropertySource other = stream.variable;
  for (const int number : outside(other.loaded.variableCount(other.section))) {
    other.variable = number;
    expectNothingCopied(other, other.name(), stream.samples.size());
  }
}

void refusesNullBuffers(const CopiedStream& stream) {
  for (const std::size_t count : {std::size_t{1}, stream.samples.size()})
    expectStatus(1, stream.variable.copy(ox_wp_type_double, nullptr, sizeOf(count)),
                 fmt::format("{}, null for {} samples", stream.variable.name(), count));
}

// Neither samples in memory nor a descriptor that was kept may serve a copy. Once the file has
// vanished, no further stream has samples to try this with.
void readsTheFileAsItIs(const CopiedStream& stream) {
  std::filesystem::remove(stream.variable.loaded.subject.file);
  expectNothingCopied(stream.variable, "after the file has vanished", 1);
}

void refusesNullSections(Loaded& loaded) {
  expectNothingCopied({loaded, PropertyLevel::variable}, "a null section", 2);
}

constexpr std::array kRules = std::to_array<Rule>({
    {"a copy from a null section is refused", refusesNullSections},
    {"a copy finds the samples that are declared", onStreams<findsWhatIsDeclared, true>,
     Needs::file},
    {"buffers of the stream's length or less are filled", onStreams<fillsBuffers>, Needs::file},
    {"a longer buffer gives 1 and holds all samples", onStreams<reportsLongCopies>, Needs::file},
    {"sizes below a sample store nothing", onStreams<storesNothingInSmallSizes>, Needs::file},
    {"samples are read from the file as it is at the copy", onStreams<readsTheFileAsItIs>,
     Needs::file},
    {"other sample types are refused, the buffer untouched", onStreams<refusesOtherTypes>,
     Needs::file},
    {"copies of variables outside the section are refused", onStreams<refusesOtherVariables>,
     Needs::file},
    {"a null buffer is refused", onStreams<refusesNullBuffers>, Needs::file},
});

} // namespace

const std::span<const Rule> kSampleRules = kRules;

} // namespace host
