#pragma once
// A surface of an object file: every channel the renderer reads, each as a value, the index of
// an envelope that animates it and the texture layers stacked on it.
#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "host/scene/texture.h"

namespace host {

struct SurfaceChannel {
  double value = 0.0;
  uint32_t envelope = 0;              // file index into ObjectModel::envelopes, 0 = none
  std::vector<TextureLayer> layers;   // in stack order (sorted by ordinal)
  bool hasTextures() const { return !layers.empty(); }
  bool operator==(const SurfaceChannel&) const = default;
};

struct ColorChannel {
  std::array<double, 3> value{0.784314, 0.784314, 0.784314};  // 200/255, Layout's default grey
  uint32_t envelope = 0;
  std::vector<TextureLayer> layers;
  bool hasTextures() const { return !layers.empty(); }
  bool operator==(const ColorChannel&) const = default;
};

// Bits of Surface::sidedness.
enum : int { SideFront = 1, SideDouble = 3 };

// Reflection and refraction options (RFOP / TROP).
enum class ReflectionOptions : int {
  Backdrop = 0, RaytraceAndBackdrop = 1, SphericalMap = 2, RaytraceAndSphericalMap = 3
};

struct Surface {
  std::string name;
  std::string source;                     // the surface this one was derived from, if any

  ColorChannel color;                     // COLR ("BaseColor")
  SurfaceChannel luminosity;              // LUMI
  SurfaceChannel diffuse{1.0, 0, {}};            // DIFF
  SurfaceChannel specularity;             // specular level
  SurfaceChannel glossiness{0.4, 0, {}};         // GLOS
  SurfaceChannel reflectivity;            // REFL
  SurfaceChannel transparency;            // TRAN
  SurfaceChannel translucency;            // TRNL
  SurfaceChannel ior{1.0, 0, {}};                // RIND
  SurfaceChannel bump{1.0, 0, {}};               // BUMP: amplitude, and the bump texture layers
  SurfaceChannel colorHighlights;         // CLRH
  SurfaceChannel colorFilter;             // CLRF
  SurfaceChannel additiveTransparency;    // ADTR
  SurfaceChannel diffuseSharpness;        // SHRP
  SurfaceChannel reflectionSeamAngle;     // RSAN, radians
  SurfaceChannel refractionSeamAngle;     // TSAN, radians
  SurfaceChannel reflectionBlurring;      // RBLR
  SurfaceChannel refractionBlurring;      // TBLR
  SurfaceChannel glow;                    // GLOW intensity
  SurfaceChannel lineSize;                // LINE size

  double smoothingAngle = 0.0;            // SMAN, radians; 0 means flat
  int sidedness = SideFront;              // SIDE: 1 front only, 3 double sided
  int reflectionOptions = 1;              // RFOP (see ReflectionOptions)
  int refractionOptions = 1;              // TROP
  uint32_t reflectionImage = 0;           // RIMG: clip index, 0 = none
  uint32_t refractionImage = 0;           // TIMG
  int alphaOptions = 2;                   // ALPH mode; without the chunk, surface opacity
  double alphaValue = 1.0;                // ALPH value
  int lineFlags = 0;                      // LINE flags

  // VCOL: the vertex colour map and how much of it shows.
  double vertexColoring = 0.0;
  uint32_t vertexColoringEnvelope = 0;
  uint32_t vertexColorMapType = 0;        // 'RGB ' or 'RGBA', 0 if none
  std::string vertexColorMap;

  // Texture layers of channels the renderer doesn't read, and shader blocks, in file order.
  std::vector<TextureLayer> otherLayers;

  bool doubleSided() const { return (sidedness & 2) != 0; }
  bool operator==(const Surface&) const = default;
};

}  // namespace host
