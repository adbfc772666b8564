// What a hit is: its smoothed normal, its material with matte, dissolve and the host's
// textures, its transparency, and the transparent shadow walk.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "capture/captured_object.h"
#include "host/formats/lwo_builder.h"
#include "ray_world.h"
#include "rayengine/hit_shading.h"
#include "rayengine/ray_cast.h"
#include "rayengine/shadow_transmission.h"

using namespace raytest;

namespace {

double angle(const double a[3], const double b[3]) {
  const double d = (a[0] * b[0] + a[1] * b[1] + a[2] * b[2]) /
                   std::sqrt((a[0] * a[0] + a[1] * a[1] + a[2] * a[2]) * (b[0] * b[0] + b[1] * b[1] + b[2] * b[2]));
  return std::acos(std::clamp(d, -1.0, 1.0));
}

// A constant colour (or value) laid over a channel by a one-key gradient.
host::TextureLayer constantLayer(uint32_t channel, double r, double g, double b) {
  host::TextureLayer layer;
  layer.type = host::TextureType::Gradient;
  layer.ordinal = "\x80";
  layer.channel = channel;
  layer.gradientParameter = "Y Coordinate";
  layer.gradientKeys = {{0.0, {r, g, b, 1.0}}};
  layer.gradientKeyShapes = {0};
  return layer;
}

RayHit castFrom(RayWorld& world, const double origin[3], const double direction[3]) {
  RayHit hit;
  EXPECT_GT(CastRay(world.capture(), origin, direction, kRayCamera, nullptr, -1, nullptr, -1.0, &hit), 0.0);
  return hit;
}

}  // namespace

TEST(HitShading, NormalsSmoothOnlyWithinTheSmoothingAngle) {
  RayWorld world;
  auto flat = sphereModel(1.0f, 12, 6, "Flat"), smooth = sphereModel(1.0f, 12, 6, "Smooth");
  smooth->surfaces[0].smoothingAngle = 89.5 * M_PI / 180;
  const Placement place{{0, 0, 0}, {0.3, 0.2, 0.1}, {2, 2, 2}};
  world.addObject(flat, "flat", place);
  Placement right = place;
  right.position = {10, 0, 0};
  world.addObject(smooth, "smooth", right);
  world.start();
  // The flat sphere's normals are its triangles'; the smooth one's come round towards the
  // true sphere's, by far more than any triangle's do.
  Random random(3);
  double worstFlat = 0.0, worstSmooth = 0.0;
  for (int i = 0; i < 100; ++i) {
    double d[3];
    random.direction(d);
    for (const double cx : {0.0, 10.0}) {
      const double origin[3] = {cx - 6 * d[0], -6 * d[1], -6 * d[2]};
      const RayHit hit = castFrom(world, origin, d);
      double n[3], p[3], corners[3][3];
      HitNormal(&hit, HitSurface(&hit)->smoothCosine, n);
      HitWorldPoint(&hit, p);
      const double radial[3] = {p[0] - cx, p[1], p[2]};
      const int32_t v[3] = {hit.vertexA, hit.vertexB, hit.vertexC};
      for (int k = 0; k < 3; ++k) {
        const float* q = hit.object->keptPoints + v[k] * 3;
        const double local[3] = {q[0], q[1], q[2]};
        ItemTransform_MapPoint(&hit.object->transform, local, corners[k]);
      }
      double e1[3], e2[3];
      for (int a = 0; a < 3; ++a) e1[a] = corners[1][a] - corners[0][a], e2[a] = corners[2][a] - corners[0][a];
      const double face[3] = {e1[1] * e2[2] - e1[2] * e2[1], e1[2] * e2[0] - e1[0] * e2[2], e1[0] * e2[1] - e1[1] * e2[0]};
      if (cx == 0.0) {
        EXPECT_LT(angle(n, face), 1e-5);
        worstFlat = std::max(worstFlat, angle(face, radial));
      } else {
        worstSmooth = std::max(worstSmooth, angle(n, radial));
      }
    }
  }
  EXPECT_GT(worstFlat, 0.15);
  EXPECT_LT(worstSmooth, worstFlat * 0.5);
}

TEST(HitShading, SampleFromSurfaceMatteDissolveAndTextures) {
  host::ObjectBuilder b("panel.lwo");
  b.addPlane({0, 0, 0}, 2, 2, 1, 1, "Paint");
  host::Surface& paint = b.surface("Paint");
  paint.color.value = {0.5, 0.25, 1.0};
  paint.specularity.value = 0.5;
  paint.reflectivity.value = 0.25;
  paint.translucency.value = 0.5;
  paint.ior.value = 1.5;
  auto plain = std::make_shared<host::ObjectModel>(b.finish());
  auto textured = std::make_shared<host::ObjectModel>(*plain);
  textured->fileName = "textured.lwo";  // surfaces are found by name and file
  textured->surfaces[0].color.layers = {constantLayer(host::chunkId("COLR"), 0.25, 0.5, 0.75)};
  textured->surfaces[0].transparency.layers = {constantLayer(host::chunkId("TRAN"), 0.5, 0.5, 0.5)};

  // Painted by a vertex colour map, wholly.
  auto painted = std::make_shared<host::ObjectModel>(*plain);
  painted->fileName = "painted.lwo";
  host::VertexMap colours;
  colours.type = host::chunkId("RGB ");
  colours.name = "paint";
  colours.dimension = 3;
  for (uint32_t point = 0; point < painted->layers[0].points.size(); ++point) {
    colours.points.push_back(point);
    colours.values.insert(colours.values.end(), {0.1f, 0.2f, 0.3f});
  }
  painted->layers[0].vertexMaps.push_back(colours);
  painted->surfaces[0].vertexColoring = 1.0;
  painted->surfaces[0].vertexColorMap = "paint";
  painted->surfaces[0].vertexColorMapType = host::chunkId("RGB ");

  RayWorld world;
  const int items[7] = {world.addObject(plain, "plain", {{0, 0, 0}}), world.addObject(plain, "half", {{3, 0, 0}}),
                        world.addObject(plain, "matte", {{6, 0, 0}}), world.addObject(textured, "tex", {{9, 0, 0}}),
                        world.addObject(textured, "nearly", {{12, 0, 0}}),
                        world.addObject(textured, "gone", {{15, 0, 0}}), world.addObject(painted, "painted", {{18, 0, 0}})};
  host::Scene& s = world.scene();
  s.items[size_t(items[1])].object.dissolve = 0.5;
  s.items[size_t(items[2])].object.flags = host::ObjectMatte;
  s.items[size_t(items[2])].object.matteColor = {0.2, 0.4, 0.6};
  s.items[size_t(items[4])].object.dissolve = 0.9987;
  s.items[size_t(items[5])].object.dissolve = 0.9990;
  world.start();

  const double down[3] = {0, -1, 0};
  ShadingSample samples[7];
  RayHit hits[7];
  for (int i = 0; i < 7; ++i) {
    const double origin[3] = {3.0 * i + 0.3, 5, 0.2};
    CapturedObject* o = world.object(items[i]);
    ASSERT_NE(o, nullptr);
    hits[i].polygon = -1;
    const double t = IntersectObject(origin, down, 0.0, 100.0, o, -1, &hits[i]);  // past the dissolve filter
    ASSERT_NEAR(t, 5.0, 1e-9);
    ShadeHit(&hits[i], origin, &samples[i]);
  }
  const ShadingSample& p = samples[0];
  const CapturedSurface* surface = HitSurface(&hits[0]);
  EXPECT_EQ(std::memcmp(&p.color, &surface->color, sizeof(ShadingSample) - offsetof(ShadingSample, color)), 0);
  EXPECT_EQ(p.color[1], 64);
  EXPECT_EQ(p.normal[1], 32767);
  double n[3];
  ShadingSample_Normal(&p, n);
  EXPECT_NEAR(n[1], 1.0, 1e-9);

  const ShadingSample& half = samples[1];
  EXPECT_EQ(half.specularity, p.specularity / 2);
  EXPECT_EQ(half.reflectivity, p.reflectivity / 2);
  EXPECT_EQ(half.transparency, 128);
  EXPECT_EQ(half.diffuse, p.diffuse);

  const ShadingSample& matte = samples[2];
  EXPECT_EQ(matte.luminosity, 256);
  EXPECT_EQ(matte.diffuse, 0);
  EXPECT_EQ(matte.color[0], uint16_t(0.2 * 256));
  EXPECT_EQ(matte.color[2], uint16_t(0.6 * 256));

  EXPECT_EQ(samples[3].color[0], 64);
  EXPECT_EQ(samples[3].color[2], 192);
  EXPECT_EQ(samples[3].transparency, 128);
  EXPECT_DOUBLE_EQ(HitTransparency(&hits[3]), 0.5);
  EXPECT_DOUBLE_EQ(HitTransparency(&hits[0]), 0.0);
  // Both nearly gone: zeroed alike, but only the first went through its textures.
  for (const ShadingSample* g : {&samples[4], &samples[5]}) {
    EXPECT_EQ(g->transparency, 256);
    EXPECT_EQ(g->diffuse + g->luminosity + g->specularity + g->reflectivity + g->ior + g->translucency, 0);
  }
  EXPECT_EQ(samples[4].color[0], 64);
  EXPECT_EQ(samples[5].color[0], p.color[0]);
  EXPECT_EQ(samples[6].color[0], uint16_t(float(0.1f) * 256.0));
  EXPECT_EQ(samples[6].color[2], uint16_t(float(0.3f) * 256.0));
}

TEST(ShadowTransmission, FiltersThroughPanesAndGivesUpAfter51) {
  auto panes = [](int count, double transparency, std::array<double, 3> colour, double filter) {
    host::ObjectBuilder b("panes.lwo");
    for (int i = 0; i < count; ++i) b.addPlane({0, float(1 + i), 0}, 4, 4, 1, 1, "Glass");
    host::Surface& glass = b.surface("Glass");
    glass.sidedness = host::SideDouble;
    glass.transparency.value = transparency;
    glass.color.value = colour;
    glass.colorFilter.value = filter;
    return std::make_shared<host::ObjectModel>(b.finish());
  };
  auto wall = std::make_shared<host::ObjectModel>([] {
    host::ObjectBuilder b("wall.lwo");
    b.addBox({0, 70, 0}, {4, 1, 4}, "Wall");
    return b.finish();
  }());
  const double origin[3] = {0.1, 0, 0.2}, up[3] = {0, 1, 0};
  auto filterThrough = [&](const Model& glass) {
    RayWorld world;
    world.addObject(glass, "glass");
    world.addObject(wall, "wall");
    const int light = world.addLight("Light", {0.1, 100, 0.2});
    world.start();
    float filter[3];
    ShadowTransmission(world.capture(), origin, up, nullptr, -1, world.itemId(light), 100.0, filter);
    return std::array<float, 3>{filter[0], filter[1], filter[2]};
  };
  // Through 50 clear panes the wall is reached; behind 51 the walk gives up first and
  // keeps the light it has, rather than going dark.
  EXPECT_EQ(filterThrough(panes(50, 1.0, {1, 1, 1}, 0.0)), (std::array<float, 3>{0, 0, 0}));
  EXPECT_EQ(filterThrough(panes(51, 1.0, {1, 1, 1}, 0.0)), (std::array<float, 3>{1, 1, 1}));
  // One half-clear pane, filtered by its colour.
  RayWorld world;
  world.addObject(panes(1, 0.5, {1, 0.5, 0}, 1.0), "glass");
  world.start();
  float filter[3];
  ShadowTransmission(world.capture(), origin, up, nullptr, -1, nullptr, 0.0, filter);
  EXPECT_FLOAT_EQ(filter[0], 0.5f);
  EXPECT_FLOAT_EQ(filter[1], 0.25f);
  EXPECT_FLOAT_EQ(filter[2], 0.0f);

  // A host shader's ray cast reaches the pane from the live capture.
  const double below[3] = {0.1, -2, 0.2};
  EXPECT_NEAR(world.object(0)->micropol.rayCast(below, up), 3.0, 1e-6);
}
