// Telling scene files from object files by their first bytes.
#include "host/cli/file_kind.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>

namespace cli {

namespace {

bool startsWith(const std::string& path, const char* magic) {
  std::ifstream in(path, std::ios::binary);
  char buf[4] = {};
  in.read(buf, 4);
  return in.gcount() == 4 && std::string(buf, 4) == magic;
}

}  // namespace

bool isSceneFile(const std::string& path) {
  if (startsWith(path, "FORM")) return false;
  if (startsWith(path, "LWSC")) return true;
  std::string ext = std::filesystem::path(path).extension().string();
  std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return char(std::tolower(c)); });
  return ext == ".lws";
}

}  // namespace cli
