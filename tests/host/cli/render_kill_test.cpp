// `ombrel render` killed with SIGKILL at random moments, again and again, over one frame whose
// every pass is saved: after each kill the frame's refine pair must be whole and no older than
// before, its image readable, and the refined chain must end byte for byte where an unbroken
// render to the same level ends.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>

#include "support/run_program.h"
#include "support/tiny_scene.h"


namespace {

namespace fs = std::filesystem;

#if defined(__SANITIZE_ADDRESS__)
constexpr int kKills = 25;  // every run is several times slower under the sanitizer
#else
constexpr int kKills = 100;
#endif
constexpr int kWidth = 48, kHeight = 27, kPixels = kWidth * kHeight;

using Bytes = std::vector<unsigned char>;

Bytes fileBytes(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

int32_t wordAt(const Bytes& b, size_t at) {
  return int32_t(uint32_t(b[at]) | uint32_t(b[at + 1]) << 8 | uint32_t(b[at + 2]) << 16 | uint32_t(b[at + 3]) << 24);
}

// What a frame's files say after a kill; `fault` is empty when the pair and image are whole.
struct Look {
  std::string fault;
  int32_t least = -1, most = -1;
  Bytes raw, tally;
};

// Reads the pair as the next run will take it: while the raw picture's temporary stands, the
// save that wrote it had not committed; a tally temporary alone is the committed tally.
Look lookAt(const fs::path& raw, const fs::path& tally, const fs::path& image) {
  Look look;
  const fs::path committedTally = fs::path(tally.string() + ".new");
  const bool betweenRenames = !fs::exists(raw.string() + ".new") && fs::exists(committedTally);
  look.raw = fileBytes(raw);
  look.tally = fileBytes(betweenRenames ? committedTally : tally);
  if (look.raw.size() != size_t(kPixels) * 16 || look.tally.size() != size_t(kPixels) * 12) {
    look.fault = "sizes " + std::to_string(look.raw.size()) + " and " + std::to_string(look.tally.size());
    return look;
  }
  for (size_t at = 8; at < look.tally.size(); at += 12) {
    const int32_t n = wordAt(look.tally, at);
    if (n < 0 || n > 1000000) look.fault = "a samples value of " + std::to_string(n);
    if (look.least < 0 || n < look.least) look.least = n;
    if (n > look.most) look.most = n;
  }
  // Every slice here ends on a whole pass, so every pixel has the same count.
  if (look.fault.empty() && look.least != look.most)
    look.fault = "samples from " + std::to_string(look.least) + " to " + std::to_string(look.most);
  auto in = OIIO::ImageInput::open(image.string());
  std::vector<float> pixels(size_t(kPixels) * 4);
  if (!in || in->spec_dimensions(0).width != kWidth || !in->read_image(0, 0, 0, 4, OIIO::TypeDesc::FLOAT, pixels.data()))
    look.fault += (look.fault.empty() ? "" : "; ") + std::string("the image doesn't read");
  return look;
}

// Temporaries that a save left in a folder.
std::vector<std::string> temporaries(const fs::path& folder) {
  std::vector<std::string> found;
  for (const auto& entry : fs::directory_iterator(folder))
    if (entry.path().extension() == ".new") found.push_back(entry.path().filename().string());
  return found;
}

class RenderKill : public ::testing::Test {
 protected:
  void SetUp() override {
    dir = fs::temp_directory_path() / ("ombrel-kill-" + std::to_string(getpid()));
    fs::remove_all(dir);
    fs::create_directories(dir / "out");
    fs::create_directories(dir / "straight");
  }
  void TearDown() override {
    unsetenv("OMBREL_SLICE_SECONDS");
    fs::remove_all(dir);
  }

  // A lit box before a camera, one tiny frame: a pass takes a few milliseconds.
  std::string writeScene() {
    std::string error;
    const std::string path = testscene::writeTinyBoxScene(dir, kWidth, kHeight, 1, error);
    EXPECT_NE(path, "") << error;
    return path;
  }

  fs::path dir;
};

TEST_F(RenderKill, KillsAtRandomMomentsLeaveEveryPairWholeAndNoOlder) {
  const std::string scene = writeScene();
  const fs::path raw = dir / "out" / "k0001.rawhdr", tally = dir / "out" / "k0001.ombreldat",
                 image = dir / "out" / "k0001.exr";
  const std::string output = (dir / "out" / "k.exr").string();
  // Every pass is a slice of its own, so the runs below spend much of their time saving, and
  // every run stops exactly at its level.
  setenv("OMBREL_SLICE_SECONDS", "0", 1);
  const auto first = testproc::run(OMBREL_PROGRAM, {"render", scene, "--level", "2", "-o", output});
  ASSERT_EQ(first.exitCode, 0) << first.err;
  for (const char* name : {"k0001.rawhdr", "k0001.ombreldat", "k0001.exr"})
    fs::copy_file(dir / "out" / name, dir / "straight" / name);
  Look before = lookAt(raw, tally, image);
  ASSERT_EQ(before.fault, "");

  // How long a run takes to reach its first slice (mostly the loading of the program and its
  // libraries): half the kills fall in that time, half in the 150 ms of rendering and saving
  // that follow it.
  const auto started = std::chrono::steady_clock::now();
  const auto timed = testproc::run(OMBREL_PROGRAM, {"render", scene, "--refine", "--level", "1", "-o", output});
  ASSERT_EQ(timed.exitCode, 0) << timed.err;
  const auto setUp = std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - started);
  const int64_t rendering = 150000;

  std::mt19937 random(20240611);
  std::uniform_int_distribution<int64_t> early(0, setUp.count()), late(setUp.count(), setUp.count() + rendering);
  std::map<int32_t, Bytes> rawAtLevel{{before.least, before.raw}};
  int kills = 0, broken = 0, ended = 0, saved = 0;
  for (int k = 0; k < kKills; ++k) {
    const pid_t pid = testproc::start(OMBREL_PROGRAM, {"render", scene, "--refine", "--stop", "endless", "-o", output});
    ASSERT_GT(pid, 0);
    std::this_thread::sleep_for(std::chrono::microseconds(k % 2 ? late(random) : early(random)));
    kill(pid, SIGKILL);
    int status = 0;
    waitpid(pid, &status, 0);
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL)
      ++kills;
    else
      ++ended;

    Look now = lookAt(raw, tally, image);
    if (now.fault.empty() && now.least < before.least)
      now.fault = "the level went down from " + std::to_string(before.least) + " to " + std::to_string(now.least);
    // A pass is deterministic, so a level always has the same picture: another picture at a
    // level seen before is a raw file of another save than its tally.
    if (now.fault.empty()) {
      const auto [seen, fresh] = rawAtLevel.emplace(now.least, now.raw);
      if (!fresh && seen->second != now.raw)
        now.fault = "a raw picture of another save at level " + std::to_string(now.least);
    }
    if (now.fault.empty() && now.least > before.least) ++saved;
    if (!now.fault.empty()) {
      ++broken;
      ADD_FAILURE() << "after kill " << k + 1 << ": " << now.fault;
    } else {
      before = std::move(now);
    }
  }
  std::printf("[ kills ] %d kills with SIGKILL (%d runs ended before it), %d broken pairs; %d runs had saved; "
              "level %d to %d; a run takes %lld ms to its first slice\n",
              kills, ended, broken, saved, rawAtLevel.begin()->first, before.least,
              static_cast<long long>(setUp.count() / 1000));
  RecordProperty("kills", kills);
  RecordProperty("broken", broken);
  EXPECT_EQ(broken, 0);
  EXPECT_GE(kills, kKills * 9 / 10);
  EXPECT_GT(saved, 0) << "every run was killed before its first save";

  // An unbroken render from the same start to the same level ends on the same bytes: no kill
  // lost a pass, repeated one or mixed two saves. (Its slices are single passes too, so that
  // it stops exactly at the level.)
  const std::string straight = (dir / "straight" / "k.exr").string();
  const auto unbroken = testproc::run(
      OMBREL_PROGRAM, {"render", scene, "--refine", "--level", std::to_string(before.least), "-o", straight}, 300);
  ASSERT_EQ(unbroken.exitCode, 0) << unbroken.err;
  EXPECT_TRUE(fileBytes(dir / "straight" / "k0001.rawhdr") == before.raw);
  EXPECT_TRUE(fileBytes(dir / "straight" / "k0001.ombreldat") == before.tally);

  // A run that goes on to save clears away what the last kill left, the image's temporary
  // included.
  unsetenv("OMBREL_SLICE_SECONDS");
  const auto last = testproc::run(
      OMBREL_PROGRAM, {"render", scene, "--refine", "--level", std::to_string(before.least + 1), "-o", output});
  ASSERT_EQ(last.exitCode, 0) << last.err;
  EXPECT_EQ(temporaries(dir / "out"), std::vector<std::string>{});
  EXPECT_EQ(lookAt(raw, tally, image).fault, "");
}

}  // namespace
