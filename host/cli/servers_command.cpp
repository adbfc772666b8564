// `ombrel servers`: loads the module and lists the servers it offers.
#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>

#include "host/cli/command.h"
#include "host/runtime/plugin_module.h"

namespace cli {

namespace {

struct ServersOptions {
  std::string modulePath;
};

int runServers(const ServersOptions& options) {
  std::string path = options.modulePath.empty() ? defaultModulePath() : options.modulePath;
  if (path.empty()) {
    std::fprintf(stderr, "ombrel: cannot tell where the program is installed; name the module with --module\n");
    return kExitModule;
  }
  std::string error;
  auto module = host::PluginModule::open(path, &error);
  if (!module) {
    std::fprintf(stderr, "ombrel: %s\n", error.c_str());
    return kExitModule;
  }
  size_t width = 0;
  for (const auto& s : module->servers()) width = std::max(width, s.className.size());
  std::printf("%s\n", module->path().c_str());
  for (const auto& s : module->servers())
    std::printf("%3d  %-*s  %s\n", s.row, static_cast<int>(width), s.className.c_str(), s.name.c_str());
  return kExitOk;
}

}  // namespace

Command addServersCommand(CLI::App& program) {
  auto options = std::make_shared<ServersOptions>();
  CLI::App* app = program.add_subcommand("servers", "Load the module and list its servers");
  app->add_option("--module", options->modulePath, "The module file (default: lib/ombrel/ombrel.p beside bin/)")
      ->option_text("PATH");
  return {app, [options] { return runServers(*options); }};
}

}  // namespace cli
