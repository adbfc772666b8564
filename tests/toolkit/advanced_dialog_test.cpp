// The "A" dialog of a numeric control against the real stand-in host, headless: the graph's
// points and summary over a scene where an item moves, what each kind shows, and that only
// OK changes the caller.
#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <memory>

#include "host/services/scene_ids.h"
#include "support/started_host.h"
#include "toolkit/advanced_dialog.h"
#include "toolkit/instance_text.h"

namespace {

TEST(AdvancedGraphPoints, FivePerFrameHeldBetweenTwentyAndAThousand) {
  EXPECT_EQ(advancedGraphPoints(1, 1), 20);
  EXPECT_EQ(advancedGraphPoints(60, 1), 20);
  EXPECT_EQ(advancedGraphPoints(1, 60), 295);
  EXPECT_EQ(advancedGraphPoints(0, 200), 1000);
  EXPECT_EQ(advancedGraphPoints(INT_MIN, INT_MAX), 1000);
}

int changes = 0;
int32_t countChange(PanelControl*) {
  ++changes;
  return 0;
}

class AdvancedDialogTest : public ::testing::Test {
 protected:
  // Frames 0 to 30 at 30 a second; "Rocket" climbs straight from 0 at frame 0 to 3 at frame
  // 30, so its height is a tenth of the frame. "Pad" stands still.
  void SetUp() override {
    host::Scene s;
    s.firstFrame = 0;
    s.lastFrame = 30;
    s.framesPerSecond = 30.0;
    const int rocketIndex = s.addItem(host::ItemType::Object, "Rocket");
    host::EnvelopeKey start{0.0, 0.0}, end{1.0, 3.0};
    start.shape = end.shape = host::KeyShape::Linear;
    s.item(rocketIndex).motion[host::PositionY].envelope.keys = {start, end};
    const int padIndex = s.addItem(host::ItemType::Object, "Pad");
    host_ = std::make_unique<testhost::StartedHost>(std::move(s));
    ASSERT_TRUE(host_->started());
    rocket = host::itemIdAt(host_->host().scene(), rocketIndex);
    pad = host::itemIdAt(host_->host().scene(), padIndex);
    callerPanel = PanelCreate("Caller", nullptr, 0);
    caller = numericCreateAt("SIZE", 100, 40, callerPanel);
    ASSERT_NE(caller, nullptr);
    std::snprintf(caller->label, sizeof caller->label, "Size");
    caller->value = 1.25;
    caller->onChange = countChange;
    changes = 0;
  }
  void TearDown() override {
    PanelDestroy(callerPanel);
    host_.reset();
  }

  // As the user's clicks and edits do.
  static void chooseKind(AdvancedDialog* dialog, int32_t kind) {
    dialog->kinds->selection = kind;
    dialog->kinds->onChange(dialog->kinds);
  }
  static void chooseItem(ItemChooserControl* chooser, LWItemID item) {
    itemChooserSet(chooser, &item, 1);
    chooser->onChange(chooser);
  }
  static void setNumber(NumericControl* numeric, double value) {
    numericSet(numeric, value);
    numeric->onChange(numeric);
  }
  static bool shown(const PanelControl* control) { return controlHead(control)->visible != 0; }

  std::unique_ptr<testhost::StartedHost> host_;
  LWItemID rocket = nullptr, pad = nullptr;
  Panel* callerPanel = nullptr;
  NumericControl* caller = nullptr;
};

TEST_F(AdvancedDialogTest, GraphsTheValueOverTheChosenFramesAndSumsItUp) {
  caller->valueKind = kValueYPos;
  caller->ref1 = rocket;
  AdvancedDialog* dialog = advancedDialogCreate(caller);
  ASSERT_NE(dialog, nullptr);
  ASSERT_EQ(dialog->graph->count, 150);  // the scene's whole range at first
  EXPECT_NEAR(dialog->graph->points[75], 30.0 * 75 / 149 / 10, 1e-9);
  EXPECT_STREQ(dialog->summary->text, "From Frame 0 to 30 the value ranges from 0.000 to 3.000, average: 1.500.");

  // The first frame is cut to an integer; a last frame at or below it is one frame further.
  numericSet(dialog->lowGraph, 10.7);
  setNumber(dialog->highGraph, 5);
  EXPECT_EQ(dialog->graph->xLast, 11);
  EXPECT_STREQ(dialog->summary->text, "From Frame 10 to 11 the value ranges from 1.000 to 1.100, average: 1.050.");

  // The linear kind takes its base and rate from the dialog's fields: frame 1 is the base.
  chooseKind(dialog, kValueLinear);
  numericSet(dialog->lowGraph, 1);
  numericSet(dialog->highGraph, 11);
  numericSet(dialog->linear, 0.5);
  setNumber(dialog->base, 2);
  EXPECT_STREQ(dialog->summary->text, "From Frame 1 to 11 the value ranges from 2.000 to 7.000, average: 4.500.");
  advancedDialogDestroy(dialog);
}

TEST_F(AdvancedDialogTest, ShowsTheCallersLabelAndLimitsAndWhatEachKindNeeds) {
  caller->clipLow = 1;
  caller->lowLimit = 0.25;
  AdvancedDialog* dialog = advancedDialogCreate(caller);
  ASSERT_NE(dialog, nullptr);
  EXPECT_STREQ(dialog->panel->title, "Advanced Definition of  \"Size\"");
  EXPECT_STREQ(dialog->clipLowText->text, "Value is clipped to a low limit of 0.250.");
  EXPECT_TRUE(shown(dialog->clipLowText));
  EXPECT_FALSE(shown(dialog->clipHighText));
  for (int32_t kind = 0; kind < kAdvancedKindCount; ++kind) {
    SCOPED_TRACE(kind);
    chooseKind(dialog, kind);
    EXPECT_EQ(shown(dialog->obj1), kind >= 1 && kind <= 9);
    EXPECT_EQ(shown(dialog->obj2), kind == 9);
    EXPECT_EQ(shown(dialog->linear), kind == 10);
    EXPECT_EQ(shown(dialog->base), kind == 0 || kind == 10);
    EXPECT_STREQ(dialog->base->label, kind == 10 ? "Frame 1 Base Value:" : "Size");
  }
  advancedDialogDestroy(dialog);

  caller->label[0] = '\0';
  dialog = advancedDialogCreate(caller);
  ASSERT_NE(dialog, nullptr);
  EXPECT_STREQ(dialog->panel->title, "Advanced Numeric Control Definition");
  advancedDialogDestroy(dialog);
  EXPECT_EQ(advancedDialogRun(nullptr), kPanelResultCancel);
}

TEST_F(AdvancedDialogTest, OnlyOkGivesTheSettingsBackAndLightsTheCallersButton) {
  for (bool ok : {false, true}) {
    AdvancedDialog* dialog = advancedDialogCreate(caller);
    ASSERT_NE(dialog, nullptr);
    chooseKind(dialog, kValueSeparation);
    chooseItem(dialog->obj1, rocket);
    chooseItem(dialog->obj2, pad);
    setNumber(dialog->linear, 0.25);
    if (ok) advancedDialogAccept(dialog);
    advancedDialogDestroy(dialog);  // without OK: Cancel, or the close box
    EXPECT_EQ(caller->valueKind, ok ? kValueSeparation : kValueFixed);
    EXPECT_EQ(caller->ref1, ok ? rocket : nullptr);
    EXPECT_EQ(caller->ref2, ok ? pad : nullptr);
    EXPECT_STREQ(caller->ref1Name.name, ok ? "Rocket" : "(none)");
    EXPECT_EQ(caller->linearRate, ok ? 0.25 : 0);
    EXPECT_EQ(caller->value, 1.25);
    EXPECT_EQ(caller->aButton->highlighted, ok ? 1 : 0);
    EXPECT_EQ(changes, ok ? 1 : 0);
  }
  // Back to a fixed value: the button goes out again.
  AdvancedDialog* dialog = advancedDialogCreate(caller);
  ASSERT_NE(dialog, nullptr);
  chooseKind(dialog, kValueFixed);
  advancedDialogAccept(dialog);
  advancedDialogDestroy(dialog);
  EXPECT_FALSE(caller->aButton->highlighted);
  EXPECT_EQ(changes, 2);
}

}  // namespace
