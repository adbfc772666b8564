// Runs `ombrel render` on the real module with small scenes written here.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "support/run_program.h"
#include "support/tiny_scene.h"


using ::testing::HasSubstr;
using ::testing::Not;

namespace {

namespace fs = std::filesystem;

class RenderCommand : public ::testing::Test {
 protected:
  void SetUp() override {
    dir = fs::temp_directory_path() / ("ombrel-render-" + std::to_string(getpid()) + "-" +
                                       ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(dir);
    fs::create_directories(dir);
  }
  void TearDown() override { fs::remove_all(dir); }

  // A lit box before a camera: `frames` frames of a tiny picture, so a level renders in moments.
  std::string writeScene(int width = 32, int height = 18, int frames = 2) {
    std::string error;
    const std::string path = testscene::writeTinyBoxScene(dir, width, height, frames, error);
    EXPECT_NE(path, "") << error;
    return path;
  }

  testproc::Outcome ombrel(std::vector<std::string> args, int timeout = 120) {
    // Relative output names land in the test's folder.
    for (auto& a : args)
      if (a.rfind("out/", 0) == 0) a = (dir / a).string();
    return testproc::run(OMBREL_PROGRAM, args, timeout);
  }

  std::string out(const std::string& name) const { return (dir / "out" / name).string(); }

  // Samples of every pixel in a tally file.
  static std::vector<int32_t> samples(const std::string& tally) {
    std::ifstream in(tally, std::ios::binary);
    const std::vector<unsigned char> b{std::istreambuf_iterator<char>(in), {}};
    std::vector<int32_t> s;
    for (size_t at = 8; at + 4 <= b.size(); at += 12)
      s.push_back(int32_t(uint32_t(b[at]) | uint32_t(b[at + 1]) << 8 | uint32_t(b[at + 2]) << 16 |
                          uint32_t(b[at + 3]) << 24));
    return s;
  }

  fs::path dir;
};

TEST_F(RenderCommand, HelpNamesTheOptionsAndExitCodes) {
  const auto help = ombrel({"render", "--help"});
  EXPECT_EQ(help.exitCode, 0);
  for (const char* word : {"--frames", "--step", "--stop", "--level", "--classic", "--radiosity", "--rad-strength",
                           "--rad-bounces", "--output", "####", "--refine", "--replace", "--turntable", "--size", "130",
                           "demo", ".lwo"})
    EXPECT_THAT(help.out, HasSubstr(word)) << word;
}

TEST_F(RenderCommand, UnusableCommandLinesStopBeforeLoadingAnything) {
  const std::string scene = writeScene();
  struct Case {
    std::vector<std::string> args;
    const char* says;
  } cases[] = {
      {{"render", scene, "--stop", "sometimes"}, "--stop is endless, equal or level"},
      {{"render", scene, "--frames", "one-four"}, "--frames wants FIRST-LAST"},
      {{"render", scene, "--frames", "1-99999999999999999999"}, "--frames wants FIRST-LAST"},
      {{"render", scene, "--frames", "2-"}, "--frames wants FIRST-LAST"},
      {{"render", scene, "--radiosity", "lots"}, "--radiosity is off, background or montecarlo"},
      {{"render", scene, "--rad-bounces", "11"}, "--rad-bounces is 0 to 10"},
      {{"render", scene, "--rad-strength", "much"}, "--rad-strength wants a number"},
      {{"render", scene, "--level", "0"}, "--level is 1 or more"},
      {{"render", scene, "-o", "out/shot.bmp"}, "no image saver writes \".bmp\" files"},
      {{"render", scene, "-o", "out/a@b.exr"}, "may not hold \"@\""},
      {{"render", (dir / "missing.lws").string()}, "no such scene file"},
      {{"render", scene, "--turntable", "4"}, "--turntable turns the camera around an object file"},
      {{"render", scene, "--turntable", "0"}, "--turntable"},
      {{"render", scene, "--turntable", "10001"}, "--turntable"},
      {{"render", scene, "--size", "640"}, "--size wants WIDTHxHEIGHT"},
      {{"render", scene, "--size", "0x480"}, "--size wants WIDTHxHEIGHT"},
  };
  for (const Case& c : cases) {
    const auto r = ombrel(c.args);
    EXPECT_EQ(r.exitCode, 1) << c.says;
    EXPECT_THAT(r.err, HasSubstr(c.says));
  }
  EXPECT_FALSE(fs::exists(dir / "out"));
  const auto both = ombrel({"render", scene, "--refine", "--replace"});
  EXPECT_EQ(both.exitCode, 1);
}

#ifdef OMBREL_MODULE_WITHOUT_BATCH
TEST_F(RenderCommand, AModuleWithoutTheBatchEntrySaysSo) {
  const auto r = ombrel({"render", writeScene(), "--module", OMBREL_MODULE_WITHOUT_BATCH, "-o", "out/x.exr"});
  EXPECT_EQ(r.exitCode, 2);
  EXPECT_THAT(r.err, HasSubstr("this module has no batch render entry (ombrelBatchRender)"));
}
#endif

TEST_F(RenderCommand, RendersFramesWithRefineFilesAndAsksBeforeTouchingThem) {
  // As on a render node: no X server at all (the module's panels then run without windows).
  ASSERT_EQ(std::getenv("DISPLAY"), nullptr);
  const std::string scene = writeScene(32, 18, 2);
  const auto first = ombrel({"render", scene, "--level", "1", "-o", "out/shot.png"});
  ASSERT_EQ(first.exitCode, 0) << first.err << first.out;
  for (const char* frame : {"shot0001", "shot0002"}) {
    EXPECT_TRUE(fs::exists(out(std::string(frame) + ".png"))) << frame;
    EXPECT_EQ(fs::file_size(out(std::string(frame) + ".rawhdr")), 32u * 18u * 16u);
    EXPECT_EQ(fs::file_size(out(std::string(frame) + ".ombreldat")), 32u * 18u * 12u);
  }
  for (int32_t n : samples(out("shot0001.ombreldat"))) EXPECT_GE(n, 1);
  // Without a terminal the progress is plain lines with the time, and the images are listed.
  EXPECT_THAT(first.out, HasSubstr("[0:0"));
  EXPECT_THAT(first.out, HasSubstr("Frame 1"));
  EXPECT_THAT(first.out, Not(HasSubstr("\r")));
  EXPECT_THAT(first.out, HasSubstr("shot0001.png"));

  // Refine files stand, nobody can be asked, and no flag says what to do: nothing is rendered.
  fs::remove(out("shot0001.png"));
  fs::remove(out("shot0002.png"));
  const auto before = fs::last_write_time(out("shot0001.rawhdr"));
  const auto asked = ombrel({"render", scene, "--level", "2", "-o", "out/shot.png"});
  EXPECT_EQ(asked.exitCode, 1);
  EXPECT_THAT(asked.err, HasSubstr("--refine"));
  EXPECT_THAT(asked.err, HasSubstr("--replace"));
  EXPECT_FALSE(fs::exists(out("shot0001.png")));
  EXPECT_EQ(fs::last_write_time(out("shot0001.rawhdr")), before);

  // A slice lasts at least its budget, so a tiny frame passes the level by far; refining asks
  // for one level more than the files hold. A huge value planted in the running picture shows
  // whether the old data was read: it stays in the weighted mean when refined.
  const auto levelOf = [&](const char* tally) {
    const auto s = samples(out(tally));
    return *std::min_element(s.begin(), s.end());
  };
  const auto plant = [&](const char* raw) {
    std::fstream f(out(raw), std::ios::in | std::ios::out | std::ios::binary);
    const float huge = 1e6f;
    f.write(reinterpret_cast<const char*>(&huge), 4);  // little-endian on the machines we build for
  };
  const auto firstRed = [&](const char* raw) {
    std::ifstream f(out(raw), std::ios::binary);
    float red = 0;
    f.read(reinterpret_cast<char*>(&red), 4);
    return red;
  };
  const int32_t level = levelOf("shot0002.ombreldat");
  plant("shot0002.rawhdr");
  const auto refined =
      ombrel({"render", scene, "--level", std::to_string(level + 1), "--refine", "-o", "out/shot.png"});
  ASSERT_EQ(refined.exitCode, 0) << refined.err;
  EXPECT_GE(levelOf("shot0002.ombreldat"), level + 1);
  EXPECT_GT(firstRed("shot0002.rawhdr"), 1e4f);
  EXPECT_TRUE(fs::exists(out("shot0002.png")));

  // --replace renders them afresh: the planted value is gone.
  plant("shot0002.rawhdr");
  const auto replaced = ombrel({"render", scene, "--level", "1", "--replace", "--frames", "2-2", "-o", "out/shot.png"});
  ASSERT_EQ(replaced.exitCode, 0) << replaced.err;
  EXPECT_LT(firstRed("shot0002.rawhdr"), 100.0f);
  EXPECT_GE(levelOf("shot0002.ombreldat"), 1);
}

TEST_F(RenderCommand, TheReportListsOnlyTheImagesThisRunWrote) {
  // The output folder is the scene's, and other files in it change while the frames render:
  // a log written to and the scene itself saved again.
  const std::string scene = writeScene(24, 16, 2);
  std::atomic<bool> done = false;
  std::thread meddler([&] {
    while (!done) {
      std::ofstream(dir / "render.log", std::ios::app) << "a line\n";
      fs::last_write_time(scene, fs::file_time_type::clock::now());
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
  });
  const auto r = ombrel({"render", scene, "--level", "1", "-o", (dir / "shot.png").string()});
  done = true;
  meddler.join();
  ASSERT_EQ(r.exitCode, 0) << r.err;
  std::vector<std::string> listed;
  bool inList = false;
  for (const std::string& line : testproc::lines(r.out)) {
    if (line.find("images written:") != std::string::npos) inList = true;
    else if (inList && line.rfind("  ", 0) == 0) listed.push_back(line.substr(2));
  }
  EXPECT_EQ(listed, (std::vector<std::string>{(dir / "shot0001.png").string(), (dir / "shot0002.png").string()}));
}

TEST_F(RenderCommand, WithoutASceneTheDemoIsRenderedAndClassicKeepsNoRefineFiles) {
  const auto r = ombrel({"render", "--frames", "2", "--level", "1", "--classic", "-o", "out/demo.png"});
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_THAT(r.out, HasSubstr("demo.lws"));
  EXPECT_TRUE(fs::exists(out("demo0002.png")));
  EXPECT_FALSE(fs::exists(out("demo0002.rawhdr")));
  EXPECT_FALSE(fs::exists(out("demo0001.png")));
}

// Starts the program with its output in files, so signals can be sent to it.
pid_t spawnOmbrel(const std::vector<std::string>& args, const fs::path& log) {
  return testproc::start(OMBREL_PROGRAM, args, log.string() + ".out", log.string() + ".err");
}

// The exit code, or -1 for a child that had to be killed or ended by a signal.
int waitFor(pid_t pid, int seconds) {
  for (int i = 0; i < seconds * 20; ++i) {
    int status = 0;
    if (waitpid(pid, &status, WNOHANG) == pid) return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  kill(pid, SIGKILL);
  waitpid(pid, nullptr, 0);
  return -1;
}

bool waitForFile(const std::string& file, pid_t pid, int seconds) {
  for (int i = 0; i < seconds * 20; ++i) {
    if (fs::exists(file)) return true;
    if (waitpid(pid, nullptr, WNOHANG) == pid) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  return false;
}

TEST_F(RenderCommand, CtrlCStopsAsTheStopButtonDoesAndASecondQuitsAtOnce) {
  const std::string scene = writeScene(64, 36, 1);
  const std::string prefix = (dir / "out" / "run").string();
  const pid_t pid = spawnOmbrel({"render", scene, "--stop", "endless", "-o", prefix + ".exr"}, dir / "log");
  ASSERT_GT(pid, 0);
  // The first slice ends with refine files; the job then goes on refining without end.
  ASSERT_TRUE(waitForFile(prefix + "0001.ombreldat", pid, 60));
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  kill(pid, SIGINT);
  EXPECT_EQ(waitFor(pid, 60), 130);
  EXPECT_EQ(fs::file_size(prefix + "0001.rawhdr"), 64u * 36u * 16u);
  EXPECT_EQ(fs::file_size(prefix + "0001.ombreldat"), 64u * 36u * 12u);
  std::ifstream out(dir / "log.out"), err(dir / "log.err");
  const std::string said{std::istreambuf_iterator<char>(out), {}}, complained{std::istreambuf_iterator<char>(err), {}};
  EXPECT_THAT(said, HasSubstr("Stopped after"));
  EXPECT_THAT(complained, HasSubstr("Ctrl-C again"));

  // Two in a row: the program ends at once, whatever the job is doing. They are sent once the
  // job has saved a slice, so that a slow start can't meet them before the program listens.
  const auto saved = fs::last_write_time(prefix + "0001.ombreldat");
  const pid_t again = spawnOmbrel({"render", scene, "--stop", "endless", "--refine", "-o", prefix + ".exr"},
                                  dir / "log2");
  ASSERT_GT(again, 0);
  for (int i = 0; i < 1200 && fs::last_write_time(prefix + "0001.ombreldat") == saved; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  kill(again, SIGINT);
  kill(again, SIGINT);
  EXPECT_EQ(waitFor(again, 10), 130);
}

}  // namespace
