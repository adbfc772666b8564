// The writer and the builder: what is written reads back field for field, and the builder's
// shapes are closed meshes whose faces point outward.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>

#include "host/formats/lwo2_writer.h"
#include "host/formats/lwo_builder.h"
#include "host/formats/lwo_reader.h"

namespace host {
namespace {

ObjectModel roundTrip(const ObjectModel& m) {
  std::vector<uint8_t> bytes = writeLwo2(m);
  ObjectModel back;
  std::string error;
  EXPECT_TRUE(readObjectBuffer(bytes.data(), bytes.size(), m.fileName, back, error)) << error;
  return back;
}

void expectSameEnvelopes(const ObjectModel& a, const ObjectModel& b) {
  ASSERT_EQ(a.envelopes.size(), b.envelopes.size());
  for (size_t i = 0; i < a.envelopes.size(); ++i) {
    const ObjectEnvelope& x = a.envelopes[i];
    const ObjectEnvelope& y = b.envelopes[i];
    EXPECT_EQ(x.index, y.index);
    EXPECT_EQ(x.type, y.type);
    EXPECT_EQ(x.envelope.name, y.envelope.name);
    EXPECT_EQ(x.envelope.pre, y.envelope.pre);
    EXPECT_EQ(x.envelope.post, y.envelope.post);
    ASSERT_EQ(x.envelope.keys.size(), y.envelope.keys.size());
    for (size_t k = 0; k < x.envelope.keys.size(); ++k) {
      const EnvelopeKey& p = x.envelope.keys[k];
      const EnvelopeKey& q = y.envelope.keys[k];
      EXPECT_EQ(p.time, q.time);
      EXPECT_EQ(p.value, q.value);
      EXPECT_EQ(p.shape, q.shape);
      EXPECT_EQ(p.tension, q.tension);
      EXPECT_EQ(p.continuity, q.continuity);
      EXPECT_EQ(p.bias, q.bias);
      for (int j = 0; j < 4; ++j) EXPECT_EQ(p.param[j], q.param[j]);
    }
  }
}

void expectSameModel(const ObjectModel& a, const ObjectModel& b) {
  EXPECT_EQ(a.tags, b.tags);
  ASSERT_EQ(a.layers.size(), b.layers.size());
  for (size_t i = 0; i < a.layers.size(); ++i) {
    SCOPED_TRACE("layer " + std::to_string(i));
    const Layer& x = a.layers[i];
    const Layer& y = b.layers[i];
    EXPECT_EQ(x.number, y.number);
    EXPECT_EQ(x.name, y.name);
    EXPECT_EQ(x.parent, y.parent);
    EXPECT_EQ(x.pivot, y.pivot);
    EXPECT_EQ(x.points, y.points);
    EXPECT_TRUE(x.polygons == y.polygons);
    // Per-point maps are written before per-corner maps, so only the order may differ.
    ASSERT_EQ(x.vertexMaps.size(), y.vertexMaps.size());
    for (const VertexMap& m : x.vertexMaps) {
      auto it = std::find_if(y.vertexMaps.begin(), y.vertexMaps.end(), [&](const VertexMap& n) {
        return n.type == m.type && n.name == m.name && n.perPolygon == m.perPolygon;
      });
      ASSERT_NE(it, y.vertexMaps.end()) << m.name;
      EXPECT_TRUE(m == *it) << m.name;
    }
    EXPECT_EQ(x.otherPolygonTags, y.otherPolygonTags);
    EXPECT_EQ(x.flags, y.flags);
    EXPECT_EQ(x.boundsMin, y.boundsMin);
    EXPECT_EQ(x.boundsMax, y.boundsMax);
  }
  ASSERT_EQ(a.surfaces.size(), b.surfaces.size());
  for (size_t i = 0; i < a.surfaces.size(); ++i) {
    SCOPED_TRACE(a.surfaces[i].name);
    EXPECT_TRUE(a.surfaces[i].color == b.surfaces[i].color);
    EXPECT_TRUE(a.surfaces[i] == b.surfaces[i]);
  }
  EXPECT_EQ(a.clips, b.clips);
  expectSameEnvelopes(a, b);
}

// Values exactly representable in single precision, so that equality is exact.
Surface& fillEveryChannel(Surface& s, float base) {
  s.color.value = {0.25, 0.5, 0.75};
  s.color.envelope = 1;
  SurfaceChannel* channels[] = {
      &s.luminosity, &s.diffuse, &s.specularity, &s.glossiness, &s.reflectivity, &s.transparency,
      &s.translucency, &s.ior, &s.bump, &s.colorHighlights, &s.colorFilter, &s.additiveTransparency,
      &s.diffuseSharpness, &s.reflectionSeamAngle, &s.refractionSeamAngle, &s.reflectionBlurring,
      &s.refractionBlurring, &s.glow, &s.lineSize,
  };
  float v = base;
  for (SurfaceChannel* c : channels) c->value = (v += 0.125f);
  s.transparency.envelope = 2;
  s.smoothingAngle = 1.5f;
  s.sidedness = SideDouble;
  s.reflectionOptions = 2;
  s.refractionOptions = 3;
  s.reflectionImage = 1;
  s.refractionImage = 2;
  s.alphaOptions = 1;
  s.alphaValue = 0.5;
  s.lineFlags = 1;
  s.vertexColoring = 0.75;
  s.vertexColorMapType = chunkId("RGBA");
  s.vertexColorMap = "Paint";
  s.source = "Parent";
  return s;
}

TEST(Lwo2Writer, EverythingReadsBackTheSame) {
  ObjectBuilder b("every.lwo");
  b.layer().name = "Base";
  b.layer().pivot = {1.0f, 2.0f, 3.0f};
  b.addBox({0, 0, 0}, {2, 2, 2}, "Box", "BoxUV");
  b.addSphere({3, 0, 0}, 1.0f, 8, 5, "Ball", "BallUV");
  uint32_t curve = b.addPolygon({0, 1, 2}, "Box", chunkId("CURV"));
  b.layer().polygons[curve].flags = 3;
  uint32_t patch = b.addPolygon({4, 5, 6, 7}, "Ball", chunkId("SUBD"));
  b.setPart(0, "Lid");
  b.setPart(patch, "Skin");
  b.layer().polygons[1].smoothingGroup = 7;
  b.layer().otherPolygonTags[chunkId("COLR")] = {{2, 5}, {3, 6}};
  VertexMap& w = b.vertexMap(chunkId("WGHT"), "Weight", 1);
  w.points = {0, 3, 5};
  w.values = {0.25f, 0.5f, 1.0f};
  VertexMap& rgb = b.vertexMap(chunkId("RGBA"), "Paint", 4);
  rgb.points = {1};
  rgb.values = {1.0f, 0.5f, 0.25f, 0.125f};

  b.newLayer(5, "Child", 0).pivot = {0.5f, 0.0f, -0.5f};
  b.addTorus({0, 0, 0}, 2.0f, 0.5f, 6, 8, "Ring");
  b.addPlane({0, -1, 0}, 4.0f, 4.0f, 2, 3, "Floor", "FloorUV");
  b.layer().flags = 1;

  uint32_t still = b.addClip("images/wood.png");
  Clip seq;
  seq.index = 2;
  seq.kind = ClipKind::Sequence;
  seq.path = "frames/f";
  seq.suffix = ".exr";
  seq.digits = 4;
  seq.start = 1;
  seq.end = 24;
  seq.offset = -2;
  b.model().clips.push_back(seq);

  fillEveryChannel(b.surface("Box"), 0.0f);
  fillEveryChannel(b.surface("Ball"), 1.0f).sidedness = SideFront;
  fillEveryChannel(b.surface("Ring"), 2.0f);
  fillEveryChannel(b.surface("Floor"), 3.0f).vertexColorMap.clear();
  TextureLayer& image = b.addImageMap("Box", chunkId("COLR"), still, Projection::UV, "BoxUV");
  image.wrapWidth = WrapMode::Mirror;
  image.wrapHeight = WrapMode::Edge;
  image.wrapWidthAmount = 2.0;
  image.mapping.center = {{1.0, 2.0, 3.0}, 0};
  image.mapping.size = {{0.5, 0.25, 4.0}, 0};
  image.mapping.rotation = {{0.0, 1.5, 0.0}, 0};
  image.mapping.coordinateSystem = 1;
  image.blend = BlendMode::Multiply;
  image.opacity = 0.5;
  image.negative = true;
  image.pixelBlending = false;
  TextureLayer& bump = b.addImageMap("Box", chunkId("BUMP"), seq.index, Projection::Cubic);
  bump.amplitude = 2.5;
  bump.enabled = false;

  Surface& ball = b.surface("Ball");
  TextureLayer proc;
  proc.type = TextureType::Procedural;
  proc.channel = chunkId("DIFF");
  proc.ordinal = "\x80";
  proc.procedure = "Turbulence";
  proc.procedureData = {0, 0, 0, 3, 0x3f, 0x80, 0, 0};
  proc.procedureValue = {0.5, 0.25, 1.0};
  ball.diffuse.layers.push_back(proc);
  TextureLayer grad;
  grad.type = TextureType::Gradient;
  grad.channel = chunkId("TRAN");
  grad.ordinal = "\x80";
  grad.gradientParameter = "Incidence Angle";
  grad.gradientItem = "(none)";
  grad.gradientStart = 0.0;
  grad.gradientEnd = 1.5;
  grad.gradientRepeat = 1;
  grad.gradientKeys = {{0.0, {1, 0, 0, 1}}, {0.75, {0, 0.5, 1, 0.25}}};
  grad.gradientKeyShapes = {0, 3};
  ball.transparency.layers.push_back(grad);
  TextureLayer shader;
  shader.type = TextureType::Shader;
  shader.channel = chunkId("TXTR");
  shader.ordinal = "\x80";
  shader.shaderName = "Ombrel";
  shader.shaderData = {1, 2, 3};
  ball.otherLayers.push_back(shader);
  // Two layers on one channel keep the order of their ordinals.
  TextureLayer second = proc;
  second.ordinal = "\x81";
  second.procedure = "Crumple";
  ball.diffuse.layers.push_back(second);

  ObjectEnvelope e1;
  e1.index = 1;
  e1.type = 0x0201;
  e1.envelope.name = "Color.R";
  e1.envelope.pre = EnvBehavior::Repeat;
  e1.envelope.post = EnvBehavior::OffsetRepeat;
  EnvelopeKey k;
  k.time = 0.0, k.value = 0.25, k.shape = KeyShape::TCB, k.tension = 0.5, k.continuity = -0.5, k.bias = 0.25;
  e1.envelope.keys.push_back(k);
  k = EnvelopeKey();
  k.time = 1.0, k.value = 1.0, k.shape = KeyShape::Bezier2D;
  k.param[0] = -0.25, k.param[1] = 0.5, k.param[2] = 0.25, k.param[3] = 0.75;
  e1.envelope.keys.push_back(k);
  k = EnvelopeKey();
  k.time = 2.0, k.value = 0.5, k.shape = KeyShape::Stepped;
  e1.envelope.keys.push_back(k);
  ObjectEnvelope e2;
  e2.index = 2;
  e2.type = 0x0001;
  k = EnvelopeKey();
  k.time = 0.5, k.value = 3.0, k.shape = KeyShape::Hermite, k.param[0] = 1.0, k.param[1] = -1.0;
  e2.envelope.keys.push_back(k);
  b.model().envelopes = {e1, e2};

  ObjectModel model = b.finish();
  ObjectModel back = roundTrip(model);
  expectSameModel(model, back);
  EXPECT_EQ(back.surfaces[1].diffuse.layers.at(1).procedure, "Crumple");
  EXPECT_EQ(back.format, ObjectFormat::LWO2);

  // A second trip changes nothing at all.
  EXPECT_EQ(writeLwo2(back), writeLwo2(model));
}

TEST(Lwo2Writer, LargeIndicesUseTheLongForm) {
  // Past 0xFF00 points and polygons, indices take four bytes.
  ObjectBuilder b("big.lwo");
  for (int i = 0; i < 70000; ++i) b.addPoint(float(i), 0, 0);
  for (uint32_t i = 0; i + 2 < 70000; i += 1) b.addPolygon({i, i + 1, i + 2}, "S");
  VertexMap& w = b.vertexMap(chunkId("TXUV"), "UV", 2, true);
  w.points = {69999, 65300};
  w.polygons = {69997, 65290};
  w.values = {1, 2, 3, 4};
  fillEveryChannel(b.surface("S"), 0.5f);
  ObjectModel model = b.finish();
  ObjectModel back = roundTrip(model);
  expectSameModel(model, back);
}

TEST(Lwo2Writer, ModelsTheFormatCantHoldAreRefused) {
  ObjectBuilder b("wide.lwo");
  std::vector<uint32_t> ring;
  for (int i = 0; i < 1100; ++i) ring.push_back(b.addPoint(std::cos(i * 0.01f), std::sin(i * 0.01f), 0));
  b.addPolygon(ring, "S");
  std::vector<uint8_t> bytes;
  std::string error;
  EXPECT_FALSE(writeLwo2(b.model(), bytes, error));
  EXPECT_NE(error.find("1100 corners"), std::string::npos) << error;
  EXPECT_TRUE(writeLwo2(b.model()).empty());

  ObjectBuilder t("long.lwo");
  t.addBox({0, 0, 0}, {1, 1, 1}, "S");
  t.surface("S").vertexColorMap = std::string(70000, 'x');
  EXPECT_FALSE(writeLwo2(t.model(), bytes, error));
  EXPECT_NE(error.find("VCOL"), std::string::npos) << error;
  t.surface("S").vertexColorMap.clear();
  TextureLayer proc;
  proc.type = TextureType::Procedural;
  proc.channel = chunkId("COLR");
  proc.procedureData.resize(70000);
  t.surface("S").color.layers.push_back(proc);
  EXPECT_FALSE(writeLwo2File(t.model(), std::string(OMBREL_BINARY_DIR) + "/lwo2_writer_test_long.lwo", error));
  EXPECT_NE(error.find("FUNC"), std::string::npos) << error;
}

TEST(Lwo2Writer, FileIsWrittenAndReadFromDisk) {
  ObjectBuilder b("box.lwo");
  b.addBox({0, 0, 0}, {1, 1, 1}, "Default");
  fillEveryChannel(b.surface("Default"), 0.5f);
  ObjectModel model = b.finish();
  std::string path = std::string(OMBREL_BINARY_DIR) + "/lwo2_writer_test_box.lwo";
  std::string error;
  ASSERT_TRUE(writeLwo2File(model, path, error)) << error;
  ObjectModel back;
  ASSERT_TRUE(readObjectFile(path, back, error)) << error;
  EXPECT_EQ(back.fileName, path);
  expectSameModel(model, back);
  EXPECT_FALSE(writeLwo2File(model, "/nonexistent-folder/x.lwo", error));
  // Default channel values aren't exact in single precision; a second save is still identical.
  ObjectBuilder plain("plain.lwo");
  plain.addSphere({0, 0, 0}, 1.0f, 6, 4, "Default");
  ObjectModel first = plain.finish();
  ObjectModel second = roundTrip(first);
  EXPECT_EQ(writeLwo2(second), writeLwo2(first));
  EXPECT_NEAR(second.surfaces[0].color.value[0], first.surfaces[0].color.value[0], 1e-7);
  EXPECT_NE(error.find("/nonexistent-folder/x.lwo"), std::string::npos);
}

// Normal of a polygon as LightWave sees it: clockwise from the front.
std::array<double, 3> normalOf(const Layer& l, const Polygon& p) {
  const Point3f& a = l.points[p.vertices[0]];
  const Point3f& b = l.points[p.vertices[1]];
  const Point3f& c = l.points[p.vertices[2]];
  double u[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
  double v[3] = {c[0] - a[0], c[1] - a[1], c[2] - a[2]};
  return {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]};
}

std::array<double, 3> centroid(const Layer& l, const Polygon& p) {
  std::array<double, 3> c{0, 0, 0};
  for (uint32_t v : p.vertices)
    for (int a = 0; a < 3; ++a) c[a] += l.points[v][a] / double(p.vertices.size());
  return c;
}

// Every edge of a closed, consistently wound mesh is used once in each direction.
void expectClosed(const Layer& l) {
  std::map<std::pair<uint32_t, uint32_t>, int> edges;
  for (const Polygon& p : l.polygons)
    for (size_t i = 0; i < p.vertices.size(); ++i) ++edges[{p.vertices[i], p.vertices[(i + 1) % p.vertices.size()]}];
  for (const auto& [e, n] : edges) {
    EXPECT_EQ(n, 1);
    EXPECT_EQ(edges.count({e.second, e.first}), 1u) << e.first << "-" << e.second;
  }
}

TEST(ObjectBuilder, ShapesAreClosedAndFaceOutward) {
  ObjectBuilder b;
  b.addBox({1, 2, 3}, {2, 4, 6}, "Box");
  const Layer& box = b.layer();
  EXPECT_EQ(box.points.size(), 8u);
  EXPECT_EQ(box.polygons.size(), 6u);
  expectClosed(box);
  for (const Polygon& p : box.polygons) {
    auto n = normalOf(box, p);
    auto c = centroid(box, p);
    EXPECT_GT(n[0] * (c[0] - 1) + n[1] * (c[1] - 2) + n[2] * (c[2] - 3), 0.0);
  }

  ObjectBuilder s;
  s.addSphere({0, 0, 0}, 2.0f, 12, 6, "Ball", "UV");
  const Layer& ball = s.layer();
  EXPECT_EQ(ball.points.size(), 2u + 12u * 5u);
  EXPECT_EQ(ball.polygons.size(), 12u * 6u);
  expectClosed(ball);
  for (const Point3f& p : ball.points) EXPECT_NEAR(std::sqrt(p[0] * p[0] + p[1] * p[1] + p[2] * p[2]), 2.0, 1e-5);
  for (const Polygon& p : ball.polygons) {
    auto n = normalOf(ball, p);
    auto c = centroid(ball, p);
    EXPECT_GT(n[0] * c[0] + n[1] * c[1] + n[2] * c[2], 0.0);
  }
  EXPECT_EQ(ball.findVertexMap(chunkId("TXUV"), "UV")->size(), ball.points.size());

  ObjectBuilder t;
  t.addTorus({0, 0, 0}, 3.0f, 1.0f, 8, 16, "Ring");
  const Layer& ring = t.layer();
  EXPECT_EQ(ring.polygons.size(), 8u * 16u);
  expectClosed(ring);
  for (const Polygon& p : ring.polygons) {
    auto n = normalOf(ring, p);
    auto c = centroid(ring, p);
    double r = std::hypot(c[0], c[2]);
    double tube[3] = {c[0] - 3.0 * c[0] / r, c[1], c[2] - 3.0 * c[2] / r};
    EXPECT_GT(n[0] * tube[0] + n[1] * tube[1] + n[2] * tube[2], 0.0);
  }

  ObjectBuilder pl;
  pl.addPlane({0, 1, 0}, 2.0f, 4.0f, 2, 4, "Floor");
  const Layer& plane = pl.layer();
  EXPECT_EQ(plane.points.size(), 15u);
  EXPECT_EQ(plane.polygons.size(), 8u);
  for (const Polygon& p : plane.polygons) EXPECT_GT(normalOf(plane, p)[1], 0.0);
  ObjectModel done = pl.finish();
  EXPECT_EQ(done.layers[0].boundsMin, (Point3f{-1.0f, 1.0f, -2.0f}));
  EXPECT_EQ(done.layers[0].boundsMax, (Point3f{1.0f, 1.0f, 2.0f}));
  EXPECT_EQ(done.surfaceName(done.layers[0].polygons[0]), "Floor");
}

}  // namespace
}  // namespace host
