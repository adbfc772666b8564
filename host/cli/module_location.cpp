#include <filesystem>
#include <system_error>

#include "host/cli/command.h"

namespace cli {

std::string defaultModulePath() {
  std::error_code ec;
  const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", ec);
  if (ec || self.empty()) return {};
  return (self.parent_path().parent_path() / "lib" / "ombrel" / "ombrel.p").string();
}

}  // namespace cli
