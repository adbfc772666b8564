// The frame loop run whole through the batch render: the render thread, the host's side
// moving the host in time, refine files and images on disk, stopping, resuming and classic
// mode, on the stand-in host with the real capture, ray engine and shading.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "final_render_world.h"
#include "finalrender/final_render_job.h"
#include "finalrender/sample_deposit.h"

namespace {

using frtest::JobSettings;
using frtest::World;
namespace fs = std::filesystem;

// Status reports as the host received them.
struct StatusLog {
  std::vector<OmbrelBatchStatus> figures;
  std::vector<std::string> line1, line2;
  std::vector<std::thread::id> threads;
  // Set to stop the job at the first report of its first pass over a frame.
  volatile int* stopInFirstPass = nullptr;

  static void record(void* data, const OmbrelBatchStatus* status) {
    auto* log = static_cast<StatusLog*>(data);
    log->figures.push_back(*status);
    log->line1.emplace_back(status->line1);
    log->line2.emplace_back(status->line2);
    log->threads.push_back(std::this_thread::get_id());
    if (log->stopInFirstPass && status->statusMode == kStatusRendering && status->statusQuality > 0.0)
      *log->stopInFirstPass = 1;
  }
  bool sawLine1(const std::string& prefix) const {
    for (const std::string& l : line1)
      if (l.rfind(prefix, 0) == 0) return true;
    return false;
  }
};

bool exists(const std::string& path) { return fs::exists(path); }

TEST(BatchRender, FreshJobUnderStopWhenAllEqualEndsBeforeItsFirstSample) {
  World world;
  world.start();
  world.host().setTime(2.0 / 24.0);
  JobSettings s;
  s.lowFrame = 1;
  s.highFrame = 3;
  s.stop = kStopAllEqual;
  s.fileName = world.saveFile();
  StatusLog log;
  EXPECT_EQ(world.render(s, nullptr, &StatusLog::record, &log), 0);

  for (int f = 1; f <= 3; ++f) {
    EXPECT_FALSE(exists(world.framePath(f, ".exr")));
    EXPECT_FALSE(exists(world.framePath(f, kRefineTallyEnding)));
  }
  // Nothing moved the host but the giving back; the threshold and frame are as they were.
  EXPECT_EQ(world.sentNamed(""), (std::vector<std::string>{"BoundingBoxThreshold 9999999", "GoToFrame 2.000000",
                                                           "BoundingBoxThreshold 1234"}));
  EXPECT_EQ(world.host().interfaceState().boundingBoxThreshold, 1234);
  EXPECT_FALSE(log.sawLine1("Rendering"));
}

TEST(BatchRender, HostMovesOnItsOwnThreadToTheFramesInOrder) {
  // Passes long enough for the host to look at the status lines a few times in each.
  World world(320, 240);
  world.start();
  world.host().setTime(9.0 / 24.0);
  // Frame 7 stands at level 1 already; 5 and 6 are new. Under "Stop When All Equal" the job
  // brings 5 and then 6 up to 1, each in one slice, and stops: 7 is never visited.
  const int pixels = 320 * 240;
  frtest::writeUniformPair(world, 7, pixels, 1);
  const std::string before7 = frtest::fileBytes(world.framePath(7, kRefineTallyEnding));
  JobSettings s;
  s.lowFrame = 5;
  s.highFrame = 7;
  s.stop = kStopAllEqual;
  s.fileName = world.saveFile();
  StatusLog log;
  EXPECT_EQ(world.render(s, nullptr, &StatusLog::record, &log), 0);

  EXPECT_EQ(world.sentNamed("GoToFrame"),
            (std::vector<std::string>{"GoToFrame 5.000000", "GoToFrame 6.000000", "GoToFrame 9.000000"}));
  for (const frtest::SentCommand& c : world.sent()) EXPECT_EQ(c.thread, std::this_thread::get_id()) << c.text;
  for (std::thread::id t : log.threads) EXPECT_EQ(t, std::this_thread::get_id());
  EXPECT_NEAR(world.host().frame(), 9.0, 1e-9);
  EXPECT_EQ(world.host().interfaceState().boundingBoxThreshold, 1234);

  for (int f : {5, 6}) {
    const auto tallies = frtest::readTallies(world.framePath(f, kRefineTallyEnding));
    ASSERT_EQ(tallies.size(), size_t(pixels));
    for (const PixelTally& t : tallies) ASSERT_EQ(t.samples, 1) << "frame " << f;
    EXPECT_TRUE(exists(world.framePath(f, ".exr")));
  }
  EXPECT_EQ(frtest::fileBytes(world.framePath(7, kRefineTallyEnding)), before7);
  EXPECT_FALSE(exists(world.framePath(7, ".exr")));

  // The status lines as the host saw them: the first frame fresh beside one at level 1.
  EXPECT_TRUE(log.sawLine1("Rendering Frame 5. Quality="));
  EXPECT_TRUE(log.sawLine1("Rendering Frame 6. Quality="));
  bool sawRange = false;
  for (const std::string& l : log.line2) sawRange |= l == "Sequence Quality Avg: 0.3  Range 0-1";
  EXPECT_TRUE(sawRange);
  EXPECT_EQ(log.figures.back().statusMode, kStatusIdle);
  EXPECT_EQ(log.line1.back(), "");
}

TEST(BatchRender, StopInTheFirstPassKeepsTheHalfLevelAndNoImage) {
  // Big enough that the first pass lasts well beyond the host's few milliseconds to notice.
  constexpr int kWide = 1280, kHigh = 960;
  World world(kWide, kHigh);
  world.start();
  volatile int stop = 0;
  StatusLog log;
  log.stopInFirstPass = &stop;
  JobSettings s;
  s.fileName = world.saveFile();
  EXPECT_EQ(world.render(s, &stop, &StatusLog::record, &log), 0);

  // The refine files are written for the pixels reached; the image is not.
  EXPECT_FALSE(exists(world.framePath(1, ".exr")));
  const auto tallies = frtest::readTallies(world.framePath(1, kRefineTallyEnding));
  ASSERT_EQ(tallies.size(), size_t(kWide * kHigh));
  EXPECT_EQ(fs::file_size(world.framePath(1, kRefineRawEnding)), size_t(kWide * kHigh * 16));
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
  const int pixels = 16 * 12;
  // Frame 1 as a stop in its first pass leaves it: a sample on every second pixel of every
  // second row, marked by a colour no scene here can make. Frame 2 stands at level 1.
  std::vector<PixelTally> tallies(pixels, PixelTally{0.0f, 0, 0});
  std::vector<float> rgba(size_t(pixels) * 4, 0.0f);
  for (int y = 0; y < 12; y += 2)
    for (int x = 0; x < 16; x += 2) {
      tallies[size_t(y * 16 + x)] = PixelTally{5.0f, 0, 1};
      for (int c = 0; c < 4; ++c) rgba[size_t(y * 16 + x) * 4 + size_t(c)] = 7.0f;
    }
  frtest::writePair(world.framePath(1, kRefineRawEnding), world.framePath(1, kRefineTallyEnding), pixels, tallies,
                    rgba);
  frtest::writeUniformPair(world, 2, pixels, 1);

  JobSettings s;
  s.lowFrame = 1;
  s.highFrame = 2;
  s.stop = kStopAllEqual;
  s.fileName = world.saveFile();
  EXPECT_EQ(world.render(s), 0);

  // One pass at stride 1 up to level 1: the gaps get their sample, the old samples stay and
  // keep most of their weight in the mean.
  const auto after = frtest::readTallies(world.framePath(1, kRefineTallyEnding));
  const auto raw = frtest::readRaw(world.framePath(1, kRefineRawEnding));
  for (int y = 0; y < 12; ++y)
    for (int x = 0; x < 16; ++x) {
      const size_t i = size_t(y * 16 + x);
      ASSERT_EQ(after[i].samples, 1) << x << ", " << y;
      if (x % 2 == 0 && y % 2 == 0) {
        EXPECT_GT(after[i].weight, 5.0f);
        EXPECT_GT(raw[i * 4], 3.0f);
      }
    }
  EXPECT_TRUE(exists(world.framePath(1, ".exr")));
  EXPECT_FALSE(exists(world.framePath(2, ".exr")));
}

TEST(BatchRender, ClassicModeRendersEachFrameOnceWithoutRefineFiles) {
  World world(16, 12);
  world.start();
  JobSettings s;
  s.lowFrame = 1;
  s.highFrame = 2;
  s.classic = true;
  s.aaLevel = 2;
  s.fileName = world.saveFile();
  StatusLog log;
  EXPECT_EQ(world.render(s, nullptr, &StatusLog::record, &log), 0);
  for (int f : {1, 2}) {
    EXPECT_TRUE(exists(world.framePath(f, ".exr")));
    EXPECT_FALSE(exists(world.framePath(f, kRefineRawEnding)));
    EXPECT_FALSE(exists(world.framePath(f, kRefineTallyEnding)));
  }
  // One slice a frame, each up to the level at least; then the job stops by itself.
  EXPECT_EQ(world.sentNamed("GoToFrame"),
            (std::vector<std::string>{"GoToFrame 1.000000", "GoToFrame 2.000000", "GoToFrame 0.000000"}));
  ASSERT_FALSE(log.figures.empty());
  EXPECT_GE(log.figures.back().lowestLevel, 2);
}

TEST(BatchRender, BlurredFramesSampleTheirShutter) {
  World world(16, 12);
  // The box crosses the floor in one second.
  host::Envelope& path = world.scene.items[size_t(world.boxIndex)].motion[host::PositionX].envelope;
  path.keys.resize(2);
  path.keys[0].time = 0.0;
  path.keys[0].value = -1.0;
  path.keys[1].time = 1.0;
  path.keys[1].value = 1.0;
  path.keys[1].shape = host::KeyShape::Linear;
  for (host::Item& item : world.scene.items)
    if (item.type == host::ItemType::Camera) {
      item.camera.motionBlur = 1;
      item.camera.depthOfField = true;
      item.camera.blurLength = 0.5;
      item.camera.focalDistance = 4.0;
    }
  world.start();
  frtest::writeUniformPair(world, 2, 16 * 12, 1);
  JobSettings s;
  s.lowFrame = 1;
  s.highFrame = 2;
  s.stop = kStopAllEqual;
  s.fileName = world.saveFile();
  EXPECT_EQ(world.render(s), 0);
  // Level 0 samples 0.5 of the blur length behind the frame: frame 1 less 0.25.
  const ShutterWindow w = shutterWindow(0, 1.0, 0.5, 1, 24.0);
  char expected[64];
  std::snprintf(expected, sizeof expected, "GoToFrame %lf", w.framePosition);
  ASSERT_FALSE(world.sentNamed("GoToFrame").empty());
  EXPECT_EQ(world.sentNamed("GoToFrame").front(), expected);
  const auto tallies = frtest::readTallies(world.framePath(1, kRefineTallyEnding));
  EXPECT_EQ(frtest::leastSamples(tallies), 1);
  EXPECT_TRUE(exists(world.framePath(1, ".exr")));
}

TEST(BatchRender, RendersToALevelAndRefinesFurtherLater) {
  const int width = 24, height = 16, pixels = width * height;
  World world(width, height);
  world.start();
  JobSettings s;
  s.lowFrame = 1;
  s.highFrame = 2;
  s.stop = kStopAtLevel;
  s.aaLevel = 2;
  s.fileName = world.saveFile();
  EXPECT_EQ(world.render(s), 0);

  // The frames' levels after their first slices; the later job must take both further.
  int32_t reached = 0;
  std::string images[3];
  for (int f : {1, 2}) {
    ASSERT_TRUE(exists(world.framePath(f, ".exr")));
    EXPECT_EQ(fs::file_size(world.framePath(f, kRefineRawEnding)), size_t(pixels) * 16);
    EXPECT_EQ(fs::file_size(world.framePath(f, kRefineTallyEnding)), size_t(pixels) * 12);
    const auto tallies = frtest::readTallies(world.framePath(f, kRefineTallyEnding));
    EXPECT_GE(frtest::leastSamples(tallies), 2);
    reached = std::max(reached, frtest::leastSamples(tallies));
    images[f] = frtest::fileBytes(world.framePath(f, ".exr"));
  }
  int questions = 0;
  for (const host::HostMessage& m : world.host().messages()) questions += m.kind == "yesNoCan";
  EXPECT_EQ(questions, 0);

  // A later job takes the same frames further; the host answers the question with Yes.
  s.aaLevel = reached + 2;
  EXPECT_EQ(world.render(s), 0);
  for (const host::HostMessage& m : world.host().messages()) questions += m.kind == "yesNoCan";
  EXPECT_EQ(questions, 1);
  for (int f : {1, 2}) {
    const auto tallies = frtest::readTallies(world.framePath(f, kRefineTallyEnding));
    EXPECT_GE(frtest::leastSamples(tallies), reached + 2);
    EXPECT_TRUE(frtest::fileBytes(world.framePath(f, ".exr")) != images[f]) << "frame " << f;
  }
}

TEST(BatchRender, RefusesWhatItCannotRun) {
  World world;
  world.start();
  EXPECT_EQ(batchRender(nullptr), 2);
  OmbrelBatchHost record{};
  record.version = OMBREL_BATCH_VERSION + 1;
  record.global = host::Host::globalFunction();
  record.generic = &world.generic;
  EXPECT_EQ(batchRender(&record), 2);
  record.version = OMBREL_BATCH_VERSION;
  record.generic = nullptr;
  EXPECT_EQ(batchRender(&record), 2);

  JobSettings s;  // no save file
  EXPECT_EQ(world.render(s), 1);
  s.fileName = world.saveFile();
  s.saverName = "Nothing (.xyz)";
  EXPECT_EQ(world.render(s), 1);
  const auto messages = world.host().messages();
  ASSERT_EQ(messages.size(), 2u);
  EXPECT_EQ(messages[0].kind, "error");
  EXPECT_EQ(messages[1].second, "Nothing (.xyz)");
  // Neither got as far as touching the host.
  EXPECT_TRUE(world.sent().empty());
}

}  // namespace
