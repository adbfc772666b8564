#pragma once
// Scenes for the shading tests and benchmark: a real stand-in host with objects, lights and a
// camera built in code (or a scene read from a file), captured by the real capture with the
// real ray engine, and the module's own copies of the lights, ambient colour and fog.
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "capture/scene_capture.h"
#include "host/scene/object.h"
#include "host/scene/scene.h"
#include "host/services/host.h"
#include "shading/captured_environment.h"
#include "shading/captured_light.h"

namespace shadetest {

using Model = std::shared_ptr<host::ObjectModel>;

// A square in the x-z plane facing +y, `size` on a side, centred on the origin.
Model planeModel(float size, const std::string& surface = "Plane");
Model boxModel(host::Point3f centre, host::Point3f size, const std::string& surface = "Box");
Model sphereModel(float radius, const std::string& surface = "Sphere");
// The model's only (or first) surface, to set its channels before start().
host::Surface& surfaceOf(const Model& model);

// Loads the module's runtime once per process.
void loadRuntimeOnce();

class ShadingWorld {
 public:
  ShadingWorld();
  ~ShadingWorld();
  ShadingWorld(const ShadingWorld&) = delete;
  ShadingWorld& operator=(const ShadingWorld&) = delete;

  // Before start(): items of each kind; each returns the item's index.
  int addObject(const Model& model, const std::string& name, host::Vec3 position = {0, 0, 0},
                host::Vec3 rotation = {0, 0, 0}, host::Vec3 scale = {1, 1, 1});
  int addLight(host::LightKind kind, const std::string& name, host::Vec3 position = {0, 0, 0},
               host::Vec3 rotation = {0, 0, 0}, host::Vec3 scale = {1, 1, 1});
  int addCamera(const std::string& name, host::Vec3 position = {0, 0, 0}, host::Vec3 rotation = {0, 0, 0});
  // Replaces the pending scene with one read from a file; false (and a message) on failure.
  // The world's ambient light (none) stands unless `sceneAmbient` keeps the file's.
  bool readScene(const std::string& path, std::string& error, bool sceneAmbient = false);

  // Makes the host, starts the module's services on it, installs the ray engine, captures
  // the scene at time 0, and captures every light, the ambient colour and the fog.
  void start();
  // After changing the host's scene: the capture, the lights and the fog again.
  void refresh();

  host::Scene& scene();
  host::Host& host() { return *host_; }
  LWItemID itemId(int index);
  SceneCapture* capture() const { return capture_; }
  CapturedLight* lights() { return lights_.empty() ? nullptr : lights_.front().get(); }
  const CapturedEnvironment* environment() const { return &environment_; }
  CapturedEnvironment* environment() { return &environment_; }
  double ambient[3] = {0.0, 0.0, 0.0};

  // TraceSample with the world's lights, ambient and fog; depth counts the bounces allowed.
  double trace(const double origin[3], const double direction[3], double color[3], int depth = 4, double u = 0.5,
               double v = 0.5, double weight = 1.0, int kind = 0);

 private:
  host::Scene pending_;
  std::unique_ptr<host::Host> host_;
  SceneCapture* capture_ = nullptr;
  std::vector<std::unique_ptr<CapturedLight>> lights_;
  CapturedEnvironment environment_{};
};

// A ball over a floor under a sun: the small scene of the preview's tests. Gives the index of
// the camera, which looks at the ball.
int addBallOnFloor(ShadingWorld& world);

// The radiosity settings for the life of a scope.
class RadiosityScope {
 public:
  RadiosityScope(int type, double strength = 1.0, double bounces = 1.0);
  ~RadiosityScope();
};

// xorshift64*: the same numbers on every machine.
class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15ull + 1) {}
  double unit();
  double range(double lo, double hi) { return lo + (hi - lo) * unit(); }

 private:
  uint64_t state_;
};

}  // namespace shadetest
