// Samples per second of the frame loop: whole slices (loading the refine files, passes with
// their sampling, depositing, saving the files and the image) on one render thread, with a
// second thread playing the host's side. The scene is the demo scene when its files are
// there, and otherwise a room built in code: walls, a matte ball, a mirror ball and a box
// under an area light in the ceiling.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <memory>
#include <numbers>
#include <string>
#include <thread>

#include "capture/scene_capture.h"
#include "finalrender/batch.h"
#include "finalrender/file_names.h"
#include "finalrender/final_render_job.h"
#include "finalrender/frame_loop.h"
#include "host/formats/lwo_builder.h"
#include "host/formats/lws_reader.h"
#include "host/scene/object.h"
#include "host/services/host.h"
#include "platform/thread.h"
#include "rayengine/ray_engine.h"
#include "runtime/global_services.h"
#include "runtime/module_load.h"
#include "shading/radiosity_settings.h"

namespace {

namespace fs = std::filesystem;

std::shared_ptr<host::ObjectModel> finish(host::ObjectBuilder& builder) {
  return std::make_shared<host::ObjectModel>(builder.finish());
}

int addObject(host::Scene& scene, const std::shared_ptr<host::ObjectModel>& model, const std::string& name,
              host::Vec3 position) {
  const int index = scene.addItem(host::ItemType::Object, name);
  scene.items[size_t(index)].object.model = model;
  scene.items[size_t(index)].object.path = model->fileName;
  scene.items[size_t(index)].setPosition(position);
  return index;
}

host::Scene roomScene() {
  host::Scene scene;
  scene.render.traceShadows = scene.render.traceReflection = true;
  scene.ambientIntensity = 0.05;

  host::ObjectBuilder walls("room.lwo");
  walls.addBox({0.0f, 2.0f, 0.0f}, {8.0f, 4.0f, 8.0f}, "Walls");
  walls.surface("Walls").sidedness = host::SideDouble;
  walls.surface("Walls").color.value = {0.8, 0.75, 0.7};
  addObject(scene, finish(walls), "Room", {0, 0, 0});

  host::ObjectBuilder matte("matte.lwo");
  matte.addSphere({0, 0, 0}, 0.8f, 48, 24, "Matte");
  matte.surface("Matte").color.value = {0.7, 0.2, 0.2};
  addObject(scene, finish(matte), "Matte", {-1.5, 0.8, 1.0});

  host::ObjectBuilder chrome("chrome.lwo");
  chrome.addSphere({0, 0, 0}, 0.6f, 48, 24, "Chrome");
  chrome.surface("Chrome").reflectivity.value = 0.8;
  chrome.surface("Chrome").diffuse.value = 0.2;
  chrome.surface("Chrome").specularity.value = 0.6;
  addObject(scene, finish(chrome), "Chrome", {1.2, 0.6, 2.0});

  host::ObjectBuilder crate("crate.lwo");
  crate.addBox({0, 0, 0}, {1.2f, 1.2f, 1.2f}, "Crate");
  crate.surface("Crate").color.value = {0.3, 0.5, 0.8};
  const int box = addObject(scene, finish(crate), "Crate", {1.5, 0.6, -0.5});
  scene.items[size_t(box)].setRotation({0.5, 0.0, 0.0});

  const int light = scene.addItem(host::ItemType::Light, "Panel");
  host::Item& panel = scene.items[size_t(light)];
  panel.light.kind = host::LightKind::Area;
  panel.light.intensity = 1.5;
  panel.setPosition({0.0, 3.95, 0.0});
  panel.setRotation({0.0, std::numbers::pi / 2, 0.0});
  panel.setScale({1.5, 1.5, 1.5});

  const int camera = scene.addItem(host::ItemType::Camera, "Camera");
  host::Item& c = scene.items[size_t(camera)];
  c.setPosition({0.0, 2.0, -3.8});
  c.camera.width = 320, c.camera.height = 240, c.camera.regionX1 = 319, c.camera.regionY1 = 239;
  c.camera.zoomFactor = 1.2;
  return scene;
}

// The host, the scene capture and a job on one frame, with the host's side idling on a thread
// of its own so that the render thread's moves in time are answered.
class FrameLoopWorld {
 public:
  FrameLoopWorld() {
    runtimeLoad();
    host::Scene scene;
    const std::string demo = std::string(OMBREL_SOURCE_DIR) + "/examples/demo/demo.lws";
    std::string error;
    if (fs::exists(demo) && host::readSceneFile(demo, scene, error)) {
      name = "demo";
    } else {
      scene = roomScene();
      name = "room";
    }
    host::HostSettings settings;
    settings.messagesToStderr = false;
    host_ = std::make_unique<host::Host>(std::move(scene), settings);
    globalServices = {};
    serverStart(host::Host::globalFunction());
    rayEngineInstall();
    capture_ = SceneCapture_Create(host_->time());

    dir_ = fs::temp_directory_path() / ("ombrel-frameloop-bench-" + std::to_string(getpid()));
    fs::create_directories(dir_);
    generic_.evaluate = host::Host::commandFunction();
    job = FinalRenderJob_Create();
    job->capture = capture_;
    job->generic = &generic_;
    job->saverIndex = 0;
    fileChooseName((dir_ / "bench####.exr").string().c_str(), ".exr", job->filePrefix, job->fileSuffix);
    job->refineWithoutAsking = 1;
    job->giveBackByStarter = 1;
    job->running = 1;
    // The settings the scene's master block holds (the demo's Monte Carlo radiosity), as a
    // render of the scene would use them.
    if (const host::PluginBlock* master = host::findPlugin(host_->scene().plugins, "MasterHandler", "Ombrel")) {
      BatchSettings saved{};
      if (!batchReadSettings(master->text().c_str(), &saved, nullptr)) {
        radiositySettings = saved.radiosity;
        job->dof25d = saved.dof25d;
        job->mb25d = saved.mb25d;
        radiosity = saved.radiosity.type;
      }
    }
    const double frame = host_->frame();
    setUpFailure = frameLoopSetUp(job, frame, frame, 1.0);

    hostSide_ = std::thread([this] {
      while (!quit_.load()) {
        frameLoopIdle(job);
        threadSleep(1);
      }
    });
  }

  ~FrameLoopWorld() {
    quit_ = true;
    hostSide_.join();
    frameLoopGiveBack(job);
    FinalRenderJob_Destroy(job);
    SceneCapture_Destroy(capture_);
    globalServices = {};
    host_.reset();
    radiositySettings = kDefaultRadiositySettings;
    std::error_code ignored;
    fs::remove_all(dir_, ignored);
  }

  // Samples the frame holds in all.
  int64_t samples() const {
    int64_t sum = 0;
    for (int32_t i = 0; i < job->pixelCount; ++i) sum += job->tallies[i].samples;
    return sum;
  }

  FinalRenderJob* job = nullptr;
  const char* setUpFailure = nullptr;
  std::string name;
  int32_t radiosity = kNoRadiosity;

 private:
  std::unique_ptr<host::Host> host_;
  SceneCapture* capture_ = nullptr;
  LWLayoutGeneric generic_{};
  fs::path dir_;
  std::atomic<bool> quit_{false};
  std::thread hostSide_;
};

// Each iteration is one slice: at least 1.5 seconds of passes over the frame, then its files.
void frameLoopSlices(benchmark::State& state) {
  FrameLoopWorld world;
  if (world.setUpFailure) {
    state.SkipWithError(world.setUpFailure);
    return;
  }
  static const char* const kRadiosity[] = {"no radiosity", "background radiosity", "Monte Carlo radiosity"};
  state.SetLabel(world.name + " " + std::to_string(world.job->width) + "x" + std::to_string(world.job->height) + ", " +
                 kRadiosity[std::clamp(world.radiosity, int32_t(0), int32_t(2))]);
  int64_t before = 0;
  int64_t taken = 0;
  for (auto _ : state) {
    frameLoopSlice(world.job);
    const int64_t after = world.samples();
    taken += after - before;
    before = after;
  }
  state.counters["samples_per_second"] = benchmark::Counter(double(taken), benchmark::Counter::kIsRate);
  state.counters["level"] = world.job->frames ? world.job->frames->minSamples : 0;
}

BENCHMARK(frameLoopSlices)->Iterations(3)->Unit(benchmark::kSecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
