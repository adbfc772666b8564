// Many random rays through a capture of a real scene, with every kind of light and both kinds
// of radiosity: no colour may come out NaN, infinite or negative.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "host/formats/lwo_reader.h"
#include "shading/radiosity_settings.h"
#include "runtime/vector_ops.h"
#include "support/shading_world.h"

namespace {

using namespace shadetest;

const std::filesystem::path kCorpus = std::filesystem::path(OMBREL_CORPUS_DIR) / "lightwave";

Model corpusObject(const char* relative) {
  auto model = std::make_shared<host::ObjectModel>();
  std::string error;
  if (!host::readObjectFile((kCorpus / relative).string(), *model, error)) return nullptr;
  return model;
}

TEST(Corpus, TracedColoursAreFiniteAndNonNegative) {
  const std::filesystem::path scene = kCorpus / "LWS" / "move_x.lws";
  if (!std::filesystem::exists(scene)) GTEST_SKIP() << "no corpus at " << kCorpus;
  ShadingWorld world;
  std::string error;
  ASSERT_TRUE(world.readScene(scene.string(), error)) << error;
  // Objects with textures, transparency and smoothing from the corpus around the scene's cube.
  const char* extra[] = {"LWO/LWO2/sphere_with_gradient.lwo", "LWO/LWO2/transparency.lwo",
                         "LWO/LWO2/hierarchy_smoothed.lwo", "LWO/LWO2/sphere_with_mat_gloss_10pc.lwo"};
  double x = -3.0;
  for (const char* file : extra) {
    if (Model m = corpusObject(file)) {
      for (host::Surface& s : m->surfaces) s.reflectivity.value = std::max(s.reflectivity.value, 0.2);
      world.addObject(m, file, {x, 0.0, 2.0});
    }
    x += 2.0;
  }
  const host::LightKind kinds[] = {host::LightKind::Point, host::LightKind::Spot, host::LightKind::Linear,
                                   host::LightKind::Area};
  for (int i = 0; i < 4; ++i) {
    const int l = world.addLight(kinds[i], "Light", {i - 1.5, 3.0, -2.0}, {0.0, 0.8, 0.0});
    world.scene().items[size_t(l)].light.falloff = host::LightFalloff(i);
  }
  world.scene().render.traceShadows = world.scene().render.traceReflection = true;
  world.scene().render.traceRefraction = true;
  world.scene().backdrop.gradient = true;
  world.scene().ambientIntensity = 0.1;
  world.scene().fog.type = 2;
  world.scene().fog.maxDistance = 30.0;
  world.start();

  Random random(11);
  int hits = 0;
  for (int type : {kNoRadiosity, kBackgroundRadiosity, kMonteCarloRadiosity}) {
    RadiosityScope scope(type, 1.0, 2.0);
    for (int i = 0; i < 1500; ++i) {
      double origin[3] = {random.range(-4, 4), random.range(-1, 4), random.range(-6, -3)};
      double target[3] = {random.range(-4, 4), random.range(-1, 1), random.range(0, 4)};
      double d[3];
      vec::sub(target, origin, d);
      vec::normalize(d);
      double color[3];
      const double t = world.trace(origin, d, color, 4, random.unit(), random.unit(), random.range(0.05, 1.0));
      if (t > 0.0) ++hits;
      for (int k = 0; k < 3; ++k) {
        ASSERT_TRUE(std::isfinite(color[k])) << "ray " << i << " type " << type;
        ASSERT_GE(color[k], 0.0) << "ray " << i << " type " << type;
      }
    }
  }
  EXPECT_GT(hits, 1000);
}

}  // namespace
