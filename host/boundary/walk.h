// What a plug-in tells about itself and about a file, walked through the boundary into plain
// records that own all their texts.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/boundary/plugin.h"

namespace host {

// A property, copied: the plug-in's texts may change at the next call.
struct Property {
  int32_t identifier = ox_wp_prop_none;
  int32_t type = ox_wp_type_none;
  std::string text;    // types string and message
  double number = 0;   // type double
  int64_t integer = 0; // types integer and message
};

using Properties = std::vector<Property>;

// The name that the boundary gives to an identifier, without prefix; "unknown" for any other.
const char* propertyName(int32_t identifier) noexcept;

// One signal of a file. The named fields are picked from the properties by identifier.
struct StreamRecord {
  ox_wp_section_handle section = nullptr;
  int variable = 0;
  std::string name;
  uint64_t sampleCount = 0; // as declared; a copy can find fewer
  double start = 0;         // seconds
  double interval = 0;      // seconds; 0 when the sample rate is unknown
  double end = 0;           // seconds
  bool deliverable = false; // the samples can be copied
  Properties properties;

  // The time of a sample, rounded once, as the end of the stream is.
  double timeOf(uint64_t sample) const noexcept;
  // Samples per second; 0 when unknown.
  double sampleRate() const noexcept { return interval == 0 ? 0 : 1 / interval; }
};

struct SectionRecord {
  Properties properties;
  std::vector<StreamRecord> streams;
};

struct FileRecord {
  std::string path;
  ox_wp_file_handle handle = nullptr;
  bool changed = false; // the change flag: reading it has reset it
  Properties properties;
  std::vector<SectionRecord> sections;
};

// A walk that has not ended here never will: no plug-in has as many properties.
inline constexpr int kLongestWalk = 1 << 20;

// Delivers, and so takes out of the queue, the queued messages too.
Properties walkPlugin(const Plugin& plugin);

// Parses a file and walks all of it. Throws Error when the plug-in declines the file.
FileRecord openFile(const Plugin& plugin, const std::string& path);

} // namespace host
