#pragma once
// The backdrop's colour along a direction, as Layout's renderer sees a ray that meets
// nothing: the solid colour, or the four-colour gradient.
#include "host/scene/scene.h"

namespace host {

// `direction` need not be of unit length; a zero vector looks at the horizon.
Vec3 backdropColor(const Backdrop& backdrop, double time, const Vec3& direction);

}  // namespace host
