#pragma once
// A whole scene as Layout holds it: the items in Layout's order, the backdrop, fog,
// compositing and render settings, and the scene's own server instances. Tests fill it in
// code; the scene reader fills it from a file.
#include <cstdint>
#include <string>
#include <vector>

#include "host/scene/animated.h"
#include "host/scene/item.h"
#include "host/scene/plugin.h"

namespace host {

struct Backdrop {
  bool gradient = false;                           // false: a solid backdrop colour
  AnimatedColor color{0.0, 0.0, 0.0};
  AnimatedColor zenith{0.0, 0.1569, 0.3137};
  AnimatedColor sky{0.4706, 0.7059, 0.9412};
  AnimatedColor ground{0.1961, 0.1569, 0.1176};
  AnimatedColor nadir{0.3922, 0.3137, 0.2353};
  Animated skySqueeze = 2.0;
  Animated groundSqueeze = 2.0;
};

// Fog flags.
enum : uint32_t { FogBackground = 1u << 0 };

struct Fog {
  int type = 0;                                    // 0 off, 1 linear, 2 and 3 non-linear, 4 realistic
  Animated minDistance = 0.0, maxDistance = 1.0;
  Animated minAmount = 0.0, maxAmount = 1.0;
  AnimatedColor color{0.5098, 0.5098, 0.549};
  bool backdropFog = false;                        // fog takes the backdrop's colour

  uint32_t flags() const { return backdropFog ? FogBackground : 0u; }
};

struct Compositing {
  std::string background;                          // images as the scene names them; "" for none
  std::string foreground;
  std::string foregroundAlpha;
};

// Bits of the render options word.
enum : uint32_t {
  RenderShadowTrace = 1u << 0,
  RenderReflectTrace = 1u << 1,
  RenderRefractTrace = 1u << 2,
  RenderFields = 1u << 3,
  RenderEvenFields = 1u << 4,
  RenderMotionBlur = 1u << 5,
  RenderDepthOfField = 1u << 6,
  RenderLimitedRegion = 1u << 7,
  RenderTransparencyTrace = 1u << 14,
  RenderRadiosity = 1u << 15,
  RenderCaustics = 1u << 16,
};

struct RenderSettings {
  int renderMode = 2;                              // 0 wireframe, 1 quickshade, 2 realistic
  bool traceShadows = false, traceReflection = false, traceRefraction = false;
  bool traceTransparency = false, traceOcclusion = false;
  int recursionLimit = 16;
  bool fieldRendering = false;
  bool radiosity = false;
  int radiosityType = 2;
  double radiosityIntensity = 1.0;
  int radiosityRays = 64;
  bool caustics = false;
  bool doubleSidedAreaLights = true;
};

struct Scene {
  std::string fileName;                            // the file it was read from, if any
  int version = 5;                                 // scene file version
  std::vector<Item> items;                         // in Layout's order of each kind
  int firstFrame = 1, lastFrame = 60, frameStep = 1;
  int previewFirstFrame = 0, previewLastFrame = 60, previewFrameStep = 1;
  int currentFrame = 0;
  double framesPerSecond = 30.0;
  AnimatedColor ambientColor{1.0, 1.0, 1.0};
  Animated ambientIntensity = 0.05;
  int currentCamera = -1;                          // index into items, -1 for the first camera
  Backdrop backdrop;
  Fog fog;
  Compositing compositing;
  RenderSettings render;
  std::vector<std::string> images;                 // images the scene loads, as written
  std::vector<PluginBlock> plugins;                // the scene's own instances (master, image filters ...)

  // Adds an item of a kind with the next id of that kind, and returns its index.
  int addItem(ItemType type, const std::string& name);
  Item& item(int index) { return items.at(index); }
  const Item& item(int index) const { return items.at(index); }
  int findItem(uint32_t id) const;                 // index, or -1
  int findItem(const std::string& name) const;     // the first of that name, or -1
  // Indices of the items of one kind, in order.
  std::vector<int> itemsOf(ItemType type) const;
  // Walks as Layout's item list does: the first item of a kind, the next of the same kind
  // after an index, the children of an item (or the items without a parent, for -1); -1 ends.
  int firstItem(ItemType type) const { return nextItem(type, -1); }
  int nextItem(ItemType type, int after) const;
  std::vector<int> children(int parent) const;
  // The camera that renders: `currentCamera` if it is a camera, else the first camera, else -1.
  int renderCamera() const;
  // The render options word, with the camera's motion blur and depth of field.
  uint32_t renderOptions() const;
  double frameToTime(double frame) const { return frame / framesPerSecond; }
};

}  // namespace host
