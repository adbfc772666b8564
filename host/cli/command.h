#pragma once
// The subcommands of the `ombrel` program. Each lives in its own file and adds itself to
// the program's parser; main runs the one the user chose.
#include <functional>
#include <string>

#include <CLI/CLI.hpp>

namespace cli {

// Exit codes of the program.
inline constexpr int kExitOk = 0;
inline constexpr int kExitUsage = 1;   // the command line could not be understood
inline constexpr int kExitModule = 2;  // the module is missing or is not a module we can load

struct Command {
  CLI::App* app;             // the subcommand's own parser
  std::function<int()> run;  // runs it after parsing; returns the exit code
};

Command addServersCommand(CLI::App& program);

// Where the module is by default: lib/ombrel/ombrel.p next to the bin/ folder that holds
// this program, the same in the build tree and after installing. Empty if the program
// cannot tell where it is.
std::string defaultModulePath();

}  // namespace cli
