#pragma once
// The stand-in for Layout as a plug-in sees it: a scene model, the current time, the
// interface state, and the global function through which every service is found.
//
// The global function carries no context, so exactly one Host is current at a time: the
// newest one made, or the one last made current. Every service function reaches its data
// through Host::current().
#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <typeindex>
#include <vector>

#include <lwgeneric.h>
#include <lwhost.h>
#include <lwserver.h>
#include <lwtypes.h>

#include "host/scene/scene.h"
#include "host/services/service_registry.h"

namespace host {

// The answer the host gives to questions when nobody is there to answer them.
enum class AnswerPolicy { Yes, No, Cancel };

// Which program the host stands in for, as "System ID" tells it.
enum class Application { Layout, Modeler, RenderNode };

struct HostSettings {
  Application application = Application::Layout;
  // "Product Info": LightWave 9.6.
  int productMajor = 9, productMinor = 6, productBuild = 2100;
  AnswerPolicy answer = AnswerPolicy::Yes;
  // Folders of "Directory Info" by kind ("Content", "Images", ...). A kind not given here
  // falls back: Content is the scene's folder (or the working folder), and Images, Objects,
  // Scenes and the like are folders of that name under Content.
  std::map<std::string, std::string> directories;
  // What "File Request" answers when no one can choose: this path, or a cancel when empty.
  std::string fileRequestAnswer;
  // Messages go to standard error as one line each; false keeps them only in messages().
  bool messagesToStderr = true;
  // "Host Display Info": the display and window to parent windows to; null and 0 headless.
  void* display = nullptr;
  unsigned long window = 0;
  // The colours of the host's interface, 0xRRGGBB in the order of LWHOSTCOLOUR_*: Layout's
  // mid greys, a warm highlight that reads well with black text on it.
  std::array<unsigned, LWHOSTCOLOUR_COUNT> colours{
      0x8A8A8A,  // background
      0xA2A2A2,  // face
      0xD0D0D0,  // light
      0x686868,  // shadow
      0x303030,  // dark
      0x000000,  // text
      0x585858,  // disabled text
      0xE6BE48,  // highlight
      0x000000,  // highlight text
      0xC6C6C6,  // edit field
      0x7C7C7C,  // inset
  };
};

struct HostMessage {
  std::string kind;  // "info", "error", "warning", or the question's kind ("yesNo" ...)
  std::string first;
  std::string second;
  bool operator==(const HostMessage&) const = default;
};

// One command as the host took it.
struct CommandRecord {
  std::string text;               // as sent
  std::string name;               // the first word
  std::vector<std::string> args;  // the rest, split at blanks
  bool known = false;             // a command of the host's own language
  bool ok = false;                // what evaluate returned
};

// The interface's state: what "LW Interface Info" tells and the commands change.
struct InterfaceState {
  std::vector<int> selection;        // item indices, the current item last
  int boundingBoxThreshold = 5000;
  int dynamicUpdate = 2;             // interactive
  std::map<std::string, bool> editors;  // "SurfaceEditor", "ImageEditor" ... open or closed
  LWSurfaceID currentSurface = nullptr; // the Surface Editor's current surface
  // Shaders applied to surfaces by Surf_AddShader, in order, per surface.
  std::map<LWSurfaceID, std::vector<std::string>> surfaceShaders;
  // Servers applied by ApplyServer: (class, name), in order.
  std::vector<std::pair<std::string, std::string>> appliedServers;
};

// Cross-family links: a family that owns one kind of id fills in its entry, so others can
// hand out that id without knowing the family.
struct HostLinks {
  // The image list's id of an image the scene names by path (loaded if need be), or null.
  std::function<LWImageID(const std::string& path)> imageByPath;
  // The texture of an object's clip map (item index), or null.
  std::function<LWTextureID(int item)> clipMapTexture;
};

class Host {
 public:
  explicit Host(std::shared_ptr<Scene> scene = std::make_shared<Scene>(), HostSettings settings = {});
  explicit Host(Scene scene, HostSettings settings = {});
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  // The current host, or null.
  static Host* current();
  void makeCurrent();

  // The global function to hand to a plug-in; it answers from the current host.
  static GlobalFunc* globalFunction();
  // A lookup as the plug-in makes it; also recorded in lookups().
  void* global(const char* name, int use);

  Scene& scene() { return *scene_; }
  const Scene& scene() const { return *scene_; }
  std::shared_ptr<Scene> sharedScene() const { return scene_; }
  // Puts a new scene in place (a file read again); the time stays.
  void replaceScene(std::shared_ptr<Scene> scene);
  // Tells the services that the model was changed by hand, so that the tables that hold
  // values (scene, fog, backdrop, interface) are brought up to date.
  void sceneChanged();

  const HostSettings& settings() const { return settings_; }
  HostSettings& settings() { return settings_; }

  double time() const { return time_.load(); }
  void setTime(double seconds);
  double frame() const;  // time x frames per second

  InterfaceState& interfaceState() { return interface_; }
  const InterfaceState& interfaceState() const { return interface_; }

  ServiceRegistry& services() { return services_; }
  HostLinks& links() { return links_; }

  // Runs one command line of the command language. Non-zero on success.
  int evaluate(const std::string& command);
  // The command functions to hand to a plug-in: the generic's evaluate (data is ignored) and
  // the single-argument one of "LW Command Interface". Both run evaluate on the current host.
  static LWCommandFunc* commandFunction();
  // Every command sent so far, in order.
  const std::vector<CommandRecord>& commands() const { return commands_; }
  // Told of every command after the host has carried it out.
  void addCommandListener(std::function<void(const CommandRecord&)> listener);
  // Asked for commands the host itself doesn't know; returns whether it carried it out.
  void setUnknownCommandHandler(std::function<bool(const CommandRecord&)> handler);

  // Messages shown and questions asked so far.
  std::vector<HostMessage> messages() const;
  // "info", "error" or "warning": one line on standard error, "ombrel: error: first — second".
  void showMessage(const std::string& kind, const char* first, const char* second);
  // A question of the given kind ("yesNo" ...): the policy answers it. Recorded with the title
  // in front of the first line, and shown as one line.
  AnswerPolicy ask(const std::string& kind, const char* title, const char* first, const char* second);

  struct Lookup {
    std::string name;
    int use;
  };
  std::vector<Lookup> lookups() const;

  // One object of type T per host, made on first use: a family keeps its tables and
  // bookkeeping in it.
  template <class T>
  T& state() {
    {
      std::shared_lock lock(stateMutex_);
      auto it = states_.find(std::type_index(typeid(T)));
      if (it != states_.end()) return *static_cast<T*>(it->second.get());
    }
    std::unique_lock lock(stateMutex_);
    auto& slot = states_[std::type_index(typeid(T))];
    if (!slot) slot = std::make_shared<T>();
    return *static_cast<T*>(slot.get());
  }

  // Run whenever the time or the scene changes; families refresh their value tables here.
  void addRefresh(std::function<void()> refresh);

 private:
  void refreshAll();
  bool runCommand(CommandRecord& record);

  std::shared_ptr<Scene> scene_;
  HostSettings settings_;
  std::atomic<double> time_{0.0};
  InterfaceState interface_;
  ServiceRegistry services_;
  HostLinks links_;

  std::vector<CommandRecord> commands_;
  std::vector<std::function<void(const CommandRecord&)>> commandListeners_;
  std::function<bool(const CommandRecord&)> unknownCommand_;
  mutable std::mutex messageMutex_;
  std::vector<HostMessage> messages_;
  mutable std::mutex lookupMutex_;
  std::vector<Lookup> lookups_;
  std::vector<std::function<void()>> refreshers_;

  std::shared_mutex stateMutex_;
  std::map<std::type_index, std::shared_ptr<void>> states_;
};

// Every family's register function, in one call; the Host's constructor runs it.
void registerAllServices(Host& host);

}  // namespace host
