#pragma once
// Where the servers reach subsystems that join the module later: the viewer panel, the
// scene capture, the final render panel, the master's panel and the handlers' callbacks.
// Each entry is null until its subsystem fills it in, and a null entry means the step it
// stands for has nothing to act on yet: no preview can be opened, no capture is built, no
// panel is shown, and the handler records keep only what the frame itself writes into them.
#include <lwdisplce.h>
#include <lwgeneric.h>
#include <lwmaster.h>
#include <lwshader.h>

struct ViewerPanel;
struct SceneCapture;
struct MasterInstance;

struct FrameHooks {
  // The viewer panel. `viewerList` belongs to the frame; the viewer is handed its head to
  // put a new record at the front, and to unlink a record it takes down.
  ViewerPanel* (*viewerCreate)(ViewerPanel** list, const LWLayoutGeneric* local);
  void (*viewerDestroy)(ViewerPanel** list, ViewerPanel* viewer);
  bool (*viewerPanelOpen)(ViewerPanel* viewer);
  ViewerPanel* (*viewerNext)(ViewerPanel* viewer);
  void (*viewerLockEngine)(ViewerPanel* viewer);    // takes the engine's gate
  void (*viewerUnlockEngine)(ViewerPanel* viewer);  // gives it back
  void (*viewerInvalidateAll)(ViewerPanel* viewer);

  // The scene capture of the master instance.
  SceneCapture* (*captureCreate)(double time);
  void (*captureUpdate)(SceneCapture* capture);  // at the capture's own time

  // The final render panel: created or reset, then run modally with the generic's record.
  bool (*renderPanelPrepare)(MasterInstance* master);
  void (*renderPanelRun)(MasterInstance* master, const LWLayoutGeneric* local);

  // The master's settings panel; returns the panel's result.
  int (*masterPanelRun)(MasterInstance* master);

  // The members of the handler records: instance functions, item functions, render
  // functions, evaluation and flags. Each fill tests a nested table for null before it
  // writes into it.
  void (*fillMasterHandler)(LWMasterHandler* handler);
  void (*fillShaderHandler)(LWShaderHandler* handler);
  void (*fillDisplacementHandler)(LWDisplacementHandler* handler);
};

extern FrameHooks frameHooks;

// Fills in the entries of the subsystems the module has: the viewer and the capture.
void frameHooksInstall();
