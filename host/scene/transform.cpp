#include "host/scene/transform.h"

#include <cmath>
#include <cstdint>
#include <vector>

#include "host/scene/scene.h"

namespace host {

Vec3 Mat3::operator*(const Vec3& v) const {
  Vec3 r;
  for (int i = 0; i < 3; ++i) r[i] = m[i][0] * v[0] + m[i][1] * v[1] + m[i][2] * v[2];
  return r;
}

Mat3 Mat3::operator*(const Mat3& o) const {
  Mat3 r;
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) r.m[i][j] = m[i][0] * o.m[0][j] + m[i][1] * o.m[1][j] + m[i][2] * o.m[2][j];
  return r;
}

Mat3 Mat3::transposed() const {
  Mat3 r;
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) r.m[i][j] = m[j][i];
  return r;
}

double Mat3::determinant() const {
  return m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
         m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
         m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
}

Mat3 Mat3::inverse() const {
  const double det = determinant();
  if (det == 0.0 || !std::isfinite(det)) return Mat3{};
  Mat3 r;
  r.m[0][0] = (m[1][1] * m[2][2] - m[1][2] * m[2][1]) / det;
  r.m[0][1] = (m[0][2] * m[2][1] - m[0][1] * m[2][2]) / det;
  r.m[0][2] = (m[0][1] * m[1][2] - m[0][2] * m[1][1]) / det;
  r.m[1][0] = (m[1][2] * m[2][0] - m[1][0] * m[2][2]) / det;
  r.m[1][1] = (m[0][0] * m[2][2] - m[0][2] * m[2][0]) / det;
  r.m[1][2] = (m[0][2] * m[1][0] - m[0][0] * m[1][2]) / det;
  r.m[2][0] = (m[1][0] * m[2][1] - m[1][1] * m[2][0]) / det;
  r.m[2][1] = (m[0][1] * m[2][0] - m[0][0] * m[2][1]) / det;
  r.m[2][2] = (m[0][0] * m[1][1] - m[0][1] * m[1][0]) / det;
  return r;
}

Vec3 Affine::apply(const Vec3& p) const {
  Vec3 r = linear * p;
  for (int i = 0; i < 3; ++i) r[i] += translation[i];
  return r;
}

Affine Affine::after(const Affine& inner) const {
  Affine r;
  r.linear = linear * inner.linear;
  r.translation = apply(inner.translation);
  return r;
}

Affine Affine::inverse() const {
  Affine r;
  r.linear = linear.inverse();
  const Vec3 t = r.linear * translation;
  r.translation = {-t[0], -t[1], -t[2]};
  return r;
}

Mat3 rotationHPB(const Vec3& hpb) {
  const double ch = std::cos(hpb[0]), sh = std::sin(hpb[0]);
  const double cp = std::cos(hpb[1]), sp = std::sin(hpb[1]);
  const double cb = std::cos(hpb[2]), sb = std::sin(hpb[2]);
  // Columns: right, up and forward after bank, then pitch, then heading.
  const Vec3 right{ch * cb + sh * sp * sb, cp * sb, -sh * cb + ch * sp * sb};
  const Vec3 up{-ch * sb + sh * sp * cb, cp * cb, sh * sb + ch * sp * cb};
  const Vec3 forward{sh * cp, -sp, ch * cp};
  Mat3 r;
  for (int i = 0; i < 3; ++i) {
    r.m[i][0] = right[i];
    r.m[i][1] = up[i];
    r.m[i][2] = forward[i];
  }
  return r;
}

Mat3 scaling(const Vec3& s) {
  Mat3 r;
  for (int i = 0; i < 3; ++i) r.m[i][i] = s[i];
  return r;
}

namespace {

Vec3 channels(const Item& item, int first, double time) {
  return {item.motion[first].at(time), item.motion[first + 1].at(time), item.motion[first + 2].at(time)};
}

bool validIndex(const Scene& scene, int index) { return index >= 0 && index < int(scene.items.size()); }

// World transforms of the items one question needs, each worked out once. Parents and
// targets may refer to each other in a damaged file: an item met again while its own
// transform is being worked out counts as the world's origin.
class Placement {
 public:
  Placement(const Scene& scene, double time) : scene_(scene), time_(time) {}

  Affine world(int index) {
    // A question touches only an item's chain of parents and targets, so the items met are
    // kept in a short list rather than in arrays the size of the scene.
    for (const Visit& v : visits_) {
      if (v.index != index) continue;
      return v.done ? v.world : Affine{};
    }
    const size_t slot = visits_.size();
    visits_.push_back({index, false, Affine{}});
    const Item& item = scene_.item(index);
    const Affine parent = validIndex(scene_, item.parent) ? world(item.parent) : Affine{};
    const Affine result = parent.after(local(index, parent));
    visits_[slot].world = result;
    visits_[slot].done = true;
    return result;
  }

  Affine local(int index, const Affine& parent) {
    const Item& item = scene_.item(index);
    Affine a;
    a.linear = rotationHPB(angles(index, parent)) * scaling(channels(item, ScaleX, time_));
    a.translation = channels(item, PositionX, time_);
    return a;
  }

  // Heading, pitch and bank: the channels', or those that aim the item at its target.
  Vec3 angles(int index, const Affine& parent) {
    const Item& item = scene_.item(index);
    Vec3 hpb = channels(item, Heading, time_);
    const Vec3 position = channels(item, PositionX, time_);
    if (validIndex(scene_, item.target) && item.target != index && (item.targetHeading || item.targetPitch)) {
      // Aim the item's z axis at the target, in the parent's frame.
      const Vec3 from = parent.apply(position);
      const Vec3 to = world(item.target).translation;
      const Vec3 d = parent.linear.inverse() * Vec3{to[0] - from[0], to[1] - from[1], to[2] - from[2]};
      if (d[0] != 0.0 || d[1] != 0.0 || d[2] != 0.0) {
        if (item.targetHeading) hpb[0] = std::atan2(d[0], d[2]);
        if (item.targetPitch) hpb[1] = std::atan2(-d[1], std::hypot(d[0], d[2]));
      }
    }
    return hpb;
  }

  Affine parentOf(int index) {
    const int parent = scene_.item(index).parent;
    return validIndex(scene_, parent) ? world(parent) : Affine{};
  }

 private:
  const Scene& scene_;
  double time_;
  struct Visit {
    int index;
    bool done;  // false while its own transform is being worked out
    Affine world;
  };
  std::vector<Visit> visits_;
};

}  // namespace

Affine itemLocalTransform(const Scene& scene, int index, double time) {
  Placement placement(scene, time);
  return placement.local(index, placement.parentOf(index));
}

Affine itemWorldTransform(const Scene& scene, int index, double time) {
  scene.item(index);  // range check
  return Placement(scene, time).world(index);
}

Affine itemPivotTransform(const Scene& scene, int index) {
  const Item& item = scene.item(index);
  Affine a;
  a.linear = rotationHPB(item.pivotRotation).transposed();
  const Vec3 t = a.linear * item.pivotPosition;
  a.translation = {-t[0], -t[1], -t[2]};
  return a;
}

Affine itemObjectToWorld(const Scene& scene, int index, double time) {
  return itemWorldTransform(scene, index, time).after(itemPivotTransform(scene, index));
}

Vec3 itemParam(const Scene& scene, int index, ItemParam param, double time) {
  const Item& item = scene.item(index);
  switch (param) {
    case ItemParam::Position: return channels(item, PositionX, time);
    case ItemParam::Rotation: {
      Placement placement(scene, time);
      return placement.angles(index, placement.parentOf(index));
    }
    case ItemParam::Scaling: return channels(item, ScaleX, time);
    case ItemParam::Pivot: return item.pivotPosition;
    case ItemParam::PivotRotation: return item.pivotRotation;
    case ItemParam::WorldPosition: return itemWorldTransform(scene, index, time).translation;
    case ItemParam::Right:
    case ItemParam::WorldRight: return itemWorldTransform(scene, index, time).linear.column(0);
    case ItemParam::Up:
    case ItemParam::WorldUp: return itemWorldTransform(scene, index, time).linear.column(1);
    case ItemParam::Forward:
    case ItemParam::WorldForward: return itemWorldTransform(scene, index, time).linear.column(2);
  }
  return {0.0, 0.0, 0.0};
}

}  // namespace host
