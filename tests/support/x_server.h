#pragma once
// A private X server for the GUI tests, and a user's hands on it: clicks and keys through
// xdotool, window places, pixels and screenshots. There is no window manager on it, and
// nothing here needs one. A GUI test never skips: a server that cannot start is a failure.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace testx {

// Starts Xvfb on a free display and points DISPLAY at it; the destructor stops it and puts
// DISPLAY back. When it cannot start, ok() is false and error() says why.
class XServer {
 public:
  XServer();
  ~XServer();
  XServer(const XServer&) = delete;
  XServer& operator=(const XServer&) = delete;

  bool ok() const { return error_.empty(); }
  const std::string& error() const { return error_; }
  const std::string& display() const { return display_; }  // ":N"

 private:
  int pid_ = -1;
  std::string display_;
  std::string error_;
  bool hadDisplay_ = false;
  std::string previousDisplay_;
};

// One server for the whole test program, started at the first call and stopped at exit.
// Each call points DISPLAY at it again (a headless test may have cleared it) and fails the
// calling test, with the reason, when there is no server.
::testing::AssertionResult sharedServer();

// For a test program whose every test needs the server:
//   ::testing::AddGlobalTestEnvironment(new testx::XServerEnvironment);
class XServerEnvironment : public ::testing::Environment {
 public:
  void SetUp() override;
  void TearDown() override;

 private:
  std::unique_ptr<XServer> server_;
};

// A click of `button` (1 left, 2 middle, 3 right) at a place on the screen, with the keys
// named in `held` ("shift", "ctrl", "alt") held down around it.
::testing::AssertionResult click(int x, int y, int button = 1, const std::vector<std::string>& held = {});
// Any other input, as xdotool's arguments: {"mousemove", "10", "20", "mousedown", "1"}.
::testing::AssertionResult xdotool(const std::vector<std::string>& args);
// A key press and release, by xdotool's name: "a", "Return", "shift+Tab".
::testing::AssertionResult key(const std::string& name);
// Where a window's top-left pixel is on the screen.
::testing::AssertionResult windowOrigin(unsigned long xid, int* x, int* y);
// The title a window manager would show.
::testing::AssertionResult windowTitle(unsigned long xid, std::string* title);
// The close box of a window manager: a WM_DELETE_WINDOW message to the window.
::testing::AssertionResult sendCloseBox(unsigned long xid);
// The whole screen as a PNG file.
::testing::AssertionResult screenshot(const std::string& path);

// What a window shows, as 0xRRGGBB colours, rows top down.
struct Pixels {
  int width = 0, height = 0;
  std::vector<uint32_t> rgb;
  uint32_t at(int x, int y) const { return rgb[static_cast<size_t>(y * width + x)]; }
};
::testing::AssertionResult windowPixels(unsigned long xid, Pixels* out);

}  // namespace testx
