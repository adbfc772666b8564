// Cells per second of the tile engine over its full 512 x 512 grid, with an evaluator that
// costs next to nothing, so that what is measured is the engine: walk, stamps, gate polls.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstring>

#include "platform/event.h"
#include "platform/thread.h"
#include "viewer/tile_engine.h"

namespace {

void sumEvaluator(double x, double y, const void* const* inputs, void*, void* cell) {
  float v = static_cast<float>(x + y);
  for (int i = 0; i < kLayerMaxInputs; ++i) {
    if (!inputs[i]) continue;
    float in;
    std::memcpy(&in, inputs[i], sizeof in);
    v += in;
  }
  std::memcpy(cell, &v, sizeof v);
}

struct Run {
  TileEngine* engine = engineCreate();
  ManualResetEvent idle;

  static void idleCallback(void* argument) {
    auto* run = static_cast<Run*>(argument);
    run->idle.set();
    while (!engineShouldStop(run->engine)) threadYield();
  }

  void addLayer(int32_t id) {
    engineAddLayer(engine, id, sizeof(float) + 1);
    engineSetEvaluator(engine, id, sumEvaluator);
  }

  // Starts the thread and lets it finish the first pass; each iteration then redoes all.
  void measure(benchmark::State& state, int32_t layers) {
    engineSetIdle(engine, idleCallback, this);
    engineStart(engine);
    idle.wait();
    for (auto _ : state) {
      idle.reset();
      engineInvalidate(engine, 1);
      idle.wait();
    }
    const double cells = static_cast<double>(engine->gridSize) * engine->gridSize * layers;
    state.counters["cells/s"] =
        benchmark::Counter(cells * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
    engineDestroy(engine);
  }
};

void BM_OneLayer(benchmark::State& state) {
  Run run;
  run.addLayer(1);
  run.measure(state, 1);
}
BENCHMARK(BM_OneLayer)->UseRealTime()->Unit(benchmark::kMillisecond);

// A diamond: one input read by two layers, both read by a fourth.
void BM_LayerGraph(benchmark::State& state) {
  Run run;
  for (int32_t id = 1; id <= 4; ++id) run.addLayer(id);
  engineConnect(run.engine, 1, 2, 0);
  engineConnect(run.engine, 1, 3, 0);
  engineConnect(run.engine, 2, 4, 0);
  engineConnect(run.engine, 3, 4, 1);
  run.measure(state, 4);
}
BENCHMARK(BM_LayerGraph)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
