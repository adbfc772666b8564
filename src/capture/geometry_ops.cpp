#include "capture/geometry_ops.h"

CaptureGeometryOps captureGeometryOps = {};
