#pragma once
// The shader handler's record as the host last handed it to the module, kept for the
// shader's later calls.
#include <lwshader.h>

extern LWShaderHandler* shaderHandlerLocal;
