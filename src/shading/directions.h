#pragma once
// The directions of secondary rays: cosine-weighted hemisphere samples for radiosity, blurred
// mirror and refraction directions, and the mirror and refraction themselves.

// A cosine-weighted direction about a unit normal: sample `index` of `count`, spread by a
// golden-ratio sequence and shifted by the camera sample's (u, v).
void DiffuseDirection(const double normal[3], double u, double v, int index, int count, double direction[3]);

// A direction jittered about `direction` by up to `amount`, kept on the side of the surface
// it started on. Returns the direction itself for small amounts or grazing angles.
void BlurDirection(const double direction[3], const double normal[3], double amount, double u, double v,
                   double result[3]);

// 2 (d . n) n - d, renormalised: the mirror of d about n, pointing away from the surface for
// a d that points towards it. The shading negates it to continue an incoming ray.
void ReflectDirection(const double d[3], const double n[3], double result[3]);

// The refracted direction, negated as ReflectDirection's is, for a ratio of the new index to
// the current one. A ratio within 0.4% of 1 does not bend. Returns 1 on total internal
// reflection, with the mirror direction in result.
int RefractDirection(const double d[3], const double n[3], double ratio, double result[3]);
