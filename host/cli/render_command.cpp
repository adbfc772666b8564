// `ombrel render`: loads a scene (or an object, staged to be seen) into the host, loads the
// module, starts it as Layout would, and hands its headless final render the settings as
// instance text: the scene's saved settings of the render panel and the master, overridden by
// the command line.
#include "host/cli/render_command.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <lwgeneric.h>
#include <lwimage.h>
#include <lwmaster.h>
#include <ombrel_batch.h>

#include "host/cli/file_kind.h"
#include "host/cli/render_progress.h"
#include "host/formats/lwo_reader.h"
#include "host/formats/lws_reader.h"
#include "host/runtime/plugin_module.h"
#include "host/scene/object.h"
#include "host/scene/object_stage.h"
#include "host/scene/plugin.h"
#include "host/services/host.h"
#include "host/services/host_info.h"
#include "host/services/image_util.h"

namespace cli {

namespace {

namespace fs = std::filesystem;

struct RenderOptions {
  std::string scene;
  std::string modulePath;
  std::string frames;
  std::optional<long> first, last, step;
  std::string stop;
  std::optional<long> level;
  bool classic = false;
  std::string radiosity;
  std::string radStrength;
  std::optional<long> radBounces;
  std::string output;
  bool refine = false;
  bool replace = false;
  std::optional<int> turntable;
  std::string size;
};

// ---- Where the demo scene is ----

// Beside the installed program (<prefix>/share/ombrel/examples/demo), or in the source tree of
// a build folder: found upward from the program, or through the build folder's cache.
std::string findDemoScene() {
  std::error_code ec;
  const fs::path self = fs::read_symlink("/proc/self/exe", ec);
  if (ec || self.empty()) return {};
  const fs::path relative = fs::path("examples") / "demo" / "demo.lws";
  for (fs::path dir = self.parent_path(); !dir.empty(); dir = dir.parent_path()) {
    for (const fs::path& candidate : {dir / "share" / "ombrel" / relative, dir / relative})
      if (fs::is_regular_file(candidate, ec)) return candidate.string();
    std::ifstream cache(dir / "CMakeCache.txt");
    for (std::string line; std::getline(cache, line);) {
      const std::string key = "CMAKE_HOME_DIRECTORY:INTERNAL=";
      if (line.rfind(key, 0) == 0) {
        const fs::path candidate = fs::path(line.substr(key.size())) / relative;
        if (fs::is_regular_file(candidate, ec)) return candidate.string();
      }
    }
    if (dir == dir.root_path()) break;
  }
  return {};
}

// ---- The settings as instance text ----

class SettingsText {
 public:
  explicit SettingsText(const char* instance) : instance_(instance) {
    text_ = "BEGIN TARNOK_LABS_PLUGIN " + instance_ + "\n# written by ombrel render\nVERSION 1\n";
  }
  void number(const char* name, double value) {
    char line[64];
    std::snprintf(line, sizeof line, "%.17g", value);
    text_ += std::string(" BEGIN NUM ") + name + "\n  VALUE " + line + "\n END\n";
  }
  void radio(const char* name, int selection) {
    text_ += std::string(" BEGIN RADIO ") + name + "\n  SELECTION " + std::to_string(selection) + "\n END\n";
  }
  void button(const char* name, bool checked) {
    text_ += std::string(" BEGIN BUTTON ") + name + "\n  CHECKED " + (checked ? "YES" : "NO") + "\n END\n";
  }
  void saveFile(const std::string& name, int saver, const std::string& saverName) {
    text_ += " BEGIN FILE SAVEFILE\n  NAME @" + name + "@\n  SAVER " + std::to_string(saver) + " @" + saverName +
             "@\n END\n";
  }
  std::string finish() const { return text_ + "END TARNOK_LABS_PLUGIN " + instance_ + "\n"; }

 private:
  std::string instance_;
  std::string text_;
};

// A saved instance block of the scene, as the server's load would read it.
std::string savedBlock(const host::Scene& scene, const char* serverClass, const char* name) {
  const host::PluginBlock* block = host::findPlugin(scene.plugins, serverClass, name);
  if (!block) {
    // The render panel's block may stand under any class: Layout keeps no generic's settings.
    for (const host::PluginBlock& b : scene.plugins)
      if (b.name == name) block = &b;
  }
  return block ? block->text() : std::string();
}

// ---- Parsing the options ----

std::optional<double> parseNumber(const std::string& text, bool percentAllowed) {
  if (text.empty()) return std::nullopt;
  std::string t = text;
  double scale = 1.0;
  if (percentAllowed && t.back() == '%') {
    t.pop_back();
    scale = 0.01;
  }
  char* end = nullptr;
  const double v = std::strtod(t.c_str(), &end);
  if (end == t.c_str() || *end != '\0' || !std::isfinite(v)) return std::nullopt;
  return v * scale;
}

// "FIRST-LAST" or "FIRST", either of them negative, with spaces allowed around the numbers.
bool parseRange(const std::string& text, long* first, long* last) {
  const char* p = text.c_str();
  const auto skipSpace = [&p] {
    while (std::isspace(static_cast<unsigned char>(*p))) ++p;
  };
  const auto number = [&](long* out) {
    skipSpace();
    const char* start = p;
    if (*p == '-') ++p;
    if (!std::isdigit(static_cast<unsigned char>(*p))) return false;
    errno = 0;
    char* end = nullptr;
    *out = std::strtol(start, &end, 10);
    p = end;
    skipSpace();
    return errno != ERANGE;
  };
  if (!number(first)) return false;
  *last = *first;
  if (*p == '-') {
    ++p;
    if (!number(last)) return false;
  }
  return *p == '\0';
}

std::string lower(std::string s) {
  for (char& c : s) c = char(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

// The saver whose bracketed extension the output's extension names; EXR without one.
bool chooseSaver(host::Host& h, const std::string& output, int* index, std::string* name, std::string* error) {
  auto* util = static_cast<LWImageUtil*>(h.global(LWIMAGEUTIL_GLOBAL, GFUSE_TRANSIENT));
  if (!util || !util->saverCount || !util->saverName) {
    *error = "the host has no image savers";
    return false;
  }
  std::string wanted = lower(fs::path(output).extension().string());
  if (wanted.empty()) wanted = ".exr";
  if (wanted == ".jpeg") wanted = ".jpg";
  if (wanted == ".tiff") wanted = ".tif";
  std::string known;
  for (int i = 0; i < util->saverCount(); ++i) {
    const std::string saver = util->saverName(i) ? util->saverName(i) : "";
    const size_t open = saver.find('('), close = saver.find(')');
    const std::string extension =
        open == std::string::npos ? std::string() : lower(saver.substr(open + 1, close - open - 1));
    if (extension == wanted) {
      *index = i;
      *name = saver;
      return true;
    }
    if (!extension.empty()) known += (known.empty() ? "" : ", ") + extension;
  }
  *error = "no image saver writes \"" + wanted + "\" files; the output may end in " + known;
  return false;
}

// ---- Ctrl-C ----

volatile int stopRequested = 0;
volatile sig_atomic_t interrupts = 0;

void onInterrupt(int) {
  interrupts = interrupts + 1;
  if (interrupts >= 2) _exit(kExitInterrupted);
  stopRequested = 1;
  static const char note[] =
      "\nombrel: stopping: the frame in hand keeps its refine files; press Ctrl-C again to quit at once\n";
  [[maybe_unused]] const ssize_t n = write(STDERR_FILENO, note, sizeof note - 1);
}

class InterruptGuard {
 public:
  InterruptGuard() {
    stopRequested = 0;
    interrupts = 0;
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, &previous_);
  }
  ~InterruptGuard() { sigaction(SIGINT, &previous_, nullptr); }

 private:
  struct sigaction previous_ {};
};

// ---- The render ----

// "WIDTHxHEIGHT", each 1 to 16384.
bool parseSize(const std::string& text, int* width, int* height) {
  const auto number = [](const std::string& digits, int* out) {
    if (digits.empty() || digits.size() > 5) return false;
    for (char c : digits)
      if (!std::isdigit(static_cast<unsigned char>(c))) return false;
    *out = std::stoi(digits);
    return *out >= 1 && *out <= 16384;
  };
  const size_t x = text.find_first_of("xX");
  return x != std::string::npos && number(text.substr(0, x), width) && number(text.substr(x + 1), height);
}

// The scene to render: a scene file as it is, or an object file staged to be seen.
bool loadInput(const std::string& path, bool isObject, const RenderOptions& options, int width, int height,
               host::Scene& scene, std::string& error, std::vector<std::string>& warnings) {
  if (!isObject) return host::readSceneFile(path, scene, error, {}, &warnings);
  auto model = std::make_shared<host::ObjectModel>();
  if (!host::readObjectFile(path, *model, error)) return false;
  for (const std::string& w : model->warnings) warnings.push_back(path + ": " + w);
  host::ObjectStage stage;
  stage.turntableFrames = options.turntable.value_or(0);
  if (width > 0) {
    stage.width = width;
    stage.height = height;
  }
  scene = stage.build(model, path);
  return true;
}

int runRender(const RenderOptions& options) {
  // The scene: the one named, or the demo.
  std::string scenePath = options.scene;
  if (scenePath.empty()) {
    scenePath = findDemoScene();
    if (scenePath.empty()) {
      std::fprintf(stderr,
                   "ombrel: no scene was named and the demo scene (share/ombrel/examples/demo/demo.lws) "
                   "was not found beside the program; name a scene: ombrel render SCENE.lws\n");
      return kExitUsage;
    }
    std::printf("Rendering the demo scene %s\n", scenePath.c_str());
  }
  std::error_code ec;
  if (!fs::is_regular_file(scenePath, ec)) {
    std::fprintf(stderr, "ombrel: %s: no such scene file\n", scenePath.c_str());
    return kExitUsage;
  }
  const bool isObject = !isSceneFile(scenePath);
  if (options.turntable && !isObject) {
    std::fprintf(stderr,
                 "ombrel: --turntable turns the camera around an object file (.lwo); a scene renders with its "
                 "own camera and frames\n");
    return kExitUsage;
  }
  int width = 0, height = 0;
  if (!options.size.empty() && !parseSize(options.size, &width, &height)) {
    std::fprintf(stderr, "ombrel: --size wants WIDTHxHEIGHT, each 1 to 16384, as in 640x480; not \"%s\"\n",
                 options.size.c_str());
    return kExitUsage;
  }

  // What the command line says, checked before anything is loaded.
  long first = 0, last = 0;
  const bool hasRange = !options.frames.empty();
  if (hasRange && !parseRange(options.frames, &first, &last)) {
    std::fprintf(stderr, "ombrel: --frames wants FIRST-LAST or one frame, as in 1-4 or -2-2; not \"%s\"\n",
                 options.frames.c_str());
    return kExitUsage;
  }
  int stop = 2;
  if (!options.stop.empty()) {
    const std::string s = lower(options.stop);
    if (s == "endless") stop = 0;
    else if (s == "equal") stop = 1;
    else if (s == "level") stop = 2;
    else {
      std::fprintf(stderr, "ombrel: --stop is endless, equal or level; not \"%s\"\n", options.stop.c_str());
      return kExitUsage;
    }
  }
  if (options.level && *options.level < 1) {
    std::fprintf(stderr, "ombrel: --level is 1 or more\n");
    return kExitUsage;
  }
  int radiosity = -1;
  if (!options.radiosity.empty()) {
    const std::string r = lower(options.radiosity);
    if (r == "off" || r == "none") radiosity = 0;
    else if (r == "background") radiosity = 1;
    else if (r == "montecarlo" || r == "monte-carlo") radiosity = 2;
    else {
      std::fprintf(stderr, "ombrel: --radiosity is off, background or montecarlo; not \"%s\"\n",
                   options.radiosity.c_str());
      return kExitUsage;
    }
  }
  std::optional<double> strength;
  if (!options.radStrength.empty()) {
    strength = parseNumber(options.radStrength, true);
    if (!strength) {
      std::fprintf(stderr, "ombrel: --rad-strength wants a number, as in 1.0 or 80%%; not \"%s\"\n",
                   options.radStrength.c_str());
      return kExitUsage;
    }
  }
  if (options.radBounces && (*options.radBounces < 0 || *options.radBounces > 10)) {
    std::fprintf(stderr, "ombrel: --rad-bounces is 0 to 10\n");
    return kExitUsage;
  }

  // The scene into the host.
  auto scene = std::make_shared<host::Scene>();
  std::string error;
  std::vector<std::string> warnings;
  if (!loadInput(scenePath, isObject, options, width, height, *scene, error, warnings)) {
    std::fprintf(stderr, "ombrel: %s\n", error.c_str());
    return kExitUsage;
  }
  const int cameraIndex = scene->renderCamera();
  if (width > 0 && !isObject && cameraIndex >= 0) {
    // The camera's limited region keeps its place in the frame.
    host::CameraSettings& c = scene->items[size_t(cameraIndex)].camera;
    const auto scaled = [](int v, int from, int to) {
      return from > 0 ? std::clamp(int(double(v) * to / from), 0, to - 1) : v;
    };
    c.regionX0 = scaled(c.regionX0, c.width, width);
    c.regionX1 = scaled(c.regionX1, c.width, width);
    c.regionY0 = scaled(c.regionY0, c.height, height);
    c.regionY1 = scaled(c.regionY1, c.height, height);
    c.width = width;
    c.height = height;
  }
  for (const std::string& w : warnings) std::fprintf(stderr, "ombrel: warning: %s\n", w.c_str());

  std::string output = options.output;
  if (output.empty()) output = (fs::path("renders") / (fs::path(scenePath).stem().string() + ".exr")).string();
  // The name travels between "@" marks on a line of at most 253 characters.
  if (output.find('@') != std::string::npos) {
    std::fprintf(stderr, "ombrel: the output name may not hold \"@\"\n");
    return kExitUsage;
  }
  if (output.size() > 240) {
    std::fprintf(stderr, "ombrel: the output name is over 240 characters; give a shorter or relative path\n");
    return kExitUsage;
  }

  host::HostSettings settings;
  settings.application = host::Application::Layout;
  host::Host h(scene, settings);
  h.makeCurrent();

  int saver = -1;
  std::string saverName;
  if (!chooseSaver(h, output, &saver, &saverName, &error)) {
    std::fprintf(stderr, "ombrel: %s\n", error.c_str());
    return kExitUsage;
  }
  const fs::path outputFolder = fs::path(output).parent_path();
  if (!outputFolder.empty()) {
    fs::create_directories(outputFolder, ec);
    if (ec) {
      std::fprintf(stderr, "ombrel: cannot make the folder %s: %s\n", outputFolder.string().c_str(),
                   ec.message().c_str());
      return kExitUsage;
    }
  }

  // The module, its batch entry, and its start.
  const std::string modulePath = options.modulePath.empty() ? defaultModulePath() : options.modulePath;
  if (modulePath.empty()) {
    std::fprintf(stderr, "ombrel: cannot tell where the program is installed; name the module with --module\n");
    return kExitModule;
  }
  auto module = host::PluginModule::open(modulePath, &error);
  if (!module) {
    std::fprintf(stderr, "ombrel: %s\n", error.c_str());
    return kExitModule;
  }
  auto* batch = reinterpret_cast<OmbrelBatchFunc*>(module->symbol(OMBREL_BATCH_ENTRY));
  if (!batch) {
    std::fprintf(stderr, "ombrel: %s: this module has no batch render entry (%s), so it cannot render here\n",
                 module->path().c_str(), OMBREL_BATCH_ENTRY);
    return kExitModule;
  }
  // The common start runs at a server's first activation; the master's activation only fills
  // in its handler record, as when Layout reads a scene that holds the master.
  const int masterRow = module->find(LWMASTER_HCLASS, "Ombrel");
  if (masterRow < 0) {
    std::fprintf(stderr, "ombrel: %s: the module has no MasterHandler \"Ombrel\"\n", module->path().c_str());
    return kExitModule;
  }
  LWInstanceFuncs instanceFuncs{};
  LWItemFuncs itemFuncs{};
  LWMasterHandler master{};
  master.inst = &instanceFuncs;
  master.item = &itemFuncs;
  const int started = module->activate(masterRow, LWMASTER_VERSION, host::Host::globalFunction(), &master);
  if (started != AFUNC_OK) {
    std::fprintf(stderr, "ombrel: %s: the module did not start (activation gave %d)\n", module->path().c_str(),
                 started);
    return kExitModule;
  }

  // The settings: defaults, the scene's saved panels, then the command line.
  SettingsText defaults("Ombrel");
  defaults.number("LOWFRAME", scene->firstFrame);
  defaults.number("HIGHFRAME", scene->lastFrame);
  defaults.number("STEPFRAME", scene->frameStep);
  defaults.number("AA LEVEL", 8);
  SettingsText flags("Ombrel");
  if (hasRange) {
    flags.number("LOWFRAME", first);
    flags.number("HIGHFRAME", last);
  }
  if (options.first) flags.number("LOWFRAME", double(*options.first));
  if (options.last) flags.number("HIGHFRAME", double(*options.last));
  if (options.step) flags.number("STEPFRAME", double(*options.step));
  flags.radio("STOP", stop);
  if (options.level) flags.number("AA LEVEL", double(*options.level));
  if (options.classic) flags.button("CLASSIC", true);
  if (radiosity >= 0) flags.radio("RADTYPE", radiosity);
  if (strength) flags.number("RADSTRENGTH", *strength);
  if (options.radBounces) flags.number("RADBOUNCE", double(*options.radBounces));
  flags.saveFile(output, saver, saverName);
  const std::string settingsText = defaults.finish() + savedBlock(*scene, "LayoutGeneric", "Ombrel Render") +
                                   savedBlock(*scene, LWMASTER_HCLASS, "Ombrel") + flags.finish();

  // Existing refine files: the module asks once; the flags or a person at the terminal answer.
  bool askedWithoutAnswer = false;
  if (options.refine) h.settings().answer = host::AnswerPolicy::Yes;
  else if (options.replace) h.settings().answer = host::AnswerPolicy::No;
  else if (isatty(STDIN_FILENO)) {
    host::setQuestionHandler(h, [](const std::string& kind, const char* title, const char* a, const char* b) {
      return std::optional(host::askOnTerminal(stdin, stderr, kind, title, a, b));
    });
  } else {
    host::setQuestionHandler(h, [&](const std::string&, const char*, const char*, const char*) {
      askedWithoutAnswer = true;
      h.settings().messagesToStderr = false;  // the module's "User Cancel" says less than we will
      return std::optional(host::AnswerPolicy::Cancel);
    });
  }

  RenderProgress progress;
  progress.terminal = isatty(STDOUT_FILENO);
  LWLayoutGeneric generic{};
  generic.evaluate = host::Host::commandFunction();
  OmbrelBatchHost record{};
  record.version = OMBREL_BATCH_VERSION;
  record.global = host::Host::globalFunction();
  record.generic = &generic;
  record.settings = settingsText.c_str();
  record.status = RenderProgress::onStatus;
  record.statusData = &progress;
  record.stopRequested = &stopRequested;

  int result;
  {
    InterruptGuard guard;
    result = batch(&record);
  }
  progress.closeLine();

  if (askedWithoutAnswer) {
    std::fprintf(stderr,
                 "ombrel: refine files of an earlier render stand beside these frames, and nobody is at a "
                 "terminal to say what to do with them: run again with --refine to take them further, or "
                 "--replace to render the frames afresh\n");
    return kExitUsage;
  }
  if (result != 0 && stopRequested) return kExitInterrupted;  // Ctrl-C while being asked
  if (result == 2) {
    std::fprintf(stderr, "ombrel: the module could not use the host's render record\n");
    return kExitModule;
  }
  if (result != 0) {
    std::fprintf(stderr, "ombrel: the render did not start\n");
    return kExitRenderFailed;
  }
  // The images this run's saver wrote, not whatever else changed in their folder meanwhile.
  const std::vector<std::string> images = host::imagesSaved(h);
  const bool interrupted = stopRequested != 0;
  std::printf("%s after %s. ", interrupted ? "Stopped" : "Done", progress.elapsedClock().c_str());
  if (images.empty()) {
    std::printf("No image was written%s.\n", interrupted ? " (refine files keep what was rendered)" : "");
  } else {
    std::printf("%zu image%s written:\n", images.size(), images.size() == 1 ? "" : "s");
    for (const std::string& image : images) std::printf("  %s\n", image.c_str());
  }
  std::fflush(stdout);
  return interrupted ? kExitInterrupted : kExitOk;
}

}  // namespace

Command addRenderCommand(CLI::App& program) {
  auto options = std::make_shared<RenderOptions>();
  CLI::App* app = program.add_subcommand("render", "Render a range of frames of a scene or an object to image files");
  app->description(
      "Render a range of frames of a scene to image files, time-sliced so that the whole sequence rises in "
      "quality together. Beside each image stand two refine files (.rawhdr, .ombreldat); a later run on the "
      "same frames takes them further. Without a scene, the built-in demo scene is rendered. An object file "
      "(.lwo) renders on its own, framed from above and to the side before a grey backdrop, under a key, a "
      "fill and a rim light.");
  app->add_option("scene", options->scene,
                   "The scene file (.lws) or an object file (.lwo); the demo scene when left out");
  app->add_option("--turntable", options->turntable,
                  "For an object: N frames around it, a full turn, frame k at (k-1)/N of the turn (default: one "
                  "frame)")
      ->option_text("N")
      ->check(CLI::Range(1, 10000));
  app->add_option("--size", options->size,
                  "The picture's size in pixels (default: the scene camera's; 640x480 for an object)")
      ->option_text("WIDTHxHEIGHT");
  app->add_option("--frames", options->frames, "The frames to render, as FIRST-LAST (default: the scene's range)")
      ->option_text("FIRST-LAST");
  app->add_option("--first", options->first, "The first frame")->option_text("N");
  app->add_option("--last", options->last, "The last frame")->option_text("N");
  app->add_option("--step", options->step, "Frames between two rendered frames; negative runs downward")
      ->option_text("N");
  app->add_option("--stop", options->stop,
                  "When the job ends: level (every frame at --level, the default), equal (once all frames "
                  "stand at one level), endless (until Ctrl-C)")
      ->option_text("endless|equal|level");
  app->add_option("--level", options->level,
                  "The quality level to stop at: samples a pixel (default: the scene's saved setting, or 8)")
      ->option_text("N");
  app->add_flag("--classic", options->classic,
                "Render each frame once to the level, with no refine files (\"Classic NON-refinable\")");
  app->add_option("--radiosity", options->radiosity, "Radiosity (default: the scene's saved setting, or off)")
      ->option_text("off|background|montecarlo");
  app->add_option("--rad-strength", options->radStrength, "Radiosity intensity, as 1.0 or 100%")->option_text("X");
  app->add_option("--rad-bounces", options->radBounces, "Monte Carlo bounces, 0 to 10")->option_text("N");
  app->add_option("-o,--output", options->output,
                  "The images' name: \"####\" or four digits stand for the frame number, else it follows the "
                  "name; the extension chooses the format (.exr, .png, .tif, .hdr, .tga, .jpg; .exr when none). "
                  "Default: renders/<scene or object name>.exr")
      ->option_text("NAME");
  auto* refine = app->add_flag("--refine", options->refine, "Take existing refine files of these frames further");
  auto* replace = app->add_flag("--replace", options->replace, "Render the frames afresh over existing refine files");
  refine->excludes(replace);
  app->add_option("--module", options->modulePath, "The module file (default: lib/ombrel/ombrel.p beside bin/)")
      ->option_text("PATH");
  app->footer(
      "Without --refine or --replace, existing refine files are asked about on the terminal; with no terminal "
      "the render stops before it begins. Ctrl-C stops after the frame in hand has written its refine files "
      "(exit 130); a second Ctrl-C quits at once.\n"
      "Exit codes: 0 done, 1 the command line or the scene was not usable, 2 the module could not be loaded "
      "or has no batch render entry, 3 the render could not start, 130 stopped by Ctrl-C.");
  return {app, [options] { return runRender(*options); }};
}

}  // namespace cli
