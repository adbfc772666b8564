#pragma once
// The direct light of one cell of a preview's light layers: a small sibling of ShadeDirect
// that runs once per cell and group of lights instead of once per sample, so that a moved
// light costs only the layer of the lights that moved. A cell always draws the same numbers,
// since its generator is seeded by its position alone.
#include "capture/shading_sample.h"
#include "rayengine/ray_hit.h"

struct CapturedCamera;
struct CapturedLight;
struct SceneCapture;

// The light of the group headed by `lights` (linked by nextInGroup) at the hit seen through
// the frame position (x, y); black without lights or without a hit.
void DirectLightCell(SceneCapture* scene, const CapturedCamera* camera, CapturedLight* lights, double x, double y,
                     const RayHit* hit, const ShadingSample* sample, double colour[3]);
