#pragma once
// `ombrel render [SCENE] [options]`: renders a range of frames of a scene to image files
// through the module's headless final render, with refine files beside each image.
#include "host/cli/command.h"

namespace cli {

// Exit codes of the render beyond the program's own.
inline constexpr int kExitRenderFailed = 3;    // the module could not start the job
inline constexpr int kExitInterrupted = 130;   // stopped by Ctrl-C, as shells count a SIGINT

Command addRenderCommand(CLI::App& program);

}  // namespace cli
