// The stage of a lone object: whatever the object's shape, size and place, every frame of a
// turntable sees all of it, large in the frame, and the frames go once around it evenly.
#include "host/scene/object_stage.h"

#include <cmath>
#include <memory>
#include <numbers>

#include <gtest/gtest.h>

#include "host/scene/object.h"
#include "host/scene/transform.h"

namespace {

using host::Vec3;

// A box of polygons from `low` to `high`, and a point no polygon uses, far away.
std::shared_ptr<host::ObjectModel> boxObject(const Vec3& low, const Vec3& high) {
  auto model = std::make_shared<host::ObjectModel>();
  host::Layer layer;
  for (int c = 0; c < 8; ++c)
    layer.points.push_back({float(c & 1 ? high[0] : low[0]), float(c & 2 ? high[1] : low[1]),
                            float(c & 4 ? high[2] : low[2])});
  for (const auto& face : {std::array<uint32_t, 4>{0, 1, 3, 2}, {4, 6, 7, 5}, {0, 4, 5, 1}, {2, 3, 7, 6},
                           {0, 2, 6, 4}, {1, 5, 7, 3}}) {
    host::Polygon p;
    p.vertices.assign(face.begin(), face.end());
    layer.polygons.push_back(p);
  }
  layer.points.push_back({1e5f, -1e5f, 1e5f});
  model->layers.push_back(layer);
  return model;
}

TEST(ObjectStage, EveryFrameSeesTheWholeObjectLargeAndTheTurnIsEven) {
  struct Case {
    const char* what;
    Vec3 low, high;
    int width, height;
  } cases[] = {
      {"tall", {-0.1, 0, -0.1}, {0.1, 12, 0.1}, 320, 180},
      {"flat", {-5, 0, -3}, {5, 0.01, 3}, 200, 300},
      {"off centre and small", {999.99, -50, 300}, {1000.01, -49.97, 300.02}, 640, 480},
      {"huge", {-4e5, -1e5, -2e5}, {4e5, 3e5, 2e5}, 640, 480},
  };
  constexpr int kTurns = 5;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    host::ObjectStage stage;
    stage.width = c.width;
    stage.height = c.height;
    stage.turntableFrames = kTurns;
    const auto model = boxObject(c.low, c.high);
    const host::Scene scene = stage.build(model, "/somewhere/box.lwo");
    ASSERT_EQ(scene.firstFrame, 1);
    ASSERT_EQ(scene.lastFrame, kTurns);
    const int camera = scene.renderCamera();
    ASSERT_GE(camera, 0);
    EXPECT_EQ(scene.item(camera).camera.width, c.width);
    EXPECT_EQ(scene.item(camera).camera.height, c.height);
    const double zoom = scene.item(camera).camera.zoomFactor.at(0.0);
    const double halfH = 1.0 / zoom, halfW = halfH * c.width / c.height;
    const Vec3 centre{(c.low[0] + c.high[0]) / 2, (c.low[1] + c.high[1]) / 2, (c.low[2] + c.high[2]) / 2};
    double firstAngle = 0.0;
    double all[2][2] = {{1e9, -1e9}, {1e9, -1e9}};  // over every frame: low and high, x then y
    for (int frame = 1; frame <= kTurns; ++frame) {
      SCOPED_TRACE(frame);
      const double t = scene.frameToTime(frame);
      const host::Affine cameraToWorld = host::itemWorldTransform(scene, camera, t);
      const host::Affine toCamera = cameraToWorld.inverse();
      double lo[2] = {1e9, 1e9}, hi[2] = {-1e9, -1e9};
      for (size_t i = 0; i < 8; ++i) {
        const auto& p = model->layers[0].points[i];
        const Vec3 v = toCamera.apply({p[0], p[1], p[2]});
        ASSERT_GT(v[2], 0.0);
        const double screen[2] = {v[0] / v[2] / halfW, v[1] / v[2] / halfH};
        for (int k = 0; k < 2; ++k) {
          lo[k] = std::min(lo[k], screen[k]);
          hi[k] = std::max(hi[k], screen[k]);
          all[k][0] = std::min(all[k][0], screen[k]);
          all[k][1] = std::max(all[k][1], screen[k]);
        }
      }
      // Inside the frame with a margin, and no speck in it.
      for (int k = 0; k < 2; ++k) {
        EXPECT_GE(lo[k], -0.95);
        EXPECT_LE(hi[k], 0.95);
      }
      EXPECT_GT(std::max(hi[0] - lo[0], hi[1] - lo[1]), 0.8);
      // The camera goes around the centre: frame k a (k-1)/N turn on from the first.
      const Vec3 eye = cameraToWorld.translation;
      const double angle = std::atan2(eye[0] - centre[0], eye[2] - centre[2]);
      if (frame == 1) firstAngle = angle;
      const double turned = std::remainder(angle - firstAngle - 2 * std::numbers::pi * (frame - 1) / kTurns,
                                           2 * std::numbers::pi);
      EXPECT_NEAR(turned, 0.0, 1e-3);
    }
    // What the turn sweeps is centred in the frame and fills it on one axis.
    EXPECT_NEAR(all[0][0] + all[0][1], 0.0, 0.05);
    EXPECT_NEAR(all[1][0] + all[1][1], 0.0, 0.05);
    EXPECT_GT(std::max(all[0][1] - all[0][0], all[1][1] - all[1][0]), 1.5);
  }
}

}  // namespace
