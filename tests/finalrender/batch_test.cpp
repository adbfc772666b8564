// The frame loop run whole through the batch render on the stand-in host: the render thread,
// the host's side moving the host in time, refine files and images on disk, stopping,
// resuming and classic mode.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "final_render_world.h"
#include "finalrender/final_render_job.h"
#include "finalrender/sample_deposit.h"

namespace {

using frtest::JobSettings;
using frtest::World;
namespace fs = std::filesystem;
using Texts = std::vector<std::string>;

JobSettings job(int low, int high, int stop, int level = 3, bool classic = false) {
  JobSettings s;
  s.lowFrame = low, s.highFrame = high, s.stop = stop, s.aaLevel = level, s.classic = classic;
  return s;
}

// The status reports as the host receives them; optionally stops the job at the first report
// from inside its first pass.
struct StatusLog {
  Texts line1, line2;
  OmbrelBatchStatus last{};
  std::thread::id thread = std::this_thread::get_id();
  bool otherThread = false;
  volatile int* stopInFirstPass = nullptr;

  static void record(void* data, const OmbrelBatchStatus* status) {
    auto* log = static_cast<StatusLog*>(data);
    log->line1.emplace_back(status->line1);
    log->line2.emplace_back(status->line2);
    log->last = *status;
    log->otherThread |= std::this_thread::get_id() != log->thread;
    if (log->stopInFirstPass && status->statusMode == kStatusRendering && status->statusQuality > 0.0)
      *log->stopInFirstPass = 1;
  }
  static bool saw(const Texts& lines, const std::string& text) {
    return std::any_of(lines.begin(), lines.end(), [&](const std::string& l) { return l.rfind(text, 0) == 0; });
  }
};

TEST(BatchRender, FreshJobUnderStopWhenAllEqualEndsBeforeItsFirstSample) {
  World world;
  world.start();
  world.host().setTime(2.0 / 24.0);
  StatusLog log;
  EXPECT_EQ(world.render(job(1, 3, kStopAllEqual), nullptr, &StatusLog::record, &log), 0);
  for (int f = 1; f <= 3; ++f) EXPECT_FALSE(fs::exists(world.framePath(f, kRefineTallyEnding)));
  EXPECT_EQ(world.sent(), (Texts{"BoundingBoxThreshold 9999999", "GoToFrame 2.000000", "BoundingBoxThreshold 1234"}));
  // A poll may catch the set-up's "Rendering Frame 1. Quality=0.00"; no slice may follow it.
  EXPECT_FALSE(StatusLog::saw(log.line1, "Saving"));
  EXPECT_FALSE(StatusLog::saw(log.line1, "Refining"));
}

TEST(BatchRender, HostMovesOnItsOwnThreadToTheFramesInOrder) {
  // Passes long enough for the host to look at the status lines a few times in each.
  World world(320, 240);
  world.start();
  world.host().setTime(9.0 / 24.0);
  // Frame 7 stands at level 1; 5 and 6 are new. "Stop When All Equal" brings 5 and then 6 to
  // level 1 in one slice each, and stops without visiting 7.
  frtest::writePair(world, 7, std::vector<PixelTally>(320 * 240, PixelTally{1.0f, 0, 1}));
  StatusLog log;
  EXPECT_EQ(world.render(job(5, 7, kStopAllEqual), nullptr, &StatusLog::record, &log), 0);

  EXPECT_EQ(world.sent("GoToFrame"), (Texts{"GoToFrame 5.000000", "GoToFrame 6.000000", "GoToFrame 9.000000"}));
  EXPECT_TRUE(world.allSentFromThisThread());
  EXPECT_FALSE(log.otherThread);
  EXPECT_EQ(world.host().interfaceState().boundingBoxThreshold, 1234);
  for (int f : {5, 6}) {
    for (const PixelTally& t : frtest::readArray<PixelTally>(world.framePath(f, kRefineTallyEnding)))
      ASSERT_EQ(t.samples, 1) << "frame " << f;
    EXPECT_TRUE(fs::exists(world.framePath(f, ".exr")));
  }
  EXPECT_FALSE(fs::exists(world.framePath(7, ".exr")));
  EXPECT_EQ(world.questions(), 1);

  EXPECT_TRUE(StatusLog::saw(log.line1, "Rendering Frame 5. Quality="));
  EXPECT_TRUE(StatusLog::saw(log.line2, "Sequence Quality Avg: 0.3  Range 0-1"));
  EXPECT_TRUE(StatusLog::saw(log.line1, "Rendering Frame 6. Quality="));
  EXPECT_EQ(log.last.statusMode, kStatusIdle);
}

TEST(BatchRender, StopInTheFirstPassKeepsTheHalfLevelAndNoImage) {
  // Big enough that the first pass lasts well beyond the host's few milliseconds to notice.
  constexpr int kWide = 1280, kHigh = 960;
  World world(kWide, kHigh);
  world.start();
  volatile int stop = 0;
  StatusLog log;
  log.stopInFirstPass = &stop;
  EXPECT_EQ(world.render({}, &stop, &StatusLog::record, &log), 0);

  EXPECT_FALSE(fs::exists(world.framePath(1, ".exr")));
  EXPECT_EQ(fs::file_size(world.framePath(1, kRefineRawEnding)), size_t(kWide * kHigh * 16));
  const auto tallies = frtest::readArray<PixelTally>(world.framePath(1, kRefineTallyEnding));
  ASSERT_EQ(tallies.size(), size_t(kWide * kHigh));
  int sampled = 0;
  for (int y = 0; y < kHigh; ++y)
    for (int x = 0; x < kWide; ++x) {
      const int32_t n = tallies[size_t(y * kWide + x)].samples;
      ASSERT_TRUE(n == 0 || (n == 1 && x % 2 == 0 && y % 2 == 0)) << x << ", " << y;
      sampled += n;
    }
  EXPECT_GT(sampled, 0);
  EXPECT_LT(sampled, kWide * kHigh / 4);
  EXPECT_EQ(world.host().interfaceState().boundingBoxThreshold, 1234);
}

TEST(BatchRender, FrameStoppedInItsFirstPassResumesAtStrideOne) {
  World world(16, 12);
  world.start();
  // Frame 1 as a stop in its first pass leaves it: a sample on every second pixel of every
  // second row, in a colour no scene here can make. Frame 2 stands at level 1.
  std::vector<PixelTally> tallies(16 * 12, PixelTally{0.0f, 0, 0});
  std::vector<float> rgba(tallies.size() * 4, 0.0f);
  for (size_t i = 0; i < tallies.size(); ++i)
    if (i % 2 == 0 && (i / 16) % 2 == 0) {
      tallies[i] = PixelTally{5.0f, 0, 1};
      std::fill_n(rgba.begin() + std::ptrdiff_t(i * 4), 4, 7.0f);
    }
  frtest::writePair(world, 1, tallies, rgba);
  frtest::writePair(world, 2, std::vector<PixelTally>(16 * 12, PixelTally{1.0f, 0, 1}));
  EXPECT_EQ(world.render(job(1, 2, kStopAllEqual)), 0);

  // One pass at stride 1 gives the gaps their sample; the old samples stay and weigh in.
  const auto after = frtest::readArray<PixelTally>(world.framePath(1, kRefineTallyEnding));
  const auto raw = frtest::readArray<float>(world.framePath(1, kRefineRawEnding));
  for (size_t i = 0; i < after.size(); ++i) {
    ASSERT_EQ(after[i].samples, 1) << i;
    if (tallies[i].samples) {
      EXPECT_GT(raw[i * 4], 3.0f) << i;
    }
  }
  EXPECT_TRUE(fs::exists(world.framePath(1, ".exr")));
  EXPECT_FALSE(fs::exists(world.framePath(2, ".exr")));
}

TEST(BatchRender, ClassicModeRendersEachFrameOnceWithoutRefineFiles) {
  World world(16, 12);
  world.start();
  StatusLog log;
  EXPECT_EQ(world.render(job(1, 2, kStopEndlessly, 2, true), nullptr, &StatusLog::record, &log), 0);
  for (int f : {1, 2}) {
    EXPECT_TRUE(fs::exists(world.framePath(f, ".exr")));
    EXPECT_FALSE(fs::exists(world.framePath(f, kRefineRawEnding)));
    EXPECT_FALSE(fs::exists(world.framePath(f, kRefineTallyEnding)));
  }
  EXPECT_EQ(world.sent("GoToFrame"), (Texts{"GoToFrame 1.000000", "GoToFrame 2.000000", "GoToFrame 0.000000"}));
  EXPECT_GE(log.last.lowestLevel, 2);
}

TEST(BatchRender, BlurredFramesSampleTheirShutter) {
  World world(16, 12);
  host::Envelope& path = world.scene.items[size_t(world.boxIndex)].motion[host::PositionX].envelope;
  path.keys.resize(2);
  path.keys[1].time = 1.0, path.keys[1].value = 1.0, path.keys[1].shape = host::KeyShape::Linear;
  host::CameraSettings& camera = world.scene.items[0].camera;
  camera.motionBlur = 1, camera.depthOfField = true, camera.focalDistance = 4.0;
  world.start();
  frtest::writePair(world, 2, std::vector<PixelTally>(16 * 12, PixelTally{1.0f, 0, 1}));
  EXPECT_EQ(world.render(job(1, 2, kStopAllEqual)), 0);
  // Level 0 samples half the blur length behind frame 1.
  char expected[64];
  std::snprintf(expected, sizeof expected, "GoToFrame %lf", shutterWindow(0, 1.0, 0.5, 1, 24.0).framePosition);
  EXPECT_EQ(world.sent("GoToFrame").front(), expected);
  EXPECT_EQ(frtest::leastSamples(world, 1), 1);
}

TEST(BatchRender, RendersToALevelAndRefinesFurtherLater) {
  World world(24, 16);
  world.start();
  JobSettings s = job(1, 2, kStopAtLevel, 2);
  EXPECT_EQ(world.render(s), 0);
  int32_t reached = 0;
  std::string images[3];
  for (int f : {1, 2}) {
    EXPECT_EQ(fs::file_size(world.framePath(f, kRefineRawEnding)), 24u * 16u * 16u);
    EXPECT_EQ(fs::file_size(world.framePath(f, kRefineTallyEnding)), 24u * 16u * 12u);
    EXPECT_GE(frtest::leastSamples(world, f), 2);
    reached = std::max(reached, frtest::leastSamples(world, f));
    images[f] = frtest::fileBytes(world.framePath(f, ".exr"));
    EXPECT_FALSE(images[f].empty());
  }
  EXPECT_EQ(world.questions(), 0);

  // A later job takes both frames further once the host has said Yes.
  s.aaLevel = reached + 2;
  EXPECT_EQ(world.render(s), 0);
  EXPECT_EQ(world.questions(), 1);
  for (int f : {1, 2}) {
    EXPECT_GE(frtest::leastSamples(world, f), reached + 2);
    EXPECT_TRUE(frtest::fileBytes(world.framePath(f, ".exr")) != images[f]) << "frame " << f;
  }
}

}  // namespace
