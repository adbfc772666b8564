#pragma once
// A small scene for the frame loop's tests, on the real stand-in host: a camera looking down
// at a box on a floor under a distant light, a folder of its own for the render's files, the
// commands the host receives (with the thread that sent each), and the render settings as
// the panels would save them.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel_batch.h>

#include "finalrender/batch.h"
#include "finalrender/refine_files.h"
#include "host/formats/lwo_builder.h"
#include "host/scene/object.h"
#include "host/scene/scene.h"
#include "host/services/host.h"
#include "runtime/global_services.h"
#include "runtime/module_load.h"
#include "toolkit/instance_text.h"

namespace frtest {

inline void loadRuntimeOnce() {
  static const bool loaded = runtimeLoad() == 1;
  (void)loaded;
}

// What the panels would hold; written out as instance text by settingsText.
struct JobSettings {
  int lowFrame = 1, highFrame = 1, stepFrame = 1;
  int stop = 0;  // "Endlessly Refine", "Stop When All Equal", "Stop At Level"
  bool classic = false;
  int aaLevel = 3;
  std::string fileName;  // empty: none
  std::string saverName = "OpenEXR (.exr)";
  double mb25d = 1.0, dof25d = 1.0;
};

inline std::string settingsText(const JobSettings& s) {
  InstanceMemoryWriter w;
  InstanceMemoryWriter_Init(&w);
  long total = instanceWriteHeader(&w.state, "Ombrel", 1.0);
  auto number = [&](const char* name, double value) {
    InstanceNumeric numeric{};
    numeric.value = value;
    total += instanceWriteNumeric(&w.state, 1, name, &numeric);
  };
  number("LOWFRAME", s.lowFrame);
  number("HIGHFRAME", s.highFrame);
  number("STEPFRAME", s.stepFrame);
  total += instanceWriteRadio(&w.state, 1, "STOP", s.stop);
  total += instanceWriteButton(&w.state, 1, "CLASSIC", s.classic ? 1 : 0, 0);
  number("AA LEVEL", s.aaLevel);
  if (!s.fileName.empty())
    total += instanceWriteSaveFile(&w.state, 1, kInstanceSaveFileControl, s.fileName.c_str(), -1, s.saverName.c_str());
  number("DOF25D", s.dof25d);
  number("MB25D", s.mb25d);
  instanceWriteFooter(&w.state, "Ombrel", total);
  return w.text;
}

struct SentCommand {
  std::string text;
  std::thread::id thread;
};

class World {
 public:
  explicit World(int width = 32, int height = 24) {
    loadRuntimeOnce();
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    dir_ = std::filesystem::temp_directory_path() /
           ("ombrel-frameloop-" + std::string(info->test_suite_name()) + "-" + info->name() + "-" +
            std::to_string(getpid()));
    std::filesystem::remove_all(dir_);
    std::filesystem::create_directories(dir_);

    scene.framesPerSecond = 24.0;
    scene.firstFrame = 1;
    scene.lastFrame = 3;
    scene.ambientIntensity = 0.1;
    scene.render.traceShadows = true;
    scene.backdrop.color = host::AnimatedColor(0.2, 0.3, 0.4);

    const int camera = scene.addItem(host::ItemType::Camera, "Camera");
    scene.items[size_t(camera)].setPosition({0.0, 1.5, -4.0});
    scene.items[size_t(camera)].setRotation({0.0, 0.35, 0.0});
    scene.items[size_t(camera)].camera.width = width;
    scene.items[size_t(camera)].camera.height = height;

    host::ObjectBuilder floor("floor.lwo");
    floor.addPlane({0, 0, 0}, 6.0f, 6.0f, 1, 1, "Floor");
    addObject(std::make_shared<host::ObjectModel>(floor.finish()), "Floor", {0.0, 0.0, 0.0});
    host::ObjectBuilder box("box.lwo");
    box.addBox({0, 0.5f, 0}, {1, 1, 1}, "Box");
    boxIndex = addObject(std::make_shared<host::ObjectModel>(box.finish()), "Box", {0.0, 0.0, 0.0});

    const int sun = scene.addItem(host::ItemType::Light, "Sun");
    scene.items[size_t(sun)].light.kind = host::LightKind::Distant;
    scene.items[size_t(sun)].setRotation({0.6, 0.9, 0.0});
    const int fill = scene.addItem(host::ItemType::Light, "Fill");
    scene.items[size_t(fill)].light.kind = host::LightKind::Point;
    scene.items[size_t(fill)].light.intensity = 0.3;
    scene.items[size_t(fill)].setPosition({-2.0, 3.0, -2.0});
  }

  ~World() {
    globalServices = {};
    host_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
  }

  World(const World&) = delete;
  World& operator=(const World&) = delete;

  int addObject(const std::shared_ptr<host::ObjectModel>& model, const std::string& name, host::Vec3 position) {
    const int index = scene.addItem(host::ItemType::Object, name);
    host::Item& item = scene.items[size_t(index)];
    item.object.model = model;
    item.object.path = model->fileName;
    item.setPosition(position);
    return index;
  }

  // Makes the host from the scene; the module's services start on it with the first render
  // or set-up.
  void start() {
    host::HostSettings settings;
    settings.messagesToStderr = false;
    host_ = std::make_unique<host::Host>(std::move(scene), settings);
    host_->interfaceState().boundingBoxThreshold = 1234;
    host_->sceneChanged();
    globalServices = {};
    generic.data = nullptr;
    generic.evaluate = host::Host::commandFunction();
    host_->addCommandListener([this](const host::CommandRecord& c) {
      std::lock_guard lock(sentMutex_);
      sent_.push_back({c.text, std::this_thread::get_id()});
    });
  }

  host::Host& host() { return *host_; }

  std::vector<SentCommand> sent() {
    std::lock_guard lock(sentMutex_);
    return sent_;
  }
  // The texts of the commands that begin with `name`.
  std::vector<std::string> sentNamed(const std::string& name) {
    std::vector<std::string> texts;
    for (const SentCommand& c : sent())
      if (c.text.rfind(name, 0) == 0) texts.push_back(c.text);
    return texts;
  }

  std::string path(const std::string& name) const { return (dir_ / name).string(); }
  // The save file as the user would choose it: shot####.exr in the test's folder.
  std::string saveFile() const { return path("shot####.exr"); }
  std::string framePath(int frame, const char* ending) const {
    char name[64];
    std::snprintf(name, sizeof name, "shot%04d%s", frame, ending);
    return path(name);
  }

  // Runs a batch job with the settings to its end on this thread.
  int render(const JobSettings& s, volatile int* stop = nullptr,
             void (*status)(void*, const OmbrelBatchStatus*) = nullptr, void* statusData = nullptr) {
    const std::string text = settingsText(s);
    OmbrelBatchHost record{};
    record.version = OMBREL_BATCH_VERSION;
    record.global = host::Host::globalFunction();
    record.generic = &generic;
    record.settings = text.c_str();
    record.status = status;
    record.statusData = statusData;
    record.stopRequested = stop;
    return batchRender(&record);
  }

  host::Scene scene;
  int boxIndex = -1;
  LWLayoutGeneric generic{};

 private:
  std::filesystem::path dir_;
  std::unique_ptr<host::Host> host_;
  std::mutex sentMutex_;
  std::vector<SentCommand> sent_;
};

// ---- Refine files as raw bytes ----

inline std::vector<PixelTally> readTallies(const std::string& path) {
  std::vector<PixelTally> tallies(std::filesystem::file_size(path) / sizeof(PixelTally));
  std::ifstream in(path, std::ios::binary);
  in.read(reinterpret_cast<char*>(tallies.data()), std::streamsize(tallies.size() * sizeof(PixelTally)));
  return tallies;
}

inline std::vector<float> readRaw(const std::string& path) {
  std::vector<float> values(std::filesystem::file_size(path) / sizeof(float));
  std::ifstream in(path, std::ios::binary);
  in.read(reinterpret_cast<char*>(values.data()), std::streamsize(values.size() * sizeof(float)));
  return values;
}

// Writes a pair in which every pixel has the given samples, weight and colour.
inline void writePair(const std::string& raw, const std::string& tally, int pixels,
                      std::vector<PixelTally> tallies, std::vector<float> rgba) {
  tallies.resize(size_t(pixels));
  rgba.resize(size_t(pixels) * 4);
  std::ofstream(raw, std::ios::binary)
      .write(reinterpret_cast<const char*>(rgba.data()), std::streamsize(rgba.size() * sizeof(float)));
  std::ofstream(tally, std::ios::binary)
      .write(reinterpret_cast<const char*>(tallies.data()), std::streamsize(tallies.size() * sizeof(PixelTally)));
}

inline void writeUniformPair(const World& world, int frame, int pixels, int32_t samples) {
  writePair(world.framePath(frame, kRefineRawEnding), world.framePath(frame, kRefineTallyEnding), pixels,
            std::vector<PixelTally>(size_t(pixels), PixelTally{1.0f, 0, samples}), {});
}

inline int32_t leastSamples(const std::vector<PixelTally>& tallies) {
  int32_t least = INT32_MAX;
  for (const PixelTally& t : tallies) least = std::min(least, t.samples);
  return least;
}

inline std::string fileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace frtest
