#include "support/test_host.h"

#include <cstdint>

namespace testhost {

namespace {
TestHost* currentHost = nullptr;

void record(const char* kind, const char* first, const char* second) {
  if (currentHost)
    currentHost->messages.push_back({kind, first ? first : "", second ? second : ""});
}
void infoFunc(const char* a, const char* b) { record("info", a, b); }
void errorFunc(const char* a, const char* b) { record("error", a, b); }
void warningFunc(const char* a, const char* b) { record("warning", a, b); }
int questionFunc(const char*, const char*, const char*) { return 0; }

void setSurfaceFunc(LWSurfaceID surface) {
  if (currentHost) currentHost->surfacesSet.push_back(surface);
}
}  // namespace

const std::vector<ServiceName> kStartServices = {
    {"File Request", 1},       {"Color Picker", 1},      {"Info Messages", 3},
    {"Directory Info", 2},     {"Surface Functions", 3}, {"LW Light Info 3", 1},
    {"LW Light Info", 2},      {"LW Camera Info", 2},    {"LW Image List", 3},
    {"LW Bone Info", 2},       {"LW Item Info", 4},      {"Scene Objects", 3},
    {"LW Object Info", 4},     {"LW Backdrop Info", 2},  {"Texture Functions", 3},
    {"Animation Envelopes", 1},
};

unsigned int productWord(int major, int minor, int build) {
  return (static_cast<unsigned int>(major) << 20) | (static_cast<unsigned int>(minor) << 16) |
         (static_cast<unsigned int>(build) << 4) | LWINF_PRODLWAV;
}

TestHost::TestHost()
    : productInfo_(productWord(9, 6, 2000)), systemId_(LWSYS_LAYOUT), previous_(currentHost) {
  currentHost = this;
  messageFuncs = {infoFunc, errorFunc, warningFunc, questionFunc, questionFunc, questionFunc, questionFunc};
  surfaceEditor.setSurface = setSurfaceFunc;
  generic_.data = this;
  generic_.evaluate = evaluateFunc;
  for (const auto& s : kStartServices) {
    const std::string name =
        s.highestVersion > 1 ? s.name + std::string(" ") + std::to_string(s.highestVersion) : s.name;
    answer(name, table(name));
  }
  answer("Info Messages 3", &messageFuncs);
  answer("Info Messages", &messageFuncs);
  answer("SurfaceEditor Functions", &surfaceEditor);
}

TestHost::~TestHost() { currentHost = previous_; }

TestHost* TestHost::current() { return currentHost; }

GlobalFunc* TestHost::global() const { return &TestHost::globalFunc; }

void TestHost::answer(const std::string& name, void* table) {
  if (table)
    answers_[name] = table;
  else
    answers_.erase(name);
}

void TestHost::leaveOut(const std::string& name) {
  answers_.erase(name);
  for (int v = 2; v <= 9; ++v) answers_.erase(name + " " + std::to_string(v));
}

void TestHost::answerNothing() { answers_.clear(); }

std::vector<std::string> TestHost::versionedNames(const std::string& name, int highestVersion) {
  std::vector<std::string> names;
  for (int v = highestVersion; v >= 2; --v) names.push_back(name + " " + std::to_string(v));
  names.push_back(name);
  return names;
}

void* TestHost::table(const std::string& name) const {
  auto it = answers_.find(name);
  if (it != answers_.end()) return it->second;
  // A zeroed block per name, so that each service has an address of its own.
  auto& block = standIns_[name];
  if (block.empty()) block.assign(4096, 0);
  return block.data();
}

std::vector<std::string> TestHost::lookupNames() const {
  std::vector<std::string> names;
  for (const auto& l : lookups) names.push_back(l.name);
  return names;
}

void TestHost::clearRecords() {
  lookups.clear();
  commands.clear();
  messages.clear();
  surfacesSet.clear();
}

void* TestHost::globalFunc(const char* name, int use) {
  TestHost* host = currentHost;
  if (!host || !name) return nullptr;
  host->lookups.push_back({name, use});
  const std::string key = name;
  if (key == LWPRODUCTINFO_GLOBAL) return reinterpret_cast<void*>(static_cast<uintptr_t>(host->productInfo_));
  if (key == LWSYSTEMID_GLOBAL) return reinterpret_cast<void*>(static_cast<uintptr_t>(host->systemId_));
  auto it = host->answers_.find(key);
  return it == host->answers_.end() ? nullptr : it->second;
}

int TestHost::evaluateFunc(void* data, const char* command) {
  auto* host = static_cast<TestHost*>(data);
  host->commands.push_back(command ? command : "");
  if (host->onCommand) host->onCommand(host->commands.back());
  return 1;
}

}  // namespace testhost
