// Usage: <target> FILE_OR_FOLDER ...
// Feeds each file (folders: every file in them but hidden ones, in name order) to the fuzz
// target once and says how many it read. A crash or a sanitizer report ends the run, naming the file first.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz_target.h"

namespace {

namespace fs = std::filesystem;

void replay(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::fprintf(stderr, "replay: %s\n", file.c_str());
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

}  // namespace

int main(int argc, char** argv) {
  size_t count = 0;
  for (int i = 1; i < argc; ++i) {
    std::error_code ec;
    const fs::path p = argv[i];
    std::vector<fs::path> files;
    if (fs::is_directory(p, ec)) {
      for (const auto& e : fs::recursive_directory_iterator(p, ec))
        if (e.is_regular_file() && e.path().filename().string()[0] != '.') files.push_back(e.path());
      std::sort(files.begin(), files.end());
    } else if (fs::is_regular_file(p, ec)) {
      files.push_back(p);
    } else {
      std::fprintf(stderr, "replay: %s: no such file or folder\n", argv[i]);
      return 1;
    }
    for (const fs::path& f : files) replay(f);
    count += files.size();
  }
  std::printf("replay: %zu inputs read\n", count);
  return 0;
}
