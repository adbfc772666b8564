// The level walk of one layer, driven the way the engine's thread drives it.
#include "viewer/image_layer.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

constexpr int32_t kGrid = 128;
constexpr int32_t kBlock = 16;

struct Walk {
  ImageLayer layer{};
  CellRange visible;
  std::vector<int> visits = std::vector<int>(kGrid * kGrid, 0);

  explicit Walk(CellRange v) : visible(v) { layerReset(&layer, visible, kBlock); }

  // One cell as the engine takes it: keep the cursor, step, set up the next level if done.
  // Returns true when the level ended with that cell.
  bool cell(int32_t* x, int32_t* y) {
    *x = layer.cursorX;
    *y = layer.cursorY;
    const bool done = layerStep(&layer);
    if (done) layerNextLevel(&layer, visible, kGrid, kBlock);
    EXPECT_TRUE(*x >= 0 && *x < kGrid && *y >= 0 && *y < kGrid) << *x << "," << *y;
    ++visits[*y * kGrid + *x];
    return done;
  }
};

TEST(ImageLayerWalk, ViewLevelsGrowDenseAndNeverRepeatACell) {
  Walk w({45, 40, 101, 77});
  // The first level is the block lattice from the view's corner, rounded down to blocks.
  std::vector<std::pair<int32_t, int32_t>> first;
  int32_t x, y;
  while (!w.cell(&x, &y)) first.emplace_back(x, y);
  first.emplace_back(x, y);
  const int32_t across = (101 - 32 + kBlock - 1) / kBlock, up = (77 - 32 + kBlock - 1) / kBlock;
  EXPECT_EQ(static_cast<int32_t>(first.size()), across * up);
  for (auto [fx, fy] : first) {
    EXPECT_EQ(0, fx % kBlock);
    EXPECT_EQ(0, fy % kBlock);
    EXPECT_TRUE(fx >= 32 && fx < 101 && fy >= 32 && fy < 77) << fx << "," << fy;
  }

  // After every level the shown strides promise that the visible cells on their lattice are
  // done; detail 2 relies on the promise at (2, 2), the display on all of them.
  int levels = 1;
  while (w.layer.inView) {
    const int32_t sx = w.layer.shownStrideX, sy = w.layer.shownStrideY;
    for (int32_t cy = w.visible.bottom; cy < w.visible.top; ++cy) {
      for (int32_t cx = w.visible.left; cx < w.visible.right; ++cx) {
        if (cx % sx == 0 && cy % sy == 0) {
          ASSERT_EQ(1, w.visits[cy * kGrid + cx]) << "level " << levels << " cell " << cx << "," << cy;
        }
      }
    }
    if (sx == 2 && sy == 2) {
      // Where detail 2 stops: every even visible cell done, no odd one touched.
      for (int32_t i = 0; i < kGrid * kGrid; ++i) {
        if ((i % kGrid) % 2 || (i / kGrid) % 2) {
          ASSERT_EQ(0, w.visits[i]) << i % kGrid << "," << i / kGrid;
        }
      }
    }
    while (!w.cell(&x, &y)) {}
    ++levels;
    for (int v : w.visits) ASSERT_LE(v, 1) << "a cell came twice within the view phase";
  }
  EXPECT_EQ(2 * 4 + 1, levels);  // 16 down to 1, two levels per halving, and the first
  EXPECT_EQ(1, w.layer.shownStrideX);
  EXPECT_EQ(1, w.layer.shownStrideY);
  for (int32_t cy = w.visible.bottom; cy < w.visible.top; ++cy) {
    for (int32_t cx = w.visible.left; cx < w.visible.right; ++cx) {
      ASSERT_EQ(1, w.visits[cy * kGrid + cx]);
    }
  }
  // Nothing far outside the view before the view is done.
  for (int32_t i = 0; i < kGrid * kGrid; ++i) {
    const int32_t cx = i % kGrid, cy = i / kGrid;
    if (cx < 45 - 2 * kBlock || cx >= 101 || cy < 40 - 2 * kBlock || cy >= 77) {
      ASSERT_EQ(0, w.visits[i]) << cx << "," << cy;
    }
  }
}

TEST(ImageLayerWalk, AfterTheViewTheWholeGridOnceThenFinished) {
  Walk w({40, 40, 72, 56});
  int32_t x, y;
  while (w.layer.inView) w.cell(&x, &y);
  EXPECT_EQ(0, w.layer.priority);
  EXPECT_EQ(kBlock, w.layer.strideX);
  std::fill(w.visits.begin(), w.visits.end(), 0);
  int64_t cells = 0;
  while (w.layer.priority != kLayerPriorityFinished) {
    w.cell(&x, &y);
    ASSERT_LT(++cells, 2 * kGrid * kGrid) << "the walk does not end";
    // Outside the view every level ranks below every level inside one.
    if (w.layer.priority != kLayerPriorityFinished && w.layer.priority != 0) {
      ASSERT_LT(w.layer.priority, 0);
    }
  }
  for (int v : w.visits) ASSERT_EQ(1, v);
}

TEST(ImageLayerWalk, ResetResumesNearTheCursor) {
  ImageLayer layer{};
  layer.cursorX = 70;
  layer.cursorY = 45;
  layerReset(&layer, {21, 9, 101, 77}, kBlock);
  EXPECT_EQ(64, layer.cursorX);
  EXPECT_EQ(32, layer.cursorY);
  EXPECT_EQ(2 * kBlock + 1, layer.priority);
  // A cursor past the range comes back to its last block; one before it, to the start.
  layer.cursorX = 200;
  layer.cursorY = 3;
  layerReset(&layer, {21, 9, 101, 77}, kBlock);
  EXPECT_EQ(96, layer.cursorX);
  EXPECT_EQ(0, layer.cursorY);
  EXPECT_EQ(layer.startX, layer.cursorX);
  EXPECT_EQ(layer.startY, layer.cursorY);
}

TEST(ImageLayerWalk, GenerationWrapsFrom255ToZero) {
  EXPECT_EQ(2, layerNextGeneration(1));
  EXPECT_EQ(255, layerNextGeneration(254));
  EXPECT_EQ(0, layerNextGeneration(255));
  EXPECT_EQ(1, layerNextGeneration(0));
}

}  // namespace
