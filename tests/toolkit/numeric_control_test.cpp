// The numeric control against the real stand-in host: the field's rules, the drag's range,
// values that follow items of a scene at a time, and a whole panel's instance text carrying
// animated values across to a new panel. Headless (panel_test.cpp's environment).
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>

#include "host/services/host.h"
#include "host/services/scene_ids.h"
#include "support/started_host.h"
#include "toolkit/instance_text.h"
#include "toolkit/numeric_control.h"
#include "toolkit/panel.h"

namespace {

using host::ItemType;

std::string shown(const NumericControl* n) {
  char text[64];
  numericFormat(n, text, sizeof text);
  return text;
}

struct Freed {
  void operator()(PanelControl* c) const { ControlDestroy(c); }
};
using Owned = std::unique_ptr<NumericControl, Freed>;

TEST(NumericField, TextIsTakenByTheDisplayKindsRules) {
  Owned n(numericCreate("N", 1));
  n->displayKind = kNumericShowInteger;
  ASSERT_TRUE(numericTakeText(n.get(), "2.5"));
  EXPECT_EQ(n->value, 3.0);
  numericTakeText(n.get(), "  -2.5");
  EXPECT_EQ(n->value, -2.0);
  EXPECT_EQ(shown(n.get()), "  -2");

  // The hard limits only where enforced, before the integer rule.
  n->lowLimit = 1;
  n->highLimit = 10;
  numericTakeText(n.get(), "-7");
  EXPECT_EQ(n->value, -7.0);
  n->clipLow = n->clipHigh = 1;
  numericTakeText(n.get(), "-7");
  EXPECT_EQ(n->value, 1.0);
  numericTakeText(n.get(), "12.6");
  EXPECT_EQ(n->value, 10.0);

  // An empty field and text that is no number keep the value.
  EXPECT_TRUE(numericTakeText(n.get(), "   "));
  EXPECT_FALSE(numericTakeText(n.get(), "abc"));
  EXPECT_EQ(n->value, 10.0);

  Owned p(numericCreatePercent("P", 2));
  EXPECT_EQ(shown(p.get()), "  50.0%");
  numericTakeText(p.get(), "25");
  EXPECT_DOUBLE_EQ(p->value, 0.25);
  numericTakeText(p.get(), "50%");
  EXPECT_DOUBLE_EQ(p->value, 0.5);

  n->displayKind = kNumericShowDecimals;
  n->digits = 2;
  EXPECT_EQ(shown(n.get()), "  10.00");
  n->displayKind = kNumericShowOneDecimal;
  EXPECT_EQ(shown(n.get()), "  10.0");
  n->valueKind = kValueLinear;  // animated: nothing to edit
  EXPECT_EQ(shown(n.get()), "");
}

TEST(NumericField, OnlyWhatWasTypedIsTakenBack) {
  Owned n(numericCreate("N", 1));
  numericSet(n.get(), 0.123456);
  EXPECT_FALSE(numericCommit(n.get()));  // the field's "0.123" is not the value
  EXPECT_EQ(n->value, 0.123456);
  EditField_SetText(&n->edit, "7.25");
  n->edit.modified = 1;
  EXPECT_TRUE(numericCommit(n.get()));
  EXPECT_EQ(n->value, 7.25);
  EXPECT_STREQ(n->edit.text, "  7.250");
}

TEST(NumericDrag, TheRangeWidensToTheValueAndStopsWhereAsked) {
  Owned n(numericCreate("N", 1));  // drag range 0 to 100, step 0.05
  double low = 0, high = 0;
  n->value = 120;
  numericDragRange(n.get(), &low, &high);
  EXPECT_EQ(low, 0.0);
  EXPECT_EQ(high, 120.0);  // dragging up from above the range stays where it is
  EXPECT_EQ(numericDragValue(n.get(), 120, 40, low, high), 120.0);
  EXPECT_DOUBLE_EQ(numericDragValue(n.get(), 120, -40, low, high), 118.0);

  n->value = 50;
  numericDragRange(n.get(), &low, &high);
  EXPECT_DOUBLE_EQ(numericDragValue(n.get(), 50, 7, low, high), 50.35);
  EXPECT_EQ(numericDragValue(n.get(), 50, -5000, low, high), 0.0);
  n->dragStopLow = 0;
  EXPECT_DOUBLE_EQ(numericDragValue(n.get(), 50, -5000, low, high), -200.0);

  // Enforced hard limits hold the drag's ends.
  n->value = -5;
  n->lowLimit = -2;
  n->highLimit = 60;
  n->clipLow = n->clipHigh = 1;
  numericDragRange(n.get(), &low, &high);
  EXPECT_EQ(low, -2.0);
  EXPECT_EQ(high, 60.0);
}

host::EnvelopeKey key(double time, double value) {
  host::EnvelopeKey k;
  k.time = time;
  k.value = value;
  k.shape = host::KeyShape::Linear;
  return k;
}

// A scene at 30 frames per second: "Mover" goes from (0, 0, 0) at 0 s to (4, 2, -6) at 2 s,
// scaled (2, 3, 6); "Ball" and its clone "Ball (2)" stand still; "Rider" sits one up from Mover.
class NumericScene : public ::testing::Test {
 protected:
  void SetUp() override {
    host::Scene s;
    s.framesPerSecond = 30;
    s.firstFrame = 1;
    s.lastFrame = 60;
    mover = s.addItem(ItemType::Object, "Mover");
    const host::Vec3 end{4, 2, -6};
    for (int axis = 0; axis < 3; ++axis)
      s.items[size_t(mover)].motion[host::PositionX + axis].envelope.keys = {key(0, 0), key(2, end[size_t(axis)])};
    s.items[size_t(mover)].setScale({2, 3, 6});
    ball = s.addItem(ItemType::Object, "Ball");
    s.items[size_t(ball)].setPosition({3, 4, 0});
    ball2 = s.addItem(ItemType::Object, "Ball");
    s.items[size_t(ball2)].setPosition({-3, 4, 0});
    rider = s.addItem(ItemType::Object, "Rider");
    s.items[size_t(rider)].parent = mover;
    s.items[size_t(rider)].setPosition({0, 1, 0});
    for (auto& item : s.items) item.object.isNull = true;
    host_ = std::make_unique<testhost::StartedHost>(std::move(s));
    ASSERT_TRUE(host_->started());
  }
  void TearDown() override { host_.reset(); }
  LWItemID id(int index) const { return host::itemIdAt(host_->host().scene(), index); }

  int mover = 0, ball = 0, ball2 = 0, rider = 0;
  std::unique_ptr<testhost::StartedHost> host_;
};

TEST_F(NumericScene, EachKindFollowsItsItemsAtATime) {
  Owned n(numericCreate("N", 1));
  n->ref1 = id(mover);
  const double t = 1.0;  // halfway: (2, 1, -3)
  const double expected[] = {0.5, 2, 1, -3, std::sqrt(14.0), 2, 3, 6, 7 * kNumericAverageScale};
  for (int32_t kind = kValueFixed; kind <= kValueAveScale; ++kind) {
    n->valueKind = kind;
    EXPECT_NEAR(numericValueAt(n.get(), t), expected[kind], 1e-9) << instanceValueKindWord(kind);
  }
  n->valueKind = kValueSeparation;
  EXPECT_EQ(numericValueAt(n.get(), t), 0.0);  // no second item
  n->ref1 = id(ball);
  n->ref2 = id(ball2);
  EXPECT_NEAR(numericValueAt(n.get(), t), 6.0, 1e-9);
  n->ref1 = id(rider);  // world position: its offset of 1 scaled by its parent's 3, on the parent's 1
  n->valueKind = kValueYPos;
  EXPECT_NEAR(numericValueAt(n.get(), t), 4.0, 1e-9);
  n->ref1 = nullptr;
  EXPECT_EQ(numericValueAt(n.get(), t), 0.0);

  n->valueKind = kValueLinear;
  n->value = 4;
  n->linearRate = 0.5;
  EXPECT_NEAR(numericValueAt(n.get(), 1.0 / 30), 4.0, 1e-12);  // frame 1 is the base
  EXPECT_NEAR(numericValueAt(n.get(), 31.0 / 30), 19.0, 1e-9);
  // clipLow and clipHigh are an animated value's only clipping.
  n->highLimit = 10;
  EXPECT_NEAR(numericValueAt(n.get(), 31.0 / 30), 19.0, 1e-9);
  n->clipHigh = 1;
  EXPECT_EQ(numericValueAt(n.get(), 31.0 / 30), 10.0);
  n->animatable = 0;
  EXPECT_EQ(numericValueAt(n.get(), 31.0 / 30), 4.0);
}

TEST_F(NumericScene, APanelsTextCarriesAnimatedValuesAndTheirItemsToANewPanel) {
  auto build = [&](Panel** panel, NumericControl** sep, NumericControl** ypos, NumericControl** line) {
    *panel = PanelCreate("Numbers", nullptr, 7);
    *sep = numericCreateAt("SEP", 100, 10, *panel);
    *ypos = numericCreateAt("YPOS", 100, 40, *panel);
    *line = numericCreateAt("LINE", 100, 70, *panel);
  };
  Panel* from;
  NumericControl *sep, *ypos, *line;
  build(&from, &sep, &ypos, &line);
  sep->valueKind = kValueSeparation;
  sep->ref1 = id(mover);
  sep->ref2 = id(ball2);  // a clone: found again by its copy number, not as "Ball"
  ypos->valueKind = kValueYPos;
  ypos->ref1 = id(rider);
  line->valueKind = kValueLinear;
  line->value = -1.5;
  line->linearRate = 0.25;

  InstanceMemoryWriter writer;
  InstanceMemoryWriter_Init(&writer);
  ASSERT_EQ(PanelInstanceSave(from, &writer.state), nullptr);
  EXPECT_NE(writer.text.find("BEGIN NUM SEP\r\n  ANIMATE SEPARATION\r\n  REF1ITEM\r\n"), std::string::npos)
      << writer.text;
  EXPECT_NE(writer.text.find("OBJECT 2 1 8 @Ball (2)"), std::string::npos) << writer.text;
  EXPECT_NE(writer.text.find(" LINEAR 0.25\r\n"), std::string::npos) << writer.text;

  Panel* to;
  NumericControl *sep2, *ypos2, *line2;
  build(&to, &sep2, &ypos2, &line2);
  InstanceMemoryReader reader;
  InstanceMemoryReader_Init(&reader, writer.text.c_str());
  PanelInstanceLoad(to, &reader.state);
  EXPECT_EQ(sep2->ref1, nullptr);  // only names until the items are needed
  panelPrepareSave(to);
  EXPECT_EQ(sep2->ref2, id(ball2));
  for (double t : {0.0, 0.7, 1.5, 3.0}) {
    EXPECT_DOUBLE_EQ(numericValueAt(sep2, t), numericValueAt(sep, t)) << t;
    EXPECT_DOUBLE_EQ(numericValueAt(ypos2, t), numericValueAt(ypos, t)) << t;
    EXPECT_DOUBLE_EQ(numericValueAt(line2, t), numericValueAt(line, t)) << t;
  }

  // The host renumbers or deletes items: the control follows, and lists what it uses.
  LWItemID used[4];
  EXPECT_EQ(controlHead(sep2)->ops.useItems(sep2, used, 4), 2);
  const LWItemID table[] = {id(ball2), nullptr, nullptr};
  controlHead(sep2)->ops.changeItems(sep2, table);
  EXPECT_EQ(sep2->ref2, nullptr);
  EXPECT_EQ(numericValueAt(sep2, 1.0), 0.0);
  EXPECT_EQ(controlHead(ypos2)->ops.useItems(ypos2, used, 4), 1);
  EXPECT_EQ(controlHead(line2)->ops.useItems(line2, used, 4), 0);
  PanelDestroy(from);
  PanelDestroy(to);
}

TEST_F(NumericScene, OlderTextsNameItemsByQuotedNameAndAnItemOfAnotherSceneIsNone) {
  Panel* panel = PanelCreate("Numbers", nullptr, 7);
  NumericControl* a = numericCreateAt("A", 100, 10, panel);
  NumericControl* b = numericCreateAt("B", 100, 40, panel);
  const char* text =
      "BEGIN TARNOK_LABS_PLUGIN Numbers\n VERSION 1.0\n"
      " BEGIN NUM A\n  ANIMATE XPOS\n  REF1 @Mover@\n END\n"
      " BEGIN NUM B\n  ANIMATE ZSCALE\n  REF1ITEM\n   OBJECT 1 1 5 @Ghost\n  END\n END\n"
      "END TARNOK_LABS_PLUGIN Numbers\n";
  InstanceMemoryReader reader;
  InstanceMemoryReader_Init(&reader, text);
  PanelInstanceLoad(panel, &reader.state);
  panelPrepareSave(panel);
  EXPECT_EQ(a->ref1, id(mover));
  EXPECT_NEAR(numericValueAt(a, 2.0), 4.0, 1e-9);
  EXPECT_EQ(b->valueKind, kValueZScale);
  EXPECT_EQ(b->ref1, nullptr);
  EXPECT_EQ(numericValueAt(b, 2.0), 0.0);
  PanelDestroy(panel);
}

}  // namespace
