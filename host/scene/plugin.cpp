#include "host/scene/plugin.h"

namespace host {

std::string PluginBlock::text() const {
  std::string out;
  for (const std::string& line : lines) {
    out += line;
    out += '\n';
  }
  return out;
}

void PluginBlock::setText(const std::string& text) {
  lines.clear();
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(start, end - start);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    lines.push_back(std::move(line));
    start = end + 1;
  }
}

const PluginBlock* findPlugin(const std::vector<PluginBlock>& blocks, const std::string& serverClass,
                              const std::string& name) {
  for (const PluginBlock& block : blocks)
    if (block.serverClass == serverClass && block.name == name) return &block;
  return nullptr;
}

}  // namespace host
