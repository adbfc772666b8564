// The scene reader's keywords: one line of the scene, and the values on it. A line that ends
// before a value its keyword takes keeps what it gave; one with values past those its keyword
// takes loses only the extra ones. Both are told once a kind (see lws_reader.cpp).
#include <algorithm>
#include <cctype>
#include <cmath>

#include "host/formats/lws_parser.h"

namespace host::lws {

double Parser::number(const std::vector<std::string>& w, size_t i, size_t line) {
  if (i >= w.size()) {
    MissingValue missing;
    missing.line = line;
    missing.what = w[0] + " needs " + std::to_string(i) + " value" + (i > 1 ? "s" : "");
    missing.key = w[0];
    missing.have = w.size() - 1;
    throw missing;
  }
  double v;
  if (!toNumber(w[i], v)) fail(line, w[0] + ": \"" + w[i] + "\" is not a number");
  if (&w == keywordWords_) lastValue_ = std::max(lastValue_, i);
  return v;
}

long Parser::integer(const std::vector<std::string>& w, size_t i, size_t line) {
  const double v = number(w, i, line);
  if (v < -2147483648.0 || v > 2147483647.0) fail(line, w[0] + ": " + w[i] + " is out of range");
  return long(v);
}

// A value that may be "(envelope)", in which case its envelope follows the line.
void Parser::animated(const std::vector<std::string>& w, size_t i, size_t line, Animated& out, double scale) {
  if (i < w.size() && w[i] == "(envelope)") {
    if (&w == keywordWords_) lastValue_ = std::max(lastValue_, i);
    out.envelope = readEnvelope(line);
    scaleEnvelope(out.envelope, scale);
    out.value = out.envelope.keys.empty() ? 0.0 : out.envelope.keys.front().value;
    return;
  }
  const double v = number(w, i, line) * scale;
  out.envelope = Envelope{};
  out.value = v;
}

// Colours were written as 0..255 before version 3.
void Parser::color(const std::vector<std::string>& w, size_t line, AnimatedColor& out) {
  const double scale = version_ < 3 ? 1.0 / 255.0 : 1.0;
  for (int c = 0; c < 3; ++c) animated(w, 1 + c, line, out[c], scale);
}

// Told at the line that lacks the value, which may be further in than the keyword's own (a
// Channel line of a motion, say).
void Parser::noteMissing(const MissingValue& e) {
  flaw(e.line, "too few values", e.key + " has " + std::to_string(e.have) + " value" + (e.have == 1 ? "" : "s") +
                                     ", too few; the missing ones keep their defaults");
}

void Parser::handleLine(size_t line, const std::string& text) {
  const std::vector<std::string> w = words(text);
  keywordWords_ = &w;
  lastValue_ = 0;
  try {
    handle(line, text, w);
  } catch (const MissingValue& e) {
    keywordWords_ = nullptr;
    noteMissing(e);
    return;
  }
  // Read values stand for the whole line; lines that never took a value say nothing here.
  if (keywordWords_ == &w && lastValue_ > 0 && w.size() > lastValue_ + 1)
    flaw(line, "extra values", w[0] + " has " + std::to_string(w.size() - 1) + " values where it takes " +
                                   std::to_string(lastValue_) + "; the extra ones were passed over");
  keywordWords_ = nullptr;
}

void Parser::handle(size_t line, const std::string& text, const std::vector<std::string>& w) {
  const std::string& key = w[0];
  auto flag = [&](size_t i = 1) { return integer(w, i, line) != 0; };

  // Items.
  if (key == "LoadObjectLayer" || key == "LoadObject") return loadObject(line, w, text);
  if (key == "AddNullObject") {
    std::string id;
    int skip = 1;
    if (w.size() > 2 && isItemId(w[1])) id = w[1], skip = 2;
    std::string name = restOfLine(text, skip);
    if (name.empty()) name = "Null";
    const int index = addItem(ItemType::Object, id, name);
    scene_.items[size_t(index)].object.isNull = true;
    lastObject_ = index;
    return;
  }
  if (key == "AddLight") {
    addItem(ItemType::Light, w.size() > 1 && isItemId(w[1]) ? w[1] : "", "Light");
    return;
  }
  if (key == "AddCamera") {
    addItem(ItemType::Camera, w.size() > 1 && isItemId(w[1]) ? w[1] : "", "Camera");
    return;
  }
  if (key == "AddBone") {
    std::string id = w.size() > 1 && isItemId(w[1]) ? w[1] : "";
    const int index = addItem(ItemType::Bone, id, "Bone");
    Item& bone = scene_.items[size_t(index)];
    bone.bone.objectIndex = lastObject_;
    bone.parent = lastObject_;  // until a ParentItem says otherwise
    return;
  }
  if (key == "LightName" || key == "CameraName" || key == "BoneName") {
    const ItemType t = key == "LightName" ? ItemType::Light : key == "CameraName" ? ItemType::Camera : ItemType::Bone;
    if (Item* item = current(t)) item->name = restOfLine(text, 1);
    return;
  }
  if (key == "ParentItem" || key == "ParentObject" || key == "TargetItem" || key == "TargetObject") {
    if (current_ < 0 || w.size() < 2) return;
    PendingParent p{current_, line, key == "ParentItem" || key == "TargetItem", 0,
                    key == "TargetItem" || key == "TargetObject"};
    if (p.byId) {
      if (w[1].size() > 8 || !std::all_of(w[1].begin(), w[1].end(), [](char c) { return std::isxdigit(uint8_t(c)); }))
        fail(line, key + ": \"" + w[1] + "\" is not an item id");
      p.value = hexValue(w[1]);
    } else {
      p.value = uint32_t(integer(w, 1, line));
    }
    parents_.push_back(p);
    return;
  }
  if (key == "HController" || key == "PController") {
    // 1 points the angle at the target; scenes without these lines aim both.
    if (Item* item = currentAny()) (key[0] == 'H' ? item->targetHeading : item->targetPitch) = integer(w, 1, line) == 1;
    return;
  }
  if (key == "PivotPosition" || key == "PivotPoint") {
    if (Item* item = currentAny())
      for (int i = 0; i < 3; ++i) item->pivotPosition[size_t(i)] = number(w, size_t(1 + i), line);
    return;
  }
  if (key == "PivotRotation") {
    const double scale = version_ < 3 ? kDegToRad : 1.0;
    if (Item* item = currentAny())
      for (int i = 0; i < 3; ++i) item->pivotRotation[size_t(i)] = number(w, size_t(1 + i), line) * scale;
    return;
  }
  if (key == "ObjectMotion" || key == "LightMotion" || key == "CameraMotion" || key == "BoneMotion") {
    Item* item = currentAny();
    if (!item) fail(line, key + " before any item");
    return readMotion(line, *item);
  }
  if (key == "Pre/PostBehavior") {
    Item* item = currentAny();
    if (!item) return;
    for (size_t c = 0; c < size_t(MotionChannelCount) && 2 + 2 * c < w.size(); ++c) {
      const long pre = integer(w, 1 + 2 * c, line), post = integer(w, 2 + 2 * c, line);
      if (pre < 0 || pre > 5 || post < 0 || post > 5) fail(line, "unknown envelope behaviour");
      item->motion[c].envelope.pre = EnvBehavior(pre);
      item->motion[c].envelope.post = EnvBehavior(post);
    }
    return;
  }
  if (key == "EndBehavior") {
    Item* item = currentAny();
    const long b = integer(w, 1, line);
    if (b < 0 || b > 5) fail(line, "unknown end behaviour");
    if (item)
      for (Animated& a : item->motion) a.envelope.post = EnvBehavior(b);
    return;
  }
  if (key == "Plugin") return readPlugin(line, w, text);
  if (key == "ItemActive") {
    if (Item* item = currentAny()) item->active = flag();
    return;
  }

  // Bones.
  if (Item* item = current(ItemType::Bone)) {
    BoneSettings& bone = item->bone;
    const double angle = version_ < 3 ? kDegToRad : 1.0;
    if (key == "BoneRestPosition") {
      for (int i = 0; i < 3; ++i) bone.restPosition[size_t(i)] = number(w, size_t(1 + i), line);
      return;
    }
    if (key == "BoneRestDirection") {
      for (int i = 0; i < 3; ++i) bone.restRotation[size_t(i)] = number(w, size_t(1 + i), line) * angle;
      return;
    }
    if (key == "BoneRestLength") return void(bone.restLength = number(w, 1, line));
    if (key == "BoneActive") return void(bone.active = item->active = flag());
  }

  // Objects.
  if (Item* obj = current(ItemType::Object)) {
    ObjectSettings& o = obj->object;
    auto objectFlag = [&](uint32_t bit) {
      if (flag()) o.flags |= bit;
      else o.flags &= ~bit;
    };
    if (key == "ShadowOptions") return void(o.shadowOptions = uint32_t(integer(w, 1, line)));
    if (key == "ObjectDissolve") return animated(w, 1, line, o.dissolve);
    if (key == "ObjectFogLevel" || key == "FogLevel") return animated(w, 1, line, o.fogLevel);
    if (key == "PolygonSize") return animated(w, 1, line, o.polygonSize);
    if (key == "UnseenByCamera") return objectFlag(ObjectUnseenByCamera);
    if (key == "UnseenByRays") return objectFlag(ObjectUnseenByRays);
    if (key == "UnaffectedByFog") return objectFlag(ObjectUnaffectedByFog);
    if (key == "UnseenByAlphaChannel") return objectFlag(ObjectUnseenByAlpha);
    if (key == "MatteObject") return objectFlag(ObjectMatte);
    if (key == "MatteColor") return color(w, line, o.matteColor);
    if (key == "DistanceDissolve") return objectFlag(ObjectDistanceDissolve);
    if (key == "MaxDissolveDistance") return void(o.distanceDissolveMax = number(w, 1, line));
    if (key == "SubdivisionOrder") return void(o.subdivisionOrder = int(integer(w, 1, line)));
    if (key == "SubPatchLevel") {
      o.subPatchLevel = int(integer(w, 1, line));
      if (w.size() > 2) o.subPatchRenderLevel = int(integer(w, 2, line));
      return;
    }
    if (key == "ExcludeLight" || key == "ExcludeRadiosity" || key == "ExcludeCaustics") {
      if (key == "ExcludeRadiosity") o.excludedLights.push_back(kRadiosityItemId);
      else if (key == "ExcludeCaustics") o.excludedLights.push_back(kCausticsItemId);
      else if (w.size() > 1 && isItemId(w[1])) o.excludedLights.push_back(hexValue(w[1]));
      else o.excludedLights.push_back(itemIdBase(ItemType::Light) + uint32_t(integer(w, 1, line)));
      return;
    }
    if (key == "ClipMap") return readClipMap(line, *obj);
  }

  // Lights.
  if (Item* item = current(ItemType::Light)) {
    LightSettings& l = item->light;
    if (key == "LightColor") return color(w, line, l.color);
    if (key == "LightIntensity" || key == "LgtIntensity") return animated(w, 1, line, l.intensity);
    if (key == "LightType") {
      const long t = integer(w, 1, line);
      if (t < 0 || t > 4) fail(line, "unknown light type " + std::to_string(t));
      lightTypeGiven_[current_] = true;
      return void(l.kind = LightKind(t));
    }
    if (key == "LightFalloffType") {
      const long t = integer(w, 1, line);
      if (t < 0 || t > 3) fail(line, "unknown falloff type " + std::to_string(t));
      return void(l.falloff = LightFalloff(t));
    }
    if (key == "LightRange") return animated(w, 1, line, l.range);
    if (key == "LightConeAngle") return animated(w, 1, line, l.coneAngle, kDegToRad);
    if (key == "LightEdgeAngle") return animated(w, 1, line, l.edgeAngle, kDegToRad);
    if (key == "ShadowType") return void(l.shadowType = int(integer(w, 1, line)));
    if (key == "ShadowColor") return color(w, line, l.shadowColor);
    if (key == "LightQuality" || key == "AreaLightQuality") return void(l.quality = int(integer(w, 1, line)));
    if (key == "AffectDiffuse") return void(l.affectDiffuse = flag());
    if (key == "AffectSpecular") return void(l.affectSpecular = flag());
    if (key == "AffectCaustics") return void(l.affectCaustics = flag());
    if (key == "AffectOpenGL") return void(l.affectOpenGL = flag());
    if (key == "LensFlare") return void(l.lensFlare = flag());
    if (key == "VolumetricLighting") return void(l.volumetric = flag());
    if (key == "ProjectionImage") return void(l.projectionImage = restOfLine(text, 1));
    if (key == "ShadowMapSize") return void(l.shadowMapSize = int(integer(w, 1, line)));
  }

  // Cameras.
  if (Item* item = current(ItemType::Camera)) {
    CameraSettings& c = item->camera;
    if (key == "ZoomFactor") return animated(w, 1, line, c.zoomFactor);
    if (key == "FocalDistance") return animated(w, 1, line, c.focalDistance);
    if (key == "LensFStop") return animated(w, 1, line, c.fStop);
    if (key == "BlurLength") return animated(w, 1, line, c.blurLength);
    if (key == "DepthOfField") return void(c.depthOfField = flag());
    if (key == "MotionBlur") return void(c.motionBlur = int(integer(w, 1, line)));
    if (key == "FrameSize" || key == "CustomSize") {
      const long width = integer(w, 1, line), height = integer(w, 2, line);
      if (width < 1 || height < 1) fail(line, key + " must be at least 1 by 1");
      cameraSize_[current_] = {int(width), int(height)};
      return;
    }
    if (key == "Resolution") {
      // The presets of old scenes: 0 low (320 x 240), 1 medium, 2 high, 3 print, -1 super low.
      if (!cameraSize_.count(current_)) {
        const long r = integer(w, 1, line);
        const double f = std::pow(2.0, double(std::clamp(r, -1L, 3L)));
        cameraSize_[current_] = {int(320 * f), int(240 * f)};
      }
      return;
    }
    if (key == "ResolutionMultiplier") return void(c.resolutionMultiplier = number(w, 1, line));
    if (key == "PixelAspect" || key == "CustomPixelRatio") {
      const double a = number(w, 1, line);
      if (a > 0.0) c.pixelAspect = a;
      return;
    }
    if (key == "LimitedRegion") return void(c.limitedRegion = int(integer(w, 1, line)));
    if (key == "RegionLimits") {
      c.regionX0 = int(integer(w, 1, line)), c.regionY0 = int(integer(w, 2, line));
      c.regionX1 = int(integer(w, 3, line)), c.regionY1 = int(integer(w, 4, line));
      regionGiven_[current_] = true;
      return;
    }
    if (key == "MaskPosition") {
      if (!regionGiven_.count(current_)) {
        const long x = integer(w, 1, line), y = integer(w, 2, line);
        const long width = integer(w, 3, line), height = integer(w, 4, line);
        c.regionX0 = int(x), c.regionY0 = int(y);
        c.regionX1 = int(x + width - 1), c.regionY1 = int(y + height - 1);
        regionGiven_[current_] = true;
      }
      return;
    }
    if (key == "AASamples") return void(c.antialiasing = int(integer(w, 1, line)));
    if (key == "UseGlobalResolution") return void(useGlobal_[current_] = flag());
    if (key == "FieldRendering") return void(scene_.render.fieldRendering |= flag());
  }

  // The scene.
  RenderSettings& r = scene_.render;
  Backdrop& b = scene_.backdrop;
  Fog& f = scene_.fog;
  if (key == "FirstFrame") return void(scene_.firstFrame = int(integer(w, 1, line)));
  if (key == "LastFrame") return void(scene_.lastFrame = int(integer(w, 1, line)));
  if (key == "FrameStep") return void(scene_.frameStep = int(integer(w, 1, line)));
  if (key == "PreviewFirstFrame") return void(scene_.previewFirstFrame = int(integer(w, 1, line)));
  if (key == "PreviewLastFrame") return void(scene_.previewLastFrame = int(integer(w, 1, line)));
  if (key == "PreviewFrameStep") return void(scene_.previewFrameStep = int(integer(w, 1, line)));
  if (key == "CurrentFrame") return void(scene_.currentFrame = int(integer(w, 1, line)));
  if (key == "FramesPerSecond") {
    const double fps = number(w, 1, line);
    if (fps <= 0.0) fail(line, "FramesPerSecond must be above 0");
    return void(scene_.framesPerSecond = fps);
  }
  if (key == "AmbientColor") return color(w, line, scene_.ambientColor);
  if (key == "AmbientIntensity" || key == "AmbIntensity") return animated(w, 1, line, scene_.ambientIntensity);
  if (key == "RenderMode") return void(r.renderMode = int(integer(w, 1, line)));
  if (key == "RayTraceEffects") {
    const long bits = integer(w, 1, line);
    r.traceShadows = bits & 1, r.traceReflection = bits & 2, r.traceRefraction = bits & 4;
    r.traceTransparency = bits & 8, r.traceOcclusion = bits & 16;
    return;
  }
  if (key == "RayTraceShadows") return void(r.traceShadows = flag());
  if (key == "RayTraceReflection") return void(r.traceReflection = flag());
  if (key == "RayTraceRefraction") return void(r.traceRefraction = flag());
  if (key == "RayTraceTransparency") return void(r.traceTransparency = flag());
  if (key == "RayRecursionLimit") return void(r.recursionLimit = int(integer(w, 1, line)));
  if (key == "EnableRadiosity") return void(r.radiosity = flag());
  if (key == "RadiosityType") return void(r.radiosityType = int(integer(w, 1, line)));
  if (key == "RadiosityIntensity") return void(r.radiosityIntensity = number(w, 1, line));
  if (key == "RadiosityRays") return void(r.radiosityRays = int(integer(w, 1, line)));
  if (key == "EnableCaustics") return void(r.caustics = flag());
  if (key == "DoubleSidedAreaLights") return void(r.doubleSidedAreaLights = flag());
  if (key == "GlobalFieldRendering") return void(r.fieldRendering |= flag());
  if (key == "GlobalFrameSize") {
    globalWidth_ = int(integer(w, 1, line)), globalHeight_ = int(integer(w, 2, line));
    return;
  }
  if (key == "GlobalMultiplier") return void(globalMultiplier_ = number(w, 1, line));
  if (key == "GlobalPixelAspect") return void(globalAspect_ = number(w, 1, line));
  if (key == "SolidBackdrop") return void(b.gradient = !flag());
  if (key == "BackdropGradient") return void(b.gradient = flag());
  if (key == "BackdropColor") return color(w, line, b.color);
  if (key == "ZenithColor") return color(w, line, b.zenith);
  if (key == "SkyColor") return color(w, line, b.sky);
  if (key == "GroundColor") return color(w, line, b.ground);
  if (key == "NadirColor") return color(w, line, b.nadir);
  if (key == "SkySqueezeAmount") return animated(w, 1, line, b.skySqueeze);
  if (key == "GroundSqueezeAmount") return animated(w, 1, line, b.groundSqueeze);
  if (key == "FogType") return void(f.type = int(integer(w, 1, line)));
  if (key == "FogMinDistance") return animated(w, 1, line, f.minDistance);
  if (key == "FogMaxDistance") return animated(w, 1, line, f.maxDistance);
  if (key == "FogMinAmount") return animated(w, 1, line, f.minAmount);
  if (key == "FogMaxAmount") return animated(w, 1, line, f.maxAmount);
  if (key == "FogColor") return color(w, line, f.color);
  if (key == "BackdropFog") return void(f.backdropFog = flag());
  if (key == "BGImage") return void(scene_.compositing.background = restOfLine(text, 1));
  if (key == "FGImage") return void(scene_.compositing.foreground = restOfLine(text, 1));
  if (key == "FGAlphaImage") return void(scene_.compositing.foregroundAlpha = restOfLine(text, 1));
  if (key == "LoadImage") return void(scene_.images.push_back(restOfLine(text, 1)));
  if (key == "CurrentCamera") {
    currentCamera_ = w.size() > 1 ? w[1] : "";
    currentCameraLine_ = line;
    return;
  }
  // Anything else is a line this reader doesn't need.
}

}  // namespace host::lws
