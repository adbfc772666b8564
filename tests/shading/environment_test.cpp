// Fog and the alpha of a sample: what the surroundings and the surfaces behind do to a ray.
#include <gtest/gtest.h>

#include <cmath>

#include "host/services/backdrop.h"
#include "rayengine/ray_cast.h"
#include "shading/captured_environment.h"
#include "shading/sample_alpha.h"
#include "support/shading_world.h"

namespace {

using namespace shadetest;

void setFog(host::Scene& scene, int type) {
  scene.fog.type = type;
  scene.fog.minDistance = 2.0;
  scene.fog.maxDistance = 10.0;
  scene.fog.minAmount = 0.1;
  scene.fog.maxAmount = 0.9;
  scene.fog.color = {0.2, 0.4, 0.6};
}

TEST(Fog, AmountByTypeAtBothEndsAndTheMiddle) {
  ShadingWorld world;
  world.start();
  const double middle[5] = {0.0, 0.5, 0.75, 1.0 - 0.5 * (1.0 - std::sqrt(0.5)), 0.5};
  for (int type = 1; type <= 4; ++type) {
    setFog(world.scene(), type);
    world.refresh();
    const CapturedEnvironment* e = world.environment();
    EXPECT_EQ(e->fogType, type);
    EXPECT_DOUBLE_EQ(FogAmount(e, 0.5), 0.1) << type;
    EXPECT_DOUBLE_EQ(FogAmount(e, 2.0), 0.1) << type;
    EXPECT_DOUBLE_EQ(FogAmount(e, 10.0), 0.9) << type;
    EXPECT_DOUBLE_EQ(FogAmount(e, 500.0), 0.9) << type;
    EXPECT_NEAR(FogAmount(e, 6.0), 0.1 + 0.8 * middle[type], 1e-12) << type;
  }
  world.scene().fog.type = 0;
  world.host().sceneChanged();
  EXPECT_TRUE(CaptureEnvironment(0.0, world.environment()));
  EXPECT_FALSE(CaptureEnvironment(0.0, world.environment()));
  EXPECT_EQ(FogAmount(world.environment(), 6.0), 0.0);
  double marker[3];
  const double up[3] = {0, 1, 0};
  FogColorAtPixel(world.environment(), 0.5, 0.5, up, marker);
  EXPECT_EQ(marker[0], 0.0);
  EXPECT_EQ(marker[1], 5.0);
  EXPECT_EQ(marker[2], 5.0);
}

TEST(Fog, ColourComesFromItsSourceAndChangesAreReported) {
  ShadingWorld world;
  setFog(world.scene(), 1);
  world.scene().backdrop.gradient = true;
  world.start();
  CapturedEnvironment* e = world.environment();
  EXPECT_EQ(e->fogColorSource, kFogConstant);
  const double d[3] = {0.0, 0.6, 0.8};
  double color[3];
  FogColorAtPixel(e, 0.3, 0.3, d, color);
  EXPECT_NEAR(color[0], 0.2 * 255.0, 1e-12);
  EXPECT_NEAR(color[2], 0.6 * 255.0, 1e-12);
  EXPECT_FALSE(CaptureEnvironment(0.0, e));

  world.scene().fog.maxDistance = 12.0;
  world.host().sceneChanged();
  EXPECT_TRUE(CaptureEnvironment(0.0, e));
  world.scene().fog.color = {0.2, 0.4, 0.7};
  EXPECT_TRUE(CaptureEnvironment(0.0, e));

  // Fog that takes the backdrop's colour, with no compositing image behind it.
  world.scene().fog.backdropFog = true;
  world.host().sceneChanged();
  EXPECT_TRUE(CaptureEnvironment(0.0, e));
  EXPECT_EQ(e->fogColorSource, kFogFromBackdrop);
  const host::Vec3 sky = host::backdropColor(world.scene().backdrop, 0.0, {d[0], d[1], d[2]});
  FogColorScaled(e, -1.0, -1.0, d, color);
  for (int k = 0; k < 3; ++k) EXPECT_NEAR(color[k], sky[size_t(k)] * 255.0, 1e-9);
}

TEST(Fog, LiesOverHitsAndNeverOverMisses) {
  ShadingWorld world;
  Model wall = planeModel(20.0f);
  surfaceOf(wall).luminosity.value = 1.0;
  surfaceOf(wall).diffuse.value = 0.0;
  surfaceOf(wall).color.value = {1.0, 0.5, 0.0};
  world.addObject(wall, "Floor");
  world.scene().backdrop.gradient = true;
  setFog(world.scene(), 1);
  world.start();

  const double origin[3] = {0.0, 6.0, 0.0}, down[3] = {0.0, -1.0, 0.0}, up[3] = {0.0, 1.0, 0.0};
  double color[3];
  EXPECT_NEAR(world.trace(origin, down, color), 6.0, 1e-9);
  const double a = 0.5;  // linear, halfway from 2 to 10
  const double wallColor[3] = {1.0, 0.5, 0.0}, fog[3] = {0.2, 0.4, 0.6};
  for (int k = 0; k < 3; ++k) EXPECT_NEAR(color[k], fog[k] * a + wallColor[k] * (1.0 - a), 1e-9) << k;

  EXPECT_EQ(world.trace(origin, up, color), -1.0);
  const host::Vec3 sky = host::backdropColor(world.scene().backdrop, 0.0, {0.0, 1.0, 0.0});
  for (int k = 0; k < 3; ++k) EXPECT_EQ(color[k], sky[size_t(k)]);
}

TEST(Alpha, SurfacesInFrontAndBehindCombine) {
  ShadingWorld world;
  Model glass = planeModel(20.0f, "Glass");
  surfaceOf(glass).transparency.value = 0.5;
  surfaceOf(glass).alphaOptions = kAlphaOpacity;
  Model card = planeModel(20.0f, "Card");
  surfaceOf(card).alphaOptions = kAlphaConstant;
  surfaceOf(card).alphaValue = 0.3;
  world.addObject(glass, "Upper", {0.0, 2.0, 0.0});
  world.addObject(glass, "Lower", {0.0, 1.0, 0.0});
  const int cardIndex = world.addObject(card, "Card", {0.0, 0.0, 0.0});
  world.start();

  const double origin[3] = {0.0, 5.0, 0.0}, down[3] = {0.0, -1.0, 0.0};
  RayHit hit;
  const double t = CastRay(world.capture(), origin, down, kRayCamera, nullptr, -1, nullptr, -1.0, &hit);
  ASSERT_NEAR(t, 3.0, 1e-9);
  EXPECT_EQ(SampleAlpha(-1.0, &hit, world.capture(), origin, down, nullptr), 0.0);
  EXPECT_EQ(SampleAlpha(t, nullptr, world.capture(), origin, down, nullptr), 1.0);
  // Without a capture only the first surface counts: its opacity.
  EXPECT_NEAR(SampleAlpha(t, &hit, nullptr, nullptr, nullptr, nullptr), 0.5, 1e-9);
  // With one, the two panes and the card behind them: 0.5 + 0.5 (0.5 + 0.5 x 0.3).
  EXPECT_NEAR(SampleAlpha(t, &hit, world.capture(), origin, down, nullptr), 0.5 + 0.5 * (0.5 + 0.5 * 0.3), 1e-9);

  // With the card gone, what lies behind the panes is nothing.
  world.scene().items[size_t(cardIndex)].object.flags = host::ObjectUnseenByCamera;
  world.refresh();
  CastRay(world.capture(), origin, down, kRayCamera, nullptr, -1, nullptr, -1.0, &hit);
  EXPECT_NEAR(SampleAlpha(t, &hit, world.capture(), origin, down, nullptr), 0.75, 1e-9);
}

}  // namespace
