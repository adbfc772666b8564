#pragma once
// "Surface Functions": the surfaces of the scene's objects, channel by channel.
//
// A surface belongs to an object file (objects loaded from the same file share it), and its
// id is a number from 1 that stays the same while the file's model lives. The list runs over
// the objects in scene order, each object's surfaces in file order.
//
// getFlt answers every channel name with the surface's value (an envelope's value at the
// host's time where the channel has one), and with 0 for names it doesn't know; getInt
// answers "Sidedness", "ReflectionOptions", "RefractionOptions", "AlphaOptions" and
// "RenderOutlines", and the whole part of getFlt's value for any other name.
#include <memory>
#include <string>

#include <lwsurf.h>

#include "host/scene/object.h"

namespace host {

class Host;

// The id of an object's surface, or null if the model hasn't that many.
LWSurfaceID surfaceIdOf(Host& host, const std::shared_ptr<const ObjectModel>& model, size_t surface);

}  // namespace host
