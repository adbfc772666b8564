#pragma once
// FinalRenderJob: the render panel's record and the job it runs, kept from one opening of the
// panel to the next; SequenceFrame: one frame of the job's range. The render thread alone
// writes the planes, tallies, lists and figures; the panel's side (or the batch render's
// host loop) reads the figures for the status lines and moves the host in time.
#include <atomic>
#include <cstdint>

#include <lwgeneric.h>

#include "finalrender/file_names.h"
#include "finalrender/refine_files.h"
#include "shading/captured_camera.h"
#include "shading/captured_environment.h"
#include "shading/captured_light.h"

struct Panel;
struct PanelControl;
struct SceneCapture;

struct SequenceFrame {
  SequenceFrame* next;
  SequenceFrame* prev;
  int32_t minSamples;  // every pixel has at least so many samples
  int32_t maxSamples;  // no pixel has more, and some pixel has this many
  int32_t frameNumber;
  char rawPath[kRefinePathSize];
  char tallyPath[kRefinePathSize];
  char imagePath[kRefinePathSize];
};

// What the status lines show.
enum FinalRenderStatus : int32_t {
  kStatusIdle = 0,
  kStatusLoading = 1,
  kStatusRendering = 2,
  kStatusRefining = 3,
  kStatusSaving = 4,
};

// The "STOP" radio.
enum FinalRenderStop : int32_t {
  kStopEndlessly = 0,  // "Endlessly Refine"
  kStopAllEqual = 1,   // "Stop When All Equal"
  kStopAtLevel = 2,    // "Stop At Level"
};

// The times before a job has asked for any: the first frame always captures.
inline constexpr double kNoTime = -9999999999.9;

inline constexpr int32_t kStatusLineSize = 160;

struct FinalRenderJob {
  // The panel and its controls; null while no panel shows the job.
  Panel* panel;
  PanelControl* saveTypeButton;    // "SAVETYPE"
  PanelControl* fileNameText;      // "SAVETEXT"
  PanelControl* lowFrameControl;   // "LOWFRAME"
  PanelControl* highFrameControl;  // "HIGHFRAME"
  PanelControl* stepFrameControl;  // "STEPFRAME"
  PanelControl* statusLine1;       // "FS"
  PanelControl* statusLine2;       // "SS"
  PanelControl* classicButton;     // "CLASSIC"
  PanelControl* saveButton;        // "SAVE"
  PanelControl* stopRadio;         // "STOP"
  PanelControl* aaLevelControl;    // "AA LEVEL"

  char filePrefix[kFileNameSize];
  char fileSuffix[kFileNameSize];
  int32_t lowFrame, highFrame, stepFrame;  // stepFrame is never 0 and may be negative
  int32_t saverIndex;                      // -1 while no save file is chosen
  std::atomic<int32_t> running;            // 1 while the job is wanted: the only stop signal
  int32_t width, height, pixelCount;
  // The handshake with the host's side: the render thread writes targetTime only, the idle
  // step hostTime only.
  std::atomic<double> targetTime;
  std::atomic<double> hostTime;
  double framesPerSecond;
  double savedFrame;  // what the host showed when the job began
  int32_t savedBoxThreshold;
  CapturedCamera camera;  // the sample camera
  CapturedCamera shutterStartCamera;
  CapturedCamera shutterEndCamera;
  double shutterStart, shutterEnd;  // seconds
  int32_t motionOn, depthOfFieldOn;
  int32_t refineWithoutAsking;
  double ambient[3];
  CapturedEnvironment environment;
  CapturedLight* lights;  // one per host light, the host's last light first
  SequenceFrame* frames;  // the frame furthest behind first
  // The figures of the status lines. Read without a lock on the other side: a torn figure
  // costs one wrong status text at most.
  std::atomic<int32_t> statusMode;
  std::atomic<int32_t> statusFrame;
  std::atomic<float> statusQuality;
  std::atomic<int32_t> lowestLevel, highestLevel;
  std::atomic<float> averageLevel;
  PixelTally* tallies;  // one per pixel, rows from the top
  float* red;
  float* green;
  float* blue;
  float* alpha;
  const LWLayoutGeneric* generic;  // where the job's commands go

  // What the job reads of its settings while it runs. The panel writes the first three from
  // its controls ("STOP" and "AA LEVEL" stay live during a render, "CLASSIC" doesn't), and the
  // master's "DOF25D" and "MB25D" are copied in before the thread starts.
  std::atomic<int32_t> stopSelection;
  std::atomic<double> aaLevel;
  int32_t classic;  // "Classic NON-refinable"
  // A fixed slice length in seconds from OMBREL_SLICE_SECONDS, read at set-up; negative for
  // the usual budget (twenty times the set-up time, 1.5 to 100 seconds).
  double sliceSeconds;
  double dof25d;
  double mb25d;
  // The scene the job renders: the master's capture under the panel, the batch render's own.
  SceneCapture* capture;
  // The render thread's mark, owned by whoever starts the thread: 1 while it runs.
  std::atomic<int32_t>* threadMark;
  // When set, the end of the thread leaves "GoToFrame" and "BoundingBoxThreshold" to the
  // starter, which sends them on the host's own thread once the thread has ended.
  int32_t giveBackByStarter;
  // Sets the panel's controls back at the end of a job that ended by itself; null without a
  // panel.
  void (*controlsBack)(FinalRenderJob* job);
  // The status lines as the idle step last wrote them.
  char statusText1[kStatusLineSize];
  char statusText2[kStatusLineSize];
};

// A job with nothing chosen: no save file (saverIndex -1), "STOP" 0, "AA LEVEL" 3, the
// master's 2.5D settings at 1.0, both times kNoTime. Null when out of memory.
FinalRenderJob* FinalRenderJob_Create();
// Frees the job's buffers and lists, then the record. Null is accepted.
void FinalRenderJob_Destroy(FinalRenderJob* job);

// Frees tallies, planes, lights and frames, where there are any, and clears their pointers.
void FinalRenderJob_FreeBuffers(FinalRenderJob* job);

// Sends one command to the host through the job's generic record; false when there is none
// or the host refused.
bool FinalRenderJob_Command(FinalRenderJob* job, const char* format, ...) __attribute__((format(printf, 2, 3)));

// ---- Frame order ----

// minSamples x 1000 + maxSamples x 50 + frameNumber x 0.1, the last term negated for a step
// under 1, so that among equals the first frame in the step's direction leads.
double frameOrderKey(const SequenceFrame* frame, int32_t stepFrame);
// Repairs the list by moving its head behind the last later frame whose key is smaller than
// the head's; equal keys leave it. Returns whether the head moved.
bool frameOrderMoveHead(FinalRenderJob* job);
// Puts a frame at the head of the list.
void frameListPush(FinalRenderJob* job, SequenceFrame* frame);
SequenceFrame* frameListLast(const FinalRenderJob* job);

// ---- Figures, stop test and status ----

// lowestLevel, highestLevel, averageLevel, statusFrame, statusMode (2 before the head's first
// full level, else 3) and statusQuality, from the list.
void FinalRenderJob_Figures(FinalRenderJob* job);

// Whether the job ends before its next slice, by the classic option and the "STOP" selection.
bool FinalRenderJob_ShouldStop(const FinalRenderJob* job);

// The two status lines by statusMode, into statusText1 and statusText2.
void FinalRenderJob_StatusLines(FinalRenderJob* job);
