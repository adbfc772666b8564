#pragma once
// What a ray met: the caller's record, usually on its stack.
#include <cstdint>

struct CapturedObject;

struct RayHit {
  int32_t polygon;         // in the object's mesh; -1 while nothing was hit
  CapturedObject* object;  // the object hit
  float weightA;           // barycentric weight of vertexA
  float weightB;           // of vertexB; vertexC's is 1 - weightA - weightB, never stored
  int32_t vertexA, vertexB, vertexC;
  uint8_t backSide;  // 1 when hit from the back; the normal is then flipped
};

// Which objects a ray skips, by the flags of the object (and for shadows, the light).
enum RayKind : int {
  kRayCamera = 0,      // skips objects unseen by the camera
  kRayReflection = 1,  // reflection and refraction: skips objects unseen by rays
  kRayShadow = 2,      // skips objects that cast no shadow, the one it leaves without self
                       // shadow, and those that exclude its light
  kRayRadiosity = 3,   // as reflection
  kRayHostShader = 4,  // a host shader's own ray cast: skips nothing
};

// Bits of CapturedObject.objectFlags and shadowOptions that rays read.
inline constexpr uint32_t kObjectUnseenByCamera = 1u << 0;
inline constexpr uint32_t kObjectUnseenByRays = 1u << 1;
inline constexpr uint32_t kObjectMatte = 1u << 5;
inline constexpr uint32_t kShadowSelf = 1u << 0;
inline constexpr uint32_t kShadowCast = 1u << 1;
