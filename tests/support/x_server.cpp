#include "support/x_server.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/window.h"

#include <chrono>
#include <mutex>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

#include "support/run_program.h"

extern char** environ;

// The font library loses a few bytes of its own while it reads its configuration, once per
// process, and so does Mesa's software OpenGL driver when its last context goes; the leak
// checker of the sanitizer builds is told so, to keep reporting ours.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
  return "leak:libfontconfig.so\nleak:swrast_dri.so\n";
}

namespace testx {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kStartSeconds = 20;  // a loaded machine can be slow to start a server
constexpr int kToolSeconds = 20;
constexpr int kDisplayFd = 9;      // where Xvfb writes the display number it chose

// Runs a tool found on PATH; a failure names the tool and what it said.
::testing::AssertionResult runTool(const std::vector<std::string>& args) {
  const testproc::Outcome outcome = testproc::run("/usr/bin/env", args, kToolSeconds);
  if (outcome.exitCode == 0) return ::testing::AssertionSuccess();
  std::string command;
  for (const auto& a : args) command += (command.empty() ? "" : " ") + a;
  auto failure = ::testing::AssertionFailure() << "`" << command << "` failed";
  if (outcome.exitCode == 127) failure << " (not installed? run scripts/setup)";
  if (outcome.signal) failure << " (signal " << outcome.signal << ")";
  return failure << ": " << outcome.err;
}

// A connection of the test's own, beside the code under test's, opened and closed under the
// windows' lock like theirs.
struct Connection {
  Display* display = open();
  ~Connection() {
    if (!display) return;
    std::lock_guard<std::mutex> hold(windowDisplayLock());
    XCloseDisplay(display);
  }
  static Display* open() {
    std::lock_guard<std::mutex> hold(windowDisplayLock());
    return XOpenDisplay(nullptr);
  }
};

std::string fileText(const std::string& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

std::unique_ptr<XServer>& shared() {
  static std::unique_ptr<XServer> server;
  return server;
}

}  // namespace

XServer::XServer() {
  if (const char* d = getenv("DISPLAY")) {
    hadDisplay_ = true;
    previousDisplay_ = d;
  }
  int pipeFds[2];
  if (pipe2(pipeFds, O_CLOEXEC) != 0) {
    error_ = "cannot make a pipe for Xvfb";
    return;
  }
  char logPath[] = "/tmp/ombrel-xvfb-XXXXXX";
  const int logFd = mkstemp(logPath);
  if (logFd >= 0) close(logFd);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 2, logFd >= 0 ? logPath : "/dev/null", O_WRONLY | O_TRUNC, 0);
  posix_spawn_file_actions_adddup2(&actions, pipeFds[1], kDisplayFd);
  const std::string fdText = std::to_string(kDisplayFd);
  std::vector<std::string> args = {"Xvfb",  "-displayfd", fdText,   "-screen", "0",
                                   "1280x1024x24", "-nolisten", "tcp", "-noreset"};
  std::vector<char*> argv;
  for (auto& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  pid_t pid = -1;
  const int spawned = posix_spawnp(&pid, "Xvfb", &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(pipeFds[1]);
  if (spawned != 0) {
    close(pipeFds[0]);
    if (logFd >= 0) unlink(logPath);
    error_ = "cannot run Xvfb (not installed? run scripts/setup)";
    return;
  }
  pid_ = pid;

  // Xvfb writes the display number once it listens; an end of file means it gave up.
  std::string number;
  const auto deadline = Clock::now() + std::chrono::seconds(kStartSeconds);
  for (;;) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    pollfd fd = {pipeFds[0], POLLIN, 0};
    if (left <= 0 || poll(&fd, 1, static_cast<int>(left)) <= 0) break;
    char c;
    if (read(pipeFds[0], &c, 1) != 1 || c == '\n') break;
    number.push_back(c);
  }
  close(pipeFds[0]);
  const std::string log = logFd >= 0 ? fileText(logPath) : "";
  if (logFd >= 0) unlink(logPath);
  if (number.empty()) {
    error_ = "Xvfb did not start within " + std::to_string(kStartSeconds) + " s: " + log;
    return;
  }
  display_ = ":" + number;
  setenv("DISPLAY", display_.c_str(), 1);
  Connection probe;
  if (!probe.display) error_ = "Xvfb started on " + display_ + " but refuses connections";
}

XServer::~XServer() {
  if (pid_ > 0) {
    kill(pid_, SIGTERM);
    int status = 0;
    const auto deadline = Clock::now() + std::chrono::seconds(5);
    while (waitpid(pid_, &status, WNOHANG) == 0) {
      if (Clock::now() > deadline) {
        kill(pid_, SIGKILL);
        waitpid(pid_, &status, 0);
        break;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
  }
  if (hadDisplay_)
    setenv("DISPLAY", previousDisplay_.c_str(), 1);
  else
    unsetenv("DISPLAY");
}

::testing::AssertionResult sharedServer() {
  auto& server = shared();
  if (!server) server = std::make_unique<XServer>();
  if (!server->ok()) return ::testing::AssertionFailure() << "no X server for the GUI tests: " << server->error();
  setenv("DISPLAY", server->display().c_str(), 1);
  return ::testing::AssertionSuccess();
}

void XServerEnvironment::SetUp() {
  server_ = std::make_unique<XServer>();
  ASSERT_TRUE(server_->ok()) << "no X server for the GUI tests: " << server_->error();
}

void XServerEnvironment::TearDown() { server_.reset(); }

::testing::AssertionResult click(int x, int y, int button, const std::vector<std::string>& held) {
  std::vector<std::string> args = {"xdotool"};
  for (const auto& k : held) args.insert(args.end(), {"keydown", k});
  args.insert(args.end(), {"mousemove", std::to_string(x), std::to_string(y), "click", std::to_string(button)});
  for (const auto& k : held) args.insert(args.end(), {"keyup", k});
  return runTool(args);
}

::testing::AssertionResult key(const std::string& name) { return runTool({"xdotool", "key", name}); }

::testing::AssertionResult xdotool(const std::vector<std::string>& args) {
  std::vector<std::string> all = {"xdotool"};
  all.insert(all.end(), args.begin(), args.end());
  return runTool(all);
}

::testing::AssertionResult windowOrigin(unsigned long xid, int* x, int* y) {
  Connection c;
  if (!c.display) return ::testing::AssertionFailure() << "cannot open the display";
  Window through = 0;
  if (!XTranslateCoordinates(c.display, xid, DefaultRootWindow(c.display), 0, 0, x, y, &through))
    return ::testing::AssertionFailure() << "window " << xid << " is not on the screen";
  return ::testing::AssertionSuccess();
}

::testing::AssertionResult windowTitle(unsigned long xid, std::string* title) {
  Connection c;
  if (!c.display) return ::testing::AssertionFailure() << "cannot open the display";
  char* name = nullptr;
  if (!XFetchName(c.display, xid, &name) || !name) return ::testing::AssertionFailure() << "window " << xid << " has no title";
  *title = name;
  XFree(name);
  return ::testing::AssertionSuccess();
}

::testing::AssertionResult sendCloseBox(unsigned long xid) {
  Connection c;
  if (!c.display) return ::testing::AssertionFailure() << "cannot open the display";
  XEvent event{};
  event.xclient.type = ClientMessage;
  event.xclient.window = xid;
  event.xclient.message_type = XInternAtom(c.display, "WM_PROTOCOLS", False);
  event.xclient.format = 32;
  event.xclient.data.l[0] = static_cast<long>(XInternAtom(c.display, "WM_DELETE_WINDOW", False));
  event.xclient.data.l[1] = CurrentTime;
  if (!XSendEvent(c.display, xid, False, NoEventMask, &event))
    return ::testing::AssertionFailure() << "cannot send to window " << xid;
  XSync(c.display, False);
  return ::testing::AssertionSuccess();
}

::testing::AssertionResult screenshot(const std::string& path) {
  return runTool({"import", "-window", "root", path});
}

::testing::AssertionResult windowPixels(unsigned long xid, Pixels* out) {
  Connection c;
  if (!c.display) return ::testing::AssertionFailure() << "cannot open the display";
  XWindowAttributes attributes;
  if (!XGetWindowAttributes(c.display, xid, &attributes))
    return ::testing::AssertionFailure() << "no window " << xid;
  XImage* image = XGetImage(c.display, xid, 0, 0, static_cast<unsigned>(attributes.width),
                            static_cast<unsigned>(attributes.height), AllPlanes, ZPixmap);
  if (!image) return ::testing::AssertionFailure() << "cannot read window " << xid << " (not mapped?)";
  out->width = attributes.width;
  out->height = attributes.height;
  out->rgb.resize(static_cast<size_t>(out->width) * static_cast<size_t>(out->height));
  for (int y = 0; y < out->height; ++y)
    for (int x = 0; x < out->width; ++x)
      out->rgb[static_cast<size_t>(y * out->width + x)] = static_cast<uint32_t>(XGetPixel(image, x, y) & 0xFFFFFF);
  XDestroyImage(image);
  return ::testing::AssertionSuccess();
}

}  // namespace testx
