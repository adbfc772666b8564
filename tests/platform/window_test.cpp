#include "platform/window.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include "support/x_server.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr WindowColour kWhite = 0xFFFFFF, kBlack = 0x000000, kRed = 0xFF0000, kBlue = 0x0000FF;

WindowConfig configOf(int32_t x, int32_t y, int32_t width, int32_t height) {
  WindowConfig c{};
  c.title = "window test";
  c.x = x;
  c.y = y;
  c.width = width;
  c.height = height;
  c.minWidth = c.minHeight = 10;
  c.maxWidth = c.maxHeight = 1000;
  return c;
}

WindowMessage posted(uintptr_t value) {
  WindowMessage m{};
  m.kind = kWindowPosted;
  m.wParam = value;
  return m;
}

// Takes messages until one of `kind` comes; false when none does within `ms`.
bool waitFor(PlatformWindow* window, WindowMessageKind kind, WindowMessage* out, uint32_t ms = 5000) {
  const auto deadline = Clock::now() + milliseconds(ms);
  while (Clock::now() < deadline) {
    const auto left = std::chrono::duration_cast<milliseconds>(deadline - Clock::now()).count();
    if (windowWaitMessage(window, out, static_cast<uint32_t>(std::max<long long>(left, 1))) && out->kind == kind)
      return true;
  }
  return false;
}

// No DISPLAY while the test runs: the window is only a message port.
class HeadlessWindow : public ::testing::Test {
 protected:
  void SetUp() override {
    if (const char* d = getenv("DISPLAY")) saved = d;
    unsetenv("DISPLAY");
    window = windowCreate(configOf(5, 6, 200, 100));
    ASSERT_NE(window, nullptr);
    ASSERT_FALSE(windowHasDisplay(window));
    EXPECT_EQ(windowXId(window), 0u);
  }
  void TearDown() override {
    windowDestroy(window);
    if (!saved.empty()) setenv("DISPLAY", saved.c_str(), 1);
  }
  std::string saved;
  PlatformWindow* window = nullptr;
};

TEST_F(HeadlessWindow, PostsComeInOrderBeforeTheTimerWhichTicksEveryPeriod) {
  for (uintptr_t i = 1; i <= 3; ++i) ASSERT_TRUE(windowPost(window, posted(i)));
  std::this_thread::sleep_for(milliseconds(kWindowTimerPeriod + 50));  // a tick is due as well
  WindowMessage m{};
  for (uintptr_t i = 1; i <= 3; ++i) {
    ASSERT_TRUE(windowGetMessage(window, &m));
    EXPECT_EQ(m.kind, kWindowPosted);
    EXPECT_EQ(m.wParam, i);
  }
  ASSERT_TRUE(windowGetMessage(window, &m));
  EXPECT_EQ(m.kind, kWindowTimer);

  const auto start = Clock::now();
  for (int tick = 0; tick < 4; ++tick) {
    ASSERT_TRUE(windowGetMessage(window, &m));
    EXPECT_EQ(m.kind, kWindowTimer);
  }
  const auto elapsed = std::chrono::duration_cast<milliseconds>(Clock::now() - start).count();
  EXPECT_GE(elapsed, 3 * kWindowTimerPeriod);  // the first of the four may come early
  EXPECT_LE(elapsed, 8 * kWindowTimerPeriod);  // a slack for a loaded machine
  EXPECT_FALSE(windowWaitMessage(window, &m, 0)) << "a late tick is not made up for";
}

TEST_F(HeadlessWindow, CloseFromAnotherThreadArrivesAndPostsFailOnceDestroyed) {
  PlatformWindow* target = window;
  std::thread poster([target] {
    WindowMessage close{};
    close.kind = kWindowClose;
    EXPECT_TRUE(windowPost(target, close));
    // Posts race the destruction below until they fail; none may touch a freed window.
    while (windowPost(target, posted(1))) std::this_thread::yield();
  });
  WindowMessage m{};
  EXPECT_TRUE(waitFor(window, kWindowClose, &m));
  windowDestroy(window);
  window = nullptr;
  poster.join();
  EXPECT_FALSE(windowPost(target, posted(1)));
}

TEST_F(HeadlessWindow, ShowsSizesAndDrawsAsAPortWithTextMetrics) {
  WindowMessage m{};
  windowShow(window);
  ASSERT_TRUE(windowGetMessage(window, &m));
  EXPECT_EQ(m.kind, kWindowPaint);
  EXPECT_EQ(m.area.right, 200);

  windowMoveResize(window, 30, 40, 5000, 1);  // the limits are 10 to 1000
  ASSERT_TRUE(windowGetMessage(window, &m));
  EXPECT_EQ(m.kind, kWindowSize);
  EXPECT_EQ(m.area.right, 1000);
  EXPECT_EQ(m.area.bottom, 10);
  const WindowRect g = windowGeometry(window);
  EXPECT_EQ(g.left, 30);
  EXPECT_EQ(g.bottom, 50);

  windowSetClip(window, {0, 0, 10, 10});
  windowFillRect(window, {0, 0, 50, 50}, kRed);
  windowLine(window, 0, 0, 9, 9, kRed);
  windowText(window, kFontNormal, 0, 0, "text", kBlack, {0, 0, 100, 100});
  const uint8_t pixel[3] = {1, 2, 3};
  windowImage(window, 0, 0, 1, 1, pixel);
  windowClearClip(window);
  windowFlush(window);

  EXPECT_GT(windowTextWidth(window, kFontNormal, "Ab"), 0);
  EXPECT_GT(windowTextWidth(window, kFontNormal, "Abc"), windowTextWidth(window, kFontNormal, "Ab"));
  EXPECT_LT(windowTextWidth(window, kFontSmall, "Abc"), windowTextWidth(window, kFontNormal, "Abc"));
  EXPECT_GT(windowTextWidth(window, kFontNormal, "\xE9t\xE9"), 0);  // Latin-1, not UTF-8
  EXPECT_GT(windowFontHeight(window, kFontNormal), windowFontHeight(window, kFontSmall));
}

TEST(WindowClampSize, KeepsBetweenTheLimitsAndZeroIsNone) {
  struct Case {
    int32_t width, height, minW, minH, maxW, maxH, wantW, wantH;
  };
  const Case cases[] = {
      {50, 50, 20, 20, 100, 100, 50, 50},     // inside
      {5, 500, 20, 20, 100, 100, 20, 100},    // one under, one over
      {500, 5, 0, 0, 0, 0, 500, 5},           // no limits
      {50, 50, 80, 80, 60, 60, 80, 80},       // crossed limits: the minimum wins
  };
  for (const Case& c : cases) {
    int32_t w = c.width, h = c.height;
    windowClampSize(&w, &h, c.minW, c.minH, c.maxW, c.maxH);
    EXPECT_EQ(w, c.wantW) << c.width << "x" << c.height;
    EXPECT_EQ(h, c.wantH) << c.width << "x" << c.height;
  }
}

// A shown window on the tests' own X server, painted white, at a known place.
class XWindow : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(testx::sharedServer());
    window = windowCreate(configOf(100, 100, 240, 120));
    ASSERT_NE(window, nullptr);
    ASSERT_TRUE(windowHasDisplay(window)) << "the server runs, yet the window has no display";
    ASSERT_NE(windowXId(window), 0u);
    windowShow(window);
    WindowMessage m{};
    ASSERT_TRUE(waitFor(window, kWindowPaint, &m)) << "no paint after showing";
    windowFillRect(window, {0, 0, 240, 120}, kWhite);
    windowFlush(window);
    ASSERT_TRUE(testx::windowOrigin(windowXId(window), &originX, &originY));
  }
  void TearDown() override { windowDestroy(window); }

  PlatformWindow* window = nullptr;
  int originX = 0, originY = 0;
};

TEST_F(XWindow, ClicksKeysAndTheCloseBoxArriveAsMessages) {
  WindowMessage m{};
  ASSERT_TRUE(testx::click(originX + 30, originY + 40, 1));
  ASSERT_TRUE(waitFor(window, kWindowMouseDown, &m));
  EXPECT_EQ(m.x, 30);
  EXPECT_EQ(m.y, 40);
  EXPECT_EQ(m.button, 1);
  EXPECT_EQ(m.modifiers, 0u);
  EXPECT_TRUE(waitFor(window, kWindowMouseUp, &m));

  ASSERT_TRUE(testx::click(originX + 7, originY + 8, 3, {"shift"}));
  ASSERT_TRUE(waitFor(window, kWindowMouseDown, &m));
  EXPECT_EQ(m.button, 3);
  EXPECT_EQ(m.modifiers, kModifierShift);

  windowSetEnabled(window, false);
  ASSERT_TRUE(testx::click(originX + 9, originY + 9, 1));
  EXPECT_FALSE(waitFor(window, kWindowMouseDown, &m, 500)) << "a disabled window takes no clicks";
  windowSetEnabled(window, true);

  windowRaise(window);
  ASSERT_TRUE(testx::key("a"));
  ASSERT_TRUE(waitFor(window, kWindowKeyDown, &m));
  EXPECT_EQ(m.key, static_cast<uint32_t>('a'));
  EXPECT_STREQ(m.text, "a");
  ASSERT_TRUE(testx::key("F5"));
  ASSERT_TRUE(waitFor(window, kWindowKeyDown, &m));
  EXPECT_TRUE(windowKeyIsFunction(m.key));

  ASSERT_TRUE(testx::sendCloseBox(windowXId(window)));
  EXPECT_TRUE(waitFor(window, kWindowClose, &m));
}

TEST_F(XWindow, ResizesWithinTheLimitsAndKnowsItsPlace) {
  windowSetSizeLimits(window, 100, 80, 300, 200);
  windowMoveResize(window, 50, 60, 500, 40);
  WindowMessage m{};
  ASSERT_TRUE(waitFor(window, kWindowSize, &m));
  EXPECT_EQ(m.area.right, 300);
  EXPECT_EQ(m.area.bottom, 80);
  const WindowRect g = windowGeometry(window);
  EXPECT_EQ(g.left, 50);
  EXPECT_EQ(g.top, 60);
  EXPECT_EQ(g.right, 350);
  EXPECT_EQ(g.bottom, 140);
  int x = 0, y = 0;
  ASSERT_TRUE(testx::windowOrigin(windowXId(window), &x, &y));
  EXPECT_EQ(x, 50);
  EXPECT_EQ(y, 60);
}

TEST_F(XWindow, AChildWindowGetsItsOwnClicks) {
  WindowConfig config = configOf(20, 30, 50, 40);
  config.child = true;
  config.parentWindow = window;
  PlatformWindow* child = windowCreate(config);
  ASSERT_TRUE(windowHasDisplay(child));
  windowShow(child);
  WindowMessage m{};
  ASSERT_TRUE(waitFor(child, kWindowPaint, &m));
  ASSERT_TRUE(testx::click(originX + 25, originY + 36, 1));
  ASSERT_TRUE(waitFor(child, kWindowMouseDown, &m));
  EXPECT_EQ(m.x, 5);
  EXPECT_EQ(m.y, 6);
  EXPECT_FALSE(waitFor(window, kWindowMouseDown, &m, 300)) << "the parent saw the child's click";
  windowDestroy(child);
}

bool isDark(uint32_t rgb) { return ((rgb >> 16) & 0xFF) + ((rgb >> 8) & 0xFF) + (rgb & 0xFF) < 3 * 128; }

TEST_F(XWindow, DrawingReachesTheScreenWithinItsClips) {
  const int32_t textWidth = windowTextWidth(window, kFontNormal, "Ombrel");
  const int32_t textHeight = windowFontHeight(window, kFontNormal);
  // The headless estimate keeps layouts close to what the server measures.
  EXPECT_NEAR(windowTextWidth(nullptr, kFontNormal, "Ombrel"), textWidth, 2);
  EXPECT_EQ(windowFontHeight(nullptr, kFontNormal), textHeight);
  EXPECT_EQ(windowFontHeight(nullptr, kFontSmall), windowFontHeight(window, kFontSmall));

  windowText(window, kFontNormal, 10, 10, "Ombrel", kBlack, {0, 0, 240, 120});
  windowText(window, kFontSmall, 10, 80, "small text 9 px", kBlack, {0, 0, 240, 120});
  windowText(window, kFontNormal, 10, 40, "Clipped away", kBlack, {10, 40, 30, 60});
  windowLine(window, 120, 10, 160, 10, kRed);
  windowFillRect(window, {120, 30, 160, 50}, kBlue);
  // A ramp: red grows to the right, green downwards; a swapped channel or row shows.
  constexpr int kImageWidth = 16, kImageHeight = 8;
  uint8_t image[kImageWidth * kImageHeight * 3];
  for (int y = 0; y < kImageHeight; ++y)
    for (int x = 0; x < kImageWidth; ++x) {
      uint8_t* rgb = image + (y * kImageWidth + x) * 3;
      rgb[0] = static_cast<uint8_t>(x * 16);
      rgb[1] = static_cast<uint8_t>(y * 32);
      rgb[2] = 200;
    }
  windowImage(window, 170, 30, kImageWidth, kImageHeight, image);
  windowSetClip(window, {0, 0, 200, 120});
  windowFillRect(window, {190, 90, 230, 110}, kBlack);
  windowClearClip(window);
  windowFlush(window);

  testx::Pixels p;
  const auto deadline = Clock::now() + std::chrono::seconds(5);
  do {  // the server draws when it gets to it
    ASSERT_TRUE(testx::windowPixels(windowXId(window), &p));
  } while (p.at(130, 40) != kBlue && Clock::now() < deadline);

  int darkInside = 0, darkOutside = 0;
  for (int y = 0; y < 70; ++y)
    for (int x = 0; x < 110; ++x) {
      const bool inText = x >= 10 && x < 10 + textWidth && y >= 10 && y < 10 + textHeight;
      const bool inClippedText = x >= 10 && x < 30 && y >= 40 && y < 60;
      if (!isDark(p.at(x, y))) continue;
      (inText || inClippedText ? darkInside : darkOutside)++;
    }
  EXPECT_GT(darkInside, 20);
  EXPECT_EQ(darkOutside, 0) << "text outside its box or its clip";
  EXPECT_EQ(p.at(120, 10), kRed);
  EXPECT_EQ(p.at(160, 10), kRed) << "a line's last point";
  EXPECT_EQ(p.at(120, 30), kBlue);
  EXPECT_EQ(p.at(159, 49), kBlue);
  EXPECT_EQ(p.at(160, 50), kWhite);
  EXPECT_EQ(p.at(170, 30), 0x0000C8u);
  EXPECT_EQ(p.at(171, 30), 0x1000C8u);
  EXPECT_EQ(p.at(170, 31), 0x0020C8u);
  EXPECT_EQ(p.at(185, 37), 0xF0E0C8u);
  EXPECT_EQ(p.at(195, 100), kBlack);
  EXPECT_EQ(p.at(205, 100), kWhite) << "a fill outside the clip";

  const std::string shot = std::string(OMBREL_BINARY_DIR) + "/platform_window.png";
  ASSERT_TRUE(testx::screenshot(shot));
  EXPECT_GT(std::filesystem::file_size(shot), 0u);
}

}  // namespace
