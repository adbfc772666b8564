// The thin-lens camera against the stand-in host's cameras.
#include <gtest/gtest.h>

#include <cmath>

#include "shading/captured_camera.h"
#include "runtime/vector_ops.h"
#include "support/shading_world.h"

namespace {

using shadetest::ShadingWorld;

struct CameraScene {
  ShadingWorld world;
  int camera = -1;
  CapturedCamera record{};

  // A camera turned and moved away from the origin, so that every axis matters.
  explicit CameraScene(int width = 320, int height = 200, double pixelAspect = 1.1) {
    camera = world.addCamera("Camera", {1.5, -2.0, 3.0}, {0.4, -0.3, 0.2});
    host::CameraSettings& c = world.scene().items[size_t(camera)].camera;
    c.width = width;
    c.height = height;
    c.pixelAspect = pixelAspect;
    c.zoomFactor = 2.5;
    c.focalDistance = 4.0;
    c.fStop = 2.0;
    c.regionX0 = 0, c.regionY0 = 0, c.regionX1 = width - 1, c.regionY1 = height - 1;
    world.start();
    CapturedCamera_Init(&record);
    CaptureCamera(world.itemId(camera), 0.0, &record);
  }
};

void pointAlong(const double origin[3], const double direction[3], double t, double out[3]) {
  for (int k = 0; k < 3; ++k) out[k] = origin[k] + direction[k] * t;
}

TEST(Camera, PixelRayAndTheSeenPointMapBackToThePixel) {
  CameraScene s;
  for (double lens : {0.0, 0.004}) {
    cameraSetLensOffset(&s.record, 0.5, 0.5, lens, -lens * 0.5);
    for (double x : {0.5, 10.25, 160.0, 319.9})
      for (double y : {0.5, 77.7, 199.5}) {
        double origin[3], direction[3], length = 0.0;
        cameraPixelToRay(&s.record, x, y, origin, direction, &length, nullptr);
        EXPECT_NEAR(vec::length(direction), 1.0, 1e-12);
        for (double t : {0.5, 4.0, 30.0}) {
          double p[3], px, py;
          pointAlong(origin, direction, t, p);
          ASSERT_TRUE(cameraPointToPixel(&s.record, p, &px, &py));
          EXPECT_NEAR(px, x, 1e-8) << "lens " << lens << " t " << t;
          EXPECT_NEAR(py, y, 1e-8) << "lens " << lens << " t " << t;
        }
      }
  }
  // Rows run from the frame's top down, columns to the camera's right.
  double o[3], top[3], bottom[3], left[3], right[3];
  cameraSetLensOffset(&s.record, 0.5, 0.5, 0.0, 0.0);
  cameraPixelToRay(&s.record, 160.5, 0.5, o, top, nullptr, nullptr);
  cameraPixelToRay(&s.record, 160.5, 200.5, o, bottom, nullptr, nullptr);
  cameraPixelToRay(&s.record, 0.5, 100.5, o, left, nullptr, nullptr);
  cameraPixelToRay(&s.record, 320.5, 100.5, o, right, nullptr, nullptr);
  EXPECT_GT(vec::dot(top, s.record.up), 0.0);
  EXPECT_LT(vec::dot(bottom, s.record.up), 0.0);
  EXPECT_LT(vec::dot(left, s.record.right), 0.0);
  EXPECT_GT(vec::dot(right, s.record.right), 0.0);
  // The frame's vertical half-extent at unit distance is 1 / zoom.
  EXPECT_NEAR(vec::dot(top, s.record.up) / vec::dot(top, s.record.forward), 1.0 / 2.5, 1e-12);
}

TEST(Camera, LensOffsetKeepsTheFocalPlaneAndMovesTheRest) {
  CameraScene s;
  CapturedCamera pinhole = s.record;
  cameraSetLensOffset(&pinhole, 0.5, 0.5, 0.0, 0.0);
  double o0[3], d0[3];
  cameraPixelToRay(&pinhole, 100.25, 60.75, o0, d0, nullptr, nullptr);
  // Where the pinhole ray crosses the focal plane, and a point well in front of it.
  const double focalT = s.record.focalDistance / vec::dot(d0, s.record.forward);
  double onFocus[3], nearer[3];
  pointAlong(o0, d0, focalT, onFocus);
  pointAlong(o0, d0, focalT * 0.3, nearer);

  cameraSetLensOffset(&s.record, 0.5, 0.5, 0.01, 0.006);
  double o[3], d[3];
  cameraPixelToRay(&s.record, 100.25, 60.75, o, d, nullptr, nullptr);
  double moved[3];
  vec::sub(o, o0, moved);
  EXPECT_GT(vec::length(moved), 1e-4);
  // The lens ray through the same pixel passes through the same point of the focal plane.
  double toFocus[3];
  vec::sub(onFocus, o, toFocus);
  vec::normalize(toFocus);
  EXPECT_NEAR(vec::dot(toFocus, d), 1.0, 1e-12);

  double fx, fy, nx, ny;
  ASSERT_TRUE(cameraPointToPixel(&s.record, onFocus, &fx, &fy));
  EXPECT_NEAR(fx, 100.25, 1e-7);
  EXPECT_NEAR(fy, 60.75, 1e-7);
  ASSERT_TRUE(cameraPointToPixel(&s.record, nearer, &nx, &ny));
  EXPECT_GT(std::hypot(nx - 100.25, ny - 60.75), 0.5);

  // The blur of the final render: none on the focal plane and on the camera's own plane,
  // more the further a point is from focus.
  double rx, ry, rx2, ry2;
  CircleOfConfusion(&s.record, onFocus, &rx, &ry);
  EXPECT_NEAR(rx, 0.0, 1e-9);
  EXPECT_NEAR(ry, 0.0, 1e-9);
  CircleOfConfusion(&s.record, nearer, &rx, &ry);
  double nearest[3];
  pointAlong(o0, d0, focalT * 0.1, nearest);
  CircleOfConfusion(&s.record, nearest, &rx2, &ry2);
  EXPECT_GT(rx, 0.0);
  EXPECT_GT(rx2, rx);
  EXPECT_GT(ry2, ry);
  CircleOfConfusion(&s.record, s.record.position, &rx, &ry);
  EXPECT_EQ(rx, 0.0);
  EXPECT_EQ(ry, 0.0);
}

TEST(Camera, RegionEdgesLieOnTheViewPlanes) {
  ShadingWorld world;
  const int camera = world.addCamera("Camera", {0.5, 1.0, -4.0}, {0.3, 0.1, 0.0});
  host::CameraSettings& c = world.scene().items[size_t(camera)].camera;
  c.width = 200, c.height = 100;
  c.limitedRegion = 1;
  c.regionX0 = 20, c.regionY0 = 10, c.regionX1 = 149, c.regionY1 = 89;
  world.start();
  CapturedCamera record;
  CapturedCamera_Init(&record);
  CaptureCamera(world.itemId(camera), 0.0, &record);
  EXPECT_EQ(record.regionLimits[0], 20);
  EXPECT_EQ(record.regionLimits[1], 150);
  EXPECT_EQ(record.regionLimits[2], 10);
  EXPECT_EQ(record.regionLimits[3], 90);

  auto side = [&](int plane, const double p[3]) {
    const double* n = record.viewPlanes[plane];
    return n[0] * p[0] + n[1] * p[1] + n[2] * p[2] - n[3];
  };
  // Points seen through the region's edges lie on its planes, whatever their distance.
  const double edges[4][2] = {{20.5, 37.0}, {150.5, 61.0}, {77.0, 10.5}, {120.0, 90.5}};
  for (int plane = 0; plane < 4; ++plane)
    for (double t : {1.0, 25.0}) {
      double o[3], d[3], p[3];
      cameraPixelToRay(&record, edges[plane][0], edges[plane][1], o, d, nullptr, nullptr);
      pointAlong(o, d, t, p);
      EXPECT_NEAR(side(plane, p), 0.0, 1e-9) << "plane " << plane;
    }
  // The region's centre is inside all five; a point behind the camera and points seen
  // outside the region are outside the plane they cross.
  double o[3], d[3], p[3];
  cameraPixelToRay(&record, 85.5, 50.5, o, d, nullptr, nullptr);
  pointAlong(o, d, 10.0, p);
  for (int plane = 0; plane < 5; ++plane) EXPECT_LT(side(plane, p), 0.0) << "plane " << plane;
  pointAlong(o, d, -1.0, p);
  EXPECT_GT(side(4, p), 0.0);
  const double outside[4][2] = {{5.0, 50.0}, {190.0, 50.0}, {85.0, 2.0}, {85.0, 98.0}};
  for (int plane = 0; plane < 4; ++plane) {
    cameraPixelToRay(&record, outside[plane][0], outside[plane][1], o, d, nullptr, nullptr);
    pointAlong(o, d, 10.0, p);
    EXPECT_GT(side(plane, p), 0.0) << "plane " << plane;
  }
}

TEST(Camera, CaptureCountsChangesAndHoldsTheFrameInRange) {
  CameraScene s;
  EXPECT_EQ(CaptureCamera(s.world.itemId(s.camera), 0.0, &s.record), 0);
  host::Item& item = s.world.scene().items[size_t(s.camera)];
  item.setPosition({1.5, -2.0, 3.5});
  s.world.host().sceneChanged();
  EXPECT_EQ(CaptureCamera(s.world.itemId(s.camera), 0.0, &s.record), 1);
  item.camera.focalDistance = 6.0;
  item.camera.zoomFactor = 3.0;  // the image plane: rightView and upView
  EXPECT_EQ(CaptureCamera(s.world.itemId(s.camera), 0.0, &s.record), 3);

  // A frame too small or too large is held in range; no camera item is the identity.
  item.camera.width = 2, item.camera.height = 20000;
  CaptureCamera(s.world.itemId(s.camera), 0.0, &s.record);
  EXPECT_EQ(s.record.width, 4);
  EXPECT_EQ(s.record.height, 16384);
  CaptureCamera(nullptr, 0.0, &s.record);
  EXPECT_EQ(s.record.position[0], 0.0);
  EXPECT_EQ(s.record.right[0], 1.0);
  EXPECT_EQ(s.record.up[1], 1.0);
  EXPECT_EQ(s.record.forward[2], 1.0);
}

}  // namespace
