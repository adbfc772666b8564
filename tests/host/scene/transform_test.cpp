// Item placement against matrices worked out by hand, in Layout's left-handed, y-up axes:
// heading turns +z towards +x, pitch turns +z towards -y, bank turns +x towards +y.
#include <gtest/gtest.h>

#include <cmath>

#include "host/scene/scene.h"
#include "host/scene/transform.h"

namespace host {
namespace {

constexpr double kQuarter = 1.5707963267948966;

void expectVec(const Vec3& got, const Vec3& want, const char* what) {
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(got[i], want[i], 1e-12) << what << " [" << i << "]";
}

TEST(Transform, HeadingPitchBankAxes) {
  Scene scene;
  const int i = scene.addItem(ItemType::Object, "box");
  auto axes = [&](Vec3 hpb) {
    scene.item(i).setRotation(hpb);
    return std::array<Vec3, 3>{itemParam(scene, i, ItemParam::Right, 0), itemParam(scene, i, ItemParam::Up, 0),
                               itemParam(scene, i, ItemParam::Forward, 0)};
  };
  auto a = axes({kQuarter, 0, 0});
  expectVec(a[0], {0, 0, -1}, "heading right");
  expectVec(a[2], {1, 0, 0}, "heading forward");
  a = axes({0, kQuarter, 0});
  expectVec(a[1], {0, 0, 1}, "pitch up");
  expectVec(a[2], {0, -1, 0}, "pitch forward");
  a = axes({0, 0, kQuarter});
  expectVec(a[0], {0, 1, 0}, "bank right");
  expectVec(a[1], {-1, 0, 0}, "bank up");
  // Pitch applies before heading: the pitched-up y axis (now +z) is then headed to +x.
  a = axes({kQuarter, kQuarter, 0});
  expectVec(a[0], {0, 0, -1}, "hp right");
  expectVec(a[1], {1, 0, 0}, "hp up");
  expectVec(a[2], {0, -1, 0}, "hp forward");
  // Bank applies before pitch: x banked to +y is then pitched to +z.
  a = axes({0, kQuarter, kQuarter});
  expectVec(a[0], {0, 0, 1}, "pb right");
}

TEST(Transform, ChildOfRotatedScaledOffsetParent) {
  Scene scene;
  const int parent = scene.addItem(ItemType::Object, "parent");
  const int child = scene.addItem(ItemType::Light, "child");
  scene.item(parent).setPosition({10, 0, 0});
  scene.item(parent).setRotation({kQuarter, 0, 0});
  scene.item(parent).setScale({2, 2, 2});
  scene.item(child).parent = parent;
  scene.item(child).setPosition({1, 0, 0});
  scene.item(child).setRotation({0, kQuarter, 0});

  // Parent maps x to 2 * (0, 0, -1), z to 2 * (1, 0, 0); the child sits at (10, 0, -2).
  expectVec(itemParam(scene, child, ItemParam::WorldPosition, 0), {10, 0, -2}, "world position");
  expectVec(itemParam(scene, child, ItemParam::Position, 0), {1, 0, 0}, "local position");
  // The child's forward (pitched to -y) keeps -y through the parent's heading, scaled by 2.
  expectVec(itemParam(scene, child, ItemParam::Forward, 0), {0, -2, 0}, "forward");
  // Its up (pitched to +z) becomes the parent's scaled z: (2, 0, 0).
  expectVec(itemParam(scene, child, ItemParam::Up, 0), {2, 0, 0}, "up");
  expectVec(itemParam(scene, child, ItemParam::Scaling, 0), {1, 1, 1}, "scaling stays the item's own");

  // A point one unit along the child's x: child x -> parent x (1,0,0)+(1,0,0) -> world.
  expectVec(itemWorldTransform(scene, child, 0).apply({1, 0, 0}), {10, 0, -4}, "point");
  // And the inverse brings it back.
  const Affine w = itemWorldTransform(scene, child, 0);
  expectVec(w.inverse().apply(w.apply({0.3, -2, 5})), {0.3, -2, 5}, "inverse");
}

TEST(Transform, PivotPointAndPivotRotation) {
  Scene scene;
  const int obj = scene.addItem(ItemType::Object, "door");
  Item& door = scene.item(obj);
  door.pivotPosition = {1, 0, 0};
  door.setPosition({5, 0, 0});
  door.setRotation({kQuarter, 0, 0});
  // The pivot point lands on the position; the rest turns about it.
  expectVec(itemObjectToWorld(scene, obj, 0).apply({1, 0, 0}), {5, 0, 0}, "pivot");
  expectVec(itemObjectToWorld(scene, obj, 0).apply({2, 0, 0}), {5, 0, -1}, "turned about the pivot");
  expectVec(itemParam(scene, obj, ItemParam::WorldPosition, 0), {5, 0, 0}, "world position is the pivot's");

  // A pivot rotation equal to the item's rotation leaves the geometry unturned.
  door.pivotRotation = {kQuarter, 0, 0};
  expectVec(itemObjectToWorld(scene, obj, 0).apply({1, 0, 1}), {5, 0, 1}, "pivot rotation");
  expectVec(itemParam(scene, obj, ItemParam::PivotRotation, 0), {kQuarter, 0, 0}, "pivot rotation param");

  // Children hang from the parent's pivot, not from its object origin.
  const int knob = scene.addItem(ItemType::Object, "knob");
  scene.item(knob).parent = obj;
  scene.item(knob).setPosition({0, 0, 2});
  // Parent's frame: z -> (1, 0, 0) after heading 90; origin at (5, 0, 0).
  expectVec(itemParam(scene, knob, ItemParam::WorldPosition, 0), {7, 0, 0}, "child of pivoted parent");
}

TEST(Transform, TargetsAimTheZAxis) {
  Scene scene;
  const int cam = scene.addItem(ItemType::Camera, "cam");
  const int goal = scene.addItem(ItemType::Object, "goal");
  scene.item(cam).target = goal;
  scene.item(goal).setPosition({2, 0, 2});
  const double r = std::sqrt(0.5);
  expectVec(itemParam(scene, cam, ItemParam::Forward, 0), {r, 0, r}, "heading 45");
  expectVec(itemParam(scene, cam, ItemParam::Rotation, 0), {kQuarter / 2, 0, 0}, "aimed rotation");
  scene.item(goal).setPosition({0, -3, 0});
  expectVec(itemParam(scene, cam, ItemParam::Forward, 0), {0, -1, 0}, "pitch 90");
  // Only heading follows: pitch stays with its channel (0).
  scene.item(cam).targetPitch = false;
  scene.item(goal).setPosition({0, -3, 4});
  expectVec(itemParam(scene, cam, ItemParam::Forward, 0), {0, 0, 1}, "heading only");

  // Under a parent headed 90 degrees, the aim is worked out in the parent's frame.
  scene.item(cam).targetPitch = true;
  const int rig = scene.addItem(ItemType::Object, "rig");
  scene.item(rig).setRotation({kQuarter, 0, 0});
  scene.item(cam).parent = rig;
  scene.item(goal).setPosition({0, 0, 5});
  expectVec(itemParam(scene, cam, ItemParam::Forward, 0), {0, 0, 1}, "under a parent");
}

TEST(Transform, AnimatedChannelsAndBrokenParents) {
  Scene scene;
  const int a = scene.addItem(ItemType::Object, "a");
  Envelope x;
  EnvelopeKey k0, k1;
  k0.time = 0, k0.value = 0;
  k1.time = 2, k1.value = 4, k1.shape = KeyShape::Linear;
  x.keys = {k0, k1};
  scene.item(a).motion[PositionX].envelope = x;
  expectVec(itemParam(scene, a, ItemParam::WorldPosition, 1.5), {3, 0, 0}, "animated position");

  // A loop of parents from a damaged file ends instead of hanging.
  const int b = scene.addItem(ItemType::Object, "b");
  scene.item(a).parent = b;
  scene.item(b).parent = a;
  const Vec3 p = itemParam(scene, a, ItemParam::WorldPosition, 0);
  EXPECT_TRUE(std::isfinite(p[0]));
  scene.item(a).target = b;
  scene.item(b).target = a;
  EXPECT_TRUE(std::isfinite(itemParam(scene, b, ItemParam::Forward, 0)[2]));
}

}  // namespace
}  // namespace host
