// Writes the built-in demo scene: a small room lit by an area light and a spot light, with a
// glossy ball, a glass ball and a checker-mapped box, Monte Carlo radiosity on, a camera that
// moves over frames 1 to 4, and depth of field that opens up on frames 3 and 4.
//
//   make_demo DIR           writes demo.lws, its objects and its texture into DIR
//   make_demo --check DIR   writes them into a temporary folder and compares them with DIR's
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>
#include <vector>

#include <OpenImageIO/imageio.h>

#include "host/formats/lwo2_writer.h"
#include "host/formats/lwo_builder.h"
#include "host/formats/lws_writer.h"
#include "host/scene/scene.h"

namespace fs = std::filesystem;
using namespace host;

namespace {

constexpr double kDeg = 3.14159265358979323846 / 180.0;
constexpr double kFps = 30.0;
constexpr int kTextureSize = 256;
// Alpha from the surface's opacity: the images get a real alpha channel, solid where the room
// is, and glass counts by what it lets through to what lies behind it.
constexpr int kSurfaceOpacity = 2;
const char* const kFiles[] = {"demo.lws", "room.lwo", "glossy_ball.lwo", "glass_ball.lwo", "checker_box.lwo",
                              "checker.png"};

// ---- The texture ----

// Eight by eight squares in two warm tones, each with a soft bevel so the map reads at any size.
bool writeChecker(const fs::path& file, std::string& error) {
  std::vector<unsigned char> pixels(size_t(kTextureSize) * kTextureSize * 3);
  const int cell = kTextureSize / 8;
  for (int y = 0; y < kTextureSize; ++y) {
    for (int x = 0; x < kTextureSize; ++x) {
      const bool dark = ((x / cell) + (y / cell)) % 2 == 1;
      const int ex = std::min(x % cell, cell - 1 - x % cell), ey = std::min(y % cell, cell - 1 - y % cell);
      const double edge = std::min(1.0, std::min(ex, ey) / 3.0);
      const double shade = 0.8 + 0.2 * edge;
      const double r = dark ? 0.72 : 0.95, g = dark ? 0.30 : 0.88, b = dark ? 0.18 : 0.70;
      unsigned char* p = &pixels[(size_t(y) * kTextureSize + size_t(x)) * 3];
      p[0] = static_cast<unsigned char>(std::lround(255.0 * r * shade));
      p[1] = static_cast<unsigned char>(std::lround(255.0 * g * shade));
      p[2] = static_cast<unsigned char>(std::lround(255.0 * b * shade));
    }
  }
  auto out = OIIO::ImageOutput::create(file.string());
  OIIO::ImageSpec layout(kTextureSize, kTextureSize, 3, OIIO::TypeDesc::UINT8);
  if (!out || !out->open(file.string(), layout) || !out->write_image(OIIO::TypeDesc::UINT8, pixels.data()) ||
      !out->close()) {
    error = file.string() + ": " + (out ? out->geterror() : OIIO::geterror());
    return false;
  }
  return true;
}

// ---- The objects ----

Surface& diffuse(ObjectBuilder& b, const std::string& name, double r, double g, double bl) {
  Surface& s = b.surface(name);
  s.color.value = {r, g, bl};
  s.diffuse.value = 0.85;
  s.sidedness = SideDouble;  // seen from inside the room and out
  s.alphaOptions = kSurfaceOpacity;
  return s;
}

void quad(ObjectBuilder& b, const std::array<std::array<float, 3>, 4>& corners, const std::string& surface) {
  std::vector<uint32_t> v;
  for (const auto& c : corners) v.push_back(b.addPoint(c[0], c[1], c[2]));
  b.addPolygon(v, surface);
}

ObjectModel makeRoom() {
  ObjectBuilder b("room.lwo");
  diffuse(b, "Floor", 0.75, 0.72, 0.66);
  diffuse(b, "Wall", 0.80, 0.80, 0.78);
  diffuse(b, "RedWall", 0.70, 0.16, 0.12);
  diffuse(b, "GreenWall", 0.18, 0.50, 0.22);
  // The room reaches behind the camera, so the picture is all room, edge to edge.
  const float x0 = -3.0f, x1 = 3.0f, y0 = 0.0f, y1 = 3.5f, z0 = -7.0f, z1 = 4.0f;
  b.addPlane({0.0f, y0, -1.5f}, 6.0f, 11.0f, 6, 11, "Floor");  // divided, so the grid has cells
  quad(b, {{{x0, y1, z0}, {x1, y1, z0}, {x1, y1, z1}, {x0, y1, z1}}}, "Wall");       // ceiling
  quad(b, {{{x0, y0, z1}, {x1, y0, z1}, {x1, y1, z1}, {x0, y1, z1}}}, "Wall");       // back
  quad(b, {{{x0, y0, z0}, {x0, y0, z1}, {x0, y1, z1}, {x0, y1, z0}}}, "RedWall");    // left
  quad(b, {{{x1, y0, z0}, {x1, y1, z0}, {x1, y1, z1}, {x1, y0, z1}}}, "GreenWall");  // right
  return b.finish();
}

ObjectModel makeGlossyBall() {
  ObjectBuilder b("glossy_ball.lwo");
  Surface& s = b.surface("BlueGloss");
  s.alphaOptions = kSurfaceOpacity;
  s.color.value = {0.10, 0.22, 0.65};
  s.diffuse.value = 0.7;
  s.specularity.value = 0.6;
  s.glossiness.value = 0.75;
  s.reflectivity.value = 0.2;
  s.smoothingAngle = 89.5 * kDeg;
  b.addSphere({0.0f, 0.0f, 0.0f}, 0.7f, 32, 16, "BlueGloss");
  return b.finish();
}

ObjectModel makeGlassBall() {
  ObjectBuilder b("glass_ball.lwo");
  Surface& s = b.surface("Glass");
  s.alphaOptions = kSurfaceOpacity;
  s.color.value = {0.92, 0.97, 0.95};
  s.diffuse.value = 0.05;
  s.specularity.value = 0.9;
  s.glossiness.value = 0.9;
  s.reflectivity.value = 0.06;
  s.transparency.value = 0.92;
  s.ior.value = 1.5;
  s.smoothingAngle = 89.5 * kDeg;
  b.addSphere({0.0f, 0.0f, 0.0f}, 0.6f, 32, 16, "Glass");
  return b.finish();
}

ObjectModel makeCheckerBox() {
  ObjectBuilder b("checker_box.lwo");
  Surface& s = b.surface("Checker");
  s.alphaOptions = kSurfaceOpacity;
  s.diffuse.value = 0.9;
  s.specularity.value = 0.15;
  s.glossiness.value = 0.3;
  b.addBox({0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f}, "Checker", "UVMap");
  const uint32_t clip = b.addClip("checker.png");
  b.addImageMap("Checker", chunkId("COLR"), clip, Projection::UV, "UVMap");
  return b.finish();
}

// ---- The scene ----

Envelope linear(double first, double last, double fromFrame, double toFrame) {
  Envelope e;
  EnvelopeKey a, b;
  a.time = fromFrame / kFps;
  a.value = first;
  b.time = toFrame / kFps;
  b.value = last;
  b.shape = KeyShape::Linear;
  e.keys = {a, b};
  return e;
}

int addObject(Scene& scene, const std::string& name, const std::string& file, const Vec3& at, double heading) {
  const int i = scene.addItem(ItemType::Object, name);
  Item& item = scene.item(i);
  item.object.path = file;
  item.setPosition(at);
  item.setRotation({heading, 0.0, 0.0});
  return i;
}

// The master's settings as it saves them: Monte Carlo radiosity with one bounce.
PluginBlock masterBlock() {
  PluginBlock block;
  block.serverClass = "MasterHandler";
  block.index = 1;
  block.name = "Ombrel";
  block.lines = {"BEGIN TARNOK_LABS_PLUGIN Ombrel",
                 "# Ombrel 0.1 panel settings",
                 "VERSION 1",
                 " BEGIN RADIO RADTYPE",
                 "  SELECTION 2",
                 " END",
                 " BEGIN NUM RADSTRENGTH",
                 " VALUE 1",
                 " END",
                 " BEGIN NUM RADBOUNCE",
                 " VALUE 1",
                 " END",
                 " BEGIN NUM DOF25D",
                 " VALUE 1",
                 " END",
                 " BEGIN NUM MB25D",
                 " VALUE 1",
                 " END",
                 "END TARNOK_LABS_PLUGIN Ombrel"};
  return block;
}

Scene makeScene() {
  Scene scene;
  scene.firstFrame = 1;
  scene.lastFrame = 4;
  scene.frameStep = 1;
  scene.previewFirstFrame = 1;
  scene.previewLastFrame = 4;
  scene.currentFrame = 1;
  scene.framesPerSecond = kFps;
  scene.ambientIntensity = 0.02;
  scene.render.traceShadows = scene.render.traceReflection = scene.render.traceRefraction = true;
  scene.render.traceTransparency = true;
  scene.render.recursionLimit = 6;
  scene.backdrop.gradient = true;
  scene.backdrop.zenith = AnimatedColor(0.05, 0.08, 0.16);
  scene.backdrop.sky = AnimatedColor(0.35, 0.42, 0.55);
  scene.backdrop.ground = AnimatedColor(0.18, 0.16, 0.14);
  scene.backdrop.nadir = AnimatedColor(0.08, 0.07, 0.06);

  addObject(scene, "Room", "room.lwo", {0.0, 0.0, 0.0}, 0.0);
  addObject(scene, "GlossyBall", "glossy_ball.lwo", {-1.4, 0.7, 2.2}, 0.0);
  addObject(scene, "GlassBall", "glass_ball.lwo", {0.2, 0.6, 0.9}, 0.0);
  addObject(scene, "CheckerBox", "checker_box.lwo", {1.6, 0.5, 2.5}, 28.0 * kDeg);

  // The area light fills the room from the ceiling; its scale is its size.
  const int area = scene.addItem(ItemType::Light, "CeilingPanel");
  Item& panel = scene.item(area);
  panel.light.kind = LightKind::Area;
  panel.light.intensity = 0.75;
  panel.light.color = AnimatedColor(1.0, 0.97, 0.92);
  panel.light.quality = 3;
  panel.setPosition({0.0, 3.45, 1.5});
  panel.setRotation({0.0, 90.0 * kDeg, 0.0});  // pointing down
  panel.setScale({1.4, 1.4, 1.0});

  // A warm spot from the front left, on the glossy ball.
  const int spotIndex = scene.addItem(ItemType::Light, "WarmSpot");
  Item& spot = scene.item(spotIndex);
  spot.light.kind = LightKind::Spot;
  spot.light.intensity = 0.8;
  spot.light.color = AnimatedColor(1.0, 0.84, 0.62);
  spot.light.coneAngle = 18.0 * kDeg;
  spot.light.edgeAngle = 6.0 * kDeg;
  const Vec3 from{-2.5, 2.9, -1.2}, to{-1.4, 0.7, 2.2};
  const double dx = to[0] - from[0], dy = to[1] - from[1], dz = to[2] - from[2];
  spot.setPosition(from);
  spot.setRotation({std::atan2(dx, dz), std::atan2(-dy, std::hypot(dx, dz)), 0.0});

  // The camera slides left to right and turns to keep the room framed; depth of field,
  // focused on the glass ball, is shallow only on frames 3 and 4.
  const int cameraIndex = scene.addItem(ItemType::Camera, "Camera");
  Item& camera = scene.item(cameraIndex);
  camera.setPosition({0.0, 1.7, -5.2});
  camera.motion[PositionX].envelope = linear(-0.9, 0.9, 1.0, 4.0);
  camera.motion[Heading].envelope = linear(9.0 * kDeg, -9.0 * kDeg, 1.0, 4.0);
  camera.motion[Pitch] = 9.0 * kDeg;
  camera.camera.width = 480;
  camera.camera.height = 270;
  camera.camera.regionX1 = 479;
  camera.camera.regionY1 = 269;
  camera.camera.zoomFactor = 2.2;
  camera.camera.depthOfField = true;
  camera.camera.focalDistance = 6.3;
  Envelope fStop;
  EnvelopeKey open, wide;
  open.time = 2.0 / kFps;
  open.value = 64.0;
  open.shape = KeyShape::Stepped;
  wide.time = 3.0 / kFps;
  wide.value = 0.08;
  wide.shape = KeyShape::Stepped;
  fStop.keys = {open, wide};
  camera.camera.fStop.envelope = fStop;
  scene.currentCamera = cameraIndex;

  scene.plugins.push_back(masterBlock());
  return scene;
}

bool writeAll(const fs::path& dir, std::string& error) {
  std::error_code ec;
  fs::create_directories(dir, ec);
  const std::pair<const char*, ObjectModel> objects[] = {{"room.lwo", makeRoom()},
                                                         {"glossy_ball.lwo", makeGlossyBall()},
                                                         {"glass_ball.lwo", makeGlassBall()},
                                                         {"checker_box.lwo", makeCheckerBox()}};
  for (const auto& [name, model] : objects)
    if (!writeLwo2File(model, (dir / name).string(), error)) return false;
  if (!writeChecker(dir / "checker.png", error)) return false;
  return writeSceneFile((dir / "demo.lws").string(), makeScene(), error);
}

// ---- The check ----

std::vector<char> bytesOf(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

// Images are compared by their pixels: the compressed bytes may differ between library versions.
bool samePixels(const fs::path& a, const fs::path& b) {
  auto read = [](const fs::path& file, OIIO::ImageSpec& dims, std::vector<unsigned char>& pixels) {
    auto in = OIIO::ImageInput::open(file.string());
    if (!in) return false;
    dims = in->spec_dimensions(0);
    pixels.resize(size_t(dims.width) * size_t(dims.height) * size_t(dims.nchannels));
    return in->read_image(0, 0, 0, dims.nchannels, OIIO::TypeDesc::UINT8, pixels.data());
  };
  OIIO::ImageSpec sa, sb;
  std::vector<unsigned char> pa, pb;
  return read(a, sa, pa) && read(b, sb, pb) && sa.width == sb.width && sa.height == sb.height &&
         sa.nchannels == sb.nchannels && pa == pb;
}

int check(const fs::path& committed) {
  const fs::path fresh = fs::temp_directory_path() / ("ombrel-demo-check-" + std::to_string(::getpid()));
  std::string error;
  if (!writeAll(fresh, error)) {
    std::fprintf(stderr, "make_demo: %s\n", error.c_str());
    return 1;
  }
  int differing = 0;
  for (const char* name : kFiles) {
    const bool image = fs::path(name).extension() == ".png";
    const bool same = fs::exists(committed / name) &&
                      (image ? samePixels(fresh / name, committed / name)
                             : bytesOf(fresh / name) == bytesOf(committed / name));
    if (!same) {
      std::fprintf(stderr, "make_demo: %s differs from what the generator makes; run make_demo %s\n",
                   (committed / name).string().c_str(), committed.string().c_str());
      ++differing;
    }
  }
  fs::remove_all(fresh);
  if (differing == 0) std::printf("The demo files in %s are current.\n", committed.string().c_str());
  return differing == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> args(argv + 1, argv + argc);
  if (args.size() == 2 && args[0] == "--check") return check(args[1]);
  if (args.size() != 1 || args[0].empty() || args[0][0] == '-') {
    std::fprintf(stderr, "usage: make_demo DIR | make_demo --check DIR\n");
    return 2;
  }
  std::string error;
  if (!writeAll(args[0], error)) {
    std::fprintf(stderr, "make_demo: %s\n", error.c_str());
    return 1;
  }
  std::printf("Wrote the demo scene into %s\n", args[0].c_str());
  return 0;
}
