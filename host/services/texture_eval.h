#pragma once
// Evaluating a surface channel's stack of texture layers at one spot, as Layout does: image
// maps with their projections and tiling, gradients, a procedural, blended one over the
// other from the bottom of the stack up.
//
// Stack order: the channel's layers in ordinal order, the first at the bottom. Each layer
// gives a value T (a colour, or for a scalar channel a number; an image gives its luminance
// there) and a coverage a = opacity x (the image's alpha, the procedural's pattern, or the
// gradient key's alpha). Over the value B below it, by the layer's blending mode:
//   normal       B + (T - B) a          additive     B + T a
//   subtractive  B - T a                difference   B + (|B - T| - B) a
//   multiply     B + (B T - B) a        divide       B + (B / T - B) a  (no change where T = 0)
//   alpha        leaves B, and scales the coverage of the next layer up by 1 - a (1 - lum T)
//   displacement leaves B, and moves the spot of every layer above by lum(T) a x this
//                layer's size, on each axis
// An inverted layer uses 1 - T (for a procedural, 1 - its pattern). The texture's alpha is
// the coverage of all painting layers together, 1 - product(1 - a).
//
// The bump channel composites heights the same way, starting from 0, with T the layer's
// value times its amplitude. Its gradient is the change of that height over one step along
// two directions across the surface (perpendicular to wNorm), in world space. A step is one
// texel of the finest image layer at the spot, or a hundredth of the texture's size for the
// other layer types, so a layer whose value climbs from 0 to 1 over one texel tilts the
// normal by 45 degrees at an amplitude of 1.
#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/scene/object.h"
#include "host/scene/scene.h"
#include "host/scene/transform.h"
#include "host/services/img_store.h"

namespace host {

enum class TextureKind { Color, Percent, Scalar, Bump };

// What a texture reads of a micropolygon.
struct TextureSpot {
  Vec3 oPos{0, 0, 0}, wPos{0, 0, 0};
  Vec3 gNorm{0, 1, 0}, wNorm{0, 1, 0};
  Vec3 raySource{0, 0, 0};
  int oAxis = 1, wAxis = 1;
  // The polygon's corners as point indices of the object's layer (-1 for none), with their
  // weights and world positions; the polygon's index, -1 for none.
  std::array<int64_t, 4> points{-1, -1, -1, -1};
  std::array<double, 4> weights{0, 0, 0, 0};
  std::array<Vec3, 4> cornersW{};
  int64_t polygon = -1;
};

// What lies around the spot: the object's geometry layer, the scene and its time.
struct TextureSurroundings {
  const Scene* scene = nullptr;
  const Layer* geometry = nullptr;  // the layer of the object being shaded, for UV maps
  int objectItem = -1;              // its index in the scene, -1 if unknown
};

// A layer with the values of its envelopes at the texture's time.
struct TextureLayerNow {
  const TextureLayer* layer = nullptr;
  Vec3 center{0, 0, 0}, size{1, 1, 1}, rotation{0, 0, 0};
  Mat3 toTexture;  // undoes the layer's rotation
  double opacity = 1.0, wrapWidth = 1.0, wrapHeight = 1.0, amplitude = 1.0;
  const ImageEntry* image = nullptr;
  const ImageFile* imageFile = nullptr;  // the image's file at the texture's frame
  std::vector<size_t> keyOrder;          // a gradient's keys by input
};

// The texture of one channel of one surface, or an empty one a plug-in made.
class TextureStack {
 public:
  TextureStack(TextureKind kind, std::shared_ptr<const ObjectModel> model, const std::vector<TextureLayer>* layers,
               ImageTable* images);
  ~TextureStack();

  TextureKind kind() const { return kind_; }
  const std::vector<TextureLayerNow>& layers() const { return layers_; }
  double time() const { return time_; }

  // Evaluates envelopes and picks sequence frames for a time. Not to be run while others
  // evaluate the texture.
  void setTime(double time, int frame);

  // Composites the stack over `value` (three numbers for a colour, else one; a bump's
  // gradient needs three) and returns the texture's alpha; a bump returns its height. A
  // `only` of 0 or more evaluates that layer alone. Safe to call from several threads.
  double evaluate(const TextureSpot& spot, const TextureSurroundings& around, double* value, int only = -1) const;

  // Texture coordinates of an image layer at a spot, u to the right and v up, before tiling;
  // false if the layer has none there.
  bool layerUV(size_t layer, const TextureSpot& spot, const TextureSurroundings& around, double uv[2]) const;

 private:
  struct UvIndex;
  struct LayerResult {
    double value[3] = {0, 0, 0};
    double coverage = 0.0;
  };

  bool evaluateLayer(const TextureLayerNow& l, const TextureSpot& spot, const TextureSurroundings& around,
                     const Vec3& displacement, const double* below, LayerResult& out) const;
  double composite(const TextureSpot& spot, const TextureSurroundings& around, double* value, int only) const;
  void bump(const TextureSpot& spot, const TextureSurroundings& around, double height, double* gradient) const;
  // Projected coordinates: s to the right, t down from the top, both 0..1 over the image
  // before wrapping and tiling.
  bool project(const TextureLayerNow& l, const TextureSpot& spot, const TextureSurroundings& around,
               const Vec3& displacement, double& s, double& t) const;
  bool uvAt(const TextureLayerNow& l, const TextureSpot& spot, const TextureSurroundings& around, double& u,
            double& v) const;
  const UvIndex* uvIndex(const TextureLayerNow& l, const Layer& geometry) const;
  double gradientInput(const TextureLayerNow& l, const TextureSpot& spot, const TextureSurroundings& around,
                       const Vec3& p, const double* below) const;
  double stepLength(const TextureSpot& spot, const TextureSurroundings& around, const Vec3& direction,
                    const Mat3& worldToObject) const;

  TextureKind kind_;
  std::shared_ptr<const ObjectModel> model_;
  ImageTable* images_;
  std::vector<TextureLayerNow> layers_;
  double time_ = 0.0;
  int frame_ = 0;

  mutable std::mutex uvMutex_;
  mutable std::vector<std::unique_ptr<UvIndex>> uvIndexes_;  // every one built, kept for readers
  mutable std::vector<std::atomic<const UvIndex*>> uvCurrent_;  // per layer
};

// A spot shifted by a world offset across the surface; the corners' weights follow it.
TextureSpot shiftSpot(const TextureSpot& spot, const Vec3& worldOffset, const Mat3& worldToObject);

}  // namespace host
