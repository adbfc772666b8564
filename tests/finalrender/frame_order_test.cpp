// Job set-up and frame order, on jobs whose thread never runs.
#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "final_render_world.h"
#include "finalrender/file_names.h"
#include "finalrender/frame_loop.h"
#include "rayengine/ray_engine.h"
#include "runtime/memory.h"

namespace {

struct JobDeleter {
  void operator()(FinalRenderJob* job) const { FinalRenderJob_Destroy(job); }
};
using JobPtr = std::unique_ptr<FinalRenderJob, JobDeleter>;

std::vector<int32_t> frameNumbers(const FinalRenderJob* job) {
  std::vector<int32_t> numbers;
  for (const SequenceFrame* f = job->frames; f; f = f->next) {
    if (f->next) {
      EXPECT_EQ(f->next->prev, f);
    }
    numbers.push_back(f->frameNumber);
  }
  return numbers;
}

// A job holding frames of (minSamples, maxSamples, number), in the order given.
JobPtr handList(const std::vector<std::array<int32_t, 3>>& frames, int32_t step = 1) {
  JobPtr job(FinalRenderJob_Create());
  job->stepFrame = step;
  for (auto it = frames.rbegin(); it != frames.rend(); ++it) {
    auto* f = static_cast<SequenceFrame*>(memAllocZero(sizeof(SequenceFrame)));
    f->minSamples = (*it)[0], f->maxSamples = (*it)[1], f->frameNumber = (*it)[2];
    frameListPush(job.get(), f);
  }
  return job;
}

// Starts the world's host and the module's services, and a job that saves beside the world.
JobPtr startJob(frtest::World& world) {
  world.start();
  serverStart(host::Host::globalFunction());
  rayEngineInstall();
  JobPtr job(FinalRenderJob_Create());
  job->generic = &world.generic;
  fileChooseName(world.saveFile().c_str(), ".exr", job->filePrefix, job->fileSuffix);
  return job;
}

TEST(FrameOrder, SetUpOrdersTheRange) {
  struct Case {
    double low, high, step;
    std::vector<int32_t> order;
  } const cases[] = {
      {1, 4, 1, {1, 2, 3, 4}},       {4, 1, 1, {1, 2, 3, 4}},  // ends swapped for a positive step
      {10, 1, -2, {10, 8, 6, 4, 2}}, {1, 10, -2, {10, 8, 6, 4, 2}}, {2.6, 4.4, 0, {3, 4}}, {-3, -2, 1, {-3, -2}},
  };
  for (const Case& c : cases) {
    frtest::World world(40, 30);
    JobPtr job = startJob(world);
    ASSERT_EQ(frameLoopSetUp(job.get(), c.low, c.high, c.step), nullptr);
    EXPECT_EQ(frameNumbers(job.get()), c.order) << c.low << " to " << c.high << " by " << c.step;

    EXPECT_EQ(world.sent(), std::vector<std::string>{"BoundingBoxThreshold 9999999"});
    EXPECT_EQ(memBlockSize(job->tallies), 1200u * 12u);
    EXPECT_STREQ(job->frames->tallyPath, world.framePath(c.order[0], ".ombreldat").c_str());
    // The host's last light leads the list.
    ASSERT_TRUE(job->lights && job->lights->next);
    EXPECT_EQ(job->lights->item, globalServices.itemInfo->next(job->lights->next->item));
    // What is given back stays within the host's bounds.
    job->savedBoxThreshold = 5;
    frameLoopGiveBack(job.get());
    EXPECT_EQ(world.host().interfaceState().boundingBoxThreshold, 100);
  }
}

TEST(FrameOrder, RangesPastTheLimitsAreRefusedBeforeAnythingIsAllocated) {
  struct Case {
    double low, high, step;
    const char* failure;
  } const cases[] = {
      {1, 10000, 1, nullptr},
      {1, 10001, 1, kSetUpTooManyFrames},
      {10001, 1, -1, kSetUpTooManyFrames},
      {-9999999, 9999999, 2000, nullptr},
      {1, 3e10, 1, kSetUpFrameNumbers},
      {-1e300, 1, 1, kSetUpFrameNumbers},
      {1, 2, std::nan(""), kSetUpFrameNumbers},
  };
  for (const Case& c : cases) {
    frtest::World world(8, 6);
    JobPtr job = startJob(world);
    const char* failure = frameLoopSetUp(job.get(), c.low, c.high, c.step);
    EXPECT_EQ(failure, c.failure) << c.low << " to " << c.high << " by " << c.step;
    if (c.failure) {
      EXPECT_EQ(job->frames, nullptr);
      EXPECT_EQ(job->tallies, nullptr);
    }
  }
}

TEST(FrameOrder, MovingTheHeadKeepsTheFrameFurthestBehindFirst) {
  struct Case {
    std::vector<std::array<int32_t, 3>> frames;
    int32_t step;
    std::vector<int32_t> after;
  } const cases[] = {
      {{{1, 1, 1}, {0, 0, 2}, {0, 1, 3}, {2, 2, 4}}, 1, {2, 3, 1, 4}},  // a half level counts
      {{{1, 1, 3}, {1, 1, 2}, {1, 1, 1}}, 1, {2, 1, 3}},                // among equals, the step's direction
      {{{1, 1, 3}, {1, 1, 2}, {1, 1, 1}}, -1, {3, 2, 1}},
      {{{0, 1, 1}, {0, 0, 502}}, 1, {1, 502}},  // 500 frames apart outweigh a half level
  };
  for (const Case& c : cases) {
    JobPtr job = handList(c.frames, c.step);
    frameOrderMoveHead(job.get());
    EXPECT_EQ(frameNumbers(job.get()), c.after);
    EXPECT_EQ(frameListLast(job.get())->frameNumber, c.after.back());
  }
}

}  // namespace
