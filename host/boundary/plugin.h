// A loaded plug-in library, and a plug-in object made from it.
#pragma once

#include <array>
#include <exception>
#include <string>
#include <type_traits>

#include "plugin/ox_wp_plugin.h" // IWYU pragma: export

namespace host {

using Table = _ox_wp_plugin_functions_type;

// The functions that a plug-in must have, by their slots of 8 bytes in the table; null where there
// is none.
// clang-format off
inline constexpr std::array kFunctionNames = std::to_array<const char*>({
    nullptr, nullptr, "get_plugin_property", "release", "get_error_message", "parse_file",
    nullptr, "release_file", "release_all_files", "get_file_property", "get_section_handle",
    "get_section_property", nullptr, "get_variable_property", "copy_variable_data"});
// clang-format on

// Notes the name of the plug-in's function that runs, so that a crash or a hang can be traced to
// it. The name stays where the function throws.
class RunningFunction {
public:
  explicit RunningFunction(const char* name) noexcept { *place = name; }
  ~RunningFunction() {
    if (std::uncaught_exceptions() == exceptions_)
      *place = nullptr;
  }
  RunningFunction(const RunningFunction&) = delete;
  RunningFunction& operator=(const RunningFunction&) = delete;

  // Where the name is noted, null while none runs. May be in memory that processes share.
  static const char** place;

private:
  int exceptions_ = std::uncaught_exceptions();
};

// The shared library, which stays loaded until the process ends.
class Library {
public:
  // Throws Error when the file cannot be loaded or has no entry point.
  explicit Library(const std::string& path);

  int initialize(Table* table) const {
    const RunningFunction note(OX_WP_PLUGIN_ENTRY_POINT);
    return entryPoint_(table);
  }

private:
  ox_wp_plugin_initialize_function entryPoint_ = nullptr;
};

// One plug-in object; the destructor releases it, unless one of its functions has thrown.
class Plugin {
public:
  // Throws Error when the entry point refuses or leaves out a function.
  explicit Plugin(const Library& library);
  ~Plugin();
  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;

  ox_wp_plugin_handle handle() const noexcept { return functions_.plugin; }

  // Calls a function: call(&Table::parse_file, path).
  template<class Result, class... Parameters>
  Result call(Result (*Table::*slot)(ox_wp_plugin_handle, Parameters...),
              std::type_identity_t<Parameters>... arguments) const {
    return callFor(handle(), slot, arguments...);
  }
  // The same for another handle, such as null.
  template<class Result, class... Parameters>
  Result callFor(ox_wp_plugin_handle other,
                 Result (*Table::*slot)(ox_wp_plugin_handle, Parameters...),
                 std::type_identity_t<Parameters>... arguments) const {
    const auto* const start = reinterpret_cast<const std::byte*>(&functions_);
    const auto offset = reinterpret_cast<const std::byte*>(&(functions_.*slot)) - start;
    const RunningFunction note(kFunctionNames.at(static_cast<std::size_t>(offset) / sizeof(void*)));
    return (functions_.*slot)(other, arguments...);
  }

private:
  Table functions_{};
};

// The path of the plug-in that $OX_WP_PLUGIN names, or else of the one that comes with this
// program: in the program's folder when built, in the library folder when installed. Throws Error
// when it is in neither place.
std::string defaultPluginPath();

} // namespace host
