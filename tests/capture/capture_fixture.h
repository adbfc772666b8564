#pragma once
// Scenes for the capture tests: a real stand-in host with objects built in code, and the
// module's services started against it.
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "capture/geometry_ops.h"
#include "capture/scene_capture.h"
#include "host/formats/lwo_builder.h"
#include "host/scene/scene.h"
#include "host/services/host.h"
#include "host/services/scene_ids.h"
#include "runtime/global_services.h"

namespace capturetest {

// The ray engine's operations, installed as the module's start-up does, with a count of
// each call so that tests can see when capture asks for a rebuild.
struct GeometryCalls {
  int builds = 0;
  int frees = 0;
  int normals = 0;
};
extern GeometryCalls geometryCalls;
void installCountingRayEngine();

// A model that tests may still change after handing it to the scene.
using Model = std::shared_ptr<host::ObjectModel>;

Model boxModel(const std::string& file = "box.lwo", host::Point3f centre = {0, 0, 0},
               host::Point3f size = {2, 2, 2}, const std::string& surface = "Box");
// A layer of loose points and no polygons.
Model pointsModel(int count, const std::string& file = "points.lwo");

class CaptureTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Makes the host current and runs the module's start against it.
  void startHost(host::Scene scene, host::HostSettings settings = {});
  int addObject(host::Scene& scene, const Model& model, const std::string& name);

  host::Scene& scene() { return host_->scene(); }
  host::Host& hostRef() { return *host_; }
  LWItemID itemId(int index) { return host::itemIdAt(scene(), index); }
  CapturedObject* find(LWItemID item);
  int objectCount();

  std::unique_ptr<host::Host> host_;
  SceneCapture* capture = nullptr;
};

}  // namespace capturetest
