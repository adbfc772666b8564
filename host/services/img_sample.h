#pragma once
// Reading an image at a point between pixels, as texture layers and the image list's spot
// reads do.
#include "host/services/img_store.h"

namespace host {

// What happens past an image's edge. Numbered as the object files number them.
enum class TileMode { Reset = 0, Repeat = 1, Mirror = 2, Edge = 3 };

// The pixel index for column or row i of an image n pixels wide under a tile mode. Reset
// holds to the edge here: whether a point past the edge shows at all is the caller's call.
int tileIndex(long long i, int n, TileMode mode);

// The colour and alpha at (x, y) in pixels, x to the right and y down from the top left
// corner, so pixel (i, j) covers [i, i + 1) x [j, j + 1). With blend the four nearest pixel
// centres are interpolated; without it the pixel the point lies in is taken.
void samplePixels(const ImagePixels& pixels, double x, double y, bool blend, TileMode tileX, TileMode tileY,
                  double out[4]);

}  // namespace host
