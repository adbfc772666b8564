#include "host/formats/lwo_builder.h"

#include <cmath>

#include "host/formats/lwo_chunks.h"

namespace host {

ObjectBuilder::ObjectBuilder(std::string fileName) {
  model_.fileName = std::move(fileName);
  model_.layers.emplace_back();
}

Layer& ObjectBuilder::newLayer(uint16_t number, const std::string& name, int32_t parent) {
  Layer l;
  l.number = number;
  l.name = name;
  l.parent = parent;
  model_.layers.push_back(std::move(l));
  return model_.layers.back();
}

Surface& ObjectBuilder::surface(const std::string& name) {
  for (Surface& s : model_.surfaces)
    if (s.name == name) return s;
  model_.tagIndex(name);
  model_.surfaces.emplace_back();
  model_.surfaces.back().name = name;
  return model_.surfaces.back();
}

uint32_t ObjectBuilder::addPoint(float x, float y, float z) {
  layer().points.push_back({x, y, z});
  return uint32_t(layer().points.size() - 1);
}

uint32_t ObjectBuilder::addPolygon(const std::vector<uint32_t>& vertices, const std::string& surfaceName,
                                   uint32_t type) {
  surface(surfaceName);
  Polygon p;
  p.type = type;
  p.vertices = vertices;
  p.surface = model_.tagIndex(surfaceName);
  layer().polygons.push_back(std::move(p));
  return uint32_t(layer().polygons.size() - 1);
}

void ObjectBuilder::setPart(uint32_t polygon, const std::string& part) {
  layer().polygons.at(polygon).part = model_.tagIndex(part);
}

VertexMap& ObjectBuilder::vertexMap(uint32_t type, const std::string& name, uint16_t dimension, bool perPolygon) {
  for (VertexMap& m : layer().vertexMaps)
    if (m.type == type && m.name == name && m.perPolygon == perPolygon) return m;
  VertexMap m;
  m.type = type;
  m.name = name;
  m.dimension = dimension;
  m.perPolygon = perPolygon;
  layer().vertexMaps.push_back(std::move(m));
  return layer().vertexMaps.back();
}

namespace {
void addEntry(VertexMap& m, uint32_t point, std::initializer_list<float> values, int32_t polygon = -1) {
  m.points.push_back(point);
  if (m.perPolygon) m.polygons.push_back(uint32_t(polygon));
  m.values.insert(m.values.end(), values);
}
}  // namespace

uint32_t ObjectBuilder::addBox(const Point3f& c, const Point3f& size, const std::string& surfaceName,
                               const std::string& uvMap) {
  float h[3] = {size[0] / 2, size[1] / 2, size[2] / 2};
  uint32_t base = uint32_t(layer().points.size());
  for (int i = 0; i < 8; ++i)
    addPoint(c[0] + ((i & 1) ? h[0] : -h[0]), c[1] + ((i & 2) ? h[1] : -h[1]), c[2] + ((i & 4) ? h[2] : -h[2]));
  // Clockwise seen from outside, as LightWave orders a polygon's front face.
  static const uint32_t faces[6][4] = {
      {0, 2, 3, 1}, {4, 5, 7, 6},  // -z, +z
      {0, 1, 5, 4}, {2, 6, 7, 3},  // -y, +y
      {0, 4, 6, 2}, {1, 3, 7, 5},  // -x, +x
  };
  uint32_t first = uint32_t(layer().polygons.size());
  for (const auto& f : faces) {
    uint32_t poly = addPolygon({base + f[0], base + f[1], base + f[2], base + f[3]}, surfaceName);
    if (!uvMap.empty()) {
      VertexMap& m = vertexMap(chunkId("TXUV"), uvMap, 2, true);
      static const float uv[4][2] = {{0, 0}, {0, 1}, {1, 1}, {1, 0}};
      for (int k = 0; k < 4; ++k) addEntry(m, base + f[k], {uv[k][0], uv[k][1]}, int32_t(poly));
    }
  }
  return first;
}

uint32_t ObjectBuilder::addSphere(const Point3f& c, float radius, int sides, int segments,
                                  const std::string& surfaceName, const std::string& uvMap) {
  sides = std::max(sides, 3);
  segments = std::max(segments, 2);
  uint32_t base = uint32_t(layer().points.size());
  VertexMap* uv = uvMap.empty() ? nullptr : &vertexMap(chunkId("TXUV"), uvMap, 2);
  // Poles, then rings from top to bottom.
  addPoint(c[0], c[1] + radius, c[2]);
  addPoint(c[0], c[1] - radius, c[2]);
  if (uv) {
    addEntry(*uv, base, {0.5f, 1.0f});
    addEntry(*uv, base + 1, {0.5f, 0.0f});
  }
  for (int r = 1; r < segments; ++r) {
    double lat = M_PI * r / segments;
    for (int s = 0; s < sides; ++s) {
      double lon = 2.0 * M_PI * s / sides;
      uint32_t p = addPoint(float(c[0] + radius * std::sin(lat) * std::cos(lon)), float(c[1] + radius * std::cos(lat)),
                            float(c[2] + radius * std::sin(lat) * std::sin(lon)));
      if (uv) addEntry(*uv, p, {float(s) / float(sides), 1.0f - float(r) / float(segments)});
    }
  }
  auto ring = [&](int r, int s) { return base + 2 + uint32_t((r - 1) * sides + (s % sides)); };
  uint32_t first = uint32_t(layer().polygons.size());
  for (int s = 0; s < sides; ++s) addPolygon({base, ring(1, s + 1), ring(1, s)}, surfaceName);
  for (int r = 1; r + 1 < segments; ++r)
    for (int s = 0; s < sides; ++s)
      addPolygon({ring(r, s), ring(r, s + 1), ring(r + 1, s + 1), ring(r + 1, s)}, surfaceName);
  for (int s = 0; s < sides; ++s) addPolygon({base + 1, ring(segments - 1, s), ring(segments - 1, s + 1)}, surfaceName);
  return first;
}

uint32_t ObjectBuilder::addTorus(const Point3f& c, float majorRadius, float minorRadius, int sides, int segments,
                                 const std::string& surfaceName) {
  sides = std::max(sides, 3);
  segments = std::max(segments, 3);
  uint32_t base = uint32_t(layer().points.size());
  for (int i = 0; i < segments; ++i) {
    double u = 2.0 * M_PI * i / segments;
    for (int j = 0; j < sides; ++j) {
      double v = 2.0 * M_PI * j / sides;
      double r = majorRadius + minorRadius * std::cos(v);
      addPoint(float(c[0] + r * std::cos(u)), float(c[1] + minorRadius * std::sin(v)), float(c[2] + r * std::sin(u)));
    }
  }
  auto at = [&](int i, int j) { return base + uint32_t((i % segments) * sides + (j % sides)); };
  uint32_t first = uint32_t(layer().polygons.size());
  for (int i = 0; i < segments; ++i)
    for (int j = 0; j < sides; ++j) addPolygon({at(i, j), at(i, j + 1), at(i + 1, j + 1), at(i + 1, j)}, surfaceName);
  return first;
}

uint32_t ObjectBuilder::addPlane(const Point3f& c, float sizeX, float sizeZ, int divisionsX, int divisionsZ,
                                 const std::string& surfaceName, const std::string& uvMap) {
  divisionsX = std::max(divisionsX, 1);
  divisionsZ = std::max(divisionsZ, 1);
  uint32_t base = uint32_t(layer().points.size());
  VertexMap* uv = uvMap.empty() ? nullptr : &vertexMap(chunkId("TXUV"), uvMap, 2);
  for (int iz = 0; iz <= divisionsZ; ++iz)
    for (int ix = 0; ix <= divisionsX; ++ix) {
      float u = float(ix) / float(divisionsX), v = float(iz) / float(divisionsZ);
      uint32_t p = addPoint(c[0] + (u - 0.5f) * sizeX, c[1], c[2] + (v - 0.5f) * sizeZ);
      if (uv) addEntry(*uv, p, {u, v});
    }
  auto at = [&](int ix, int iz) { return base + uint32_t(iz * (divisionsX + 1) + ix); };
  uint32_t first = uint32_t(layer().polygons.size());
  for (int iz = 0; iz < divisionsZ; ++iz)
    for (int ix = 0; ix < divisionsX; ++ix)
      addPolygon({at(ix, iz), at(ix, iz + 1), at(ix + 1, iz + 1), at(ix + 1, iz)}, surfaceName);
  return first;
}

uint32_t ObjectBuilder::addClip(const std::string& path) {
  Clip c;
  c.index = uint32_t(model_.clips.size() + 1);
  c.path = path;
  model_.clips.push_back(c);
  return c.index;
}

TextureLayer& ObjectBuilder::addImageMap(const std::string& surfaceName, uint32_t channel, uint32_t clip,
                                         Projection projection, const std::string& uvMap) {
  Surface& s = surface(surfaceName);
  TextureLayer t;
  t.type = TextureType::ImageMap;
  t.channel = channel;
  t.clip = clip;
  t.projection = projection;
  t.uvMap = uvMap;
  t.ordinal.assign(1, '\x80');  // not from a literal: GCC 12 sees a false overlap in that copy
  std::vector<TextureLayer>* stack = &s.otherLayers;
  switch (channel) {
    case chunkId("COLR"): stack = &s.color.layers; break;
    case chunkId("DIFF"): stack = &s.diffuse.layers; break;
    case chunkId("LUMI"): stack = &s.luminosity.layers; break;
    case lwo::kSpecularChunk: stack = &s.specularity.layers; break;
    case chunkId("GLOS"): stack = &s.glossiness.layers; break;
    case chunkId("REFL"): stack = &s.reflectivity.layers; break;
    case chunkId("TRAN"): stack = &s.transparency.layers; break;
    case chunkId("TRNL"): stack = &s.translucency.layers; break;
    case chunkId("RIND"): stack = &s.ior.layers; break;
    case chunkId("BUMP"): stack = &s.bump.layers; break;
    default: break;
  }
  stack->push_back(std::move(t));
  return stack->back();
}

ObjectModel ObjectBuilder::finish() {
  for (Layer& l : model_.layers) {
    l.computeBounds();
    l.hasBoundingBox = true;
  }
  return model_;
}

}  // namespace host
