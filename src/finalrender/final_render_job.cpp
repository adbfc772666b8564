#include "finalrender/final_render_job.h"

#include <cstdarg>
#include <cstdio>
#include <new>

#include "runtime/memory.h"

FinalRenderJob* FinalRenderJob_Create() {
  void* block = memAllocZero(sizeof(FinalRenderJob));
  if (!block) return nullptr;
  // Zeroed memory is every pointer null and every figure 0; the atomics still need their
  // constructors run.
  FinalRenderJob* job = new (block) FinalRenderJob();
  job->saverIndex = -1;
  job->stepFrame = 1;
  job->targetTime = kNoTime;
  job->hostTime = kNoTime;
  job->framesPerSecond = 30.0;
  job->stopSelection = kStopEndlessly;
  job->aaLevel = 3.0;
  job->dof25d = 1.0;
  job->mb25d = 1.0;
  job->sliceSeconds = -1.0;
  CapturedCamera_Init(&job->camera);
  CapturedCamera_Init(&job->shutterStartCamera);
  CapturedCamera_Init(&job->shutterEndCamera);
  CapturedEnvironment_Init(&job->environment);
  return job;
}

void FinalRenderJob_Destroy(FinalRenderJob* job) {
  if (!job) return;
  FinalRenderJob_FreeBuffers(job);
  job->~FinalRenderJob();
  memFree(job);
}

void FinalRenderJob_FreeBuffers(FinalRenderJob* job) {
  memFree(job->tallies);
  memFree(job->red);
  memFree(job->green);
  memFree(job->blue);
  memFree(job->alpha);
  job->tallies = nullptr;
  job->red = job->green = job->blue = job->alpha = nullptr;
  for (CapturedLight* light = job->lights; light;) {
    CapturedLight* next = light->next;
    memFree(light);
    light = next;
  }
  job->lights = nullptr;
  for (SequenceFrame* frame = job->frames; frame;) {
    SequenceFrame* next = frame->next;
    memFree(frame);
    frame = next;
  }
  job->frames = nullptr;
}

bool FinalRenderJob_Command(FinalRenderJob* job, const char* format, ...) {
  if (!job->generic || !job->generic->evaluate) return false;
  char text[256];
  va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  try {
    return job->generic->evaluate(job->generic->data, text) != 0;
  } catch (...) {
    return false;
  }
}

// ---- Frame order ----

double frameOrderKey(const SequenceFrame* frame, int32_t stepFrame) {
  const double number = stepFrame < 1 ? frame->frameNumber * -0.1 : frame->frameNumber * 0.1;
  return frame->minSamples * 1000.0 + frame->maxSamples * 50.0 + number;
}

bool frameOrderMoveHead(FinalRenderJob* job) {
  SequenceFrame* head = job->frames;
  if (!head || !head->next) return false;
  const double key = frameOrderKey(head, job->stepFrame);
  SequenceFrame* behind = nullptr;
  for (SequenceFrame* frame = head->next; frame; frame = frame->next)
    if (frameOrderKey(frame, job->stepFrame) < key) behind = frame;
  if (!behind) return false;
  job->frames = head->next;
  job->frames->prev = nullptr;
  head->prev = behind;
  head->next = behind->next;
  if (behind->next) behind->next->prev = head;
  behind->next = head;
  return true;
}

void frameListPush(FinalRenderJob* job, SequenceFrame* frame) {
  frame->prev = nullptr;
  frame->next = job->frames;
  if (job->frames) job->frames->prev = frame;
  job->frames = frame;
}

SequenceFrame* frameListLast(const FinalRenderJob* job) {
  SequenceFrame* frame = job->frames;
  while (frame && frame->next) frame = frame->next;
  return frame;
}

// ---- Figures, stop test and status ----

void FinalRenderJob_Figures(FinalRenderJob* job) {
  SequenceFrame* head = job->frames;
  if (!head) return;
  double lowest = 99999999.0;
  int32_t highest = head->minSamples;
  double sum = 0.0;
  int count = 0;
  for (const SequenceFrame* frame = head; frame; frame = frame->next) {
    if (frame->minSamples < lowest) lowest = frame->minSamples;
    if (frame->minSamples > highest) highest = frame->minSamples;
    sum += frame->minSamples;
    if (frame->maxSamples > frame->minSamples) sum += 0.5;
    ++count;
  }
  job->lowestLevel = int32_t(lowest);
  job->highestLevel = highest;
  job->averageLevel = float(sum / count);
  job->statusFrame = head->frameNumber;
  if (head->maxSamples < 1) {
    job->statusMode = kStatusRendering;
    job->statusQuality = 0.0f;
  } else {
    job->statusMode = kStatusRefining;
    job->statusQuality = float(head->minSamples);
  }
}

bool FinalRenderJob_ShouldStop(const FinalRenderJob* job) {
  const SequenceFrame* head = job->frames;
  if (!head) return true;
  const double level = job->aaLevel.load() - 0.5;
  // The head is the frame furthest behind, so it alone says whether all have reached a level.
  if (job->classic && !(head->minSamples < level)) return true;
  switch (job->stopSelection.load()) {
    case kStopAllEqual:
      return frameListLast(job)->minSamples == head->minSamples;
    case kStopAtLevel:
      return !(head->minSamples < level);
    default:
      return false;
  }
}

void FinalRenderJob_StatusLines(FinalRenderJob* job) {
  const int32_t mode = job->statusMode.load();
  const long frame = job->statusFrame.load();
  char* first = job->statusText1;
  char* second = job->statusText2;
  switch (mode) {
    case kStatusLoading:
      std::snprintf(first, kStatusLineSize, "Loading Frame %ld data", frame);
      break;
    case kStatusRendering:
      std::snprintf(first, kStatusLineSize, "Rendering Frame %ld. Quality=%0.2lf", frame,
                    double(job->statusQuality.load()));
      break;
    case kStatusRefining:
      std::snprintf(first, kStatusLineSize, "Refining Frame %ld. Quality=%0.2lf", frame,
                    double(job->statusQuality.load()));
      break;
    case kStatusSaving:
      std::snprintf(first, kStatusLineSize, "Saving Frame %ld data", frame);
      break;
    default:
      first[0] = '\0';
      second[0] = '\0';
      return;
  }
  std::snprintf(second, kStatusLineSize, "Sequence Quality Avg: %0.1lf  Range %ld-%ld",
                double(job->averageLevel.load()), long(job->lowestLevel.load()), long(job->highestLevel.load()));
}
