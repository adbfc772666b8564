// The scene reader's server blocks: "Plugin <class> <index> <name>" to "EndPlugin", kept line
// for line as they stand in the file (indentation and all), so that the writer gives back the
// blocks of servers this program doesn't know exactly as it found them.
#include "host/formats/lws_parser.h"

namespace host::lws {
namespace {

bool isItemServerClass(const std::string& c) {
  static const char* const kClasses[] = {"DisplacementHandler", "ItemMotionHandler", "CustomObjHandler",
                                         "ObjReplacementHandler", "LightHandler", "CameraHandler",
                                         "ChannelHandler", "ItemInstancerHandler"};
  for (const char* k : kClasses)
    if (c == k) return true;
  return false;
}

}  // namespace

// A block without its EndPlugin fails the scene: nothing tells its lines from the scene's.
void Parser::readPlugin(size_t line, const std::vector<std::string>& w, const std::string& text) {
  PluginBlock block;
  if (w.size() < 3) fail(line, "Plugin needs a class, an index and a name");
  block.serverClass = w[1];
  block.index = int(integer(w, 2, line));
  keywordWords_ = nullptr;  // the rest of the line is the server's name
  block.name = restOfLine(text, 3);
  for (;;) {
    if (pos_ >= lines_.size()) fail(line, "the plug-in block opened here has no EndPlugin");
    const std::string& raw = lines_[pos_++];
    if (trim(raw) == "EndPlugin") break;
    block.lines.push_back(raw);
  }
  Item* item = currentAny();
  // Newer scenes may tell a light's kind only by its handler.
  if (item && item->type == ItemType::Light && block.serverClass == "LightHandler" &&
      !lightTypeGiven_.count(current_)) {
    static const char* const kHandlers[] = {"DistantLight", "PointLight", "SpotLight", "LinearLight", "AreaLight"};
    for (int k = 0; k < 5; ++k)
      if (block.name == kHandlers[k]) item->light.kind = LightKind(k);
  }
  if (item && isItemServerClass(block.serverClass)) item->plugins.push_back(std::move(block));
  else scene_.plugins.push_back(std::move(block));
}

}  // namespace host::lws
