// The engine with its thread: order of work, hand-over to the idle callback, invalidation
// through the graph, view moves that keep cells, and a layer that has no memory.
#include "viewer/tile_engine.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstring>
#include <set>
#include <vector>

#include "platform/event.h"
#include "platform/thread.h"

namespace {

struct CellData {
  double x, y;
  int32_t tag;  // a layer's own, or copied from its input
};
constexpr uint32_t kCellBytes = sizeof(CellData) + 1;  // and the stamp
constexpr uint32_t kWaitMs = 120000;

CellData cellAt(const void* cell) {
  CellData c;
  std::memcpy(&c, cell, sizeof c);
  return c;
}

struct Harness;

struct Probe {
  Harness* h = nullptr;
  int32_t id = 0, tag = 1;
  int32_t inputErrors = 0;  // inputs at another position than the cell
  std::vector<int> counts;  // evaluations per cell
};

struct Entry {
  int32_t id, x, y;
};

struct Harness {
  TileEngine* e;
  int32_t n;
  Probe probes[8];
  std::vector<Entry> log;
  std::atomic<int> idleEntries{0};
  std::atomic<int64_t> idleTurns{0};
  ManualResetEvent idle;

  Harness(int32_t gridSize, int32_t blockSize) : e(engineCreateSized(gridSize, blockSize)), n(gridSize) {
    log.reserve(16 * static_cast<size_t>(n) * n);
    engineSetIdle(e, idleCallback, this);
  }
  ~Harness() { engineDestroy(e); }

  void add(int32_t id, uint32_t cellBytes = kCellBytes) {
    probes[id] = Probe{this, id, 1, 0, std::vector<int>(static_cast<size_t>(n) * n)};
    engineAddLayer(e, id, cellBytes);
    engineSetEvaluator(e, id, evaluate);
    engineSetUserData(e, id, &probes[id]);
  }

  // Runs the action and waits until the thread has nothing left for the layers.
  template <typename Action>
  bool settle(Action action) {
    idle.reset();
    action();
    return idle.waitFor(kWaitMs);
  }
  bool start() { return settle([&] { engineStart(e); }); }

  template <typename Look>
  void inspect(Look look) {
    engineLock(e);
    look();
    engineUnlock(e);
  }
  size_t logSize() {
    size_t s;
    inspect([&] { s = log.size(); });
    return s;
  }
  size_t evaluationsOf(int32_t id, size_t from) {
    size_t c = 0;
    inspect([&] { for (size_t i = from; i < log.size(); ++i) c += log[i].id == id; });
    return c;
  }
  EngineRect grid() {
    EngineRect g;
    engineGetLayerImage(e, 1, nullptr, nullptr, &g, nullptr);
    return g;
  }
  // How far, in cells, a stored position lies from where its cell now stands.
  double worstPlacement(int32_t id) {
    double worst = 0;
    inspect([&] {
      EngineRect g;
      uint8_t generation;
      const uint8_t* buffer = engineGetLayerImage(e, id, nullptr, nullptr, &g, &generation);
      const double cw = (g.right - g.left) / (n - 1), ch = (g.top - g.bottom) / (n - 1);
      for (int32_t i = 0; i < n * n; ++i) {
        const uint8_t* cell = buffer + static_cast<size_t>(i) * kCellBytes;
        const CellData c = cellAt(cell);
        if (cell[kCellBytes - 1] != generation) worst = INFINITY;
        worst = std::max({worst, std::fabs(c.x - (g.left + i % n * cw)) / cw, std::fabs(c.y - (g.bottom + i / n * ch)) / ch});
      }
    });
    return worst;
  }

  static void evaluate(double px, double py, const void* const* inputs, void* user, void* cell) {
    auto* p = static_cast<Probe*>(user);
    Harness* h = p->h;
    const EngineRect& g = h->e->gridRect;  // the thread's own field: it runs the evaluators
    const auto x = static_cast<int32_t>(std::lround((px - g.left) * (h->n - 1) / (g.right - g.left)));
    const auto y = static_cast<int32_t>(std::lround((py - g.bottom) * (h->n - 1) / (g.top - g.bottom)));
    h->log.push_back({p->id, x, y});
    ++p->counts[static_cast<size_t>(y) * h->n + x];
    CellData out{px, py, p->tag};
    for (int32_t s = 0; s < kLayerMaxInputs; ++s) {
      if (!inputs[s]) continue;
      const CellData in = cellAt(inputs[s]);
      out.tag = in.tag;
      if (in.x != px || in.y != py) ++p->inputErrors;
    }
    std::memcpy(cell, &out, sizeof out);
  }

  static void idleCallback(void* argument) {
    auto* h = static_cast<Harness*>(argument);
    ++h->idleEntries;
    h->idle.set();
    while (!engineShouldStop(h->e)) {
      ++h->idleTurns;
      threadSleep(1);
    }
  }
};

bool allCountsAre(const Probe& p, int value) {
  for (int c : p.counts) if (c != value) return false;
  return true;
}

TEST(TileEngine, CoversTheViewCoarseFirstThenEveryCellOnce) {
  Harness h(kEngineGridSize, kEngineBlockSize);
  h.add(1);
  engineSetView(h.e, 0.1, 0.2, 0.7, 0.6);
  ASSERT_TRUE(h.start());
  h.inspect([&] {
    const TileEngine* e = h.e;
    const int32_t b = e->blockSize, l = e->visibleLeft, r = e->visibleRight;
    const int32_t bottom = e->visibleBottom, top = e->visibleTop;
    std::set<std::pair<int32_t, int32_t>> lattice;
    for (int32_t y = bottom / b * b; y < top; y += b)
      for (int32_t x = l / b * b; x < r; x += b) lattice.insert({x, y});
    // The first (visible cells / 1024) or so calls give a coarse picture of the whole view.
    ASSERT_GE(h.log.size(), lattice.size());
    std::set<std::pair<int32_t, int32_t>> first;
    for (size_t i = 0; i < lattice.size(); ++i) first.insert({h.log[i].x, h.log[i].y});
    EXPECT_EQ(lattice, first);
    // The whole view, before anything well outside it.
    size_t lastInside = 0, firstOutside = h.log.size();
    for (size_t i = 0; i < h.log.size(); ++i) {
      const Entry& c = h.log[i];
      if (c.x >= l && c.x < r && c.y >= bottom && c.y < top) lastInside = i;
      if ((c.x < l - 2 * b || c.x >= r || c.y < bottom - 2 * b || c.y >= top) && firstOutside == h.log.size()) firstOutside = i;
    }
    EXPECT_LT(lastInside, firstOutside);
    EXPECT_TRUE(allCountsAre(h.probes[1], 1));
  });
  int32_t sx, sy;
  ASSERT_TRUE(engineGetStrides(h.e, 1, &sx, &sy));
  EXPECT_EQ(1, sx);
  EXPECT_EQ(1, sy);
}

TEST(TileEngine, DetailTwoStopsAtStrideTwoAndDetailOneGoesOn) {
  Harness h(128, 16);
  h.add(1);
  engineSetDetail(h.e, 2);
  ASSERT_TRUE(h.start());
  int32_t sx, sy;
  engineGetStrides(h.e, 1, &sx, &sy);
  EXPECT_EQ(2, sx);
  EXPECT_EQ(2, sy);
  h.inspect([&] {
    const TileEngine* e = h.e;
    for (int32_t i = 0; i < h.n * h.n; ++i) {
      const int32_t x = i % h.n, y = i / h.n;
      const bool visible = x >= e->visibleLeft && x < e->visibleRight && y >= e->visibleBottom && y < e->visibleTop;
      const int want = x % 2 || y % 2 ? 0 : (visible ? 1 : h.probes[1].counts[i]);
      ASSERT_EQ(want, h.probes[1].counts[i]) << x << "," << y;
    }
  });
  EXPECT_EQ(1, h.idleEntries.load());
  ASSERT_TRUE(h.settle([&] { engineSetDetail(h.e, 1); }));
  EXPECT_EQ(2, h.idleEntries.load());
  h.inspect([&] { EXPECT_TRUE(allCountsAre(h.probes[1], 1)); });
}

TEST(TileEngine, LockAloneCostsTheIdleNothingAndInvalidationReachesDependents) {
  Harness h(64, 8);
  h.add(1);
  h.add(2);
  h.add(3);
  ASSERT_TRUE(engineConnect(h.e, 1, 2, 0));
  EXPECT_FALSE(engineConnect(h.e, 2, 1, 0)) << "a loop was accepted";
  engineSetPriorityBias(h.e, 1, 100);  // the reader goes first and pulls its input along
  ASSERT_TRUE(h.start());
  h.inspect([&] {
    for (int id : {1, 2, 3}) EXPECT_TRUE(allCountsAre(h.probes[id], 1)) << id;
    for (size_t i = 0; i < h.log.size(); ++i) {
      if (h.log[i].id != 1) continue;
      ASSERT_LT(i + 1, h.log.size());
      const Entry& next = h.log[i + 1];
      ASSERT_TRUE(next.id == 2 && next.x == h.log[i].x && next.y == h.log[i].y) << "input computed by its own walk";
    }
    h.probes[1].tag = 7;
  });

  // A client that only holds the gate leaves the idle callback where it was.
  const int64_t turns = h.idleTurns.load();
  for (uint32_t t = tickCount(); h.idleTurns.load() < turns + 3 && tickCount() - t < kWaitMs;) threadSleep(1);
  EXPECT_EQ(1, h.idleEntries.load()) << "the idle callback was sent back for nothing";
  auto generation = [&](int32_t id) {
    uint8_t g = 0;
    engineGetLayerImage(h.e, id, nullptr, nullptr, nullptr, &g);
    return g;
  };
  const size_t n2 = static_cast<size_t>(h.n * h.n);
  size_t before = h.logSize();
  ASSERT_TRUE(h.settle([&] { engineInvalidate(h.e, 1); }));
  EXPECT_EQ(n2, h.evaluationsOf(1, before));
  EXPECT_EQ(n2, h.evaluationsOf(2, before));
  EXPECT_EQ(0u, h.evaluationsOf(3, before));
  EXPECT_EQ(2, h.idleEntries.load());
  EXPECT_EQ(2, generation(1));
  EXPECT_EQ(2, generation(2));
  EXPECT_EQ(1, generation(3));

  // The reader alone: its input's cells are still good and are not computed again.
  before = h.logSize();
  ASSERT_TRUE(h.settle([&] { engineInvalidate(h.e, 2); }));
  EXPECT_EQ(0u, h.evaluationsOf(1, before));
  EXPECT_EQ(n2, h.evaluationsOf(2, before));
  h.inspect([&] {
    EXPECT_EQ(0, h.probes[2].inputErrors);
    const uint8_t* cells = engineGetLayerImage(h.e, 2, nullptr, nullptr, nullptr, nullptr);
    for (size_t i = 0; i < n2; ++i) {
      ASSERT_EQ(7, cellAt(cells + i * kCellBytes).tag) << "the reader kept a value of its input's old generation";
    }
  });
  engineInvalidate(h.e, 99);
  EXPECT_EQ(3, generation(2));
}

TEST(TileEngine, GenerationWrapsAndStaleCellsAreComputedAgain) {
  Harness h(32, 8);
  h.add(1);
  ASSERT_TRUE(h.start());
  uint8_t g = 0;
  // Under one hold, so that the thread cannot reach its idle callback half way.
  ASSERT_TRUE(h.settle([&] {
    engineLock(h.e);
    for (int i = 0; i < 255; ++i) engineInvalidate(h.e, 1);
    engineUnlock(h.e);
  }));
  engineGetLayerImage(h.e, 1, nullptr, nullptr, nullptr, &g);
  EXPECT_EQ(0, g);
  EXPECT_LT(h.worstPlacement(1), 1e-6) << "stale cells were not computed again at generation 0";
}

TEST(TileEngine, LayerWithoutBufferHasNoImageAndIsSkipped) {
  Harness h(64, 8);
  h.add(1);
  h.add(2, 1u << 20);  // 4 GiB of cells: more than the allocator hands out
  h.add(3);
  ASSERT_TRUE(engineConnect(h.e, 2, 3, 0));
  ASSERT_TRUE(h.start());
  EXPECT_EQ(nullptr, engineGetLayerImage(h.e, 2, nullptr, nullptr, nullptr, nullptr));
  h.inspect([&] {
    EXPECT_TRUE(allCountsAre(h.probes[1], 1));
    EXPECT_TRUE(allCountsAre(h.probes[3], 1));
    // Its reader still gets the values, computed into the layer's one spare cell.
    EXPECT_TRUE(allCountsAre(h.probes[2], 1));
    EXPECT_EQ(0, h.probes[3].inputErrors);
  });
}

TEST(TileEngine, RemovedInputLeavesItsReaderRunning) {
  Harness h(32, 8);
  h.add(1);
  h.add(2);
  ASSERT_TRUE(engineConnect(h.e, 1, 2, 0));
  ASSERT_TRUE(h.start());
  engineRemoveLayer(h.e, 1);
  const size_t before = h.logSize();
  ASSERT_TRUE(h.settle([&] { engineInvalidate(h.e, 2); }));
  EXPECT_EQ(static_cast<size_t>(h.n * h.n), h.evaluationsOf(2, before));
  EXPECT_EQ(nullptr, engineGetLayerImage(h.e, 1, nullptr, nullptr, nullptr, nullptr));
  EXPECT_FALSE(engineConnect(h.e, 1, 2, 0)) << "connected to a removed layer";
}

// The view starts at (0, 0)-(1, 1), so the grid covers -0.2 to 1.2 with 64 cells a side.
struct ViewMove : ::testing::Test {
  Harness h{64, 8};
  void SetUp() override {
    h.add(1);
    ASSERT_TRUE(h.start());
  }
  size_t move(double l, double b, double r, double t) {
    const size_t before = h.logSize();
    EXPECT_TRUE(h.settle([&] { engineSetView(h.e, l, b, r, t); }));
    return h.evaluationsOf(1, before);
  }
};

TEST_F(ViewMove, PanInsideTheMarginMovesNothingAndOffTheGridShifts) {
  const EngineRect g = h.grid();
  EXPECT_EQ(0u, move(0.04, 0.02, 1.04, 1.02));
  EXPECT_EQ(g.left, h.grid().left);
  EXPECT_EQ(g.bottom, h.grid().bottom);
  EXPECT_EQ(2, h.idleEntries.load());

  // Recentred: round(0.5 * 64 / 1.4) = 23 cells across and round(0.1 * 64 / 1.4) = 5 up.
  EXPECT_EQ(64u * 64u - 41u * 59u, move(0.5, 0.1, 1.5, 1.1));
  EXPECT_NEAR(g.left + 23 * 1.4 / 64, h.grid().left, 1e-12);
  EXPECT_NEAR(g.bottom + 5 * 1.4 / 64, h.grid().bottom, 1e-12);
  // A kept cell is off by the grid's move rounded to whole cells: well under half a cell.
  EXPECT_LT(h.worstPlacement(1), 0.5);
}

TEST_F(ViewMove, ZoomOutBeyondTheGridStartsOver) {
  EXPECT_EQ(64u * 64u, move(-1.0, -1.0, 2.0, 2.0));
  EXPECT_NEAR(-1.6, h.grid().left, 1e-12);
  EXPECT_LT(h.worstPlacement(1), 1e-6);
}

struct Zoom : ViewMove, ::testing::WithParamInterface<std::pair<double, int>> {};

// The grid is 1.4 wide; the view shrinks about the middle to 1.4 / ratio.
TEST_P(Zoom, MagnifiesByTwoPastTwoAndByFourPastFour) {
  const auto [ratio, factor] = GetParam();
  const double half = 0.7 / ratio;
  const size_t kept = factor == 1 ? 64 * 64 : (64 / factor) * (64 / factor);
  EXPECT_EQ(64u * 64u - kept, move(0.5 - half, 0.5 - half, 0.5 + half, 0.5 + half));
  const EngineRect g = h.grid();
  EXPECT_NEAR(1.4 / factor, g.right - g.left, 1e-12);
  EXPECT_NEAR(0.5, (g.left + g.right) / 2, 2 * 1.4 / factor / 63);  // centre snapped to cells
  EXPECT_LT(h.worstPlacement(1), 1e-6);
}

INSTANTIATE_TEST_SUITE_P(Ratios, Zoom,
                         ::testing::Values(std::pair{1.9, 1}, std::pair{2.1, 2}, std::pair{4.2, 4}));

}  // namespace
