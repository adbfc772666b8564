#pragma once
// One surface's channels, read from the host once per capture and update. The first 32
// bytes are laid out as a ShadingSample, so a hit begins its sample by copying them.
#include <cstddef>
#include <cstdint>

#include <lwimage.h>
#include <lwsurf.h>
#include <lwtxtr.h>

#include "capture/shading_sample.h"

struct CapturedSurface {
  int16_t normal[3];  // not written at capture
  uint16_t color[3];
  float glossiness;
  uint16_t luminosity;
  uint16_t diffuse;
  uint16_t specularity;
  uint16_t reflectivity;
  uint16_t ior;
  uint16_t transparency;
  uint8_t translucency;

  int32_t textureCount;  // how many of the ten textures below are not null
  LWSurfaceID surfaceId;
  LWTextureID colorTexture;
  LWTextureID bumpTexture;
  LWTextureID luminosityTexture;
  LWTextureID diffuseTexture;
  LWTextureID specularityTexture;
  LWTextureID reflectivityTexture;
  LWTextureID transparencyTexture;
  LWTextureID translucencyTexture;
  LWTextureID iorTexture;
  LWTextureID glossinessTexture;
  double vertexColoring;
  double colorHighlights;
  double colorFilter;
  double additiveTransparency;  // 0..200
  double diffuseSharpness;      // 0..1
  double reflectionSeamAngle;
  double refractionSeamAngle;
  double reflectionBlurring;
  double refractionBlurring;
  double smoothingAngle;  // radians, as read
  double smoothCosine;    // cos(max(smoothingAngle, 0)) clamped to -0.999..0.999
  double bumpAmplitude;
  double alphaValue;
  int32_t doubleSided;
  int32_t reflectionOptions;
  int32_t refractionOptions;
  int32_t alphaOptions;
  LWImageID reflectionImage;
  int32_t reflectionImageWidth;
  int32_t reflectionImageHeight;
  LWImageID refractionImage;
  int32_t refractionImageWidth;
  int32_t refractionImageHeight;
  char vertexColorMap[256];  // empty if none
};

static_assert(offsetof(CapturedSurface, normal) == offsetof(ShadingSample, normal));
static_assert(offsetof(CapturedSurface, color) == offsetof(ShadingSample, color));
static_assert(offsetof(CapturedSurface, glossiness) == offsetof(ShadingSample, glossiness));
static_assert(offsetof(CapturedSurface, luminosity) == offsetof(ShadingSample, luminosity));
static_assert(offsetof(CapturedSurface, diffuse) == offsetof(ShadingSample, diffuse));
static_assert(offsetof(CapturedSurface, specularity) == offsetof(ShadingSample, specularity));
static_assert(offsetof(CapturedSurface, reflectivity) == offsetof(ShadingSample, reflectivity));
static_assert(offsetof(CapturedSurface, ior) == offsetof(ShadingSample, ior));
static_assert(offsetof(CapturedSurface, transparency) == offsetof(ShadingSample, transparency));
static_assert(offsetof(CapturedSurface, translucency) == offsetof(ShadingSample, translucency));
static_assert(offsetof(CapturedSurface, textureCount) == sizeof(ShadingSample));

// Reads the surface at a time into the record. Returns 1 only if doubleSided differs from
// what the record held before: of all a surface holds, only its sidedness changes geometry.
int Surface_Capture(LWSurfaceID surface, double time, CapturedSurface* record);

// One channel's value: its envelope at the time if it has one, else the first of getFlt.
// 0.0 if the host faults.
double ChannelValue(LWSurfaceID surface, const char* channel, double time);
// A colour channel: always getFlt's three values; components stay as they were on a fault.
void ChannelColor(LWSurfaceID surface, const char* channel, double time, double color[3]);
// A channel's texture, told the time; raises *textureCount for a texture. 0 on a fault.
LWTextureID ChannelTexture(LWSurfaceID surface, const char* channel, double time, int32_t* textureCount);

// cos(max(angle, 0)) clamped to -0.999..0.999.
double smoothCosine(double smoothingAngle);
// The host's frame number for a time: (framesPerSecond x time + 0.5), truncated.
int32_t captureFrameOf(double time);
