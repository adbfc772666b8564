/*
 * The module's headless final render: one C entry exported beside _mod_descrip, for hosts
 * without a display (render nodes, the command line). A host that doesn't know it never
 * calls it. It runs the same frame loop as the render panel's "Render!" button, with the
 * panel's settings given as instance text, and returns when the job has ended.
 */
#ifndef OMBREL_BATCH_H
#define OMBREL_BATCH_H

#include <lwgeneric.h>
#include <lwserver.h>

#ifdef __cplusplus
extern "C" {
#endif

#define OMBREL_BATCH_ENTRY "ombrelBatchRender"
#define OMBREL_BATCH_VERSION 1

/* The figures that the render panel's two status lines show, as they stand after each
 * slice; `line1` and `line2` are those lines' texts ("Rendering Frame %ld. Quality=%0.2lf",
 * "Sequence Quality Avg: %0.1lf  Range %ld-%ld", ...). */
typedef struct st_OmbrelBatchStatus {
  const char *line1;
  const char *line2;
  int statusMode;
  int statusFrame;
  double statusQuality;
  int lowestLevel;
  int highestLevel;
  double averageLevel;
} OmbrelBatchStatus;

typedef struct st_OmbrelBatchHost {
  int version; /* OMBREL_BATCH_VERSION */
  GlobalFunc *global;
  /* Where the job's commands go ("GoToFrame %lf", "BoundingBoxThreshold %ld", ...), as a
   * generic server's local record would take them. */
  LWLayoutGeneric *generic;
  /* The settings as instance text: the render panel's controls ("LOWFRAME", "HIGHFRAME",
   * "STEPFRAME", "STOP", "CLASSIC", "AA LEVEL", the file name and saver) and the master's
   * ("RADTYPE", "RADSTRENGTH", "RADBOUNCE", "DOF25D", "MB25D"). Null: the defaults. */
  const char *settings;
  /* Called on the host's thread after every change of the status figures. May be null. */
  void (*status)(void *data, const OmbrelBatchStatus *status);
  void *statusData;
  /* The host sets this to 1 to stop the job as the "Stop Rendering!" button does: the
   * frame in hand is saved with its refine files and the job ends. Read on every idle step. */
  volatile int *stopRequested;
} OmbrelBatchHost;

/* Returns 0 when the job ran to its end or was stopped, 1 when it could not start (the
 * reason has been shown through "Info Messages"), 2 for a host record the module can't use. */
typedef int OmbrelBatchFunc(const OmbrelBatchHost *host);

#ifdef __cplusplus
}
#endif

#endif
