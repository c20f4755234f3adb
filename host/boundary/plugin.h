// A loaded plug-in library, and a plug-in object made from it.
#pragma once

#include <memory>
#include <string>

#include "plugin/ox_wp_plugin.h" // IWYU pragma: export

// The functions that a plug-in must have: EACH(slot, the exception that may leave it).
// clang-format off
#define OX_WP_HOST_FUNCTIONS(EACH)                                                \
  EACH(get_plugin_property, nothing)  EACH(release, nothing)                      \
  EACH(get_error_message, nothing)    EACH(parse_file, badAlloc)                  \
  EACH(release_file, nothing)         EACH(release_all_files, nothing)            \
  EACH(get_file_property, nothing)    EACH(get_section_handle, nothing)           \
  EACH(get_section_property, nothing) EACH(get_variable_property, nothing)        \
  EACH(copy_variable_data, badAlloc)
// clang-format on

namespace host {

// The shared library; the destructor unloads it. It must outlive every plug-in object made from it.
class Library {
public:
  // Throws Error when the file cannot be loaded or has no entry point.
  explicit Library(const std::string& path);

  ox_wp_plugin_initialize_function entryPoint() const noexcept { return entryPoint_; }

protected:
  // A derived class can put a function of its own before the entry point.
  void setEntryPoint(ox_wp_plugin_initialize_function function) noexcept { entryPoint_ = function; }

private:
  struct Unload {
    void operator()(void* library) const noexcept;
  };

  std::unique_ptr<void, Unload> library_;
  ox_wp_plugin_initialize_function entryPoint_ = nullptr;
};

// One plug-in object; the destructor releases it.
class Plugin {
public:
  // Throws Error when the entry point refuses or leaves out a function.
  explicit Plugin(const Library& library);
  ~Plugin();
  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;

  // The functions, to be called with handle() as first argument.
  const _ox_wp_plugin_functions_type* operator->() const noexcept { return &functions_; }
  ox_wp_plugin_handle handle() const noexcept { return functions_.plugin; }

private:
  _ox_wp_plugin_functions_type functions_{};
};

// The path of the plug-in that comes with this program: in the program's folder when built, in the
// library folder when installed. Throws Error when it is in neither place.
std::string defaultPluginPath();

} // namespace host
