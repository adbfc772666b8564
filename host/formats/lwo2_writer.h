#pragma once
// Saves an object model as an LWO2 file, for test fixtures and the examples. Reading the file
// back gives the same model, up to the single precision of the file's numbers.
#include <cstdint>
#include <string>
#include <vector>

#include "host/scene/object.h"

namespace host {

// False, with a message, for a model the format can't hold: a polygon of more than 1023
// corners, or a surface or texture block too big for its 16-bit length.
bool writeLwo2(const ObjectModel& model, std::vector<uint8_t>& out, std::string& error);
// The same for models known to fit; empty if the model doesn't.
std::vector<uint8_t> writeLwo2(const ObjectModel& model);
bool writeLwo2File(const ObjectModel& model, const std::string& path, std::string& error);

}  // namespace host
