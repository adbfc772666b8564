#pragma once
// Readers of LightWave object files: LWO2, the older LWOB and LWO3, told apart by the form
// type. A damaged file gives false and one message naming the file, the chunk and the offset.
#include <cstddef>
#include <cstdint>
#include <string>

#include "host/scene/object.h"

namespace host {

bool readObjectFile(const std::string& path, ObjectModel& out, std::string& error);

// The same from memory; `name` stands for the file in messages and in out.fileName.
bool readObjectBuffer(const uint8_t* data, size_t size, const std::string& name,
                      ObjectModel& out, std::string& error);

}  // namespace host
