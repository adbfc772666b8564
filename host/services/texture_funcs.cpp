// "Texture Functions": a texture per surface channel with layers, and one per object's clip
// map, evaluated over the channel's value at a spot.
#include "host/services/texture_funcs.h"

#include <atomic>
#include <cmath>
#include <map>
#include <mutex>
#include <tuple>

#include "host/services/host.h"
#include "host/services/img_slots.h"
#include "host/services/img_store.h"
#include "host/services/scene_ids.h"

namespace host {

namespace {

struct TextureRecord {
  std::unique_ptr<TextureStack> stack;
  std::shared_ptr<const ObjectModel> model;  // keeps the layers alive
  std::shared_ptr<const SceneTexture> sceneTexture;  // or, for a clip map, these
  std::string name;
  int returnType = TRT_SCALAR;
  void* userData = nullptr;
  bool own = false;  // made by a plug-in
  std::atomic<bool> destroyed{false};
};

struct TextureTable {
  SlotList<TextureRecord> records;
  std::mutex mutex;
  std::map<std::tuple<const ObjectModel*, size_t, std::string>, size_t> byChannel;
  std::map<const SceneTexture*, size_t> clipMaps;
};

TextureTable& tableOf(Host& host) { return host.state<TextureTable>(); }

TextureRecord* record(LWTextureID id) {
  Host* h = Host::current();
  if (!h) return nullptr;
  TextureRecord* r = tableOf(*h).records.get(reinterpret_cast<uintptr_t>(id));
  return r && !r->destroyed.load(std::memory_order_acquire) ? r : nullptr;
}

LWTextureID toId(size_t n) { return reinterpret_cast<LWTextureID>(uintptr_t(n)); }
size_t fromId(LWTextureID id) { return reinterpret_cast<uintptr_t>(id); }

LWTLayerID layerId(size_t texture, size_t layer) {
  return reinterpret_cast<LWTLayerID>(uintptr_t((texture << 16) | (layer + 1)));
}

// The texture and the layer's position of a layer id; false if it doesn't name one.
bool splitLayer(LWTLayerID id, TextureRecord*& r, size_t& texture, size_t& layer) {
  const uintptr_t v = reinterpret_cast<uintptr_t>(id);
  texture = v >> 16;
  const size_t n = v & 0xFFFF;
  r = record(toId(texture));
  if (!r || n == 0 || n > r->stack->layers().size()) return false;
  layer = n - 1;
  return true;
}

struct ChannelInfo {
  const char* name;
  TextureKind kind;
  int returnType;
};

const ChannelInfo* channelInfo(const std::string& channel) {
  static const ChannelInfo channels[] = {
      {"BaseColor", TextureKind::Color, TRT_COLOR},       {"Luminosity", TextureKind::Percent, TRT_PERCENT},
      {"Diffuse", TextureKind::Percent, TRT_PERCENT},     {"Specularity", TextureKind::Percent, TRT_PERCENT},
      {"Glossiness", TextureKind::Percent, TRT_PERCENT},  {"Reflectivity", TextureKind::Percent, TRT_PERCENT},
      {"Transparency", TextureKind::Percent, TRT_PERCENT}, {"Translucency", TextureKind::Percent, TRT_PERCENT},
      {"IOR", TextureKind::Scalar, TRT_SCALAR},           {"Bump", TextureKind::Bump, TRT_DISPLACEMENT},
  };
  for (const ChannelInfo& c : channels)
    if (channel == c.name) return &c;
  return nullptr;
}

const std::vector<TextureLayer>* channelLayers(const Surface& s, const std::string& channel) {
  if (channel == "BaseColor") return &s.color.layers;
  if (channel == "Luminosity") return &s.luminosity.layers;
  if (channel == "Diffuse") return &s.diffuse.layers;
  if (channel == "Specularity") return &s.specularity.layers;
  if (channel == "Glossiness") return &s.glossiness.layers;
  if (channel == "Reflectivity") return &s.reflectivity.layers;
  if (channel == "Transparency") return &s.transparency.layers;
  if (channel == "Translucency") return &s.translucency.layers;
  if (channel == "IOR") return &s.ior.layers;
  if (channel == "Bump") return &s.bump.layers;
  return nullptr;
}

// ---- the table's functions ----

LWTxtrContextID contextCreate(LWTxtrParamDesc*) { return nullptr; }
void contextDestroy(LWTxtrContextID) {}
void contextAddParam(LWTxtrContextID, LWTxtrParamDesc*) {}

// A plug-in's own texture has no layers: it leaves the value it is given.
LWTextureID create(int returnType, const char* name, LWTxtrContextID, void* userData) {
  Host* h = Host::current();
  if (!h) return nullptr;
  auto r = std::make_unique<TextureRecord>();
  const TextureKind kind = returnType == TRT_COLOR          ? TextureKind::Color
                           : returnType == TRT_DISPLACEMENT ? TextureKind::Bump
                           : returnType == TRT_PERCENT      ? TextureKind::Percent
                                                            : TextureKind::Scalar;
  r->stack = std::make_unique<TextureStack>(kind, nullptr, nullptr, nullptr);
  r->name = name ? name : "";
  r->returnType = returnType;
  r->userData = userData;
  r->own = true;
  return toId(tableOf(*h).records.add(std::move(r)));
}

// Only a plug-in's own textures go; a surface's stay with the surface.
void destroy(LWTextureID id) {
  TextureRecord* r = record(id);
  if (r && r->own) r->destroyed.store(true, std::memory_order_release);
}

void copy(LWTextureID, LWTextureID) {}

void newtime(LWTextureID id, LWTime t, LWFrame f) {
  if (TextureRecord* r = record(id)) r->stack->setTime(t, f);
}

void cleanup(LWTextureID) {}
void load(LWTextureID, const LWLoadState*) {}
void save(LWTextureID, const LWSaveState*) {}

double evaluateStack(TextureRecord* r, LWMicropolID mp, double* value, int only) {
  Host* h = Host::current();
  if (!r || !mp || !value || !h) return 0.0;
  // Nothing may escape into the plug-in; a failure leaves the value as it came.
  try {
    TextureSurroundings around;
    around.scene = &h->scene();
    around.objectItem = itemIndexOf(h->scene(), mp->objID);
    if (around.objectItem >= 0) around.geometry = objectLayer(h->scene().items[size_t(around.objectItem)]);
    const TextureSpot spot = textureSpotOf(*mp, around.geometry);
    return r->stack->evaluate(spot, around, value, only);
  } catch (...) {
    return 0.0;
  }
}

double evaluate(LWTextureID id, LWMicropolID mp, double* value) { return evaluateStack(record(id), mp, value, -1); }

void setEnvGroup(LWTextureID, LWChanGroupID) {}

LWTLayerID firstLayer(LWTextureID id) {
  TextureRecord* r = record(id);
  return r && !r->stack->layers().empty() ? layerId(fromId(id), 0) : nullptr;
}

LWTLayerID lastLayer(LWTextureID id) {
  TextureRecord* r = record(id);
  return r && !r->stack->layers().empty() ? layerId(fromId(id), r->stack->layers().size() - 1) : nullptr;
}

LWTLayerID nextLayer(LWTextureID, LWTLayerID layer) {
  TextureRecord* r;
  size_t t, l;
  if (!splitLayer(layer, r, t, l) || l + 1 >= r->stack->layers().size()) return nullptr;
  return layerId(t, l + 1);
}

int layerNumber(LWTextureID id) {
  TextureRecord* r = record(id);
  return r ? int(r->stack->layers().size()) : 0;
}

// Layers come from the object files; a plug-in can't add its own here.
LWTLayerID layerAdd(LWTextureID, int) { return nullptr; }
void layerSetType(LWTLayerID, int) {}

int layerType(LWTLayerID layer) {
  TextureRecord* r;
  size_t t, l;
  if (!splitLayer(layer, r, t, l)) return -1;
  switch (r->stack->layers()[l].layer->type) {
    case TextureType::ImageMap: return TLT_IMAGE;
    case TextureType::Procedural: return TLT_PROC;
    case TextureType::Gradient: return TLT_GRAD;
    default: return -1;
  }
}

double layerEvaluate(LWTLayerID layer, LWMicropolID mp, double* value) {
  TextureRecord* r;
  size_t t, l;
  if (!splitLayer(layer, r, t, l)) return 0.0;
  return evaluateStack(r, mp, value, int(l));
}

LWChanGroupID layerEnvGroup(LWTLayerID) { return nullptr; }
int setParam(LWTLayerID, int, void*) { return 0; }
int getParam(LWTLayerID, int, void*) { return 0; }

void evaluateUV(LWTLayerID layer, int wAxis, int oAxis, double oPos[3], double wPos[3], double uv[2]) {
  if (!uv) return;
  uv[0] = uv[1] = 0.0;
  TextureRecord* r;
  size_t t, l;
  Host* h = Host::current();
  if (!h || !splitLayer(layer, r, t, l)) return;
  TextureSpot spot;
  if (oPos) spot.oPos = {oPos[0], oPos[1], oPos[2]};
  if (wPos) spot.wPos = {wPos[0], wPos[1], wPos[2]};
  spot.oAxis = oAxis;
  spot.wAxis = wAxis;
  TextureSurroundings around;
  around.scene = &h->scene();
  try {
    if (!r->stack->layerUV(l, spot, around, uv)) uv[0] = uv[1] = 0.0;
  } catch (...) {
    uv[0] = uv[1] = 0.0;
  }
}

double noise(double p[3]) { return p ? textureNoise(p) : 0.0; }

void* userData(LWTextureID id) {
  TextureRecord* r = record(id);
  return r ? r->userData : nullptr;
}

LWTextureID texture(LWTLayerID layer) {
  TextureRecord* r;
  size_t t, l;
  return splitLayer(layer, r, t, l) ? toId(t) : nullptr;
}

const char* name(LWTextureID id) {
  TextureRecord* r = record(id);
  return r ? r->name.c_str() : nullptr;
}

int type(LWTextureID id) {
  TextureRecord* r = record(id);
  return r ? r->returnType : -1;
}

LWChanGroupID envGroup(LWTextureID) { return nullptr; }

LWTextureFuncs kTextureFuncs = {
    contextCreate, contextDestroy, contextAddParam, create,     destroy,       copy,
    newtime,       cleanup,        load,            save,       evaluate,      setEnvGroup,
    firstLayer,    lastLayer,      nextLayer,       layerNumber, layerAdd,     layerSetType,
    layerType,     layerEvaluate,  layerEnvGroup,   setParam,   getParam,      evaluateUV,
    noise,         userData,       texture,         name,       type,          envGroup,
};

// The texture of an object item's clip map, made on first use; null when it has none.
LWTextureID clipMapTexture(Host& host, int item) {
  const Scene& scene = host.scene();
  if (item < 0 || size_t(item) >= scene.items.size()) return nullptr;
  const Item& it = scene.items[size_t(item)];
  const std::shared_ptr<const SceneTexture>& clip = it.object.clipMap;
  if (it.type != ItemType::Object || !clip || clip->layers.empty()) return nullptr;
  TextureTable& t = tableOf(host);
  std::lock_guard lock(t.mutex);
  // The record holds the texture, so its address isn't reused while the key stands.
  if (auto found = t.clipMaps.find(clip.get()); found != t.clipMaps.end()) return toId(found->second);
  auto r = std::make_unique<TextureRecord>();
  r->sceneTexture = clip;
  r->model = clip->home;
  r->stack = std::make_unique<TextureStack>(TextureKind::Percent, clip->home, &clip->layers, &imageTable(host));
  r->stack->setTime(host.time(), int(std::floor(host.frame() + 0.5)));
  r->name = it.name + ".ClipMap";
  r->returnType = TRT_PERCENT;
  const size_t n = t.records.add(std::move(r));
  if (n) t.clipMaps[clip.get()] = n;
  return n ? toId(n) : nullptr;
}

}  // namespace

LWTextureID channelTexture(Host& host, const std::shared_ptr<const ObjectModel>& model, size_t surface,
                           const std::string& channel) {
  if (!model || surface >= model->surfaces.size()) return nullptr;
  const ChannelInfo* info = channelInfo(channel);
  const Surface& s = model->surfaces[surface];
  const std::vector<TextureLayer>* layers = channelLayers(s, channel);
  if (!info || !layers || layers->empty()) return nullptr;
  TextureTable& t = tableOf(host);
  std::lock_guard lock(t.mutex);
  const auto key = std::make_tuple(model.get(), surface, channel);
  if (auto it = t.byChannel.find(key); it != t.byChannel.end()) return toId(it->second);
  auto r = std::make_unique<TextureRecord>();
  r->model = model;
  r->stack = std::make_unique<TextureStack>(info->kind, model, layers, &imageTable(host));
  r->stack->setTime(host.time(), int(std::floor(host.frame() + 0.5)));
  r->name = s.name + "." + channel;
  r->returnType = info->returnType;
  const size_t n = t.records.add(std::move(r));
  if (n) t.byChannel[key] = n;
  return n ? toId(n) : nullptr;
}

const TextureStack* textureStack(Host& host, LWTextureID id) {
  TextureRecord* r = tableOf(host).records.get(fromId(id));
  return r && !r->destroyed.load() ? r->stack.get() : nullptr;
}

TextureSpot textureSpotOf(const LWMicropol& mp, const Layer* geometry) {
  TextureSpot s;
  for (size_t k = 0; k < 3; ++k) {
    s.oPos[k] = mp.oPos[k];
    s.wPos[k] = mp.wPos[k];
    s.gNorm[k] = mp.gNorm[k];
    s.wNorm[k] = mp.wNorm[k];
    s.raySource[k] = mp.raySource[k];
  }
  s.oAxis = mp.oAxis;
  s.wAxis = mp.wAxis;
  const size_t points = geometry ? geometry->points.size() : 0;
  const size_t polygons = geometry ? geometry->polygons.size() : 0;
  for (size_t c = 0; c < 4; ++c) {
    s.points[c] = pointIndexOf(mp.verts[c], points);
    s.weights[c] = std::isfinite(mp.weights[c]) ? mp.weights[c] : 0.0;
    for (size_t k = 0; k < 3; ++k) s.cornersW[c][k] = mp.vertsWPos[c][k];
  }
  s.polygon = polygonIndexOf(mp.polygon, polygons);
  return s;
}

// Improved gradient noise with Perlin's permutation.
double textureNoise(const double p[3]) {
  static const int perm[256] = {
      151, 160, 137, 91,  90,  15,  131, 13,  201, 95,  96,  53,  194, 233, 7,   225, 140, 36,  103, 30,  69,
      142, 8,   99,  37,  240, 21,  10,  23,  190, 6,   148, 247, 120, 234, 75,  0,   26,  197, 62,  94,  252,
      219, 203, 117, 35,  11,  32,  57,  177, 33,  88,  237, 149, 56,  87,  174, 20,  125, 136, 171, 168, 68,
      175, 74,  165, 71,  134, 139, 48,  27,  166, 77,  146, 158, 231, 83,  111, 229, 122, 60,  211, 133, 230,
      220, 105, 92,  41,  55,  46,  245, 40,  244, 102, 143, 54,  65,  25,  63,  161, 1,   216, 80,  73,  209,
      76,  132, 187, 208, 89,  18,  169, 200, 196, 135, 130, 116, 188, 159, 86,  164, 100, 109, 198, 173, 186,
      3,   64,  52,  217, 226, 250, 124, 123, 5,   202, 38,  147, 118, 126, 255, 82,  85,  212, 207, 206, 59,
      227, 47,  16,  58,  17,  182, 189, 28,  42,  223, 183, 170, 213, 119, 248, 152, 2,   44,  154, 163, 70,
      221, 153, 101, 155, 167, 43,  172, 9,   129, 22,  39,  253, 19,  98,  108, 110, 79,  113, 224, 232, 178,
      185, 112, 104, 218, 246, 97,  228, 251, 34,  242, 193, 238, 210, 144, 12,  191, 179, 162, 241, 81,  51,
      145, 235, 249, 14,  239, 107, 49,  192, 214, 31,  181, 199, 106, 157, 184, 84,  204, 176, 115, 121, 50,
      45,  127, 4,   150, 254, 138, 236, 205, 93,  222, 114, 67,  29,  24,  72,  243, 141, 128, 195, 78,  66,
      215, 61,  156, 180};
  auto P = [](int i) { return perm[i & 255]; };
  auto fade = [](double t) { return t * t * t * (t * (t * 6 - 15) + 10); };
  auto lerp = [](double t, double a, double b) { return a + t * (b - a); };
  auto grad = [](int hash, double x, double y, double z) {
    const int h = hash & 15;
    const double u = h < 8 ? x : y, v = h < 4 ? y : (h == 12 || h == 14 ? x : z);
    return ((h & 1) ? -u : u) + ((h & 2) ? -v : v);
  };
  if (!std::isfinite(p[0]) || !std::isfinite(p[1]) || !std::isfinite(p[2])) return 0.0;
  const double fx = std::floor(p[0]), fy = std::floor(p[1]), fz = std::floor(p[2]);
  const int X = int(std::fmod(fx, 256.0) + 256.0) & 255, Y = int(std::fmod(fy, 256.0) + 256.0) & 255,
            Z = int(std::fmod(fz, 256.0) + 256.0) & 255;
  const double x = p[0] - fx, y = p[1] - fy, z = p[2] - fz;
  const double u = fade(x), v = fade(y), w = fade(z);
  const int A = P(X) + Y, AA = P(A) + Z, AB = P(A + 1) + Z, B = P(X + 1) + Y, BA = P(B) + Z, BB = P(B + 1) + Z;
  return lerp(w,
              lerp(v, lerp(u, grad(P(AA), x, y, z), grad(P(BA), x - 1, y, z)),
                   lerp(u, grad(P(AB), x, y - 1, z), grad(P(BB), x - 1, y - 1, z))),
              lerp(v, lerp(u, grad(P(AA + 1), x, y, z - 1), grad(P(BA + 1), x - 1, y, z - 1)),
                   lerp(u, grad(P(AB + 1), x, y - 1, z - 1), grad(P(BB + 1), x - 1, y - 1, z - 1))));
}

void registerTextureFuncs(Host& host) {
  tableOf(host);
  host.services().addVersioned(LWTEXTUREFUNCS_GLOBAL, 3, [](int) -> void* { return &kTextureFuncs; });
  host.links().clipMapTexture = [&host](int item) { return clipMapTexture(host, item); };
}

}  // namespace host
