#include "host/scene/object.h"

#include <algorithm>

namespace host {

std::string chunkName(uint32_t id) {
  std::string s(4, '?');
  for (int i = 0; i < 4; ++i) {
    char c = char((id >> (24 - 8 * i)) & 0xFF);
    if (c >= 32 && c < 127) s[i] = c;
  }
  return s;
}

const float* VertexMap::find(uint32_t point) const {
  for (size_t i = 0; i < points.size(); ++i)
    if (points[i] == point && (!perPolygon)) return value(i);
  return nullptr;
}

const float* VertexMap::find(uint32_t point, uint32_t polygon) const {
  for (size_t i = 0; i < points.size(); ++i)
    if (points[i] == point && (perPolygon ? polygons[i] == polygon : true)) return value(i);
  return nullptr;
}

void Layer::computeBounds() {
  if (points.empty()) {
    boundsMin = boundsMax = Point3f{0.0f, 0.0f, 0.0f};
    return;
  }
  boundsMin = boundsMax = points.front();
  for (const Point3f& p : points)
    for (int a = 0; a < 3; ++a) {
      boundsMin[a] = std::min(boundsMin[a], p[a]);
      boundsMax[a] = std::max(boundsMax[a], p[a]);
    }
}

size_t Layer::faceCount() const {
  return size_t(std::count_if(polygons.begin(), polygons.end(),
                              [](const Polygon& p) { return p.type == chunkId("FACE"); }));
}

const VertexMap* Layer::findVertexMap(uint32_t type, const std::string& name) const {
  for (const VertexMap& m : vertexMaps)
    if (m.type == type && m.name == name) return &m;
  return nullptr;
}

size_t ObjectModel::pointCount() const {
  size_t n = 0;
  for (const Layer& l : layers) n += l.points.size();
  return n;
}

size_t ObjectModel::polygonCount() const {
  size_t n = 0;
  for (const Layer& l : layers) n += l.polygons.size();
  return n;
}

const Surface* ObjectModel::findSurface(const std::string& name) const {
  for (const Surface& s : surfaces)
    if (s.name == name) return &s;
  return nullptr;
}

const Envelope* ObjectModel::findEnvelope(uint32_t index) const {
  if (index == 0) return nullptr;
  for (const ObjectEnvelope& e : envelopes)
    if (e.index == index) return &e.envelope;
  return nullptr;
}

const Clip* ObjectModel::findClip(uint32_t index) const {
  if (index == 0) return nullptr;
  for (const Clip& c : clips)
    if (c.index == index) return &c;
  return nullptr;
}

namespace {
const std::string& tagAt(const std::vector<std::string>& tags, int32_t index) {
  static const std::string empty;
  return index >= 0 && size_t(index) < tags.size() ? tags[size_t(index)] : empty;
}
}  // namespace

const std::string& ObjectModel::surfaceName(const Polygon& polygon) const {
  return tagAt(tags, polygon.surface);
}

const std::string& ObjectModel::partName(const Polygon& polygon) const {
  return tagAt(tags, polygon.part);
}

int32_t ObjectModel::tagIndex(const std::string& name) {
  for (size_t i = 0; i < tags.size(); ++i)
    if (tags[i] == name) return int32_t(i);
  tags.push_back(name);
  return int32_t(tags.size() - 1);
}

}  // namespace host
