#include "shading/captured_environment.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "runtime/global_services.h"

namespace {

bool storeIfDifferent(double& field, double value) {
  const bool changed = field != value;
  field = value;
  return changed;
}

template <class T>
bool storeIfDifferent(T& field, T value) {
  const bool changed = field != value;
  field = value;
  return changed;
}

void imagePixel(LWImageID image, int x, int y, double color[3]) {
  const LWImageList* images = globalServices.imageList;
  if (!images || !image) return;
  LWBufferValue rgb[3] = {0.0f, 0.0f, 0.0f};
  try {
    images->RGB(image, x, y, rgb);
  } catch (...) {
  }
  for (int k = 0; k < 3; ++k) color[k] = double(rgb[k]) * 255.0;
}

void fogColorAt(const CapturedEnvironment* e, bool imageHit, int x, int y, const double direction[3],
                double color[3]) {
  if (!e || e->fogColorSource == kFogNone) {
    color[0] = 0.0;
    color[1] = 5.0;
    color[2] = 5.0;
    return;
  }
  if (e->fogColorSource == kFogConstant) {
    for (int k = 0; k < 3; ++k) color[k] = e->fogColor[k];
    return;
  }
  if (e->fogColorSource == kFogFromBackgroundImage && imageHit) {
    imagePixel(e->backgroundImage, x, y, color);
    return;
  }
  hostBackdrop(e->backdropFunction, e->time, direction, color);
  for (int k = 0; k < 3; ++k) color[k] *= 255.0;
}

}  // namespace

void hostBackdrop(BackdropFunction backdrop, double time, const double direction[3], double color[3]) {
  color[0] = color[1] = color[2] = 0.0;
  if (!backdrop) return;
  try {
    backdrop(time, direction, color);
  } catch (...) {
    color[0] = color[1] = color[2] = 0.0;
  }
  // The host leaves garbage past these bounds now and then.
  if (!(color[0] >= 0.0 && color[0] < 50000.0)) color[0] = color[1] = color[2] = 0.0;
}

void sceneBackdrop(double time, const double direction[3], double color[3]) {
  const LWBackdropInfo* info = globalServices.backdropInfo;
  hostBackdrop(info ? info->backdrop : nullptr, time, direction, color);
}

void CapturedEnvironment_Init(CapturedEnvironment* environment) {
  std::memset(environment, 0, sizeof *environment);
  environment->pixelX = environment->pixelY = -1.0;
  environment->imageWidth = environment->imageHeight = 2;
}

bool CaptureEnvironment(double time, CapturedEnvironment* environment) {
  CapturedEnvironment* e = environment;
  e->pixelX = e->pixelY = -1.0;
  const auto* compositing = static_cast<const LWCompInfo*>(hostTransient(LWCOMPINFO_GLOBAL));
  const auto* fog = static_cast<const LWFogInfo*>(hostTransient(LWFOGINFO_GLOBAL));

  if (!fog || fog->type == LWFOG_NONE) {
    const bool changed = e->fogType != 0;
    e->fogColorSource = kFogNone;
    e->fogType = 0;
    return changed;
  }

  bool changed = false;
  double minDistance = 0.0, maxDistance = 0.0, minAmount = 0.0, maxAmount = 0.0;
  try {
    minDistance = fog->minDist(time);
    maxDistance = fog->maxDist(time);
    minAmount = fog->minAmt(time);
    maxAmount = fog->maxAmt(time);
  } catch (...) {
  }
  changed |= storeIfDifferent(e->fogMinDistance, minDistance);
  changed |= storeIfDifferent(e->fogMaxDistance, maxDistance);
  changed |= storeIfDifferent(e->fogMinAmount, minAmount);
  changed |= storeIfDifferent(e->fogMaxAmount, maxAmount);
  changed |= storeIfDifferent<int32_t>(e->fogType, fog->type);
  changed |= storeIfDifferent<int32_t>(e->fogFlags, fog->flags);

  const LWBackdropInfo* backdrop = globalServices.backdropInfo;
  e->backdropFunction = backdrop ? backdrop->backdrop : nullptr;

  if ((e->fogFlags & LWFOGF_BACKGROUND) && compositing) {
    if (compositing->bg) {
      e->fogColorSource = kFogFromBackgroundImage;
      e->backgroundImage = compositing->bg;
      int width = 0, height = 0;
      if (const LWImageList* images = globalServices.imageList) {
        try {
          images->size(compositing->bg, &width, &height);
        } catch (...) {
        }
      }
      e->imageWidth = std::clamp(width, 2, 32000);
      e->imageHeight = std::clamp(height, 2, 32000);
      const auto* scene = static_cast<const LWSceneInfo*>(hostTransient(LWSCENEINFO_GLOBAL));
      const int frameWidth = scene ? scene->frameWidth : 0, frameHeight = scene ? scene->frameHeight : 0;
      // A frame one pixel wide or high maps everything to the image's first column or row.
      e->imageScaleX = frameWidth > 1 ? (e->imageWidth - 1.000001) / (frameWidth - 1) : 0.0;
      e->imageScaleY = frameHeight > 1 ? (e->imageHeight - 1.000001) / (frameHeight - 1) : 0.0;
      return changed;
    }
    e->fogColorSource = kFogFromBackdrop;
    e->time = time;
    return changed;
  }

  e->fogColorSource = kFogConstant;
  double raw[3] = {0.0, 0.0, 0.0};
  try {
    fog->color(time, raw);
  } catch (...) {
  }
  for (int k = 0; k < 3; ++k) {
    changed |= storeIfDifferent(e->fogColorRaw[k], raw[k]);
    e->fogColor[k] = raw[k] * 255.0;
  }
  return changed;
}

void FogColorAtPixel(const CapturedEnvironment* environment, double pixelX, double pixelY,
                     const double direction[3], double color[3]) {
  const CapturedEnvironment* e = environment;
  int x = 0, y = 0;
  const bool imageHit = e && pixelX >= 0.0;
  if (imageHit) {
    x = std::clamp(int(e->imageWidth * pixelX), 0, e->imageWidth - 1);
    y = std::clamp(int(e->imageHeight * pixelY), 0, e->imageHeight - 1);
  }
  fogColorAt(e, imageHit, x, y, direction, color);
}

void FogColorScaled(const CapturedEnvironment* environment, double x, double y, const double direction[3],
                    double color[3]) {
  const CapturedEnvironment* e = environment;
  const bool imageHit = e && x >= 0.0;
  const int px = imageHit ? int(e->imageScaleX * x) : 0;
  const int py = imageHit ? int(e->imageScaleY * y) : 0;
  fogColorAt(e, imageHit, px, py, direction, color);
}

double FogAmount(const CapturedEnvironment* environment, double distance) {
  const CapturedEnvironment* e = environment;
  if (!e || e->fogColorSource == kFogNone) return 0.0;
  if (distance <= e->fogMinDistance) return e->fogMinAmount;
  if (distance >= e->fogMaxDistance) return e->fogMaxAmount;
  const double x = (distance - e->fogMinDistance) / (e->fogMaxDistance - e->fogMinDistance);
  double y;
  switch (e->fogType) {
    case LWFOG_NONLINEAR1:
      y = 1.0 - (1.0 - x) * (1.0 - x);
      break;
    case LWFOG_NONLINEAR2:
      y = (x - 1.0) * (1.0 - std::sqrt(x)) + 1.0;
      break;
    default:
      y = x;
      break;
  }
  return y * (e->fogMaxAmount - e->fogMinAmount) + e->fogMinAmount;
}
