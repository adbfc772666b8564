// The level walk of one layer, driven the way the engine's thread drives it.
#include "viewer/image_layer.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

constexpr int32_t kGrid = 128;
constexpr int32_t kBlock = 16;

// After every level of the view phase, the shown strides promise the display that the visible
// cells on their lattice are done; detail 2 stops on the promise of (2, 2). No cell may come
// twice, and the walk may stray from the view by little more than a block.
TEST(ImageLayerWalk, ShownStridesKeepTheirPromiseLevelByLevel) {
  const CellRange v{45, 40, 101, 77};
  ImageLayer layer{};
  layer.cursorX = 70;  // a restart resumes at the cursor's block
  layer.cursorY = 45;
  layerReset(&layer, v, kBlock);
  EXPECT_EQ(64, layer.startX);
  EXPECT_EQ(32, layer.startY);
  std::vector<int> visits(kGrid * kGrid, 0);
  int levels = 0;
  while (layer.inView) {
    for (;;) {
      const int32_t x = layer.cursorX, y = layer.cursorY;
      ASSERT_TRUE(x >= v.left - 2 * kBlock && x < v.right && y >= v.bottom - 2 * kBlock && y < v.top) << x << "," << y;
      ASSERT_EQ(0, visits[y * kGrid + x]++) << "cell " << x << "," << y << " came twice";
      if (layerStep(&layer)) break;
    }
    layerNextLevel(&layer, v, kGrid, kBlock);
    ++levels;
    const int32_t sx = layer.shownStrideX, sy = layer.shownStrideY;
    for (int32_t y = v.bottom; y < v.top; ++y) {
      for (int32_t x = v.left; x < v.right; ++x) {
        const bool promised = x % sx == 0 && y % sy == 0;
        const bool odd = x % 2 || y % 2;
        if (promised) {
          ASSERT_EQ(1, visits[y * kGrid + x]) << "level " << levels << " cell " << x << "," << y;
        }
        if (sx == 2 && sy == 2 && odd) {
          ASSERT_EQ(0, visits[y * kGrid + x]) << x << "," << y;
        }
      }
    }
  }
  EXPECT_EQ(2 * 4 + 1, levels);  // the first, then two per halving from 16 down to 1
  EXPECT_EQ(kBlock, layer.strideX);
  EXPECT_EQ(0, layer.priority);  // now the whole grid, below any view
}

}  // namespace
