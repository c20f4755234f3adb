// What a plug-in reports about itself and about a file, read through the boundary into values that
// own all their strings, and copies of a stream's samples.
#pragma once

#include <bit>     // IWYU pragma: export
#include <climits> // IWYU pragma: export
#include <cstdint> // IWYU pragma: export
#include <string>
#include <vector>

#include <sys/stat.h> // IWYU pragma: export

#include "host/boundary/names.h"  // IWYU pragma: export
#include "host/boundary/plugin.h" // IWYU pragma: export

namespace host {

// A copy of a property: the plug-in's own strings may change at the next call.
struct Property {
  std::int32_t identifier = ox_wp_prop_none;
  std::int32_t type = ox_wp_type_none;
  std::string string;       // types string and message
  double number = 0;        // type double
  std::int64_t integer = 0; // types integer and message
};

using Properties = std::vector<Property>;

// Returns the property with this identifier; an empty one when there is none.
const Property& find(const Properties& properties, std::int32_t identifier) noexcept;

// One signal of a file, which the boundary calls a variable.
struct Stream {
  int sectionIndex = 0; // from 0
  ox_wp_section_handle section = nullptr;
  int variable = 0; // the stream's number within the section
  Properties properties;

  const std::string& name() const noexcept { return get(ox_wp_prop_variable_name).string; }
  // As declared; a copy can find fewer.
  std::uint64_t sampleCount() const noexcept {
    const std::int64_t count = get(ox_wp_prop_sample_count).integer;
    return count < 0 ? 0 : static_cast<std::uint64_t>(count);
  }
  // Seconds since the plug-in's own zero.
  double start() const noexcept { return get(ox_wp_prop_x_start).number; }
  double end() const noexcept { return get(ox_wp_prop_x_end).number; }
  // Seconds between samples; 0 when the sample rate is unknown.
  double interval() const noexcept { return get(ox_wp_prop_x_step).number; }
  // Samples per second; 0 when unknown.
  double sampleRate() const noexcept { return interval() == 0 ? 0 : 1 / interval(); }
  // Whether the samples can be copied.
  bool isDeliverable() const noexcept {
    return get(ox_wp_prop_variable_data_type).integer == ox_wp_type_double;
  }

  const Property& get(std::int32_t identifier) const noexcept {
    return find(properties, identifier);
  }
};

struct File {
  std::string name;    // as typed
  std::string path;    // as handed to the plug-in
  struct stat state{}; // before it was parsed
  ox_wp_file_handle handle = nullptr;
  Properties properties; // without the change flag, see throwIfChanged
  std::vector<Properties> sections;
  std::vector<Stream> streams; // of all sections, in order
};

// Ends a walk that would never end: no plug-in has as many properties.
inline constexpr int kLongestWalk = 1 << 20;

// Reads the queued messages too, which takes them out of the queue.
Properties walkPlugin(const Plugin& plugin);

// Returns the plug-in's error string and the queued messages, as the end of a message about what
// has just failed; empty when there are none. Takes the messages out of the queue.
std::string pluginMessages(const Plugin& plugin);

// Parses a file and reads all its properties. Throws Error when there is no such file or the
// plug-in declines it.
File openFile(const Plugin& plugin, const std::string& name);

// Removes the streams that are not chosen.
void keepChosen(File& file, NameChoice& choice);

// Removes the streams whose samples the plug-in cannot deliver, and reports them.
void keepDeliverable(File& file);

// The size of a copy in bytes is an int, and a copy always starts at the first sample.
inline constexpr std::uint64_t kMostSamplesOfACopy = INT_MAX / sizeof(double);

// A NaN that no recording holds: an element that still has these bits after a copy was not written.
inline constexpr double kUnwritten = std::bit_cast<double>(std::uint64_t{0x7ff8'6d61'726b'6564});
bool isUnwritten(double value) noexcept;
// Drops the marks at the end. A sample before them that happens to equal the mark stays.
void dropUnwritten(std::vector<double>& values) noexcept;

struct Samples {
  std::vector<double> values; // the samples that were found
  std::uint64_t declared = 0; // by the stream

  // What is missing and why, for people; empty when nothing is.
  std::string shortfall() const;
};

// Copies as many samples of a stream of the file as one copy holds, and says on a terminal which
// stream is being read. A stream that is not deliverable has and declares none. Memory is taken for
// what the file can hold, not for what it declares. Throws Error when the stream declares samples
// and none is found: the file is gone or cannot be read.
Samples copySamples(const Plugin& plugin, const File& file, const Stream& stream);

// Throws Error when the file has changed since before it was parsed. To be called after the last
// copy and before a result is shown or saved: copies read the file as it is at that moment, so they
// can be of two different files. The change flag alone does not see a file that is rewritten to the
// same size within a second; the time of its last modification misses a few milliseconds only.
// Nothing else reads that flag, since reading it resets it.
void throwIfChanged(const Plugin& plugin, const File& file);

} // namespace host
