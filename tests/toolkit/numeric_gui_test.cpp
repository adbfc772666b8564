// The numeric control on a real X server with real input: typing and return, leaving the
// field, dragging the arrow to the end of its range, and the "A" button's dialog making the
// value follow a line over time, with shift-click bringing it back to a fixed value.
// (The X server and the module come from panel_gui_test.cpp's environment.)
#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "gallery.h"
#include "support/panel_probe.h"
#include "support/eventually.h"
#include "support/run_program.h"
#include "support/started_host.h"
#include "support/x_server.h"
#include "toolkit/instance_text.h"
#include "toolkit/numeric_control.h"

namespace {

using panelprobe::findOn;
using panelprobe::onPanelThread;
using testwait::eventually;

struct Change {
  std::string name;
  double value;
  int32_t kind;
};
std::mutex changesMutex;
std::vector<Change> changes;

int32_t recordChange(PanelControl* control) {
  auto* n = static_cast<NumericControl*>(control);
  std::lock_guard<std::mutex> hold(changesMutex);
  changes.push_back({controlName(n), n->value, n->valueKind});
  return 0;
}

class NumericGui : public ::testing::Test {
 protected:
  void SetUp() override {
    host_ = std::make_unique<testhost::StartedHost>(gallery::galleryScene());
    ASSERT_TRUE(host_->started());
    changes.clear();
    panel_ = PanelCreate("Numbers", nullptr, 12);
    panel_->options |= kPanelNonModal;
    panel_->x = panel_->y = 30;
    panel_->width = 320;
    panel_->height = 160;
    count_ = numericCreateAt("COUNT", 120, 40, panel_);
    count_->displayKind = kNumericShowInteger;
    count_->value = 5;
    count_->step = 0.5;
    count_->dragHigh = 20;
    amount_ = numericCreateAt("AMOUNT", 120, 70, panel_);
    std::snprintf(amount_->label, sizeof amount_->label, "Amount");
    for (NumericControl* n : {count_, amount_}) n->onChange = recordChange;
    ASSERT_EQ(PanelOpen(panel_, nullptr), 0);
    ASSERT_TRUE(eventually([&] { return panelXWindow(panel_) != 0; }));
  }
  void TearDown() override {
    panelprobe::closeAndWait(panel_);
    PanelDestroy(panel_);
    host_.reset();
  }

  // The last change reported for a control, once it comes.
  bool changed(const char* name, Change* out) {
    return eventually([&] {
      std::lock_guard<std::mutex> hold(changesMutex);
      for (auto it = changes.rbegin(); it != changes.rend(); ++it)
        if (it->name == name) {
          *out = *it;
          changes.clear();
          return true;
        }
      return false;
    });
  }

  // A field of the control, read on the panel's thread.
  template <class T>
  T read(NumericControl* n, T NumericControl::*field) {
    T value{};
    onPanelThread(panel_, [&] { value = n->*field; });
    return value;
  }

  static testproc::Outcome xdotool(const std::vector<std::string>& args) { return testproc::run("/usr/bin/xdotool", args); }

  std::unique_ptr<testhost::StartedHost> host_;
  Panel* panel_ = nullptr;
  NumericControl* count_ = nullptr;
  NumericControl* amount_ = nullptr;
};

TEST_F(NumericGui, TypedNumbersAreTakenOnReturnAndWhenTheFieldIsLeft) {
  ASSERT_TRUE(panelprobe::clickOn(panel_, count_, {}, 10));
  ASSERT_TRUE(testx::key("ctrl+a"));
  ASSERT_EQ(xdotool({"type", "--delay", "20", "2.5"}).exitCode, 0);
  ASSERT_TRUE(testx::key("Return"));
  Change c;
  ASSERT_TRUE(changed("COUNT", &c));
  EXPECT_EQ(c.value, 3.0);  // the integer field's rule

  // Tab takes the keyboard to the next field; a click elsewhere takes what was typed there.
  ASSERT_TRUE(testx::key("Tab"));
  ASSERT_EQ(xdotool({"type", "--delay", "20", "--", "-1.25"}).exitCode, 0);
  ASSERT_TRUE(panelprobe::clickOn(panel_, panel_->titleText));
  ASSERT_TRUE(changed("AMOUNT", &c));
  EXPECT_EQ(c.value, -1.25);
  EXPECT_STREQ(read(amount_, &NumericControl::edit).text, "  -1.250");
}

TEST_F(NumericGui, DraggingTheArrowMovesByStepPerPixelAndStopsAtTheRangesEnd) {
  int x = 0, y = 0;
  const int arrowMiddle = count_->fieldWidth + 2 + kNumericArrowWidth / 2;
  ASSERT_TRUE(panelprobe::screenPoint(panel_, count_, &x, &y, arrowMiddle));
  auto drag = [&](int dx) {
    return xdotool({"mousemove", std::to_string(x), std::to_string(y), "mousedown", "1", "sleep", "0.1", "mousemove",
                    std::to_string(x + dx / 2), std::to_string(y), "sleep", "0.1", "mousemove",
                    std::to_string(x + dx), std::to_string(y), "sleep", "0.1", "mouseup", "1"})
        .exitCode;
  };
  ASSERT_EQ(drag(10), 0);
  Change c;
  ASSERT_TRUE(changed("COUNT", &c));
  EXPECT_EQ(c.value, 10.0);  // 5 + 10 pixels of 0.5
  ASSERT_EQ(drag(200), 0);
  ASSERT_TRUE(changed("COUNT", &c));
  EXPECT_EQ(c.value, 20.0);  // the drag range's end
}

TEST_F(NumericGui, TheAButtonsDialogMakesTheValueFollowALineAndShiftClickMakesItFixed) {
  ASSERT_TRUE(panelprobe::clickOn(panel_, findOn(panel_, "AMOUNT_A_BUTT")));
  Panel* dialog = nullptr;
  ASSERT_TRUE(eventually([&] { return (dialog = panel_->modalChild.load()) && panelXWindow(dialog) != 0; }));
  EXPECT_STREQ(dialog->title, "Advanced Definition of  \"Amount\"");

  ASSERT_TRUE(panelprobe::clickOn(dialog, findOn(dialog, "IGNORE1_label_10")));
  auto* rate = static_cast<NumericControl*>(findOn(dialog, "linear"));
  ASSERT_TRUE(eventually([&] {
    WindowRect area{};
    return panelprobe::areaOf(dialog, rate, &area) && area.left != -1;
  }));
  ASSERT_TRUE(panelprobe::clickOn(dialog, rate, {}, 10));
  ASSERT_TRUE(testx::key("ctrl+a"));
  ASSERT_EQ(xdotool({"type", "--delay", "20", "0.5"}).exitCode, 0);
  ASSERT_TRUE(testx::key("Return"));
  PanelControl* ok = nullptr;
  ASSERT_TRUE(onPanelThread(dialog, [&] { ok = dialog->closeButton; }));
  ASSERT_TRUE(panelprobe::clickOn(dialog, ok));

  Change c;
  ASSERT_TRUE(changed("AMOUNT", &c));
  EXPECT_EQ(c.kind, kValueLinear);
  EXPECT_EQ(read(amount_, &NumericControl::linearRate), 0.5);
  auto lit = [&] {
    int32_t on = -1;
    onPanelThread(panel_, [&] { on = amount_->aButton->highlighted; });
    return on;
  };
  EXPECT_EQ(lit(), 1);

  ASSERT_TRUE(panelprobe::clickOn(panel_, findOn(panel_, "AMOUNT_A_BUTT"), {"shift"}));
  ASSERT_TRUE(changed("AMOUNT", &c));
  EXPECT_EQ(c.kind, kValueFixed);
  EXPECT_EQ(lit(), 0);
}

}  // namespace
