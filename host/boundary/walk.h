// What a plug-in reports about itself and about a file, read through the boundary into values that
// own all their strings.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/boundary/plugin.h" // IWYU pragma: export

namespace host {

// A copy of a property: the plug-in's own strings may change at the next call.
struct Property {
  int32_t identifier = ox_wp_prop_none;
  int32_t type = ox_wp_type_none;
  std::string string;  // types string and message
  double number = 0;   // type double
  int64_t integer = 0; // types integer and message
};

using Properties = std::vector<Property>;

// One signal of a file, which the boundary calls a variable. The named fields are copies of
// properties.
struct Stream {
  int sectionIndex = 0; // from 0
  ox_wp_section_handle section = nullptr;
  int variable = 0; // the stream's number within the section
  std::string name;
  std::string xLabel;
  std::string yLabel;
  uint64_t sampleCount = 0; // as declared; a copy can find fewer
  double start = 0;         // seconds, since what the plug-in says
  double interval = 0;      // seconds; 0 when the sample rate is unknown
  double end = 0;           // seconds
  bool deliverable = false; // the samples can be copied
  Properties properties;

  // The time of a sample, rounded once. Nominal behind a gap: the time between records is not
  // reported.
  double timeOf(uint64_t sample) const noexcept;
  // Samples per second; 0 when unknown.
  double sampleRate() const noexcept { return interval == 0 ? 0 : 1 / interval; }
};

// The time rounded to the nanosecond: its shortest digits then show no error of a calculation.
double toNanosecond(double seconds) noexcept;

struct File {
  std::string path;
  uint64_t size = 0; // in bytes; 0 when unknown
  ox_wp_file_handle handle = nullptr;
  Properties properties; // without the change flag, see hasChanged
  std::vector<Properties> sections;
  std::vector<Stream> streams; // of all sections, in order
};

// Ends a walk that would never end: no plug-in has as many properties.
inline constexpr int kLongestWalk = 1 << 20;

// Reads the queued messages too, which takes them out of the queue.
Properties walkPlugin(const Plugin& plugin);

// The plug-in's error string and the queued messages, as the end of a message about what has just
// failed; empty when there are none. Takes the messages out of the queue.
std::string pluginMessages(const Plugin& plugin);

// Parses a file and reads all its properties. Throws Error when the plug-in declines the file.
File openFile(const Plugin& plugin, const std::string& path);

// Reads the change flag, and so resets it: whether the file has changed since the last reading, or
// at first since it was parsed. Nothing else reads the flag.
bool hasChanged(const Plugin& plugin, ox_wp_file_handle file);

// Throws Error when the file has changed. To be called after the last copy and before a result is
// shown or saved: copies read the file as it is at that moment, so they can be of two different
// files.
void expectUnchanged(const Plugin& plugin, const File& file);

} // namespace host
