#pragma once
// Small scenes built in code for the service tests.
#include <memory>

#include "host/formats/lwo_builder.h"
#include "host/scene/scene.h"

namespace servicetest {

// A unit box centred at the origin (8 points, 6 faces on "Box"), one open curve through
// three of its points, and a triangle tagged with the part "Lid" on "Top".
inline std::shared_ptr<const host::ObjectModel> boxModel() {
  host::ObjectBuilder b("box.lwo");
  b.addBox({0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f}, "Box");
  b.addPolygon({0, 1, 2}, "Box", host::chunkId("CURV"));
  const uint32_t lid = b.addPolygon({4, 5, 6}, "Top");
  b.setPart(lid, "Lid");
  return std::make_shared<const host::ObjectModel>(b.finish());
}

// Object "Parent" at (1, 0, 0) turned 90 degrees in heading, with the child "Child" at
// (0, 0, 1) in the parent's frame; a point light, a spot light, and a camera.
inline host::Scene familyScene() {
  host::Scene s;
  const auto model = boxModel();
  const int parent = s.addItem(host::ItemType::Object, "Parent");
  s.items[size_t(parent)].object.model = model;
  s.items[size_t(parent)].object.path = "Objects/box.lwo";
  s.items[size_t(parent)].setPosition({1.0, 0.0, 0.0});
  s.items[size_t(parent)].setRotation({1.5707963267948966, 0.0, 0.0});
  const int child = s.addItem(host::ItemType::Object, "Child");
  s.items[size_t(child)].object.model = model;
  s.items[size_t(child)].parent = parent;
  s.items[size_t(child)].setPosition({0.0, 0.0, 1.0});
  const int point = s.addItem(host::ItemType::Light, "Point");
  s.items[size_t(point)].light.kind = host::LightKind::Point;
  const int spot = s.addItem(host::ItemType::Light, "Spot");
  s.items[size_t(spot)].light.kind = host::LightKind::Spot;
  s.addItem(host::ItemType::Camera, "Camera");
  return s;
}

}  // namespace servicetest
