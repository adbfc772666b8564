// The in-place block moves against plain out-of-place versions, byte for byte.
#include "viewer/block_ops.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

Bytes randomBuffer(int32_t width, size_t cellBytes, std::mt19937& rng) {
  Bytes b(static_cast<size_t>(width) * width * cellBytes);
  for (auto& v : b) v = static_cast<uint8_t>(rng());
  return b;
}

// The cell that (x, y) should hold, or null where the fill belongs.
template <typename Source>
Bytes reference(const Bytes& in, int32_t width, size_t cellBytes, const Bytes& fill,
                Source source) {
  Bytes out(in.size());
  for (int32_t y = 0; y < width; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      int32_t sx, sy;
      const uint8_t* from = fill.data();
      if (source(x, y, sx, sy)) from = in.data() + (static_cast<size_t>(sy) * width + sx) * cellBytes;
      std::memcpy(out.data() + (static_cast<size_t>(y) * width + x) * cellBytes, from, cellBytes);
    }
  }
  return out;
}

TEST(BlockOps, ShiftMatchesOutOfPlaceReference) {
  std::mt19937 rng(7);
  for (int32_t width : {1, 5, 16}) {
    for (size_t cellBytes : {size_t{1}, size_t{3}, size_t{17}}) {
      const Bytes fill(cellBytes, 0xEE);
      for (int32_t dy = -width - 1; dy <= width + 1; ++dy) {
        for (int32_t dx = -width - 1; dx <= width + 1; ++dx) {
          const Bytes in = randomBuffer(width, cellBytes, rng);
          const bool whole = (dx == 0 && dy == 0) || std::abs(dx) >= width || std::abs(dy) >= width;
          const Bytes want = reference(in, width, cellBytes, fill, [&](int32_t x, int32_t y, int32_t& sx, int32_t& sy) {
            sx = x - dx;
            sy = y - dy;
            return !whole && sx >= 0 && sx < width && sy >= 0 && sy < width;
          });
          Bytes got = in;
          blockShift(got.data(), width, cellBytes, dx, dy, fill.data());
          ASSERT_EQ(got, want) << "width " << width << " cell " << cellBytes << " shift " << dx << "," << dy;
        }
      }
    }
  }
}

TEST(BlockOps, MagnifyMatchesOutOfPlaceReference) {
  std::mt19937 rng(3);
  for (int32_t width : {1, 6, 16}) {
    for (size_t cellBytes : {size_t{1}, size_t{5}}) {
      const Bytes fill(cellBytes, 0xAB);
      for (int32_t factor : {2, 4}) {
        // Offsets that put the fixed point before, inside and past the buffer.
        for (int32_t oy = -2 * width - 1; oy <= 4 * width + 1; oy += 3) {
          for (int32_t ox = -2 * width; ox <= 4 * width + 2; ox += 1) {
            const Bytes in = randomBuffer(width, cellBytes, rng);
            const Bytes want = reference(in, width, cellBytes, fill, [&](int32_t x, int32_t y, int32_t& sx, int32_t& sy) {
              const int32_t tx = x + ox, ty = y + oy;
              if (tx < 0 || ty < 0 || tx % factor || ty % factor) return false;
              sx = tx / factor;
              sy = ty / factor;
              return sx < width && sy < width;
            });
            Bytes got = in;
            blockMagnify(got.data(), width, cellBytes, factor, ox, oy, fill.data());
            ASSERT_EQ(got, want) << "width " << width << " cell " << cellBytes << " factor " << factor
                                 << " offset " << ox << "," << oy;
          }
        }
      }
    }
  }
}

}  // namespace
