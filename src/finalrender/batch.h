#pragma once
// The headless final render: what the module's batch entry runs. There is no panel and no
// master instance; the job and the scene capture belong to this call, and the calling
// thread, the host's own, plays the panel's part: it moves the host in time, reports the
// status lines and watches for the host's stop.
#include <cstdint>
#include <string>

#include <ombrel_batch.h>

#include "shading/radiosity_settings.h"

// The settings of a batch job, as the render panel and the master's panel would hold them.
struct BatchSettings {
  double lowFrame, highFrame, stepFrame;
  int32_t stopSelection;        // "STOP"
  int32_t classic;              // "CLASSIC"
  double aaLevel;               // "AA LEVEL"
  std::string fileName;         // the save file as chosen, "####" or four digits for the frame
  int32_t saverIndex;           // -1: none
  std::string saverName;        // takes precedence over the index where the host has a saver so named
  RadiositySettings radiosity;  // "RADTYPE", "RADSTRENGTH", "RADBOUNCE"
  double dof25d, mb25d;         // "DOF25D", "MB25D"
};

// Reads the settings from instance text, with the panels' defaults for what it lacks (the
// range from the scene's first and last frames). Returns null or the reader's failure word,
// with its line in `failureLine`.
const char* batchReadSettings(const char* text, BatchSettings* settings, std::string* failureLine);

// Runs a job to its end on the host's thread. Returns 0 when it ran or was stopped, 1 when it
// could not start (the reason shown through "Info Messages"), 2 for an unusable host record.
int batchRender(const OmbrelBatchHost* host);
