#pragma once
// Looks at the surroundings for secondary rays: a softened look at the host's backdrop for
// background radiosity, and spherical reflection and refraction maps.
#include <lwimage.h>

// The backdrop averaged over 15 directions jittered about `direction`; the same direction
// always gives the same colour.
void SoftBackdrop(double time, const double direction[3], double color[3]);

// An image lookup at (u, v) in 0..1 (u wraps, v is clamped), bilinear, or averaged over a
// small spiral of lookups for a blur of 0.001 and more.
void SpherePixels(LWImageID image, int width, int height, double u, double v, double blur, double color[3]);

// The spherical map of an image along a direction, with the seam angle turning it about y.
void SphereMapLookup(LWImageID image, int width, int height, const double direction[3], double seamAngle,
                     double blur, double color[3]);
