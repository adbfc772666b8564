// Radiosity, reflection and refraction: what ShadeBounce adds, and that the Russian roulette
// keeps the mean where it belongs.
#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "host/services/backdrop.h"
#include "shading/directions.h"
#include "shading/radiosity_settings.h"
#include "runtime/vector_ops.h"
#include "support/shading_world.h"

namespace {

using namespace shadetest;

double fixed(double value) { return std::trunc(value * 256.0) / 256.0; }

// The mean colour of many samples of one ray with random (u, v).
void meanOf(ShadingWorld& world, const double origin[3], const double direction[3], double weight, int count,
            double mean[3], int* nonZero = nullptr) {
  Random random(7);
  vec::set(mean, 0.0, 0.0, 0.0);
  if (nonZero) *nonZero = 0;
  for (int i = 0; i < count; ++i) {
    double c[3];
    world.trace(origin, direction, c, 2, random.unit(), random.unit(), weight);
    for (int k = 0; k < 3; ++k) mean[k] += c[k] / count;
    if (nonZero && c[0] > 0.0) ++*nonZero;
  }
}

host::Vec3 backdropAlong(ShadingWorld& world, const double d[3]) {
  return host::backdropColor(world.scene().backdrop, 0.0, {d[0], d[1], d[2]});
}

// A floor of colour c and diffuse 0.75 under a white sky, seen from above.
struct SkyFloor {
  ShadingWorld world;
  double expected[3];
  const double origin[3] = {0.2, 0.5, -0.1};
  const double down[3] = {0.0, -1.0, 0.0};

  SkyFloor() {
    Model floor = planeModel(40.0f);
    surfaceOf(floor).color.value = {0.6, 0.8, 0.4};
    surfaceOf(floor).diffuse.value = 0.75;
    world.addObject(floor, "Floor");
    world.scene().backdrop.color = {1.0, 1.0, 1.0};
    for (int k = 0; k < 3; ++k) expected[k] = fixed(surfaceOf(floor).color.value[size_t(k)]) * 0.75;
  }
};

TEST(Radiosity, DiffuseFloorUnderAWhiteSkyConvergesToColourTimesDiffuse) {
  SkyFloor s;
  s.world.start();
  for (int type : {kBackgroundRadiosity, kMonteCarloRadiosity}) {
    RadiosityScope scope(type);
    // A full-weight sample spreads enough rays to land on the mean at once.
    double color[3];
    s.world.trace(s.origin, s.down, color, 2);
    for (int k = 0; k < 3; ++k) EXPECT_NEAR(color[k], s.expected[k], 1e-9) << "type " << type;
    // Faint samples bounce by chance and count for more when they do.
    double mean[3];
    int nonZero = 0;
    meanOf(s.world, s.origin, s.down, 0.05, 20000, mean, &nonZero);
    EXPECT_GT(nonZero, 4000);
    EXPECT_LT(nonZero, 16000);
    for (int k = 0; k < 3; ++k) EXPECT_NEAR(mean[k] / s.expected[k], 1.0, 0.03) << "type " << type;
  }
  // Intensity scales the bounce of a camera ray.
  RadiosityScope half(kBackgroundRadiosity, 0.5);
  double color[3];
  s.world.trace(s.origin, s.down, color, 2);
  EXPECT_NEAR(color[1], s.expected[1] * 0.5, 1e-9);
}

TEST(Radiosity, BlockedDirectionsFallBackOnTheAmbient) {
  SkyFloor s;
  Model ceiling = planeModel(1000.0f, "Ceiling");
  surfaceOf(ceiling).sidedness = host::SideDouble;
  surfaceOf(ceiling).color.value = {0.5, 0.5, 0.5};
  s.world.addObject(ceiling, "Ceiling", {0.0, 1.0, 0.0});
  s.world.scene().ambientIntensity = 0.4;
  s.world.start();
  double color[3];
  {
    // Background radiosity: half the ambient for every blocked direction, and no ambient of
    // its own since the bounce takes its place.
    RadiosityScope scope(kBackgroundRadiosity);
    s.world.trace(s.origin, s.down, color, 2);
    for (int k = 0; k < 3; ++k) EXPECT_NEAR(color[k], s.expected[k] * 0.5 * 0.4, 1e-9);
  }
  {
    // Monte Carlo with one bounce: the rays end on the ceiling with depth 0, where the
    // ambient comes back.
    RadiosityScope scope(kMonteCarloRadiosity, 1.0, 1.0);
    s.world.trace(s.origin, s.down, color, 2);
    for (int k = 0; k < 3; ++k) EXPECT_NEAR(color[k], s.expected[k] * 0.5 * 0.4, 1e-9);
  }
  {
    // Without radiosity the floor has only its ambient.
    s.world.trace(s.origin, s.down, color, 2);
    for (int k = 0; k < 3; ++k) EXPECT_NEAR(color[k], s.expected[k] * 0.4, 1e-9);
  }
}

struct MirrorFloor {
  ShadingWorld world;
  Model floor = planeModel(40.0f);
  const double origin[3] = {-3.0, 4.0, 0.0};
  const double direction[3] = {0.6, -0.8, 0.0};
  const double mirrored[3] = {0.6, 0.8, 0.0};

  explicit MirrorFloor(double reflectivity) {
    surfaceOf(floor).reflectivity.value = reflectivity;
    surfaceOf(floor).diffuse.value = 0.0;
    world.addObject(floor, "Mirror");
    world.scene().backdrop.gradient = true;
    world.scene().render.traceReflection = true;
  }
};

TEST(Reflection, MirrorShowsWhatLiesInTheMirroredDirection) {
  MirrorFloor m(1.0);
  Model ball = sphereModel(1.0f, "Lamp");
  surfaceOf(ball).luminosity.value = 1.0;
  surfaceOf(ball).diffuse.value = 0.0;
  surfaceOf(ball).color.value = {0.25, 0.5, 0.75};
  // Where a ray from (0, 4, -3) goes after the mirror, well away from the first ray's way
  // (and off the sphere's seams).
  m.world.addObject(ball, "Lamp", {0.4, 8.0, 6.0});
  m.world.start();

  const host::Vec3 sky = backdropAlong(m.world, m.mirrored);
  double color[3];
  for (int depth : {0, 3}) {
    m.world.trace(m.origin, m.direction, color, depth);
    for (int k = 0; k < 3; ++k) EXPECT_NEAR(color[k], sky[size_t(k)], 1e-12) << "depth " << depth;
  }
  // Towards the lamp: its colour comes back from the mirror, traced.
  const double from[3] = {0.0, 4.0, -3.0}, towards[3] = {0.0, -0.8, 0.6};
  m.world.trace(from, towards, color, 3);
  EXPECT_NEAR(color[0], 0.25, 1e-12);
  EXPECT_NEAR(color[1], 0.5, 1e-12);
  EXPECT_NEAR(color[2], 0.75, 1e-12);
}

TEST(Reflection, FaintReflectionIsTracedByChanceWithTheRightMean) {
  MirrorFloor m(1.0 / 256.0);
  m.world.start();
  const host::Vec3 sky = backdropAlong(m.world, m.mirrored);
  double mean[3];
  int nonZero = 0;
  meanOf(m.world, m.origin, m.direction, 1.0, 20000, mean, &nonZero);
  // Passes the cut-off with probability 0.26 and then counts about four times.
  EXPECT_NEAR(nonZero / 20000.0, 66.6 / 256.0, 0.02);
  for (int k = 0; k < 3; ++k) EXPECT_NEAR(mean[k] / (sky[size_t(k)] / 256.0), 1.0, 0.05);
}

TEST(Refraction, DirectionsFollowSnellAndReportTotalReflection) {
  const double n[3] = {0.0, 1.0, 0.0};
  const double d[3] = {0.6, -0.8, 0.0};
  double r[3];
  // Indices this close to each other do not bend.
  EXPECT_EQ(RefractDirection(d, n, 1.003, r), 0);
  for (int k = 0; k < 3; ++k) EXPECT_EQ(-r[k], d[k]);
  for (double ratio : {1.005, 1.5, 0.8}) {
    EXPECT_EQ(RefractDirection(d, n, ratio, r), 0);
    // Negated, as the shading uses it: the ray's sine shrinks by the ratio.
    EXPECT_NEAR(-r[0], 0.6 / ratio, 1e-12) << ratio;
    EXPECT_LT(-r[1], 0.0);
    EXPECT_NEAR(vec::length(r), 1.0, 1e-9);
  }
  const double grazing[3] = {0.8, -0.6, 0.0};
  EXPECT_EQ(RefractDirection(grazing, n, 1.0 / 1.5, r), 1);
  EXPECT_NEAR(-r[0], 0.8, 1e-9);
  EXPECT_NEAR(-r[1], 0.6, 1e-9);
  ReflectDirection(grazing, n, r);
  EXPECT_NEAR(-r[0], 0.8, 1e-12);
  EXPECT_NEAR(-r[1], 0.6, 1e-12);
}

TEST(Refraction, ClearPaneShowsTheBackdropAlongTheBentRay) {
  ShadingWorld world;
  Model pane = planeModel(40.0f);
  surfaceOf(pane).transparency.value = 1.0;
  surfaceOf(pane).diffuse.value = 0.0;
  world.addObject(pane, "Pane");
  world.scene().backdrop.gradient = true;
  world.scene().render.traceRefraction = true;
  world.start();
  const double origin[3] = {-3.0, 4.0, 0.0}, direction[3] = {0.6, -0.8, 0.0};
  for (double ior : {1.0, 1.003, 1.005, 1.5}) {
    surfaceOf(pane).ior.value = ior;
    world.refresh();
    const double encoded = std::trunc(ior * 6553.0) / 6553.0;
    double bent[3];
    RefractDirection(direction, std::array<double, 3>{0.0, 1.0, 0.0}.data(), encoded, bent);
    vec::scale(bent, -1.0, bent);
    const host::Vec3 sky = backdropAlong(world, bent);
    double color[3];
    world.trace(origin, direction, color, 3);
    for (int k = 0; k < 3; ++k) EXPECT_NEAR(color[k], sky[size_t(k)], 1e-12) << "ior " << ior;
    if (ior < 1.004) EXPECT_EQ(bent[1], direction[1]);
    else EXPECT_LT(bent[1], direction[1] - 0.001);
  }
}

TEST(Directions, BlurStaysOnItsSideOfTheSurface) {
  double grazing[3] = {0.999, 0.0447, 0.0};
  vec::normalize(grazing);
  const double up[3] = {0.0, 1.0, 0.0};
  Random random(3);
  for (int i = 0; i < 200; ++i) {
    double b[3];
    BlurDirection(grazing, up, 1.5, random.unit(), random.unit(), b);
    EXPECT_GE(vec::dot(b, up), 0.0);
    EXPECT_NEAR(vec::length(b), 1.0, 1e-9);
  }
}

}  // namespace
