#include "finalrender/batch.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include <lwimage.h>
#include <lwrender.h>

#include "capture/scene_capture.h"
#include "finalrender/final_render_job.h"
#include "finalrender/frame_loop.h"
#include "platform/thread.h"
#include "rayengine/ray_engine.h"
#include "runtime/global_services.h"
#include "toolkit/instance_text.h"

namespace {

constexpr char kCouldNotStart[] = "The render could not start.";
constexpr char kNoSaveFile[] = "No save file is chosen for the render.";
constexpr char kUnknownSaver[] = "The render's image saver is not one of the host's.";
constexpr char kMissingService[] = "The host lacks a service that the module needs.";

// How often the host's side looks at the job while the thread renders.
constexpr uint32_t kIdleMs = 5;

void showError(const char* first, const char* second) {
  if (globalServices.messages && globalServices.messages->error) globalServices.messages->error(first, second);
}

bool validHost(const OmbrelBatchHost* host) {
  return host && host->version == OMBREL_BATCH_VERSION && host->global && host->generic && host->generic->evaluate;
}

// The saver by name where the host has one so named, else by index; -1 for none. Its name
// goes to `name`, for the extension.
int32_t resolveSaver(const BatchSettings& settings, std::string* name) {
  auto* util = hostTransientAs<LWImageUtil>(LWIMAGEUTIL_GLOBAL);
  if (!util || !util->saverCount || !util->saverName) return -1;
  const int count = util->saverCount();
  if (!settings.saverName.empty())
    for (int i = 0; i < count; ++i)
      if (const char* n = util->saverName(i); n && settings.saverName == n) {
        *name = n;
        return i;
      }
  if (settings.saverIndex >= 0 && settings.saverIndex < count) {
    const char* n = util->saverName(settings.saverIndex);
    *name = n ? n : "";
    return settings.saverIndex;
  }
  return -1;
}

// What the status callback was last told, to call it only on a change.
struct StatusSeen {
  bool any = false;
  OmbrelBatchStatus status{};
  char line1[kStatusLineSize] = {};
  char line2[kStatusLineSize] = {};
};

void reportStatus(const OmbrelBatchHost* host, FinalRenderJob* job, StatusSeen* seen) {
  if (!host->status) return;
  OmbrelBatchStatus now{};
  now.line1 = job->statusText1;
  now.line2 = job->statusText2;
  now.statusMode = job->statusMode.load();
  now.statusFrame = job->statusFrame.load();
  now.statusQuality = job->statusQuality.load();
  now.lowestLevel = job->lowestLevel.load();
  now.highestLevel = job->highestLevel.load();
  now.averageLevel = job->averageLevel.load();
  const OmbrelBatchStatus& was = seen->status;
  if (seen->any && std::strcmp(seen->line1, job->statusText1) == 0 && std::strcmp(seen->line2, job->statusText2) == 0 &&
      was.statusMode == now.statusMode && was.statusFrame == now.statusFrame &&
      was.statusQuality == now.statusQuality && was.lowestLevel == now.lowestLevel &&
      was.highestLevel == now.highestLevel && was.averageLevel == now.averageLevel)
    return;
  seen->any = true;
  seen->status = now;
  std::memcpy(seen->line1, job->statusText1, kStatusLineSize);
  std::memcpy(seen->line2, job->statusText2, kStatusLineSize);
  try {
    host->status(host->statusData, &now);
  } catch (...) {
    // The host's own callback; its faults are not the job's.
  }
}

// Runs the job from its set-up to the thread's end; the job and capture are the caller's.
int runJob(const OmbrelBatchHost* host, const BatchSettings& settings, FinalRenderJob* job) {
  std::atomic<int32_t> mark{0};
  job->threadMark = &mark;
  job->giveBackByStarter = 1;
  job->running = 1;
  if (const char* text = frameLoopSetUp(job, settings.lowFrame, settings.highFrame, settings.stepFrame)) {
    job->running = 0;
    showError(kCouldNotStart, text);
    return 1;
  }

  std::thread thread = frameLoopStart(job);
  StatusSeen seen;
  while (mark.load()) {
    if (host->stopRequested && *host->stopRequested) job->running = 0;
    frameLoopIdle(job);
    reportStatus(host, job, &seen);
    threadSleep(kIdleMs);
  }
  thread.join();
  FinalRenderJob_StatusLines(job);
  reportStatus(host, job, &seen);
  return 0;
}

}  // namespace

const char* batchReadSettings(const char* text, BatchSettings* settings, std::string* failureLine) {
  InstanceSettings read;
  const char* failure = InstanceSettings_Read(&read, text);
  if (failure && failureLine) *failureLine = read.failureLine;

  const LWSceneInfo* scene = hostTransientAs<const LWSceneInfo>(LWSCENEINFO_GLOBAL);
  BatchSettings& s = *settings;
  s.lowFrame = instanceNumber(&read, "LOWFRAME", scene ? scene->frameStart : 1);
  s.highFrame = instanceNumber(&read, "HIGHFRAME", scene ? scene->frameEnd : 1);
  s.stepFrame = instanceNumber(&read, "STEPFRAME", 1.0);
  s.stopSelection =
      std::clamp(instanceSelection(&read, "STOP", kStopEndlessly), int32_t(kStopEndlessly), int32_t(kStopAtLevel));
  s.classic = instanceChecked(&read, "CLASSIC", 0) ? 1 : 0;
  s.aaLevel = std::max(instanceNumber(&read, "AA LEVEL", 3.0), 1.0);
  s.fileName.clear();
  s.saverIndex = -1;
  s.saverName.clear();
  if (const InstanceSetting* file = instanceSaveFile(&read)) {
    s.fileName = file->fileName;
    s.saverIndex = file->saverIndex;
    s.saverName = file->saverName;
  }
  s.radiosity.type = std::clamp(instanceSelection(&read, "RADTYPE", kNoRadiosity), int32_t(kNoRadiosity),
                                int32_t(kMonteCarloRadiosity));
  s.radiosity.strength = instanceNumber(&read, "RADSTRENGTH", kDefaultRadiositySettings.strength);
  s.radiosity.bounces = std::clamp(instanceNumber(&read, "RADBOUNCE", kDefaultRadiositySettings.bounces), 0.0, 10.0);
  s.dof25d = std::max(instanceNumber(&read, "DOF25D", 1.0), 0.0);
  s.mb25d = std::max(instanceNumber(&read, "MB25D", 1.0), 0.0);
  return failure;
}

int batchRender(const OmbrelBatchHost* host) {
  if (!validHost(host)) return 2;
  if (serverStart(host->global) != 0) {
    showError(kCouldNotStart, kMissingService);
    return 1;
  }
  rayEngineInstall();

  BatchSettings settings{};
  std::string failureLine;
  if (const char* failure = batchReadSettings(host->settings, &settings, &failureLine)) {
    showError(failure, failureLine.c_str());
    return 1;
  }

  std::string saverName;
  const int32_t saver = resolveSaver(settings, &saverName);
  if (settings.fileName.empty()) {
    showError(kCouldNotStart, kNoSaveFile);
    return 1;
  }
  if (saver < 0) {
    showError(kUnknownSaver, settings.saverName.c_str());
    return 1;
  }

  FinalRenderJob* job = FinalRenderJob_Create();
  if (!job) {
    showError(kCouldNotStart, kSetUpNoBuffers);
    return 1;
  }
  char extension[kSaverExtensionSize];
  fileSaverExtension(saverName.c_str(), extension);
  fileChooseName(settings.fileName.c_str(), extension, job->filePrefix, job->fileSuffix);
  if (!job->filePrefix[0]) {
    FinalRenderJob_Destroy(job);
    showError(kCouldNotStart, kNoSaveFile);
    return 1;
  }
  job->saverIndex = saver;
  job->generic = host->generic;
  job->stopSelection = settings.stopSelection;
  job->classic = settings.classic;
  job->aaLevel = settings.aaLevel;
  job->dof25d = settings.dof25d;
  job->mb25d = settings.mb25d;

  const RadiositySettings radiosityBefore = radiositySettings;
  radiositySettings = settings.radiosity;

  // The capture a master would own, made at the host's current time.
  const auto* ui = static_cast<const LWInterfaceInfo*>(host->global(LWINTERFACEINFO_GLOBAL, GFUSE_ACQUIRE));
  SceneCapture* capture = SceneCapture_Create(ui ? ui->curTime : 0.0);
  job->capture = capture;

  int result = 1;
  if (capture) {
    result = runJob(host, settings, job);
    // Given back on the host's own thread, once the render thread has ended.
    frameLoopGiveBack(job);
  } else {
    showError(kCouldNotStart, kSetUpNoBuffers);
  }

  FinalRenderJob_Destroy(job);
  if (capture) SceneCapture_Destroy(capture);
  radiositySettings = radiosityBefore;
  return result;
}
