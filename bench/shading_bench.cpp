// Camera samples per second through TraceSample, on one thread, in a small room built with
// the object builder: walls, a matte ball, a mirror ball and a box, lit by an area light in
// the ceiling, with Monte Carlo radiosity of one bounce (and, for comparison, without).
#include <benchmark/benchmark.h>

#include <numbers>

#include "host/formats/lwo_builder.h"
#include "shading/captured_camera.h"
#include "shading/radiosity_settings.h"
#include "shading/sample_tables.h"
#include "shading/shading_core.h"
#include "support/shading_world.h"

namespace {

using namespace shadetest;

struct Room {
  ShadingWorld world;
  CapturedCamera camera{};

  Room() {
    host::ObjectBuilder walls("room.lwo");
    walls.addBox({0.0f, 2.0f, 0.0f}, {8.0f, 4.0f, 8.0f}, "Walls");
    walls.surface("Walls").sidedness = host::SideDouble;
    walls.surface("Walls").color.value = {0.8, 0.75, 0.7};
    world.addObject(std::make_shared<host::ObjectModel>(walls.finish()), "Room");

    Model matte = sphereModel(0.8f, "Matte");
    surfaceOf(matte).color.value = {0.7, 0.2, 0.2};
    world.addObject(matte, "Matte", {-1.5, 0.8, 1.0});
    Model mirror = sphereModel(0.6f, "Chrome");
    surfaceOf(mirror).reflectivity.value = 0.8;
    surfaceOf(mirror).diffuse.value = 0.2;
    surfaceOf(mirror).specularity.value = 0.6;
    world.addObject(mirror, "Chrome", {1.2, 0.6, 2.0});
    Model box = boxModel({0.0f, 0.0f, 0.0f}, {1.2f, 1.2f, 1.2f}, "Crate");
    surfaceOf(box).color.value = {0.3, 0.5, 0.8};
    world.addObject(box, "Crate", {1.5, 0.6, -0.5}, {0.5, 0.0, 0.0});

    const int light =
        world.addLight(host::LightKind::Area, "Panel", {0.0, 3.95, 0.0}, {0.0, std::numbers::pi / 2, 0.0},
                       {1.5, 1.5, 1.5});
    world.scene().items[size_t(light)].light.intensity = 1.5;
    const int cam = world.addCamera("Camera", {0.0, 2.0, -3.8});
    host::CameraSettings& c = world.scene().items[size_t(cam)].camera;
    c.width = 320, c.height = 240, c.regionX1 = 319, c.regionY1 = 239;
    c.zoomFactor = 1.2;
    world.scene().render.traceShadows = world.scene().render.traceReflection = true;
    world.scene().ambientIntensity = 0.05;
    world.start();
    CapturedCamera_Init(&camera);
    CaptureCamera(world.itemId(cam), 0.0, &camera);
  }
};

// As the refinement takes a sample: a pixel, a table row for the sub-pixel place and for the
// sample pair, the scene's recursion depth less one.
void traceSamples(benchmark::State& state, int radiosityType) {
  Room room;
  RadiosityScope scope(radiosityType, 1.0, 1.0);
  Random random(5);
  const int depth = room.world.capture()->recursionDepth - 1;
  uint64_t n = 0, hits = 0;
  for (auto _ : state) {
    const int x = int(random.unit() * room.camera.width), y = int(random.unit() * room.camera.height);
    const int row = int(n % kSampleTableRows);
    const SamplePair& offset = pixelOffsets[row];
    const SamplePair& pair = ((x + y) & 1) ? bounceSamplesOdd[row] : bounceSamplesEven[row];
    double origin[3], direction[3], color[3];
    cameraPixelToRay(&room.camera, x + offset.first + 0.5, y + offset.second + 0.5, origin, direction, nullptr,
                     nullptr);
    const double t = TraceSample(room.world.capture(), room.world.lights(), 0.0, room.world.ambient,
                                 room.world.environment(), origin, direction, 1.0, nullptr, -1, 0, depth, pair.first,
                                 pair.second, 1.0, color, nullptr);
    if (t > 0.0) ++hits;
    benchmark::DoNotOptimize(color);
    ++n;
  }
  state.counters["samples/s"] = benchmark::Counter(double(n), benchmark::Counter::kIsRate);
  state.counters["hit share"] = double(hits) / double(n ? n : 1);
}

void BM_TraceSample_AreaLight_MonteCarlo(benchmark::State& state) { traceSamples(state, kMonteCarloRadiosity); }
BENCHMARK(BM_TraceSample_AreaLight_MonteCarlo)->Unit(benchmark::kMicrosecond)->MinTime(3.0);

void BM_TraceSample_AreaLight_NoRadiosity(benchmark::State& state) { traceSamples(state, kNoRadiosity); }
BENCHMARK(BM_TraceSample_AreaLight_NoRadiosity)->Unit(benchmark::kMicrosecond)->MinTime(2.0);

}  // namespace

BENCHMARK_MAIN();
