// `ombrel info PATH [--frame F] [--json]`: reads a scene or an object file into the host and
// reports it as a plug-in would see it through the host's services: per object its file,
// layer, counts, surfaces, bounds and clip map; per item its place at the frame; lights, cameras,
// frame settings, backdrop and fog.
#include "host/cli/info_command.h"
#include "host/cli/file_kind.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <numbers>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <lwmeshes.h>
#include <lwrender.h>

#include "host/formats/lwo_reader.h"
#include "host/formats/lws_reader.h"
#include "host/scene/object_stage.h"
#include "host/scene/object.h"
#include "host/services/host.h"
#include "host/services/scene_ids.h"

namespace cli {

namespace {

namespace fs = std::filesystem;
using host::Vec3;

// ---- what is reported ----

struct SurfaceReport {
  std::string name;
  bool defined = false;  // the file describes it; otherwise these are the host's defaults
  Vec3 color{};
  double diffuse = 0, specular = 0, glossiness = 0, reflection = 0, transparency = 0;
  double refractionIndex = 1, luminosity = 0;
  bool doubleSided = false;
  double smoothingAngle = 0;  // degrees; 0 is not smoothed
};

struct ItemPlace {
  std::string name;
  std::string parent;  // empty for none
  Vec3 position{};     // world position at the frame
};

struct ObjectReport {
  ItemPlace place;
  std::string file;
  int layer = 0;
  std::string layerName;
  bool null = false;  // an item without geometry
  int points = 0;
  int polygons = 0;
  std::map<std::string, int> polygonsByType;
  std::vector<SurfaceReport> surfaces;
  bool hasBounds = false;
  Vec3 boundsMin{}, boundsMax{};
  bool hasClipMap = false;
  int clipMapLayers = 0;
  std::vector<std::string> clipMapImages;  // as the scene names them
};

struct LightReport {
  ItemPlace place;
  std::string type;
  Vec3 color{};
  double intensity = 0;
};

struct CameraReport {
  ItemPlace place;
  double zoomFactor = 0;
  int width = 0, height = 0;
};

struct BoneReport {
  ItemPlace place;
  std::string object;
};

struct SceneReport {
  int frameStart = 0, frameEnd = 0, frameStep = 1;
  double framesPerSecond = 0;
  int width = 0, height = 0;
  double pixelAspect = 1;
  std::string renderCamera;
  std::vector<std::string> renderOptions;
  int recursionDepth = 0;
};

struct InfoReport {
  std::string file;
  bool scene = false;
  double frame = 0, time = 0;
  SceneReport settings;
  std::vector<ObjectReport> objects;
  std::vector<LightReport> lights;
  std::vector<CameraReport> cameras;
  std::vector<BoneReport> bones;
  bool gradient = false;
  Vec3 backdropColor{}, zenith{}, sky{}, ground{}, nadir{};
  double skySqueeze = 0, groundSqueeze = 0;
  int fogType = 0;
  double fogMinDistance = 0, fogMaxDistance = 0, fogMinAmount = 0, fogMaxAmount = 0;
  Vec3 fogColor{};
  bool fogBackdrop = false;
  std::vector<std::string> warnings;
};

// ---- reading the file ----

// A scene of one object file: one item per layer, as Layout loads all layers of a file.
bool loadObjectScene(const std::string& path, host::Scene& scene, std::string& error) {
  auto model = std::make_shared<host::ObjectModel>();
  if (!host::readObjectFile(path, *model, error)) return false;
  host::addObjectLayers(scene, model, path);
  scene.addItem(host::ItemType::Camera, "Camera");
  return true;
}

// ---- gathering through the services ----

template <class T>
T* service(const char* name) {
  return static_cast<T*>(host::Host::globalFunction()(name, GFUSE_TRANSIENT));
}

Vec3 vec(const double* v) { return {v[0], v[1], v[2]}; }

ItemPlace placeOf(LWItemInfo* items, LWItemID id, double time) {
  ItemPlace p;
  p.name = items->name(id) ? items->name(id) : "";
  if (LWItemID parent = items->parent(id)) p.parent = items->name(parent) ? items->name(parent) : "";
  double v[3];
  items->param(id, LWIP_W_POSITION, time, v);
  p.position = vec(v);
  return p;
}

double channelAt(const host::ObjectModel& model, const host::SurfaceChannel& c, double time) {
  if (c.envelope != 0)
    if (const host::Envelope* e = model.findEnvelope(c.envelope)) return e->evaluate(time);
  return c.value;
}

SurfaceReport surfaceReport(const host::ObjectModel& model, const std::string& name, double time) {
  SurfaceReport r;
  r.name = name;
  const host::Surface* found = model.findSurface(name);
  const host::Surface defaults;
  const host::Surface& s = found ? *found : defaults;
  r.defined = found != nullptr;
  r.color = s.color.value;
  r.diffuse = channelAt(model, s.diffuse, time);
  r.specular = channelAt(model, s.specularity, time);
  r.glossiness = channelAt(model, s.glossiness, time);
  r.reflection = channelAt(model, s.reflectivity, time);
  r.transparency = channelAt(model, s.transparency, time);
  r.refractionIndex = channelAt(model, s.ior, time);
  r.luminosity = channelAt(model, s.luminosity, time);
  r.doubleSided = s.doubleSided();
  r.smoothingAngle = s.smoothingAngle * 180.0 / std::numbers::pi;
  return r;
}

struct PolygonScan {
  LWMeshInfo* mesh;
  std::map<std::string, int>* byType;
  std::vector<std::string>* surfaces;
};

std::string typeName(LWID type) {
  std::string s(4, ' ');
  for (int i = 0; i < 4; ++i) {
    const char c = char((type >> (24 - 8 * i)) & 0xFF);
    s[size_t(i)] = c >= 32 && c < 127 ? c : '?';
  }
  while (!s.empty() && s.back() == ' ') s.pop_back();
  return s;
}

ObjectReport objectReport(host::Host& h, LWItemInfo* items, LWObjectInfo* objects, LWItemID id, double time) {
  ObjectReport r;
  r.place = placeOf(items, id, time);
  const host::Item* item = host::itemOf(h.scene(), id);
  const host::Layer* layer = item ? host::objectLayer(*item) : nullptr;
  r.null = !layer;
  r.file = objects->filename(id) ? objects->filename(id) : "";
  r.layer = item ? item->object.layer : 0;
  if (layer) r.layerName = layer->name;
  if (item && item->object.clipMap) {
    const host::SceneTexture& clip = *item->object.clipMap;
    r.hasClipMap = true;
    r.clipMapLayers = int(clip.layers.size());
    if (clip.home)
      for (const host::Clip& c : clip.home->clips) r.clipMapImages.push_back(c.path);
  }
  r.points = objects->numPoints(id);
  r.polygons = objects->numPolygons(id);
  LWMeshInfo* mesh = objects->meshInfo(id, 1);
  if (!mesh) return r;
  std::vector<std::string> surfaceNames;
  PolygonScan scan{mesh, &r.polygonsByType, &surfaceNames};
  mesh->scanPolys(
      mesh,
      [](void* data, LWPolID p) {
        auto* s = static_cast<PolygonScan*>(data);
        ++(*s->byType)[typeName(s->mesh->polType(s->mesh, p))];
        const char* surface = s->mesh->polTag(s->mesh, p, LWPTAG_SURF);
        const std::string name = surface && *surface ? surface : "Default";
        if (std::find(s->surfaces->begin(), s->surfaces->end(), name) == s->surfaces->end())
          s->surfaces->push_back(name);
        return 0;
      },
      &scan);
  // Bounds of the points the mesh gives.
  struct Bounds {
    LWMeshInfo* mesh;
    bool any = false;
    Vec3 lo{}, hi{};
  } b{mesh};
  mesh->scanPoints(
      mesh,
      [](void* data, LWPntID p) {
        auto* b = static_cast<Bounds*>(data);
        float pos[3];
        b->mesh->pntBasePos(b->mesh, p, pos);
        for (size_t k = 0; k < 3; ++k) {
          if (!b->any || pos[k] < b->lo[k]) b->lo[k] = pos[k];
          if (!b->any || pos[k] > b->hi[k]) b->hi[k] = pos[k];
        }
        b->any = true;
        return 0;
      },
      &b);
  mesh->destroy(mesh);
  r.hasBounds = b.any;
  r.boundsMin = b.lo;
  r.boundsMax = b.hi;
  if (item && item->object.model)
    for (const std::string& name : surfaceNames) r.surfaces.push_back(surfaceReport(*item->object.model, name, time));
  return r;
}

std::vector<std::string> optionNames(int opts) {
  static const std::pair<int, const char*> kNames[] = {
      {LWROPT_SHADOWTRACE, "shadowTrace"},       {LWROPT_REFLECTTRACE, "reflectTrace"},
      {LWROPT_REFRACTTRACE, "refractTrace"},     {LWROPT_FIELDS, "fields"},
      {LWROPT_EVENFIELDS, "evenFields"},         {LWROPT_MOTIONBLUR, "motionBlur"},
      {LWROPT_DEPTHOFFIELD, "depthOfField"},     {LWROPT_LIMITEDREGION, "limitedRegion"},
      {LWROPT_RTTRANSPARENCY, "transparencyTrace"}, {LWROPT_RADIOSITY, "radiosity"},
      {LWROPT_CAUSTICS, "caustics"}};
  std::vector<std::string> out;
  for (const auto& [bit, name] : kNames)
    if (opts & bit) out.push_back(name);
  return out;
}

const char* lightTypeName(int type) {
  switch (type) {
    case LWLIGHT_DISTANT: return "distant";
    case LWLIGHT_POINT: return "point";
    case LWLIGHT_SPOT: return "spot";
    case LWLIGHT_LINEAR: return "linear";
    case LWLIGHT_AREA: return "area";
  }
  return "unknown";
}

InfoReport gather(host::Host& h, const std::string& file, bool scene) {
  InfoReport r;
  r.file = file;
  r.scene = scene;
  r.time = h.time();
  r.frame = h.frame();
  auto* items = service<LWItemInfo>(LWITEMINFO_GLOBAL " 4");
  auto* objects = service<LWObjectInfo>(LWOBJECTINFO_GLOBAL " 4");
  auto* lights = service<LWLightInfo>(LWLIGHTINFO3_GLOBAL);
  auto* cameras = service<LWCameraInfo>(LWCAMERAINFO_GLOBAL " 2");
  auto* si = service<LWSceneInfo>(LWSCENEINFO_GLOBAL);
  auto* backdrop = service<LWBackdropInfo>(LWBACKDROPINFO_GLOBAL " 2");
  auto* fog = service<LWFogInfo>(LWFOGINFO_GLOBAL);
  const double t = r.time;

  r.settings.frameStart = si->frameStart;
  r.settings.frameEnd = si->frameEnd;
  r.settings.frameStep = si->frameStep;
  r.settings.framesPerSecond = si->framesPerSecond;
  r.settings.width = si->frameWidth;
  r.settings.height = si->frameHeight;
  r.settings.pixelAspect = si->pixelAspect;
  if (LWItemID cam = si->renderCamera(t)) r.settings.renderCamera = items->name(cam);
  r.settings.renderOptions = optionNames(si->renderOpts);
  r.settings.recursionDepth = si->recursionDepth;

  for (LWItemID id = items->first(LWI_OBJECT, nullptr); id; id = items->next(id)) {
    r.objects.push_back(objectReport(h, items, objects, id, t));
    for (LWItemID b = items->first(LWI_BONE, id); b; b = items->next(b))
      r.bones.push_back({placeOf(items, b, t), items->name(id)});
  }
  for (LWItemID id = items->first(LWI_LIGHT, nullptr); id; id = items->next(id)) {
    LightReport l;
    l.place = placeOf(items, id, t);
    l.type = lightTypeName(lights->type(id));
    double c[3];
    lights->rawColor(id, t, c);
    l.color = vec(c);
    l.intensity = lights->intensity(id, t);
    r.lights.push_back(l);
  }
  for (LWItemID id = items->first(LWI_CAMERA, nullptr); id; id = items->next(id)) {
    CameraReport c;
    c.place = placeOf(items, id, t);
    c.zoomFactor = cameras->zoomFactor(id, t);
    cameras->resolution(id, &c.width, &c.height);
    r.cameras.push_back(c);
  }

  r.gradient = backdrop->type == LWBACK_GRADIENT;
  double z[3], s[3], g[3], n[3], ray[3] = {0.0, 0.0, 1.0}, solid[3];
  backdrop->color(t, z, s, g, n);
  r.zenith = vec(z);
  r.sky = vec(s);
  r.ground = vec(g);
  r.nadir = vec(n);
  backdrop->squeeze(t, &r.skySqueeze, &r.groundSqueeze);
  backdrop->backdrop(t, ray, solid);
  r.backdropColor = vec(solid);

  r.fogType = fog->type;
  r.fogBackdrop = (fog->flags & LWFOGF_BACKGROUND) != 0;
  r.fogMinDistance = fog->minDist(t);
  r.fogMaxDistance = fog->maxDist(t);
  r.fogMinAmount = fog->minAmt(t);
  r.fogMaxAmount = fog->maxAmt(t);
  double fc[3];
  fog->color(t, fc);
  r.fogColor = vec(fc);
  return r;
}

// ---- JSON ----

// Writes JSON with fixed key order, two-space indentation, and numbers in their shortest
// exact form, so that the same file always gives the same text.
class JsonWriter {
 public:
  explicit JsonWriter(std::FILE* out) : out_(out) {}

  void beginObject() { open('{'); }
  void endObject() { close('}'); }
  void beginArray() { open('['); }
  void endArray() { close(']'); }
  void key(const char* k) {
    item();
    string(k);
    std::fputs(": ", out_);
    afterKey_ = true;
  }
  void value(const std::string& s) {
    item();
    string(s);
  }
  void value(const char* s) { value(std::string(s)); }
  void value(bool b) {
    item();
    std::fputs(b ? "true" : "false", out_);
  }
  void value(int i) {
    item();
    std::fprintf(out_, "%d", i);
  }
  void value(double d) {
    item();
    if (!std::isfinite(d)) {
      std::fputs("null", out_);
      return;
    }
    char buf[32];
    auto res = std::to_chars(buf, buf + sizeof buf, d);
    std::fwrite(buf, 1, size_t(res.ptr - buf), out_);
  }
  void value(const Vec3& v) {
    // Short arrays stay on one line.
    item();
    std::fputc('[', out_);
    for (size_t k = 0; k < 3; ++k) {
      if (k) std::fputs(", ", out_);
      char buf[32];
      auto res = std::to_chars(buf, buf + sizeof buf, std::isfinite(v[k]) ? v[k] : 0.0);
      std::fwrite(buf, 1, size_t(res.ptr - buf), out_);
    }
    std::fputc(']', out_);
  }
  // Two whole numbers as a one-line array: a width and a height.
  void value(std::pair<int, int> p) {
    item();
    std::fprintf(out_, "[%d, %d]", p.first, p.second);
  }
  void null() {
    item();
    std::fputs("null", out_);
  }
  template <class T>
  void field(const char* k, const T& v) {
    key(k);
    value(v);
  }
  void finish() { std::fputc('\n', out_); }

 private:
  void open(char c) {
    item();
    std::fputc(c, out_);
    first_.push_back(true);
  }
  void close(char c) {
    const bool empty = first_.back();
    first_.pop_back();
    if (!empty) newline();
    std::fputc(c, out_);
  }
  // Separates this value from the one before it, unless it follows its key.
  void item() {
    if (afterKey_) {
      afterKey_ = false;
      return;
    }
    if (first_.empty()) return;
    if (!first_.back()) std::fputc(',', out_);
    first_.back() = false;
    newline();
  }
  void newline() {
    std::fputc('\n', out_);
    for (size_t i = 0; i < first_.size(); ++i) std::fputs("  ", out_);
  }
  void string(const std::string& s) {
    std::fputc('"', out_);
    for (unsigned char c : s) {
      switch (c) {
        case '"': std::fputs("\\\"", out_); break;
        case '\\': std::fputs("\\\\", out_); break;
        case '\n': std::fputs("\\n", out_); break;
        case '\r': std::fputs("\\r", out_); break;
        case '\t': std::fputs("\\t", out_); break;
        default:
          if (c < 0x20) std::fprintf(out_, "\\u%04x", c);
          else std::fputc(c, out_);
      }
    }
    std::fputc('"', out_);
  }

  std::FILE* out_;
  std::vector<bool> first_;
  bool afterKey_ = false;
};

void placeJson(JsonWriter& w, const ItemPlace& p) {
  w.field("name", p.name);
  w.key("parent");
  if (p.parent.empty()) w.null();
  else w.value(p.parent);
  w.field("position", p.position);
}

void printJson(const InfoReport& r) {
  JsonWriter w(stdout);
  w.beginObject();
  w.field("file", r.file);
  w.field("kind", r.scene ? "scene" : "object");
  w.field("frame", r.frame);
  w.field("time", r.time);

  w.key("scene");
  w.beginObject();
  w.field("frameStart", r.settings.frameStart);
  w.field("frameEnd", r.settings.frameEnd);
  w.field("frameStep", r.settings.frameStep);
  w.field("framesPerSecond", r.settings.framesPerSecond);
  w.field("resolution", std::pair<int, int>{r.settings.width, r.settings.height});
  w.field("pixelAspect", r.settings.pixelAspect);
  w.key("renderCamera");
  if (r.settings.renderCamera.empty()) w.null();
  else w.value(r.settings.renderCamera);
  w.key("renderOptions");
  w.beginArray();
  for (const auto& o : r.settings.renderOptions) w.value(o);
  w.endArray();
  w.field("recursionDepth", r.settings.recursionDepth);
  w.endObject();

  w.key("objects");
  w.beginArray();
  for (const ObjectReport& o : r.objects) {
    w.beginObject();
    placeJson(w, o.place);
    w.field("file", o.file);
    w.field("layer", o.layer);
    w.field("layerName", o.layerName);
    w.field("points", o.points);
    w.key("polygons");
    w.beginObject();
    w.field("total", o.polygons);
    for (const auto& [type, count] : o.polygonsByType) w.field(type.c_str(), count);
    w.endObject();
    w.key("bounds");
    if (!o.hasBounds) {
      w.null();
    } else {
      w.beginObject();
      w.field("min", o.boundsMin);
      w.field("max", o.boundsMax);
      w.endObject();
    }
    w.key("surfaces");
    w.beginArray();
    for (const SurfaceReport& s : o.surfaces) {
      w.beginObject();
      w.field("name", s.name);
      w.field("defined", s.defined);
      w.field("color", s.color);
      w.field("diffuse", s.diffuse);
      w.field("specular", s.specular);
      w.field("glossiness", s.glossiness);
      w.field("reflection", s.reflection);
      w.field("transparency", s.transparency);
      w.field("refractionIndex", s.refractionIndex);
      w.field("luminosity", s.luminosity);
      w.field("doubleSided", s.doubleSided);
      w.field("smoothingAngle", s.smoothingAngle);
      w.endObject();
    }
    w.endArray();
    w.key("clipMap");
    if (!o.hasClipMap) {
      w.null();
    } else {
      w.beginObject();
      w.field("layers", o.clipMapLayers);
      w.key("images");
      w.beginArray();
      for (const std::string& image : o.clipMapImages) w.value(image);
      w.endArray();
      w.endObject();
    }
    w.endObject();
  }
  w.endArray();

  w.key("bones");
  w.beginArray();
  for (const BoneReport& b : r.bones) {
    w.beginObject();
    placeJson(w, b.place);
    w.field("object", b.object);
    w.endObject();
  }
  w.endArray();

  w.key("lights");
  w.beginArray();
  for (const LightReport& l : r.lights) {
    w.beginObject();
    placeJson(w, l.place);
    w.field("type", l.type);
    w.field("color", l.color);
    w.field("intensity", l.intensity);
    w.endObject();
  }
  w.endArray();

  w.key("cameras");
  w.beginArray();
  for (const CameraReport& c : r.cameras) {
    w.beginObject();
    placeJson(w, c.place);
    w.field("zoomFactor", c.zoomFactor);
    w.field("resolution", std::pair<int, int>{c.width, c.height});
    w.endObject();
  }
  w.endArray();

  w.key("backdrop");
  w.beginObject();
  w.field("type", r.gradient ? "gradient" : "solid");
  if (r.gradient) {
    w.field("zenith", r.zenith);
    w.field("sky", r.sky);
    w.field("ground", r.ground);
    w.field("nadir", r.nadir);
    w.field("skySqueeze", r.skySqueeze);
    w.field("groundSqueeze", r.groundSqueeze);
  } else {
    w.field("color", r.backdropColor);
  }
  w.endObject();

  w.key("fog");
  w.beginObject();
  w.field("type", r.fogType);
  w.field("minDistance", r.fogMinDistance);
  w.field("maxDistance", r.fogMaxDistance);
  w.field("minAmount", r.fogMinAmount);
  w.field("maxAmount", r.fogMaxAmount);
  w.field("color", r.fogColor);
  w.field("backdropColor", r.fogBackdrop);
  w.endObject();

  w.key("warnings");
  w.beginArray();
  for (const auto& s : r.warnings) w.value(s);
  w.endArray();
  w.endObject();
  w.finish();
}

// ---- text ----

std::string vecText(const Vec3& v) {
  char buf[96];
  std::snprintf(buf, sizeof buf, "(%g, %g, %g)", v[0], v[1], v[2]);
  return buf;
}

void printPlace(const ItemPlace& p) {
  std::printf("  %s", p.name.c_str());
  if (!p.parent.empty()) std::printf("  (child of %s)", p.parent.c_str());
  std::printf("\n    position %s\n", vecText(p.position).c_str());
}

void printText(const InfoReport& r) {
  std::printf("%s: %s at frame %g (%g s)\n", r.file.c_str(), r.scene ? "scene" : "object", r.frame, r.time);
  if (r.scene) {
    const SceneReport& s = r.settings;
    std::printf("frames %d to %d by %d at %g a second; %d x %d pixels, pixel aspect %g\n", s.frameStart, s.frameEnd,
                s.frameStep, s.framesPerSecond, s.width, s.height, s.pixelAspect);
    std::string opts;
    for (const auto& o : s.renderOptions) opts += (opts.empty() ? "" : ", ") + o;
    std::printf("render camera %s; recursion depth %d; options: %s\n",
                s.renderCamera.empty() ? "(none)" : s.renderCamera.c_str(), s.recursionDepth,
                opts.empty() ? "(none)" : opts.c_str());
  }
  std::printf("\nobjects: %zu\n", r.objects.size());
  for (const ObjectReport& o : r.objects) {
    printPlace(o.place);
    if (o.null) {
      std::printf("    no geometry%s%s\n", o.file.empty() ? "" : ": ", o.file.c_str());
      continue;
    }
    std::printf("    file %s, layer %d%s%s\n", o.file.c_str(), o.layer, o.layerName.empty() ? "" : " ",
                o.layerName.c_str());
    std::string types;
    for (const auto& [type, count] : o.polygonsByType)
      types += (types.empty() ? "" : ", ") + std::to_string(count) + " " + type;
    std::printf("    %d points, %d polygons%s%s%s\n", o.points, o.polygons, types.empty() ? "" : " (",
                types.c_str(), types.empty() ? "" : ")");
    if (o.hasBounds)
      std::printf("    bounds %s to %s\n", vecText(o.boundsMin).c_str(), vecText(o.boundsMax).c_str());
    for (const SurfaceReport& s : o.surfaces) {
      std::printf("    surface \"%s\"%s: colour %s, diffuse %g, specular %g, glossiness %g, reflection %g,\n",
                  s.name.c_str(), s.defined ? "" : " (not in the file)", vecText(s.color).c_str(), s.diffuse,
                  s.specular, s.glossiness, s.reflection);
      std::printf("      transparency %g, refraction index %g, luminosity %g, %s, ", s.transparency,
                  s.refractionIndex, s.luminosity, s.doubleSided ? "double sided" : "one sided");
      if (s.smoothingAngle > 0) std::printf("smoothed to %g degrees\n", s.smoothingAngle);
      else std::printf("not smoothed\n");
    }
    if (o.hasClipMap) {
      std::string images;
      for (const std::string& i : o.clipMapImages) images += (images.empty() ? "" : ", ") + ("\"" + i + "\"");
      std::printf("    clip map: %d layer%s%s%s\n", o.clipMapLayers, o.clipMapLayers == 1 ? "" : "s",
                  images.empty() ? "" : ", images ", images.c_str());
    }
  }
  if (!r.bones.empty()) {
    std::printf("\nbones: %zu\n", r.bones.size());
    for (const BoneReport& b : r.bones) printPlace(b.place);
  }
  std::printf("\nlights: %zu\n", r.lights.size());
  for (const LightReport& l : r.lights) {
    printPlace(l.place);
    std::printf("    %s, colour %s, intensity %g\n", l.type.c_str(), vecText(l.color).c_str(), l.intensity);
  }
  std::printf("\ncameras: %zu\n", r.cameras.size());
  for (const CameraReport& c : r.cameras) {
    printPlace(c.place);
    std::printf("    zoom %g, %d x %d pixels\n", c.zoomFactor, c.width, c.height);
  }
  std::printf("\nbackdrop: ");
  if (r.gradient)
    std::printf("gradient, zenith %s, sky %s, ground %s, nadir %s, squeeze %g and %g\n", vecText(r.zenith).c_str(),
                vecText(r.sky).c_str(), vecText(r.ground).c_str(), vecText(r.nadir).c_str(), r.skySqueeze,
                r.groundSqueeze);
  else
    std::printf("solid %s\n", vecText(r.backdropColor).c_str());
  if (r.fogType == 0)
    std::printf("fog: off\n");
  else
    std::printf("fog: type %d, %g at %g to %g at %g, colour %s\n", r.fogType, r.fogMinAmount, r.fogMinDistance,
                r.fogMaxAmount, r.fogMaxDistance, r.fogBackdrop ? "of the backdrop" : vecText(r.fogColor).c_str());
  for (const auto& w : r.warnings) std::printf("warning: %s\n", w.c_str());
}

// ---- the command ----

struct InfoOptions {
  std::string path;
  std::optional<double> frame;
  bool json = false;
};

int runInfo(const InfoOptions& options) {
  const std::string& path = options.path;
  std::error_code ec;
  if (!fs::exists(path, ec)) {
    std::fprintf(stderr, "ombrel: %s: no such file\n", path.c_str());
    return kExitUsage;
  }
  if (fs::is_directory(path, ec)) {
    std::fprintf(stderr, "ombrel: %s: is a folder, not a scene or object file\n", path.c_str());
    return kExitUsage;
  }
  auto scene = std::make_shared<host::Scene>();
  std::string error;
  std::vector<std::string> warnings;
  const bool isScene = isSceneFile(path);
  const bool ok = isScene ? host::readSceneFile(path, *scene, error, {}, &warnings)
                          : loadObjectScene(path, *scene, error);
  if (!ok) {
    std::fprintf(stderr, "ombrel: %s\n", error.c_str());
    return kExitUsage;
  }
  for (const host::Item& item : scene->items)  // an object alone: the flaws its reader mended
    if (!isScene && item.object.model && warnings.empty()) warnings = item.object.model->warnings;
  host::HostSettings settings;
  settings.messagesToStderr = false;
  host::Host h(scene, settings);
  if (options.frame) {
    if (!std::isfinite(*options.frame) || scene->framesPerSecond <= 0.0) {
      std::fprintf(stderr, "ombrel: --frame needs a finite number\n");
      return kExitUsage;
    }
    h.setTime(*options.frame / scene->framesPerSecond);
  }
  InfoReport report = gather(h, path, isScene);
  report.warnings = std::move(warnings);
  if (options.json) printJson(report);
  else printText(report);
  return kExitOk;
}

}  // namespace

Command addInfoCommand(CLI::App& program) {
  auto options = std::make_shared<InfoOptions>();
  CLI::App* app = program.add_subcommand("info", "Show what a scene (.lws) or object (.lwo) file holds");
  app->add_option("path", options->path, "The scene or object file")->required();
  app->add_option("--frame", options->frame, "The frame to report places at (default: the scene's current frame)")
      ->option_text("F");
  app->add_flag("--json", options->json, "Write a JSON document instead of text");
  return {app, [options] { return runInfo(*options); }};
}

}  // namespace cli
