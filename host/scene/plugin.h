#pragma once
// A server instance as a scene keeps it: the lines between "Plugin <class> <index> <name>" and
// "EndPlugin", untouched, so that the server's `load` reads them back and its `save` replaces them.
#include <string>
#include <vector>

namespace host {

struct PluginBlock {
  std::string serverClass;         // "MasterHandler", "LightHandler", "DisplacementHandler" ...
  int index = 1;                   // the position Layout gave it among the item's servers
  std::string name;                // the server's name
  std::vector<std::string> lines;  // the instance's own lines, without line ends

  std::string text() const;        // the lines joined, each ended by '\n'
  void setText(const std::string& text);
};

// The first block of a class and name, or null.
const PluginBlock* findPlugin(const std::vector<PluginBlock>& blocks, const std::string& serverClass,
                              const std::string& name);

}  // namespace host
