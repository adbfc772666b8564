#pragma once
// `ombrel info`: what a scene or an object holds, as the host's services answer it.
#include "host/cli/command.h"

namespace cli {

Command addInfoCommand(CLI::App& program);

}  // namespace cli
