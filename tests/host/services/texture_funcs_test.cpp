// Textures of surface channels evaluated at spots: where the projections of the mapping-mode
// objects put known points, UV maps, tiling past the edges, blending over a stack, gradients,
// bump gradients and animated layers.
#include <array>
#include <cmath>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>
#include <lwsurf.h>
#include <lwtxtr.h>

#include "host/formats/lwo_builder.h"
#include "host/formats/lwo_reader.h"
#include "host/scene/transform.h"
#include "host/services/host.h"
#include "host/services/scene_ids.h"

namespace {

namespace fs = std::filesystem;
using host::Vec3;
using Rgba = std::array<double, 4>;
constexpr double kPi = 3.14159265358979323846;

const fs::path kCorpus = fs::path(OMBREL_CORPUS_DIR) / "lightwave" / "LWO" / "LWO2";

// An image read straight from its file: the values the textures should show.
struct Picture {
  int w = 0, h = 0, n = 0;
  std::vector<float> px;
  const float* at(int x, int y) const { return px.data() + (size_t(y) * size_t(w) + size_t(x)) * size_t(n); }
};

Picture readPicture(const fs::path& path) {
  Picture p;
  if (auto in = OIIO::ImageInput::open(path.string())) {
    const OIIO::ImageSpec dims = in->spec_dimensions(0);
    p.w = dims.width, p.h = dims.height, p.n = dims.nchannels;
    p.px.resize(size_t(p.w) * size_t(p.h) * size_t(p.n));
    in->read_image(0, 0, 0, p.n, OIIO::TypeDesc::FLOAT, p.px.data());
  }
  return p;
}

// One object, turned by `hpb`, in a host of its own.
class Stage {
 public:
  explicit Stage(std::shared_ptr<const host::ObjectModel> model, Vec3 hpb = {0, 0, 0}) : turn_(host::rotationHPB(hpb)) {
    host::Scene scene;
    scene.addItem(host::ItemType::Object, "Thing");
    scene.items[0].object.model = model;
    scene.items[0].object.path = model->fileName;
    scene.items[0].setRotation(hpb);
    host::HostSettings quiet;
    quiet.messagesToStderr = false;
    host_ = std::make_unique<host::Host>(std::move(scene), quiet);
  }

  host::Host& host() { return *host_; }
  LWTextureFuncs* tf() { return static_cast<LWTextureFuncs*>(host_->global(LWTEXTUREFUNCS_GLOBAL, 0)); }
  LWTextureID texture(const std::string& surface, const char* channel) {
    auto* sf = static_cast<LWSurfaceFuncs*>(host_->global(LWSURFACEFUNCS_GLOBAL, 0));
    LWSurfaceID* ids = sf->byName(surface.c_str(), nullptr);
    return ids && ids[0] ? sf->getTex(ids[0], channel) : nullptr;
  }

  // A spot at an object position, facing -z in object space, seen from -z.
  LWMicropol spot(const Vec3& o) {
    LWMicropol m{};
    const Vec3 w = turn_ * o, n = turn_ * Vec3{0, 0, -1};
    for (size_t k = 0; k < 3; ++k) m.oPos[k] = o[k], m.wPos[k] = w[k], m.wNorm[k] = m.gNorm[k] = n[k];
    m.raySource[2] = -10.0;
    m.oAxis = m.wAxis = 2;
    m.objID = host::itemIdAt(host_->scene(), 0);
    return m;
  }
  Rgba colourAt(LWTextureID t, LWMicropol m, std::array<double, 3> base = {0, 0, 0}) {
    double v[3] = {base[0], base[1], base[2]};
    const double a = tf()->evaluate(t, &m, v);
    return {v[0], v[1], v[2], a};
  }
  Rgba colour(LWTextureID t, const Vec3& o, std::array<double, 3> base = {0, 0, 0}) { return colourAt(t, spot(o), base); }

 private:
  host::Mat3 turn_;
  std::unique_ptr<host::Host> host_;
};

// A corpus object with pixel blending off, so that a point shows exactly one texel.
std::shared_ptr<const host::ObjectModel> corpusModel(const std::string& name) {
  host::ObjectModel m;
  std::string error;
  if (!host::readObjectFile((kCorpus / name).string(), m, error)) return nullptr;
  for (auto& s : m.surfaces)
    for (auto& l : s.color.layers) l.pixelBlending = false;
  return std::make_shared<const host::ObjectModel>(std::move(m));
}

#define NEED_CORPUS() \
  if (!fs::exists(kCorpus / "MappingModes")) GTEST_SKIP() << "no test corpus at " << kCorpus

void expectTexel(const Rgba& got, const Picture& pic, int x, int y, const std::string& what) {
  for (int k = 0; k < 3; ++k) EXPECT_NEAR(got[size_t(k)], pic.at(x, y)[k], 1e-5) << what << " texel " << x << "," << y;
  EXPECT_DOUBLE_EQ(got[3], 1.0) << what;
}

// The point whose planar coordinates s (right) and t (down) fall on the centre of texel (i, j).
Vec3 planarPoint(const host::TextureLayer& l, const Picture& pic, int i, int j) {
  const double s = (i + 0.5) / pic.w - 0.5, t = 0.5 - (j + 0.5) / pic.h;
  const Vec3 c = l.mapping.center.value, z = l.mapping.size.value;
  Vec3 q{0.3, 0.3, 0.3};  // along the projection's own axis anything goes
  if (l.axis == 0) q[2] = s * z[2], q[1] = t * z[1];
  if (l.axis == 1) q[0] = s * z[0], q[2] = t * z[2];
  if (l.axis == 2) q[0] = s * z[0], q[1] = t * z[1];
  return {c[0] + q[0], c[1] + q[1], c[2] + q[2]};
}

TEST(TextureProjection, PlanarMapsPutTheCentreAndKnownPointsOnKnownTexels) {
  NEED_CORPUS();
  const Picture pic = readPicture(kCorpus / "MappingModes" / "earthSpherical.jpg");
  for (const char* file : {"earth_planar_x.lwo", "earth_planar_y.lwo", "earth_planar_z.lwo"}) {
    auto model = corpusModel(std::string("MappingModes/") + file);
    ASSERT_TRUE(model) << file;
    Stage stage(model);
    const LWTextureID t = stage.texture("Default", "BaseColor");
    const host::TextureLayer& l = model->surfaces[0].color.layers[0];
    // The layer's centre is the image's centre, texel (1024, 512) of 2048 x 1024.
    expectTexel(stage.colour(t, l.mapping.center.value), pic, 1024, 512, file);
    for (auto [i, j] : {std::pair{100, 50}, {1900, 900}, {517, 700}})
      expectTexel(stage.colour(t, planarPoint(l, pic, i, j)), pic, i, j, file);
  }
}

// The point at longitude s (0..1 across the image) and row t of a cylindrical or spherical map,
// at distance 1 from the centre. The longitude starts behind (+z for the y axis) and runs by
// -x, the front and +x: the heading about the map's axis is h = 2 pi (1 - s).
Vec3 roundPoint(const host::TextureLayer& l, bool spherical, double s, double t) {
  const double h = 2.0 * kPi * (1.0 - s), p = spherical ? kPi * (0.5 - t) : 0.0;
  const double ax = -std::sin(h) * std::cos(p), az = std::cos(h) * std::cos(p);
  const double up = spherical ? std::sin(p) : (0.5 - t) * l.mapping.size.value[size_t(l.axis)];
  // From the frame where the map's axis is up back to texture space.
  Vec3 q = l.axis == 0 ? Vec3{up, -az, ax} : l.axis == 1 ? Vec3{-ax, up, az} : Vec3{-ax, -az, up};
  const Vec3 c = l.mapping.center.value;
  return {c[0] + q[0], c[1] + q[1], c[2] + q[2]};
}

TEST(TextureProjection, CylindricalAndSphericalMapsTurnLongitudesIntoColumns) {
  NEED_CORPUS();
  const Picture cylinder = readPicture(kCorpus / "MappingModes" / "earthCylindric.jpg");
  const Picture sphere = readPicture(kCorpus / "MappingModes" / "earthSpherical.jpg");
  for (const char* file : {"earth_cylindrical_x.lwo", "earth_cylindrical_y.lwo", "earth_cylindrical_z.lwo",
                           "earth_spherical_x.lwo", "earth_spherical_y.lwo", "earth_spherical_z.lwo"}) {
    const bool spherical = std::string(file).find("spherical") != std::string::npos;
    const Picture& pic = spherical ? sphere : cylinder;
    auto model = corpusModel(std::string("MappingModes/") + file);
    ASSERT_TRUE(model) << file;
    Stage stage(model);
    const LWTextureID t = stage.texture("Default", "BaseColor");
    const host::TextureLayer& l = model->surfaces[0].color.layers[0];
    for (auto [i, j] : {std::pair{1024, 512}, {1536, 512}, {512, 512}, {77, 300}, {1999, 800}})
      expectTexel(stage.colour(t, roundPoint(l, spherical, (i + 0.5) / pic.w, (j + 0.5) / pic.h)), pic, i, j, file);
  }
  // By hand, about y: straight in front of the centre (-z) is the middle column, +x three
  // quarters across, -x one quarter.
  auto model = corpusModel("MappingModes/earth_cylindrical_y.lwo");
  Stage stage(model);
  const Vec3 c = model->surfaces[0].color.layers[0].mapping.center.value;
  const LWTextureID t = stage.texture("Default", "BaseColor");
  expectTexel(stage.colour(t, {c[0], c[1], c[2] - 2.0}), cylinder, 1024, 512, "front");
  expectTexel(stage.colour(t, {c[0] + 2.0, c[1], c[2]}), cylinder, 1536, 512, "+x");
  expectTexel(stage.colour(t, {c[0] - 2.0, c[1], c[2]}), cylinder, 512, 512, "-x");

  // A width wrap amount of 2 shows the image twice in one turn.
  auto twice = corpusModel("MappingModes/earth_cylindrical_y_scale_111_wrap_21.lwo");
  const host::TextureLayer& l = twice->surfaces[0].color.layers[0];
  ASSERT_DOUBLE_EQ(l.wrapWidthAmount, 2.0);
  Stage twiceStage(twice);
  const LWTextureID tt = twiceStage.texture("Default", "BaseColor");
  for (double half : {0.0, 0.5})
    expectTexel(twiceStage.colour(tt, roundPoint(l, false, half + 700.5 / 4096, 0.5 + 0.5 / 1024)), cylinder, 700, 512,
                "wrapped");
}

// A spot on the triangle of a polygon's first three corners, at the given weights, and the
// texel under the weighted UVs of those corners, by hand.
LWMicropol triangleSpot(Stage& stage, const host::Layer& layer, uint32_t polygon, std::array<float, 3> w) {
  const auto& v = layer.polygons[polygon].vertices;
  Vec3 o{0, 0, 0};
  for (size_t c = 0; c < 3; ++c)
    for (size_t k = 0; k < 3; ++k) o[k] += w[c] * layer.points[v[c]][k];
  LWMicropol m = stage.spot(o);
  for (size_t c = 0; c < 4; ++c) {
    const uint32_t p = v[std::min<size_t>(c, 2)];
    m.verts[c] = host::pointIdOf(p);
    m.weights[c] = c < 3 ? w[c] : 0.0f;
    for (size_t k = 0; k < 3; ++k) m.vertsWPos[c][k] = layer.points[p][k];
  }
  m.polygon = host::polygonIdOf(polygon);
  return m;
}

std::pair<int, int> uvTexel(const host::Layer& layer, const std::string& map, uint32_t polygon,
                            std::array<float, 3> w, const Picture& pic) {
  const host::VertexMap* vm = layer.findVertexMap(host::chunkId("TXUV"), map);
  double u = 0, v = 0;
  for (size_t c = 0; c < 3; ++c) {
    const float* uv = vm->find(layer.polygons[polygon].vertices[c]);
    u += w[c] * uv[0], v += w[c] * uv[1];
  }
  return {int(std::floor(u * pic.w)), int(std::floor((1.0 - v) * pic.h))};
}

TEST(TextureProjection, UVMapsShowTheTexelOfTheWeightedCorners) {
  NEED_CORPUS();
  auto uvtest = corpusModel("uvtest.lwo");
  const Picture grid = readPicture(kCorpus / "uvtest.png");
  Stage stage(uvtest);
  // Square 1 is the top left of the image and dark; square 13 the bottom left and light.
  for (auto [surface, polygon, grey] : {std::tuple{"surface1", 0u, 100.0}, {"surface13", 4u, 200.0}}) {
    const std::array<float, 3> w{0.8f, 0.1f, 0.1f};
    const Rgba got = stage.colourAt(stage.texture(surface, "BaseColor"), triangleSpot(stage, uvtest->layers[0], polygon, w));
    const auto [x, y] = uvTexel(uvtest->layers[0], "uvtest", polygon, w, grid);
    expectTexel(got, grid, x, y, surface);
    EXPECT_NEAR(got[0], grey / 255.0, 1e-6) << surface;
  }

  auto box = corpusModel("boxuv.lwo");
  const Picture faces = readPicture(kCorpus / "boxuv.png");
  Stage boxStage(box);
  const LWTextureID t = boxStage.texture("boxSurface", "BaseColor");
  // Halfway along the -x face's edge from corner 1 to corner 2 lies the one-pixel white frame
  // of its square (u = 0.0067 is column 3), in the bottom row of squares; a little inside it
  // the square is black.
  const std::array<float, 3> edge{0.0f, 0.5f, 0.5f};
  const auto [x, y] = uvTexel(box->layers[0], "Texture", 0, edge, faces);
  EXPECT_EQ(x, 3);
  EXPECT_GT(y, 2 * faces.h / 3);
  expectTexel(boxStage.colourAt(t, triangleSpot(boxStage, box->layers[0], 0, edge)), faces, x, y, "edge");
  EXPECT_NEAR(boxStage.colourAt(t, triangleSpot(boxStage, box->layers[0], 0, edge))[0], 1.0, 1e-6);
  EXPECT_NEAR(boxStage.colourAt(t, triangleSpot(boxStage, box->layers[0], 0, {0.1f, 0.45f, 0.45f}))[0], 0.0, 1e-6);
}

// An object with one surface "S" whose channels get planar z image layers of size 1 at the
// origin, on small float pictures of our own.
struct Layered {
  fs::path folder = fs::temp_directory_path() / ("ombrel-textures-" + std::to_string(::getpid()) + "-" +
                                                 ::testing::UnitTest::GetInstance()->current_test_info()->name());
  host::ObjectBuilder builder{"layered.lwo"};
  int pictures = 0;

  Layered() { fs::create_directories(folder); }
  ~Layered() {
    std::error_code ec;
    fs::remove_all(folder, ec);
  }
  host::TextureLayer& layer(int w, int h, int n, const std::vector<float>& px, uint32_t channel = host::chunkId("COLR")) {
    const fs::path p = folder / ("p" + std::to_string(pictures++) + ".exr");
    auto out = OIIO::ImageOutput::create(p.string());
    out->open(p.string(), OIIO::ImageSpec(w, h, n, OIIO::TypeDesc::FLOAT));
    out->write_image(OIIO::TypeDesc::FLOAT, px.data());
    out->close();
    host::TextureLayer& l = builder.addImageMap("S", channel, builder.addClip(p.string()), host::Projection::Planar);
    l.axis = 2;
    l.mapping.center.value = {0, 0, 0};
    l.mapping.size.value = {1, 1, 1};
    return l;
  }
  host::TextureLayer& uniform(std::array<float, 3> c, uint32_t channel = host::chunkId("COLR")) {
    return layer(1, 1, 3, {c[0], c[1], c[2]}, channel);
  }
  std::shared_ptr<const host::ObjectModel> model() {
    builder.surface("S");
    return std::make_shared<const host::ObjectModel>(builder.finish());
  }
};

// Four columns of red 0.1, 0.2, 0.3, 0.4 in one row.
const std::vector<float> kRow = {0.1f, 0, 0, 0.2f, 0, 0, 0.3f, 0, 0, 0.4f, 0, 0};

TEST(TextureTiling, RepeatMirrorEdgeAndResetPastTheImagesEdges) {
  // At x = 0.75, s = 1.25 is pixel 5; at x = -0.625, s = -0.125 is pixel -1. Reset shows
  // nothing there: the base stays and alpha is 0.
  for (auto [mode, right, left] : {std::tuple{host::WrapMode::Repeat, 0.2, 0.4}, {host::WrapMode::Mirror, 0.3, 0.1},
                                   {host::WrapMode::Edge, 0.4, 0.1}, {host::WrapMode::Reset, 0.9, 0.9}}) {
    Layered f;
    host::TextureLayer& l = f.layer(4, 1, 3, kRow);
    l.pixelBlending = false;
    l.wrapWidth = l.wrapHeight = mode;
    Stage stage(f.model());
    const LWTextureID t = stage.texture("S", "BaseColor");
    const Rgba r = stage.colour(t, {0.75, 0, 0}, {0.9, 0.9, 0.9}), s = stage.colour(t, {-0.625, 0, 0}, {0.9, 0.9, 0.9});
    EXPECT_NEAR(r[0], right, 1e-6) << int(mode);
    EXPECT_NEAR(s[0], left, 1e-6) << int(mode);
    EXPECT_EQ(r[3], mode == host::WrapMode::Reset ? 0.0 : 1.0);
    EXPECT_EQ(stage.colour(t, {0, 0.75, 0})[3], mode == host::WrapMode::Reset ? 0.0 : 1.0);  // above it
  }
  // Pixel blending: halfway between the centres of columns 1 and 2, and at the left edge
  // halfway between column 0 and what lies left of it.
  for (auto [mode, atEdge] : {std::pair{host::WrapMode::Repeat, 0.25}, {host::WrapMode::Edge, 0.1}}) {
    Layered f;
    f.layer(4, 1, 3, kRow).wrapWidth = mode;
    Stage stage(f.model());
    EXPECT_NEAR(stage.colour(stage.texture("S", "BaseColor"), {0.0, 0, 0})[0], 0.25, 1e-6);
    EXPECT_NEAR(stage.colour(stage.texture("S", "BaseColor"), {-0.5, 0, 0})[0], atEdge, 1e-6);
  }
}

TEST(TextureBlending, EveryModeOverALayerBelowByHand) {
  const std::array<double, 3> A{0.2, 0.4, 0.6}, B{0.5, 0.25, 2.0}, base{0.1, 0.1, 0.1};
  using Mode = double (*)(double below, double top);  // the result at full opacity
  for (auto [blend, f] : {std::pair<host::BlendMode, Mode>{host::BlendMode::Normal, [](double, double t) { return t; }},
                          {host::BlendMode::Additive, [](double b, double t) { return b + t; }},
                          {host::BlendMode::Subtractive, [](double b, double t) { return b - t; }},
                          {host::BlendMode::Difference, [](double b, double t) { return std::fabs(b - t); }},
                          {host::BlendMode::Multiply, [](double b, double t) { return b * t; }},
                          {host::BlendMode::Divide, [](double b, double t) { return b / t; }}}) {
    Layered l;
    l.uniform({0.2f, 0.4f, 0.6f});
    host::TextureLayer& top = l.uniform({0.5f, 0.25f, 2.0f});
    top.blend = blend;
    top.opacity = 0.5;
    Stage stage(l.model());
    const Rgba got = stage.colour(stage.texture("S", "BaseColor"), {0.1, 0.1, 0}, base);
    for (size_t k = 0; k < 3; ++k) EXPECT_NEAR(got[k], A[k] + (f(A[k], B[k]) - A[k]) * 0.5, 1e-6) << int(blend);
    EXPECT_DOUBLE_EQ(got[3], 1.0);
  }
  {  // An alpha layer of grey 0.25 lets a quarter of the layer above it through.
    Layered l;
    l.uniform({0.2f, 0.4f, 0.6f});
    l.uniform({0.25f, 0.25f, 0.25f}).blend = host::BlendMode::Alpha;
    l.uniform({0.5f, 0.25f, 2.0f});
    Stage stage(l.model());
    const Rgba got = stage.colour(stage.texture("S", "BaseColor"), {0, 0, 0}, base);
    for (size_t k = 0; k < 3; ++k) EXPECT_NEAR(got[k], A[k] + (B[k] - A[k]) * 0.25, 1e-6);
  }
  {  // An image's own alpha is the layer's coverage, and the texture's alpha.
    Layered l;
    l.layer(1, 1, 4, {0.2f, 0.4f, 0.6f, 0.5f});
    Stage stage(l.model());
    const Rgba got = stage.colour(stage.texture("S", "BaseColor"), {0, 0, 0}, base);
    EXPECT_NEAR(got[0], 0.15, 1e-6);
    EXPECT_DOUBLE_EQ(got[3], 0.5);
  }
  // Scalar channels take the luminance; an inverted layer its complement.
  for (bool negative : {false, true}) {
    Layered l;
    l.uniform({0.2f, 0.4f, 0.6f}, host::chunkId("DIFF")).negative = negative;
    Stage stage(l.model());
    const LWTextureID t = stage.texture("S", "Diffuse");
    EXPECT_EQ(stage.tf()->type(t), TRT_PERCENT);
    LWMicropol m = stage.spot({0, 0, 0});
    double v = 0.75;
    EXPECT_DOUBLE_EQ(stage.tf()->evaluate(t, &m, &v), 1.0);
    const double lum = 0.299 * 0.2 + 0.587 * 0.4 + 0.114 * 0.6;
    EXPECT_NEAR(v, negative ? 1.0 - lum : lum, 1e-6);
  }
}

// A gradient layer on the colour of surface "S", with keys at 0, 1 and 2 of its input.
std::shared_ptr<const host::ObjectModel> gradientModel(uint16_t firstShape, const char* input = "Y Coordinate") {
  host::ObjectBuilder b("gradient.lwo");
  host::TextureLayer l;
  l.type = host::TextureType::Gradient;
  l.gradientParameter = input;
  l.gradientKeys = {{0.0, {1, 0, 0, 1}}, {2.0, {0, 1, 0, 0.5}}, {1.0, {0, 0, 1, 1}}};  // out of order on purpose
  l.gradientKeyShapes = {firstShape, 0, 0};
  b.surface("S").color.layers.push_back(l);
  return std::make_shared<const host::ObjectModel>(b.finish());
}

TEST(TextureGradient, KeysTheSpansBetweenThemAndAngleInputs) {
  Stage stage(gradientModel(0));
  const LWTextureID t = stage.texture("S", "BaseColor");
  auto expect = [&](double y, Rgba want) {
    const Rgba got = stage.colour(t, {0.3, y, 0.0}, {0.2, 0.2, 0.2});
    for (size_t k = 0; k < 4; ++k) EXPECT_NEAR(got[k], want[k], 1e-9) << "at " << y << " " << k;
  };
  expect(0.0, {1, 0, 0, 1});
  expect(-5.0, {1, 0, 0, 1});
  expect(1.0, {0, 0, 1, 1});
  expect(0.5, {0.5, 0, 0.5, 1});
  // Towards the last key the alpha falls to a half: at 1.5 the key is (0, .5, .5) at .75.
  expect(1.5, {0.2 * 0.25, 0.2 + 0.3 * 0.75, 0.2 + 0.3 * 0.75, 0.75});
  expect(9.0, {0.1, 0.6, 0.1, 0.5});

  Stage stepped(gradientModel(2));
  EXPECT_EQ(stepped.colour(stepped.texture("S", "BaseColor"), {0, 0.9, 0})[0], 1.0);  // a step holds its key

  // Slope: half a degree off straight up is halfway between the first two keys. Incidence:
  // looked at straight on is 90 degrees, past the last key.
  Stage slope(gradientModel(0, "Slope"));
  LWMicropol m = slope.spot({0, 0, 0});
  m.wNorm[0] = std::sin(0.5 * kPi / 180), m.wNorm[1] = std::cos(0.5 * kPi / 180), m.wNorm[2] = 0;
  EXPECT_NEAR(slope.colourAt(slope.texture("S", "BaseColor"), m)[2], 0.5, 1e-6);
  Stage incidence(gradientModel(0, "Incidence Angle"));
  EXPECT_NEAR(incidence.colour(incidence.texture("S", "BaseColor"), {0, 0, 0})[1], 0.5, 1e-6);
}

TEST(TextureProcedural, CheckerboardAndProceduralsThisHostLacks) {
  host::ObjectBuilder b("procedural.lwo");
  host::TextureLayer checker;
  checker.type = host::TextureType::Procedural;
  checker.procedure = "Checkerboard";
  checker.procedureValue = {1, 0, 0};
  checker.mapping.size.value = {0.5, 0.5, 0.5};
  b.surface("S").color.layers = {checker};
  checker.procedure = "Turbulence";
  b.surface("T").color.layers = {checker};
  Stage stage(std::make_shared<const host::ObjectModel>(b.finish()));
  const LWTextureID t = stage.texture("S", "BaseColor"), u = stage.texture("T", "BaseColor");
  EXPECT_EQ(stage.colour(t, {0.1, 0.1, 0.1})[0], 0.0);  // an even square shows the base
  EXPECT_EQ(stage.colour(t, {0.6, 0.1, 0.1})[0], 1.0);  // an odd one the texture's colour
  EXPECT_EQ(stage.colour(t, {0.6, 0.6, 0.1})[0], 0.0);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(stage.colour(u, {0.1, 0.1, 0.1}, {0.3, 0.3, 0.3})[0], 0.3);
  int told = 0;
  for (const auto& m : stage.host().messages()) told += m.first.find("Turbulence") != std::string::npos;
  EXPECT_EQ(told, 1);
}

TEST(TextureBump, GradientAlongTheRampInWorldSpaceAndHeightAsResult) {
  // A bump layer of a ramp 0, 1/15 .. 1 over 16 columns: x = 0.03 is column 8.48, between the
  // centres of columns 7 and 8, where the height is 7.98 / 15 and climbs 1/15 a texel.
  std::vector<float> ramp;
  for (int i = 0; i < 16; ++i) ramp.push_back(float(i) / 15.0f);
  for (auto [amplitude, hpb, flat] : {std::tuple{1.0, Vec3{0, 0, 0}, false}, {2.0, Vec3{0, 0, 0}, false},
                                      {1.0, Vec3{kPi / 2, 0, 0}, false}, {1.0, Vec3{0, 0, 0}, true}}) {
    Layered f;
    f.layer(16, 1, 1, flat ? std::vector<float>(16, 0.5f) : ramp, host::chunkId("BUMP")).amplitude = amplitude;
    Stage stage(f.model(), hpb);
    const LWTextureID t = stage.texture("S", "Bump");
    EXPECT_EQ(stage.tf()->type(t), TRT_DISPLACEMENT);
    LWMicropol m = stage.spot({0.03, 0, 0});
    double g[3] = {0, 0, 0};
    EXPECT_NEAR(stage.tf()->evaluate(t, &m, g), flat ? 0.5 : amplitude * 7.98 / 15.0, 1e-6);
    const Vec3 want = host::rotationHPB(hpb) * Vec3{flat ? 0.0 : amplitude / 15.0, 0, 0};
    for (size_t k = 0; k < 3; ++k) EXPECT_NEAR(g[k], want[k], 1e-6) << "amplitude " << amplitude << " axis " << k;
  }
}

TEST(TextureAnimation, NewtimeMovesEnvelopedLayers) {
  Layered f;
  f.uniform({1, 1, 1}).opacityEnvelope = 7;
  host::ObjectEnvelope e;
  e.index = 7;
  e.envelope.keys.resize(2);
  e.envelope.keys[1].time = e.envelope.keys[1].value = 1.0;
  e.envelope.keys[1].shape = host::KeyShape::Linear;
  f.builder.model().envelopes.push_back(e);
  Stage stage(f.model());
  const LWTextureID t = stage.texture("S", "BaseColor");
  for (double time : {0.25, 0.75}) {
    stage.tf()->newtime(t, time, int(time * 30));
    EXPECT_NEAR(stage.colour(t, {0, 0, 0})[0], time, 1e-9);
  }
}

TEST(TextureIds, StableIdsLayersAndForeignIds) {
  Layered f;
  f.uniform({1, 1, 1});
  f.uniform({1, 1, 1});
  Stage stage(f.model());
  LWTextureFuncs* tf = stage.tf();
  const LWTextureID t = stage.texture("S", "BaseColor");
  ASSERT_NE(t, nullptr);
  EXPECT_EQ(stage.texture("S", "BaseColor"), t);
  EXPECT_EQ(stage.texture("S", "Luminosity"), nullptr);  // no layers, no texture
  EXPECT_EQ(tf->type(t), TRT_COLOR);
  EXPECT_EQ(tf->layerNumber(t), 2);
  EXPECT_EQ(tf->nextLayer(t, tf->firstLayer(t)), tf->lastLayer(t));

  // Ids it never gave out, a destroyed plug-in texture, and no spot leave the value alone.
  LWMicropol m = stage.spot({0, 0, 0});
  double v[3] = {0.3, 0.3, 0.3};
  EXPECT_EQ(tf->evaluate(reinterpret_cast<LWTextureID>(uintptr_t(987654)), &m, v), 0.0);
  EXPECT_EQ(tf->evaluate(t, nullptr, v), 0.0);
  const LWTextureID own = tf->create(TRT_SCALAR, "mine", nullptr, &m);
  EXPECT_EQ(tf->userData(own), &m);
  EXPECT_EQ(tf->evaluate(own, &m, v), 0.0);
  tf->destroy(own);
  EXPECT_EQ(tf->name(own), nullptr);
  EXPECT_EQ(v[0], 0.3);
  tf->destroy(t);  // a surface's texture stays
  EXPECT_EQ(tf->layerNumber(t), 2);
}

}  // namespace
