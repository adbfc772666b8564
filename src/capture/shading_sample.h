#pragma once
// The packed material of a ray hit. A CapturedSurface begins with the same 32 bytes, so a
// hit starts its sample with one copy of the surface's head.
#include <cstddef>
#include <cstdint>

struct ShadingSample {
  int16_t normal[3];      // component x 32767, truncated
  uint16_t color[3];      // 8.8 fixed, clamped to 0..255 first
  float glossiness;       // plain, never below 0
  uint16_t luminosity;    // 8.8 fixed
  uint16_t diffuse;       // 8.8 fixed
  uint16_t specularity;   // 8.8 fixed
  uint16_t reflectivity;  // 8.8 fixed
  uint16_t ior;           // value x 6553, clamped to 0.001..10 first
  uint16_t transparency;  // 8.8 fixed; 256 is fully transparent
  uint8_t translucency;   // value x 255, clamped to 0..1 first
};

static_assert(offsetof(ShadingSample, normal) == 0);
static_assert(offsetof(ShadingSample, color) == 6);
static_assert(offsetof(ShadingSample, glossiness) == 12);
static_assert(offsetof(ShadingSample, luminosity) == 16);
static_assert(offsetof(ShadingSample, diffuse) == 18);
static_assert(offsetof(ShadingSample, specularity) == 20);
static_assert(offsetof(ShadingSample, reflectivity) == 22);
static_assert(offsetof(ShadingSample, ior) == 24);
static_assert(offsetof(ShadingSample, transparency) == 26);
static_assert(offsetof(ShadingSample, translucency) == 28);
static_assert(sizeof(ShadingSample) == 32);

// Decoding constants; the encoders in captured_surface.h are their exact inverses.
inline constexpr double kFixedToUnit = 0.00390625;               // 1/256
inline constexpr double kIorToUnit = 0.00015260186174271325;     // 1/6553
inline constexpr double kTranslucencyToUnit = 0.00392156862745098;  // 1/255
inline constexpr double kNormalToUnit = 3.051850947599719e-05;   // 1/32767

// value x 256 truncated, after clamping to 0..255.
uint16_t encodeFixed(double value);
// value x 6553 truncated, after clamping to 0.001..10.
uint16_t encodeIor(double value);
// value x 255 truncated, after clamping to 0..1.
uint8_t encodeTranslucency(double value);
// Floored at 0.
float encodeGlossiness(double value);
