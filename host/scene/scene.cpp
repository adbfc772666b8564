#include "host/scene/scene.h"

#include <algorithm>

namespace host {

int Scene::addItem(ItemType type, const std::string& name) {
  uint32_t id = itemIdBase(type);
  for (const Item& it : items)
    if (it.type == type && it.id >= id) id = it.id + 1;
  Item item;
  item.type = type;
  item.id = id;
  item.name = name;
  items.push_back(std::move(item));
  return int(items.size()) - 1;
}

int Scene::findItem(uint32_t id) const {
  for (size_t i = 0; i < items.size(); ++i)
    if (items[i].id == id) return int(i);
  return -1;
}

int Scene::findItem(const std::string& name) const {
  for (size_t i = 0; i < items.size(); ++i)
    if (items[i].name == name) return int(i);
  return -1;
}

std::vector<int> Scene::itemsOf(ItemType type) const {
  std::vector<int> out;
  for (size_t i = 0; i < items.size(); ++i)
    if (items[i].type == type) out.push_back(int(i));
  return out;
}

int Scene::nextItem(ItemType type, int after) const {
  for (size_t i = size_t(std::max(after + 1, 0)); i < items.size(); ++i)
    if (items[i].type == type) return int(i);
  return -1;
}

std::vector<int> Scene::children(int parent) const {
  std::vector<int> out;
  for (size_t i = 0; i < items.size(); ++i)
    if (items[i].parent == parent) out.push_back(int(i));
  return out;
}

int Scene::renderCamera() const {
  if (currentCamera >= 0 && currentCamera < int(items.size()) &&
      items[currentCamera].type == ItemType::Camera)
    return currentCamera;
  for (size_t i = 0; i < items.size(); ++i)
    if (items[i].type == ItemType::Camera) return int(i);
  return -1;
}

uint32_t Scene::renderOptions() const {
  uint32_t opts = 0;
  if (render.traceShadows) opts |= RenderShadowTrace;
  if (render.traceReflection) opts |= RenderReflectTrace;
  if (render.traceRefraction) opts |= RenderRefractTrace;
  if (render.traceTransparency) opts |= RenderTransparencyTrace;
  if (render.fieldRendering) opts |= RenderFields;
  if (render.radiosity) opts |= RenderRadiosity;
  if (render.caustics) opts |= RenderCaustics;
  const int cam = renderCamera();
  if (cam >= 0) {
    const CameraSettings& c = items[cam].camera;
    if (c.motionBlur != 0) opts |= RenderMotionBlur;
    if (c.depthOfField) opts |= RenderDepthOfField;
    if (c.limitedRegion != 0) opts |= RenderLimitedRegion;
  }
  return opts;
}

}  // namespace host
