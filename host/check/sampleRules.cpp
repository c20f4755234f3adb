// Rules of copies.

#include <algorithm>
#include <bit>
#include <cstdint>
#include <filesystem>
#include <vector>

#include "host/boundary/samples.h"
#include "host/check/rules.h"

namespace host {

namespace {

// Slots behind what a copy may write to, to see that it does not.
constexpr size_t kGuard = 4;

int sizeOf(size_t samples) noexcept {
  return static_cast<int>(samples * sizeof(double));
}

struct Copy {
  int status;
  std::vector<double> buffer; // guard included; the mark where nothing was written
};

class CopiedStream {
public:
  CopiedStream(const Subject& subject, const Owner& owner) : subject_(subject), owner_(owner) {}

  // Finds the samples, by a copy with room for `declared` ones. What it writes behind that is left
  // to the rules.
  void findSamples(size_t declared) {
    declared_ = declared;
    std::vector<double> found = copy(sizeOf(declared)).buffer;
    found.resize(declared);
    dropUnwritten(found);
    samples_ = std::move(found);
  }
  const std::vector<double>& samples() const noexcept { return samples_; }

  Copy copy(int size, ox_wp_data_type type = ox_wp_type_double) const {
    return copyOf(number(), size, type);
  }
  Copy copyOf(int variable, int size, ox_wp_data_type type = ox_wp_type_double) const {
    const size_t room = size < 0 ? 0 : static_cast<size_t>(size) / sizeof(double);
    Copy result{0, std::vector<double>(room + kGuard, unwrittenMark())};
    result.status = copyInto(variable, type, result.buffer.data(), size);
    return result;
  }
  int copyInto(int variable, ox_wp_data_type type, void* buffer, int size) const {
    expectTimeForCopy(subject_);
    const Loaded& loaded = owner_.loaded;
    return loaded.plugin->copy_variable_data(loaded.plugin.handle(), loaded.file, owner_.section,
                                             variable, type, buffer, size);
  }

  // The first `count` slots hold the stream's first samples, and the others stay unwritten.
  void expectSamples(const Copy& copy, size_t count, int size) const {
    for (size_t i = 0; i < copy.buffer.size(); ++i) {
      const double seen = copy.buffer[i];
      if (i >= count)
        expect(isUnwritten(seen), "variable {}, {} bytes: {} was written behind the {} samples",
               number(), size, seen, count);
      else
        expect(std::bit_cast<uint64_t>(seen) == std::bit_cast<uint64_t>(samples_[i]),
               "variable {}, {} bytes: sample {} is {}, but {} in a copy of everything", number(),
               size, i, seen, samples_[i]);
    }
  }

  // A copy of samples that are there fails only where the file cannot be read to its end. Then no
  // copy can be expected to succeed, not even one of a single sample. But the file is undamaged, as
  // far as can be seen, where a copy finds all that it declares.
  void expectFilled(size_t count, int rest) const {
    const int size = sizeOf(count) + rest; // is rounded down
    const Copy filled = copy(size);
    if (filled.status != 0 && samples_.size() < declared_ && copy(sizeOf(1)).status != 0)
      throw Skipped("the plug-in reports no copy of this file as complete");
    expect(filled.status == 0,
           "variable {}, {} bytes: {} of {} samples give status {} instead of 0", number(), size,
           count, samples_.size(), filled.status);
    expectSamples(filled, count, size);
  }

  const std::string& path() const noexcept { return subject_.file; }
  int number() const noexcept { return owner_.variable; }
  int variablesOfSection() const { return owner_.loaded.variableCount(owner_.section); }

private:
  const Subject& subject_;
  Owner owner_;
  size_t declared_ = 0;
  std::vector<double> samples_;
};

// What the variable declares; 0 when it is not deliverable or one copy does not hold it.
size_t declaredSamples(const Owner& variable) {
  const int64_t declared = variable.value(ox_wp_prop_sample_count).integer_value;
  if (variable.value(ox_wp_prop_variable_data_type).integer_value != ox_wp_type_double ||
      declared < 1 || declared > static_cast<int64_t>(kMostSamplesOfACopy - kGuard))
    return 0;
  return static_cast<size_t>(declared);
}

// Tries a rule on the first deliverable streams. One that it skips does not count, unless it skips
// all of them.
template<void (*rule)(const CopiedStream& stream)>
void onStreams(const Subject& subject) {
  const Loaded loaded(subject);
  Skipped reason("none of the first streams has samples that can be copied");
  size_t tried = 0;
  bool anyKept = false;
  loaded.forEachVariable([&](const Owner& owner) {
    const size_t declared = declaredSamples(owner);
    if (declared == 0 || tried == kStreamsTried)
      return;
    ++tried;
    try {
      CopiedStream stream(subject, owner);
      stream.findSamples(declared);
      if (stream.samples().empty())
        return;
      rule(stream);
      anyKept = true;
    } catch (const Skipped& skipped) {
      reason = skipped;
    }
  });
  if (!anyKept)
    throw Skipped(reason);
}

void expectNothingCopied(const CopiedStream& stream, const Copy& copy, const std::string& what) {
  expect(copy.status == 1, "variable {}: {}: expected status 1, seen {}", stream.number(), what,
         copy.status);
  expect(std::all_of(copy.buffer.begin(), copy.buffer.end(), isUnwritten),
         "variable {}: {}: the buffer was written to", stream.number(), what);
}

void fillsBuffers(const CopiedStream& stream) {
  const size_t all = stream.samples().size();
  stream.expectFilled(all, 0);
  stream.expectFilled((all + 1) / 2, 1);
  stream.expectFilled(1, 7);
}

void reportsLongCopies(const CopiedStream& stream) {
  const size_t all = stream.samples().size();
  const Copy copy = stream.copy(sizeOf(all + 1));
  expect(copy.status == 1, "variable {}: one sample too many: expected status 1, seen {}",
         stream.number(), copy.status);
  stream.expectSamples(copy, all, sizeOf(all + 1));
}

void storesNothingInSmallSizes(const CopiedStream& stream) {
  for (const int size : {7, 1, 0, -1, -8, INT32_MIN}) {
    stream.expectSamples(stream.copy(size), 0, size);
    stream.copyInto(stream.number(), ox_wp_type_double, nullptr, size);
  }
}

void refusesOtherTypes(const CopiedStream& stream) {
  for (const int type : {-1, 0, 2, 8, 9, 11, 13, INT32_MAX}) {
    const Copy copy =
        stream.copy(sizeOf(stream.samples().size()), static_cast<ox_wp_data_type>(type));
    expectNothingCopied(stream, copy, fmt::format("type {}", type));
  }
}

void refusesOtherVariables(const CopiedStream& stream) {
  const int size = sizeOf(stream.samples().size());
  for (const int variable : {stream.variablesOfSection(), INT32_MAX, -1, INT32_MIN})
    expectNothingCopied(stream, stream.copyOf(variable, size),
                        fmt::format("number {} instead", variable));
}

void refusesNullBuffers(const CopiedStream& stream) {
  for (const size_t count : {size_t{1}, stream.samples().size()}) {
    const int status = stream.copyInto(stream.number(), ox_wp_type_double, nullptr, sizeOf(count));
    expect(status == 1, "variable {}: null for {} samples: expected status 1, seen {}",
           stream.number(), count, status);
  }
}

// Neither samples in memory nor a descriptor that was kept may serve a copy. Once the file has
// vanished, no further stream has samples to try this with.
void readsTheFileAsItIs(const CopiedStream& stream) {
  std::filesystem::remove(stream.path());
  expectNothingCopied(stream, stream.copy(sizeOf(1)), "after the file has vanished");
}

void refusesNullSections(const Subject& subject) {
  const Loaded loaded(subject);
  const CopiedStream stream(subject, {loaded, PropertyLevel::variable});
  expectNothingCopied(stream, stream.copy(sizeOf(2)), "a null section");
}

constexpr std::array kRules = std::to_array<Rule>({
    {"a copy from a null section is refused", refusesNullSections},
    {"buffers of the stream's length or less are filled", onStreams<fillsBuffers>, Needs::file},
    {"a longer buffer gives 1 and holds all samples", onStreams<reportsLongCopies>, Needs::file},
    {"sizes below a sample store nothing", onStreams<storesNothingInSmallSizes>, Needs::file},
    {"samples are read from the file as it is at the copy", onStreams<readsTheFileAsItIs>,
     Needs::copy},
    {"other sample types are refused, the buffer untouched", onStreams<refusesOtherTypes>,
     Needs::file},
    {"copies of variables outside the section are refused", onStreams<refusesOtherVariables>,
     Needs::file},
    {"a null buffer is refused", onStreams<refusesNullBuffers>, Needs::file},
});

} // namespace

const std::span<const Rule> kSampleRules = kRules;

} // namespace host
