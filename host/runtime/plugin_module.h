#pragma once
// A plug-in module loaded into the host: opened, checked, started, and its servers
// activated the way Layout does it. Closing runs the module's shutdown and unloads it.
#include <memory>
#include <string>
#include <vector>

#include <lwmodule.h>
#include <lwserver.h>

namespace host {

struct ServerEntry {
  int row;
  std::string className;
  std::string name;
};

class PluginModule {
 public:
  // Loads the module at `path`. On failure returns null and sets `error` to one line that
  // names the file and says what was wrong.
  static std::unique_ptr<PluginModule> open(const std::string& path, std::string* error);
  ~PluginModule();
  PluginModule(const PluginModule&) = delete;
  PluginModule& operator=(const PluginModule&) = delete;

  const std::string& path() const { return path_; }
  const std::vector<ServerEntry>& servers() const { return servers_; }
  // The row of a server, or -1.
  int find(const std::string& className, const std::string& name) const;

  // Activates the server of row `row` and returns its result; -1 for a row that doesn't exist.
  int activate(int row, int version, GlobalFunc* global, void* local, void* serverData = nullptr) const;

  // An entry the module exports beside its record, or null.
  void* symbol(const char* name) const;

 private:
  PluginModule() = default;

  std::string path_;
  void* handle_ = nullptr;
  const ModuleDescriptor* descriptor_ = nullptr;
  void* serverData_ = nullptr;  // what startup returned, handed back to shutdown
  std::vector<ServerEntry> servers_;
};

}  // namespace host
