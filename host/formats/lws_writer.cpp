#include "host/formats/lws_writer.h"

#include <charconv>
#include <cstdio>
#include <fstream>

#include "host/scene/object.h"

namespace host {
namespace {

constexpr double kRadToDeg = 57.29577951308232;

// The shortest text that reads back as the same double.
std::string num(double v) {
  if (v == 0.0) return "0";  // also for -0
  char buf[32];
  const auto r = std::to_chars(buf, buf + sizeof buf, v);
  return std::string(buf, r.ptr);
}

std::string hexId(uint32_t id) {
  char buf[16];
  std::snprintf(buf, sizeof buf, "%08X", unsigned(id));
  return buf;
}

class Writer {
 public:
  explicit Writer(const Scene& scene) : scene_(scene) {}

  std::string run() {
    line("LWSC");
    line("5");
    line("");
    line("FirstFrame " + std::to_string(scene_.firstFrame));
    line("LastFrame " + std::to_string(scene_.lastFrame));
    line("FrameStep " + std::to_string(scene_.frameStep));
    line("PreviewFirstFrame " + std::to_string(scene_.previewFirstFrame));
    line("PreviewLastFrame " + std::to_string(scene_.previewLastFrame));
    line("PreviewFrameStep " + std::to_string(scene_.previewFrameStep));
    line("CurrentFrame " + std::to_string(scene_.currentFrame));
    line("FramesPerSecond " + num(scene_.framesPerSecond));

    // Layout's order: each object followed by its bones, then the lights, then the cameras.
    for (size_t i = 0; i < scene_.items.size(); ++i) {
      if (scene_.items[i].type != ItemType::Object) continue;
      writeItem(int(i));
      for (size_t b = 0; b < scene_.items.size(); ++b)
        if (scene_.items[b].type == ItemType::Bone && scene_.items[b].bone.objectIndex == int(i)) writeItem(int(b));
    }
    for (size_t b = 0; b < scene_.items.size(); ++b) {
      const Item& bone = scene_.items[b];
      const int owner = bone.bone.objectIndex;
      const bool owned = owner >= 0 && owner < int(scene_.items.size()) && scene_.items[owner].type == ItemType::Object;
      if (bone.type == ItemType::Bone && !owned) writeItem(int(b));
    }
    for (ItemType type : {ItemType::Light, ItemType::Camera})
      for (size_t i = 0; i < scene_.items.size(); ++i)
        if (scene_.items[i].type == type) writeItem(int(i));

    writeSettings();
    return out_;
  }

 private:
  void line(const std::string& text) {
    out_ += text;
    out_ += '\n';
  }

  void envelope(const Envelope& env, double scale = 1.0) {
    line("{ Envelope");
    line("  " + std::to_string(env.keys.size()));
    const size_t n = env.keys.size();
    for (size_t i = 0; i < n; ++i) {
      const EnvelopeKey& k = env.keys[i];
      double p[6] = {0, 0, 0, 0, 0, 0};
      switch (k.shape) {
        case KeyShape::TCB:
          p[0] = k.tension, p[1] = k.continuity, p[2] = k.bias;
          break;
        case KeyShape::Hermite:
        case KeyShape::Bezier1D: {
          // The file keeps the tangents as they enter each span (see the reader).
          p[3] = k.param[0] * scale, p[4] = k.param[1] * scale;
          if (i > 0 && i + 1 < n) {
            const double before = k.time - env.keys[i - 1].time, after = env.keys[i + 1].time - k.time;
            if (before > 0.0 && after > 0.0) {
              p[3] *= before / (before + after);
              p[4] *= after / (before + after);
            }
          }
          break;
        }
        case KeyShape::Bezier2D:
          p[0] = k.param[0], p[1] = k.param[1] * scale, p[2] = k.param[2], p[3] = k.param[3] * scale;
          break;
        default:
          break;
      }
      std::string text = "  Key " + num(k.value * scale) + " " + num(k.time) + " " + std::to_string(int(k.shape));
      for (double v : p) text += " " + num(v);
      line(text);
    }
    line("  Behaviors " + std::to_string(int(env.pre)) + " " + std::to_string(int(env.post)));
    line("}");
  }

  // "Key value" or "Key (envelope)" followed by its envelope; colours write their three parts
  // on one line and the envelopes after it.
  void animated(const std::string& key, const Animated& a, double scale = 1.0) {
    if (!a.animated()) return line(key + " " + num(a.value * scale));
    line(key + " (envelope)");
    envelope(a.envelope, scale);
  }

  void color(const std::string& key, const AnimatedColor& c) {
    std::string text = key;
    for (int i = 0; i < 3; ++i) text += " " + (c[i].animated() ? std::string("(envelope)") : num(c[i].value));
    line(text);
    for (int i = 0; i < 3; ++i)
      if (c[i].animated()) envelope(c[i].envelope);
  }

  void vec(const std::string& key, const Vec3& v, double scale = 1.0) {
    line(key + " " + num(v[0] * scale) + " " + num(v[1] * scale) + " " + num(v[2] * scale));
  }

  void plugins(const std::vector<PluginBlock>& blocks) {
    for (const PluginBlock& b : blocks) {
      line("Plugin " + b.serverClass + " " + std::to_string(b.index) + " " + b.name);
      for (const std::string& l : b.lines) line(l);
      line("EndPlugin");
    }
  }

  void motion(const char* key, const Item& item) {
    line(key);
    line("NumChannels " + std::to_string(int(MotionChannelCount)));
    for (int c = 0; c < MotionChannelCount; ++c) {
      line("Channel " + std::to_string(c));
      const Animated& a = item.motion[size_t(c)];
      if (a.animated()) {
        envelope(a.envelope);
      } else {
        Envelope still;
        EnvelopeKey k;
        k.value = a.value;
        still.keys.push_back(k);
        envelope(still);
      }
    }
  }

  void flag(const char* key, bool on) { line(std::string(key) + (on ? " 1" : " 0")); }

  void writeItem(int index) {
    const Item& item = scene_.items[size_t(index)];
    line("");
    switch (item.type) {
      case ItemType::Object: {
        const ObjectSettings& o = item.object;
        if (o.isNull) {
          line("AddNullObject " + hexId(item.id) + " " + item.name);
        } else {
          std::string path = !o.path.empty() ? o.path : !o.resolvedPath.empty() ? o.resolvedPath
                                                       : o.model ? o.model->fileName : item.name + ".lwo";
          line("LoadObjectLayer " + std::to_string(o.layer) + " " + hexId(item.id) + " " + path);
        }
        motion("ObjectMotion", item);
        break;
      }
      case ItemType::Light:
        line("AddLight " + hexId(item.id));
        line("LightName " + item.name);
        motion("LightMotion", item);
        break;
      case ItemType::Camera:
        line("AddCamera " + hexId(item.id));
        line("CameraName " + item.name);
        motion("CameraMotion", item);
        break;
      case ItemType::Bone:
        line("AddBone " + hexId(item.id));
        line("BoneName " + item.name);
        motion("BoneMotion", item);
        break;
    }
    if (!item.active && item.type != ItemType::Bone) flag("ItemActive", false);
    const int n = int(scene_.items.size());
    if (item.parent >= 0 && item.parent < n) line("ParentItem " + hexId(scene_.items[size_t(item.parent)].id));
    if (item.target >= 0 && item.target < n) {
      line("TargetItem " + hexId(scene_.items[size_t(item.target)].id));
      line(std::string("HController ") + (item.targetHeading ? "1" : "0"));
      line(std::string("PController ") + (item.targetPitch ? "1" : "0"));
    }
    vec("PivotPosition", item.pivotPosition);
    vec("PivotRotation", item.pivotRotation);

    switch (item.type) {
      case ItemType::Object: writeObject(item.object); break;
      case ItemType::Light: writeLight(item.light); break;
      case ItemType::Camera: writeCamera(item.camera); break;
      case ItemType::Bone: {
        const BoneSettings& b = item.bone;
        flag("BoneActive", item.active);
        vec("BoneRestPosition", b.restPosition);
        vec("BoneRestDirection", b.restRotation);
        line("BoneRestLength " + num(b.restLength));
        break;
      }
    }
    plugins(item.plugins);
  }

  void writeObject(const ObjectSettings& o) {
    line("ShadowOptions " + std::to_string(o.shadowOptions));
    animated("ObjectDissolve", o.dissolve);
    if (o.fogLevel.animated() || o.fogLevel.value != 1.0) animated("ObjectFogLevel", o.fogLevel);
    animated("PolygonSize", o.polygonSize);
    const std::pair<const char*, uint32_t> flags[] = {
        {"UnseenByCamera", ObjectUnseenByCamera}, {"UnseenByRays", ObjectUnseenByRays},
        {"UnaffectedByFog", ObjectUnaffectedByFog}, {"UnseenByAlphaChannel", ObjectUnseenByAlpha},
        {"MatteObject", ObjectMatte}, {"DistanceDissolve", ObjectDistanceDissolve}};
    for (const auto& [key, bit] : flags)
      if (o.flags & bit) flag(key, true);
    if (o.flags & ObjectMatte) color("MatteColor", o.matteColor);
    if (o.flags & ObjectDistanceDissolve) line("MaxDissolveDistance " + num(o.distanceDissolveMax));
    line("SubPatchLevel " + std::to_string(o.subPatchLevel) + " " + std::to_string(o.subPatchRenderLevel));
    if (o.subdivisionOrder != 0) line("SubdivisionOrder " + std::to_string(o.subdivisionOrder));
    for (uint32_t id : o.excludedLights) line("ExcludeLight " + hexId(id));
    if (o.clipMap) clipMap(*o.clipMap);
  }

  // The clip map in the form the reader documents.
  void clipMap(const SceneTexture& t) {
    const ObjectModel* home = t.home.get();
    auto findEnvelope = [home](uint32_t index) { return home ? home->findEnvelope(index) : nullptr; };
    // Numbers, or "(envelope)" with the envelopes after the line; a vector's envelopes stand
    // at its first index and the two after it.
    auto values = [&](const std::string& key, const std::vector<std::pair<double, uint32_t>>& parts, double scale) {
      std::string text = "    " + key;
      std::vector<const Envelope*> after;
      for (const auto& [value, envelope] : parts) {
        const Envelope* e = findEnvelope(envelope);
        text += " " + (e ? std::string("(envelope)") : num(value * scale));
        if (e) after.push_back(e);
      }
      line(text);
      for (const Envelope* e : after) envelope(*e, scale);
    };
    auto vector = [&](const std::string& key, const EnvelopedVector& v, double scale = 1.0) {
      std::vector<std::pair<double, uint32_t>> parts;
      for (uint32_t k = 0; k < 3; ++k) parts.push_back({v.value[k], v.envelope ? v.envelope + k : 0});
      values(key, parts, scale);
    };
    auto field = [&](const std::string& key, const std::string& text) { line("    " + key + " " + text); };
    auto quoted = [](const std::string& s) { return "\"" + s + "\""; };

    line("ClipMap");
    line("{ Texture");
    for (const TextureLayer& l : t.layers) {
      switch (l.type) {
        case TextureType::ImageMap: line("  { ImageMap"); break;
        case TextureType::Procedural: line("  { Procedural " + quoted(l.procedure)); break;
        case TextureType::Gradient: line("  { Gradient"); break;
        default: continue;  // shaders have no place in this form
      }
      field("Enable", l.enabled ? "1" : "0");
      values("Opacity", {{l.opacity, l.opacityEnvelope}}, 1.0);
      field("BlendMode", std::to_string(int(l.blend)));
      field("Negative", l.negative ? "1" : "0");
      field("Axis", std::to_string(l.axis));
      vector("Center", l.mapping.center);
      vector("Size", l.mapping.size);
      vector("Rotation", l.mapping.rotation, kRadToDeg);
      field("CoordinateSystem", std::to_string(l.mapping.coordinateSystem));
      if (l.type == TextureType::ImageMap) {
        field("Projection", std::to_string(int(l.projection)));
        if (const Clip* c = home ? home->findClip(l.clip) : nullptr) field("Image", quoted(c->path));
        field("WrapType", std::to_string(int(l.wrapWidth)) + " " + std::to_string(int(l.wrapHeight)));
        values("WrapAmount", {{l.wrapWidthAmount, l.wrapWidthEnvelope}, {l.wrapHeightAmount, l.wrapHeightEnvelope}},
               1.0);
        field("PixelBlending", l.pixelBlending ? "1" : "0");
        field("Antialias", std::to_string(l.antialiasFlags) + " " + num(l.antialiasStrength));
        if (!l.uvMap.empty()) field("UVMap", quoted(l.uvMap));
      } else if (l.type == TextureType::Procedural) {
        const auto& v = l.procedureValue;
        field("Value", num(v[0]) + " " + num(v[1]) + " " + num(v[2]));
      } else {
        if (!l.gradientParameter.empty()) field("Parameter", quoted(l.gradientParameter));
        if (!l.gradientItem.empty()) field("Item", quoted(l.gradientItem));
        field("Range", num(l.gradientStart) + " " + num(l.gradientEnd));
        field("Repeat", std::to_string(l.gradientRepeat));
        for (size_t k = 0; k < l.gradientKeys.size(); ++k) {
          const GradientKey& g = l.gradientKeys[k];
          std::string text = num(g.input);
          for (double c : g.output) text += " " + num(c);
          if (k < l.gradientKeyShapes.size() && l.gradientKeyShapes[k] <= 2)
            text += " " + std::to_string(l.gradientKeyShapes[k]);
          field("Key", text);
        }
      }
      line("  }");
    }
    line("}");
  }

  void writeLight(const LightSettings& l) {
    color("LightColor", l.color);
    animated("LightIntensity", l.intensity);
    line("LightType " + std::to_string(int(l.kind)));
    line("LightFalloffType " + std::to_string(int(l.falloff)));
    animated("LightRange", l.range);
    animated("LightConeAngle", l.coneAngle, kRadToDeg);
    animated("LightEdgeAngle", l.edgeAngle, kRadToDeg);
    line("ShadowType " + std::to_string(l.shadowType));
    color("ShadowColor", l.shadowColor);
    line("LightQuality " + std::to_string(l.quality));
    flag("AffectDiffuse", l.affectDiffuse);
    flag("AffectSpecular", l.affectSpecular);
    flag("AffectCaustics", l.affectCaustics);
    flag("AffectOpenGL", l.affectOpenGL);
    flag("LensFlare", l.lensFlare);
    if (l.volumetric) flag("VolumetricLighting", true);
    if (!l.projectionImage.empty()) line("ProjectionImage " + l.projectionImage);
    line("ShadowMapSize " + std::to_string(l.shadowMapSize));
  }

  void writeCamera(const CameraSettings& c) {
    animated("ZoomFactor", c.zoomFactor);
    // The size is written as it renders, so the multiplier is already in it.
    line("ResolutionMultiplier 1.0");
    line("FrameSize " + std::to_string(c.width) + " " + std::to_string(c.height));
    line("PixelAspect " + num(c.pixelAspect));
    line("LimitedRegion " + std::to_string(c.limitedRegion));
    line("RegionLimits " + std::to_string(c.regionX0) + " " + std::to_string(c.regionY0) + " " +
         std::to_string(c.regionX1) + " " + std::to_string(c.regionY1));
    line("MotionBlur " + std::to_string(c.motionBlur));
    animated("BlurLength", c.blurLength);
    flag("DepthOfField", c.depthOfField);
    animated("FocalDistance", c.focalDistance);
    animated("LensFStop", c.fStop);
    line("AASamples " + std::to_string(c.antialiasing));
  }

  void writeSettings() {
    const RenderSettings& r = scene_.render;
    line("");
    color("AmbientColor", scene_.ambientColor);
    animated("AmbientIntensity", scene_.ambientIntensity);
    flag("EnableRadiosity", r.radiosity);
    line("RadiosityType " + std::to_string(r.radiosityType));
    line("RadiosityIntensity " + num(r.radiosityIntensity));
    line("RadiosityRays " + std::to_string(r.radiosityRays));
    flag("EnableCaustics", r.caustics);
    flag("DoubleSidedAreaLights", r.doubleSidedAreaLights);
    plugins(scene_.plugins);

    const Backdrop& b = scene_.backdrop;
    line("");
    flag("SolidBackdrop", !b.gradient);
    color("BackdropColor", b.color);
    color("ZenithColor", b.zenith);
    color("SkyColor", b.sky);
    color("GroundColor", b.ground);
    color("NadirColor", b.nadir);
    animated("SkySqueezeAmount", b.skySqueeze);
    animated("GroundSqueezeAmount", b.groundSqueeze);

    const Fog& f = scene_.fog;
    line("FogType " + std::to_string(f.type));
    animated("FogMinDistance", f.minDistance);
    animated("FogMaxDistance", f.maxDistance);
    animated("FogMinAmount", f.minAmount);
    animated("FogMaxAmount", f.maxAmount);
    color("FogColor", f.color);
    flag("BackdropFog", f.backdropFog);
    for (const std::string& image : scene_.images) line("LoadImage " + image);
    if (!scene_.compositing.background.empty()) line("BGImage " + scene_.compositing.background);
    if (!scene_.compositing.foreground.empty()) line("FGImage " + scene_.compositing.foreground);
    if (!scene_.compositing.foregroundAlpha.empty()) line("FGAlphaImage " + scene_.compositing.foregroundAlpha);

    line("");
    line("RenderMode " + std::to_string(r.renderMode));
    const int effects = (r.traceShadows ? 1 : 0) | (r.traceReflection ? 2 : 0) | (r.traceRefraction ? 4 : 0) |
                        (r.traceTransparency ? 8 : 0) | (r.traceOcclusion ? 16 : 0);
    line("RayTraceEffects " + std::to_string(effects));
    line("RayRecursionLimit " + std::to_string(r.recursionLimit));
    if (r.fieldRendering) flag("GlobalFieldRendering", true);

    const int cam = scene_.renderCamera();
    if (cam >= 0) {
      int n = 0;
      for (int i = 0; i < cam; ++i)
        if (scene_.items[size_t(i)].type == ItemType::Camera) ++n;
      line("");
      line("CurrentCamera " + std::to_string(n));
    }
  }

  const Scene& scene_;
  std::string out_;
};

}  // namespace

std::string writeSceneText(const Scene& scene) { return Writer(scene).run(); }

bool writeSceneFile(const std::string& path, const Scene& scene, std::string& error) {
  const std::string text = writeSceneText(scene);
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (!out || !out.write(text.data(), std::streamsize(text.size())) || !out.flush()) {
    error = path + ": can't write the scene file";
    return false;
  }
  return true;
}

}  // namespace host
