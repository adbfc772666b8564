#pragma once
// Where items are at a time, as Layout places them: left-handed axes with y up and z forward;
// an item is scaled, then banked (about z), pitched (about x) and headed (about y), then moved
// to its position in its parent's space, which is the parent's pivot frame. Object geometry
// first goes through the pivot: it is moved by minus the pivot point and turned back by the
// pivot rotation. An item with a target has its heading and pitch turned so that its z axis
// points at the target.
#include "host/scene/animated.h"

namespace host {

struct Scene;

// 3x3 matrix, rows first, applied to column vectors: its columns are the images of x, y, z.
struct Mat3 {
  double m[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};

  Vec3 operator*(const Vec3& v) const;
  Mat3 operator*(const Mat3& o) const;
  Vec3 column(int c) const { return {m[0][c], m[1][c], m[2][c]}; }
  Mat3 transposed() const;
  Mat3 inverse() const;  // identity if singular
  double determinant() const;
};

// p -> linear * p + translation.
struct Affine {
  Mat3 linear;
  Vec3 translation{0.0, 0.0, 0.0};

  Vec3 apply(const Vec3& p) const;
  Vec3 applyVector(const Vec3& v) const { return linear * v; }
  // This transform after `inner`: p -> this(inner(p)).
  Affine after(const Affine& inner) const;
  Affine inverse() const;
};

// Rotation by heading, pitch and bank (radians), bank first: columns are the turned x, y, z.
Mat3 rotationHPB(const Vec3& hpb);
Mat3 scaling(const Vec3& s);

// Transforms of item `index` of a scene at a time in seconds.
Affine itemLocalTransform(const Scene& scene, int index, double time);   // into the parent's frame
Affine itemWorldTransform(const Scene& scene, int index, double time);   // the item's frame to world
Affine itemPivotTransform(const Scene& scene, int index);                // object coordinates to the item's frame
Affine itemObjectToWorld(const Scene& scene, int index, double time);    // object coordinates to world

// The vectors Layout's item info gives for each parameter.
enum class ItemParam {
  Position,       // in the parent's frame
  Right, Up, Forward,  // the item's x, y, z axes in world space, scaled by the item's scaling
  Rotation,       // heading, pitch, bank, with a target's aim
  Scaling,        // the item's own scaling
  Pivot,          // pivot point, in object coordinates
  WorldPosition,  // the item's origin (its pivot point) in world space
  WorldRight, WorldUp, WorldForward,  // the same as Right, Up, Forward
  PivotRotation,  // heading, pitch, bank of the pivot
};
Vec3 itemParam(const Scene& scene, int index, ItemParam param, double time);

}  // namespace host
