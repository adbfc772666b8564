#pragma once
// The renderer's private copy of the host's scene at one time, kept up to date in place,
// object by object. Callers of the update, refresh and replace operations hold every
// preview's gate: render threads read the capture without locks.
#include <cstdint>

#include <lwimage.h>
#include <lwrender.h>

#include "capture/captured_object.h"

struct SceneCapture {
  double time;
  CapturedObject* objects;  // newest first
  int32_t busy;             // 2 while created, 1 while updated or replaced, else 0
  uint32_t renderOpts;
  int32_t recursionDepth;
  LWImageID compositingBackground;
};

// The time of the last create or update, and the live capture; host callbacks bring no
// context of their own.
extern double captureTime;
extern SceneCapture* currentCapture;

SceneCapture* SceneCapture_Create(double time);
// 1 if anything that changes the picture changed.
int SceneCapture_Update(SceneCapture* capture, double time);
int SceneCapture_UpdateObject(SceneCapture* capture, LWItemID item, double time);
// 1 if a surface's sidedness changed.
int SceneCapture_RefreshSurfaces(SceneCapture* capture, double time);
// 1 if an object was rebuilt.
int SceneCapture_ReplaceObject(SceneCapture* capture, LWItemID oldItem, LWItemID newItem);
void SceneCapture_SetShutter(SceneCapture* capture, double openTime, double closeTime);
void SceneCapture_Destroy(SceneCapture* capture);
