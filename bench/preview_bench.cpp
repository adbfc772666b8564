// How a preview of the demo scene comes up and refines in a 320 x 240 view with one engine
// thread and no window: from an empty engine to the first complete coarse picture (every
// layer's first level done), to the first refined picture, the refinement's samples per
// second, and the RMS distance (0..255) from a long final render after 1, 5 and 20 seconds.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "shading/radiosity_settings.h"
#include "support/preview_reference.h"
#include "support/shading_world.h"
#include "viewer/tile_engine.h"
#include "viewer/view_control.h"
#include "viewer/viewer_panel.h"

namespace {

constexpr int kReferenceLevel = 48;
using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

bool coarseDone(TileEngine* engine) {
  for (int32_t i = 0; i < engine->layerCount; ++i) {
    int32_t sx = 0, sy = 0;
    engineGetStrides(engine, engine->layers[i]->id, &sx, &sy);
    if (sx >= kLayerShownNone || sy >= kLayerShownNone) return false;
  }
  return engine->layerCount > 0;
}

// Samples of the pixels inside the frame: those outside (the 4:3 view shows a 16:9 frame with
// bands above and below) count their samples without tracing anything.
uint64_t samplesTaken(ViewerPanel* viewer) {
  engineLock(viewer->engine);
  uint64_t total = 0;
  const RefineState& s = viewer->refine;
  const double aspect = viewer->camera.imageAspect;
  if (s.pixels && viewer->refine.refineActive.load())
    for (int32_t y = 0; y < s.height; ++y) {
      const double ny = ((s.viewTop - s.viewBottom) * (y + 0.5) / s.height + s.viewBottom) * aspect;
      if (ny < -1.0 || ny > 1.0) continue;
      for (int32_t x = 0; x < s.width; ++x) total += s.pixels[size_t(y) * s.width + x].sampleCount;
    }
  engineUnlock(viewer->engine);
  return total;
}

double distanceFrom(ViewerPanel* viewer, const previewtest::Image& reference) {
  engineLock(viewer->engine);
  const RefineState& s = viewer->refine;
  const auto pixel = [&](int x, int y, double rgb[3]) {
    for (int c = 0; c < 3; ++c) rgb[c] = s.display[(size_t(y) * s.width + x) * 3 + c];
  };
  const previewtest::Difference d = previewtest::compare(pixel, s.width, s.height, s.viewLeft, s.viewBottom,
                                                         s.viewRight, s.viewTop, viewer->camera.imageAspect, reference);
  engineUnlock(viewer->engine);
  return d.rms;
}

void previewOfDemo(benchmark::State& state) {
  unsetenv("DISPLAY");
  std::string error;
  const std::string path = previewtest::demoReference(kReferenceLevel, error);
  previewtest::Image reference;
  if (path.empty() || !previewtest::readImage(path, &reference, error)) {
    state.SkipWithError(error.c_str());
    return;
  }
  shadetest::loadRuntimeOnce();
  shadetest::RadiosityScope radiosity(kMonteCarloRadiosity, 1.0, 1.0);  // as the demo saves it
  for (auto _ : state) {
    shadetest::ShadingWorld world;
    if (!world.readScene(previewtest::demoScenePath(), error, true)) {
      state.SkipWithError(error.c_str());
      return;
    }
    world.start();
    const Clock::time_point start = Clock::now();
    ViewerPanel* viewer = viewerOpenOnCapture(world.capture(), nullptr, 320, 240);
    while (!coarseDone(viewer->engine)) std::this_thread::sleep_for(std::chrono::microseconds(200));
    state.counters["coarse_s"] = secondsSince(start);
    while (!viewer->refine.refineActive.load()) std::this_thread::sleep_for(std::chrono::microseconds(200));
    const Clock::time_point refined = Clock::now();
    state.counters["refined_s"] = secondsSince(start);
    for (double at : {1.0, 5.0, 20.0}) {
      while (secondsSince(refined) < at) std::this_thread::sleep_for(std::chrono::milliseconds(5));
      const uint64_t samples = samplesTaken(viewer);
      const double rms = distanceFrom(viewer, reference);
      const std::string suffix = std::to_string(int(at)) + "s";
      state.counters["rms_" + suffix] = rms;
      state.counters["samples_" + suffix] = double(samples);
      if (at == 20.0) state.counters["samples_per_s"] = samples / secondsSince(refined);
    }
    viewerCloseOnCapture(viewer);
  }
}

}  // namespace

BENCHMARK(previewOfDemo)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

BENCHMARK_MAIN();
