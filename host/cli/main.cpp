// `ombrel`: LightWave's Layout as far as a render needs it, on the command line.
#include <cstdio>
#include <vector>

#include "host/cli/command.h"
#include "host/cli/info_command.h"
#include "host/cli/render_command.h"

int main(int argc, char** argv) {
  CLI::App program{"Ombrel: loads the ombrel.p plug-in module and drives it as Layout does.", "ombrel"};
  program.set_version_flag("--version", "ombrel " OMBREL_VERSION);
  program.require_subcommand(0, 1);
  program.footer(
      "Exit codes: 0 success, 1 the command line was not understood, 2 the module could not be loaded.");

  const std::vector<cli::Command> commands = {
      cli::addServersCommand(program),
      cli::addInfoCommand(program),
      cli::addRenderCommand(program),
  };

  try {
    program.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    const int code = program.exit(e);
    return code == 0 ? cli::kExitOk : cli::kExitUsage;
  }

  for (const auto& command : commands)
    if (command.app->parsed()) return command.run();

  std::fputs(program.help().c_str(), stdout);
  return cli::kExitOk;
}
