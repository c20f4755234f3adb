#include <algorithm>
#include <cstring>
#include <vector>

#include "host/boundary/samples.h"
#include "host/check/rules.h"

namespace host {

namespace {

// Every copy reads the file again, so a file of many streams is not copied as a whole.
constexpr int kStreamsTried = 8;

// Room behind what a copy may write to, to see that it does not.
constexpr size_t kGuard = 4;

struct Copy {
  int status;
  std::vector<double> buffer; // all of it, guard included, marks where nothing was written
};

class Stream {
public:
  Stream(const Loaded& loaded, ox_wp_section_handle section, int variable)
      : loaded_(loaded), section_(section), variable_(variable) {}

  // The samples that a copy of everything finds.
  const std::vector<double>& samples() const noexcept { return samples_; }
  void setSamples(std::vector<double> samples) { samples_ = std::move(samples); }

  Copy copy(int size, ox_wp_data_type type = ox_wp_type_double) const {
    return copyOf(variable_, size, type);
  }
  Copy copyOf(int variable, int size, ox_wp_data_type type = ox_wp_type_double) const {
    const size_t room = size < 0 ? 0 : static_cast<size_t>(size) / sizeof(double);
    Copy result{0, std::vector<double>(room + kGuard, unwrittenMark())};
    result.status = copyInto(variable, type, result.buffer.data(), size);
    return result;
  }
  int copyInto(int variable, ox_wp_data_type type, void* buffer, int size) const {
    return loaded_.plugin->copy_variable_data(loaded_.plugin.handle(), loaded_.file, section_,
                                              variable, type, buffer, size);
  }

  // The first `count` slots hold the stream's first samples, the others nothing.
  void expectSamples(const Copy& copy, size_t count, int size) const {
    const auto behind = copy.buffer.begin() + static_cast<std::ptrdiff_t>(count);
    const size_t bytes = count * sizeof(double);
    expect(std::memcmp(copy.buffer.data(), samples_.data(), bytes) == 0,
           "variable {}, {} bytes: other samples than in a copy of everything", variable_, size);
    expect(std::all_of(behind, copy.buffer.end(), isUnwritten),
           "variable {}, {} bytes: more than {} samples were written", variable_, size, count);
  }

  int number() const noexcept { return variable_; }
  int variablesOfSection() const { return loaded_.variableCount(section_); }

private:
  const Loaded& loaded_;
  ox_wp_section_handle section_;
  int variable_;
  std::vector<double> samples_;
};

int sizeOf(size_t samples) noexcept {
  return static_cast<int>(samples * sizeof(double));
}

// The first streams of which a copy finds anything.
std::vector<Stream> streamsOf(const Loaded& loaded) {
  std::vector<Stream> streams;
  loaded.forEachVariable([&](ox_wp_section_handle section, int variable) {
    const int64_t declared = loaded.sampleCount(section, variable);
    if (streams.size() == kStreamsTried || declared < 1 ||
        declared > static_cast<int64_t>(kMostSamplesOfACopy - kGuard))
      return;
    Stream stream(loaded, section, variable);
    std::vector<double> found = stream.copy(sizeOf(static_cast<size_t>(declared))).buffer;
    found.erase(std::find_if_not(found.rbegin(), found.rend(), isUnwritten).base(), found.end());
    if (found.empty())
      return;
    stream.setSamples(std::move(found));
    streams.push_back(std::move(stream));
  });
  if (streams.empty())
    throw Skipped("no stream of the file is delivered");
  return streams;
}

template<class Try>
void forEachStream(const Subject& subject, Try attempt) {
  const Loaded loaded(subject);
  for (const Stream& stream : streamsOf(loaded))
    attempt(stream);
}

void expectNothingCopied(const Stream& stream, const Copy& copy, const std::string& what) {
  expect(copy.status == 1, "variable {}: {} gives {}", stream.number(), what, copy.status);
  expect(std::all_of(copy.buffer.begin(), copy.buffer.end(), isUnwritten),
         "variable {}: {} writes to the buffer", stream.number(), what);
}

void fillsBuffers(const Subject& subject) {
  forEachStream(subject, [](const Stream& stream) {
    const size_t all = stream.samples().size();
    for (const size_t count : {all, (all + 1) / 2, size_t{1}}) {
      const Copy copy = stream.copy(sizeOf(count));
      expect(copy.status == 0, "variable {}: {} of {} samples give {}", stream.number(), count, all,
             copy.status);
      stream.expectSamples(copy, count, sizeOf(count));
    }
  });
}

void tellsLongCopies(const Subject& subject) {
  forEachStream(subject, [](const Stream& stream) {
    const size_t all = stream.samples().size();
    const Copy copy = stream.copy(sizeOf(all + 1));
    expect(copy.status == 1, "variable {}: one sample too many gives {}", stream.number(),
           copy.status);
    stream.expectSamples(copy, all, sizeOf(all + 1));
  });
}

void roundsSizesDown(const Subject& subject) {
  forEachStream(subject, [](const Stream& stream) {
    for (const size_t count : {size_t{0}, size_t{1}, std::min<size_t>(2, stream.samples().size())})
      for (const int rest : {1, 4, 7}) {
        const int size = sizeOf(count) + rest;
        const Copy copy = stream.copy(size);
        expect(count == 0 || copy.status == 0, "variable {}: {} bytes give {}", stream.number(),
               size, copy.status);
        stream.expectSamples(copy, count, size);
      }
  });
}

void storesNothingForNegativeSizes(const Subject& subject) {
  forEachStream(subject, [](const Stream& stream) {
    for (const int size : {-1, -8, -4096, INT32_MIN})
      stream.expectSamples(stream.copy(size), 0, size);
  });
}

void refusesOtherTypes(const Subject& subject) {
  forEachStream(subject, [](const Stream& stream) {
    for (const int type : {-1, 0, 2, 8, 9, 11, 13, INT32_MAX}) {
      const Copy copy =
          stream.copy(sizeOf(stream.samples().size()), static_cast<ox_wp_data_type>(type));
      expectNothingCopied(stream, copy, fmt::format("type {}", type));
    }
  });
}

void refusesOtherVariables(const Subject& subject) {
  forEachStream(subject, [](const Stream& stream) {
    const int size = sizeOf(stream.samples().size());
    for (const int variable : {stream.variablesOfSection(), INT32_MAX, -1, INT32_MIN})
      expectNothingCopied(stream, stream.copyOf(variable, size),
                          fmt::format("number {}", variable));
  });
}

void refusesNullBuffers(const Subject& subject) {
  forEachStream(subject, [](const Stream& stream) {
    for (const size_t count : {size_t{1}, stream.samples().size()}) {
      const int status =
          stream.copyInto(stream.number(), ox_wp_type_double, nullptr, sizeOf(count));
      expect(status == 1, "variable {}: null with room for {} samples gives {}", stream.number(),
             count, status);
    }
  });
}

void refusesNullSections(const Subject& subject) {
  const Loaded loaded(subject);
  const Stream stream(loaded, nullptr, 0);
  expectNothingCopied(stream, stream.copy(sizeOf(2)), "a null section");
}

constexpr std::array kRules = std::to_array<Rule>({
    {"a copy from a null section is refused", refusesNullSections, false},
    {"buffers of the stream's length or less are filled", fillsBuffers, true},
    {"a longer buffer gives 1 and is written to as far as samples go", tellsLongCopies, true},
    {"sizes are rounded down to whole samples", roundsSizesDown, true},
    {"negative sizes store nothing", storesNothingForNegativeSizes, true},
    {"other sample types are refused, the buffer untouched", refusesOtherTypes, true},
    {"copies of variables outside the section are refused", refusesOtherVariables, true},
    {"a null buffer is refused", refusesNullBuffers, true},
});

} // namespace

std::span<const Rule> sampleRules() {
  return kRules;
}

} // namespace host
