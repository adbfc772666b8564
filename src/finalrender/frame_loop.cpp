#include "finalrender/frame_loop.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <lwrender.h>

#include "capture/scene_capture.h"
#include "finalrender/sample_deposit.h"
#include "platform/thread.h"
#include "rayengine/hit_shading.h"
#include "runtime/global_services.h"
#include "runtime/memory.h"
#include "runtime/random.h"
#include "shading/sample_alpha.h"
#include "shading/sample_tables.h"
#include "shading/shading_core.h"

namespace {

// Frames per second are held inside these, so that no time division blows up.
constexpr double kLowestRate = 0.000001;
constexpr double kHighestRate = 999999.0;
// What the job keeps of the host's threshold when the host can't tell it.
constexpr int32_t kUnknownBoxThreshold = 5000000;

// The environment variable that fixes the slice length, for tests that need frequent saves
// and for render farms that want checkpoints at a known pace: seconds, 0 to 100; 0 makes
// every slice one pass, so every pass is saved.
constexpr char kSliceSecondsVariable[] = "OMBREL_SLICE_SECONDS";
constexpr double kLongestSlice = 100.0;

constexpr double kLensScale = 0.005475;
constexpr int kHostPollMs = 20;
constexpr int kHostPolls = 1500;  // 30 seconds, then the job renders wherever the host stands

LWSceneInfo* sceneInfo() { return hostTransientAs<LWSceneInfo>(LWSCENEINFO_GLOBAL); }

uint32_t sceneRenderOpts() {
  const LWSceneInfo* scene = sceneInfo();
  return scene ? uint32_t(scene->renderOpts) : 0u;
}

LWItemID renderCamera(double time) {
  const LWSceneInfo* scene = sceneInfo();
  return scene && scene->renderCamera ? scene->renderCamera(time) : nullptr;
}

double fraction(double value) { return value - std::floor(value); }

double seconds(uint32_t from, uint32_t to) { return double(uint32_t(to - from)) * 0.001; }

// A table value shifted by a random amount of width `a`, wrapped back into 0..1.
double jittered(double random, double a, float table) {
  double value = random * a + table;
  if (value >= 1.0) value -= 1.0;
  return value;
}

void zeroFrameData(FinalRenderJob* job) {
  const size_t n = size_t(job->pixelCount);
  std::memset(job->tallies, 0, n * sizeof(PixelTally));
  std::memset(job->red, 0, n * sizeof(float));
  std::memset(job->green, 0, n * sizeof(float));
  std::memset(job->blue, 0, n * sizeof(float));
  std::memset(job->alpha, 0, n * sizeof(float));
}

// The compositing background, while it is one of the host's images.
LWImageID backgroundImage() {
  auto* compositing = hostTransientAs<LWCompInfo>(LWCOMPINFO_GLOBAL);
  LWImageList* images = globalServices.imageList;
  if (!compositing || !compositing->bg || !images) return nullptr;
  for (LWImageID image = images->first(); image; image = images->next(image))
    if (image == compositing->bg) return image;
  return nullptr;
}

// The fixed slice length that the environment asks for, or -1. A value that isn't a number
// of seconds from 0 to 100 is said once and not used.
double sliceSecondsFromEnvironment() {
  const char* text = std::getenv(kSliceSecondsVariable);
  if (!text || !*text) return -1.0;
  char* end = nullptr;
  const double value = std::strtod(text, &end);
  if (end != text && *end == '\0' && value >= 0.0 && value <= kLongestSlice) return value;
  if (globalServices.messages && globalServices.messages->warning) {
    char line[160];
    std::snprintf(line, sizeof line, "%s is \"%.60s\": not a number of seconds from 0 to %g", kSliceSecondsVariable,
                  text, kLongestSlice);
    globalServices.messages->warning(line, "Slices keep their usual length.");
  }
  return -1.0;
}

// Everything of the scene at the host's time: camera, lights, objects, backdrop and fog, and
// last the ambient colour.
void captureAtHostTime(FinalRenderJob* job) {
  const double time = job->hostTime.load();
  CaptureCamera(renderCamera(time), time, &job->camera);
  for (CapturedLight* light = job->lights; light; light = light->next) CaptureLight(light->item, light, time);
  SceneCapture* capture = job->capture;
  const int changed = SceneCapture_Update(capture, time);
  // No master sees the host's events during a final render, so the options are read here.
  if (const LWSceneInfo* scene = sceneInfo()) {
    capture->renderOpts = uint32_t(scene->renderOpts);
    capture->recursionDepth = scene->recursionDepth;
  }
  capture->compositingBackground = backgroundImage();
  // Objects new to the capture have had no shutter yet.
  if (changed && job->motionOn) SceneCapture_SetShutter(capture, job->shutterStart, job->shutterEnd);
  CaptureEnvironment(time, &job->environment);
  if (globalServices.lightInfo3)
    globalServices.lightInfo3->ambient(time, job->ambient);
  else if (globalServices.lightInfo)
    globalServices.lightInfo->ambient(time, job->ambient);
}

// Names the wanted time and waits for the host's side to get there.
void moveHost(FinalRenderJob* job, double framePosition) {
  job->targetTime = framePosition / job->framesPerSecond;
  for (int poll = 0; poll < kHostPolls && job->running.load(std::memory_order_relaxed); ++poll) {
    if (std::fabs(job->hostTime.load() - job->targetTime.load()) <= 0.001) break;
    threadSleep(kHostPollMs);
  }
}

// The host's background image at a sample's place in the frame, in place of the backdrop.
void backgroundColor(const FinalRenderJob* job, LWImageID image, double sx, double sy, double color[3]) {
  LWImageList* images = globalServices.imageList;
  try {
    int w = 0, h = 0;
    images->size(image, &w, &h);
    if (w < 1 || h < 1) return;
    const double ix = std::clamp((w - 1) * sx / job->width, 0.0, double(w - 1));
    const double iy = std::clamp((h - 1) * sy / job->height, 0.0, double(h - 1));
    LWBufferValue rgb[3] = {0.0f, 0.0f, 0.0f};
    images->RGB(image, int(ix), int(iy), rgb);
    color[0] = rgb[0];
    color[1] = rgb[1];
    color[2] = rgb[2];
  } catch (...) {
    // A fault in the host's image code costs this sample its background, nothing more.
  }
}

// The screen points of a sample at shutter start, at its own time and at shutter end.
void motionPath(FinalRenderJob* job, const RayHit* hit, double depth, const double origin[3], const double direction[3],
                double sx, double sy, double a[2], double b[2], double c[2]) {
  double start[3], middle[3], end[3];
  if (depth > 0.0) {
    double local[3];
    HitPoint(hit, local);
    CapturedObject* object = hit->object;
    ItemTransform_MapPoint(&object->shutterOpen, local, start);
    ItemTransform_MapPoint(&object->transform, local, middle);
    ItemTransform_MapPoint(&object->shutterClose, local, end);
  } else {
    for (int i = 0; i < 3; ++i) start[i] = middle[i] = end[i] = origin[i] + 100000.0 * direction[i];
  }
  // A point behind a camera has no place on its screen: it stays where the sample is.
  auto project = [sx, sy](const CapturedCamera* camera, const double point[3], double out[2]) {
    if (!cameraPointToPixel(camera, point, &out[0], &out[1])) {
      out[0] = sx;
      out[1] = sy;
    }
  };
  project(&job->shutterStartCamera, start, a);
  project(&job->camera, middle, b);
  project(&job->shutterEndCamera, end, c);
}

// Runs passes over the slice's frame until its budget is spent, its level reached, or the
// user stops. Returns false when stopped in a pass.
bool runPasses(FinalRenderJob* job, SequenceFrame* frame, uint32_t t0) {
  SceneCapture* capture = job->capture;
  uint32_t t1 = 0;
  double budget = 0.0;
  bool firstPass = true;
  for (;;) {
    FinalRenderJob_Figures(job);

    double position = frame->frameNumber;
    if (job->motionOn) {
      const ShutterWindow window = shutterWindow(frame->minSamples, job->mb25d, job->camera.blurLength,
                                                 frame->frameNumber, job->framesPerSecond);
      position = window.framePosition;
      job->shutterStart = window.start;
      job->shutterEnd = window.end;
      SceneCapture_SetShutter(capture, window.start, window.end);
      CaptureCamera(job->camera.item, window.start, &job->shutterStartCamera);
      CaptureCamera(job->camera.item, window.end, &job->shutterEndCamera);
    }
    if (std::fabs(job->framesPerSecond * job->hostTime.load() - position) >= 0.0001) {
      moveHost(job, position);
      captureAtHostTime(job);
    }

    if (firstPass) {
      // A frame that is expensive to reach gets a longer stay.
      t1 = tickCount();
      budget = job->sliceSeconds >= 0.0 ? job->sliceSeconds
                                        : std::clamp(20.0 * seconds(t0, t1), 1.5, kLongestSlice);
      firstPass = false;
    }

    const int32_t m = frame->minSamples;
    const bool blurred = (sceneRenderOpts() & (LWROPT_MOTIONBLUR | LWROPT_DEPTHOFFIELD)) != 0;
    const double s = frameLoopSampleWeight(m, blurred);
    const int32_t target = m + 1;
    const int32_t stride = frame->maxSamples == 0 && !job->classic ? 2 : 1;

    for (int32_t y = 0; y < job->height; y += stride) {
      const double f = (y + 0.5) / (job->height + 0.5);
      if (m < frame->maxSamples)
        job->statusQuality = float(m + 0.5 + 0.5 * f);
      else if (m < 1)
        job->statusQuality = float(0.5 * f);
      else
        job->statusQuality = float(m + f);
      const PixelTally* row = job->tallies + size_t(y) * size_t(job->width);
      for (int32_t x = 0; x < job->width; x += stride) {
        if (!job->running.load(std::memory_order_relaxed)) return false;
        if (row[x].samples < target) frameLoopSample(job, x, y, s);
      }
    }

    // A stride-2 pass leaves the frame at a half level: no new least count, one more at most.
    frame->maxSamples = std::max(frame->maxSamples, target);
    if (stride == 1) ++frame->minSamples;

    if (!job->classic && job->stopSelection.load() == kStopAllEqual &&
        frameListLast(job)->minSamples <= frame->minSamples)
      return true;
    if (seconds(t1, tickCount()) < budget) continue;
    if (!job->classic) return true;
    // A classic slice lasts until its frame has the level, and at least its budget.
    if (frame->minSamples < job->aaLevel.load() - 0.5) continue;
    return true;
  }
}

}  // namespace

double frameLoopSampleWeight(int32_t minSamples, bool blurred) {
  if (!blurred) return minSamples >= 15 ? 8.0 : minSamples * 7.25 / 15.0 + 0.75;
  return minSamples >= 15 ? 4.0 : minSamples * 3.4 / 15.0 + 0.6;
}

void frameLoopSample(FinalRenderJob* job, int32_t x, int32_t y, double s) {
  PixelTally& tally = job->tallies[size_t(y) * size_t(job->width) + size_t(x)];
  const int32_t n = tally.samples;
  uint32_t seed = randHash(uint32_t(x) * 0x11223345u + uint32_t(y) * 0x16543211u + uint32_t(n) * 0x35162817u);
  const int32_t i = n & 0x1FF;
  const double a = 0.16724999999999998 / std::sqrt(n + 5.0) + 0.0445;
  const bool even = ((x + y) & 1) == 0;

  const double sx = x + fraction(pixelOffsets[i].first + 0.25);
  const double sy = y + fraction(pixelOffsets[i].second + 0.25);

  if (job->depthOfFieldOn) {
    const SamplePair& lens = even ? lensSamplesEven[i] : lensSamplesOdd[i];
    double u = jittered(fastUnit(&seed), a, lens.first);
    double v = jittered(fastUnit(&seed), a, lens.second);
    squareToDisc(&u, &v);
    u *= kLensScale;
    v *= kLensScale;
    cameraSetLensOffset(&job->camera, 0.5, 0.5, u, v);
    if (job->motionOn) {
      cameraSetLensOffset(&job->shutterStartCamera, 0.5, 0.5, u, v);
      cameraSetLensOffset(&job->shutterEndCamera, 0.5, 0.5, u, v);
    }
  }

  double origin[3], direction[3];
  cameraPixelToRay(&job->camera, sx, sy, origin, direction, nullptr, nullptr);
  job->environment.pixelX = sx / job->width;
  job->environment.pixelY = sy / job->height;

  double u, v;
  if (even) {
    // The first of the two from the scrambling generator, the second from the fast one: kept
    // as the renders it must match were made.
    const double r1 = randUnit(&seed);
    const double r2 = fastUnit(&seed);
    u = jittered(r1, a, bounceSamplesEven[i].first);
    v = jittered(r2, a, bounceSamplesEven[i].second);
  } else {
    const double r1 = fastUnit(&seed);
    const double r2 = fastUnit(&seed);
    u = jittered(r1, a, bounceSamplesOdd[i].first);
    v = jittered(r2, a, bounceSamplesOdd[i].second);
  }

  SceneCapture* capture = job->capture;
  const double time = job->hostTime.load(std::memory_order_relaxed);
  double color[3] = {0.0, 0.0, 0.0};
  RayHit hit{};
  hit.polygon = -1;
  const double depth = TraceSample(capture, job->lights, time, job->ambient, &job->environment, origin, direction, 1.0,
                                   nullptr, -1, kRayCamera, capture->recursionDepth - 1, u, v, s, color, &hit);
  if (depth < 0.0 && capture->compositingBackground)
    backgroundColor(job, capture->compositingBackground, sx, sy, color);

  double r = 0.13 / (n + 0.5);
  const double alpha = SampleAlpha(depth, &hit, capture, origin, direction, job->lights);
  if (job->depthOfFieldOn && depth > 0.0) {
    double point[3], rx = 0.0, ry = 0.0;
    HitWorldPoint(&hit, point);
    CircleOfConfusion(&job->camera, point, &rx, &ry);
    r += std::min(std::min(rx, ry) * job->dof25d * 14.0 / (n + 16), 4.0);
  }

  const double radius = r + 0.5;
  if (job->motionOn && job->mb25d >= 0.0001) {
    double pa[2], pb[2], pc[2];
    motionPath(job, &hit, depth, origin, direction, sx, sy, pa, pb, pc);
    MotionSplat splats[kMaxMotionSplats];
    const int32_t count = motionSplats(pa, pb, pc, job->shutterStart, job->hostTime.load(std::memory_order_relaxed),
                                       job->shutterEnd, s, splats);
    for (int32_t j = 0; j < count; ++j)
      depositPlain(job, splats[j].x, splats[j].y, radius, color, alpha, splats[j].weight);
  } else {
    depositPlain(job, sx, sy, radius, color, alpha, s);
  }
  ++tally.samples;
}

bool frameLoopSlice(FinalRenderJob* job) {
  SequenceFrame* frame = job->frames;
  if (FinalRenderJob_ShouldStop(job)) return true;

  job->statusMode = kStatusLoading;
  const uint32_t t0 = tickCount();
  if (!job->classic && frame->maxSamples > 0) {
    // A pair that won't open reads as empty; the frame keeps its figures.
    refineLoad(frame->rawPath, frame->tallyPath, job->pixelCount, job->tallies, job->red, job->green, job->blue,
               job->alpha);
  } else {
    zeroFrameData(job);
  }

  const uint32_t options = sceneRenderOpts();
  job->depthOfFieldOn = (options & LWROPT_DEPTHOFFIELD) != 0;
  job->motionOn = (options & LWROPT_MOTIONBLUR) != 0 && std::fabs(job->camera.blurLength) >= 0.001;
  if (!job->depthOfFieldOn) {
    // A capture keeps the lens where the last sample put it; without depth of field it is the
    // pinhole.
    cameraSetLensOffset(&job->camera, 0.5, 0.5, 0.0, 0.0);
    cameraSetLensOffset(&job->shutterStartCamera, 0.5, 0.5, 0.0, 0.0);
    cameraSetLensOffset(&job->shutterEndCamera, 0.5, 0.5, 0.0, 0.0);
  }

  runPasses(job, frame, t0);

  job->statusMode = kStatusSaving;
  job->statusFrame = frame->frameNumber;
  const char* failure = nullptr;
  if (!job->classic)
    failure = refineSave(frame->rawPath, frame->tallyPath, job->pixelCount, job->tallies, job->red, job->green,
                         job->blue, job->alpha);
  // A slice cut short by the user saves no image: the last one stays on disk.
  if (!failure && job->running.load())
    failure = refineSaveImage(globalServices.hostGlobal, job->width, job->height, job->red, job->green, job->blue,
                              job->alpha, job->saverIndex, frame->imagePath);
  if (failure) {
    refineShowSaveFailure(globalServices.messages, failure);
    return true;
  }
  frameOrderMoveHead(job);
  return false;
}

const char* frameLoopSetUp(FinalRenderJob* job, double lowFrame, double highFrame, double stepFrame) {
  FinalRenderJob_FreeBuffers(job);
  GlobalFunc* global = globalServices.hostGlobal;
  const LWSceneInfo* scene = sceneInfo();
  const double rate = scene ? scene->framesPerSecond : 30.0;

  auto* ui = static_cast<LWInterfaceInfo*>(global(LWINTERFACEINFO3_GLOBAL, GFUSE_ACQUIRE));
  if (ui) {
    job->savedFrame = ui->curTime * rate;
    job->savedBoxThreshold = ui->boxThreshold;
  } else {
    // Asked for as older hosts would be; their answers don't carry what is kept.
    (void)global(LWINTERFACEINFO2_GLOBAL, GFUSE_ACQUIRE);
    (void)global(LWINTERFACEINFO_GLOBAL, GFUSE_ACQUIRE);
    job->savedFrame = 0.0;
    job->savedBoxThreshold = kUnknownBoxThreshold;
  }
  if (globalServices.hostVersion.major < 7) job->savedBoxThreshold = kUnknownBoxThreshold;

  job->framesPerSecond = std::clamp(rate, kLowestRate, kHighestRate);
  FinalRenderJob_Command(job, "BoundingBoxThreshold %ld", kJobBoxThreshold);

  if (!(std::fabs(lowFrame) <= kFrameNumberLimit && std::fabs(highFrame) <= kFrameNumberLimit &&
        std::fabs(stepFrame) <= kFrameNumberLimit))
    return kSetUpFrameNumbers;
  int32_t low = int32_t(std::floor(lowFrame + 0.5));
  int32_t high = int32_t(std::floor(highFrame + 0.5));
  int32_t step = int32_t(std::floor(stepFrame + 0.5));
  if (step == 0) step = 1;
  if ((low > high && step > 0) || (low < high && step < 0)) std::swap(low, high);
  if ((int64_t(high) - low) / step + 1 > kFrameCountLimit) return kSetUpTooManyFrames;
  job->lowFrame = low;
  job->highFrame = high;
  job->stepFrame = step;

  CaptureCamera(renderCamera(0.0), 0.0, &job->camera);
  job->width = job->camera.width;
  job->height = job->camera.height;
  job->pixelCount = job->width * job->height;

  job->targetTime = kNoTime;
  job->hostTime = kNoTime;
  job->sliceSeconds = sliceSecondsFromEnvironment();

  const size_t n = size_t(job->pixelCount);
  job->tallies = static_cast<PixelTally*>(memAlloc(n * sizeof(PixelTally)));
  job->red = static_cast<float*>(memAlloc(n * sizeof(float)));
  job->green = static_cast<float*>(memAlloc(n * sizeof(float)));
  job->blue = static_cast<float*>(memAlloc(n * sizeof(float)));
  job->alpha = static_cast<float*>(memAlloc(n * sizeof(float)));
  if (!job->tallies || !job->red || !job->green || !job->blue || !job->alpha) {
    FinalRenderJob_FreeBuffers(job);
    return kSetUpNoBuffers;
  }

  LWItemInfo* items = globalServices.itemInfo;
  for (LWItemID item = items->first(LWI_LIGHT, nullptr); item; item = items->next(item)) {
    auto* light = static_cast<CapturedLight*>(memAlloc(sizeof(CapturedLight)));
    if (!light) return kSetUpNoLight;
    CapturedLight_Init(light);
    light->item = item;
    light->next = job->lights;
    if (job->lights) job->lights->previous = light;
    job->lights = light;
  }

  RefineSurvey survey;
  RefineSurvey_Init(&survey, job->pixelCount, job->refineWithoutAsking);
  for (int32_t number = low; step > 0 ? number <= high : number >= high; number += step) {
    auto* frame = static_cast<SequenceFrame*>(memAllocZero(sizeof(SequenceFrame)));
    if (!frame) return kSetUpNoFrame;
    frameListPush(job, frame);
    frame->frameNumber = number;
    refineFrameNames(job->filePrefix, job->fileSuffix, number, frame->rawPath, frame->tallyPath, frame->imagePath);
    if (const char* text = RefineSurvey_Frame(&survey, globalServices.messages, frame->rawPath, frame->tallyPath,
                                              &frame->minSamples, &frame->maxSamples))
      return text;
    frameOrderMoveHead(job);
  }
  return nullptr;
}

void frameLoopThread(FinalRenderJob* job) {
  if (job->threadMark) job->threadMark->store(1);
  threadSetPriority(ThreadPriority::Lowest);

  while (job->running.load()) {
    FinalRenderJob_Figures(job);
    if (frameLoopSlice(job)) {
      if (job->controlsBack) job->controlsBack(job);
      job->running = 0;
    }
  }

  threadSetPriority(ThreadPriority::Normal);
  FinalRenderJob_FreeBuffers(job);
  if (!job->giveBackByStarter) frameLoopGiveBack(job);
  job->statusMode = kStatusIdle;
  if (job->threadMark) job->threadMark->store(0);
}

std::thread frameLoopStart(FinalRenderJob* job) {
  // Marked before the thread exists, so that nobody who waits on the mark can miss the job.
  if (job->threadMark) job->threadMark->store(1);
  return threadStart([job] { frameLoopThread(job); });
}

void frameLoopIdle(FinalRenderJob* job) {
  const double target = job->targetTime.load();
  if (std::fabs(target - job->hostTime.load()) >= 0.001) {
    FinalRenderJob_Command(job, "GoToFrame %lf", job->framesPerSecond * target);
    threadSleep(1);
    job->hostTime = target;
  }
  FinalRenderJob_StatusLines(job);
}

void frameLoopGiveBack(FinalRenderJob* job) {
  FinalRenderJob_Command(job, "GoToFrame %lf", job->savedFrame);
  FinalRenderJob_Command(job, "BoundingBoxThreshold %ld",
                         std::clamp(long(job->savedBoxThreshold), kKeptBoxThresholdLow, kKeptBoxThresholdHigh));
}
