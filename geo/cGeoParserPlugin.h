// The geophysical plug-in: its object, and the records that the readers fill and the host walks.
//
// A plug-in owns its files, a file its sections, a section its variables. The addresses of these
// objects are the host's handles, so none of them ever moves.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "plugin/cOxWpPlugin.h"
#include "plugin/cOxWpPluginFile.h"
#include "plugin/cOxWpPluginVariable.h"
#include "plugin/ox_wp_plugin.h"

class cGeoParserFile;
class cGeoParserPlugin;

// Which reader a file belongs to.
namespace geoFileParser {
enum geo_file_type : std::int64_t {
  geo_file_undefined = 0, // the extension decides
  geo_file_seg2 = 1,
  geo_file_geopsy_signal = 13,
  geo_file_miniseed = 26
};
} // namespace geoFileParser

// One recorded signal.
struct cGeoParserVariable : cOxWpPluginVariable {
  double sampleRate = 0;          // samples per second; 0: unknown
  std::int32_t startTime = 0;     // of the first sample: low 32 bits of microseconds since 1970
  std::int32_t nextStartTime = 0; // the miniSEED reader's mark from record to record
  std::int32_t gapSum = 0;        // likewise
};

// The variables that one reader found in one file.
struct cGeoParserSection {
  explicit cGeoParserSection(cGeoParserFile& parent) : file(&parent) {}

  // Both: 0 on success; 1 with identifier 0 for an index out of range. `property` is not null.
  int getSectionProperty(int index, _ox_wp_prop_type* property);
  int getVariableProperty(int variable, int index, _ox_wp_prop_type* property);

  // Copy the first samples of a variable, read anew from the file. `count` is in samples, `bytes`
  // in bytes; 0 on success, 1 on failure, a short copy included.
  int copyVariableDataDouble(int variable, double* buffer, int count);
  int copyVariableData(int variable, ox_wp_data_type type, void* buffer, int bytes);

  cGeoParserFile* file; // not owned; outlives the section
  std::vector<cGeoParserVariable> variables;
  std::int64_t tag = 0;
  std::string unitText; // the axis label asked for last: the host's record points here
};

// A parsed file.
class cGeoParserFile : public cOxWpPluginFile<cGeoParserPlugin, cGeoParserSection> {
public:
  using cOxWpPluginFile::cOxWpPluginFile;

  // Takes the place of the template's own table; the same rules as for a section's.
  int getFileProperty(int index, _ox_wp_prop_type* property);

  // As the section's, for one of this file's sections.
  int copyVariableDataDouble(cGeoParserSection& section, int variable, double* buffer, int count);
  int copyVariableData(cGeoParserSection& section, int variable, ox_wp_data_type type, void* buffer,
                       int bytes);

  std::int64_t fileType = geoFileParser::geo_file_undefined; // who can deliver its samples
};

class cGeoParserPlugin : public cOxWpPlugin<cGeoParserFile> {
public:
  cGeoParserPlugin();

  // The new file, at the end of the list; null, and the list as it was, when nothing in the file
  // can be delivered. A path parsed before gives a further file.
  cGeoParserFile* parseFile(const char* path);

  // As the section's, for a section of one of this plug-in's files.
  int copyVariableDataDouble(cGeoParserFile& file, cGeoParserSection& section, int variable,
                             double* buffer, int count);
  int copyVariableData(cGeoParserFile& file, cGeoParserSection& section, int variable,
                       ox_wp_data_type type, void* buffer, int bytes);
};

// Entry points that the table doesn't hold and the library doesn't export.
extern "C" {

// What ox_wp_plugin_initialize does.
int ox_wp_plugin_geo_initialize(_ox_wp_plugin_functions_type* table);

// copy_variable_data with the buffer's size as a number of doubles and without a result.
void ox_wp_plugin_geo_copy_variable_data_double(ox_wp_section_handle section, int variable,
                                                double* buffer, int count);
}
