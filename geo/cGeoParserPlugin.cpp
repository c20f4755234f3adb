#include "geo/cGeoParserPlugin.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>

#include "geo/readers/cGeoFileParser.h"
#include "plugin/cOxWpPlugin.h"
#include "plugin/cOxWpPluginFile.h"
#include "plugin/ox_wp_plugin.h"
#include "support/cOxFilePath.h"
#include "support/dateAndTime.h"

// Explicit, so that members which nothing calls compile too.
template class cOxWpPlugin<cGeoParserFile>;
template class cOxWpPluginFile<cGeoParserPlugin, cGeoParserSection>;

namespace {

constexpr double kSecondsPerMicrosecond = 1e-6;
constexpr const char* kTimeLabel = "time stamp";
constexpr const char* kValueLabel = "count";

int setInteger(_ox_wp_prop_type& property, std::int32_t identifier, std::int64_t value) {
  property.identifier = identifier;
  property.type = ox_wp_type_integer;
  property.integer_value = value;
  return 0;
}

int setDouble(_ox_wp_prop_type& property, std::int32_t identifier, double value) {
  property.identifier = identifier;
  property.type = ox_wp_type_double;
  property.double_value = value;
  return 0;
}

// `value` belongs to the section or to one of its variables: the host gets a pointer into it.
int setString(_ox_wp_prop_type& property, std::int32_t identifier, const std::string& value) {
  property.identifier = identifier;
  property.type = ox_wp_type_string;
  property.string_value = value.c_str();
  return 0;
}

int refuse(_ox_wp_prop_type& property) {
  property.identifier = ox_wp_prop_none;
  return 1;
}

// The time axis, in seconds.

double start(const cGeoParserVariable& variable) {
  return variable.startTime * kSecondsPerMicrosecond;
}

double interval(const cGeoParserVariable& variable) {
  return variable.sampleRate == 0 ? 0 : 1 / variable.sampleRate;
}

// One interval after the last sample; computed with a single rounding.
double end(const cGeoParserVariable& variable) {
  return std::fma(static_cast<double>(variable.sampleCount), interval(variable), start(variable));
}

// Returns 0 when all samples were copied, else 1.
int copyDoubles(cGeoParserFile& file, cGeoParserSection& section, int variable, double* buffer,
                int count) {
  cGeoFileParser parser;
  return parser.copyVariableDataDouble(file, section, variable, buffer, count) > ox3::rcPartiallyOk;
}

// Likewise for a buffer of `bytes` bytes, in which doubles are the only type that is copied.
int copyIntoBytes(cGeoParserFile& file, cGeoParserSection& section, int variable,
                  ox_wp_data_type type, void* buffer, int bytes) {
  if (type != ox_wp_type_double)
    return 1;
  constexpr int kBytesToDoubles = 3; // as a shift, which keeps a negative size negative
  return copyDoubles(file, section, variable, static_cast<double*>(buffer),
                     bytes >> kBytesToDoubles);
}

} // namespace

int cGeoParserSection::setLabel(_ox_wp_prop_type& property, std::int32_t identifier,
                                const char* label) {
  unitText = label;
  return setString(property, identifier, unitText);
}

int cGeoParserSection::getSectionProperty(int index, _ox_wp_prop_type* property) {
  switch (index) {
  case ox_wp_index_section_kind:
    return setInteger(*property, ox_wp_prop_section_kind, 0);
  case ox_wp_index_variable_count:
    return setInteger(*property, ox_wp_prop_variable_count, std::ssize(variables));
  case ox_wp_index_section_x_label:
    return setLabel(*property, ox_wp_prop_section_x_label, kTimeLabel);
  default:
    return refuse(*property);
  }
}

int cGeoParserSection::getVariableProperty(int variable, int index, _ox_wp_prop_type* property) {
  if (variable < 0 || variable >= std::ssize(variables))
    return refuse(*property);

  const cGeoParserVariable& chosen = variables[static_cast<std::size_t>(variable)];
  switch (index) {
  case ox_wp_index_variable_name:
    return setString(*property, ox_wp_prop_variable_name, chosen.name);
  case ox_wp_index_variable_kind:
    return setInteger(*property, ox_wp_prop_variable_kind, 0);
  case ox_wp_index_variable_data_type:
    return setInteger(*property, ox_wp_prop_variable_data_type, chosen.dataType);
  case ox_wp_index_sample_count:
    return setInteger(*property, ox_wp_prop_sample_count,
                      static_cast<std::int64_t>(chosen.sampleCount));
  case ox_wp_index_variable_x_label:
    return setLabel(*property, ox_wp_prop_variable_x_label, kTimeLabel);
  case ox_wp_index_variable_y_label:
    return setLabel(*property, ox_wp_prop_variable_y_label, kValueLabel);
  case ox_wp_index_x_start:
    return setDouble(*property, ox_wp_prop_x_start, start(chosen));
  case ox_wp_index_x_step:
    return setDouble(*property, ox_wp_prop_x_step, interval(chosen));
  case ox_wp_index_x_end:
    return setDouble(*property, ox_wp_prop_x_end, end(chosen));
  default:
    return refuse(*property);
  }
}

int cGeoParserSection::copyVariableDataDouble(int variable, double* buffer, int count) {
  return copyDoubles(*file, *this, variable, buffer, count);
}

int cGeoParserSection::copyVariableData(int variable, ox_wp_data_type type, void* buffer,
                                        int bytes) {
  return copyIntoBytes(*file, *this, variable, type, buffer, bytes);
}

int cGeoParserFile::getFileProperty(int index, _ox_wp_prop_type* property) {
  switch (index) {
  case ox_wp_index_file_kind:
    return setInteger(*property, ox_wp_prop_file_kind, 0);
  case ox_wp_index_section_count:
    return setInteger(*property, ox_wp_prop_section_count, std::ssize(sections()));
  case ox_wp_index_file_changed:
    return setInteger(*property, ox_wp_prop_file_changed, checkFileChanged());
  default:
    return refuse(*property);
  }
}

int cGeoParserFile::copyVariableDataDouble(cGeoParserSection& section, int variable, double* buffer,
                                           int count) {
  return copyDoubles(*this, section, variable, buffer, count);
}

int cGeoParserFile::copyVariableData(cGeoParserSection& section, int variable, ox_wp_data_type type,
                                     void* buffer, int bytes) {
  return copyIntoBytes(*this, section, variable, type, buffer, bytes);
}

cGeoParserPlugin::cGeoParserPlugin() {
  registerFileExtension("*"); // any file: the dispatcher chooses by the extension itself
}

cGeoParserFile* cGeoParserPlugin::parseFile(const char* path) {
  ox3::cOxFilePath filePath(path);
  const std::string name = filePath.name();

  files().emplace_back(*this);
  try {
    cGeoFileParser parser;
    const int code = parser.parse(files().back(), name, geoFileParser::geo_file_undefined);
    if (code <= ox3::rcPartiallyOk)
      return &files().back();
  } catch (...) {
    popFile();
    throw;
  }
  popFile();
  return nullptr;
}

int cGeoParserPlugin::copyVariableDataDouble(cGeoParserFile& file, cGeoParserSection& section,
                                             int variable, double* buffer, int count) {
  return copyDoubles(file, section, variable, buffer, count);
}

int cGeoParserPlugin::copyVariableData(cGeoParserFile& file, cGeoParserSection& section,
                                       int variable, ox_wp_data_type type, void* buffer,
                                       int bytes) {
  return copyIntoBytes(file, section, variable, type, buffer, bytes);
}

// The functions of the table: each checks its pointers and calls the object.

namespace {

cGeoParserPlugin* asPlugin(ox_wp_plugin_handle handle) {
  return static_cast<cGeoParserPlugin*>(handle);
}

cGeoParserFile* asFile(ox_wp_file_handle handle) {
  return static_cast<cGeoParserFile*>(handle);
}

cGeoParserSection* asSection(ox_wp_section_handle handle) {
  return static_cast<cGeoParserSection*>(handle);
}

} // namespace

extern "C" {

int ox_wp_plugin_geo_get_plugin_property(ox_wp_plugin_handle plugin, int index,
                                         _ox_wp_prop_type* property) {
  if (plugin)
    asPlugin(plugin)->getPluginProperty(index, property);
  return 0;
}

void ox_wp_plugin_geo_release(ox_wp_plugin_handle plugin) {
  delete asPlugin(plugin);
}

const char* ox_wp_plugin_geo_get_error_message(ox_wp_plugin_handle plugin) {
  return plugin ? asPlugin(plugin)->getErrorMessage() : nullptr;
}

ox_wp_file_handle ox_wp_plugin_geo_parser_parse_file(ox_wp_plugin_handle plugin, const char* path) {
  return plugin ? asPlugin(plugin)->parseFile(path) : nullptr;
}

int ox_wp_plugin_geo_parser_release_file(ox_wp_plugin_handle, ox_wp_file_handle) {
  return 1; // files are only released all at once; hosts rely on it
}

int ox_wp_plugin_geo_parser_release_all_files(ox_wp_plugin_handle plugin) {
  return plugin ? asPlugin(plugin)->releaseAllFiles() : 0;
}

int ox_wp_plugin_geo_parser_get_file_property(ox_wp_plugin_handle, ox_wp_file_handle file,
                                              int index, _ox_wp_prop_type* property) {
  if (!property)
    return 1;
  property->identifier = ox_wp_prop_none;
  return file ? asFile(file)->getFileProperty(index, property) : 1;
}

ox_wp_section_handle ox_wp_plugin_geo_get_section_handle(ox_wp_plugin_handle plugin,
                                                         ox_wp_file_handle file, int index) {
  return plugin && file ? asFile(file)->getSectionHandle(index) : nullptr;
}

int ox_wp_plugin_geo_get_section_property(ox_wp_plugin_handle, ox_wp_file_handle,
                                          ox_wp_section_handle section, int index,
                                          _ox_wp_prop_type* property) {
  if (!property)
    return 1;
  property->identifier = ox_wp_prop_none;
  return section ? asSection(section)->getSectionProperty(index, property) : 1;
}

int ox_wp_plugin_geo_get_variable_property(ox_wp_plugin_handle, ox_wp_file_handle,
                                           ox_wp_section_handle section, int variable, int index,
                                           _ox_wp_prop_type* property) {
  if (!property)
    return 1;
  property->identifier = ox_wp_prop_none;
  return section ? asSection(section)->getVariableProperty(variable, index, property) : 1;
}

int ox_wp_plugin_geo_copy_variable_data(ox_wp_plugin_handle, ox_wp_file_handle,
                                        ox_wp_section_handle section, int variable,
                                        ox_wp_data_type type, void* buffer, int size) {
  return section ? asSection(section)->copyVariableData(variable, type, buffer, size) : 1;
}

void ox_wp_plugin_geo_copy_variable_data_double(ox_wp_section_handle section, int variable,
                                                double* buffer, int count) {
  if (section)
    asSection(section)->copyVariableDataDouble(variable, buffer, count);
}

int ox_wp_plugin_geo_initialize(_ox_wp_plugin_functions_type* table) {
  constexpr int kOldestHost = 1;
  if (!table || table->version < kOldestHost)
    return 1;
  std::memset(table, 0, sizeof *table);
  table->version = OX_WP_PLUGIN_VERSION;

  auto plugin = std::make_unique<cGeoParserPlugin>();
  table->get_plugin_property = ox_wp_plugin_geo_get_plugin_property;
  table->release = ox_wp_plugin_geo_release;
  table->get_error_message = ox_wp_plugin_geo_get_error_message;
  table->parse_file = ox_wp_plugin_geo_parser_parse_file;
  table->release_file = ox_wp_plugin_geo_parser_release_file;
  table->release_all_files = ox_wp_plugin_geo_parser_release_all_files;
  table->get_file_property = ox_wp_plugin_geo_parser_get_file_property;
  table->get_section_handle = ox_wp_plugin_geo_get_section_handle;
  table->get_section_property = ox_wp_plugin_geo_get_section_property;
  table->get_variable_property = ox_wp_plugin_geo_get_variable_property;
  table->copy_variable_data = ox_wp_plugin_geo_copy_variable_data;
  table->plugin = plugin.release(); // the host owns it from here on
  return 0;
}

int ox_wp_plugin_initialize(_ox_wp_plugin_functions_type* table) {
  return ox_wp_plugin_geo_initialize(table);
}

} // extern "C"
