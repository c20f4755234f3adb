#include "host/check/tracedLibrary.h"

#include <new>

#include "host/base/error.h"

namespace host {

namespace {

const char* noPlace = nullptr;
const char** callPlace = &noPlace;

// The functions of the plug-in itself. All objects of a library have the same ones.
ox_wp_plugin_initialize_function initializeFunction = nullptr;
_ox_wp_plugin_functions_type functions{};

struct CallNote {
  explicit CallNote(const char* name) noexcept { *callPlace = name; }
  ~CallNote() { *callPlace = nullptr; }
  CallNote(const CallNote&) = delete;
  CallNote& operator=(const CallNote&) = delete;
};

template<class Result, class... Arguments>
Result call(const char* name, Result (*function)(Arguments...), Arguments... arguments) {
  if (!function)
    throw Error(std::string(name) + " is null");
  try {
    const CallNote note(name);
    return function(arguments...);
  } catch (const std::bad_alloc&) { // which the boundary allows
    throw;
  } catch (...) {
    throw Broken(std::string(name) + " throws an exception");
  }
}

// Gives the slot the function that notes its name and calls the plug-in's own.
#define OX_TRACE(slot)                                                                             \
  table->slot = [](auto... arguments) { return call(#slot, functions.slot, arguments...); }

int initializeTraced(_ox_wp_plugin_functions_type* table) {
  const int status = call(OX_WP_PLUGIN_ENTRY_POINT, initializeFunction, table);
  if (status != 0)
    return status;
  functions = *table;
  OX_TRACE(get_plugin_property);
  OX_TRACE(release);
  OX_TRACE(get_error_message);
  OX_TRACE(parse_file);
  OX_TRACE(release_file);
  OX_TRACE(release_all_files);
  OX_TRACE(get_file_property);
  OX_TRACE(get_section_handle);
  OX_TRACE(get_section_property);
  OX_TRACE(get_variable_property);
  OX_TRACE(copy_variable_data);
  return status;
}

#undef OX_TRACE

} // namespace

void noteCallsAt(const char** place) noexcept {
  callPlace = place;
}

TracedLibrary::TracedLibrary(const std::string& path) : Library(path) {
  initializeFunction = entryPoint();
  setEntryPoint(initializeTraced);
}

} // namespace host
