#pragma once
// Makes object models in code: points, polygons and surfaces by name, plus a few primitive
// shapes. Tests and the examples build their objects with it and save them with writeLwo2.
#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "host/scene/object.h"

namespace host {

class ObjectBuilder {
 public:
  explicit ObjectBuilder(std::string fileName = "built.lwo");

  // Starts a new layer; later points and polygons go into it. The first layer exists already.
  Layer& newLayer(uint16_t number, const std::string& name = "", int32_t parent = -1);
  Layer& layer() { return model_.layers.back(); }

  // The surface of that name, created with default channels if it doesn't exist yet.
  Surface& surface(const std::string& name);

  uint32_t addPoint(float x, float y, float z);
  // Adds a polygon of the current layer on the named surface (created if needed); returns its
  // index in the layer.
  uint32_t addPolygon(const std::vector<uint32_t>& vertices, const std::string& surfaceName,
                      uint32_t type = chunkId("FACE"));
  void setPart(uint32_t polygon, const std::string& part);

  // A vertex map of the current layer, created empty if needed.
  VertexMap& vertexMap(uint32_t type, const std::string& name, uint16_t dimension, bool perPolygon = false);

  // Primitives, in the current layer. Each returns the index of its first polygon. With a
  // non-empty uvMap name, a per-point TXUV map of that name receives their texture coordinates
  // (the box uses a per-corner map, since its corners are shared by faces).
  uint32_t addBox(const Point3f& center, const Point3f& size, const std::string& surfaceName,
                  const std::string& uvMap = "");
  uint32_t addSphere(const Point3f& center, float radius, int sides, int segments,
                     const std::string& surfaceName, const std::string& uvMap = "");
  uint32_t addTorus(const Point3f& center, float majorRadius, float minorRadius, int sides, int segments,
                    const std::string& surfaceName);
  // A grid of quads in the x-z plane facing +y.
  uint32_t addPlane(const Point3f& center, float sizeX, float sizeZ, int divisionsX, int divisionsZ,
                    const std::string& surfaceName, const std::string& uvMap = "");

  // An image clip; returns its index.
  uint32_t addClip(const std::string& path);
  // An image-mapped texture layer on a surface channel ('COLR', 'DIFF', ...).
  TextureLayer& addImageMap(const std::string& surfaceName, uint32_t channel, uint32_t clip,
                            Projection projection, const std::string& uvMap = "");

  ObjectModel& model() { return model_; }
  // The finished model, with bounding boxes computed.
  ObjectModel finish();

 private:
  ObjectModel model_;
};

}  // namespace host
