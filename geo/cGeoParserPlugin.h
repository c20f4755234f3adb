// The geophysical plug-in: its object, the records that the readers fill and the host walks, and
// the functions of its table.
//
// A plug-in owns its files, a file its sections, a section its variables. The addresses of
// plug-ins, files and sections are the host's handles, so these never move. Variables move while a
// reader adds to them; the host knows them by their numbers.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "plugin/cOxWpPlugin.h"
#include "plugin/cOxWpPluginFile.h"
#include "plugin/cOxWpPluginVariable.h"
#include "plugin/ox_wp_plugin.h" // IWYU pragma: export, for the readers

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

// One recorded signal: of a miniSEED file, one data stream.
struct cGeoParserVariable : cOxWpPluginVariable {
  double sampleRate = 0;          // samples per second; 0: unknown
  std::int32_t startTime = 0;     // of the first sample: low 32 bits of microseconds since 1970
  std::int32_t nextStartTime = 0; // kept by the miniSEED reader from record to record
  std::int32_t gapSum = 0;        // likewise
};

// The variables that one reader found in one file.
struct cGeoParserSection {
  explicit cGeoParserSection(cGeoParserFile& parent) : file(&parent) {}

  // Both return 0 on success, and 1 with identifier 0 for an index out of range. `property` is not
  // null.
  int getSectionProperty(int index, _ox_wp_prop_type* property);
  int getVariableProperty(int variable, int index, _ox_wp_prop_type* property);

  // Both read the first samples of a variable from the file: `count` samples, or as many as fit
  // into `bytes` bytes. They return 0 on success and 1 on failure, for which fewer samples are one
  // case.
  int copyVariableDataDouble(int variable, double* buffer, int count);
  int copyVariableData(int variable, ox_wp_data_type type, void* buffer, int bytes);

  cGeoParserFile* file; // not owned; outlives the section
  std::vector<cGeoParserVariable> variables;
  std::int64_t tag = 0;
  std::string unitText; // the axis label read last; shared, the host's record points into it

private:
  int setLabel(_ox_wp_prop_type& property, std::int32_t identifier, const char* label);
};

class cGeoParserFile : public cOxWpPluginFile<cGeoParserPlugin, cGeoParserSection> {
public:
  using cOxWpPluginFile::cOxWpPluginFile;

  // Hides the template's own table. The same rules hold as for a section's properties.
  int getFileProperty(int index, _ox_wp_prop_type* property);

  // As the section's functions, for one of this file's sections.
  int copyVariableDataDouble(cGeoParserSection& section, int variable, double* buffer, int count);
  int copyVariableData(cGeoParserSection& section, int variable, ox_wp_data_type type, void* buffer,
                       int bytes);

  std::int64_t fileType = geoFileParser::geo_file_undefined; // the reader that delivers its samples
};

class cGeoParserPlugin : public cOxWpPlugin<cGeoParserFile> {
public:
  cGeoParserPlugin();

  // Appends the file to the list and returns it. Returns null and leaves the list as it was when
  // the file has no data to deliver. A path parsed before makes a further file.
  cGeoParserFile* parseFile(const char* path);

  // As the section's functions, for a section of one of this plug-in's files.
  int copyVariableDataDouble(cGeoParserFile& file, cGeoParserSection& section, int variable,
                             double* buffer, int count);
  int copyVariableData(cGeoParserFile& file, cGeoParserSection& section, int variable,
                       ox_wp_data_type type, void* buffer, int bytes);
};

extern template class cOxWpPlugin<cGeoParserFile>;
extern template class cOxWpPluginFile<cGeoParserPlugin, cGeoParserSection>;

// The functions of the table, and two that are not in it: a copy that counts in doubles, and what
// ox_wp_plugin_initialize calls. None of them is exported; plugin/ox_wp_plugin.h describes them.
#pragma GCC visibility push(hidden)
extern "C" {
int ox_wp_plugin_geo_get_plugin_property(ox_wp_plugin_handle plugin, int index,
                                         _ox_wp_prop_type* property);
void ox_wp_plugin_geo_release(ox_wp_plugin_handle plugin);
const char* ox_wp_plugin_geo_get_error_message(ox_wp_plugin_handle plugin);
ox_wp_file_handle ox_wp_plugin_geo_parser_parse_file(ox_wp_plugin_handle plugin, const char* path);
int ox_wp_plugin_geo_parser_release_file(ox_wp_plugin_handle, ox_wp_file_handle);
int ox_wp_plugin_geo_parser_release_all_files(ox_wp_plugin_handle plugin);
int ox_wp_plugin_geo_parser_get_file_property(ox_wp_plugin_handle, ox_wp_file_handle file,
                                              int index, _ox_wp_prop_type* property);
ox_wp_section_handle ox_wp_plugin_geo_get_section_handle(ox_wp_plugin_handle plugin,
                                                         ox_wp_file_handle file, int index);
int ox_wp_plugin_geo_get_section_property(ox_wp_plugin_handle, ox_wp_file_handle,
                                          ox_wp_section_handle section, int index,
                                          _ox_wp_prop_type* property);
int ox_wp_plugin_geo_get_variable_property(ox_wp_plugin_handle, ox_wp_file_handle,
                                           ox_wp_section_handle section, int variable, int index,
                                           _ox_wp_prop_type* property);
int ox_wp_plugin_geo_copy_variable_data(ox_wp_plugin_handle, ox_wp_file_handle,
                                        ox_wp_section_handle section, int variable,
                                        ox_wp_data_type type, void* buffer, int size);
void ox_wp_plugin_geo_copy_variable_data_double(ox_wp_section_handle section, int variable,
                                                double* buffer, int count);
int ox_wp_plugin_geo_initialize(_ox_wp_plugin_functions_type* table);
}
#pragma GCC visibility pop
