#pragma once
// ShaderSurface: one surface that the module has attached its shader to. The shader
// instance that owns the record frees it; the list only links it.
#include <cstdint>

#include <lwtypes.h>

struct ShaderSurface {
  LWSurfaceID surface;  // 0 before it is known; kShaderSurfaceGone once the surface has gone
  ShaderSurface* next;
  ShaderSurface* prev;
};

// The mark of a record whose surface has gone.
inline const LWSurfaceID kShaderSurfaceGone =
    reinterpret_cast<LWSurfaceID>(static_cast<uintptr_t>(0xFFFFAAAAu));

extern ShaderSurface* shaderSurfaceList;

void shaderSurfaceLink(ShaderSurface* record);    // at the head
void shaderSurfaceUnlink(ShaderSurface* record);  // moves the head if need be; nulls the links
