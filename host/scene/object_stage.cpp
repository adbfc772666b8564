// Stages a lone object for a render. The camera's distance and aim are solved from the object's
// world bounds so that the whole object stays in frame, with a margin, on every frame of a
// turntable, whatever its size and wherever it sits; lights are distant so they need no scale.
#include "host/scene/object_stage.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <map>
#include <numbers>

#include "host/scene/object.h"
#include "host/scene/transform.h"

namespace host {

namespace {

constexpr double kDegree = std::numbers::pi / 180.0;
// Above the object and to its front left: the view that shows a front, a side and a top.
constexpr double kViewHeading = 38.0 * kDegree;
constexpr double kViewPitch = 24.0 * kDegree;
// A moderate lens: the frame spans 2 / zoom vertically at unit distance, as the module renders.
constexpr double kZoom = 3.2;
// The object's extent over the frame's, on whichever axis is tighter.
constexpr double kFill = 0.84;

double dot(const Vec3& a, const Vec3& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

Vec3 normalized(const Vec3& v) {
  const double l = std::sqrt(dot(v, v));
  return {v[0] / l, v[1] / l, v[2] / l};
}

struct Box {
  Vec3 min{std::numeric_limits<double>::max(), std::numeric_limits<double>::max(),
           std::numeric_limits<double>::max()};
  Vec3 max{std::numeric_limits<double>::lowest(), std::numeric_limits<double>::lowest(),
           std::numeric_limits<double>::lowest()};
  bool empty = true;

  void add(const Vec3& p) {
    if (!std::isfinite(p[0]) || !std::isfinite(p[1]) || !std::isfinite(p[2])) return;
    for (int k = 0; k < 3; ++k) {
      min[k] = std::min(min[k], p[k]);
      max[k] = std::max(max[k], p[k]);
    }
    empty = false;
  }
};

// The object as the camera must frame it: the points its polygons use (all of them when it has
// no polygons) where they stand in the world when the scene starts, and their box.
struct Shape {
  Box box;
  std::vector<Vec3> points;
};

Shape worldShape(const Scene& scene, const std::vector<int>& objectItems) {
  Shape shape;
  for (int index : objectItems) {
    const Item& item = scene.item(index);
    if (!item.object.model) continue;
    const Affine toWorld = itemObjectToWorld(scene, index, 0.0);
    for (const Layer& layer : item.object.model->layers) {
      if (int(layer.number) + 1 != item.object.layer) continue;
      // Points no polygon uses are often left-overs far from the object: they don't count.
      std::vector<bool> used(layer.points.size(), layer.polygons.empty());
      for (const Polygon& polygon : layer.polygons)
        for (uint32_t v : polygon.vertices)
          if (v < used.size()) used[v] = true;
      for (size_t i = 0; i < layer.points.size(); ++i) {
        if (!used[i]) continue;
        const Point3f& p = layer.points[i];
        const Vec3 w = toWorld.apply({p[0], p[1], p[2]});
        if (!std::isfinite(w[0]) || !std::isfinite(w[1]) || !std::isfinite(w[2])) continue;
        shape.box.add(w);
        shape.points.push_back(w);
      }
    }
  }
  if (shape.box.empty) shape.box.add({0.0, 0.0, 0.0});
  // A point or a line has no size to frame: give it one, in proportion to where it is.
  Box& box = shape.box;
  double size = 0.0;
  for (int k = 0; k < 3; ++k) size = std::max(size, box.max[k] - box.min[k]);
  if (!(size > 0.0)) {
    double far = 0.0;
    for (int k = 0; k < 3; ++k) far = std::max(far, std::abs(box.min[k]));
    const double half = std::max(0.5, far * 1e-3);
    for (int k = 0; k < 3; ++k) {
      box.min[k] -= half;
      box.max[k] += half;
    }
  }
  // Many points are framed through the corners of the cells of a coarse grid that hold them:
  // fewer to project, and every point still lies within what is framed.
  constexpr size_t kManyPoints = 4096;
  constexpr int kCells = 24;
  if (shape.points.size() <= kManyPoints) {
    if (shape.points.empty())
      for (int c = 0; c < 8; ++c)
        shape.points.push_back({c & 1 ? box.max[0] : box.min[0], c & 2 ? box.max[1] : box.min[1],
                                c & 4 ? box.max[2] : box.min[2]});
    return shape;
  }
  Vec3 cell{};
  for (int k = 0; k < 3; ++k) cell[k] = std::max((box.max[k] - box.min[k]) / kCells, 1e-300);
  std::vector<bool> corner(size_t(kCells + 1) * (kCells + 1) * (kCells + 1), false);
  for (const Vec3& p : shape.points) {
    int at[3];
    for (int k = 0; k < 3; ++k) at[k] = std::clamp(int((p[k] - box.min[k]) / cell[k]), 0, kCells - 1);
    for (int c = 0; c < 8; ++c)
      corner[(size_t(at[0] + (c & 1)) * (kCells + 1) + size_t(at[1] + (c >> 1 & 1))) * (kCells + 1) +
             size_t(at[2] + (c >> 2 & 1))] = true;
  }
  shape.points.clear();
  for (int i = 0; i <= kCells; ++i)
    for (int j = 0; j <= kCells; ++j)
      for (int k = 0; k <= kCells; ++k)
        if (corner[(size_t(i) * (kCells + 1) + size_t(j)) * (kCells + 1) + size_t(k)])
          shape.points.push_back({box.min[0] + i * cell[0], box.min[1] + j * cell[1], box.min[2] + k * cell[2]});
  return shape;
}

// Heading and pitch that turn an item's z axis to `forward`.
Vec3 aim(const Vec3& forward) {
  return {std::atan2(forward[0], forward[2]), std::atan2(-forward[1], std::hypot(forward[0], forward[2])), 0.0};
}

// The camera's place in the turntable's frame: back along its view by `distance`, moved across
// the view by `shift` so the object's picture is centred.
struct CameraFit {
  double distance = 1.0;
  double shift[2] = {0.0, 0.0};
};

// Solves the distance that holds every point inside the frame on every turn of the turntable,
// then moves the camera across so the picture's margins are even, and solves again.
CameraFit fitCamera(const Shape& shape, const Vec3& centre, const Mat3& view, double aspect, int turns) {
  const Vec3 right = view.column(0), up = view.column(1), forward = view.column(2);
  // Past this many frames the turns are sampled: a point then strays from its framed places by
  // at most 2.5% of its distance from the axis, well inside the margin.
  constexpr int kMostTurns = 128;
  const int n = std::clamp(turns, 1, kMostTurns);
  struct Seen {
    double x, y, z;  // in the camera's axes, from the centre
  };
  std::vector<Seen> seen;
  seen.reserve(shape.points.size() * size_t(n));
  for (int t = 0; t < n; ++t) {
    const Mat3 back = rotationHPB({-2.0 * std::numbers::pi * t / n, 0.0, 0.0});
    for (const Vec3& p : shape.points) {
      const Vec3 u = back * Vec3{p[0] - centre[0], p[1] - centre[1], p[2] - centre[2]};
      seen.push_back({dot(u, right), dot(u, up), dot(u, forward)});
    }
  }
  double radius = 0.0;
  for (const Seen& s : seen) radius = std::max(radius, std::sqrt(s.x * s.x + s.y * s.y + s.z * s.z));
  const double halfHeight = kFill / kZoom, halfWidth = halfHeight * aspect;

  CameraFit fit;
  const auto solve = [&] {
    double d = 0.0;
    for (const Seen& s : seen) {
      d = std::max(d, std::abs(s.x - fit.shift[0]) / halfWidth - s.z);
      d = std::max(d, std::abs(s.y - fit.shift[1]) / halfHeight - s.z);
      d = std::max(d, radius * 0.05 - s.z);  // never inside the object
    }
    fit.distance = d;
  };
  solve();
  for (int round = 0; round < 6; ++round) {
    double lo[2] = {1e300, 1e300}, hi[2] = {-1e300, -1e300};
    for (const Seen& s : seen) {
      const double depth = s.z + fit.distance;
      const double t[2] = {(s.x - fit.shift[0]) / depth, (s.y - fit.shift[1]) / depth};
      for (int k = 0; k < 2; ++k) {
        lo[k] = std::min(lo[k], t[k]);
        hi[k] = std::max(hi[k], t[k]);
      }
    }
    for (int k = 0; k < 2; ++k) fit.shift[k] += (lo[k] + hi[k]) / 2 * fit.distance;
    solve();
  }
  return fit;
}

// A distant light shining on the object from `from`, given in the camera's axes (x right,
// y up, z away from the camera).
int addLight(Scene& scene, int rig, const std::string& name, const Mat3& view, const Vec3& from, double radius,
             double intensity, const Vec3& color, bool shadows) {
  const int index = scene.addItem(ItemType::Light, name);
  Item& light = scene.item(index);
  light.parent = rig;
  const Vec3 toward = normalized(view * from);
  light.setPosition({toward[0] * radius * 3, toward[1] * radius * 3, toward[2] * radius * 3});
  light.setRotation(aim({-toward[0], -toward[1], -toward[2]}));
  light.light.kind = LightKind::Distant;
  light.light.intensity = intensity;
  light.light.color = AnimatedColor(color[0], color[1], color[2]);
  light.light.shadowType = shadows ? 1 : 0;
  return index;
}

}  // namespace

std::vector<int> addObjectLayers(Scene& scene, const std::shared_ptr<const ObjectModel>& model,
                                 const std::string& path) {
  const std::string stem = std::filesystem::path(path).stem().string();
  const bool several = model->layers.size() > 1;
  std::vector<int> added;
  std::map<int, int> itemOfLayer;
  for (const Layer& l : model->layers) {
    std::string name = stem;
    if (several) name += ":" + (l.name.empty() ? "Layer " + std::to_string(l.number + 1) : l.name);
    const int i = scene.addItem(ItemType::Object, name);
    Item& item = scene.items[size_t(i)];
    item.object.model = model;
    item.object.path = path;
    item.object.resolvedPath = path;
    item.object.layer = int(l.number) + 1;
    item.pivotPosition = {l.pivot[0], l.pivot[1], l.pivot[2]};
    itemOfLayer.emplace(int(l.number), i);
    added.push_back(i);
  }
  for (const Layer& l : model->layers) {
    auto self = itemOfLayer.find(int(l.number));
    auto parent = itemOfLayer.find(l.parent);
    if (l.parent >= 0 && parent != itemOfLayer.end() && parent->second != self->second)
      scene.items[size_t(self->second)].parent = parent->second;
  }
  if (model->layers.empty()) {
    const int i = scene.addItem(ItemType::Object, stem);
    scene.items[size_t(i)].object.model = model;
    scene.items[size_t(i)].object.path = path;
    added.push_back(i);
  }
  return added;
}

Scene ObjectStage::build(const std::shared_ptr<const ObjectModel>& model, const std::string& path) const {
  Scene scene;
  const int turns = std::max(0, turntableFrames);
  scene.firstFrame = scene.previewFirstFrame = scene.currentFrame = 1;
  scene.lastFrame = scene.previewLastFrame = std::max(1, turns);
  scene.ambientIntensity = 0.06;
  scene.render.traceShadows = scene.render.traceReflection = scene.render.traceRefraction = true;
  scene.render.traceTransparency = true;
  scene.render.recursionLimit = 8;

  // A studio grey, darker than a default surface in shade and lighter than black, a little
  // lighter towards the horizon. Sky and ground meet in one colour: no seam at the horizon.
  scene.backdrop.gradient = true;
  scene.backdrop.zenith = AnimatedColor(0.17, 0.17, 0.18);
  scene.backdrop.sky = AnimatedColor(0.31, 0.31, 0.32);
  scene.backdrop.ground = AnimatedColor(0.31, 0.31, 0.32);
  scene.backdrop.nadir = AnimatedColor(0.15, 0.15, 0.16);
  scene.backdrop.skySqueeze = scene.backdrop.groundSqueeze = 1.5;

  const std::vector<int> objects = addObjectLayers(scene, model, path);
  const Shape shape = worldShape(scene, objects);
  const Box& box = shape.box;
  const Vec3 centre{(box.min[0] + box.max[0]) / 2, (box.min[1] + box.max[1]) / 2, (box.min[2] + box.max[2]) / 2};

  // The rig: a null at the object's centre that carries the camera and the lights; turning it
  // walks them around the object, as if the object turned before a fixed set.
  const int rig = scene.addItem(ItemType::Object, "Turntable");
  scene.item(rig).object.isNull = true;
  scene.item(rig).setPosition(centre);
  if (turns > 1) {
    EnvelopeKey start, end;
    start.time = scene.frameToTime(1);
    start.shape = end.shape = KeyShape::Linear;
    end.time = scene.frameToTime(1 + turns);
    end.value = 2.0 * std::numbers::pi;
    scene.item(rig).motion[Heading].envelope.keys = {start, end};
  }

  const Mat3 view = rotationHPB({kViewHeading, kViewPitch, 0.0});
  const int w = std::max(1, width), h = std::max(1, height);
  const CameraFit fit = fitCamera(shape, centre, view, double(w) / h, std::max(1, turns));
  const int cameraIndex = scene.addItem(ItemType::Camera, "Camera");
  Item& camera = scene.item(cameraIndex);
  camera.parent = rig;
  const Vec3 right = view.column(0), up = view.column(1), forward = view.column(2);
  Vec3 place{};
  for (int k = 0; k < 3; ++k)
    place[k] = right[k] * fit.shift[0] + up[k] * fit.shift[1] - forward[k] * fit.distance;
  camera.setPosition(place);
  camera.setRotation({kViewHeading, kViewPitch, 0.0});
  camera.camera.zoomFactor = kZoom;
  camera.camera.width = w;
  camera.camera.height = h;
  camera.camera.regionX1 = w - 1;
  camera.camera.regionY1 = h - 1;
  scene.currentCamera = cameraIndex;

  // Key from above left, casting the shadows; a cooler fill from the right lifts the shadow
  // side; the rim from behind draws the outline against the backdrop.
  double radius = 0.0;
  for (int k = 0; k < 3; ++k) radius = std::max(radius, box.max[k] - box.min[k]);
  addLight(scene, rig, "Key", view, {-1.0, 1.1, -0.7}, radius, 1.0, {1.0, 0.97, 0.92}, true);
  addLight(scene, rig, "Fill", view, {1.0, -0.3, -1.0}, radius, 0.5, {0.88, 0.93, 1.0}, false);
  addLight(scene, rig, "Rim", view, {0.4, 0.9, 1.3}, radius, 0.7, {1.0, 1.0, 1.0}, false);
  return scene;
}

}  // namespace host
