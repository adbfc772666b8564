#include "support/shading_world.h"

#include <cmath>

#include "host/formats/lwo_builder.h"
#include "host/formats/lws_reader.h"
#include "host/services/scene_ids.h"
#include "rayengine/ray_engine.h"
#include "runtime/global_services.h"
#include "runtime/module_load.h"
#include "shading/radiosity_settings.h"
#include "shading/shading_core.h"

namespace shadetest {

int addBallOnFloor(ShadingWorld& world) {
  world.addObject(planeModel(8.0f), "Floor", {0, -1, 0});
  world.addObject(sphereModel(0.8f), "Ball", {0, 0, 4});
  world.addLight(host::LightKind::Distant, "Sun", {0, 0, 0}, {0.4, 0.7, 0});
  return world.addCamera("Camera");
}

void loadRuntimeOnce() {
  static const bool loaded = runtimeLoad() == 1;
  (void)loaded;
}

Model planeModel(float size, const std::string& surface) {
  host::ObjectBuilder b("plane.lwo");
  b.addPlane({0, 0, 0}, size, size, 1, 1, surface);
  return std::make_shared<host::ObjectModel>(b.finish());
}

Model boxModel(host::Point3f centre, host::Point3f size, const std::string& surface) {
  host::ObjectBuilder b("box.lwo");
  b.addBox(centre, size, surface);
  return std::make_shared<host::ObjectModel>(b.finish());
}

Model sphereModel(float radius, const std::string& surface) {
  host::ObjectBuilder b("sphere.lwo");
  b.addSphere({0, 0, 0}, radius, 48, 24, surface);
  return std::make_shared<host::ObjectModel>(b.finish());
}

host::Surface& surfaceOf(const Model& model) { return model->surfaces.front(); }

ShadingWorld::ShadingWorld() {
  loadRuntimeOnce();
  // Nothing but what a test puts there: no ambient light, a black backdrop.
  pending_.ambientIntensity = 0.0;
}

ShadingWorld::~ShadingWorld() {
  if (capture_) SceneCapture_Destroy(capture_);
  globalServices = {};
  host_.reset();
}

host::Scene& ShadingWorld::scene() { return host_ ? host_->scene() : pending_; }

LWItemID ShadingWorld::itemId(int index) { return host::itemIdAt(scene(), index); }

int ShadingWorld::addObject(const Model& model, const std::string& name, host::Vec3 position, host::Vec3 rotation,
                            host::Vec3 scale) {
  host::Scene& s = scene();
  const int index = s.addItem(host::ItemType::Object, name);
  host::Item& item = s.items[size_t(index)];
  item.object.model = model;
  item.object.path = model->fileName;
  item.setPosition(position);
  item.setRotation(rotation);
  item.setScale(scale);
  return index;
}

int ShadingWorld::addLight(host::LightKind kind, const std::string& name, host::Vec3 position, host::Vec3 rotation,
                           host::Vec3 scale) {
  host::Scene& s = scene();
  const int index = s.addItem(host::ItemType::Light, name);
  host::Item& item = s.items[size_t(index)];
  item.light.kind = kind;
  item.setPosition(position);
  item.setRotation(rotation);
  item.setScale(scale);
  return index;
}

int ShadingWorld::addCamera(const std::string& name, host::Vec3 position, host::Vec3 rotation) {
  host::Scene& s = scene();
  const int index = s.addItem(host::ItemType::Camera, name);
  s.items[size_t(index)].setPosition(position);
  s.items[size_t(index)].setRotation(rotation);
  return index;
}

bool ShadingWorld::readScene(const std::string& path, std::string& error, bool sceneAmbient) {
  host::Scene read;
  if (!host::readSceneFile(path, read, error)) return false;
  if (!sceneAmbient) read.ambientIntensity = pending_.ambientIntensity;
  pending_ = std::move(read);
  return true;
}

void ShadingWorld::start() {
  host::HostSettings settings;
  settings.messagesToStderr = false;
  host_ = std::make_unique<host::Host>(std::move(pending_), settings);
  globalServices = {};
  serverStart(host::Host::globalFunction());
  rayEngineInstall();
  capture_ = SceneCapture_Create(0.0);
  CapturedEnvironment_Init(&environment_);
  refresh();
}

void ShadingWorld::refresh() {
  host_->sceneChanged();
  SceneCapture_Update(capture_, 0.0);
  capture_->renderOpts = scene().renderOptions();
  capture_->recursionDepth = scene().render.recursionLimit;

  lights_.clear();
  for (int i = scene().firstItem(host::ItemType::Light); i >= 0; i = scene().nextItem(host::ItemType::Light, i)) {
    auto light = std::make_unique<CapturedLight>();
    CapturedLight_Init(light.get());
    CaptureLight(itemId(i), light.get(), 0.0);
    if (!lights_.empty()) {
      lights_.back()->next = light.get();
      light->previous = lights_.back().get();
    }
    lights_.push_back(std::move(light));
  }
  globalServices.lightInfo3->ambient(0.0, ambient);
  CaptureEnvironment(0.0, &environment_);
}

double ShadingWorld::trace(const double origin[3], const double direction[3], double color[3], int depth, double u,
                           double v, double weight, int kind) {
  return TraceSample(capture_, lights(), 0.0, ambient, &environment_, origin, direction, 1.0, nullptr, -1, kind, depth,
                     u, v, weight, color, nullptr);
}

RadiosityScope::RadiosityScope(int type, double strength, double bounces) {
  radiositySettings = RadiositySettings{type, strength, bounces};
}

RadiosityScope::~RadiosityScope() { radiositySettings = kDefaultRadiositySettings; }

double Random::unit() {
  state_ ^= state_ >> 12;
  state_ ^= state_ << 25;
  state_ ^= state_ >> 27;
  return double((state_ * 0x2545F4914F6CDD1Dull) >> 11) * (1.0 / 9007199254740992.0);
}

}  // namespace shadetest
