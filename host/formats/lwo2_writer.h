#pragma once
// Saves an object model as an LWO2 file, for test fixtures and the examples. Reading the file
// back gives the same model, up to the single precision of the file's numbers.
#include <cstdint>
#include <string>
#include <vector>

#include "host/scene/object.h"

namespace host {

std::vector<uint8_t> writeLwo2(const ObjectModel& model);
bool writeLwo2File(const ObjectModel& model, const std::string& path, std::string& error);

}  // namespace host
