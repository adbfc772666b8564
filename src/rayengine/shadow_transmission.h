#pragma once
// The light that passes along a shadow ray through every surface that lets some through.
#include <cstdint>

#include <lwrender.h>

struct SceneCapture;

// Writes the filter (1, 1, 1 for a clear path, 0 where something opaque stands) for a ray
// from origin towards a light at maxDistance (at or below 0: far away). The walk leaves the
// surface skipObject/skipPolygon, and gives up after 51 surfaces with the filter it has.
void ShadowTransmission(SceneCapture* scene, const double origin[3], const double direction[3], LWItemID skipObject,
                        int32_t skipPolygon, LWItemID light, double maxDistance, float filter[3]);

// Surfaces a shadow ray passes through before it gives up and keeps its filter.
inline constexpr int kShadowMaxSurfaces = 51;
