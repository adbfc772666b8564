#include "viewer/block_ops.h"

#include <cstring>

namespace {

void fillCells(uint8_t* first, size_t count, size_t cellBytes, const uint8_t* fill) {
  if (!fill) return;
  for (size_t i = 0; i < count; ++i) std::memcpy(first + i * cellBytes, fill, cellBytes);
}

int32_t floorDiv(int32_t a, int32_t b) {
  int32_t q = a / b;
  if ((a % b != 0) && ((a < 0) != (b < 0))) --q;
  return q;
}

// One axis of a quadrant walk: from the outer edge toward the point that maps to itself.
struct AxisWalk {
  int32_t first, last, step;
  bool empty() const { return step > 0 ? first > last : first < last; }
};

// The source coordinate along one axis, or -1 when the cell has none.
int32_t sourceOf(int32_t x, int32_t offset, int32_t factor, int32_t width) {
  const int32_t t = x + offset;
  if (t < 0 || t % factor != 0) return -1;
  const int32_t s = t / factor;
  return s < width ? s : -1;
}

}  // namespace

void blockShift(uint8_t* buffer, int32_t width, size_t cellBytes, int32_t dx, int32_t dy,
                const uint8_t* fill) {
  const size_t cells = static_cast<size_t>(width) * static_cast<size_t>(width);
  const int32_t adx = dx < 0 ? -dx : dx;
  const int32_t ady = dy < 0 ? -dy : dy;
  if ((dx == 0 && dy == 0) || adx >= width || ady >= width) {
    fillCells(buffer, cells, cellBytes, fill);
    return;
  }
  // One move of the whole buffer; a row's end wraps into the next row, and those cells all
  // lie in the column strip that the fill overwrites below.
  const ptrdiff_t move = static_cast<ptrdiff_t>(dx) + static_cast<ptrdiff_t>(dy) * width;
  const size_t moveCells = static_cast<size_t>(move < 0 ? -move : move);
  const size_t keep = cells - moveCells;
  if (move > 0) {
    std::memmove(buffer + moveCells * cellBytes, buffer, keep * cellBytes);
  } else if (move < 0) {
    std::memmove(buffer, buffer + moveCells * cellBytes, keep * cellBytes);
  }
  if (!fill) return;
  // Rows that came in whole.
  if (dy > 0) fillCells(buffer, static_cast<size_t>(dy) * width, cellBytes, fill);
  if (dy < 0) {
    fillCells(buffer + static_cast<size_t>(width + dy) * width * cellBytes,
              static_cast<size_t>(-dy) * width, cellBytes, fill);
  }
  // Columns that came in, on the rows kept.
  if (dx != 0) {
    const int32_t rowFirst = dy > 0 ? dy : 0;
    const int32_t rowEnd = dy < 0 ? width + dy : width;
    const int32_t colFirst = dx > 0 ? 0 : width + dx;
    for (int32_t y = rowFirst; y < rowEnd; ++y) {
      fillCells(buffer + (static_cast<size_t>(y) * width + colFirst) * cellBytes,
                static_cast<size_t>(adx), cellBytes, fill);
    }
  }
}

void blockMagnify(uint8_t* buffer, int32_t width, size_t cellBytes, int32_t factor,
                  int32_t ox, int32_t oy, const uint8_t* fill) {
  if (factor < 2) return;
  // The point that maps onto itself splits the buffer into four quadrants. Inside each, a
  // cell's source lies between it and that point, so walking from the outer corner inward
  // reads every source before it is overwritten.
  const int32_t px = floorDiv(ox, factor - 1);
  const int32_t py = floorDiv(oy, factor - 1);
  auto clampTo = [width](int32_t v) { return v < -1 ? -1 : (v > width - 1 ? width - 1 : v); };
  const int32_t cx = clampTo(px);
  const int32_t cy = clampTo(py);
  const AxisWalk xs[2] = {{0, cx, 1}, {width - 1, cx + 1, -1}};
  const AxisWalk ys[2] = {{0, cy, 1}, {width - 1, cy + 1, -1}};
  for (const AxisWalk& wy : ys) {
    if (wy.empty()) continue;
    for (const AxisWalk& wx : xs) {
      if (wx.empty()) continue;
      for (int32_t y = wy.first;; y += wy.step) {
        const int32_t sy = sourceOf(y, oy, factor, width);
        uint8_t* row = buffer + static_cast<size_t>(y) * width * cellBytes;
        for (int32_t x = wx.first;; x += wx.step) {
          const int32_t sx = sy < 0 ? -1 : sourceOf(x, ox, factor, width);
          uint8_t* cell = row + static_cast<size_t>(x) * cellBytes;
          if (sx >= 0) {
            const uint8_t* src =
                buffer + (static_cast<size_t>(sy) * width + sx) * cellBytes;
            if (src != cell) std::memcpy(cell, src, cellBytes);
          } else if (fill) {
            std::memcpy(cell, fill, cellBytes);
          }
          if (x == wx.last) break;
        }
        if (y == wy.last) break;
      }
    }
  }
}
