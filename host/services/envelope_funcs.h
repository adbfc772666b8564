#pragma once
// Envelope ids: the host's handles on the model's envelopes (a surface channel's, for one)
// and on envelopes a plug-in makes through "Animation Envelopes".
#include <memory>

#include <lwtypes.h>

#include "host/scene/envelope.h"

namespace host {

class Host;

// The id of an envelope of the model. `owner` keeps the envelope alive as long as the id is
// in use (the object model it belongs to, say); the same envelope always gets the same id.
LWEnvelopeID envelopeIdOf(Host& host, std::shared_ptr<const void> owner, const Envelope* envelope);

// The envelope an id stands for, or null.
const Envelope* envelopeOf(Host& host, LWEnvelopeID id);

}  // namespace host
