#include "capture/captured_surface.h"

#include <cmath>
#include <cstring>

#include <lwenvel.h>
#include <lwrender.h>

#include "runtime/global_services.h"

// Every call into the host here may raise; each reader has its own guard, so a faulty
// channel costs that channel only.

int32_t captureFrameOf(double time) {
  const auto* scene = hostTransientAs<LWSceneInfo>(LWSCENEINFO_GLOBAL);
  const double fps = scene ? scene->framesPerSecond : 0.0;
  return static_cast<int32_t>(fps * time + 0.5);
}

double smoothCosine(double smoothingAngle) {
  double c = std::cos(smoothingAngle > 0.0 ? smoothingAngle : 0.0);
  if (c > 0.999) c = 0.999;
  if (c < -0.999) c = -0.999;
  return c;
}

double ChannelValue(LWSurfaceID surface, const char* channel, double time) {
  try {
    LWSurfaceFuncs* funcs = globalServices.surfaceFuncs;
    if (LWEnvelopeID envelope = funcs->getEnv(surface, channel))
      return globalServices.envelopeFuncs->evaluate(envelope, time);
    const double* value = funcs->getFlt(surface, channel);
    return value ? value[0] : 0.0;
  } catch (...) {
    return 0.0;
  }
}

void ChannelColor(LWSurfaceID surface, const char* channel, double time, double color[3]) {
  try {
    LWSurfaceFuncs* funcs = globalServices.surfaceFuncs;
    // The envelope is evaluated for its side effects on the host only; the value is getFlt's.
    if (LWEnvelopeID envelope = funcs->getEnv(surface, channel))
      globalServices.envelopeFuncs->evaluate(envelope, time);
    if (const double* value = funcs->getFlt(surface, channel))
      for (int i = 0; i < 3; ++i) color[i] = value[i];
  } catch (...) {
  }
}

LWTextureID ChannelTexture(LWSurfaceID surface, const char* channel, double time, int32_t* textureCount) {
  try {
    LWTextureID texture = globalServices.surfaceFuncs->getTex(surface, channel);
    if (texture) {
      if (globalServices.textureFuncs) globalServices.textureFuncs->newtime(texture, time, captureFrameOf(time));
      ++*textureCount;
    }
    return texture;
  } catch (...) {
    return nullptr;
  }
}

namespace {

void readImageSize(LWImageID image, int32_t* width, int32_t* height) {
  int w = 0, h = 0;
  globalServices.imageList->size(image, &w, &h);
  *width = w;
  *height = h;
}

double clamp(double value, double low, double high) {
  if (!(value > low)) return low;
  return value > high ? high : value;
}

}  // namespace

int Surface_Capture(LWSurfaceID surface, double time, CapturedSurface* s) {
  int changed = 0;
  try {
    LWSurfaceFuncs* funcs = globalServices.surfaceFuncs;
    s->surfaceId = surface;
    s->textureCount = 0;
    int32_t* count = &s->textureCount;

    s->luminosity = encodeFixed(ChannelValue(surface, "Luminosity", time));
    s->luminosityTexture = ChannelTexture(surface, "Luminosity", time, count);
    s->diffuse = encodeFixed(ChannelValue(surface, "Diffuse", time));
    s->diffuseTexture = ChannelTexture(surface, "Diffuse", time, count);
    s->specularity = encodeFixed(ChannelValue(surface, "Specularity", time));
    s->specularityTexture = ChannelTexture(surface, "Specularity", time, count);
    s->glossiness = encodeGlossiness(ChannelValue(surface, "Glossiness", time));
    s->glossinessTexture = ChannelTexture(surface, "Glossiness", time, count);
    s->ior = encodeIor(ChannelValue(surface, "IOR", time));
    s->iorTexture = ChannelTexture(surface, "IOR", time, count);
    s->reflectivity = encodeFixed(ChannelValue(surface, "Reflectivity", time));
    s->reflectivityTexture = ChannelTexture(surface, "Reflectivity", time, count);
    s->transparency = encodeFixed(ChannelValue(surface, "Transparency", time));
    s->transparencyTexture = ChannelTexture(surface, "Transparency", time, count);
    s->translucency = encodeTranslucency(ChannelValue(surface, "Translucency", time));
    s->translucencyTexture = ChannelTexture(surface, "Translucency", time, count);

    double color[3] = {s->color[0] * kFixedToUnit, s->color[1] * kFixedToUnit, s->color[2] * kFixedToUnit};
    ChannelColor(surface, "BaseColor", time, color);
    for (int i = 0; i < 3; ++i) s->color[i] = encodeFixed(color[i]);
    s->colorTexture = ChannelTexture(surface, "BaseColor", time, count);
    s->bumpTexture = ChannelTexture(surface, "Bump", time, count);

    s->vertexColoring = ChannelValue(surface, "VertexColoring", time);
    s->colorHighlights = ChannelValue(surface, "ColorHighlights", time);
    s->colorFilter = ChannelValue(surface, "ColorFilter", time);
    s->additiveTransparency = clamp(ChannelValue(surface, "AdditiveTransparency", time), 0.0, 200.0);
    s->diffuseSharpness = clamp(ChannelValue(surface, "DiffuseSharpness", time), 0.0, 1.0);
    s->reflectionSeamAngle = ChannelValue(surface, "ReflectionSeamAngle", time);
    s->refractionSeamAngle = ChannelValue(surface, "RefractionSeamAngle", time);
    s->smoothingAngle = ChannelValue(surface, "SmoothingAngle", time);
    s->smoothCosine = smoothCosine(s->smoothingAngle);
    s->bumpAmplitude = ChannelValue(surface, "Bump", time);

    const int32_t doubleSided = (funcs->getInt(surface, "Sidedness") & 2) ? 1 : 0;
    changed = doubleSided != s->doubleSided;
    s->doubleSided = doubleSided;

    s->reflectionBlurring = ChannelValue(surface, "ReflectionBlurring", time);
    s->refractionBlurring = ChannelValue(surface, "RefractionBlurring", time);
    s->reflectionOptions = funcs->getInt(surface, "ReflectionOptions");
    s->refractionOptions = funcs->getInt(surface, "RefractionOptions");
    s->alphaOptions = funcs->getInt(surface, "AlphaOptions");
    s->alphaValue = ChannelValue(surface, "AlphaValue", time);

    s->reflectionImage = funcs->getImg(surface, "ReflectionImage");
    if (s->reflectionImage) readImageSize(s->reflectionImage, &s->reflectionImageWidth, &s->reflectionImageHeight);
    s->refractionImage = funcs->getImg(surface, "RefractionImage");
    if (s->refractionImage) readImageSize(s->refractionImage, &s->refractionImageWidth, &s->refractionImageHeight);

    const char* map = funcs->colorVMap ? funcs->colorVMap(surface) : nullptr;
    s->vertexColorMap[0] = 0;
    if (map) {
      const size_t length = strnlen(map, sizeof s->vertexColorMap - 1);
      std::memcpy(s->vertexColorMap, map, length);
      s->vertexColorMap[length] = 0;
    }
  } catch (...) {
  }
  return changed;
}
