// ModuleLoader: dlopen and the entry call.
#include "host/module/module_loader.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace tl::host {

void ModuleLoader::callEntry(platform::ModuleHandle& handle) {
  if (!entry_) {
    void* library = ::dlopen(path_.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library) throw std::runtime_error(std::string("cannot load the module: ") + ::dlerror());
    entry_ = reinterpret_cast<void (*)(void*)>(::dlsym(library, "TLEventModuleInitializer"));
    if (!entry_) throw std::runtime_error("the module has no TLEventModuleInitializer");
  }
  // The platform is current before anything in the module runs.
  platform::MakeCurrent(&handle.platform());
  entry_(&handle);
}

std::string ModuleLoader::DefaultPath() {
  if (const char* path = std::getenv("TALLYD_MODULE")) return path;
  std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe");
  return (self.parent_path() / "libtallyline_module.so").string();
}

}  // namespace tl::host
