#pragma once
// An object file shown on its own. Its layers become items as Layout loads them; for a render,
// the stage adds what shows the object without any set-up: a camera framing its bounds from a
// three-quarter view, a key, fill and rim light, a soft grey backdrop, and on request a turntable.
#include <memory>
#include <string>
#include <vector>

#include "host/scene/scene.h"

namespace host {

struct ObjectModel;

// Adds one object item per layer of `model`, as Layout loads every layer of a file: named after
// the file, with the layer's name when there are several; a layer's parent layer becomes its
// item's parent. A model without layers still gets one item. Gives the items' indices.
std::vector<int> addObjectLayers(Scene& scene, const std::shared_ptr<const ObjectModel>& model,
                                 const std::string& path);

struct ObjectStage {
  int width = 640, height = 480;  // the picture, in pixels
  int turntableFrames = 0;        // 0: one still frame; N: frames 1..N, frame k at (k-1)/N of a turn

  // A scene of the object's layers, a camera, three lights and a backdrop. The camera and the
  // lights hang on a null at the object's centre, which turns for a turntable.
  Scene build(const std::shared_ptr<const ObjectModel>& model, const std::string& path) const;
};

}  // namespace host
