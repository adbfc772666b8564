#include "host/services/scene_ids.h"

namespace host {

int itemIndexOf(const Scene& scene, LWItemID id) {
  if (!id) return -1;
  const uintptr_t v = reinterpret_cast<uintptr_t>(id);
  if (v > 0xFFFFFFFFu) return -1;
  return scene.findItem(static_cast<uint32_t>(v));
}

const Item* itemOf(const Scene& scene, LWItemID id) {
  const int i = itemIndexOf(scene, id);
  return i < 0 ? nullptr : &scene.items[size_t(i)];
}

Item* itemOf(Scene& scene, LWItemID id) {
  const int i = itemIndexOf(scene, id);
  return i < 0 ? nullptr : &scene.items[size_t(i)];
}

const Layer* objectLayer(const Item& item) {
  if (item.type != ItemType::Object || item.object.isNull || !item.object.model) return nullptr;
  const auto& layers = item.object.model->layers;
  for (const Layer& l : layers)
    if (int(l.number) + 1 == item.object.layer) return &l;
  // Older files have one unnumbered layer.
  if (item.object.layer == 1 && !layers.empty()) return &layers.front();
  return nullptr;
}

const std::string& objectFileName(const Item& item) {
  if (!item.object.resolvedPath.empty()) return item.object.resolvedPath;
  if (item.object.path.empty() && item.object.model) return item.object.model->fileName;
  return item.object.path;
}

}  // namespace host
