// Real LightWave objects from the shared corpus: they all load without a warning, their counts
// agree with an independent walk of the file, known surfaces read back their values, and cut
// copies fail with a message or load what is whole with a warning, never crashing.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>

#include "host/formats/lwo_reader.h"

namespace host {
namespace {

namespace fs = std::filesystem;

const fs::path kCorpus = fs::path(OMBREL_CORPUS_DIR) / "lightwave";

std::vector<fs::path> corpusObjects() {
  std::vector<fs::path> files;
  if (!fs::is_directory(kCorpus)) return files;
  for (const auto& e : fs::recursive_directory_iterator(kCorpus))
    if (e.is_regular_file() && e.path().extension() == ".lwo") files.push_back(e.path());
  std::sort(files.begin(), files.end());
  return files;
}

std::vector<uint8_t> slurp(const fs::path& p) {
  std::ifstream in(p, std::ios::binary);
  return std::vector<uint8_t>((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

#define REQUIRE_CORPUS()                                                            \
  if (!fs::is_directory(kCorpus)) GTEST_SKIP() << "no corpus at " << kCorpus.string()

uint32_t be32(const std::vector<uint8_t>& d, size_t at) {
  return (uint32_t(d[at]) << 24) | (uint32_t(d[at + 1]) << 16) | (uint32_t(d[at + 2]) << 8) | d[at + 3];
}
uint16_t be16(const std::vector<uint8_t>& d, size_t at) { return uint16_t((d[at] << 8) | d[at + 1]); }

// Counts points and polygons straight from the top-level chunks, without the reader.
void countByHand(const std::vector<uint8_t>& d, size_t& points, size_t& polygons) {
  points = polygons = 0;
  bool old = std::memcmp(&d[8], "LWOB", 4) == 0;
  size_t at = 12, end = 8 + be32(d, 4);
  while (at + 8 <= end) {
    uint32_t len = be32(d, at + 4);
    size_t body = at + 8;
    if (std::memcmp(&d[at], "PNTS", 4) == 0) points += len / 12;
    if (std::memcmp(&d[at], "POLS", 4) == 0) {
      size_t p = body + (old ? 0 : 4);
      while (p + 2 <= body + len) {
        unsigned n = be16(d, p) & (old ? 0xFFFF : 0x03FF);
        p += 2;
        for (unsigned i = 0; i < n; ++i) p += (!old && d[p] == 0xFF) ? 4 : 2;
        if (old) {
          int16_t surf = int16_t(be16(d, p));
          p += surf < 0 ? 4 : 2;
        }
        ++polygons;
      }
    }
    at = body + len + (len & 1);
  }
}

TEST(LwoCorpus, EveryObjectLoadsWithTheCountsOfItsFile) {
  REQUIRE_CORPUS();
  auto files = corpusObjects();
  ASSERT_GT(files.size(), 50u);
  for (const fs::path& f : files) {
    SCOPED_TRACE(f.string());
    ObjectModel m;
    std::string error;
    ASSERT_TRUE(readObjectFile(f.string(), m, error)) << error;
    size_t points, polygons;
    countByHand(slurp(f), points, polygons);
    EXPECT_EQ(m.pointCount(), points);
    EXPECT_EQ(m.polygonCount(), polygons);
    EXPECT_FALSE(m.layers.empty());
    for (const std::string& w : m.warnings) ADD_FAILURE() << w;  // a sound file mends nothing
    for (const Layer& l : m.layers)
      for (const Polygon& p : l.polygons)
        for (uint32_t v : p.vertices) ASSERT_LT(v, l.points.size());
  }
}

ObjectModel load(const std::string& relative) {
  ObjectModel m;
  std::string error;
  EXPECT_TRUE(readObjectFile((kCorpus / relative).string(), m, error)) << error;
  return m;
}

TEST(LwoCorpus, Lwo2SurfacesVertexMapsAndLayers) {
  REQUIRE_CORPUS();
  ObjectModel m = load("LWO/LWO2/UglyVertexColors.lwo");
  EXPECT_EQ(m.format, ObjectFormat::LWO2);
  ASSERT_EQ(m.surfaces.size(), 3u);
  const Surface* d = m.findSurface("Default");
  const Surface* d2 = m.findSurface("Default2");
  const Surface* tex = m.findSurface("Textured");
  ASSERT_TRUE(d && d2 && tex);
  EXPECT_NEAR(d->color.value[0], 1.0, 1e-6);
  EXPECT_NEAR(d->color.value[1], 128.0 / 255.0, 1e-3);
  EXPECT_NEAR(d->color.value[2], 0.0, 1e-6);
  EXPECT_NEAR(d2->specularity.value, 0.5, 1e-6);
  EXPECT_NEAR(d2->glossiness.value, 0.8, 1e-6);
  EXPECT_NEAR(d2->smoothingAngle, 1.5625, 1e-3);
  ASSERT_EQ(tex->color.layers.size(), 1u);
  EXPECT_EQ(tex->color.layers[0].type, TextureType::ImageMap);
  EXPECT_EQ(tex->color.layers[0].projection, Projection::Spherical);
  const Clip* clip = m.findClip(tex->color.layers[0].clip);
  ASSERT_NE(clip, nullptr);
  EXPECT_NE(clip->path.find("ConcreteBunker"), std::string::npos);

  const Layer& l = m.layers[0];
  const VertexMap* rgb = l.findVertexMap(chunkId("RGB "), "MyVColor");
  ASSERT_NE(rgb, nullptr);
  EXPECT_EQ(rgb->dimension, 3);
  EXPECT_FALSE(rgb->perPolygon);
  EXPECT_EQ(rgb->size(), 830u);
  bool perCorner = false;
  for (const VertexMap& v : l.vertexMaps) perCorner |= v.perPolygon && v.type == chunkId("RGB ");
  EXPECT_TRUE(perCorner);
  // Every polygon has a surface tag naming one of the surfaces.
  for (const Polygon& p : l.polygons) EXPECT_NE(m.findSurface(m.surfaceName(p)), nullptr);

  ObjectModel h = load("LWO/LWO2/hierarchy.lwo");
  ASSERT_EQ(h.layers.size(), 4u);
  std::map<std::string, int> parentOf;
  for (const Layer& layer : h.layers) parentOf[layer.name] = layer.parent;
  EXPECT_EQ(parentOf["RootOfHierarchy"], -1);
  EXPECT_EQ(parentOf["ChildOfRoot0"], 4);
  EXPECT_EQ(parentOf["GrandChildOfRoot0"], 3);
  const Layer& root = *std::find_if(h.layers.begin(), h.layers.end(),
                                    [](const Layer& x) { return x.name == "RootOfHierarchy"; });
  EXPECT_NE(root.findVertexMap(chunkId("WGHT"), "Weight0"), nullptr);
}

TEST(LwoCorpus, ImageMapProjectionsAxesAndWraps) {
  REQUIRE_CORPUS();
  struct Case { const char* file; Projection projection; int axis; double wrapW, wrapH; };
  const Case cases[] = {
      {"earth_planar_x.lwo", Projection::Planar, 0, 2, 2},
      {"earth_cylindrical_y.lwo", Projection::Cylindrical, 1, 1, 1},
      {"earth_spherical_z.lwo", Projection::Spherical, 2, 1, 1},
      {"earth_spherical_z_wrap_22.lwo", Projection::Spherical, 2, 2, 2},
      {"earth_cylindrical_y_scale_111_wrap_21.lwo", Projection::Cylindrical, 1, 2, 1},
      {"earth_uv_cylindrical_y.lwo", Projection::UV, -1, 1, 1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.file);
    ObjectModel m = load(std::string("LWO/LWO2/MappingModes/") + c.file);
    ASSERT_EQ(m.surfaces.size(), 1u);
    ASSERT_EQ(m.surfaces[0].color.layers.size(), 1u);
    const TextureLayer& t = m.surfaces[0].color.layers[0];
    EXPECT_EQ(t.projection, c.projection);
    if (c.axis >= 0) {
      EXPECT_EQ(t.axis, c.axis);
    }
    EXPECT_EQ(t.wrapWidth, WrapMode::Repeat);
    EXPECT_DOUBLE_EQ(t.wrapWidthAmount, c.wrapW);
    EXPECT_DOUBLE_EQ(t.wrapHeightAmount, c.wrapH);
    EXPECT_EQ(t.channel, chunkId("COLR"));
    if (c.projection == Projection::UV) {
      EXPECT_FALSE(t.uvMap.empty());
    }
    ASSERT_NE(m.findClip(t.clip), nullptr);
  }
  ObjectModel scaled = load("LWO/LWO2/MappingModes/earth_spherical_x_scale_222_wrap_22.lwo");
  const TextureLayer& t = scaled.surfaces[0].color.layers[0];
  for (int a = 0; a < 3; ++a) EXPECT_NEAR(t.mapping.size.value[a], 2.0, 1e-6);
}

TEST(LwoCorpus, OldFormatSurfacesAndTextures) {
  REQUIRE_CORPUS();
  ObjectModel m = load("LWO/LWOB/MappingModes/bluewithcylindrictexz.lwo");
  EXPECT_EQ(m.format, ObjectFormat::LWOB);
  ASSERT_EQ(m.surfaces.size(), 1u);
  const Surface& s = m.surfaces[0];
  EXPECT_EQ(s.name, "Test");
  EXPECT_NEAR(s.color.value[1], 128.0 / 255.0, 1e-9);
  EXPECT_NEAR(s.color.value[2], 192.0 / 255.0, 1e-9);
  EXPECT_NEAR(s.specularity.value, 0.3, 1e-6);  // the exact VSPC, not the integer level's 77/256
  EXPECT_NEAR(s.glossiness.value, 0.6, 1e-9);   // exponent 64
  ASSERT_EQ(s.color.layers.size(), 1u);
  const TextureLayer& t = s.color.layers[0];
  EXPECT_EQ(t.type, TextureType::ImageMap);
  EXPECT_EQ(t.projection, Projection::Cylindrical);
  EXPECT_EQ(t.axis, 2);
  const Clip* clip = m.findClip(t.clip);
  ASSERT_NE(clip, nullptr);
  EXPECT_NE(clip->path.find("IMAGE2.jpg"), std::string::npos);
  for (const Polygon& p : m.layers[0].polygons) EXPECT_EQ(m.surfaceName(p), "Test");

  ObjectModel sphere = load("LWO/LWOB/sphere_with_mat_gloss_10pc.lwo");
  EXPECT_NEAR(sphere.surfaces[0].glossiness.value, 0.4, 1e-9);  // exponent 16
  EXPECT_NEAR(sphere.surfaces[0].smoothingAngle, 1.5626, 1e-3);
}

TEST(LwoCorpus, Lwo3GeometryAndMaterialChannels) {
  REQUIRE_CORPUS();
  ObjectModel m = load("blender-import-lwo/LWO3/box/box1-uv.lwo");
  EXPECT_EQ(m.format, ObjectFormat::LWO3);
  ASSERT_EQ(m.layers.size(), 1u);
  EXPECT_EQ(m.layers[0].points.size(), 8u);
  EXPECT_EQ(m.layers[0].polygons.size(), 6u);
  EXPECT_EQ(m.surfaces.size(), 6u);
  const Surface* back = m.findSurface("Back");
  const Surface* top = m.findSurface("Top");
  ASSERT_TRUE(back && top);
  EXPECT_NEAR(back->color.value[0], 1.0, 1e-9);
  EXPECT_NEAR(back->color.value[1], 128.0 / 255.0, 1e-3);
  EXPECT_NEAR(top->color.value[2], 1.0, 1e-9);
  EXPECT_NEAR(top->diffuse.value, 1.0, 1e-9);
  EXPECT_NEAR(top->glossiness.value, 0.4, 1e-9);
  ASSERT_EQ(back->color.layers.size(), 1u);
  EXPECT_EQ(back->color.layers[0].projection, Projection::UV);
  EXPECT_EQ(back->color.layers[0].uvMap, "Texture");
  const Clip* clip = m.findClip(back->color.layers[0].clip);
  ASSERT_NE(clip, nullptr);
  EXPECT_EQ(clip->path, "C:storage/3d/box/cc0.png");
  EXPECT_NE(m.layers[0].findVertexMap(chunkId("TXUV"), "Texture"), nullptr);
  // Each face carries its own surface.
  std::set<std::string> names;
  for (const Polygon& p : m.layers[0].polygons) names.insert(m.surfaceName(p));
  EXPECT_EQ(names.size(), 6u);

  // The same box saved in the three formats has the same geometry.
  ObjectModel two = load("blender-import-lwo/LWO2/box/box3-uv-layers.lwo");
  ObjectModel three = load("blender-import-lwo/LWO3/box/box3-uv-layers.lwo");
  ASSERT_EQ(two.layers.size(), three.layers.size());
  for (const Layer& a : two.layers) {
    auto b = std::find_if(three.layers.begin(), three.layers.end(),
                          [&](const Layer& x) { return x.number == a.number; });
    ASSERT_NE(b, three.layers.end());
    EXPECT_EQ(a.points, b->points);
    ASSERT_EQ(a.polygons.size(), b->polygons.size());
    for (size_t p = 0; p < a.polygons.size(); ++p) EXPECT_EQ(a.polygons[p].vertices, b->polygons[p].vertices);
  }
}

// Rewrites the form length so that a cut lands inside the chunks rather than at the header.
std::vector<uint8_t> cut(const std::vector<uint8_t>& d, size_t size) {
  std::vector<uint8_t> c(d.begin(), d.begin() + long(size));
  if (size >= 8) {
    uint32_t len = uint32_t(size - 8);
    for (int i = 0; i < 4; ++i) c[4 + i] = uint8_t(len >> (24 - 8 * i));
  }
  return c;
}

TEST(LwoCorpus, CutFilesFailOrLoadWhatIsWholeWithAWarning) {
  REQUIRE_CORPUS();
  for (const fs::path& f : corpusObjects()) {
    SCOPED_TRACE(f.string());
    std::vector<uint8_t> d = slurp(f);
    const std::string name = f.filename().string();
    int flagged = 0;
    for (int k = 1; k <= 12; ++k) {
      size_t size = d.size() * size_t(k) / 13 + size_t(k % 3);  // odd and even cuts
      ObjectModel m;
      std::string error;
      // Plain truncation: a chunk the cut runs through fails; a cut between chunks loads what
      // stands before it, saying the form was longer.
      if (readObjectBuffer(d.data(), size, name, m, error)) {
        ASSERT_FALSE(m.warnings.empty());
        EXPECT_NE(m.warnings[0].find("runs past the end of the file"), std::string::npos) << m.warnings[0];
      } else {
        EXPECT_EQ(error.rfind(name + ":", 0), 0u) << error;
        EXPECT_NE(error.find("offset"), std::string::npos) << error;
      }
      // Truncation with a consistent form length: the chunk that was cut is clipped to the form
      // and must fail or warn, unless the cut fell between chunks.
      std::vector<uint8_t> c = cut(d, size);
      if (!readObjectBuffer(c.data(), c.size(), name, m, error)) {
        ++flagged;
        EXPECT_EQ(error.rfind(name + ":", 0), 0u) << error;
        EXPECT_NE(error.find("chunk "), std::string::npos) << error;
      } else if (!m.warnings.empty()) {
        ++flagged;
      }
    }
    EXPECT_GE(flagged, 10);
  }
}

}  // namespace
}  // namespace host
