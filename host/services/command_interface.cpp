// The command language: what the host's evaluate does with a line, "LW Command Interface",
// and "SurfaceEditor Functions", whose current surface the Surf_ commands act on.
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <sstream>

#include <lwrender.h>
#include <lwsurfed.h>

#include "host/services/host.h"
#include "host/services/scene_ids.h"

namespace host {

namespace {

bool parseNumber(const std::string& text, double& out) {
  if (text.empty()) return false;
  errno = 0;
  char* end = nullptr;
  out = std::strtod(text.c_str(), &end);
  return errno == 0 && end && *end == '\0' && std::isfinite(out);
}

bool parseInteger(const std::string& text, long& out) {
  double d;
  if (!parseNumber(text, d) || d < -2147483648.0 || d > 2147483647.0) return false;
  out = long(d);
  return true;
}

// An item by its id as the scene file writes it (hexadecimal), or by its name.
int findItem(const Scene& scene, const std::string& text) {
  if (!text.empty() && text.size() <= 8 && text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos) {
    const int i = scene.findItem(uint32_t(std::strtoul(text.c_str(), nullptr, 16)));
    if (i >= 0) return i;
  }
  return scene.findItem(text);
}

// The rest of the line after `skip` words.
std::string restAfter(const std::string& text, size_t skip) {
  size_t pos = 0;
  for (size_t w = 0; w < skip; ++w) {
    pos = text.find_first_not_of(" \t", pos);
    if (pos == std::string::npos) return "";
    pos = text.find_first_of(" \t", pos);
    if (pos == std::string::npos) return "";
  }
  pos = text.find_first_not_of(" \t", pos);
  if (pos == std::string::npos) return "";
  const size_t end = text.find_last_not_of(" \t\r\n");
  return text.substr(pos, end - pos + 1);
}

// Sets a channel at a time: a still channel takes the value; an animated one gets a key
// there, or the key there takes it.
void setChannel(Animated& channel, double time, double value) {
  if (!channel.animated()) {
    channel.value = value;
    return;
  }
  auto& keys = channel.envelope.keys;
  size_t at = 0;
  while (at < keys.size() && keys[at].time < time - 1e-9) ++at;
  if (at < keys.size() && std::fabs(keys[at].time - time) <= 1e-9) {
    keys[at].value = value;
    return;
  }
  EnvelopeKey k;
  k.time = time;
  k.value = value;
  keys.insert(keys.begin() + long(at), k);
}

bool moveItem(Host& host, const CommandRecord& c, int firstChannel, double scale) {
  auto& sel = host.interfaceState().selection;
  if (sel.empty() || c.args.size() != 3) return false;
  double v[3];
  for (size_t k = 0; k < 3; ++k)
    if (!parseNumber(c.args[k], v[k])) return false;
  const int index = sel.back();
  if (index < 0 || index >= int(host.scene().items.size())) return false;
  Item& item = host.scene().items[size_t(index)];
  for (int k = 0; k < 3; ++k) setChannel(item.motion[size_t(firstChannel + k)], host.time(), v[k] * scale);
  host.sceneChanged();
  return true;
}

bool editorCommand(Host& host, const CommandRecord& c) {
  bool open = true;
  if (!c.args.empty()) {
    long v;
    if (!parseInteger(c.args[0], v)) return false;
    open = v != 0;
  }
  host.interfaceState().editors[c.name] = open;
  return true;
}

}  // namespace

// Carries a command out; sets record.known for the host's own commands.
bool Host::runCommand(CommandRecord& c) {
  c.known = true;
  const std::string& n = c.name;
  if (n == "GoToFrame") {
    double f;
    if (c.args.size() != 1 || !parseNumber(c.args[0], f) || scene_->framesPerSecond <= 0.0) return false;
    setTime(f / scene_->framesPerSecond);
    return true;
  }
  if (n == "SelectItem" || n == "SelectByName" || n == "AddToSelection") {
    const std::string what = restAfter(c.text, 1);
    const int i = findItem(*scene_, what);
    if (i < 0) return false;
    auto& sel = interface_.selection;
    if (n != "AddToSelection") sel.clear();
    std::erase(sel, i);
    sel.push_back(i);
    refreshAll();
    return true;
  }
  if (n == "ClearSelection") {
    interface_.selection.clear();
    refreshAll();
    return true;
  }
  if (n == "Position") return moveItem(*this, c, PositionX, 1.0);
  if (n == "Rotation") return moveItem(*this, c, Heading, std::numbers::pi / 180.0);
  if (n == "Scale") return moveItem(*this, c, ScaleX, 1.0);
  if (n == "ApplyServer") {
    if (c.args.size() < 2) return false;
    interface_.appliedServers.emplace_back(c.args[0], restAfter(c.text, 2));
    return true;
  }
  if (n == "Surf_AddShader" || n == "Surf_RemShader") {
    const std::string server = restAfter(c.text, 1);
    if (!interface_.currentSurface || server.empty()) return false;
    auto& list = interface_.surfaceShaders[interface_.currentSurface];
    if (n == "Surf_AddShader") {
      list.push_back(server);
      return true;
    }
    for (auto it = list.begin(); it != list.end(); ++it)
      if (*it == server) {
        list.erase(it);
        return true;
      }
    return false;
  }
  if (n == "BoundingBoxThreshold") {
    long v;
    if (c.args.size() != 1 || !parseInteger(c.args[0], v)) return false;
    interface_.boundingBoxThreshold = int(v);
    refreshAll();
    return true;
  }
  if (n == "SurfaceEditor" || n == "ImageEditor" || n == "GraphEditor" || n == "SceneEditor")
    return editorCommand(*this, c);
  if (n == "RefreshNow" || n == "RedrawNow") return true;
  c.known = false;
  return unknownCommand_ ? unknownCommand_(c) : false;
}

int Host::evaluate(const std::string& command) {
  CommandRecord c;
  c.text = command;
  std::istringstream words(command);
  words >> c.name;
  for (std::string w; words >> w;) c.args.push_back(w);
  c.ok = !c.name.empty() && runCommand(c);
  commands_.push_back(c);
  // Listeners may send commands themselves: walk a copy.
  const auto listeners = commandListeners_;
  for (const auto& l : listeners) l(c);
  return c.ok ? 1 : 0;
}

namespace {

int commandInterface(const char* command) {
  Host* h = Host::current();
  return h && command ? h->evaluate(command) : 0;
}

void editorOpen(int open) {
  if (Host* h = Host::current()) h->interfaceState().editors["SurfaceEditor"] = open != 0;
}
void editorClose() { editorOpen(0); }
int editorIsOpen() {
  Host* h = Host::current();
  if (!h) return 0;
  auto it = h->interfaceState().editors.find("SurfaceEditor");
  return it != h->interfaceState().editors.end() && it->second ? 1 : 0;
}
void editorSetSurface(LWSurfaceID surface) {
  if (Host* h = Host::current()) h->interfaceState().currentSurface = surface;
}
void editorSetPosition(int, int) {}
void editorGetPosition(int* x, int* y, int* w, int* h) {
  if (x) *x = 0;
  if (y) *y = 0;
  if (w) *w = 0;
  if (h) *h = 0;
}

struct CommandTables {
  LWSurfEdFuncs surfaceEditor{editorOpen, editorClose, editorIsOpen, editorSetSurface, editorSetPosition,
                              editorGetPosition};
};

}  // namespace

void registerCommandInterface(Host& host) {
  CommandTables& t = host.state<CommandTables>();
  host.services().add(LWCOMMANDINTERFACE_GLOBAL,
                      [](int) -> void* { return reinterpret_cast<void*>(&commandInterface); });
  host.services().add(LWSURFEDFUNCS_GLOBAL, [&t](int) -> void* { return &t.surfaceEditor; });
}

}  // namespace host
