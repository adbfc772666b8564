#include "ray_world.h"

#include <algorithm>
#include <cmath>

#include "host/formats/lwo2_writer.h"
#include "host/formats/lwo_builder.h"
#include "host/formats/lwo_reader.h"
#include "host/formats/obj_reader.h"
#include "host/services/scene_ids.h"
#include "rayengine/ray_engine.h"
#include "runtime/global_services.h"
#include "runtime/module_load.h"

namespace raytest {

void loadRuntimeOnce() {
  static const bool loaded = runtimeLoad() == 1;
  (void)loaded;
}

Model sphereModel(float radius, int sides, int segments, const std::string& surface) {
  host::ObjectBuilder b("sphere.lwo");
  b.addSphere({0, 0, 0}, radius, sides, segments, surface);
  return std::make_shared<host::ObjectModel>(b.finish());
}

Model torusModel(float majorRadius, float minorRadius, int sides, int segments, const std::string& surface) {
  host::ObjectBuilder b("torus.lwo");
  b.addTorus({0, 0, 0}, majorRadius, minorRadius, sides, segments, surface);
  return std::make_shared<host::ObjectModel>(b.finish());
}

Model soupModel(int triangles, float size, uint32_t seed, const std::string& surface) {
  host::ObjectBuilder b("soup.lwo");
  b.surface(surface);
  Random random(seed);
  for (int i = 0; i < triangles; ++i) {
    const double c[3] = {random.range(-1, 1), random.range(-1, 1), random.range(-1, 1)};
    uint32_t corners[3];
    for (uint32_t& corner : corners)
      corner = b.addPoint(float(c[0] + random.range(-0.5, 0.5) * size), float(c[1] + random.range(-0.5, 0.5) * size),
                          float(c[2] + random.range(-0.5, 0.5) * size));
    b.addPolygon({corners[0], corners[1], corners[2]}, surface);
  }
  return std::make_shared<host::ObjectModel>(b.finish());
}

Model millionModel() {
  host::ObjectBuilder b("million.lwo");
  b.addSphere({0, 0, 0}, 1.0f, 1000, 502, "Million");
  return std::make_shared<host::ObjectModel>(b.finish());
}

Model objModel(const std::string& path, std::string& error) {
  auto model = std::make_shared<host::ObjectModel>();
  if (!host::readObjFile(path, *model, error)) return nullptr;
  return model;
}

Model lwoModel(const std::string& path, std::string& error) {
  auto model = std::make_shared<host::ObjectModel>();
  if (!host::readObjectFile(path, *model, error)) return nullptr;
  return model;
}

Model throughLwo2(const Model& model, std::string& error) {
  std::vector<uint8_t> bytes;
  if (!host::writeLwo2(*model, bytes, error)) return nullptr;
  auto back = std::make_shared<host::ObjectModel>();
  if (!host::readObjectBuffer(bytes.data(), bytes.size(), model->fileName, *back, error)) return nullptr;
  return back;
}

void setSidedness(const Model& model, bool doubleSided) {
  for (host::Surface& s : model->surfaces) s.sidedness = doubleSided ? host::SideDouble : host::SideFront;
}

size_t triangleCount(const host::ObjectModel& model) {
  size_t n = 0;
  if (model.layers.empty()) return 0;
  for (const host::Polygon& p : model.layers.front().polygons)
    if (p.type == host::chunkId("FACE") && p.vertices.size() >= 3) n += p.vertices.size() - 2;
  return n;
}

RayWorld::RayWorld() { loadRuntimeOnce(); }

RayWorld::~RayWorld() {
  if (capture_) SceneCapture_Destroy(capture_);
  globalServices = {};
  host_.reset();
}

host::Scene& RayWorld::scene() { return host_ ? host_->scene() : pending_; }

int RayWorld::addObject(const Model& model, const std::string& name, Placement placement, int layer) {
  host::Scene& s = scene();
  const int index = s.addItem(host::ItemType::Object, name);
  host::Item& item = s.items[size_t(index)];
  item.object.model = model;
  item.object.path = model->fileName;
  item.object.layer = layer;
  item.setPosition(placement.position);
  item.setRotation(placement.rotation);
  item.setScale(placement.scale);
  return index;
}

int RayWorld::addLight(const std::string& name, host::Vec3 position) {
  host::Scene& s = scene();
  const int index = s.addItem(host::ItemType::Light, name);
  s.items[size_t(index)].light.kind = host::LightKind::Point;
  s.items[size_t(index)].setPosition(position);
  return index;
}

void RayWorld::start() {
  host::HostSettings settings;
  settings.messagesToStderr = false;
  host_ = std::make_unique<host::Host>(std::move(pending_), settings);
  globalServices = {};
  serverStart(host::Host::globalFunction());
  rayEngineInstall();
  capture_ = SceneCapture_Create(0.0);
}

LWItemID RayWorld::itemId(int index) { return host::itemIdAt(scene(), index); }

CapturedObject* RayWorld::object(int index) {
  const LWItemID id = itemId(index);
  for (CapturedObject* o = capture_ ? capture_->objects : nullptr; o; o = o->next)
    if (o->item == id) return o;
  return nullptr;
}

std::vector<CapturedObject*> RayWorld::objects() const {
  std::vector<CapturedObject*> all;
  for (CapturedObject* o = capture_ ? capture_->objects : nullptr; o; o = o->next) all.push_back(o);
  return all;
}

double Random::unit() {
  // xorshift64*: plenty for test rays, and the same on every machine.
  state_ ^= state_ >> 12;
  state_ ^= state_ << 25;
  state_ ^= state_ >> 27;
  return double((state_ * 0x2545F4914F6CDD1Dull) >> 11) * (1.0 / 9007199254740992.0);
}

void Random::direction(double out[3]) {
  const double z = range(-1.0, 1.0);
  const double phi = range(0.0, 2.0 * M_PI);
  const double r = std::sqrt(std::max(0.0, 1.0 - z * z));
  out[0] = r * std::cos(phi);
  out[1] = r * std::sin(phi);
  out[2] = z;
}

void Random::diffuse(const double n[3], double out[3]) {
  // A frame around the normal, then a cosine-weighted direction in it.
  double t[3];
  if (std::fabs(n[0]) < 0.6)
    t[0] = 0.0, t[1] = -n[2], t[2] = n[1];
  else
    t[0] = n[2], t[1] = 0.0, t[2] = -n[0];
  const double tl = std::sqrt(t[0] * t[0] + t[1] * t[1] + t[2] * t[2]);
  for (double& c : t) c /= tl;
  const double b[3] = {n[1] * t[2] - n[2] * t[1], n[2] * t[0] - n[0] * t[2], n[0] * t[1] - n[1] * t[0]};
  const double r = std::sqrt(unit()), phi = range(0.0, 2.0 * M_PI);
  const double x = r * std::cos(phi), y = r * std::sin(phi), z = std::sqrt(std::max(0.0, 1.0 - r * r));
  for (int a = 0; a < 3; ++a) out[a] = x * t[a] + y * b[a] + z * n[a];
  const double l = std::sqrt(out[0] * out[0] + out[1] * out[1] + out[2] * out[2]);
  for (int a = 0; a < 3; ++a) out[a] /= l;
}

}  // namespace raytest
