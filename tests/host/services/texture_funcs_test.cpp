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
constexpr double kPi = 3.14159265358979323846;

const fs::path kCorpus = fs::path(OMBREL_CORPUS_DIR) / "lightwave" / "LWO" / "LWO2";

// An image read straight from its file: the values the textures should show.
struct Picture {
  int w = 0, h = 0, n = 0;
  std::vector<float> px;
  std::array<double, 3> at(int x, int y) const {
    const float* p = px.data() + (size_t(y) * size_t(w) + size_t(x)) * size_t(n);
    return {p[0], p[n > 1 ? 1 : 0], p[n > 2 ? 2 : 0]};
  }
};

Picture readPicture(const fs::path& path) {
  Picture p;
  auto in = OIIO::ImageInput::open(path.string());
  if (!in) return p;
  p.w = in->spec().width, p.h = in->spec().height, p.n = in->spec().nchannels;
  p.px.resize(size_t(p.w) * size_t(p.h) * size_t(p.n));
  in->read_image(0, 0, 0, p.n, OIIO::TypeDesc::FLOAT, p.px.data());
  return p;
}

void writePicture(const fs::path& path, int w, int h, int n, const std::vector<float>& px) {
  auto out = OIIO::ImageOutput::create(path.string());
  ASSERT_TRUE(out);
  ASSERT_TRUE(out->open(path.string(), OIIO::ImageSpec(w, h, n, OIIO::TypeDesc::FLOAT)));
  ASSERT_TRUE(out->write_image(OIIO::TypeDesc::FLOAT, px.data()));
  out->close();
}

struct TempFolder {
  fs::path path;
  TempFolder() {
    path = fs::temp_directory_path() /
           ("ombrel-textures-" + std::to_string(::getpid()) + "-" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(path);
  }
  ~TempFolder() {
    std::error_code ec;
    fs::remove_all(path, ec);
  }
};

// One object at the origin, or turned by `hpb`, in a host of its own.
class Stage {
 public:
  explicit Stage(std::shared_ptr<const host::ObjectModel> model, Vec3 hpb = {0, 0, 0}) {
    host::Scene scene;
    const int i = scene.addItem(host::ItemType::Object, "Thing");
    scene.items[size_t(i)].object.model = model;
    scene.items[size_t(i)].object.path = model->fileName;
    scene.items[size_t(i)].setRotation(hpb);
    host::HostSettings quiet;
    quiet.messagesToStderr = false;
    host_ = std::make_unique<host::Host>(std::move(scene), quiet);
    turn_ = host::rotationHPB(hpb);
  }

  host::Host& host() { return *host_; }
  LWSurfaceFuncs* surfaces() { return static_cast<LWSurfaceFuncs*>(host_->global(LWSURFACEFUNCS_GLOBAL, 0)); }
  LWTextureFuncs* textures() { return static_cast<LWTextureFuncs*>(host_->global(LWTEXTUREFUNCS_GLOBAL, 0)); }

  LWTextureID texture(const std::string& surface, const char* channel) {
    LWSurfaceID* ids = surfaces()->byName(surface.c_str(), nullptr);
    return ids && ids[0] ? surfaces()->getTex(ids[0], channel) : nullptr;
  }

  // A spot at an object position, facing -z in object space.
  LWMicropol spot(const Vec3& o) {
    LWMicropol m{};
    const Vec3 w = turn_ * o;
    const Vec3 n = turn_ * Vec3{0, 0, -1};
    for (int k = 0; k < 3; ++k) {
      m.oPos[k] = o[size_t(k)];
      m.wPos[k] = w[size_t(k)];
      m.wNorm[k] = m.gNorm[k] = n[size_t(k)];
      m.oScl[k] = 1.0;
    }
    m.raySource[2] = -10.0;
    m.oAxis = m.wAxis = 2;
    m.spotSize = 1e-14;
    m.objID = host::itemIdAt(host_->scene(), 0);
    return m;
  }

  // Colour and alpha of a colour texture at an object position over a base colour.
  std::array<double, 4> colour(LWTextureID t, const Vec3& o, std::array<double, 3> base = {0, 0, 0}) {
    LWMicropol m = spot(o);
    return colourAt(t, m, base);
  }
  std::array<double, 4> colourAt(LWTextureID t, LWMicropol& m, std::array<double, 3> base = {0, 0, 0}) {
    double v[3] = {base[0], base[1], base[2]};
    const double a = textures()->evaluate(t, &m, v);
    return {v[0], v[1], v[2], a};
  }

 private:
  std::unique_ptr<host::Host> host_;
  host::Mat3 turn_;
};

std::shared_ptr<const host::ObjectModel> corpusModel(const std::string& name, bool blend) {
  host::ObjectModel m;
  std::string error;
  if (!host::readObjectFile((kCorpus / name).string(), m, error)) return nullptr;
  for (auto& s : m.surfaces)
    for (auto& l : s.color.layers) l.pixelBlending = blend;
  return std::make_shared<const host::ObjectModel>(std::move(m));
}

#define NEED_CORPUS()                                                                   \
  if (!fs::exists(kCorpus / "MappingModes")) GTEST_SKIP() << "no test corpus at " << kCorpus; \
  static_assert(true)

void expectTexel(const std::array<double, 4>& got, const Picture& pic, int x, int y, const std::string& what) {
  const auto want = pic.at(x, y);
  for (int k = 0; k < 3; ++k) EXPECT_NEAR(got[size_t(k)], want[size_t(k)], 1e-5) << what << " texel " << x << "," << y;
  EXPECT_DOUBLE_EQ(got[3], 1.0) << what;
}

// The point whose planar coordinates are the centre of texel (i, j), for an axis.
Vec3 planarPoint(const host::TextureLayer& l, int axis, const Picture& pic, int i, int j) {
  const double s = (i + 0.5) / pic.w, t = (j + 0.5) / pic.h;
  const Vec3 c = l.mapping.center.value, z = l.mapping.size.value;
  Vec3 q{0.3, 0.3, 0.3};  // the projection's own axis doesn't matter
  if (axis == 0) q[2] = (s - 0.5) * z[2], q[1] = (0.5 - t) * z[1];
  if (axis == 1) q[0] = (s - 0.5) * z[0], q[2] = (0.5 - t) * z[2];
  if (axis == 2) q[0] = (s - 0.5) * z[0], q[1] = (0.5 - t) * z[1];
  return {c[0] + q[0], c[1] + q[1], c[2] + q[2]};
}

TEST(TextureProjection, PlanarMapsPutTheCentreAndKnownPointsOnKnownTexels) {
  NEED_CORPUS();
  const Picture pic = readPicture(kCorpus / "MappingModes" / "earthSpherical.jpg");
  ASSERT_EQ(pic.w, 2048);
  for (int axis = 0; axis < 3; ++axis) {
    const std::string file = std::string("earth_planar_") + "xyz"[axis] + ".lwo";
    auto model = corpusModel("MappingModes/" + file, false);
    ASSERT_TRUE(model) << file;
    Stage stage(model);
    const LWTextureID t = stage.texture("Default", "BaseColor");
    ASSERT_NE(t, nullptr) << file;
    const host::TextureLayer& l = model->surfaces[0].color.layers[0];
    // The layer's centre is the image's centre: s = t = 0.5, which is texel (1024, 512).
    expectTexel(stage.colour(t, l.mapping.center.value), pic, 1024, 512, file + " centre");
    for (auto [i, j] : {std::pair{100, 50}, {1900, 900}, {517, 700}})
      expectTexel(stage.colour(t, planarPoint(l, axis, pic, i, j)), pic, i, j, file);
  }
}

// The point at longitude s (0..1 across the image) and row t of a cylindrical or spherical map
// about an axis, at distance 1 from the centre. The longitude runs from the back (+z for the
// y axis) round by -x, the front and +x: h = 2 pi (1 - s) is the heading about the map's axis.
Vec3 roundPoint(const host::TextureLayer& l, bool spherical, int axis, double s, double t) {
  const double h = 2.0 * kPi * (1.0 - s);
  double ax = -std::sin(h), ay = 0.0, az = std::cos(h);
  double along = 0.0;
  if (spherical) {
    const double p = kPi * (0.5 - t);
    ax *= std::cos(p), az *= std::cos(p), ay = std::sin(p);
  } else {
    along = (0.5 - t) * l.mapping.size.value[size_t(axis)];
  }
  // From the frame where the map's axis is up back to texture space.
  Vec3 q{0, 0, 0};
  if (axis == 1) q = {-ax, spherical ? ay : along, az};
  if (axis == 0) q = {spherical ? ay : along, -az, ax};
  if (axis == 2) q = {-ax, -az, spherical ? ay : along};
  const Vec3 c = l.mapping.center.value;
  return {c[0] + q[0], c[1] + q[1], c[2] + q[2]};
}

TEST(TextureProjection, CylindricalAndSphericalMapsTurnLongitudesIntoColumns) {
  NEED_CORPUS();
  struct Case {
    const char* file;
    const char* image;
    bool spherical;
  };
  for (const Case& c : {Case{"earth_cylindrical_x.lwo", "earthCylindric.jpg", false},
                        Case{"earth_cylindrical_y.lwo", "earthCylindric.jpg", false},
                        Case{"earth_cylindrical_z.lwo", "earthCylindric.jpg", false},
                        Case{"earth_spherical_x.lwo", "earthSpherical.jpg", true},
                        Case{"earth_spherical_y.lwo", "earthSpherical.jpg", true},
                        Case{"earth_spherical_z.lwo", "earthSpherical.jpg", true}}) {
    const Picture pic = readPicture(kCorpus / "MappingModes" / c.image);
    auto model = corpusModel(std::string("MappingModes/") + c.file, false);
    ASSERT_TRUE(model) << c.file;
    Stage stage(model);
    const LWTextureID t = stage.texture("Default", "BaseColor");
    const host::TextureLayer& l = model->surfaces[0].color.layers[0];
    const int axis = l.axis;
    for (auto [i, j] : {std::pair{1024, 512}, {1536, 512}, {512, 512}, {77, 300}, {1999, 800}}) {
      const Vec3 p = roundPoint(l, c.spherical, axis, (i + 0.5) / pic.w, (j + 0.5) / pic.h);
      expectTexel(stage.colour(t, p), pic, i, j, c.file);
    }
  }
  // By hand, for the y axis: straight in front of the centre (-z) on the equator is the
  // middle of the image, and +x is three quarters across.
  auto model = corpusModel("MappingModes/earth_cylindrical_y.lwo", false);
  Stage stage(model);
  const Picture pic = readPicture(kCorpus / "MappingModes" / "earthCylindric.jpg");
  const Vec3 c = model->surfaces[0].color.layers[0].mapping.center.value;
  const LWTextureID t = stage.texture("Default", "BaseColor");
  expectTexel(stage.colour(t, {c[0], c[1], c[2] - 2.0}), pic, 1024, 512, "front");
  expectTexel(stage.colour(t, {c[0] + 2.0, c[1], c[2]}), pic, 1536, 512, "+x");
  expectTexel(stage.colour(t, {c[0] - 2.0, c[1], c[2]}), pic, 512, 512, "-x");
}

TEST(TextureProjection, WidthWrapAmountRepeatsTheImageRoundTheAxis) {
  NEED_CORPUS();
  auto model = corpusModel("MappingModes/earth_cylindrical_y_scale_111_wrap_21.lwo", false);
  ASSERT_TRUE(model);
  const host::TextureLayer& l = model->surfaces[0].color.layers[0];
  ASSERT_DOUBLE_EQ(l.wrapWidthAmount, 2.0);
  Stage stage(model);
  const Picture pic = readPicture(kCorpus / "MappingModes" / "earthCylindric.jpg");
  const LWTextureID t = stage.texture("Default", "BaseColor");
  // Twice round in one turn: the back half of the turn shows the image a second time.
  for (int i : {10, 700, 2000}) {
    const double s = (i + 0.5) / pic.w;
    expectTexel(stage.colour(t, roundPoint(l, false, 1, s / 2.0, 0.5 + 0.5 / pic.h)), pic, i, 512, "first");
    expectTexel(stage.colour(t, roundPoint(l, false, 1, (1.0 + s) / 2.0, 0.5 + 0.5 / pic.h)), pic, i, 512, "second");
  }
}

// A spot on a triangle of a polygon's first three corners with the given weights.
LWMicropol triangleSpot(Stage& stage, const host::Layer& layer, uint32_t polygon, std::array<float, 3> w) {
  const auto& v = layer.polygons[polygon].vertices;
  Vec3 o{0, 0, 0};
  for (int c = 0; c < 3; ++c)
    for (int k = 0; k < 3; ++k) o[size_t(k)] += w[size_t(c)] * layer.points[v[size_t(c)]][size_t(k)];
  LWMicropol m = stage.spot(o);
  for (int c = 0; c < 4; ++c) {
    const uint32_t p = v[size_t(std::min(c, 2))];
    m.verts[c] = host::pointIdOf(p);
    m.weights[c] = c < 3 ? w[size_t(c)] : 0.0f;
    for (int k = 0; k < 3; ++k) m.vertsWPos[c][k] = layer.points[p][size_t(k)];
  }
  m.polygon = host::polygonIdOf(polygon);
  return m;
}

// The texel under the weighted UVs of a polygon's first three corners, by hand.
std::pair<int, int> uvTexel(const host::Layer& layer, const std::string& map, uint32_t polygon,
                            std::array<float, 3> w, const Picture& pic) {
  const host::VertexMap* vm = layer.findVertexMap(host::chunkId("TXUV"), map);
  double u = 0, v = 0;
  for (int c = 0; c < 3; ++c) {
    const float* uv = vm->find(layer.polygons[polygon].vertices[size_t(c)]);
    u += w[size_t(c)] * uv[0];
    v += w[size_t(c)] * uv[1];
  }
  return {int(std::floor(u * pic.w)), int(std::floor((1.0 - v) * pic.h))};
}

TEST(TextureProjection, UVMapsShowTheTexelOfTheWeightedCorners) {
  NEED_CORPUS();
  {
    auto model = corpusModel("uvtest.lwo", false);
    ASSERT_TRUE(model);
    const Picture pic = readPicture(kCorpus / "uvtest.png");
    Stage stage(model);
    const host::Layer& layer = model->layers[0];
    // Square 1 is the top left of the image and dark; square 13 the bottom left and light.
    struct Case {
      const char* surface;
      uint32_t polygon;
      double grey;
    };
    for (const Case& c : {Case{"surface1", 0, 100.0 / 255.0}, Case{"surface13", 4, 200.0 / 255.0}}) {
      const std::array<float, 3> w{0.8f, 0.1f, 0.1f};
      LWMicropol m = triangleSpot(stage, layer, c.polygon, w);
      const auto got = stage.colourAt(stage.texture(c.surface, "BaseColor"), m);
      const auto [x, y] = uvTexel(layer, "uvtest", c.polygon, w, pic);
      expectTexel(got, pic, x, y, c.surface);
      EXPECT_NEAR(got[0], c.grey, 1e-6) << c.surface;
    }
  }
  {
    auto model = corpusModel("boxuv.lwo", false);
    ASSERT_TRUE(model);
    const Picture pic = readPicture(kCorpus / "boxuv.png");
    Stage stage(model);
    const host::Layer& layer = model->layers[0];
    const LWTextureID t = stage.texture("boxSurface", "BaseColor");
    // Halfway along the -x face's edge from corner 1 to corner 2 lies the one-pixel white
    // frame of its square (u = 0.0067 is column 3); a little inside, the square is black.
    const std::array<float, 3> edge{0.0f, 0.5f, 0.5f}, inside{0.1f, 0.45f, 0.45f};
    LWMicropol m = triangleSpot(stage, layer, 0, edge);
    auto [x, y] = uvTexel(layer, "Texture", 0, edge, pic);
    EXPECT_EQ(x, 3);
    EXPECT_GT(y, 2 * pic.h / 3);  // the bottom row of squares
    expectTexel(stage.colourAt(t, m), pic, x, y, "edge");
    EXPECT_NEAR(stage.colourAt(t, m)[0], 1.0, 1e-6);
    m = triangleSpot(stage, layer, 0, inside);
    EXPECT_NEAR(stage.colourAt(t, m)[0], 0.0, 1e-6);
  }
}

// An object with one surface "S" whose colour has image layers on small pictures of our own.
struct Layered {
  TempFolder folder;
  host::ObjectBuilder builder{"layered.lwo"};

  uint32_t picture(const std::string& name, int w, int h, int n, const std::vector<float>& px) {
    const fs::path p = folder.path / name;
    writePicture(p, w, h, n, px);
    return builder.addClip(p.string());
  }
  // A planar z layer of size 1 at the origin.
  host::TextureLayer& layer(uint32_t clip, uint32_t channel = host::chunkId("COLR")) {
    host::TextureLayer& l = builder.addImageMap("S", channel, clip, host::Projection::Planar);
    l.axis = 2;
    l.mapping.center.value = {0, 0, 0};
    l.mapping.size.value = {1, 1, 1};
    return l;
  }
  std::shared_ptr<const host::ObjectModel> model() {
    builder.surface("S");
    return std::make_shared<const host::ObjectModel>(builder.finish());
  }
};

TEST(TextureTiling, RepeatMirrorEdgeAndResetPastTheImagesEdges) {
  // Four columns of red 0.1, 0.2, 0.3, 0.4 in one row.
  struct Mode {
    host::WrapMode mode;
    double right, left;  // s = 1.25 (pixel 5) and s = -0.125 (pixel -1)
  };
  const Mode modes[] = {{host::WrapMode::Repeat, 0.2, 0.4},
                        {host::WrapMode::Mirror, 0.3, 0.1},
                        {host::WrapMode::Edge, 0.4, 0.1},
                        {host::WrapMode::Reset, -1.0, -1.0}};
  for (const Mode& m : modes) {
    Layered g;
    const uint32_t c = g.picture("row.exr", 4, 1, 3, {0.1f, 0, 0, 0.2f, 0, 0, 0.3f, 0, 0, 0.4f, 0, 0});
    host::TextureLayer& l = g.layer(c);
    l.pixelBlending = false;
    l.wrapWidth = m.mode;
    Stage stage(g.model());
    const LWTextureID t = stage.texture("S", "BaseColor");
    const std::array<double, 3> base{0.9, 0.9, 0.9};
    const auto right = stage.colour(t, {0.75, 0, 0}, base), left = stage.colour(t, {-0.625, 0, 0}, base);
    if (m.right < 0) {  // reset: past the edge the layer isn't there
      EXPECT_EQ(right[0], 0.9);
      EXPECT_EQ(right[3], 0.0);
      EXPECT_EQ(left[0], 0.9);
      EXPECT_NEAR(stage.colour(t, {0.125, 0, 0}, base)[0], 0.3, 1e-6);  // inside it is
    } else {
      EXPECT_NEAR(right[0], m.right, 1e-6) << int(m.mode);
      EXPECT_NEAR(left[0], m.left, 1e-6) << int(m.mode);
      EXPECT_EQ(right[3], 1.0);
    }
  }
  // Reset on the height: above the image is nothing either.
  Layered h;
  host::TextureLayer& l = h.layer(h.picture("row.exr", 4, 1, 3, {0.1f, 0, 0, 0.2f, 0, 0, 0.3f, 0, 0, 0.4f, 0, 0}));
  l.wrapHeight = host::WrapMode::Reset;
  Stage stage(h.model());
  EXPECT_EQ(stage.colour(stage.texture("S", "BaseColor"), {0, 0.75, 0})[3], 0.0);
}

TEST(TextureTiling, PixelBlendingInterpolatesAcrossTheWrappedEdge) {
  for (auto [mode, atEdge] : {std::pair{host::WrapMode::Repeat, 0.25}, {host::WrapMode::Edge, 0.1}}) {
    Layered f;
    host::TextureLayer& l = f.layer(f.picture("row.exr", 4, 1, 3, {0.1f, 0, 0, 0.2f, 0, 0, 0.3f, 0, 0, 0.4f, 0, 0}));
    l.wrapWidth = mode;
    Stage stage(f.model());
    const LWTextureID t = stage.texture("S", "BaseColor");
    // Halfway between the centres of columns 1 and 2.
    EXPECT_NEAR(stage.colour(t, {0.0, 0, 0})[0], 0.25, 1e-6);
    // At the left edge: halfway between column 0 and what lies left of it.
    EXPECT_NEAR(stage.colour(t, {-0.5, 0, 0})[0], atEdge, 1e-6);
  }
}

// A uniform picture of one colour, as float, with alpha if given.
std::vector<float> uniform(std::array<float, 4> c, int n) {
  std::vector<float> px;
  for (int i = 0; i < 4; ++i)
    for (int k = 0; k < n; ++k) px.push_back(c[size_t(k)]);
  return px;
}

TEST(TextureBlending, EveryModeOverALayerBelowByHand) {
  const std::array<double, 3> A{0.2, 0.4, 0.6}, B{0.5, 0.25, 2.0}, base{0.1, 0.1, 0.1};
  struct Mode {
    host::BlendMode mode;
    double (*f)(double below, double top);  // the result at full opacity
  };
  const Mode modes[] = {
      {host::BlendMode::Normal, [](double, double t) { return t; }},
      {host::BlendMode::Additive, [](double b, double t) { return b + t; }},
      {host::BlendMode::Subtractive, [](double b, double t) { return b - t; }},
      {host::BlendMode::Difference, [](double b, double t) { return std::fabs(b - t); }},
      {host::BlendMode::Multiply, [](double b, double t) { return b * t; }},
      {host::BlendMode::Divide, [](double b, double t) { return b / t; }},
  };
  for (const Mode& m : modes) {
    Layered f;
    f.layer(f.picture("a.exr", 2, 2, 3, uniform({0.2f, 0.4f, 0.6f, 1}, 3)));
    host::TextureLayer& top = f.layer(f.picture("b.exr", 2, 2, 3, uniform({0.5f, 0.25f, 2.0f, 1}, 3)));
    top.blend = m.mode;
    top.opacity = 0.5;
    Stage stage(f.model());
    const auto got = stage.colour(stage.texture("S", "BaseColor"), {0.1, 0.1, 0}, base);
    for (size_t k = 0; k < 3; ++k) EXPECT_NEAR(got[k], A[k] + (m.f(A[k], B[k]) - A[k]) * 0.5, 1e-6) << int(m.mode);
    EXPECT_DOUBLE_EQ(got[3], 1.0);
  }
  {  // One layer at half opacity over the base: half of each, and an alpha of one half.
    Layered f;
    f.layer(f.picture("a.exr", 2, 2, 3, uniform({0.2f, 0.4f, 0.6f, 1}, 3))).opacity = 0.5;
    Stage stage(f.model());
    const auto got = stage.colour(stage.texture("S", "BaseColor"), {0, 0, 0}, base);
    for (size_t k = 0; k < 3; ++k) EXPECT_NEAR(got[k], (A[k] + base[k]) / 2, 1e-6);
    EXPECT_DOUBLE_EQ(got[3], 0.5);
  }
  {  // An alpha layer of grey 0.25 lets a quarter of the layer above it through.
    Layered f;
    f.layer(f.picture("a.exr", 2, 2, 3, uniform({0.2f, 0.4f, 0.6f, 1}, 3)));
    f.layer(f.picture("m.exr", 2, 2, 3, uniform({0.25f, 0.25f, 0.25f, 1}, 3))).blend = host::BlendMode::Alpha;
    f.layer(f.picture("b.exr", 2, 2, 3, uniform({0.5f, 0.25f, 2.0f, 1}, 3)));
    Stage stage(f.model());
    const auto got = stage.colour(stage.texture("S", "BaseColor"), {0, 0, 0}, base);
    for (size_t k = 0; k < 3; ++k) EXPECT_NEAR(got[k], A[k] + (B[k] - A[k]) * 0.25, 1e-6);
  }
  {  // An image's own alpha is the layer's coverage.
    Layered f;
    f.layer(f.picture("half.exr", 2, 2, 4, uniform({0.2f, 0.4f, 0.6f, 0.5f}, 4)));
    Stage stage(f.model());
    const auto got = stage.colour(stage.texture("S", "BaseColor"), {0, 0, 0}, base);
    EXPECT_NEAR(got[0], 0.15, 1e-6);
    EXPECT_DOUBLE_EQ(got[3], 0.5);
  }
}

TEST(TextureBlending, ScalarChannelsTakeTheLuminanceAndInvertedLayersItsComplement) {
  for (bool negative : {false, true}) {
    Layered f;
    f.layer(f.picture("a.exr", 2, 2, 3, uniform({0.2f, 0.4f, 0.6f, 1}, 3)), host::chunkId("DIFF")).negative = negative;
    Stage stage(f.model());
    const LWTextureID t = stage.texture("S", "Diffuse");
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(stage.textures()->type(t), TRT_PERCENT);
    LWMicropol m = stage.spot({0, 0, 0});
    double v = 0.75;
    EXPECT_DOUBLE_EQ(stage.textures()->evaluate(t, &m, &v), 1.0);
    const double lum = 0.299 * 0.2 + 0.587 * 0.4 + 0.114 * 0.6;
    EXPECT_NEAR(v, negative ? 1.0 - lum : lum, 1e-6);
  }
}

// A gradient layer on the colour of surface "S" over the y coordinate, with keys at 0, 1, 2.
std::shared_ptr<const host::ObjectModel> gradientModel(uint16_t firstShape, const char* input = "Y Coordinate") {
  host::ObjectBuilder b("gradient.lwo");
  host::TextureLayer l;
  l.type = host::TextureType::Gradient;
  l.channel = host::chunkId("COLR");
  l.gradientParameter = input;
  l.gradientKeys = {{0.0, {1, 0, 0, 1}}, {2.0, {0, 1, 0, 0.5}}, {1.0, {0, 0, 1, 1}}};  // out of order on purpose
  l.gradientKeyShapes = {firstShape, 0, 0};
  b.surface("S").color.layers.push_back(l);
  return std::make_shared<const host::ObjectModel>(b.finish());
}

TEST(TextureGradient, KeysAndTheSpansBetweenThem) {
  Stage stage(gradientModel(0));
  const LWTextureID t = stage.texture("S", "BaseColor");
  ASSERT_NE(t, nullptr);
  auto at = [&](double y) { return stage.colour(t, {0.3, y, 0.0}, {0.2, 0.2, 0.2}); };
  auto expect = [](std::array<double, 4> got, std::array<double, 4> want, const char* what) {
    for (size_t k = 0; k < 4; ++k) EXPECT_NEAR(got[k], want[k], 1e-9) << what << " " << k;
  };
  expect(at(0.0), {1, 0, 0, 1}, "first key");
  expect(at(-5.0), {1, 0, 0, 1}, "before the first key");
  expect(at(1.0), {0, 0, 1, 1}, "middle key");
  expect(at(0.5), {0.5, 0, 0.5, 1}, "halfway to the middle key");
  // Between the middle and the last key the alpha falls to one half: 0.75 at 1.5, over 0.2 grey.
  const double a = 0.75;
  expect(at(1.5), {0.2 * (1 - a), (0.2 + (0.5 - 0.2) * a), 0.2 + (0.5 - 0.2) * a, a}, "halfway to the last key");
  expect(at(9.0), {0.1, 0.6, 0.1, 0.5}, "past the last key");

  Stage stepped(gradientModel(2));
  const LWTextureID s = stepped.texture("S", "BaseColor");
  expect(stepped.colour(s, {0, 0.9, 0}), {1, 0, 0, 1}, "a step holds the lower key");

  Stage spline(gradientModel(1));
  const auto mid = spline.colour(spline.texture("S", "BaseColor"), {0, 0.5, 0});
  EXPECT_NEAR(mid[0] + mid[2], 1.0, 0.2);  // a smooth span still runs from red to blue
  EXPECT_GT(mid[0], 0.0);
  EXPECT_GT(mid[2], 0.0);
}

TEST(TextureGradient, SlopeIncidenceAndDistanceInputs) {
  {
    Stage stage(gradientModel(0, "Slope"));  // keys at 0, 1 and 2 degrees
    LWMicropol m = stage.spot({0, 0, 0});
    m.wNorm[0] = std::sin(0.5 * kPi / 180), m.wNorm[1] = std::cos(0.5 * kPi / 180), m.wNorm[2] = 0;
    const auto got = stage.colourAt(stage.texture("S", "BaseColor"), m);
    EXPECT_NEAR(got[0], 0.5, 1e-6);  // half a degree off straight up
    EXPECT_NEAR(got[2], 0.5, 1e-6);
  }
  {
    Stage stage(gradientModel(0, "Incidence Angle"));
    LWMicropol m = stage.spot({0, 0, 0});  // looked at straight on: 90 degrees, past the last key
    EXPECT_NEAR(stage.colourAt(stage.texture("S", "BaseColor"), m)[1], 0.5, 1e-6);
  }
  {
    Stage stage(gradientModel(0, "Distance to Object"));  // no item named: from the origin
    EXPECT_NEAR(stage.colour(stage.texture("S", "BaseColor"), {0.0, 0.6, 0.8})[2], 1.0, 1e-6);
  }
}

TEST(TextureProcedural, CheckerboardAndProceduralsThisHostLacks) {
  host::ObjectBuilder b("procedural.lwo");
  host::TextureLayer checker;
  checker.type = host::TextureType::Procedural;
  checker.procedure = "Checkerboard";
  checker.procedureValue = {1, 0, 0};
  checker.mapping.size.value = {0.5, 0.5, 0.5};
  host::TextureLayer other = checker;
  other.procedure = "Turbulence";
  b.surface("S").color.layers = {checker};
  b.surface("T").color.layers = {other};
  Stage stage(std::make_shared<const host::ObjectModel>(b.finish()));
  const LWTextureID t = stage.texture("S", "BaseColor");
  EXPECT_EQ(stage.colour(t, {0.1, 0.1, 0.1})[0], 0.0);  // an even square shows the base
  EXPECT_EQ(stage.colour(t, {0.6, 0.1, 0.1})[0], 1.0);  // the next one the texture's colour
  EXPECT_EQ(stage.colour(t, {0.6, 0.6, 0.1})[0], 0.0);

  const LWTextureID u = stage.texture("T", "BaseColor");
  for (int i = 0; i < 3; ++i) EXPECT_EQ(stage.colour(u, {0.1, 0.1, 0.1}, {0.3, 0.3, 0.3})[0], 0.3);
  int told = 0;
  for (const auto& m : stage.host().messages()) told += m.first.find("Turbulence") != std::string::npos;
  EXPECT_EQ(told, 1);
}

// A bump layer of a horizontal ramp 0, 1/15, ... 1 over 16 columns, planar z, size 1.
std::shared_ptr<const host::ObjectModel> rampModel(Layered& f, double amplitude, bool flat = false) {
  std::vector<float> px;
  for (int i = 0; i < 16; ++i) px.push_back(flat ? 0.5f : float(i) / 15.0f);
  f.layer(f.picture("ramp.exr", 16, 1, 1, px), host::chunkId("BUMP")).amplitude = amplitude;
  return f.model();
}

TEST(TextureBump, GradientAlongTheRampInWorldSpaceAndHeightAsResult) {
  struct Case {
    double amplitude;
    Vec3 hpb;
    bool flat;
  };
  for (const Case& c : {Case{1.0, {0, 0, 0}, false}, Case{2.0, {0, 0, 0}, false},
                        Case{1.0, {kPi / 2, 0, 0}, false}, Case{1.0, {0, 0, 0}, true}}) {
    Layered f;
    Stage stage(rampModel(f, c.amplitude, c.flat), c.hpb);
    const LWTextureID t = stage.texture("S", "Bump");
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(stage.textures()->type(t), TRT_DISPLACEMENT);
    // x = 0.03 is column 8.48 of 16: between the centres of columns 7 and 8.
    LWMicropol m = stage.spot({0.03, 0, 0});
    m.txVal = 0;
    double g[3] = {0, 0, 0};
    const double height = stage.textures()->evaluate(t, &m, g);
    const double slope = c.flat ? 0.0 : c.amplitude / 15.0;  // per texel, along object +x
    EXPECT_NEAR(height, c.flat ? 0.5 : c.amplitude * 7.98 / 15.0, 1e-6);
    const Vec3 want = host::rotationHPB(c.hpb) * Vec3{slope, 0, 0};
    for (int k = 0; k < 3; ++k) EXPECT_NEAR(g[k], want[size_t(k)], 1e-6) << "amplitude " << c.amplitude << " axis " << k;
  }
}

TEST(TextureAnimation, NewtimeMovesEnvelopedLayers) {
  Layered f;
  host::TextureLayer& l = f.layer(f.picture("a.exr", 2, 2, 3, uniform({1, 1, 1, 1}, 3)));
  l.opacityEnvelope = 7;
  host::ObjectEnvelope e;
  e.index = 7;
  e.envelope.keys.resize(2);
  e.envelope.keys[0].time = 0.0, e.envelope.keys[0].value = 0.0, e.envelope.keys[0].shape = host::KeyShape::Linear;
  e.envelope.keys[1].time = 1.0, e.envelope.keys[1].value = 1.0, e.envelope.keys[1].shape = host::KeyShape::Linear;
  f.builder.model().envelopes.push_back(e);
  Stage stage(f.model());
  const LWTextureID t = stage.texture("S", "BaseColor");
  for (double time : {0.25, 0.75}) {
    stage.textures()->newtime(t, time, int(time * 30));
    EXPECT_NEAR(stage.colour(t, {0, 0, 0})[0], time, 1e-9);
  }
}

TEST(TextureIds, StableIdsLayersAndForeignIds) {
  Layered f;
  f.layer(f.picture("a.exr", 2, 2, 3, uniform({1, 1, 1, 1}, 3)));
  f.layer(f.picture("b.exr", 2, 2, 3, uniform({1, 1, 1, 1}, 3)));
  Stage stage(f.model());
  LWTextureFuncs* tf = stage.textures();
  const LWTextureID t = stage.texture("S", "BaseColor");
  ASSERT_NE(t, nullptr);
  EXPECT_EQ(stage.texture("S", "BaseColor"), t);
  EXPECT_EQ(stage.texture("S", "Luminosity"), nullptr);  // no layers, no texture
  EXPECT_EQ(tf->type(t), TRT_COLOR);
  EXPECT_EQ(tf->layerNumber(t), 2);
  const LWTLayerID first = tf->firstLayer(t);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(tf->layerType(first), TLT_IMAGE);
  EXPECT_EQ(tf->texture(first), t);
  const LWTLayerID second = tf->nextLayer(t, first);
  EXPECT_EQ(second, tf->lastLayer(t));
  EXPECT_EQ(tf->nextLayer(t, second), nullptr);

  // Ids it never gave out, and no spot, leave the value alone.
  LWMicropol m = stage.spot({0, 0, 0});
  double v[3] = {0.3, 0.3, 0.3};
  EXPECT_EQ(tf->evaluate(reinterpret_cast<LWTextureID>(uintptr_t(987654)), &m, v), 0.0);
  EXPECT_EQ(tf->evaluate(t, nullptr, v), 0.0);
  EXPECT_EQ(tf->layerType(reinterpret_cast<LWTLayerID>(uintptr_t(5))), -1);
  EXPECT_EQ(v[0], 0.3);
  // A plug-in's own texture has no layers and gives back what it is given.
  const LWTextureID own = tf->create(TRT_SCALAR, "mine", nullptr, &m);
  EXPECT_EQ(tf->userData(own), &m);
  EXPECT_STREQ(tf->name(own), "mine");
  double s = 0.4;
  EXPECT_EQ(tf->evaluate(own, &m, &s), 0.0);
  EXPECT_EQ(s, 0.4);
  tf->destroy(own);
  EXPECT_EQ(tf->name(own), nullptr);
  tf->destroy(t);  // a surface's texture stays
  EXPECT_EQ(tf->layerNumber(t), 2);
}

}  // namespace
