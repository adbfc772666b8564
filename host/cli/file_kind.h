#pragma once
// Which kind of LightWave file a path holds, told by its first bytes as Layout does, so that a
// misnamed file still reads; `ombrel info` and `ombrel render` take either kind.
#include <string>

namespace cli {

// A scene begins with LWSC, an object is an IFF form; the extension decides only when the
// contents say neither.
bool isSceneFile(const std::string& path);

}  // namespace cli
