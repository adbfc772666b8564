// Job set-up, frame order, the sequence figures, the stop test, the status lines and the
// idle step's half of the time handshake, on a job whose thread never runs.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "final_render_world.h"
#include "finalrender/file_names.h"
#include "finalrender/final_render_job.h"
#include "finalrender/frame_loop.h"
#include "rayengine/ray_engine.h"
#include "runtime/memory.h"

namespace {

using frtest::World;

struct JobDeleter {
  void operator()(FinalRenderJob* job) const { FinalRenderJob_Destroy(job); }
};
using JobPtr = std::unique_ptr<FinalRenderJob, JobDeleter>;

// A job on the world's host, set up for a range, with the module's services started.
JobPtr setUpJob(World& world, double low, double high, double step, const char** failure = nullptr) {
  serverStart(host::Host::globalFunction());
  rayEngineInstall();
  JobPtr job(FinalRenderJob_Create());
  job->generic = &world.generic;
  fileChooseName(world.saveFile().c_str(), ".exr", job->filePrefix, job->fileSuffix);
  job->saverIndex = 0;
  const char* text = frameLoopSetUp(job.get(), low, high, step);
  if (failure) *failure = text;
  return job;
}

std::vector<int32_t> frameNumbers(const FinalRenderJob* job) {
  std::vector<int32_t> numbers;
  for (const SequenceFrame* f = job->frames; f; f = f->next) numbers.push_back(f->frameNumber);
  return numbers;
}

// Frames linked in the given order, for the list operations alone.
struct HandList {
  JobPtr job{FinalRenderJob_Create()};
  explicit HandList(const std::vector<std::array<int32_t, 3>>& frames, int32_t step = 1) {
    job->stepFrame = step;
    for (auto it = frames.rbegin(); it != frames.rend(); ++it) {
      auto* f = static_cast<SequenceFrame*>(memAllocZero(sizeof(SequenceFrame)));
      f->minSamples = (*it)[0];
      f->maxSamples = (*it)[1];
      f->frameNumber = (*it)[2];
      frameListPush(job.get(), f);
    }
  }
};

TEST(FrameOrder, SetUpOrdersFreshFramesInTheStepsDirection) {
  struct Case {
    double low, high, step;
    std::vector<int32_t> order;
  };
  const Case cases[] = {
      {1, 5, 1, {1, 2, 3, 4, 5}},
      {5, 1, 1, {1, 2, 3, 4, 5}},       // ends swapped for a positive step
      {10, 1, -2, {10, 8, 6, 4, 2}},
      {1, 10, -2, {10, 8, 6, 4, 2}},    // a negative step always runs downward
      {2.6, 4.4, 0, {3, 4}},            // values round to the nearest frame; step 0 is 1
      {-3, -1, 1, {-3, -2, -1}},
      {7, 7, 1, {7}},
  };
  for (const Case& c : cases) {
    World world;
    world.start();
    JobPtr job = setUpJob(world, c.low, c.high, c.step);
    EXPECT_EQ(frameNumbers(job.get()), c.order) << c.low << " to " << c.high << " by " << c.step;
    for (const SequenceFrame* f = job->frames; f; f = f->next) {
      EXPECT_EQ(f->minSamples, 0);
      EXPECT_EQ(f->maxSamples, 0);
      EXPECT_EQ(f->prev ? f->prev->next : job->frames, f);
    }
  }
}

TEST(FrameOrder, SetUpKeepsWhatTheHostShowedAndSizesTheJob) {
  World world(40, 30);
  world.start();
  world.host().setTime(7.0 / 24.0);
  const char* failure = "unset";
  JobPtr job = setUpJob(world, 1, 3, 1, &failure);
  EXPECT_EQ(failure, nullptr);
  EXPECT_NEAR(job->savedFrame, 7.0, 1e-9);
  EXPECT_EQ(job->savedBoxThreshold, 1234);
  EXPECT_EQ(job->framesPerSecond, 24.0);
  EXPECT_EQ(world.host().interfaceState().boundingBoxThreshold, 9999999);
  EXPECT_EQ((std::vector<std::string>{"BoundingBoxThreshold 9999999"}), world.sentNamed(""));
  EXPECT_EQ(job->width, 40);
  EXPECT_EQ(job->height, 30);
  EXPECT_EQ(job->pixelCount, 1200);
  EXPECT_EQ(memBlockSize(job->tallies), 1200u * 12u);
  EXPECT_EQ(memBlockSize(job->alpha), 1200u * 4u);
  EXPECT_EQ(job->targetTime.load(), kNoTime);
  EXPECT_EQ(job->hostTime.load(), kNoTime);
  // Each new light record goes to the head: the host's last light leads.
  ASSERT_NE(job->lights, nullptr);
  ASSERT_NE(job->lights->next, nullptr);
  EXPECT_EQ(job->lights->next->next, nullptr);
  EXPECT_EQ(job->lights->item, globalServices.itemInfo->next(job->lights->next->item));
  EXPECT_EQ(job->lights->next->previous, job->lights);
  EXPECT_STREQ(job->frames->imagePath, world.framePath(1, ".exr").c_str());
  EXPECT_STREQ(job->frames->tallyPath, world.framePath(1, ".ombreldat").c_str());

  // An older host's threshold is not to be trusted, and the one given back stays in bounds.
  globalServices.hostVersion.major = 6;
  JobPtr older = setUpJob(world, 1, 1, 1);
  EXPECT_EQ(older->savedBoxThreshold, 5000000);
  older->savedBoxThreshold = 5;
  frameLoopGiveBack(older.get());
  EXPECT_EQ(world.host().interfaceState().boundingBoxThreshold, 100);
  older->savedBoxThreshold = 99999999;
  frameLoopGiveBack(older.get());
  EXPECT_EQ(world.host().interfaceState().boundingBoxThreshold, 50000000);
  EXPECT_NEAR(world.host().frame(), 7.0, 1e-6);
}

TEST(FrameOrder, SetUpFindsEarlierFramesAndStopsOnCancel) {
  World world(8, 4);
  world.start();
  // Frame 2 stands at level 3, frame 3 at a half level; frame 1 is new.
  frtest::writeUniformPair(world, 2, 32, 3);
  std::vector<PixelTally> half(32, PixelTally{1.0f, 0, 0});
  half[0].samples = 1;
  frtest::writePair(world.framePath(3, kRefineRawEnding), world.framePath(3, kRefineTallyEnding), 32, half, {});
  JobPtr job = setUpJob(world, 1, 3, 1);
  EXPECT_EQ(frameNumbers(job.get()), (std::vector<int32_t>{1, 3, 2}));
  EXPECT_EQ(job->frames->next->maxSamples, 1);
  EXPECT_EQ(job->frames->next->next->minSamples, 3);
  int questions = 0;
  for (const host::HostMessage& m : world.host().messages()) questions += m.kind == "yesNoCan";
  EXPECT_EQ(questions, 1);

  world.host().settings().answer = host::AnswerPolicy::Cancel;
  const char* failure = nullptr;
  JobPtr cancelled = setUpJob(world, 1, 3, 1, &failure);
  EXPECT_STREQ(failure, "User Cancel");
}

TEST(FrameOrder, MovingTheHeadKeepsTheFrameFurthestBehindFirst) {
  // Each case: the list before (minSamples, maxSamples, frame), the step, the numbers after.
  struct Case {
    std::vector<std::array<int32_t, 3>> frames;
    int32_t step;
    std::vector<int32_t> after;
  };
  const Case cases[] = {
      // A head that reached a level goes behind every frame with a lower key.
      {{{1, 1, 1}, {0, 0, 2}, {0, 1, 3}, {2, 2, 4}}, 1, {2, 3, 1, 4}},
      // Equal levels: the frame number decides, in the step's direction.
      {{{1, 1, 1}, {1, 1, 2}, {1, 1, 3}}, 1, {1, 2, 3}},
      {{{1, 1, 3}, {1, 1, 2}, {1, 1, 1}}, 1, {2, 1, 3}},
      {{{1, 1, 3}, {1, 1, 2}, {1, 1, 1}}, -1, {3, 2, 1}},
      {{{1, 1, 1}, {1, 1, 2}}, -1, {2, 1}},
      // A half level counts against the whole levels.
      {{{0, 1, 1}, {0, 0, 2}, {1, 1, 3}}, 1, {2, 1, 3}},
      // 500 frames apart the frame term outweighs a step of maxSamples.
      {{{0, 1, 1}, {0, 0, 502}}, 1, {1, 502}},
      {{{0, 1, 1}, {0, 0, 400}}, 1, {400, 1}},
  };
  for (const Case& c : cases) {
    HandList list(c.frames, c.step);
    frameOrderMoveHead(list.job.get());
    EXPECT_EQ(frameNumbers(list.job.get()), c.after);
    const SequenceFrame* last = frameListLast(list.job.get());
    ASSERT_NE(last, nullptr);
    EXPECT_EQ(last->next, nullptr);
    EXPECT_EQ(last->frameNumber, c.after.back());
    for (const SequenceFrame* f = list.job->frames; f; f = f->next)
      if (f->next) {
        EXPECT_EQ(f->next->prev, f);
      }
  }
}

TEST(FrameOrder, FiguresAndStatusLines) {
  HandList list({{0, 1, 4}, {2, 2, 5}, {3, 4, 6}});
  FinalRenderJob* job = list.job.get();
  FinalRenderJob_Figures(job);
  EXPECT_EQ(job->lowestLevel.load(), 0);
  EXPECT_EQ(job->highestLevel.load(), 3);
  EXPECT_FLOAT_EQ(job->averageLevel.load(), (0.5f + 2.0f + 3.5f) / 3.0f);
  EXPECT_EQ(job->statusFrame.load(), 4);
  EXPECT_EQ(job->statusMode.load(), kStatusRefining);  // the head has a half level
  EXPECT_EQ(job->statusQuality.load(), 0.0f);
  FinalRenderJob_StatusLines(job);
  EXPECT_STREQ(job->statusText1, "Refining Frame 4. Quality=0.00");
  EXPECT_STREQ(job->statusText2, "Sequence Quality Avg: 2.0  Range 0-3");

  HandList fresh({{0, 0, -2}, {0, 0, -1}});
  FinalRenderJob_Figures(fresh.job.get());
  EXPECT_EQ(fresh.job->statusMode.load(), kStatusRendering);
  fresh.job->statusQuality = 0.25f;
  FinalRenderJob_StatusLines(fresh.job.get());
  EXPECT_STREQ(fresh.job->statusText1, "Rendering Frame -2. Quality=0.25");
  EXPECT_STREQ(fresh.job->statusText2, "Sequence Quality Avg: 0.0  Range 0-0");

  const std::pair<int32_t, const char*> others[] = {
      {kStatusLoading, "Loading Frame -2 data"}, {kStatusSaving, "Saving Frame -2 data"}, {kStatusIdle, ""}};
  for (const auto& [mode, text] : others) {
    fresh.job->statusMode = mode;
    FinalRenderJob_StatusLines(fresh.job.get());
    EXPECT_STREQ(fresh.job->statusText1, text);
    EXPECT_EQ(fresh.job->statusText2[0] == '\0', mode == kStatusIdle);
  }
}

TEST(FrameOrder, StopTestByModeAndClassic) {
  struct Case {
    std::vector<std::array<int32_t, 3>> frames;
    int32_t stop;
    int32_t classic;
    double aaLevel;
    bool stops;
  };
  const Case cases[] = {
      {{{0, 0, 1}, {0, 0, 2}}, kStopEndlessly, 0, 3, false},
      {{{9, 9, 1}, {9, 9, 2}}, kStopEndlessly, 0, 3, false},
      // Fresh frames are all equal: the job ends before its first sample.
      {{{0, 0, 1}, {0, 0, 2}}, kStopAllEqual, 0, 3, true},
      {{{0, 1, 1}, {1, 1, 2}}, kStopAllEqual, 0, 3, false},
      {{{2, 2, 1}, {3, 3, 2}}, kStopAtLevel, 0, 3, false},
      {{{3, 3, 1}, {3, 4, 2}}, kStopAtLevel, 0, 3, true},
      {{{2, 3, 1}}, kStopAtLevel, 0, 2.6, false},  // 2 is still below 2.6 - 0.5
      {{{2, 3, 1}}, kStopEndlessly, 1, 3, false},
      {{{3, 3, 1}}, kStopEndlessly, 1, 3, true},    // classic ends at its level in any mode
  };
  for (const Case& c : cases) {
    HandList list(c.frames);
    list.job->stopSelection = c.stop;
    list.job->classic = c.classic;
    list.job->aaLevel = c.aaLevel;
    EXPECT_EQ(FinalRenderJob_ShouldStop(list.job.get()), c.stops)
        << "stop " << c.stop << " classic " << c.classic << " level " << c.aaLevel;
  }
}

TEST(FrameOrder, IdleStepMovesTheHostOnlyWhenTheThreadAsks) {
  World world;
  world.start();
  serverStart(host::Host::globalFunction());
  JobPtr job(FinalRenderJob_Create());
  job->generic = &world.generic;
  job->framesPerSecond = 24.0;

  frameLoopIdle(job.get());  // both times unset: nothing to do
  EXPECT_TRUE(world.sent().empty());

  job->targetTime = 6.0 / 24.0;
  frameLoopIdle(job.get());
  EXPECT_EQ(world.sentNamed("GoToFrame"), (std::vector<std::string>{"GoToFrame 6.000000"}));
  EXPECT_EQ(job->hostTime.load(), job->targetTime.load());
  EXPECT_NEAR(world.host().frame(), 6.0, 1e-9);

  job->targetTime = 6.0 / 24.0 + 0.0009;  // within the tolerance: the host stays
  frameLoopIdle(job.get());
  EXPECT_EQ(world.sentNamed("GoToFrame").size(), 1u);
}

TEST(FrameLoop, SampleWeightRisesWithTheLevel) {
  EXPECT_DOUBLE_EQ(frameLoopSampleWeight(0, false), 0.75);
  EXPECT_DOUBLE_EQ(frameLoopSampleWeight(14, false), 14 * 7.25 / 15 + 0.75);
  EXPECT_DOUBLE_EQ(frameLoopSampleWeight(15, false), 8.0);
  EXPECT_DOUBLE_EQ(frameLoopSampleWeight(400, false), 8.0);
  EXPECT_DOUBLE_EQ(frameLoopSampleWeight(0, true), 0.6);
  EXPECT_DOUBLE_EQ(frameLoopSampleWeight(5, true), 5 * 3.4 / 15 + 0.6);
  EXPECT_DOUBLE_EQ(frameLoopSampleWeight(15, true), 4.0);
}

}  // namespace
