// The toolkit on a real X server, driven by real input: the gallery's controls answer clicks
// on the panel's thread, settings survive the instance text, a modal panel holds its caller,
// the size stays in bounds, the close box closes, and Select Item picks from the scene.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

#include "gallery.h"
#include "support/panel_probe.h"
#include "platform/window.h"
#include "runtime/global_services.h"
#include "runtime/module_load.h"
#include "support/eventually.h"
#include "support/started_host.h"
#include "support/run_program.h"
#include "support/x_server.h"
#include "toolkit/instance_text.h"

namespace {

class GuiEnvironment : public testx::XServerEnvironment {
 public:
  void SetUp() override {
    windowSystemInit();  // before any X call of the process, the fixture's own included
    XServerEnvironment::SetUp();
    ASSERT_EQ(runtimeLoad(), 1);
  }
  void TearDown() override {
    runtimeUnload();
    XServerEnvironment::TearDown();
  }
};
[[maybe_unused]] auto* const environment = ::testing::AddGlobalTestEnvironment(new GuiEnvironment);

using panelprobe::areaOf;
using panelprobe::clickOn;
using panelprobe::closeAndWait;
using testwait::eventually;

std::atomic<int> closes{0};
int32_t countClose(Panel*) {
  ++closes;
  return 0;
}

class GuiTest : public ::testing::Test {
 protected:
  void SetUp() override {
    host_ = std::make_unique<testhost::StartedHost>(gallery::galleryScene());
    ASSERT_TRUE(host_->started());
    closes = 0;
  }
  void TearDown() override { host_.reset(); }

  // Opens a gallery without holding the test, and waits for its window.
  gallery::Gallery* openGallery() {
    gallery::Gallery* g = gallery::galleryCreate();
    if (!g) return nullptr;
    g->panel->options |= kPanelNonModal;
    g->panel->x = 20;
    g->panel->y = 20;
    g->panel->onClose = countClose;
    if (PanelOpen(g->panel, nullptr) != 0 || !eventually([&] { return panelXWindow(g->panel) != 0; })) {
      galleryDestroy(g);
      return nullptr;
    }
    return g;
  }

  std::unique_ptr<testhost::StartedHost> host_;
};

bool waitForEvent(gallery::Gallery* g, const std::string& control, gallery::Event* out) {
  return eventually([&] {
    for (const gallery::Event& e : g->takeEvents())
      if (e.control == control) {
        *out = e;
        return true;
      }
    return false;
  });
}

std::string savedText(Panel* panel) {
  InstanceMemoryWriter writer;
  InstanceMemoryWriter_Init(&writer);
  EXPECT_EQ(PanelInstanceSave(panel, &writer.state), nullptr);
  return writer.text;
}

TEST_F(GuiTest, ClicksRunCallbacksOnThePanelsThreadAndSettingsSurviveTheInstanceText) {
  gallery::Gallery* g = openGallery();
  ASSERT_NE(g, nullptr);

  ASSERT_TRUE(clickOn(g->panel, g->button, {"shift"}));
  gallery::Event e;
  ASSERT_TRUE(waitForEvent(g, "BUTTON", &e));
  EXPECT_EQ(e.modifiers, kModifierShift);
  EXPECT_NE(e.thread, std::this_thread::get_id());

  ASSERT_TRUE(clickOn(g->panel, g->toggle, {"ctrl"}, 6));
  ASSERT_TRUE(waitForEvent(g, "TOGGLE", &e));
  EXPECT_EQ(e.modifiers, kModifierControl);

  ASSERT_TRUE(clickOn(g->panel, controlFind(g->panel, "RADIO_label_2")));
  ASSERT_TRUE(waitForEvent(g, "RADIO", &e));

  // A disabled control does not react.
  ASSERT_TRUE(clickOn(g->panel, g->disabled));
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  for (const gallery::Event& other : g->takeEvents()) EXPECT_NE(other.control, "DISABLED");

  ASSERT_TRUE(closeAndWait(g->panel));
  EXPECT_EQ(g->toggle->state & 1, 1);
  EXPECT_EQ(g->radio->selection, 2);
  const std::string text = savedText(g->panel);
  EXPECT_NE(text.find("BEGIN BUTTON TOGGLE\r\n  CHECKED YES\r\n"), std::string::npos) << text;

  gallery::Gallery* fresh = gallery::galleryCreate();
  InstanceMemoryReader reader;
  InstanceMemoryReader_Init(&reader, text.c_str());
  PanelInstanceLoad(fresh->panel, &reader.state);
  EXPECT_EQ(fresh->radio->selection, 2);
  EXPECT_EQ(fresh->toggle->state & 1, 1);
  galleryDestroy(fresh);
  galleryDestroy(g);
}

TEST_F(GuiTest, AModalPanelHoldsItsCallerUntilItsOkButtonIsPressed) {
  gallery::Gallery* g = gallery::galleryCreate();
  g->panel->x = 40;
  g->panel->y = 40;
  std::atomic<bool> returned{false};
  std::thread user([&] {
    ASSERT_TRUE(eventually([&] { return panelXWindow(g->panel) != 0; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_FALSE(returned.load());
    EXPECT_TRUE(clickOn(g->panel, g->panel->closeButton));
  });
  const int32_t result = PanelOpen(g->panel, nullptr);
  returned = true;
  user.join();
  EXPECT_EQ(result, kPanelResultOk);
  galleryDestroy(g);
}

TEST_F(GuiTest, ResizingStaysWithinTheLimitsAndTheCloseBoxRunsOnClose) {
  gallery::Gallery* g = openGallery();
  ASSERT_NE(g, nullptr);
  const unsigned long xid = panelXWindow(g->panel);
  const std::string id = std::to_string(xid);
  auto sizeIs = [&](int w, int h) {
    testx::Pixels pixels;
    return testx::windowPixels(xid, &pixels) && pixels.width == w && pixels.height == h;
  };
  ASSERT_EQ(testproc::run("/usr/bin/xdotool", {"windowsize", id, "2000", "1500"}).exitCode, 0);
  EXPECT_TRUE(eventually([&] { return sizeIs(900, 700); }));
  ASSERT_EQ(testproc::run("/usr/bin/xdotool", {"windowsize", id, "50", "40"}).exitCode, 0);
  EXPECT_TRUE(eventually([&] { return sizeIs(400, 300); }));

  ASSERT_TRUE(testx::sendCloseBox(xid));
  EXPECT_TRUE(eventually([&] { return g->panel->isOpen == 0; }));
  EXPECT_EQ(closes.load(), 1);
  EXPECT_EQ(g->panel->width, 400);  // kept for the next opening
  galleryDestroy(g);
}

TEST_F(GuiTest, TwoOpenPanelsAndTheHostsThreadStayApart) {
  gallery::Gallery* a = openGallery();
  ASSERT_NE(a, nullptr);
  gallery::Gallery* b = gallery::galleryCreate("Second Gallery");
  b->panel->options |= kPanelNonModal;
  b->panel->x = 600;
  b->panel->y = 20;
  ASSERT_EQ(PanelOpen(b->panel, nullptr), 0);
  ASSERT_TRUE(eventually([&] { return panelXWindow(b->panel) != 0; }));
  gallery::Event e;
  for (int round = 0; round < 3; ++round) {
    ASSERT_TRUE(clickOn(a->panel, a->button));
    ASSERT_TRUE(clickOn(b->panel, b->button));
    ASSERT_TRUE(waitForEvent(a, "BUTTON", &e));
    ASSERT_TRUE(waitForEvent(b, "BUTTON", &e));
    host_->host().evaluate("GoToFrame 3");  // the host's thread at work meanwhile
  }
  ASSERT_TRUE(closeAndWait(a->panel));
  ASSERT_TRUE(closeAndWait(b->panel));
  galleryDestroy(a);
  galleryDestroy(b);
}

TEST_F(GuiTest, SelectItemListsTheScenesLightsAndGivesTheChoiceBack) {
  gallery::Gallery* g = openGallery();
  ASSERT_NE(g, nullptr);
  ASSERT_TRUE(clickOn(g->panel, g->item->button));
  // Select Item opens modally over the gallery, on the gallery's thread.
  const auto found = testproc::run("/usr/bin/xdotool", {"search", "--sync", "--name", "^Select Item$"}, 10);
  ASSERT_EQ(found.exitCode, 0) << found.err;
  const unsigned long select = std::stoul(testproc::lines(found.out).at(0));
  int ox = 0, oy = 0;
  ASSERT_TRUE(testx::windowOrigin(select, &ox, &oy));
  ASSERT_TRUE(testx::screenshot(OMBREL_BINARY_DIR "/select_item.png"));
  // The gallery's own input is off while Select Item is above it.
  ASSERT_TRUE(clickOn(g->panel, g->button));
  ASSERT_TRUE(testx::click(ox + 30, oy + 40 + 18 * 1));    // TYPE: "Lights"
  ASSERT_TRUE(testx::click(ox + 200, oy + 41 + 15 * 1));   // the second light in the scene's order
  ASSERT_TRUE(testx::click(ox + 383, oy + 324));           // OK
  gallery::Event e;
  ASSERT_TRUE(waitForEvent(g, "ITEM", &e));
  ASSERT_TRUE(closeAndWait(g->panel));
  char shown[512];
  itemChooserText(g->item, shown, sizeof shown);
  EXPECT_STREQ(shown, "Fill Light");
  for (const gallery::Event& other : g->takeEvents()) EXPECT_NE(other.control, "BUTTON");
  galleryDestroy(g);
}

}  // namespace
