#include "host/boundary/plugin.h"

#include <bit>
#include <cstdlib>
#include <filesystem>

#include <dlfcn.h>

#include "host/base/messages.h"

namespace host {

namespace fs = std::filesystem;

namespace {

constexpr const char* kPluginFile = "ox_wp_plugin_geo.so";

// Relative to the program's folder, so that an installed tree can be moved as a whole.
constexpr const char* kInstalledFolder = OX_WP_HOST_PLUGIN_FOLDER;

const char* noPlace = nullptr;

} // namespace

const char** RunningFunction::place = &noPlace;

Library::Library(const std::string& path) {
  // dlopen searches the system's library folders for a name without a slash.
  const std::string file = fs::absolute(path).string();
  void* const library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!library)
    throw Error(std::string("the plug-in cannot be loaded: ") + dlerror());
  entryPoint_ =
      reinterpret_cast<ox_wp_plugin_initialize_function>(dlsym(library, OX_WP_PLUGIN_ENTRY_POINT));
  if (!entryPoint_)
    throw Error(path + ": no entry point " OX_WP_PLUGIN_ENTRY_POINT);
}

Plugin::Plugin(const Library& library) {
  functions_.version = OX_WP_PLUGIN_VERSION;
  if (library.initialize(&functions_) != 0)
    throw Error("the plug-in refuses version " + std::to_string(OX_WP_PLUGIN_VERSION) +
                " of the boundary");
  const auto slots = std::bit_cast<std::array<void*, sizeof(Table) / sizeof(void*)>>(functions_);
  for (std::size_t i = 0; i < kFunctionNames.size(); ++i)
    if (kFunctionNames[i] && !slots[i])
      throw Error(std::string("the plug-in has no function ") + kFunctionNames[i]);
}

Plugin::~Plugin() {
  if (!*RunningFunction::place)
    call(&Table::release);
}

std::string defaultPluginPath() {
  if (const char* named = std::getenv("OX_WP_PLUGIN"); named && *named != '\0')
    return named;
  const fs::path folder = fs::read_symlink("/proc/self/exe").parent_path();
  const fs::path beside = folder / kPluginFile;
  const fs::path installed = (folder / kInstalledFolder / kPluginFile).lexically_normal();
  for (const fs::path& candidate : {beside, installed})
    if (fs::exists(candidate))
      return candidate.string();
  throw Error("no plug-in at " + beside.string() + " nor at " + installed.string() +
              "; name one with --plugin");
}

} // namespace host
