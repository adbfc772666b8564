#pragma once
// A small scene for the frame loop's tests on the real stand-in host: a camera looking down at
// a box on a floor under two lights, a folder of the test's own for the render's files, the
// commands the host receives with the thread that sent each, and batch renders with the
// settings the panels would save.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "finalrender/batch.h"
#include "finalrender/refine_files.h"
#include "host/formats/lwo_builder.h"
#include "host/scene/object.h"
#include "host/services/host.h"
#include "runtime/global_services.h"
#include "runtime/module_load.h"
#include "toolkit/instance_text.h"

namespace frtest {

struct JobSettings {
  int lowFrame = 1, highFrame = 1, stop = 0, aaLevel = 3;
  bool classic = false;
};

class World {
 public:
  explicit World(int width = 32, int height = 24) {
    static const bool loaded = runtimeLoad() == 1;
    (void)loaded;
    dir_ = std::filesystem::temp_directory_path() /
           ("ombrel-frameloop-" + std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()) + "-" +
            std::to_string(getpid()));
    std::filesystem::create_directories(dir_);
    scene.framesPerSecond = 24.0;
    scene.render.traceShadows = true;
    host::Item& camera = scene.items[size_t(scene.addItem(host::ItemType::Camera, "Camera"))];
    camera.setPosition({0.0, 1.5, -4.0});
    camera.setRotation({0.0, 0.35, 0.0});
    camera.camera.width = width;
    camera.camera.height = height;
    host::ObjectBuilder floor("floor.lwo");
    floor.addPlane({0, 0, 0}, 6.0f, 6.0f, 1, 1, "Floor");
    addObject(floor);
    host::ObjectBuilder box("box.lwo");
    box.addBox({0, 0.5f, 0}, {1, 1, 1}, "Box");
    boxIndex = addObject(box);
    scene.items[size_t(scene.addItem(host::ItemType::Light, "Sun"))].setRotation({0.6, 0.9, 0.0});
    host::Item& fill = scene.items[size_t(scene.addItem(host::ItemType::Light, "Fill"))];
    fill.light.kind = host::LightKind::Point;
    fill.setPosition({-2.0, 3.0, -2.0});
  }

  ~World() {
    globalServices = {};
    host_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
  }

  // Makes the host from the scene, showing a box threshold of 1234.
  void start() {
    host::HostSettings settings;
    settings.messagesToStderr = false;
    host_ = std::make_unique<host::Host>(std::move(scene), settings);
    host_->interfaceState().boundingBoxThreshold = 1234;
    host_->sceneChanged();
    globalServices = {};
    generic.evaluate = host::Host::commandFunction();
    host_->addCommandListener([this](const host::CommandRecord& c) {
      std::lock_guard lock(sentMutex_);
      sent_.push_back(c.text);
      fromThisThread_ &= std::this_thread::get_id() == thread_;
    });
  }

  host::Host& host() { return *host_; }

  // The commands sent so far that begin with `name`, and whether all came from this thread.
  std::vector<std::string> sent(const std::string& name = "") {
    std::lock_guard lock(sentMutex_);
    std::vector<std::string> texts;
    std::copy_if(sent_.begin(), sent_.end(), std::back_inserter(texts),
                 [&](const std::string& t) { return t.rfind(name, 0) == 0; });
    return texts;
  }
  bool allSentFromThisThread() {
    std::lock_guard lock(sentMutex_);
    return fromThisThread_;
  }
  long questions() {
    const auto m = host_->messages();
    return std::count_if(m.begin(), m.end(), [](const host::HostMessage& x) { return x.kind == "yesNoCan"; });
  }

  // The save file as the user would choose it, and a frame's files under it.
  std::string saveFile() const { return (dir_ / "shot####.exr").string(); }
  std::string framePath(int frame, const char* ending) const {
    char name[64];
    std::snprintf(name, sizeof name, "shot%04d%s", frame, ending);
    return (dir_ / name).string();
  }

  // A batch render with the settings as instance text, saving EXR images.
  int render(const JobSettings& s, volatile int* stop = nullptr,
             void (*status)(void*, const OmbrelBatchStatus*) = nullptr, void* statusData = nullptr) {
    InstanceMemoryWriter w;
    InstanceMemoryWriter_Init(&w);
    long total = instanceWriteHeader(&w.state, "Ombrel", 1.0);
    for (auto [name, value] :
         {std::pair{"LOWFRAME", s.lowFrame}, {"HIGHFRAME", s.highFrame}, {"AA LEVEL", s.aaLevel}}) {
      InstanceNumeric numeric{};
      numeric.value = value;
      total += instanceWriteNumeric(&w.state, 1, name, &numeric);
    }
    total += instanceWriteRadio(&w.state, 1, "STOP", s.stop);
    total += instanceWriteButton(&w.state, 1, "CLASSIC", s.classic, 0);
    total += instanceWriteSaveFile(&w.state, 1, kInstanceSaveFileControl, saveFile().c_str(), -1, "OpenEXR (.exr)");
    instanceWriteFooter(&w.state, "Ombrel", total);
    OmbrelBatchHost record{
        OMBREL_BATCH_VERSION, host::Host::globalFunction(), &generic, w.text.c_str(), status, statusData, stop};
    return batchRender(&record);
  }

  host::Scene scene;
  int boxIndex = -1;
  LWLayoutGeneric generic{};

 private:
  int addObject(host::ObjectBuilder& builder) {
    auto model = std::make_shared<host::ObjectModel>(builder.finish());
    const int index = scene.addItem(host::ItemType::Object, model->fileName);
    scene.items[size_t(index)].object.model = model;
    scene.items[size_t(index)].object.path = model->fileName;
    return index;
  }

  std::filesystem::path dir_;
  std::unique_ptr<host::Host> host_;
  std::mutex sentMutex_;
  std::vector<std::string> sent_;
  std::thread::id thread_ = std::this_thread::get_id();
  bool fromThisThread_ = true;
};

// ---- Refine files as raw bytes ----

template <class T>
std::vector<T> readArray(const std::string& path) {
  std::vector<T> values(std::filesystem::file_size(path) / sizeof(T));
  std::ifstream(path, std::ios::binary)
      .read(reinterpret_cast<char*>(values.data()), std::streamsize(values.size() * sizeof(T)));
  return values;
}

inline void writePair(const World& world, int frame, std::vector<PixelTally> tallies, std::vector<float> rgba = {}) {
  rgba.resize(tallies.size() * 4);
  std::ofstream(world.framePath(frame, kRefineRawEnding), std::ios::binary)
      .write(reinterpret_cast<const char*>(rgba.data()), std::streamsize(rgba.size() * sizeof(float)));
  std::ofstream(world.framePath(frame, kRefineTallyEnding), std::ios::binary)
      .write(reinterpret_cast<const char*>(tallies.data()), std::streamsize(tallies.size() * sizeof(PixelTally)));
}

inline int32_t leastSamples(const World& world, int frame) {
  int32_t least = INT32_MAX;
  for (const PixelTally& t : readArray<PixelTally>(world.framePath(frame, kRefineTallyEnding)))
    least = std::min(least, t.samples);
  return least;
}

inline std::string fileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace frtest
