// The About panel: its texts, the lucky numbers of each opening, and the links, which start
// xdg-open in a grandchild of its own session: nothing waits for the browser, and no zombie
// is left behind, whatever the host does with SIGCHLD.
#include "toolkit/about_panel.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "toolkit/control_draw.h"
#include "toolkit/panel_frame.h"
#include "toolkit/text_control.h"

extern char** environ;

namespace {

constexpr char kBuildDate[] = __DATE__;
constexpr char kProgramName[] = "Ombrel";
constexpr char kOpener[] = "xdg-open";
constexpr char kReadme[] = "README.md";
constexpr char kInstalledReadme[] = "../../share/doc/ombrel/README.md";  // from lib/ombrel/ombrel.p
constexpr int kSourceTreeLevels = 4;  // how far up from the module a source tree's README may stand

constexpr int32_t kMargin = 14;
constexpr int32_t kLineStep = 22;
constexpr int32_t kTargetGap = 4;  // a link's label to its target
constexpr int32_t kMinimumWidth = 360;
constexpr int32_t kMaximumWidth = 900;
constexpr int32_t kBottomRoom = 40;  // below the last line: the frame's OK row

// Openings since the module was loaded.
std::atomic<long> openings{0};

uint64_t mix(uint64_t x) {
  x += 0x9E3779B97F4A7C15ull;
  x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ull;
  x = (x ^ (x >> 27)) * 0x94D049BB133111EBull;
  return x ^ (x >> 31);
}

std::string directoryOfModule() {
  Dl_info info{};
  if (!dladdr(reinterpret_cast<void*>(&aboutPanelOpen), &info) || !info.dli_fname) return {};
  char resolved[PATH_MAX];
  if (!realpath(info.dli_fname, resolved)) return {};
  std::string path(resolved);
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

bool readable(const std::string& path) { return !path.empty() && access(path.c_str(), R_OK) == 0; }

std::string findReadme() {
  const std::string here = directoryOfModule();
  if (here.empty()) return {};
  char resolved[PATH_MAX];
  const std::string installed = here + "/" + kInstalledReadme;
  if (readable(installed) && realpath(installed.c_str(), resolved)) return resolved;
  std::string dir = here;
  for (int level = 0; level < kSourceTreeLevels && !dir.empty(); ++level) {
    if (readable(dir + "/" + kReadme)) return dir + "/" + kReadme;
    dir = dir.substr(0, dir.rfind('/'));
  }
  return {};
}

// The opener's full path from PATH, found before forking: the child may only make calls that
// are safe after a fork in a threaded process.
std::string findOpener() {
  const char* path = std::getenv("PATH");
  std::string dirs = path ? path : "/usr/local/bin:/usr/bin:/bin";
  size_t start = 0;
  while (start <= dirs.size()) {
    const size_t end = std::min(dirs.find(':', start), dirs.size());
    const std::string candidate = dirs.substr(start, end - start) + "/" + kOpener;
    if (end > start && access(candidate.c_str(), X_OK) == 0) return candidate;
    start = end + 1;
  }
  return {};
}

void openTarget(const char* target) {
  if (!target || !*target) return;
  const std::string opener = findOpener();
  if (opener.empty()) return;
  char* const argv[] = {const_cast<char*>(kOpener), const_cast<char*>(target), nullptr};
  const pid_t child = fork();
  if (child < 0) return;
  if (child == 0) {
    if (fork() == 0) {
      setsid();
      const int null = open("/dev/null", O_RDWR);
      if (null >= 0) {
        dup2(null, 0);
        dup2(null, 1);
        dup2(null, 2);
      }
      execve(opener.c_str(), argv, environ);
      _exit(127);
    }
    _exit(0);
  }
  // Only the middle process, which ends at once; the opener itself is the init process's.
  while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
  }
}

int32_t onLink(PanelControl*) {
  openTarget(aboutReadmePath());
  return 0;
}

// A line of text; null when memory runs out.
TextControl* line(Panel* panel, const char* name, int32_t y, const char* text, int32_t* widest) {
  TextControl* t = textCreate(name, kMargin, y, panel, text);
  if (t) *widest = std::max(*widest, t->width);
  return t;
}

// A link's label, which is the link where there is a target, and the target after it.
bool link(Panel* panel, const char* name, int32_t y, const char* label, int32_t* widest) {
  TextControl* t = line(panel, name, y, label, widest);
  if (!t) return false;
  const char* target = aboutReadmePath();
  if (!*target) return true;
  t->link = 1;
  t->onChange = onLink;
  char targetName[kControlNameSize];
  std::snprintf(targetName, sizeof targetName, "%s_TARGET", name);
  TextControl* shown = textCreate(targetName, kMargin + t->width + kTargetGap, y, panel, target);
  if (!shown) return false;
  *widest = std::max(*widest, t->width + kTargetGap + shown->width);
  return true;
}

}  // namespace

void aboutLotteryNumbers(long opening, long* first, long* second) {
  const auto n = uint64_t(opening);
  if (first) *first = long(mix(2 * n) % uint64_t(kAboutLotteryRange)) + 1;
  if (second) *second = long(mix(2 * n + 1) % uint64_t(kAboutLotteryRange)) + 1;
}

const char* aboutReadmePath() {
  static const std::string* path = new std::string(findReadme());  // never freed: panels may outlive statics
  return path->c_str();
}

Panel* aboutPanelCreate(Panel* caller, long opening) {
  Panel* panel = PanelCreate(kAboutTitle, nullptr, 0);
  if (!panel) return nullptr;
  panel->options = kPanelShowTitle | kPanelCloseButton;  // no title image: it would open another About
  char version[128], lottery[128];
  std::snprintf(version, sizeof version, kAboutVersion, caller ? caller->version : 0.0, OMBREL_VERSION, kBuildDate);
  long a = 0, b = 0;
  aboutLotteryNumbers(opening, &a, &b);
  std::snprintf(lottery, sizeof lottery, kAboutLottery, a, b);
  int32_t widest = 0;
  int32_t y = panelFrameTop(panel) + kLineStep / 2;
  bool made = line(panel, "ABOUT_NAME", y, kProgramName, &widest);
  made = made && line(panel, "ABOUT_VERSION", y += kLineStep, version, &widest);
  made = made && line(panel, "ABOUT_LOTTERY", y += kLineStep, lottery, &widest);
  made = made && link(panel, "ABOUT_WEB", y += kLineStep, kAboutWebPage, &widest);
  made = made && link(panel, "ABOUT_SUPPORT", y += kLineStep, kAboutSupport, &widest);
  if (!made) {
    PanelDestroy(panel);
    return nullptr;
  }
  panel->width = std::clamp(widest + 2 * kMargin, kMinimumWidth, kMaximumWidth);
  panel->height = y + kLineStep + kBottomRoom;
  panel->minWidth = panel->maxWidth = panel->width;
  panel->minHeight = panel->maxHeight = panel->height;
  return panel;
}

void aboutPanelOpen(Panel* caller) {
  Panel* panel = aboutPanelCreate(caller, openings.fetch_add(1));
  if (!panel) return;
  PanelOpen(panel, caller && caller->isOpen ? caller : nullptr);  // a closed parent would close it at once
  PanelDestroy(panel);
}
