#include "host/services/texture_eval.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <mutex>
#include <set>

#include "host/services/host.h"
#include "host/services/img_sample.h"

namespace host {

namespace {

constexpr double kPi = 3.14159265358979323846;

Vec3 add(const Vec3& a, const Vec3& b) { return {a[0] + b[0], a[1] + b[1], a[2] + b[2]}; }
Vec3 sub(const Vec3& a, const Vec3& b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }
Vec3 mul(const Vec3& a, double s) { return {a[0] * s, a[1] * s, a[2] * s}; }
double dot(const Vec3& a, const Vec3& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
Vec3 cross(const Vec3& a, const Vec3& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
double length(const Vec3& a) { return std::sqrt(dot(a, a)); }
bool normalize(Vec3& a) {
  const double l = length(a);
  if (!(l > 1e-300) || !std::isfinite(l)) return false;
  a = mul(a, 1.0 / l);
  return true;
}

double luma(const double* c) { return 0.299 * c[0] + 0.587 * c[1] + 0.114 * c[2]; }

// Says once per host and subject that a layer can't be shown.
void reportOnce(const std::string& subject, const std::string& first, const std::string& second) {
  static std::mutex mutex;
  static std::set<std::pair<const Host*, std::string>> told;
  Host* h = Host::current();
  if (!h) return;
  {
    std::lock_guard lock(mutex);
    if (!told.insert({h, subject}).second) return;
  }
  h->showMessage("warning", first.c_str(), second.c_str());
}

// Heading of a direction about the y axis, and its pitch: the angles from which cylindrical
// and spherical maps take their columns and rows. Heading 0 looks along +z.
double headingOf(double x, double z) {
  if (x == 0.0 && z == 0.0) return 0.0;
  if (z == 0.0) return x < 0.0 ? kPi / 2 : -kPi / 2;
  if (z < 0.0) return -std::atan(x / z) + kPi;
  return -std::atan(x / z);
}

double pitchOf(double x, double y, double z) {
  const double r = std::sqrt(x * x + z * z);
  if (r == 0.0) return y < 0.0 ? -kPi / 2 : (y > 0.0 ? kPi / 2 : 0.0);
  return std::atan(y / r);
}

// The planar coordinates of a texture-space point for an axis: s to the right, t down.
void planar(const Vec3& q, const Vec3& size, int axis, double& s, double& t) {
  auto div = [](double a, double b) { return b != 0.0 ? a / b : 0.0; };
  s = axis == 0 ? div(q[2], size[2]) + 0.5 : div(q[0], size[0]) + 0.5;
  t = axis == 1 ? -div(q[2], size[2]) + 0.5 : -div(q[1], size[1]) + 0.5;
}

// The point turned so that the map's axis is the y axis, as the heading and pitch want it.
Vec3 aboutAxis(const Vec3& q, int axis) {
  if (axis == 0) return {q[2], q[0], -q[1]};
  if (axis == 2) return {-q[0], q[2], -q[1]};
  return {-q[0], q[1], q[2]};
}

int clampAxis(int a) { return a < 0 || a > 2 ? 1 : a; }

double triangleSize(const TextureSpot& spot) {
  double d = 0.0;
  for (int i = 0; i < 3; ++i) d = std::max(d, length(sub(spot.cornersW[size_t(i)], spot.cornersW[size_t((i + 1) % 3)])));
  return d;
}

double meanSize(const Vec3& s) { return (std::fabs(s[0]) + std::fabs(s[1]) + std::fabs(s[2])) / 3.0; }

}  // namespace

// Per-point and per-corner entries of one UV map in one geometry layer.
struct TextureStack::UvIndex {
  const Layer* geometry = nullptr;
  const VertexMap* perPoint = nullptr;
  const VertexMap* perCorner = nullptr;
  std::vector<int32_t> pointEntry;                    // by point, -1 for none
  std::unordered_map<uint64_t, int32_t> cornerEntry;  // by (point, polygon)

  const float* find(int64_t point, int64_t polygon) const {
    if (perCorner && polygon >= 0) {
      auto it = cornerEntry.find((uint64_t(point) << 32) | uint64_t(uint32_t(polygon)));
      if (it != cornerEntry.end()) return perCorner->value(size_t(it->second));
    }
    if (perPoint && point >= 0 && point < int64_t(pointEntry.size()) && pointEntry[size_t(point)] >= 0)
      return perPoint->value(size_t(pointEntry[size_t(point)]));
    return nullptr;
  }
};

TextureSpot shiftSpot(const TextureSpot& spot, const Vec3& d, const Mat3& worldToObject) {
  TextureSpot r = spot;
  r.wPos = add(spot.wPos, d);
  r.oPos = add(spot.oPos, worldToObject * d);
  // The corner weights move with the point across the triangle of the first three corners.
  const Vec3 e0 = sub(spot.cornersW[1], spot.cornersW[0]);
  const Vec3 e1 = sub(spot.cornersW[2], spot.cornersW[0]);
  const double d00 = dot(e0, e0), d01 = dot(e0, e1), d11 = dot(e1, e1);
  const double denom = d00 * d11 - d01 * d01;
  if (std::fabs(denom) > 1e-30 * std::max(1.0, d00 * d11)) {
    const double d20 = dot(d, e0), d21 = dot(d, e1);
    const double dv = (d11 * d20 - d01 * d21) / denom;
    const double dw = (d00 * d21 - d01 * d20) / denom;
    r.weights[0] -= dv + dw;
    r.weights[1] += dv;
    r.weights[2] += dw;
  }
  return r;
}

TextureStack::TextureStack(TextureKind kind, std::shared_ptr<const ObjectModel> model,
                           const std::vector<TextureLayer>* layers, ImageTable* images)
    : kind_(kind), model_(std::move(model)), images_(images) {
  if (layers) {
    for (const TextureLayer& l : *layers) {
      TextureLayerNow n;
      n.layer = &l;
      if (l.type == TextureType::ImageMap && images_ && model_) n.image = images_->forClip(model_, l.clip);
      n.keyOrder.resize(l.gradientKeys.size());
      for (size_t i = 0; i < n.keyOrder.size(); ++i) n.keyOrder[i] = i;
      std::stable_sort(n.keyOrder.begin(), n.keyOrder.end(),
                       [&l](size_t a, size_t b) { return l.gradientKeys[a].input < l.gradientKeys[b].input; });
      layers_.push_back(n);
    }
  }
  uvCurrent_ = std::vector<std::atomic<const UvIndex*>>(layers_.size());
  setTime(0.0, 0);
}

TextureStack::~TextureStack() = default;

void TextureStack::setTime(double time, int frame) {
  time_ = time;
  frame_ = frame;
  auto env = [this, time](uint32_t index, double fallback) {
    const Envelope* e = index && model_ ? model_->findEnvelope(index) : nullptr;
    return e && !e->empty() ? e->evaluate(time) : fallback;
  };
  // A vector's envelope index names its first component; the others follow it.
  auto vec = [&](const EnvelopedVector& v) {
    Vec3 r = v.value;
    if (v.envelope)
      for (uint32_t k = 0; k < 3; ++k) r[k] = env(v.envelope + k, v.value[k]);
    return r;
  };
  for (TextureLayerNow& n : layers_) {
    const TextureLayer& l = *n.layer;
    n.center = vec(l.mapping.center);
    n.size = vec(l.mapping.size);
    n.rotation = vec(l.mapping.rotation);
    n.toTexture = rotationHPB(n.rotation).transposed();
    n.opacity = env(l.opacityEnvelope, l.opacity);
    n.wrapWidth = env(l.wrapWidthEnvelope, l.wrapWidthAmount);
    n.wrapHeight = env(l.wrapHeightEnvelope, l.wrapHeightAmount);
    n.amplitude = env(l.amplitudeEnvelope, l.amplitude);
    n.imageFile = n.image ? n.image->file(frame) : nullptr;
  }
}

const TextureStack::UvIndex* TextureStack::uvIndex(const TextureLayerNow& l, const Layer& geometry) const {
  const size_t i = size_t(&l - layers_.data());
  const UvIndex* current = uvCurrent_[i].load(std::memory_order_acquire);
  if (current && current->geometry == &geometry) return current;
  std::lock_guard lock(uvMutex_);
  current = uvCurrent_[i].load(std::memory_order_relaxed);
  if (current && current->geometry == &geometry) return current;
  auto index = std::make_unique<UvIndex>();
  index->geometry = &geometry;
  for (const VertexMap& m : geometry.vertexMaps) {
    if (m.type != chunkId("TXUV") || m.name != l.layer->uvMap || m.dimension < 2) continue;
    if (m.perPolygon) {
      if (!index->perCorner) index->perCorner = &m;
    } else if (!index->perPoint) {
      index->perPoint = &m;
    }
  }
  if (index->perPoint) {
    index->pointEntry.assign(geometry.points.size(), -1);
    for (size_t e = 0; e < index->perPoint->size(); ++e) {
      const uint32_t p = index->perPoint->points[e];
      if (p < index->pointEntry.size() && index->pointEntry[p] < 0) index->pointEntry[p] = int32_t(e);
    }
  }
  if (index->perCorner) {
    const VertexMap& m = *index->perCorner;
    for (size_t e = 0; e < m.size() && e < m.polygons.size(); ++e)
      index->cornerEntry.emplace((uint64_t(m.points[e]) << 32) | m.polygons[e], int32_t(e));
  }
  const UvIndex* made = index.get();
  uvIndexes_.push_back(std::move(index));
  uvCurrent_[i].store(made, std::memory_order_release);
  return made;
}

bool TextureStack::uvAt(const TextureLayerNow& l, const TextureSpot& spot, const TextureSurroundings& around,
                        double& u, double& v) const {
  if (!around.geometry || l.layer->uvMap.empty()) return false;
  const UvIndex* index = uvIndex(l, *around.geometry);
  if (!index->perPoint && !index->perCorner) return false;
  double su = 0.0, sv = 0.0, sw = 0.0;
  for (size_t c = 0; c < 4; ++c) {
    const double w = spot.weights[c];
    if (w == 0.0 || spot.points[c] < 0) continue;
    const float* uv = index->find(spot.points[c], spot.polygon);
    if (!uv) return false;  // a corner outside the map: the layer isn't there
    su += w * uv[0];
    sv += w * uv[1];
    sw += w;
  }
  if (std::fabs(sw) < 1e-12) return false;
  u = su / sw;
  v = sv / sw;
  return true;
}

bool TextureStack::project(const TextureLayerNow& l, const TextureSpot& spot, const TextureSurroundings& around,
                           const Vec3& displacement, double& s, double& t) const {
  const TextureLayer& layer = *l.layer;
  const bool world = layer.mapping.coordinateSystem == 1;
  switch (layer.projection) {
    case Projection::UV: {
      double u, v;
      if (!uvAt(l, spot, around, u, v)) return false;
      s = u;
      t = 1.0 - v;
      return true;
    }
    case Projection::Front: {
      if (!around.scene) return false;
      const int cam = around.scene->renderCamera();
      if (cam < 0) return false;
      const Item& camera = around.scene->items[size_t(cam)];
      const Vec3 pc = itemWorldTransform(*around.scene, cam, time_).inverse().apply(add(spot.wPos, displacement));
      if (!(pc[2] > 1e-12)) return false;
      const double zoom = camera.camera.zoomFactor.at(time_);
      const double aspect = camera.camera.height > 0
                                ? camera.camera.width * camera.camera.pixelAspect / camera.camera.height
                                : 1.0;
      if (!(zoom > 0.0) || !(aspect > 0.0)) return false;
      s = 0.5 + 0.5 * (pc[0] / pc[2]) * zoom / aspect;
      t = 0.5 - 0.5 * (pc[1] / pc[2]) * zoom;
      return true;
    }
    default: break;
  }
  const Vec3 p = add(world ? spot.wPos : spot.oPos, displacement);
  const Vec3 q = l.toTexture * sub(p, l.center);
  switch (layer.projection) {
    case Projection::Planar: planar(q, l.size, clampAxis(layer.axis), s, t); return true;
    case Projection::Cubic: planar(q, l.size, clampAxis(world ? spot.wAxis : spot.oAxis), s, t); return true;
    case Projection::Cylindrical: {
      const int axis = clampAxis(layer.axis);
      const Vec3 a = aboutAxis(q, axis);
      s = (1.0 - headingOf(a[0], a[2]) / (2.0 * kPi)) * l.wrapWidth;
      t = l.size[size_t(axis)] != 0.0 ? -q[size_t(axis)] / l.size[size_t(axis)] + 0.5 : 0.5;
      return true;
    }
    case Projection::Spherical: {
      const Vec3 a = aboutAxis(q, clampAxis(layer.axis));
      s = (1.0 - headingOf(a[0], a[2]) / (2.0 * kPi)) * l.wrapWidth;
      t = (0.5 - pitchOf(a[0], a[1], a[2]) / kPi) * l.wrapHeight;
      return true;
    }
    default: return false;
  }
}

bool TextureStack::layerUV(size_t layer, const TextureSpot& spot, const TextureSurroundings& around,
                           double uv[2]) const {
  if (layer >= layers_.size() || layers_[layer].layer->type != TextureType::ImageMap) return false;
  double s, t;
  if (!project(layers_[layer], spot, around, {0, 0, 0}, s, t)) return false;
  uv[0] = s;
  uv[1] = 1.0 - t;
  return true;
}

double TextureStack::gradientInput(const TextureLayerNow& l, const TextureSpot& spot, const TextureSurroundings& around,
                                   const Vec3& p, const double* below) const {
  const std::string& name = l.layer->gradientParameter;
  auto itemPosition = [&](int index) -> Vec3 {
    if (!around.scene || index < 0 || index >= int(around.scene->items.size())) return {0, 0, 0};
    return itemWorldTransform(*around.scene, index, time_).translation;
  };
  auto namedItem = [&]() {
    return around.scene ? around.scene->findItem(l.layer->gradientItem) : -1;
  };
  if (name == "Previous Layer") return kind_ == TextureKind::Color ? luma(below) : below[0];
  if (name == "Distance to Object") return length(sub(spot.wPos, itemPosition(namedItem())));
  if (name == "X Distance to Object") return spot.wPos[0] - itemPosition(namedItem())[0];
  if (name == "Y Distance to Object") return spot.wPos[1] - itemPosition(namedItem())[1];
  if (name == "Z Distance to Object") return spot.wPos[2] - itemPosition(namedItem())[2];
  if (name == "Distance to Camera")
    return length(sub(spot.wPos, itemPosition(around.scene ? around.scene->renderCamera() : -1)));
  if (name == "X Coordinate") return p[0];
  if (name == "Y Coordinate") return p[1];
  if (name == "Z Coordinate") return p[2];
  if (name == "Slope") {
    Vec3 n = spot.wNorm;
    if (!normalize(n)) return 0.0;
    return std::acos(std::clamp(n[1], -1.0, 1.0)) * 180.0 / kPi;
  }
  if (name == "Incidence Angle") {
    Vec3 n = spot.wNorm, ray = sub(spot.wPos, spot.raySource);
    if (!normalize(n) || !normalize(ray)) return 90.0;
    return std::asin(std::clamp(std::fabs(dot(ray, n)), 0.0, 1.0)) * 180.0 / kPi;
  }
  reportOnce("gradient:" + name, "A gradient's input \"" + name + "\" is not available in this host",
             "the gradient reads its first key there");
  return -std::numeric_limits<double>::infinity();
}

namespace {

// The key values at x: below the first key the first, past the last the last; between two
// keys by the shape of the span that starts at the lower one.
void gradientAt(const TextureLayer& layer, const std::vector<size_t>& order, double x, double out[4]) {
  const auto& keys = layer.gradientKeys;
  if (keys.empty() || order.size() != keys.size()) {
    out[0] = out[1] = out[2] = 0.0;
    out[3] = 0.0;
    return;
  }
  auto put = [&](size_t k) {
    for (int c = 0; c < 4; ++c) out[c] = keys[k].output[size_t(c)];
  };
  if (!(x > keys[order.front()].input)) return put(order.front());
  if (!(x < keys[order.back()].input)) return put(order.back());
  size_t j = 0;
  while (j + 1 < order.size() && !(x < keys[order[j + 1]].input)) ++j;
  const GradientKey& a = keys[order[j]];
  const GradientKey& b = keys[order[j + 1]];
  const double span = b.input - a.input;
  const double f = span > 0.0 ? (x - a.input) / span : 0.0;
  const int shape = order[j] < layer.gradientKeyShapes.size() ? layer.gradientKeyShapes[order[j]] : 0;
  if (shape == 2) return put(order[j]);  // step: hold the lower key
  for (int c = 0; c < 4; ++c) {
    const double ya = a.output[size_t(c)], yb = b.output[size_t(c)];
    if (shape != 1) {
      out[c] = ya + (yb - ya) * f;
      continue;
    }
    // Spline: Hermite with the slopes of the neighbouring keys (Catmull-Rom over uneven keys).
    auto slope = [&](size_t lo, size_t hi) {
      const double dx = keys[order[hi]].input - keys[order[lo]].input;
      return dx > 0.0 ? (keys[order[hi]].output[size_t(c)] - keys[order[lo]].output[size_t(c)]) / dx : 0.0;
    };
    const double ma = j > 0 ? slope(j - 1, j + 1) : slope(j, j + 1);
    const double mb = j + 2 < order.size() ? slope(j, j + 2) : slope(j, j + 1);
    const double f2 = f * f, f3 = f2 * f;
    out[c] = (2 * f3 - 3 * f2 + 1) * ya + (f3 - 2 * f2 + f) * span * ma + (-2 * f3 + 3 * f2) * yb +
             (f3 - f2) * span * mb;
  }
}

double checkerboard(const Vec3& q) {
  const long long n = (long long)std::floor(q[0]) + (long long)std::floor(q[1]) + (long long)std::floor(q[2]);
  return (n & 1) ? 1.0 : 0.0;
}

}  // namespace

bool TextureStack::evaluateLayer(const TextureLayerNow& l, const TextureSpot& spot, const TextureSurroundings& around,
                                 const Vec3& displacement, const double* below, LayerResult& out) const {
  const TextureLayer& layer = *l.layer;
  const bool color = kind_ == TextureKind::Color;
  double coverage = 1.0;
  switch (layer.type) {
    case TextureType::ImageMap: {
      if (!l.imageFile) return false;
      double s, t;
      if (!project(l, spot, around, displacement, s, t) || !std::isfinite(s) || !std::isfinite(t)) return false;
      const auto modeW = TileMode(int(layer.wrapWidth)), modeH = TileMode(int(layer.wrapHeight));
      if (modeW == TileMode::Reset && (s < 0.0 || s >= 1.0)) return false;
      if (modeH == TileMode::Reset && (t < 0.0 || t >= 1.0)) return false;
      const ImagePixels& pixels = l.imageFile->pixels();
      double c[4];
      samplePixels(pixels, s * pixels.width, t * pixels.height, layer.pixelBlending, modeW, modeH, c);
      if (color) out.value[0] = c[0], out.value[1] = c[1], out.value[2] = c[2];
      else out.value[0] = luma(c);
      if (layer.negative)
        for (double& v : out.value) v = 1.0 - v;
      coverage = c[3];
      break;
    }
    case TextureType::Procedural: {
      double pattern;
      if (layer.procedure == "Checkerboard") {
        const bool world = layer.mapping.coordinateSystem == 1;
        Vec3 q = l.toTexture * sub(add(world ? spot.wPos : spot.oPos, displacement), l.center);
        for (size_t k = 0; k < 3; ++k) q[k] = l.size[k] != 0.0 ? q[k] / l.size[k] : 0.0;
        pattern = checkerboard(q);
      } else {
        reportOnce("procedural:" + layer.procedure,
                   "The procedural texture \"" + layer.procedure + "\" is not available in this host",
                   "its layers are left out");
        return false;
      }
      if (layer.negative) pattern = 1.0 - pattern;
      for (size_t k = 0; k < 3; ++k) out.value[k] = layer.procedureValue[color ? k : 0];
      coverage = pattern;
      break;
    }
    case TextureType::Gradient: {
      const bool world = layer.mapping.coordinateSystem == 1;
      const Vec3 p = add(world ? spot.wPos : spot.oPos, displacement);
      double key[4];
      gradientAt(layer, l.keyOrder, gradientInput(l, spot, around, p, below), key);
      for (size_t k = 0; k < 3; ++k) out.value[k] = key[color ? k : 0];
      if (layer.negative)
        for (double& v : out.value) v = 1.0 - v;
      coverage = key[3];
      break;
    }
    default: return false;
  }
  if (kind_ == TextureKind::Bump) out.value[0] *= l.amplitude;
  out.coverage = std::clamp(coverage, 0.0, 1.0) * l.opacity;
  return true;
}

double TextureStack::composite(const TextureSpot& spot, const TextureSurroundings& around, double* value,
                               int only) const {
  const bool color = kind_ == TextureKind::Color;
  const int n = color ? 3 : 1;
  double b[3] = {value[0], color ? value[1] : value[0], color ? value[2] : value[0]};
  double alpha = 0.0, mask = 1.0;
  Vec3 displacement{0, 0, 0};
  for (size_t i = 0; i < layers_.size(); ++i) {
    if (only >= 0 && size_t(only) != i) continue;
    const TextureLayerNow& l = layers_[i];
    if (!l.layer->enabled) continue;
    LayerResult r;
    if (!evaluateLayer(l, spot, around, displacement, b, r)) {
      mask = 1.0;
      continue;
    }
    const double a = r.coverage * mask;
    mask = 1.0;
    const double lum = color ? luma(r.value) : r.value[0];
    switch (l.layer->blend) {
      case BlendMode::Alpha: mask = 1.0 - a * (1.0 - lum); continue;
      case BlendMode::TextureDisplacement: displacement = add(displacement, mul(l.size, lum * a)); continue;
      default: break;
    }
    for (int k = 0; k < n; ++k) {
      const double t = r.value[k];
      double& v = b[k];
      switch (l.layer->blend) {
        case BlendMode::Additive: v += t * a; break;
        case BlendMode::Subtractive: v -= t * a; break;
        case BlendMode::Difference: v += (std::fabs(v - t) - v) * a; break;
        case BlendMode::Multiply: v += (v * t - v) * a; break;
        case BlendMode::Divide:
          if (t != 0.0) v += (v / t - v) * a;
          break;
        default: v += (t - v) * a; break;
      }
    }
    alpha += (1.0 - alpha) * a;
  }
  for (int k = 0; k < n; ++k) value[k] = b[k];
  return alpha;
}

double TextureStack::stepLength(const TextureSpot& spot, const TextureSurroundings& around, const Vec3& direction,
                                const Mat3& worldToObject) const {
  double best = std::numeric_limits<double>::infinity();
  const double tri = triangleSize(spot);
  for (const TextureLayerNow& l : layers_) {
    if (!l.layer->enabled) continue;
    if (l.layer->type != TextureType::ImageMap) {
      const double m = meanSize(l.size);
      if (m > 0.0) best = std::min(best, 0.01 * m);
      continue;
    }
    if (!l.imageFile) continue;
    const ImagePixels& pixels = l.imageFile->pixels();
    // A small probe step tells how many texels one unit of length crosses here.
    const double reference = tri > 0.0 ? tri : std::max(meanSize(l.size), 1e-6);
    const double probe = 1e-4 * reference;
    const Vec3 d = mul(direction, probe);
    const TextureSpot moved = shiftSpot(spot, d, worldToObject);
    double s0, t0, s1, t1;
    if (!project(l, spot, around, {0, 0, 0}, s0, t0) || !project(l, moved, around, {0, 0, 0}, s1, t1)) continue;
    const double texels = std::hypot((s1 - s0) * pixels.width, (t1 - t0) * pixels.height);
    if (texels > 0.0 && std::isfinite(texels)) best = std::min(best, probe / texels);
  }
  return std::isfinite(best) ? best : 0.0;
}

void TextureStack::bump(const TextureSpot& spot, const TextureSurroundings& around, double, double* gradient) const {
  Vec3 n = spot.wNorm;
  if (!normalize(n)) {
    n = spot.gNorm;
    if (!normalize(n)) n = {0, 1, 0};
  }
  Vec3 t1 = cross(n, std::fabs(n[0]) < 0.9 ? Vec3{1, 0, 0} : Vec3{0, 1, 0});
  normalize(t1);
  const Vec3 t2 = cross(n, t1);
  Mat3 worldToObject;
  if (around.scene && around.objectItem >= 0 && around.objectItem < int(around.scene->items.size()))
    worldToObject = itemObjectToWorld(*around.scene, around.objectItem, time_).linear.inverse();
  Vec3 g{0, 0, 0};
  for (const Vec3& dir : {t1, t2}) {
    const double step = stepLength(spot, around, dir, worldToObject);
    if (!(step > 0.0)) continue;
    double up = 0.0, down = 0.0;
    composite(shiftSpot(spot, mul(dir, step), worldToObject), around, &up, -1);
    composite(shiftSpot(spot, mul(dir, -step), worldToObject), around, &down, -1);
    g = add(g, mul(dir, 0.5 * (up - down)));
  }
  for (int k = 0; k < 3; ++k) gradient[k] += g[size_t(k)];
}

double TextureStack::evaluate(const TextureSpot& spot, const TextureSurroundings& around, double* value,
                              int only) const {
  if (!value) return 0.0;
  if (kind_ != TextureKind::Bump) return composite(spot, around, value, only);
  double height = 0.0;
  composite(spot, around, &height, only);
  if (only < 0) bump(spot, around, height, value);
  return height;
}

}  // namespace host
