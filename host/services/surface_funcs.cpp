// "Surface Functions": the scene's surfaces and their channels.
#include "host/services/surface_funcs.h"

#include <array>
#include <cmath>
#include <filesystem>
#include <map>
#include <mutex>
#include <vector>

#include "host/services/envelope_funcs.h"
#include "host/services/host.h"
#include "host/services/img_slots.h"
#include "host/services/img_store.h"
#include "host/services/scene_ids.h"
#include "host/services/texture_funcs.h"

namespace host {

namespace {

struct SurfaceRecord {
  std::shared_ptr<const ObjectModel> model;
  size_t index = 0;
  std::mutex mutex;
  // What getFlt hands out stays put for the surface's life, one buffer per channel name.
  std::map<std::string, std::array<double, 3>> values;

  const Surface& surface() const { return model->surfaces[index]; }
};

struct SurfaceTable {
  std::mutex mutex;
  SlotList<SurfaceRecord> records;
  std::map<std::pair<const ObjectModel*, size_t>, size_t> byModel;
  // The list as the scene has it now, and the names its objects go by.
  std::vector<size_t> order;
  std::map<size_t, size_t> position;  // id -> place in order
  std::map<const ObjectModel*, std::vector<std::string>> objectNames;
  std::vector<LWSurfaceID> found;  // what byName and byObject return, null-ended
};

SurfaceTable& tableOf(Host& host) { return host.state<SurfaceTable>(); }

LWSurfaceID toId(size_t n) { return reinterpret_cast<LWSurfaceID>(uintptr_t(n)); }

SurfaceRecord* record(LWSurfaceID id) {
  Host* h = Host::current();
  return h ? tableOf(*h).records.get(reinterpret_cast<uintptr_t>(id)) : nullptr;
}

size_t ensureLocked(SurfaceTable& t, const std::shared_ptr<const ObjectModel>& model, size_t surface) {
  const auto key = std::make_pair(model.get(), surface);
  if (auto it = t.byModel.find(key); it != t.byModel.end()) return it->second;
  auto r = std::make_unique<SurfaceRecord>();
  r->model = model;
  r->index = surface;
  const size_t n = t.records.add(std::move(r));
  if (n) t.byModel[key] = n;
  return n;
}

void refresh(Host& host) {
  SurfaceTable& t = tableOf(host);
  std::lock_guard lock(t.mutex);
  t.order.clear();
  t.position.clear();
  t.objectNames.clear();
  for (const Item& item : host.scene().items) {
    if (item.type != ItemType::Object || !item.object.model) continue;
    const auto& model = item.object.model;
    auto& names = t.objectNames[model.get()];
    const bool seen = !names.empty();
    for (const std::string* n : {&objectFileName(item), &item.object.path, &model->fileName})
      if (!n->empty()) names.push_back(*n);
    if (seen) continue;
    for (size_t s = 0; s < model->surfaces.size(); ++s) {
      const size_t n = ensureLocked(t, model, s);
      if (!n || t.position.count(n)) continue;
      t.position[n] = t.order.size();
      t.order.push_back(n);
    }
  }
}

Host* currentHost() { return Host::current(); }

// ---- list ----

LWSurfaceID create(const char*, const char*) { return nullptr; }

LWSurfaceID first() {
  Host* h = currentHost();
  if (!h) return nullptr;
  SurfaceTable& t = tableOf(*h);
  std::lock_guard lock(t.mutex);
  return t.order.empty() ? nullptr : toId(t.order.front());
}

LWSurfaceID next(LWSurfaceID id) {
  Host* h = currentHost();
  if (!h) return nullptr;
  SurfaceTable& t = tableOf(*h);
  std::lock_guard lock(t.mutex);
  auto it = t.position.find(reinterpret_cast<uintptr_t>(id));
  if (it == t.position.end() || it->second + 1 >= t.order.size()) return nullptr;
  return toId(t.order[it->second + 1]);
}

std::string baseName(const std::string& path) {
  std::string p = path;
  for (char& c : p)
    if (c == '\\') c = '/';
  return std::filesystem::path(p).filename().string();
}

// The surfaces, in list order, of the objects the name stands for (every object for null)
// whose name is `name` (any name for null). An object's name is matched as the host reports
// it first, and only if no object has it that way, by its bare file name.
LWSurfaceID* select(const char* name, const char* objName) {
  Host* h = currentHost();
  if (!h) return nullptr;
  SurfaceTable& t = tableOf(*h);
  std::lock_guard lock(t.mutex);
  auto objectMatches = [&](const ObjectModel* model, bool bare) {
    if (!objName) return true;
    auto it = t.objectNames.find(model);
    if (it == t.objectNames.end()) return false;
    for (const std::string& n : it->second)
      if (bare ? baseName(n) == baseName(objName) : n == objName) return true;
    return false;
  };
  t.found.clear();
  for (bool bare : {false, true}) {
    for (size_t n : t.order) {
      const SurfaceRecord* r = t.records.get(n);
      if (!r || !objectMatches(r->model.get(), bare)) continue;
      if (name && r->surface().name != name) continue;
      t.found.push_back(toId(n));
    }
    if (!t.found.empty() || !objName) break;
  }
  t.found.push_back(nullptr);
  return t.found.data();
}

LWSurfaceID* byName(const char* name, const char* objName) { return name ? select(name, objName) : select("", objName); }
LWSurfaceID* byObject(const char* objName) { return select(nullptr, objName); }

const char* name(LWSurfaceID id) {
  SurfaceRecord* r = record(id);
  return r ? r->surface().name.c_str() : nullptr;
}

const char* sceneObject(LWSurfaceID id) {
  Host* h = currentHost();
  SurfaceRecord* r = record(id);
  if (!h || !r) return nullptr;
  SurfaceTable& t = tableOf(*h);
  std::lock_guard lock(t.mutex);
  auto it = t.objectNames.find(r->model.get());
  if (it != t.objectNames.end() && !it->second.empty()) return it->second.front().c_str();
  return r->model->fileName.c_str();
}

// ---- channels ----

const SurfaceChannel* scalarChannel(const Surface& s, const std::string& channel) {
  static const std::pair<const char*, SurfaceChannel Surface::*> channels[] = {
      {"Luminosity", &Surface::luminosity},
      {"Diffuse", &Surface::diffuse},
      {"Specularity", &Surface::specularity},
      {"Glossiness", &Surface::glossiness},
      {"Reflectivity", &Surface::reflectivity},
      {"Transparency", &Surface::transparency},
      {"Translucency", &Surface::translucency},
      {"IOR", &Surface::ior},
      {"Bump", &Surface::bump},
      {"ColorHighlights", &Surface::colorHighlights},
      {"ColorFilter", &Surface::colorFilter},
      {"AdditiveTransparency", &Surface::additiveTransparency},
      {"DiffuseSharpness", &Surface::diffuseSharpness},
      {"ReflectionSeamAngle", &Surface::reflectionSeamAngle},
      {"RefractionSeamAngle", &Surface::refractionSeamAngle},
      {"ReflectionBlurring", &Surface::reflectionBlurring},
      {"RefractionBlurring", &Surface::refractionBlurring},
      {"GlowValue", &Surface::glow},
      {"OutlineSize", &Surface::lineSize},
  };
  for (const auto& [n, member] : channels)
    if (channel == n) return &(s.*member);
  return nullptr;
}

// The envelope index of a channel, 0 for none.
uint32_t envelopeIndex(const Surface& s, const std::string& channel) {
  if (const SurfaceChannel* c = scalarChannel(s, channel)) return c->envelope;
  if (channel == "BaseColor") return s.color.envelope;
  if (channel == "VertexColoring") return s.vertexColoringEnvelope;
  return 0;
}

double* getFlt(LWSurfaceID id, const char* channel) {
  SurfaceRecord* r = record(id);
  Host* h = currentHost();
  if (!r || !h) return nullptr;
  const std::string c = channel ? channel : "";
  const Surface& s = r->surface();
  std::array<double, 3> v{0.0, 0.0, 0.0};
  auto enveloped = [&](double value, uint32_t index) {
    const Envelope* e = index ? r->model->findEnvelope(index) : nullptr;
    return e && !e->empty() ? e->evaluate(h->time()) : value;
  };
  if (c == "BaseColor") {
    v = s.color.value;
  } else if (const SurfaceChannel* sc = scalarChannel(s, c)) {
    v[0] = enveloped(sc->value, sc->envelope);
  } else if (c == "VertexColoring") {
    v[0] = enveloped(s.vertexColoring, s.vertexColoringEnvelope);
  } else if (c == "SmoothingAngle") {
    v[0] = s.smoothingAngle;
  } else if (c == "AlphaValue") {
    v[0] = s.alphaValue;
  } else if (c == "Sidedness") {
    v[0] = s.sidedness;
  } else if (c == "ReflectionOptions") {
    v[0] = s.reflectionOptions;
  } else if (c == "RefractionOptions") {
    v[0] = s.refractionOptions;
  } else if (c == "AlphaOptions") {
    v[0] = s.alphaOptions;
  } else if (c == "RenderOutlines") {
    v[0] = s.lineFlags;
  }
  std::lock_guard lock(r->mutex);
  auto& slot = r->values[c];
  slot = v;
  return slot.data();
}

int getInt(LWSurfaceID id, const char* channel) {
  SurfaceRecord* r = record(id);
  if (!r) return 0;
  const std::string c = channel ? channel : "";
  const Surface& s = r->surface();
  if (c == "Sidedness") return s.sidedness;
  if (c == "ReflectionOptions") return s.reflectionOptions;
  if (c == "RefractionOptions") return s.refractionOptions;
  if (c == "AlphaOptions") return s.alphaOptions;
  if (c == "RenderOutlines") return s.lineFlags;
  const double* v = getFlt(id, channel);
  return v && std::isfinite(v[0]) && std::fabs(v[0]) < 2e9 ? int(v[0]) : 0;
}

LWEnvelopeID getEnv(LWSurfaceID id, const char* channel) {
  SurfaceRecord* r = record(id);
  Host* h = currentHost();
  if (!r || !h || !channel) return nullptr;
  const uint32_t index = envelopeIndex(r->surface(), channel);
  const Envelope* e = index ? r->model->findEnvelope(index) : nullptr;
  if (!e) return nullptr;
  return envelopeIdOf(*h, std::static_pointer_cast<const void>(r->model), e);
}

LWTextureID getTex(LWSurfaceID id, const char* channel) {
  SurfaceRecord* r = record(id);
  Host* h = currentHost();
  if (!r || !h || !channel) return nullptr;
  return channelTexture(*h, r->model, r->index, channel);
}

LWImageID getImg(LWSurfaceID id, const char* channel) {
  SurfaceRecord* r = record(id);
  Host* h = currentHost();
  if (!r || !h || !channel) return nullptr;
  const std::string c = channel;
  const uint32_t clip = c == "ReflectionImage"   ? r->surface().reflectionImage
                        : c == "RefractionImage" ? r->surface().refractionImage
                                                 : 0;
  ImageEntry* e = clip ? imageTable(*h).forClip(r->model, clip) : nullptr;
  return e ? e->id() : nullptr;
}

LWChanGroupID chanGrp(LWSurfaceID) { return nullptr; }

const char* colorVMap(LWSurfaceID id) {
  SurfaceRecord* r = record(id);
  if (!r || r->surface().vertexColorMap.empty()) return nullptr;
  return r->surface().vertexColorMap.c_str();
}

LWSurfaceFuncs kSurfaceFuncs = {create, first,  next,   byName, byObject, name,    sceneObject,
                                getInt, getFlt, getEnv, getTex, getImg,   chanGrp, colorVMap};

}  // namespace

LWSurfaceID surfaceIdOf(Host& host, const std::shared_ptr<const ObjectModel>& model, size_t surface) {
  if (!model || surface >= model->surfaces.size()) return nullptr;
  SurfaceTable& t = tableOf(host);
  std::lock_guard lock(t.mutex);
  const size_t n = ensureLocked(t, model, surface);
  return n ? toId(n) : nullptr;
}

void registerSurfaceFuncs(Host& host) {
  tableOf(host);
  host.services().addVersioned(LWSURFACEFUNCS_GLOBAL, 3, [](int) -> void* { return &kSurfaceFuncs; });
  host.addRefresh([&host] { refresh(host); });
}

}  // namespace host
