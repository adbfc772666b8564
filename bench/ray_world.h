#pragma once
// Scenes for the ray engine's tests and benchmark: a real stand-in host with objects built in
// code or read from files, captured by the real capture with the ray engine installed.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "capture/scene_capture.h"
#include "host/scene/object.h"
#include "host/scene/scene.h"
#include "host/services/host.h"

namespace raytest {

using Model = std::shared_ptr<host::ObjectModel>;

// Loads the module's runtime once per process (the allocator and the random tables).
void loadRuntimeOnce();

// ---- Meshes -------------------------------------------------------------------------------

Model sphereModel(float radius, int sides, int segments, const std::string& surface = "Sphere");
Model torusModel(float majorRadius, float minorRadius, int sides, int segments, const std::string& surface = "Torus");
// Random triangles in the cube from -1 to 1, each edge at most `size` long.
Model soupModel(int triangles, float size, uint32_t seed, const std::string& surface = "Soup");
// A sphere of a little over a million triangles.
Model millionModel();
// An OBJ file as an object; null (and a message) if it can't be read.
Model objModel(const std::string& path, std::string& error);
// An LWO file; null (and a message) if it can't be read.
Model lwoModel(const std::string& path, std::string& error);
// The model written with the LWO2 writer and read back; null on failure.
Model throughLwo2(const Model& model, std::string& error);
// Every surface of the model double-sided, or front only.
void setSidedness(const Model& model, bool doubleSided);
// Triangles a model's polygons would become at most (FACE polygons of its first layer).
size_t triangleCount(const host::ObjectModel& model);

// ---- The scene ----------------------------------------------------------------------------

struct Placement {
  host::Vec3 position{0.0, 0.0, 0.0};
  host::Vec3 rotation{0.0, 0.0, 0.0};  // heading, pitch, bank in radians
  host::Vec3 scale{1.0, 1.0, 1.0};
};

// Builds a scene, then starts a host on it and captures it. One world at a time: the host
// and the capture are process-wide.
class RayWorld {
 public:
  RayWorld();
  ~RayWorld();
  RayWorld(const RayWorld&) = delete;
  RayWorld& operator=(const RayWorld&) = delete;

  // Before start(): adds an object item on the model's layer (1 is the first); its index.
  int addObject(const Model& model, const std::string& name, Placement placement = {}, int layer = 1);
  // Adds a light; its index.
  int addLight(const std::string& name, host::Vec3 position);

  // Makes the host, runs the module's start against it, installs the ray engine and
  // captures the scene at time 0.
  void start();

  host::Scene& scene();
  host::Host& host() { return *host_; }
  SceneCapture* capture() const { return capture_; }
  LWItemID itemId(int index);
  CapturedObject* object(int index);  // the captured object of an item, or null
  std::vector<CapturedObject*> objects() const;

 private:
  host::Scene pending_;
  std::unique_ptr<host::Host> host_;
  SceneCapture* capture_ = nullptr;
};

// ---- Random numbers for rays --------------------------------------------------------------

class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15ull + 1) {}
  double unit();  // [0, 1)
  double range(double lo, double hi) { return lo + (hi - lo) * unit(); }
  void direction(double out[3]);  // uniform on the sphere
  // Cosine-weighted around a unit normal.
  void diffuse(const double normal[3], double out[3]);

 private:
  uint64_t state_;
};

}  // namespace raytest
