// The plug-in as a host has it: loaded from its file, one parsed file at a time.
#pragma once

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include <dlfcn.h>

#include "plugin/ox_wp_plugin.h"

class LoadedPlugin {
public:
  LoadedPlugin() {
    void* const library = dlopen(PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL);
    if (!library)
      throw std::runtime_error(dlerror());
    const auto initialize = reinterpret_cast<ox_wp_plugin_initialize_function>(
        dlsym(library, OX_WP_PLUGIN_ENTRY_POINT));
    table.version = OX_WP_PLUGIN_VERSION;
    if (initialize(&table) != 0)
      throw std::runtime_error("the plug-in refuses the table");
  }
  ~LoadedPlugin() { table.release(table.plugin); }
  LoadedPlugin(const LoadedPlugin&) = delete;
  LoadedPlugin& operator=(const LoadedPlugin&) = delete;

  // Drops what was parsed before.
  bool tryToParse(const std::string& path) {
    table.release_all_files(table.plugin);
    file = table.parse_file(table.plugin, path.c_str());
    section = table.get_section_handle(table.plugin, file, 0);
    return file;
  }

  void parse(const std::string& path) {
    if (!tryToParse(path))
      throw std::runtime_error("the plug-in declines " + path);
  }

  // Reads every property of every variable; gives how many there were.
  int walk() {
    int answers = 0;
    _ox_wp_prop_type property = {};
    for (int variable = 0, before = -1; answers > before; ++variable) {
      before = answers;
      for (int i = 0;
           table.get_variable_property(table.plugin, file, section, variable, i, &property) == 0;
           ++i)
        ++answers;
    }
    return answers;
  }

  // Room for all of the first stream, or as much as one copy takes.
  std::vector<double> buffer() const {
    _ox_wp_prop_type property = {};
    constexpr int sampleCount = 3;
    table.get_variable_property(table.plugin, file, section, 0, sampleCount, &property);
    constexpr std::int64_t largest = INT32_MAX / sizeof(double);
    return std::vector<double>(static_cast<std::size_t>(std::min(property.integer_value, largest)));
  }

  // Samples of the first stream; false when they don't fill the buffer.
  bool tryToCopy(std::vector<double>& samples) const {
    return table.copy_variable_data(table.plugin, file, section, 0, ox_wp_type_double,
                                    samples.data(),
                                    static_cast<int>(samples.size() * sizeof(double))) == 0;
  }

  void copy(std::vector<double>& samples) const {
    if (!tryToCopy(samples))
      throw std::runtime_error("a copy fails");
  }

private:
  _ox_wp_plugin_functions_type table = {};
  ox_wp_file_handle file = nullptr;
  ox_wp_section_handle section = nullptr;
};
