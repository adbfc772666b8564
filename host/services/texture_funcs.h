#pragma once
// "Texture Functions": the textures of surface channels, evaluated at a micropolygon.
//
// A texture id is a number from 1 (never an address): the same channel of the same surface
// always gets the same one, and a stale or foreign id evaluates to nothing. A layer id is the
// texture's number times 65536 plus the layer's position from 1.
#include <memory>
#include <string>

#include <lwtxtr.h>

#include "host/scene/object.h"
#include "host/services/texture_eval.h"

namespace host {

class Host;

// The texture of one channel of an object's surface, made on first use; null when the channel
// has no layers. `channel` is the name getTex takes ("BaseColor", "Bump", ...).
LWTextureID channelTexture(Host& host, const std::shared_ptr<const ObjectModel>& model, size_t surface,
                           const std::string& channel);

// The stack behind an id, or null.
const TextureStack* textureStack(Host& host, LWTextureID id);

// What a texture reads of a micropolygon, with point and polygon ids turned into indices of
// the object's geometry layer (which may be null).
TextureSpot textureSpotOf(const LWMicropol& mp, const Layer* geometry);

// Perlin's gradient noise, about -1..1, 0 at whole coordinates.
double textureNoise(const double p[3]);

}  // namespace host
