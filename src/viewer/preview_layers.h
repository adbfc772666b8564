#pragma once
// The image layers of a preview: what each evaluates from the camera's hit, the surface, the
// backdrop, the bounce and the two groups of lights, and the overlays that show them. The
// engine calls the evaluators on its thread; they read the preview's copies of camera,
// lights, ambient colour and environment, which change only while the engine's gate is held.
#include <cstdint>

#include "rayengine/ray_hit.h"

struct ViewerPanel;

// Layer 1's cell: the hit (its polygon -1 outside the frame, -2 for a miss), the distance and
// the ray's direction; the cell's last byte is the engine's stamp.
struct HitCell {
  RayHit hit;
  float distance;
  float direction[3];
};
inline constexpr uint32_t kHitCellBytes = 64;
inline constexpr uint32_t kSurfaceCellBytes = 32;
inline constexpr uint32_t kColourCellBytes = 4;
inline constexpr int32_t kHitOutsideFrame = -1;
inline constexpr int32_t kHitNothing = -2;
static_assert(sizeof(HitCell) < kHitCellBytes);

// Layers 1 to 6 with their inputs, priorities and overlays; false if the engine or the view
// could not take them (the caller then gives up the preview).
bool viewerDefineLayers(ViewerPanel* viewer);
// Adds layers 8 and 7 and their fog overlay when the environment has fog, and removes them
// when it has none. Engine's gate held.
void viewerFitFogLayers(ViewerPanel* viewer);
