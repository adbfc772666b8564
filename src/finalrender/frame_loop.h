#pragma once
// The frame loop: renders a range of frames to image files by time slices. All frames of the
// range stay in one list; the frame furthest behind gets a slice of time, its unfinished
// state goes to its refine files, and the loop turns to the frame that is now furthest
// behind, so the whole sequence rises in quality together and can be taken further later.
//
// Three parties: set-up runs on the host's side before the thread starts; the thread body
// renders; the idle step, on the host's side again, moves the host to the time the thread
// names and writes the status lines. The render thread never sends "GoToFrame" itself.
#include <cstdint>
#include <thread>

#include "finalrender/final_render_job.h"

inline constexpr char kSetUpNoBuffers[] = "Cannot allocate image buffer memory";
inline constexpr char kSetUpNoLight[] = "Failed allocating light info.";
inline constexpr char kSetUpNoFrame[] = "Failed allocating frame info";
inline constexpr char kSetUpFrameNumbers[] = "Frame numbers run from -9999999 to 9999999.";
inline constexpr char kSetUpTooManyFrames[] = "A render takes at most 10000 frames; render the range in parts.";

// Frame numbers beyond these don't fit the names or the list's numbers; a longer range would
// take minutes to set up, since each new frame finds its place by walking the list.
inline constexpr double kFrameNumberLimit = 9999999.0;
inline constexpr int64_t kFrameCountLimit = 10000;

// The threshold the job asks of the host while it runs, so objects are never drawn as boxes
// while the host changes frame, and the bounds of what it gives back.
inline constexpr long kJobBoxThreshold = 9999999;
inline constexpr long kKeptBoxThresholdLow = 100;
inline constexpr long kKeptBoxThresholdHigh = 50000000;

// Prepares the job: keeps the host's frame and box threshold, reads the range from the
// numeric values (each plus 0.5, rounded down; a step of 0 is 1; the ends swapped so that a
// negative step runs downward), captures the camera at time 0 for the image size, allocates
// the planes and tallies, builds the lights and the frames (examining their refine files,
// which may ask the user). Returns null, or the reason it failed; what it allocated stays
// in the job either way. `job->capture` must be set. Ranges past the limits above are
// refused before anything is allocated.
const char* frameLoopSetUp(FinalRenderJob* job, double lowFrame, double highFrame, double stepFrame);

// The render thread's body: slices until `running` is cleared or the job ends by itself, then
// gives everything back. Runs at the lowest priority.
void frameLoopThread(FinalRenderJob* job);

// Sets the thread mark and starts the thread body.
std::thread frameLoopStart(FinalRenderJob* job);

// The idle step of the host's side: sends "GoToFrame" when the thread names a new time, then
// writes the status lines.
void frameLoopIdle(FinalRenderJob* job);

// Gives the host back its frame and its box threshold, as they were before the job.
void frameLoopGiveBack(FinalRenderJob* job);

// ---- Parts of a slice, for the thread and its tests ----

// Runs one slice on the head of the list. Returns true when the job should end: the stop
// test said so, or saving failed.
bool frameLoopSlice(FinalRenderJob* job);

// The weight of a sample at a frame's level: 0.75 rising to 8 by level 15, or 0.6 rising to 4
// when the scene has motion blur or depth of field.
double frameLoopSampleWeight(int32_t minSamples, bool blurred);

// Takes one sample at pixel (x, y) with weight s and deposits it.
void frameLoopSample(FinalRenderJob* job, int32_t x, int32_t y, double s);
