#include "host/boundary/plugin.h"

#include <filesystem>
#include <system_error>

#include <dlfcn.h>

#include "host/base/error.h"

namespace host {

namespace fs = std::filesystem;

namespace {

constexpr const char* kPluginFile = "ox_wp_plugin_geo.so";

// Relative to the program's folder, so that an installed tree can be moved as a whole.
constexpr const char* kInstalledFolder = OX_WP_HOST_PLUGIN_FOLDER;

} // namespace

void Library::Unload::operator()(void* library) const noexcept {
  dlclose(library);
}

Library::Library(const std::string& path) {
  // dlopen searches the system's library folders for a name without a slash.
  const std::string file = fs::absolute(path).string();
  library_.reset(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL));
  if (!library_)
    throw Error(std::string("the plug-in cannot be loaded: ") + dlerror());
  entryPoint_ = reinterpret_cast<ox_wp_plugin_initialize_function>(
      dlsym(library_.get(), OX_WP_PLUGIN_ENTRY_POINT));
  if (!entryPoint_)
    throw Error(path + ": no entry point " OX_WP_PLUGIN_ENTRY_POINT);
}

Plugin::Plugin(const Library& library) {
  functions_.version = OX_WP_PLUGIN_VERSION;
  if (library.entryPoint()(&functions_) != 0)
    throw Error("the plug-in refuses version " + std::to_string(OX_WP_PLUGIN_VERSION) +
                " of the boundary");
#define OX_EXPECT(slot, mayThrow)                                                                  \
  if (!functions_.slot)                                                                            \
    throw Error("the plug-in has no function " #slot);
  OX_WP_HOST_FUNCTIONS(OX_EXPECT)
#undef OX_EXPECT
}

Plugin::~Plugin() {
  functions_.release(functions_.plugin);
}

std::string defaultPluginPath() {
  std::error_code error;
  const fs::path folder = fs::read_symlink("/proc/self/exe", error).parent_path();
  if (error)
    throw Error("this program's folder is not known (/proc/self/exe: " + error.message() +
                "); name a plug-in with --plugin");
  const fs::path beside = folder / kPluginFile;
  const fs::path installed = (folder / kInstalledFolder / kPluginFile).lexically_normal();
  for (const fs::path& candidate : {beside, installed})
    if (fs::exists(candidate))
      return candidate.string();
  throw Error("no plug-in at " + beside.string() + " nor at " + installed.string() +
              "; name one with --plugin");
}

} // namespace host
