#include "host/runtime/plugin_module.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace host {

namespace {

std::string hex(unsigned int value, int digits = 1) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%0*X", digits, value);
  return text;
}

// The rows are read up to the all-null row; a table without one ends after this many, so a
// broken module cannot make the host read on without end.
constexpr int kMaxServerRows = 4096;

}  // namespace

std::unique_ptr<PluginModule> PluginModule::open(const std::string& path, std::string* error) {
  auto fail = [&](const std::string& what) {
    if (error) *error = path + ": " + what;
    return nullptr;
  };

  struct stat st{};
  if (stat(path.c_str(), &st) != 0) return fail(std::string("cannot open module: ") + std::strerror(errno));
  if (S_ISDIR(st.st_mode)) return fail("is a folder, not a module file");

  std::unique_ptr<PluginModule> module(new PluginModule);
  module->path_ = path;
  // A name without a slash would be searched for on the library path instead of taken as a file.
  const std::string file = path.find('/') == std::string::npos ? "./" + path : path;
  dlerror();
  module->handle_ = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!module->handle_) {
    const char* why = dlerror();
    std::string reason = why ? why : "unknown reason";
    // The loader starts its text with the file's name, which the line already has.
    const std::string prefix = file + ": ";
    if (reason.compare(0, prefix.size(), prefix) == 0) reason.erase(0, prefix.size());
    return fail("cannot load module: " + reason);
  }

  module->descriptor_ = static_cast<const ModuleDescriptor*>(dlsym(module->handle_, MOD_DESCRIPTOR_SYMBOL));
  const ModuleDescriptor* d = module->descriptor_;
  if (!d) return fail("not a plug-in module: no " MOD_DESCRIPTOR_SYMBOL " record");
  if (d->sysSync != MOD_SYSSYNC)
    return fail("not a plug-in module: sync word " + hex(d->sysSync, 8) + ", expected " + hex(MOD_SYSSYNC, 8));
  if (d->sysVersion != MOD_SYSVER)
    return fail("module interface version " + std::to_string(d->sysVersion) + " is not served (expected " +
                std::to_string(MOD_SYSVER) + ")");
  if (d->sysMachine != MOD_MACHINE)
    return fail("module is built for machine " + hex(d->sysMachine) + ", expected " + hex(MOD_MACHINE));
  if (!d->startup) return fail("module has no startup function");

  module->serverData_ = d->startup();
  if (!module->serverData_) {
    module->descriptor_ = nullptr;  // a module that did not start is not shut down
    return fail("module failed to start");
  }

  if (d->serverDefs) {
    for (int row = 0; row < kMaxServerRows && d->serverDefs[row].className; ++row) {
      const ServerRecord& r = d->serverDefs[row];
      module->servers_.push_back({row, r.className, r.name ? r.name : ""});
    }
  }
  return module;
}

PluginModule::~PluginModule() {
  if (descriptor_ && descriptor_->shutdown) descriptor_->shutdown(serverData_);
  if (handle_) dlclose(handle_);
}

int PluginModule::find(const std::string& className, const std::string& name) const {
  for (const auto& s : servers_)
    if (s.className == className && s.name == name) return s.row;
  return -1;
}

int PluginModule::activate(int row, int version, GlobalFunc* global, void* local, void* serverData) const {
  if (!descriptor_ || row < 0 || row >= static_cast<int>(servers_.size())) return -1;
  const ServerRecord& r = descriptor_->serverDefs[row];
  if (!r.activate) return -1;
  return r.activate(version, global, local, serverData);
}

void* PluginModule::symbol(const char* name) const { return handle_ ? dlsym(handle_, name) : nullptr; }

}  // namespace host
