#include "frame/frame_hooks.h"

FrameHooks frameHooks{};
