#include "viewer/image_layer.h"

namespace {

int32_t clampTo(int32_t v, int32_t low, int32_t high) {
  return v < low ? low : (v > high ? high : v);
}

// Where a restart begins on one axis: about where the cursor stood, so the seam of a
// restart doesn't show, on the lattice of the first stride.
int32_t resumeAt(int32_t cursor, int32_t low, int32_t high, int32_t blockSize) {
  int32_t at = low;
  if (cursor > low) at = cursor < high - 1 ? cursor : high - 1;
  if (at < low) at = low;
  return (at / blockSize) * blockSize;
}

// A lattice of the given stride whose origin sits half a stride off the multiples.
int32_t halfOffsetOrigin(int32_t low, int32_t stride) {
  int32_t origin = stride / 2 + ((low - stride) / stride) * stride;
  if (origin < 0) origin += stride;
  return origin;
}

// Into the range, then down onto the level's lattice.
int32_t onLattice(int32_t v, int32_t low, int32_t high, int32_t stride) {
  v = clampTo(v, low, high - 1 < low ? low : high - 1);
  return low + ((v - low) / stride) * stride;
}

}  // namespace

void layerReset(ImageLayer* layer, const CellRange& visible, int32_t blockSize) {
  const int32_t b = blockSize;
  layer->rangeLeft = (visible.left / b) * b;
  layer->rangeBottom = (visible.bottom / b) * b;
  layer->rangeRight = visible.right;
  layer->rangeTop = visible.top;
  layer->startX = resumeAt(layer->cursorX, layer->rangeLeft, layer->rangeRight, b);
  layer->startY = resumeAt(layer->cursorY, layer->rangeBottom, layer->rangeTop, b);
  layer->cursorX = layer->startX;
  layer->cursorY = layer->startY;
  layer->strideX = b;
  layer->strideY = b;
  layer->priority = 2 * b + 1;
  layer->firstLevel = 1;
  layer->inView = 1;
  layer->shownStrideX = kLayerShownNone;
  layer->shownStrideY = kLayerShownNone;
}

bool layerStep(ImageLayer* layer) {
  layer->cursorX += layer->strideX;
  if (layer->cursorX >= layer->rangeRight) {
    layer->cursorX = layer->rangeLeft;
    layer->cursorY += layer->strideY;
    if (layer->cursorY >= layer->rangeTop) layer->cursorY = layer->rangeBottom;
  }
  return layer->cursorX == layer->startX && layer->cursorY == layer->startY;
}

void layerNextLevel(ImageLayer* layer, const CellRange& visible, int32_t gridSize,
                    int32_t blockSize) {
  if (layer->firstLevel) {
    layer->firstLevel = 0;
    layer->strideY *= 2;
  }
  if (layer->inView) {
    if (layer->strideX != layer->strideY) {
      layer->shownStrideX = layer->strideX;
      layer->shownStrideY = (layer->strideY + 1) / 2;
    } else {
      layer->shownStrideX = (layer->strideX + 1) / 2;
      layer->shownStrideY = layer->strideY;
    }
  } else {
    layer->shownStrideX = 1;
    layer->shownStrideY = 1;
  }

  if (layer->strideX == 1) {
    if (layer->inView) {
      // The view is done: go over the whole grid, coarse to fine again.
      layer->inView = 0;
      layer->firstLevel = 1;
      layer->strideX = blockSize;
      layer->strideY = blockSize;
      layer->cursorX = layer->cursorY = layer->startX = layer->startY = 0;
      layer->rangeLeft = layer->rangeBottom = 0;
      layer->rangeRight = layer->rangeTop = gridSize;
      layer->priority = 0;
    } else {
      layer->priority = kLayerPriorityFinished;
    }
    return;
  }

  CellRange range = layer->inView ? visible : CellRange{0, 0, gridSize, gridSize};
  if (layer->strideX != layer->strideY) {
    // Fill in between the columns.
    layer->strideY /= 2;
    range.left = halfOffsetOrigin(range.left, layer->strideX);
    range.bottom = (range.bottom / layer->strideY) * layer->strideY;
  } else {
    // Fill in between the rows.
    layer->strideX /= 2;
    range.left = (range.left / layer->strideX) * layer->strideX;
    range.bottom = halfOffsetOrigin(range.bottom, layer->strideY);
  }
  layer->rangeLeft = range.left;
  layer->rangeRight = range.right;
  layer->rangeBottom = range.bottom;
  layer->rangeTop = range.top;
  layer->startX = onLattice(layer->startX, range.left, range.right, layer->strideX);
  layer->startY = onLattice(layer->startY, range.bottom, range.top, layer->strideY);
  layer->cursorX = layer->startX;
  layer->cursorY = layer->startY;
  layer->priority = layer->strideX + layer->strideY - (layer->inView ? 0 : 500);
}
