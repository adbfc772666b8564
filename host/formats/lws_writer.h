#pragma once
// Writes a scene as a version 5 scene file, in the order Layout writes one, so that the
// scene reader (and Layout) read back the same items, motions, settings and server blocks.
#include <string>

#include "host/scene/scene.h"

namespace host {

std::string writeSceneText(const Scene& scene);
bool writeSceneFile(const std::string& path, const Scene& scene, std::string& error);

}  // namespace host
