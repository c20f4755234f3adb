// The plug-in as a host has it: loaded from its file, with one parsed file at a time.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include <dlfcn.h>

#include "plugin/ox_wp_plugin.h"

// Calls the plug-in's entry point; returns what it does.
inline int initializePlugin(_ox_wp_plugin_functions_type& table) {
  static void* const library = dlopen(PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL);
  if (!library)
    throw std::runtime_error(dlerror());
  static const auto initialize =
      reinterpret_cast<ox_wp_plugin_initialize_function>(dlsym(library, OX_WP_PLUGIN_ENTRY_POINT));
  table = {};
  table.version = OX_WP_PLUGIN_VERSION;
  return initialize(&table);
}

class LoadedPlugin {
public:
  LoadedPlugin() {
    if (initializePlugin(table_) != 0)
      throw std::runtime_error("the plug-in refuses the table");
  }
  ~LoadedPlugin() { table_.release(table_.plugin); }
  LoadedPlugin(const LoadedPlugin&) = delete;
  LoadedPlugin& operator=(const LoadedPlugin&) = delete;

  const _ox_wp_plugin_functions_type& table() const { return table_; }

  // Releases what was parsed before; false when the plug-in declines the file.
  bool tryToParse(const std::string& path) {
    table_.release_all_files(table_.plugin);
    file_ = table_.parse_file(table_.plugin, path.c_str());
    section_ = table_.get_section_handle(table_.plugin, file_, 0);
    return file_;
  }

  void parse(const std::string& path) {
    if (!tryToParse(path))
      throw std::runtime_error("the plug-in declines " + path);
  }

  // Of the first stream, or as many as one copy takes.
  std::size_t sampleCount() const {
    _ox_wp_prop_type property{};
    table_.get_variable_property(table_.plugin, file_, section_, 0, ox_wp_index_sample_count,
                                 &property);
    constexpr std::int64_t kLargest = INT32_MAX / sizeof(double);
    return static_cast<std::size_t>(std::min(property.integer_value, kLargest));
  }

  // For these samples.
  std::vector<double> buffer() const { return std::vector<double>(sampleCount()); }

  // Copies samples of the first stream; false when they do not fill the buffer.
  bool tryToCopy(std::span<double> samples) const {
    return table_.copy_variable_data(table_.plugin, file_, section_, 0, ox_wp_type_double,
                                     samples.data(), static_cast<int>(samples.size_bytes())) == 0;
  }

  void copy(std::span<double> samples) const {
    if (!tryToCopy(samples))
      throw std::runtime_error("a copy fails");
  }

private:
  _ox_wp_plugin_functions_type table_{};
  ox_wp_file_handle file_ = nullptr;
  ox_wp_section_handle section_ = nullptr;
};
