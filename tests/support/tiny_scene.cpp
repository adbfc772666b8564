#include "support/tiny_scene.h"

#include "host/formats/lwo2_writer.h"
#include "host/formats/lwo_builder.h"
#include "host/formats/lws_writer.h"
#include "host/scene/scene.h"

namespace testscene {

std::string writeTinyBoxScene(const std::filesystem::path& dir, int width, int height, int frames,
                              std::string& error) {
  host::ObjectBuilder b("box.lwo");
  b.surface("Box").color.value = {0.8, 0.5, 0.2};
  b.addBox({0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f}, "Box");
  if (!host::writeLwo2File(b.finish(), (dir / "box.lwo").string(), error)) return "";
  host::Scene s;
  s.firstFrame = 1;
  s.lastFrame = frames;
  const int box = s.addItem(host::ItemType::Object, "box");
  s.item(box).object.path = "box.lwo";
  s.item(box).setPosition({0.0, 0.0, 3.0});
  const int light = s.addItem(host::ItemType::Light, "Key");
  s.item(light).setRotation({0.5, 0.6, 0.0});
  const int camera = s.addItem(host::ItemType::Camera, "Camera");
  s.item(camera).camera.width = width;
  s.item(camera).camera.height = height;
  const std::string path = (dir / "tiny.lws").string();
  return host::writeSceneFile(path, s, error) ? path : "";
}

}  // namespace testscene
