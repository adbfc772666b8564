// Lights against hand-computed values: diffuse response, falloffs, spot cones, area shadows,
// translucency, and what a recapture reports as changed.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <string>
#include <numbers>
#include <vector>

#include "rayengine/hit_shading.h"
#include "rayengine/ray_cast.h"
#include "runtime/global_services.h"
#include "shading/captured_camera.h"
#include "shading/captured_light.h"
#include "shading/direct_light_cell.h"
#include "shading/shading_core.h"
#include "runtime/vector_ops.h"
#include "support/shading_world.h"

namespace {

using namespace shadetest;

constexpr double kDegree = std::numbers::pi / 180.0;

// A channel value as the 8.8 encoding keeps it.
double fixed(double value) { return std::trunc(value * 256.0) / 256.0; }

TEST(Lights, DiffusePlaneUnderADistantLightIsColourTimesDiffuseTimesCosine) {
  ShadingWorld world;
  Model plane = planeModel(20.0f);
  surfaceOf(plane).color.value = {0.8, 0.6, 0.4};
  surfaceOf(plane).diffuse.value = 0.7;
  world.addObject(plane, "Floor");
  const int light = world.addLight(host::LightKind::Distant, "Sun", {0, 10, 0}, {0.0, 60.0 * kDegree, 0.0});
  world.scene().items[size_t(light)].light.color = {1.0, 0.5, 0.25};
  world.scene().items[size_t(light)].light.intensity = 0.8;
  world.start();
  EXPECT_NEAR(world.lights()->forward[1], -std::sin(60.0 * kDegree), 1e-12);

  const double origin[3] = {0.3, 5.0, 0.2}, down[3] = {0.0, -1.0, 0.0};
  double color[3];
  EXPECT_NEAR(world.trace(origin, down, color), 5.0, 1e-6);
  const double cosine = std::sin(60.0 * kDegree);
  const double base[3] = {0.8, 0.6, 0.4}, light3[3] = {0.8, 0.4, 0.2};
  for (int k = 0; k < 3; ++k) EXPECT_NEAR(color[k], fixed(base[k]) * fixed(0.7) * cosine * light3[k], 1e-12) << k;

  // The view does not change a diffuse surface; a light from below it gives nothing.
  const double slanted[3] = {0.6, -0.8, 0.0}, from[3] = {0.3 - 0.6 * 5.0, 4.0, 0.2};
  double again[3];
  world.trace(from, slanted, again);
  for (int k = 0; k < 3; ++k) EXPECT_NEAR(again[k], color[k], 1e-12);
  world.scene().items[size_t(light)].setRotation({0.0, -60.0 * kDegree, 0.0});
  world.refresh();
  world.trace(origin, down, color);
  for (int k = 0; k < 3; ++k) EXPECT_EQ(color[k], 0.0);
}

TEST(Lights, PointLightFalloffs) {
  ShadingWorld world;
  const int index = world.addLight(host::LightKind::Point, "Bulb", {1.0, 2.0, 3.0});
  world.scene().items[size_t(index)].light.range = 2.0;
  world.start();
  const double along[3] = {0.6, 0.0, 0.8};
  struct Case {
    host::LightFalloff falloff;
    double (*factor)(double d);
  };
  const Case cases[] = {
      {host::LightFalloff::None, [](double) { return 1.0; }},
      {host::LightFalloff::Linear, [](double d) { return d < 2.0 ? 1.0 - d / 2.0 : 0.0; }},
      {host::LightFalloff::InverseDistance, [](double d) { return 2.0 / d; }},
      {host::LightFalloff::InverseDistanceSquared, [](double d) { return 4.0 / (d * d); }},
  };
  for (const Case& c : cases) {
    world.scene().items[size_t(index)].light.falloff = c.falloff;
    world.refresh();
    for (double d : {0.5, 1.0, 2.0, 3.0}) {
      const double point[3] = {1.0 - along[0] * d, 2.0, 3.0 - along[2] * d};
      double direction[3], lightColor[3], shadowColor[3];
      const double distance = LightSample(world.lights(), point, 0.5, 0.5, direction, lightColor, shadowColor);
      EXPECT_NEAR(distance, d, 1e-12);
      for (int k = 0; k < 3; k += 2) EXPECT_NEAR(direction[k], along[k], 1e-12);
      EXPECT_NEAR(lightColor[0], c.factor(d), 1e-12) << "falloff " << int(c.falloff) << " at " << d;
    }
  }
  // A distant light has no falloff and always answers 1.0.
  world.scene().items[size_t(index)].light.kind = host::LightKind::Distant;
  world.refresh();
  const double far[3] = {50.0, -40.0, 7.0};
  double direction[3], lightColor[3], shadowColor[3];
  EXPECT_EQ(LightSample(world.lights(), far, 0.5, 0.5, direction, lightColor, shadowColor), 1.0);
  EXPECT_EQ(lightColor[0], 1.0);
}

TEST(Lights, SpotConeIsFullInsideBlackOutsideAndSmoothBetween) {
  ShadingWorld world;
  world.addLight(host::LightKind::Spot, "Spot");  // cone 30 degrees, soft edge 5, along +z
  world.start();
  CapturedLight* spot = world.lights();
  EXPECT_NEAR(spot->coneInnerCosine, std::cos(25.0 * kDegree), 1e-12);
  EXPECT_NEAR(spot->coneOuterCosine, std::cos(30.0 * kDegree), 1e-12);
  auto at = [&](double degrees) {
    const double a = degrees * kDegree;
    const double point[3] = {std::sin(a) * 3.0, 0.0, std::cos(a) * 3.0};
    double direction[3], lightColor[3], shadowColor[3];
    LightSample(spot, point, 0.5, 0.5, direction, lightColor, shadowColor);
    return lightColor[1];
  };
  EXPECT_EQ(at(0.0), 1.0);
  EXPECT_EQ(at(20.0), 1.0);
  EXPECT_NEAR(at(25.0), 1.0, 1e-9);
  EXPECT_NEAR(at(30.0), 0.0, 1e-9);
  EXPECT_EQ(at(35.0), 0.0);
  const double c = std::cos(27.5 * kDegree), inner = std::cos(25.0 * kDegree), outer = std::cos(30.0 * kDegree);
  const double s = (c - outer) / (inner - outer);
  EXPECT_NEAR(at(27.5), (3.0 - 2.0 * s) * s * s, 1e-12);
  EXPECT_GT(at(26.0), at(27.5));
  EXPECT_GT(at(27.5), at(29.0));
}

TEST(Lights, ProjectedSpotColoursTheLightWithTheImageTheLightsWayUp) {
  const std::string image = std::string(OMBREL_CORPUS_DIR) + "/lightwave/LWO/LWO2/uvtest.png";
  if (!std::ifstream(image)) GTEST_SKIP() << "no corpus image " << image;
  ShadingWorld world;
  const int index = world.addLight(host::LightKind::Spot, "Projector");
  world.scene().items[size_t(index)].light.projectionImage = image;
  world.scene().items[size_t(index)].light.shadowColor = {0.2, 0.2, 0.2};
  world.start();
  CapturedLight* spot = world.lights();
  ASSERT_NE(spot->projectionImage, nullptr);
  int w = 0, h = 0;
  globalServices.imageList->size(spot->projectionImage, &w, &h);

  // Two pixels of the checker image, in squares of different shade, each with squares of the
  // other shade across both of the image's axes: a flipped axis shows the wrong shade. The
  // image's columns run along the light's right and its rows down along the light's up.
  const double t = std::tan(30.0 * kDegree) * 4.0;
  struct Look {
    double a, b;
  } looks[] = {{2.0 * 270.5 / w - 1.0, 2.0 * 270.5 / h - 1.0}, {2.0 * 140.5 / w - 1.0, 2.0 * 380.5 / h - 1.0}};
  float seen[2][3];
  for (int i = 0; i < 2; ++i) {
    const double point[3] = {looks[i].a * t, -looks[i].b * t, 4.0};
    double direction[3], lightColor[3], shadowColor[3];
    LightSample(spot, point, 0.5, 0.5, direction, lightColor, shadowColor);
    float rgb[3];
    globalServices.imageList->RGB(spot->projectionImage, int(w * (looks[i].a + 1.0) * 0.5),
                                  int(h * (looks[i].b + 1.0) * 0.5), rgb);
    for (int k = 0; k < 3; ++k) {
      EXPECT_NEAR(lightColor[k], rgb[k], 1e-6) << "look " << i;
      EXPECT_NEAR(shadowColor[k], 0.2, 1e-12);  // the image leaves the shadow alone
      seen[i][k] = rgb[k];
    }
  }
  EXPECT_TRUE(seen[0][0] != seen[1][0] || seen[0][1] != seen[1][1] || seen[0][2] != seen[1][2]);
  // Outside the cone's square there is no light at all.
  const double outside[3] = {std::tan(35.0 * kDegree) * 4.0, 0.0, 4.0};
  double direction[3], lightColor[3], shadowColor[3];
  LightSample(spot, outside, 0.5, 0.5, direction, lightColor, shadowColor);
  EXPECT_EQ(lightColor[0] + lightColor[1] + lightColor[2], 0.0);
}

TEST(Lights, AreaShadowDarkensMonotonicallyIntoTheUmbra) {
  ShadingWorld world;
  world.addObject(planeModel(20.0f), "Floor");
  // A shelf over x < 0 at height 1; a 1 x 1 area light facing down at height 3, above the
  // shelf's edge. The penumbra on the floor runs from x = 0.25 to x = -0.25.
  world.addObject(boxModel({-5.0f, 1.0f, 0.0f}, {10.0f, 0.1f, 20.0f}), "Shelf");
  world.addLight(host::LightKind::Area, "Panel", {0.0, 3.0, 0.0}, {0.0, 90.0 * kDegree, 0.0});
  world.scene().render.traceShadows = true;
  world.start();
  CapturedLight* panel = world.lights();
  EXPECT_NEAR(panel->spanUSquared, 1.0, 1e-12);
  EXPECT_NEAR(panel->emitterBase[0], -0.5, 1e-12);

  std::vector<double> filters, shares;
  for (double x = 1.0; x >= -1.0; x -= 0.05) {
    const double point[3] = {x, 0.0, 0.0}, up[3] = {0.0, 1.0, 0.0};
    float f[3];
    LightShadowSoft(world.capture(), point, up, nullptr, -1, panel, 12345u, f);
    filters.push_back(f[0]);

    // The shaded floor against the same floor with shadows off.
    const double origin[3] = {x, 0.5, 0.0}, down[3] = {0.0, -1.0, 0.0};
    double shaded[3], unshadowed[3];
    world.trace(origin, down, shaded);
    world.capture()->renderOpts &= ~uint32_t(LWROPT_SHADOWTRACE);
    world.trace(origin, down, unshadowed);
    world.capture()->renderOpts |= LWROPT_SHADOWTRACE;
    ASSERT_GT(unshadowed[0], 0.0);
    shares.push_back(shaded[0] / unshadowed[0]);
  }
  for (const std::vector<double>* v : {&filters, &shares}) {
    EXPECT_NEAR(v->front(), 1.0, 1e-6);
    EXPECT_EQ(v->back(), 0.0);
    int between = 0;
    for (size_t i = 1; i < v->size(); ++i) {
      EXPECT_LE((*v)[i], (*v)[i - 1] + 1e-9) << "at step " << i;
      if ((*v)[i] > 0.01 && (*v)[i] < 0.99) ++between;
    }
    EXPECT_GE(between, 3);  // a penumbra, not a hard edge
  }
}

TEST(Lights, LightBehindASurfaceGivesTranslucencyOnly) {
  ShadingWorld world;
  Model plane = planeModel(20.0f);
  host::Surface& s = surfaceOf(plane);
  s.color.value = {0.5, 1.0, 0.25};
  s.translucency.value = 0.5;
  s.specularity.value = 1.0;
  world.addObject(plane, "Leaf");
  world.addLight(host::LightKind::Point, "Below", {0.0, -2.0, 2.0});
  world.scene().render.traceShadows = true;
  world.start();

  const double origin[3] = {0.0, 3.0, 0.0}, down[3] = {0.0, -1.0, 0.0};
  double color[3];
  world.trace(origin, down, color);
  // cos between the light's direction and the normal, on the back side.
  const double cosine = 2.0 / std::sqrt(8.0);
  const double translucency = std::trunc(0.5 * 255.0) / 255.0;
  const double base[3] = {0.5, 1.0, 0.25};
  for (int k = 0; k < 3; ++k) EXPECT_NEAR(color[k], fixed(base[k]) * translucency * cosine, 1e-12) << k;

  // A light behind the surface casts no shadow on it, even through the plane itself.
  const double point[3] = {0.0, 0.0, 0.0}, up[3] = {0.0, 1.0, 0.0};
  float f[3];
  LightShadowSoft(world.capture(), point, up, nullptr, -1, world.lights(), 1u, f);
  EXPECT_EQ(f[0], 1.0f);

  s.translucency.value = 0.0;
  world.refresh();
  world.trace(origin, down, color);
  EXPECT_EQ(color[0], 0.0);
  EXPECT_EQ(color[1], 0.0);
}

TEST(Lights, CaptureReportsWhatChanged) {
  ShadingWorld world;
  const int index = world.addLight(host::LightKind::Point, "Bulb", {0.0, 1.0, 0.0});
  world.start();
  host::Item& item = world.scene().items[size_t(index)];
  CapturedLight light;
  CapturedLight_Init(&light);
  const LWItemID id = world.itemId(index);
  EXPECT_NE(CaptureLight(id, &light, 0.0), 0);
  EXPECT_EQ(CaptureLight(id, &light, 0.0), 0);

  auto recapture = [&] {
    world.host().sceneChanged();
    return CaptureLight(id, &light, 0.0);
  };
  item.setPosition({0.0, 2.0, 0.0});
  EXPECT_EQ(recapture(), kLightChangePlace);
  item.light.color = {1.0, 0.5, 0.5};
  EXPECT_EQ(recapture(), kLightChangeColor);
  item.light.shadowType = 0;
  EXPECT_EQ(recapture(), kLightChangeShadowOption);
  item.active = false;
  EXPECT_EQ(recapture(), kLightChangeColor);
  EXPECT_EQ(light.color[0], 0.0);
  item.active = true;
  recapture();
  item.light.kind = host::LightKind::Spot;  // a point turned spot keeps its geometry
  EXPECT_EQ(recapture(), kLightChangeShape);
  item.light.kind = host::LightKind::Area;
  EXPECT_EQ(recapture(), kLightChangeAll);
  EXPECT_EQ(light.color[0], 2.0);  // area and linear lights count double
  item.setScale({2.0, 1.0, 1.0});
  EXPECT_EQ(recapture(), kLightChangeEmitter);
}

}  // namespace

namespace {

TEST(Lights, DirectLightCellIsShadeDirectsLightsAndRepeatsItselfPerCell) {
  ShadingWorld world;
  world.addObject(planeModel(20.0f), "Floor");
  world.addLight(host::LightKind::Distant, "Sun", {0.0, 0.0, 0.0}, {0.0, 60.0 * kDegree, 0.0});
  world.addLight(host::LightKind::Area, "Panel", {0.0, 3.0, 0.0}, {0.0, 90.0 * kDegree, 0.0});
  const int camera = world.addCamera("Camera", {0.0, 2.0, 0.0});
  world.start();
  CapturedCamera cam;
  CapturedCamera_Init(&cam);
  CaptureCamera(world.itemId(camera), 0.0, &cam);
  CapturedLight* sun = world.lights();
  CapturedLight* panel = sun->next;
  sun->nextInGroup = nullptr;

  const double origin[3] = {0.3, 2.0, 0.2}, down[3] = {0.0, -1.0, 0.0};
  RayHit hit{};
  ASSERT_GT(CastRay(world.capture(), origin, down, kRayCamera, nullptr, -1, nullptr, -1.0, &hit), 0.0);
  ShadingSample sample;
  ShadeHit(&hit, origin, &sample);
  double point[3], view[3], expected[3] = {0.0, 0.0, 0.0}, cell[3];
  HitWorldPoint(&hit, point);
  vec::sub(cam.position, point, view);
  vec::normalize(view);
  const double black[3] = {0.0, 0.0, 0.0};
  sun->next = nullptr;  // ShadeDirect over the sun alone
  ShadeDirect(world.capture(), sun, black, view, point, &hit, &sample, 0.5, 0.5, 1.0, expected);
  sun->next = panel;
  DirectLightCell(world.capture(), &cam, sun, 0.1, -0.2, &hit, &sample, cell);
  for (int c = 0; c < 3; ++c) EXPECT_NEAR(cell[c], expected[c], 1e-12);
  EXPECT_GT(cell[0], 0.0);

  // The area light's points come from the cell's place alone: the same cell, the same light.
  double first[3], again[3];
  DirectLightCell(world.capture(), &cam, panel, 0.1, -0.2, &hit, &sample, first);
  DirectLightCell(world.capture(), &cam, panel, 0.1, -0.2, &hit, &sample, again);
  EXPECT_GT(first[0], 0.0);
  for (int c = 0; c < 3; ++c) EXPECT_EQ(first[c], again[c]);

  // No hit, or no lights: black.
  RayHit none = hit;
  none.polygon = -2;
  DirectLightCell(world.capture(), &cam, sun, 0.1, -0.2, &none, &sample, cell);
  EXPECT_EQ(cell[0] + cell[1] + cell[2], 0.0);
  DirectLightCell(world.capture(), &cam, nullptr, 0.1, -0.2, &hit, &sample, cell);
  EXPECT_EQ(cell[0] + cell[1] + cell[2], 0.0);
}

}  // namespace
