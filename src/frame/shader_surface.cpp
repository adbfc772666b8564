#include "frame/shader_surface.h"

ShaderSurface* shaderSurfaceList = nullptr;

void shaderSurfaceLink(ShaderSurface* record) {
  record->prev = nullptr;
  record->next = shaderSurfaceList;
  if (shaderSurfaceList) shaderSurfaceList->prev = record;
  shaderSurfaceList = record;
}

void shaderSurfaceUnlink(ShaderSurface* record) {
  if (record->prev)
    record->prev->next = record->next;
  else if (shaderSurfaceList == record)
    shaderSurfaceList = record->next;
  if (record->next) record->next->prev = record->prev;
  record->next = nullptr;
  record->prev = nullptr;
}
