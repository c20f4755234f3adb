#include "host/check/tracedLibrary.h"

#include <exception>
#include <new>

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

enum class MayThrow { nothing, badAlloc };

template<class Result, class... Arguments>
Result call(const char* name, MayThrow mayThrow, Result (*function)(Arguments...),
            Arguments... arguments) {
  const CallNote note(name);
  try {
    return function(arguments...);
  } catch (const std::bad_alloc&) {
    if (mayThrow == MayThrow::badAlloc)
      throw;
    std::terminate(); // which prints the type of the exception
  } catch (...) {
    std::terminate();
  }
}

// Gives the slot the function that notes its name and calls the plug-in's own.
#define OX_TRACE(slot, mayThrow)                                                                   \
  if (table->slot)                                                                                 \
    table->slot = [](auto... arguments) {                                                          \
      return call(#slot, MayThrow::mayThrow, functions.slot, arguments...);                        \
    };

int initializeTraced(_ox_wp_plugin_functions_type* table) {
  const int status = call(OX_WP_PLUGIN_ENTRY_POINT, MayThrow::badAlloc, initializeFunction, table);
  if (status != 0 || !table)
    return status;
  functions = *table;
  OX_WP_HOST_FUNCTIONS(OX_TRACE)
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
