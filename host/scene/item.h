#pragma once
// One item of a scene as Layout holds it: an object (or a null), a light, a camera or a bone,
// with its place in the hierarchy, its pivot, its nine motion channels, and the settings of
// its kind. Defaults are Layout's defaults for a new item.
#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/scene/animated.h"
#include "host/scene/plugin.h"
#include "host/scene/texture.h"

namespace host {

struct ObjectModel;

// Numbered as Layout's item types.
enum class ItemType { Object = 0, Light = 1, Camera = 2, Bone = 3 };

// An item id as scene files write it: the kind in the top four bits (1 object, 2 light,
// 3 camera, 4 bone) and a running number below.
constexpr uint32_t itemIdBase(ItemType type) { return (uint32_t(type) + 1u) << 28; }
constexpr ItemType itemIdType(uint32_t id) { return ItemType((id >> 28) - 1u); }
// Light ids that stand for whole effects in exclusion lists.
constexpr uint32_t kRadiosityItemId = 0x21000000u;
constexpr uint32_t kCausticsItemId = 0x22000000u;

enum MotionChannel : int {
  PositionX, PositionY, PositionZ, Heading, Pitch, Bank, ScaleX, ScaleY, ScaleZ, MotionChannelCount
};

// The channel names Layout shows in its graph editor ("Position.X", "Rotation.H", "Scale.Z").
const char* motionChannelName(int channel);

// Item flags as Layout reports them.
enum : uint32_t { ItemFlagActive = 1u << 0 };

// Object shadow options.
enum : uint32_t { ShadowSelf = 1u << 0, ShadowCast = 1u << 1, ShadowReceive = 1u << 2 };

// Object flags.
enum : uint32_t {
  ObjectUnseenByCamera = 1u << 0,
  ObjectUnseenByRays = 1u << 1,
  ObjectUnaffectedByFog = 1u << 2,
  ObjectMatte = 1u << 5,
  ObjectUnseenByAlpha = 1u << 6,
  ObjectAlphaBlack = 1u << 7,
  ObjectDistanceDissolve = 1u << 8,
};

enum class LightKind { Distant = 0, Point = 1, Spot = 2, Linear = 3, Area = 4 };
enum class LightFalloff { None = 0, Linear = 1, InverseDistance = 2, InverseDistanceSquared = 3 };

// Light flags.
enum : uint32_t {
  LightLimitedRange = 1u << 0,
  LightNoDiffuse = 1u << 1,
  LightNoSpecular = 1u << 2,
  LightNoCaustics = 1u << 3,
  LightLensFlare = 1u << 4,
  LightVolumetric = 1u << 5,
};

struct ObjectSettings {
  bool isNull = false;                        // AddNullObject: no geometry
  std::shared_ptr<const ObjectModel> model;   // shared by every item that loads the same file
  std::string path;                           // as the scene wrote it
  std::string resolvedPath;                   // where it was found
  int layer = 1;                              // the layer number within the file
  uint32_t shadowOptions = ShadowSelf | ShadowCast | ShadowReceive;
  uint32_t flags = 0;
  Animated dissolve = 0.0;
  Animated fogLevel = 1.0;
  double distanceDissolveMax = 1.0;
  AnimatedColor matteColor{0.0, 0.0, 0.0};
  Animated polygonSize = 1.0;
  std::shared_ptr<const SceneTexture> clipMap;  // where it holds more than 0.5 the object has holes; null for none
  int subdivisionOrder = 0;                   // 5 is "Last"
  int subPatchLevel = 3, subPatchRenderLevel = 3;
  std::vector<uint32_t> excludedLights;       // light item ids, kRadiosityItemId, kCausticsItemId

  bool excludes(uint32_t lightId) const;
};

struct LightSettings {
  LightKind kind = LightKind::Distant;
  AnimatedColor color{1.0, 1.0, 1.0};
  Animated intensity = 1.0;
  LightFalloff falloff = LightFalloff::None;
  Animated range = 1.0;                 // the falloff's nominal distance
  Animated coneAngle = 0.5235987755982988;   // radians (30 degrees)
  Animated edgeAngle = 0.08726646259971647;  // radians (5 degrees)
  int shadowType = 1;                   // 0 off, 1 ray traced, 2 shadow map
  AnimatedColor shadowColor{0.0, 0.0, 0.0};
  int quality = 3;                      // area and linear light quality, 1..5
  bool affectDiffuse = true, affectSpecular = true, affectCaustics = true, affectOpenGL = true;
  bool lensFlare = false, volumetric = false;
  std::string projectionImage;          // as written; empty for none
  int shadowMapSize = 512;

  uint32_t flags() const;               // the Light* bits above
};

struct CameraSettings {
  Animated zoomFactor = 3.2;
  Animated focalDistance = 1.0;
  Animated fStop = 4.0;
  Animated blurLength = 0.5;
  bool depthOfField = false;
  int motionBlur = 0;                   // 0 off, 1 normal, 2 dithered
  int width = 640, height = 480;        // the render's size in pixels
  double resolutionMultiplier = 1.0;    // already applied to width and height
  double pixelAspect = 1.0;
  int limitedRegion = 0;                // 0 off, 1 with border, 2 without
  int regionX0 = 0, regionY0 = 0, regionX1 = 639, regionY1 = 479;  // pixels, both ends included
  int antialiasing = 1;                 // samples per pixel
};

struct BoneSettings {
  Vec3 restPosition{0.0, 0.0, 0.0};
  Vec3 restRotation{0.0, 0.0, 0.0};
  double restLength = 1.0;
  bool active = true;
  int objectIndex = -1;                 // the object item the bone belongs to
};

struct Item {
  ItemType type = ItemType::Object;
  uint32_t id = 0;                      // as in the scene file, see itemIdBase
  std::string name;
  int parent = -1;                      // index into Scene::items, -1 for none
  int target = -1;                      // the item this one's z axis points at, -1 for none
  bool targetHeading = true, targetPitch = true;  // which angles the target drives
  Vec3 pivotPosition{0.0, 0.0, 0.0};
  Vec3 pivotRotation{0.0, 0.0, 0.0};    // heading, pitch, bank in radians
  std::array<Animated, MotionChannelCount> motion{0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 1.0, 1.0, 1.0};
  bool active = true;
  std::vector<PluginBlock> plugins;     // the item's server instances, in file order

  ObjectSettings object;                // for objects and nulls
  LightSettings light;                  // for lights
  CameraSettings camera;                // for cameras
  BoneSettings bone;                    // for bones

  uint32_t flags() const { return active ? ItemFlagActive : 0u; }
  // Sets the motion to one still pose.
  void setPosition(const Vec3& p);
  void setRotation(const Vec3& hpb);
  void setScale(const Vec3& s);
};

}  // namespace host
