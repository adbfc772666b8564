#include "host/services/host.h"

#include <cmath>
#include <cstdio>

namespace host {

namespace {

std::atomic<Host*> currentHost{nullptr};

// Enough to see what a start or a capture asked for; a long render's own lookups stop being
// kept after this many.
constexpr size_t kLookupLogLimit = 4096;

void* globalTrampoline(const char* name, int use) {
  Host* h = currentHost.load();
  return h && name ? h->global(name, use) : nullptr;
}

int commandTrampoline(void* /*data*/, const char* command) {
  Host* h = currentHost.load();
  return h && command ? h->evaluate(command) : 0;
}

}  // namespace

Host::Host(std::shared_ptr<Scene> scene, HostSettings settings)
    : scene_(scene ? std::move(scene) : std::make_shared<Scene>()), settings_(std::move(settings)) {
  time_ = scene_->framesPerSecond > 0.0 ? scene_->currentFrame / scene_->framesPerSecond : 0.0;
  makeCurrent();
  registerAllServices(*this);
  refreshAll();
}

Host::Host(Scene scene, HostSettings settings)
    : Host(std::make_shared<Scene>(std::move(scene)), std::move(settings)) {}

Host::~Host() {
  Host* self = this;
  currentHost.compare_exchange_strong(self, nullptr);
}

Host* Host::current() { return currentHost.load(); }

void Host::makeCurrent() { currentHost.store(this); }

GlobalFunc* Host::globalFunction() { return &globalTrampoline; }

LWCommandFunc* Host::commandFunction() { return &commandTrampoline; }

void* Host::global(const char* name, int use) {
  {
    std::lock_guard lock(lookupMutex_);
    if (lookups_.size() < kLookupLogLimit) lookups_.push_back({name, use});
  }
  return services_.find(name, use);
}

std::vector<Host::Lookup> Host::lookups() const {
  std::lock_guard lock(lookupMutex_);
  return lookups_;
}

void Host::replaceScene(std::shared_ptr<Scene> scene) {
  if (!scene) return;
  scene_ = std::move(scene);
  // Indices of the old scene mean nothing in the new one.
  interface_.selection.clear();
  refreshAll();
}

void Host::sceneChanged() { refreshAll(); }

void Host::setTime(double seconds) {
  if (!std::isfinite(seconds)) return;
  time_ = seconds;
  refreshAll();
}

double Host::frame() const { return time() * scene_->framesPerSecond; }

void Host::addRefresh(std::function<void()> refresh) {
  refreshers_.push_back(std::move(refresh));
  refreshers_.back()();
}

void Host::refreshAll() {
  for (auto& r : refreshers_) r();
}

void Host::addCommandListener(std::function<void(const CommandRecord&)> listener) {
  commandListeners_.push_back(std::move(listener));
}

void Host::setUnknownCommandHandler(std::function<bool(const CommandRecord&)> handler) {
  unknownCommand_ = std::move(handler);
}

namespace {

const char* answerWord(AnswerPolicy a) {
  switch (a) {
    case AnswerPolicy::Yes: return "yes";
    case AnswerPolicy::No: return "no";
    case AnswerPolicy::Cancel: return "cancel";
  }
  return "";
}

}  // namespace

std::vector<HostMessage> Host::messages() const {
  std::lock_guard lock(messageMutex_);
  return messages_;
}

void Host::showMessage(const std::string& kind, const char* first, const char* second) {
  HostMessage m{kind, first ? first : "", second ? second : ""};
  if (settings_.messagesToStderr) {
    if (m.second.empty()) std::fprintf(stderr, "ombrel: %s: %s\n", kind.c_str(), m.first.c_str());
    else std::fprintf(stderr, "ombrel: %s: %s \xE2\x80\x94 %s\n", kind.c_str(), m.first.c_str(), m.second.c_str());
  }
  std::lock_guard lock(messageMutex_);
  messages_.push_back(std::move(m));
}

AnswerPolicy Host::ask(const std::string& kind, const char* title, const char* first, const char* second) {
  const AnswerPolicy answer = settings_.answer;
  std::string head = title && *title ? std::string(title) + ": " : std::string();
  HostMessage m{kind, head + (first ? first : ""), second ? second : ""};
  if (settings_.messagesToStderr) {
    if (m.second.empty())
      std::fprintf(stderr, "ombrel: question: %s (answered %s)\n", m.first.c_str(), answerWord(answer));
    else
      std::fprintf(stderr, "ombrel: question: %s \xE2\x80\x94 %s (answered %s)\n", m.first.c_str(),
                   m.second.c_str(), answerWord(answer));
  }
  std::lock_guard lock(messageMutex_);
  messages_.push_back(std::move(m));
  return answer;
}

}  // namespace host
