#include "capture_fixture.h"

#include "rayengine/ray_engine.h"
#include "runtime/memory.h"
#include "runtime/module_load.h"

namespace capturetest {

namespace {

class RuntimeEnvironment : public ::testing::Environment {
 public:
  void SetUp() override { ASSERT_EQ(runtimeLoad(), 1); }
  void TearDown() override { runtimeUnload(); }
};

[[maybe_unused]] auto* const environment = ::testing::AddGlobalTestEnvironment(new RuntimeEnvironment);

CaptureGeometryOps engine;  // as the ray engine installs itself

void countBuild(CapturedObject* object) {
  ++geometryCalls.builds;
  engine.buildGrid(object);
}
void countFree(CapturedObject* object) {
  ++geometryCalls.frees;
  engine.freeGrid(object);
}
void countNormals(CapturedObject* object) {
  ++geometryCalls.normals;
  engine.computeNormals(object);
}

}  // namespace

GeometryCalls geometryCalls;

void installCountingRayEngine() {
  geometryCalls = {};
  captureGeometryOps = {};
  rayEngineInstall();
  engine = captureGeometryOps;
  captureGeometryOps.buildGrid = countBuild;
  captureGeometryOps.freeGrid = countFree;
  captureGeometryOps.computeNormals = countNormals;
}

Model boxModel(const std::string& file, host::Point3f centre, host::Point3f size, const std::string& surface) {
  host::ObjectBuilder b(file);
  b.addBox(centre, size, surface);
  return std::make_shared<host::ObjectModel>(b.finish());
}

Model pointsModel(int count, const std::string& file) {
  host::ObjectBuilder b(file);
  for (int i = 0; i < count; ++i) b.addPoint(float(i), 0.0f, 0.0f);
  return std::make_shared<host::ObjectModel>(b.finish());
}

void CaptureTest::SetUp() { installCountingRayEngine(); }

void CaptureTest::TearDown() {
  if (capture) SceneCapture_Destroy(capture);
  capture = nullptr;
  globalServices = {};
  host_.reset();
  captureGeometryOps = {};
}

void CaptureTest::startHost(host::Scene scene, host::HostSettings settings) {
  settings.messagesToStderr = false;
  host_ = std::make_unique<host::Host>(std::move(scene), settings);
  globalServices = {};
  ASSERT_EQ(serverStart(host::Host::globalFunction()), 0);
}

int CaptureTest::addObject(host::Scene& scene, const Model& model, const std::string& name) {
  const int index = scene.addItem(host::ItemType::Object, name);
  scene.items[size_t(index)].object.model = model;
  scene.items[size_t(index)].object.path = model->fileName;
  return index;
}

CapturedObject* CaptureTest::find(LWItemID item) {
  for (CapturedObject* o = capture->objects; o; o = o->next)
    if (o->item == item) return o;
  return nullptr;
}

int CaptureTest::objectCount() {
  int n = 0;
  for (CapturedObject* o = capture->objects; o; o = o->next) ++n;
  return n;
}

}  // namespace capturetest
