#pragma once
// The older object format: one layer, surfaces named in SRFS, surfaces with integer levels and
// texture headers named by their kind.
#include "host/formats/lwo_chunks.h"
#include "host/scene/object.h"

namespace host::lwo {

void readLwob(Cursor& form, ObjectModel& out);

}  // namespace host::lwo
