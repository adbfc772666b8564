#pragma once
// A mesh access (LWMeshInfo) over one layer of an object model. Each call of meshInfo or
// layerMesh makes a new one, which its user releases with its destroy; it keeps the model
// alive while it lives, so it stays good when the scene is read again.
#include <memory>

#include <lwmeshes.h>

#include "host/scene/object.h"

namespace host {

// A new mesh access over `layer` of `model`; never null.
LWMeshInfo* makeMeshInfo(std::shared_ptr<const ObjectModel> model, const Layer* layer);

}  // namespace host
