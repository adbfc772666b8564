#pragma once
// Moves of a square cell buffer that keep what was computed when the grid follows the view.
// Rows run from y = 0; cell (x, y) sits at (y * width + x) * cellBytes. A null fill leaves
// the cells that have no source as they were.
#include <cstddef>
#include <cstdint>

// Content moves by (dx, dy) cells: the cell at (x, y) takes what stood at (x - dx, y - dy).
// The strips that come into view take the fill. A shift of zero, or of the whole width or
// height or more, moves nothing and fills the whole buffer.
void blockShift(uint8_t* buffer, int32_t width, size_t cellBytes, int32_t dx, int32_t dy,
                const uint8_t* fill);

// Sparse magnification by f in place: the cell at (x, y) takes the cell at
// ((x + ox) / f, (y + oy) / f) where both divide evenly and that source is inside; every
// other cell takes the fill.
void blockMagnify(uint8_t* buffer, int32_t width, size_t cellBytes, int32_t factor,
                  int32_t ox, int32_t oy, const uint8_t* fill);
