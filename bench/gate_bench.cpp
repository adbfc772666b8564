// The gate's hand-over latency: how long a client waits from asking to being in, while the
// worker runs units of 100 microseconds of busy work and polls between them.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "runtime/gate.h"

namespace {

using Clock = std::chrono::steady_clock;

void spinFor(std::chrono::microseconds span) {
  const auto end = Clock::now() + span;
  while (Clock::now() < end) {
  }
}

void BM_GateHandOver(benchmark::State& state) {
  EngineGate* gate = gateCreate();
  std::atomic<bool> stop{false};
  std::atomic<long> units{0};
  std::atomic<bool> inUnit{false};
  std::thread worker([&] {
    gateWorkerEnter(gate);
    while (!stop.load(std::memory_order_relaxed)) {
      inUnit.store(true, std::memory_order_relaxed);
      spinFor(std::chrono::microseconds(100));
      inUnit.store(false, std::memory_order_relaxed);
      units.fetch_add(1, std::memory_order_relaxed);
      if (gateWorkerPoll(gate)) gateSetInterrupt(gate, 0);
    }
    gateWorkerLeave(gate);
  });
  while (units.load() < 10) std::this_thread::yield();

  // On a busy machine the worker is sometimes off its core when the client asks (a yield at
  // the poll can cost it a time slice), and the client then walks straight in. The waits
  // that started while the worker was inside a unit are the hand-over proper.
  std::vector<double> waits, busyWaits;
  waits.reserve(static_cast<size_t>(state.max_iterations));
  for (auto _ : state) {
    gateSetInterrupt(gate, 1);
    const bool busy = inUnit.load(std::memory_order_relaxed);
    const auto asked = Clock::now();
    gateClientEnter(gate);
    const auto in = Clock::now();
    gateClientLeave(gate);
    const double seconds = std::chrono::duration<double>(in - asked).count();
    state.SetIterationTime(seconds);
    waits.push_back(seconds * 1e6);
    if (busy) busyWaits.push_back(seconds * 1e6);
    // Let the worker settle into a unit again, at a point that does not line up with it.
    spinFor(std::chrono::microseconds(150 + (waits.size() * 37) % 200));
  }
  stop = true;
  worker.join();
  gateDestroy(gate);

  std::sort(waits.begin(), waits.end());
  std::sort(busyWaits.begin(), busyWaits.end());
  state.counters["median_us"] = waits[waits.size() / 2];
  state.counters["p99_us"] = waits[waits.size() * 99 / 100];
  state.counters["max_us"] = waits.back();
  state.counters["busy_share"] = static_cast<double>(busyWaits.size()) / waits.size();
  if (!busyWaits.empty()) {
    state.counters["busy_median_us"] = busyWaits[busyWaits.size() / 2];
    state.counters["busy_max_us"] = busyWaits.back();
  }
}
BENCHMARK(BM_GateHandOver)->UseManualTime()->Iterations(3000)->Unit(benchmark::kMicrosecond);

// The worker's poll when nobody is waiting: the price of one unit of work's check.
void BM_GatePollIdle(benchmark::State& state) {
  EngineGate* gate = gateCreate();
  gateWorkerEnter(gate);
  for (auto _ : state) benchmark::DoNotOptimize(gateWorkerPoll(gate));
  gateWorkerLeave(gate);
  gateDestroy(gate);
}
BENCHMARK(BM_GatePollIdle);

}  // namespace

BENCHMARK_MAIN();
