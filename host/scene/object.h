#pragma once
// The contents of one object file: layers of points and polygons with their tags and vertex
// maps, the tag strings, surfaces, envelopes and image clips. The readers fill it, the writer
// saves it, and the scene hands it to the services.
#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "host/scene/clip.h"
#include "host/scene/envelope.h"
#include "host/scene/surface.h"

namespace host {

// Four characters as one number, in file order: chunkId("FACE") == 0x46414345.
constexpr uint32_t chunkId(const char (&s)[5]) {
  return (uint32_t(uint8_t(s[0])) << 24) | (uint32_t(uint8_t(s[1])) << 16) |
         (uint32_t(uint8_t(s[2])) << 8) | uint32_t(uint8_t(s[3]));
}
std::string chunkName(uint32_t id);  // "FACE"; unprintable bytes as '?'

using Point3f = std::array<float, 3>;

enum class ObjectFormat { LWOB, LWO2, LWO3 };

struct Polygon {
  uint32_t type = chunkId("FACE");   // FACE, CURV, PTCH, SUBD, MBAL, BONE, ...
  uint16_t flags = 0;                // the top six bits of the vertex count
  std::vector<uint32_t> vertices;    // point indices in the layer
  int32_t surface = -1;              // SURF tag: index into ObjectModel::tags, -1 if untagged
  int32_t part = -1;                 // PART tag: index into ObjectModel::tags, -1 if untagged
  int32_t smoothingGroup = -1;       // SMGP tag value, -1 if untagged
  bool operator==(const Polygon&) const = default;
};

// A vertex map. Per point (VMAP): entries are (point, values). Per polygon corner (VMAD):
// entries are (point, polygon, values).
struct VertexMap {
  uint32_t type = chunkId("TXUV");   // TXUV, RGB , RGBA, WGHT, MNVW, MORF, SPOT, PICK, ...
  std::string name;
  uint16_t dimension = 2;
  bool perPolygon = false;
  std::vector<uint32_t> points;
  std::vector<uint32_t> polygons;    // only for per-polygon maps, parallel to points
  std::vector<float> values;         // dimension values per entry

  size_t size() const { return points.size(); }
  const float* value(size_t entry) const { return values.data() + entry * dimension; }
  // Values of a point (per-point map) or of a corner (per-polygon map); null if absent.
  const float* find(uint32_t point) const;
  const float* find(uint32_t point, uint32_t polygon) const;
  bool operator==(const VertexMap&) const = default;
};

struct Layer {
  uint16_t number = 0;
  uint16_t flags = 0;                    // bit 0: hidden
  std::string name;
  Point3f pivot{0.0f, 0.0f, 0.0f};
  int32_t parent = -1;                   // the parent layer's number, -1 for none
  std::vector<Point3f> points;           // a point's index here is its stable id
  std::vector<Polygon> polygons;
  std::vector<VertexMap> vertexMaps;
  // Polygon tags other than SURF, PART and SMGP, by tag type: (polygon, value) pairs.
  std::map<uint32_t, std::vector<std::pair<uint32_t, uint32_t>>> otherPolygonTags;
  bool hasBoundingBox = false;           // true if the file gave BBOX
  Point3f boundsMin{0.0f, 0.0f, 0.0f}, boundsMax{0.0f, 0.0f, 0.0f};

  void computeBounds();                  // from the points; leaves hasBoundingBox as it is
  size_t faceCount() const;              // polygons of type FACE
  const VertexMap* findVertexMap(uint32_t type, const std::string& name) const;
  bool operator==(const Layer&) const = default;
};

// An envelope of the object's surfaces, with the index surfaces refer to it by.
struct ObjectEnvelope {
  uint32_t index = 0;
  uint16_t type = 0;   // TYPE: the kind of channel (position, angle, ...) and its component
  Envelope envelope;
};

struct ObjectModel {
  std::string fileName;                  // path the model was read from or written to
  ObjectFormat format = ObjectFormat::LWO2;
  std::vector<std::string> tags;         // TAGS: surface and part names, by index
  std::vector<Layer> layers;             // in file order
  std::vector<Surface> surfaces;         // in file order
  std::vector<ObjectEnvelope> envelopes;
  std::vector<Clip> clips;
  // Flaws the reader mended, a line a kind (see host/formats/flaw_log.h); empty for a sound file.
  std::vector<std::string> warnings;

  size_t pointCount() const;             // over all layers
  size_t polygonCount() const;           // over all layers, every type
  const Surface* findSurface(const std::string& name) const;
  const Envelope* findEnvelope(uint32_t index) const;
  const Clip* findClip(uint32_t index) const;
  // The name of a polygon's surface tag, or "" if untagged or out of range.
  const std::string& surfaceName(const Polygon& polygon) const;
  const std::string& partName(const Polygon& polygon) const;
  // Index of a tag string, adding it if it isn't there yet.
  int32_t tagIndex(const std::string& name);
};

}  // namespace host
