#pragma once
// Surfaces and their texture blocks, for the two newer object formats.
#include "host/formats/lwo_chunks.h"
#include "host/scene/object.h"

namespace host::lwo {

// An LWO2 SURF chunk: name, source, then sub-chunks with two-byte lengths.
void readSurfaceLwo2(Cursor& body, ObjectModel& out);
// An LWO3 SURF form: the same sub-chunks with four-byte lengths, plus the material node graph
// from which the basic channels are taken.
void readSurfaceLwo3(Sub& form, ObjectModel& out);

// A BLOK, in either format, into `layer`; `channel` comes from its CHAN sub-chunk. False (and
// told) for a block without a known layer header, which is left out.
bool readBlock(Sub& block, bool longLengths, TextureLayer& layer);
// Puts a layer on its surface channel's stack, keeping the stack sorted by ordinal.
void addLayer(Surface& surface, TextureLayer layer);

}  // namespace host::lwo
