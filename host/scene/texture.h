#pragma once
// One layer of a surface channel's texture stack, as the object files store it: an image map,
// a procedural or a gradient, with its placement. Evaluating it is the scene's business; this
// is only the record.
#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace host {

struct ObjectModel;

enum class TextureType { ImageMap, Procedural, Gradient, Shader };

// Numbered as in the files (PROJ).
enum class Projection { Planar = 0, Cylindrical = 1, Spherical = 2, Cubic = 3, Front = 4, UV = 5 };

// Numbered as in the files (OPAC).
enum class BlendMode {
  Normal = 0, Subtractive = 1, Difference = 2, Multiply = 3, Divide = 4, Alpha = 5,
  TextureDisplacement = 6, Additive = 7
};

// Numbered as in the files (WRAP).
enum class WrapMode { Reset = 0, Repeat = 1, Mirror = 2, Edge = 3 };

// A value with the index of the envelope that animates it (0 = none; index into
// ObjectModel::envelopes by their file index).
struct EnvelopedVector {
  std::array<double, 3> value{0.0, 0.0, 0.0};
  uint32_t envelope = 0;
  bool operator==(const EnvelopedVector&) const = default;
};

// Where the texture sits: the TMAP sub-chunk.
struct TextureMapping {
  EnvelopedVector center;                       // CNTR
  EnvelopedVector size{{1.0, 1.0, 1.0}, 0};     // SIZE
  EnvelopedVector rotation;                     // ROTA, heading/pitch/bank in radians
  std::string referenceObject;                  // OREF, empty or "(none)" for none
  int falloffType = 0;                          // FALL
  EnvelopedVector falloff;
  int coordinateSystem = 0;                     // CSYS: 0 object, 1 world
  bool operator==(const TextureMapping&) const = default;
};

struct GradientKey {
  double input = 0.0;
  std::array<double, 4> output{0.0, 0.0, 0.0, 1.0};  // colour and alpha
  bool operator==(const GradientKey&) const = default;
};

struct TextureLayer {
  TextureType type = TextureType::ImageMap;
  std::string ordinal;        // sort key of the layer within its channel (from the block header)
  uint32_t channel = 0;       // the four characters of the channel, e.g. 'COLR'
  bool enabled = true;
  BlendMode blend = BlendMode::Normal;
  double opacity = 1.0;
  uint32_t opacityEnvelope = 0;
  bool negative = false;
  int axis = 0;               // AXIS: 0 x, 1 y, 2 z (image maps and procedurals)
  TextureMapping mapping;

  // Image maps.
  Projection projection = Projection::Planar;
  uint32_t clip = 0;          // IMAG: index of the image clip, 0 = none
  WrapMode wrapWidth = WrapMode::Repeat, wrapHeight = WrapMode::Repeat;
  double wrapWidthAmount = 1.0, wrapHeightAmount = 1.0;  // WRPW / WRPH: cycles
  uint32_t wrapWidthEnvelope = 0, wrapHeightEnvelope = 0;
  std::string uvMap;          // VMAP: name of the UV map for Projection::UV
  int antialiasFlags = 1;     // AAST
  double antialiasStrength = 1.0;
  bool pixelBlending = true;  // PIXB
  double amplitude = 1.0;     // TAMP: bump amplitude of this layer
  uint32_t amplitudeEnvelope = 0;
  int stack = 0;              // STCK

  // Procedurals.
  std::string procedure;                 // FUNC name, e.g. "Turbulence"
  std::vector<uint8_t> procedureData;    // FUNC data that follows the name, as stored
  std::array<double, 3> procedureValue{0.0, 0.0, 0.0};  // VALU (1 or 3 numbers)
  std::vector<double> procedureParameters;  // older files' numeric parameters

  // Gradients.
  std::string gradientParameter;  // PNAM, e.g. "Slope", "Distance to Object"
  std::string gradientItem;       // INAM
  double gradientStart = 0.0;     // GRST
  double gradientEnd = 1.0;       // GREN
  int gradientRepeat = 0;         // GRPT
  std::vector<GradientKey> gradientKeys;    // FKEY
  std::vector<uint16_t> gradientKeyShapes;  // IKEY, one per key

  // Shader blocks keep only their server name and raw data.
  std::string shaderName;
  std::vector<uint8_t> shaderData;
  bool operator==(const TextureLayer&) const = default;
};

// A texture that belongs to the scene rather than to an object file (an object's clip map).
// Its layers name image clips and envelopes by index, as an object's do, so `home` is a small
// model that holds just those: the clips (stills, numbered from 1, paths as written) and the
// envelopes. With it the layers evaluate exactly as a surface's do.
struct SceneTexture {
  std::vector<TextureLayer> layers;     // bottom layer first
  std::shared_ptr<ObjectModel> home;    // never null once filled
};

}  // namespace host
