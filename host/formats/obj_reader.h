#pragma once
// Reader of Wavefront OBJ meshes (positions and faces only), so that scanned meshes can be
// turned into objects with the LWO2 writer. Each "usemtl" name becomes a surface; faces before
// any get "Default". The mesh is mirrored in z, which turns the format's right-handed axes and
// counter-clockwise fronts into LightWave's left-handed axes and clockwise fronts.
#include <string>

#include "host/scene/object.h"

namespace host {

bool readObjFile(const std::string& path, ObjectModel& out, std::string& error);
bool readObjText(const std::string& text, const std::string& name, ObjectModel& out, std::string& error);

}  // namespace host
