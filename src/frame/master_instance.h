#pragma once
// MasterInstance: the one instance of the master server, which lives as long as the scene.
// The master server fills the record in when the host creates it; the servers of the
// module read its capture and its final render panel.
#include <cstdint>

struct Panel;
struct PanelControl;
struct FinalRenderJob;
struct SceneCapture;

struct MasterInstance {
  Panel* panel;
  PanelControl* controls[5];  // RADTYPE, RADSTRENGTH, RADBOUNCE, DOF25D, MB25D
  FinalRenderJob* job;        // the final render, none until its panel is first opened
  SceneCapture* capture;      // none until a preview or the final render has captured
  int32_t eventCount;
  int32_t renderThreadMark;
};

// Null until the host has created the instance.
extern MasterInstance* masterInstance;
