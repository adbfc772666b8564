#include "shading/direct_light_cell.h"

#include <cmath>
#include <cstdint>

#include "rayengine/hit_shading.h"
#include "runtime/random.h"
#include "runtime/vector_ops.h"
#include "shading/captured_camera.h"
#include "shading/captured_light.h"
#include "shading/shading_core.h"

namespace {

constexpr double kSeedScaleX = 1400013665.0;
constexpr double kSeedScaleY = 2490574437.0;

// A product truncated towards zero and wrapped to 32 bits.
uint32_t seedPart(double value) { return uint32_t(int64_t(std::trunc(value))); }

}  // namespace

void DirectLightCell(SceneCapture* scene, const CapturedCamera* camera, CapturedLight* lights, double x, double y,
                     const RayHit* hit, const ShadingSample* sample, double colour[3]) {
  vec::set(colour, 0.0, 0.0, 0.0);
  if (!lights || hit->polygon < 0) return;
  uint32_t seed = seedPart(kSeedScaleX * x) + seedPart(kSeedScaleY * y);
  double point[3], view[3], normal[3];
  HitWorldPoint(hit, point);
  vec::sub(camera->position, point, view);
  vec::normalize(view);
  ShadingSample_Normal(sample, normal);
  const bool receives = (hit->object->shadowOptions & LWOSHAD_RECEIVE) != 0;
  for (CapturedLight* light = lights; light; light = light->nextInGroup) {
    double u = 0.5, v = 0.5;
    if (light->kind == LWLIGHT_LINEAR || light->kind == LWLIGHT_AREA) {
      u = randUnit(&seed);
      v = fastUnit(&seed);
    }
    ShadeLight(scene, light, view, point, normal, hit, sample, receives, u, v, 1.0, colour);
  }
}
