// The host's general services: which product and application this is, its folders, its
// messages and questions, and the requesters a plug-in may open.
#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <map>
#include <mutex>
#include <string>

#include <lwhost.h>

#include "host/services/host.h"
#include "host/services/host_info.h"

namespace host {

namespace fs = std::filesystem;

namespace {

Host* host() { return Host::current(); }

// ---- "Directory Info" ----

struct Directories {
  std::mutex mutex;
  std::map<std::string, std::string> answers;  // kept so the returned text stays valid
};

std::string contentFolder(const Host& h) {
  if (auto it = h.settings().directories.find(LWFTYPE_CONTENT); it != h.settings().directories.end())
    return it->second;
  if (!h.scene().fileName.empty()) {
    const fs::path folder = fs::absolute(fs::path(h.scene().fileName)).parent_path();
    // A scene kept in Scenes/ of a content folder has that folder as its content.
    if (folder.filename() == "Scenes") return folder.parent_path().string();
    return folder.string();
  }
  std::error_code ec;
  const fs::path cwd = fs::current_path(ec);
  return ec ? std::string(".") : cwd.string();
}

const char* directory(const char* kind) {
  Host* h = host();
  if (!h || !kind) return nullptr;
  std::string answer;
  if (auto it = h->settings().directories.find(kind); it != h->settings().directories.end()) {
    answer = it->second;
  } else {
    static const char* const kUnderContent[] = {LWFTYPE_IMAGES,   LWFTYPE_OBJECTS,   LWFTYPE_SCENES,
                                                LWFTYPE_SURFACES, LWFTYPE_MOTIONS,   LWFTYPE_ENVELOPES,
                                                LWFTYPE_PREVIEWS};
    const std::string content = contentFolder(*h);
    if (std::strcmp(kind, LWFTYPE_CONTENT) == 0) answer = content;
    for (const char* k : kUnderContent)
      if (std::strcmp(kind, k) == 0) answer = (fs::path(content) / k).string();
    if (answer.empty()) return nullptr;
  }
  Directories& d = h->state<Directories>();
  std::lock_guard lock(d.mutex);
  std::string& kept = d.answers[kind];
  if (kept != answer) kept = answer;
  return kept.c_str();
}

// ---- "Info Messages" ----

void info(const char* a, const char* b) {
  if (Host* h = host()) h->showMessage("info", a, b);
}
void error(const char* a, const char* b) {
  if (Host* h = host()) h->showMessage("error", a, b);
}
void warning(const char* a, const char* b) {
  if (Host* h = host()) h->showMessage("warning", a, b);
}

struct Questions {
  std::mutex mutex;
  QuestionHandler handler;
};

AnswerPolicy ask(const char* kind, const char* title, const char* a, const char* b) {
  Host* h = host();
  if (!h) return AnswerPolicy::Cancel;
  QuestionHandler handler;
  {
    Questions& q = h->state<Questions>();
    std::lock_guard lock(q.mutex);
    handler = q.handler;
  }
  const std::optional<AnswerPolicy> given = handler ? handler(kind, title, a, b) : std::nullopt;
  if (!given) return h->ask(kind, title, a, b);
  // Recorded as the policy's answers are; the one who answered has already seen the question.
  HostSettings& settings = h->settings();
  const AnswerPolicy policy = settings.answer;
  const bool toStderr = settings.messagesToStderr;
  settings.answer = *given;
  settings.messagesToStderr = false;
  const AnswerPolicy answer = h->ask(kind, title, a, b);
  settings.answer = policy;
  settings.messagesToStderr = toStderr;
  return answer;
}

// Buttons as Layout numbers them: OK / Yes 1 and Cancel / No 0 for the two-way questions;
// Yes 2, No 1, Cancel 0 for the three-way one.
int okCancel(const char* title, const char* a, const char* b) {
  return ask("okCancel", title, a, b) == AnswerPolicy::Yes ? 1 : 0;
}
int yesNo(const char* title, const char* a, const char* b) {
  return ask("yesNo", title, a, b) == AnswerPolicy::Yes ? 1 : 0;
}
int threeWay(const char* kind, const char* title, const char* a, const char* b) {
  switch (ask(kind, title, a, b)) {
    case AnswerPolicy::Yes: return 2;
    case AnswerPolicy::No: return 1;
    case AnswerPolicy::Cancel: return 0;
  }
  return 0;
}
int yesNoCan(const char* title, const char* a, const char* b) { return threeWay("yesNoCan", title, a, b); }
int yesNoAll(const char* title, const char* a, const char* b) { return threeWay("yesNoAll", title, a, b); }

// ---- "File Request" ----

void copyOut(char* out, const std::string& text, int size) {
  if (!out || size <= 0) return;
  const size_t n = std::min(text.size(), size_t(size - 1));
  std::memcpy(out, text.data(), n);
  out[n] = '\0';
}

// Nobody can choose: the configured path is the choice, and without one the request is
// cancelled. The request itself is shown like a message, so a log tells what was asked.
int fileRequest(const char* hail, char* name, char* path, char* fullName, int buflen) {
  Host* h = host();
  if (!h) return 0;
  const std::string answer = h->settings().fileRequestAnswer;
  h->showMessage("info", (std::string("file request: ") + (hail ? hail : "")).c_str(),
                 answer.empty() ? "cancelled: no file was given" : answer.c_str());
  if (answer.empty() || buflen <= 0 || int(answer.size()) >= buflen) return 0;
  const fs::path p(answer);
  copyOut(fullName, answer, buflen);
  copyOut(name, p.filename().string(), buflen);
  copyOut(path, p.parent_path().string(), buflen);
  return 1;
}

// Nobody can pick a colour: the colour stays and the picker reports a cancel.
int colorPick(const char*, float[3]) { return 0; }

struct HostTables {
  LWMessageFuncs messages{info, error, warning, okCancel, yesNo, yesNoCan, yesNoAll};
  HostDisplayInfo display{};
};

unsigned int productInfoWord(int major, int minor, int build) {
  return ((unsigned(major) & 0xFu) << 20) | ((unsigned(minor) & 0xFu) << 16) | ((unsigned(build) & 0xFFFu) << 4) |
         LWINF_PRODLWAV;
}

}  // namespace

void setQuestionHandler(Host& host, QuestionHandler handler) {
  Questions& q = host.state<Questions>();
  std::lock_guard lock(q.mutex);
  q.handler = std::move(handler);
}

AnswerPolicy askOnTerminal(std::FILE* in, std::FILE* out, const std::string& kind, const char* title,
                           const char* first, const char* second) {
  const bool hasCancel = kind != "yesNo";
  const bool yesNoWords = kind != "okCancel";
  const char* choices = kind == "okCancel" ? "[o]k or [c]ancel" : hasCancel ? "[y]es, [n]o or [c]ancel" : "[y]es or [n]o";
  std::fprintf(out, "\n%s\n", title && *title ? title : "Question");
  if (first && *first) std::fprintf(out, "  %s\n", first);
  if (second && *second) std::fprintf(out, "  %s\n", second);
  for (;;) {
    std::fprintf(out, "Answer %s: ", choices);
    std::fflush(out);
    char line[64];
    if (!std::fgets(line, sizeof line, in)) {
      std::fprintf(out, "\n");
      return hasCancel ? AnswerPolicy::Cancel : AnswerPolicy::No;
    }
    std::string word;
    for (const char* c = line; *c; ++c)
      if (!std::isspace(static_cast<unsigned char>(*c))) word += char(std::tolower(static_cast<unsigned char>(*c)));
    if (yesNoWords && (word == "y" || word == "yes")) return AnswerPolicy::Yes;
    if (yesNoWords && (word == "n" || word == "no")) return AnswerPolicy::No;
    if (!yesNoWords && (word == "o" || word == "ok")) return AnswerPolicy::Yes;
    if (hasCancel && (word == "c" || word == "cancel")) return AnswerPolicy::Cancel;
  }
}

void registerHostInfo(Host& host) {
  HostTables& t = host.state<HostTables>();
  ServiceRegistry& s = host.services();
  // The two words travel as the lookup's value itself.
  s.add(LWPRODUCTINFO_GLOBAL, [&host](int) -> void* {
    const HostSettings& c = host.settings();
    return reinterpret_cast<void*>(uintptr_t(productInfoWord(c.productMajor, c.productMinor, c.productBuild)));
  });
  s.add(LWSYSTEMID_GLOBAL, [&host](int) -> void* {
    unsigned int word = 1;  // the serial number
    switch (host.settings().application) {
      case Application::Layout: word |= LWSYS_LAYOUT; break;
      case Application::Modeler: word |= LWSYS_MODELER; break;
      case Application::RenderNode: word |= LWSYS_SCREAMERNET; break;
    }
    return reinterpret_cast<void*>(uintptr_t(word));
  });
  s.addVersioned(LWMESSAGEFUNCS_GLOBAL, 3, [&t](int) -> void* { return &t.messages; });
  s.addVersioned(LWDIRINFOFUNC_GLOBAL, 2, [](int) -> void* { return reinterpret_cast<void*>(&directory); });
  s.add(LWFILEREQFUNC_GLOBAL, [](int) -> void* { return reinterpret_cast<void*>(&fileRequest); });
  s.add(LWCOLORPICKFUNC_GLOBAL, [](int) -> void* { return reinterpret_cast<void*>(&colorPick); });
  s.add(LWHOSTDISPLAYINFO_GLOBAL, [&host, &t](int) -> void* {
    if (t.display.xsys != host.settings().display) t.display.xsys = host.settings().display;
    if (t.display.window != host.settings().window) t.display.window = host.settings().window;
    // The table itself lives in the settings, so a change there is what the next panel sees.
    t.display.colourCount = int(host.settings().colours.size());
    t.display.colours = host.settings().colours.data();
    return &t.display;
  });
}

}  // namespace host
