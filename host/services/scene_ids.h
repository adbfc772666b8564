#pragma once
// How the host's identifiers stand for parts of the scene model. An item's id is its id from
// the scene file (the kind in the top bits, never 0); a point's or a polygon's id is its
// index in its layer plus one, so that ids stay the same for the life of the object and are
// never null.
#include <cstdint>

#include <lwtypes.h>

#include "host/scene/object.h"
#include "host/scene/scene.h"

namespace host {

inline LWItemID itemIdOf(const Item& item) {
  return reinterpret_cast<LWItemID>(static_cast<uintptr_t>(item.id));
}
inline LWItemID itemIdAt(const Scene& scene, int index) {
  return index < 0 || index >= int(scene.items.size()) ? nullptr : itemIdOf(scene.items[size_t(index)]);
}
// The index of an item in the scene, or -1 for null and unknown ids.
int itemIndexOf(const Scene& scene, LWItemID id);
// The item, or null.
const Item* itemOf(const Scene& scene, LWItemID id);
Item* itemOf(Scene& scene, LWItemID id);

inline LWPntID pointIdOf(uint32_t index) {
  return reinterpret_cast<LWPntID>(static_cast<uintptr_t>(index) + 1u);
}
inline LWPolID polygonIdOf(uint32_t index) {
  return reinterpret_cast<LWPolID>(static_cast<uintptr_t>(index) + 1u);
}
// The index an id stands for; out of range (including null) gives -1.
inline int64_t pointIndexOf(LWPntID id, size_t count) {
  const uintptr_t v = reinterpret_cast<uintptr_t>(id);
  return v == 0 || v > count ? -1 : int64_t(v - 1);
}
inline int64_t polygonIndexOf(LWPolID id, size_t count) {
  const uintptr_t v = reinterpret_cast<uintptr_t>(id);
  return v == 0 || v > count ? -1 : int64_t(v - 1);
}

// The layer of its file that an object item loads: the scene's layer number counts from 1,
// the file's from 0. Null for nulls, objects without geometry and missing layers.
const Layer* objectLayer(const Item& item);

// The file name the host reports for an object: where it was found, else as written.
const std::string& objectFileName(const Item& item);

}  // namespace host
