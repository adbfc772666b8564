// The ordinary controls without a display: their layout, what a press does, their blocks of
// the instance text, and that a panel's controls free all they own.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "runtime/memory.h"
#include "toolkit/button.h"
#include "toolkit/decorations.h"
#include "toolkit/graph.h"
#include "toolkit/instance_text.h"
#include "toolkit/list_box.h"
#include "toolkit/panel.h"
#include "toolkit/radio.h"
#include "toolkit/text_control.h"

namespace {

const char* const kItems[] = {"Fixed", "Linear", "Random"};

struct Controls {
  Panel* panel;
  ButtonControl* push;
  ButtonControl* toggle;
  ButtonControl* bareToggle;  // without a text: a flip changes both low bits
  RadioControl* radio;
  RadioControl* cycle;
  ListBoxControl* list;
  GraphControl* graph;
  TextControl* text;
  SeparatorControl* separator;
  InsetControl* inset;
  BitmapControl* bitmap;
};

// One control of each kind on a panel that is never opened, laid out as the panel would.
Controls makeControls(const char* title) {
  Controls c{};
  c.panel = PanelCreate(title, nullptr, 1);
  c.push = buttonCreate("PUSH", 100, 10, c.panel);
  std::strcpy(c.push->text, "Render");
  c.toggle = toggleCreate("SHADOWS", 100, 40, c.panel);
  std::strcpy(c.toggle->text, "Shadows");
  c.bareToggle = toggleCreate("BARE", 100, 60, c.panel);
  c.radio = radioCreate("KIND", 100, 80, c.panel, kItems, 3);
  c.cycle = radioCreate("LEVEL", 100, 150, c.panel, kItems, 3, true);
  c.list = listBoxCreate("LIST", 300, 10, c.panel, 150, 64);
  c.graph = graphCreate("GRAPH", 100, 200, c.panel);
  c.text = textCreate("NOTE", 10, 180, c.panel, "A note");
  c.separator = separatorCreate("SEP", 10, 190, c.panel, 300);
  c.inset = insetCreate("INSET", 290, 5, c.panel, 170, 80);
  c.bitmap = bitmapCreate("PASTE", 2, 2, c.panel, toolkitPasteImage(false));
  for (PanelControl* p = controlHead(c.panel)->next; p; p = controlHead(p)->next) ControlRedraw(p, kRedrawAll);
  return c;
}

struct Calls {
  int count = 0;
  uint32_t modifiers = 0;
} calls;

int32_t onButton(PanelControl* c) {
  ++calls.count;
  calls.modifiers = static_cast<ButtonControl*>(c)->modifiers;
  return 0;
}

int32_t onRadio(PanelControl* c) {
  ++calls.count;
  calls.modifiers = static_cast<RadioControl*>(c)->modifiers;
  return kMessageAfterEvent;
}

int32_t onList(PanelControl*) { return ++calls.count, 0; }

// Hands a press of a mouse button to the control, as the panel's thread would.
int32_t press(PanelControl* control, int32_t x, int32_t y, uint32_t modifiers = 0, int32_t button = 1) {
  Panel* panel = controlPanel(control);
  WindowMessage message{};
  message.kind = kWindowMouseDown;
  message.x = x;
  message.y = y;
  message.button = button;
  message.modifiers = modifiers;
  panel->message = &message;
  const int32_t answer = controlHead(control)->ops.message(control);
  panel->message = nullptr;
  return answer;
}

std::string savedText(Panel* panel) {
  InstanceMemoryWriter writer;
  InstanceMemoryWriter_Init(&writer);
  EXPECT_EQ(PanelInstanceSave(panel, &writer.state), nullptr);
  return writer.text;
}

TEST(Controls, APressActsAtOnceAndHandsOnItsModifiers) {
  Controls c = makeControls("Press");
  c.push->onChange = c.toggle->onChange = c.bareToggle->onChange = onButton;
  calls = {};

  EXPECT_EQ(press(c.toggle, 104, 45, kModifierShift), kMessageStop | kMessageAfterEvent);
  EXPECT_EQ(calls.count, 1);
  EXPECT_EQ(calls.modifiers, kModifierShift);
  EXPECT_EQ(c.toggle->state, 1);
  EXPECT_EQ(press(c.bareToggle, 104, 65), kMessageStop | kMessageAfterEvent);
  EXPECT_EQ(c.bareToggle->state, 3);
  EXPECT_EQ(press(c.push, 110, 15, kModifierControl | kModifierAlt), kMessageStop);
  EXPECT_EQ(calls.modifiers, kModifierControl);
  EXPECT_EQ(c.push->state, 0);

  // Outside, with another button, or while disabled: nothing happens.
  calls = {};
  EXPECT_EQ(press(c.toggle, 99, 45), 0);
  EXPECT_EQ(press(c.push, 110, 15, 0, 3), 0);
  c.toggle->disabled = 1;
  EXPECT_EQ(press(c.toggle, 104, 45), 0);
  EXPECT_EQ(calls.count, 0);
  EXPECT_EQ(c.toggle->state, 1);
  PanelDestroy(c.panel);
}

TEST(Controls, RadiosAndListsSelectByClick) {
  Controls c = makeControls("Select");
  c.radio->onChange = c.cycle->onChange = onRadio;
  c.list->onChange = onList;
  calls = {};

  // The third row of the column, through its text.
  const PanelControlHead* third = controlHead(controlFind(c.panel, "KIND_label_2"));
  ASSERT_NE(third, nullptr);
  EXPECT_EQ(press(c.radio, third->left + 1, third->top + 1, kModifierShift), kMessageStop | kMessageAfterEvent);
  EXPECT_EQ(c.radio->selection, 2);
  EXPECT_EQ(calls.modifiers, kModifierShift);

  // A cycle steps on, and back with shift, around the ends.
  EXPECT_EQ(press(c.cycle, 105, 155), kMessageStop | kMessageAfterEvent);
  EXPECT_EQ(c.cycle->selection, 1);
  press(c.cycle, 105, 155, kModifierShift);
  press(c.cycle, 105, 155, kModifierShift);
  EXPECT_EQ(c.cycle->selection, 2);

  // One row at a time; with `multiple`, control adds a row and shift a range.
  const int32_t rowTop = controlHead(c.list)->top + 2;
  press(c.list, 310, rowTop + kListRowHeight * 1 + 1);
  press(c.list, 310, rowTop + 1);
  EXPECT_EQ(listBoxFirstSelected(c.list), 0);
  EXPECT_FALSE(c.list->rows[1].selected);
  c.list->multiple = 1;
  press(c.list, 310, rowTop + kListRowHeight * 2 + 1, kModifierShift);
  EXPECT_TRUE(c.list->rows[0].selected && c.list->rows[1].selected && c.list->rows[2].selected);
  press(c.list, 310, rowTop + kListRowHeight * 1 + 1, kModifierControl);
  EXPECT_FALSE(c.list->rows[1].selected);
  EXPECT_EQ(calls.count, 8);  // a radio, three cycles, four changes of the list

  // A second press on the same row at once is a double click; a third starts a new pair.
  static int doubles = 0;
  c.list->onDoubleClick = [](PanelControl*) { return ++doubles, 0; };
  press(c.list, 310, rowTop + kListRowHeight * 3 + 1);
  for (int i = 0; i < 3; ++i) press(c.list, 310, rowTop + kListRowHeight * 1 + 1);
  EXPECT_EQ(doubles, 1);
  PanelDestroy(c.panel);
}

TEST(Controls, SavedControlsComeBackThroughTheInstanceTextAndCopy) {
  Controls from = makeControls("From");
  from.toggle->state = 1;
  from.bareToggle->state = 3;
  from.radio->selection = 2;
  from.cycle->selection = 7;  // beyond the items: kept as it stands
  listBoxSelect(from.list, 1, true);
  listBoxSelect(from.list, 3, true);
  const std::string text = savedText(from.panel);
  EXPECT_NE(text.find(" BEGIN BUTTON SHADOWS\r\n  CHECKED YES\r\n  HIGHLIGHTED NO\r\n END\r\n"), std::string::npos);
  EXPECT_NE(text.find(" BEGIN LISTBOX LIST\r\n  SEL 1\r\n  SEL 3\r\n END LISTBOX LIST\r\n"), std::string::npos);
  EXPECT_EQ(text.find("PUSH"), std::string::npos);  // a push button isn't saved

  Controls to = makeControls("To");
  listBoxSelect(to.list, 0, true);  // the text names every selected row: this one goes
  InstanceMemoryReader reader;
  InstanceMemoryReader_Init(&reader, text.c_str());
  PanelInstanceLoad(to.panel, &reader.state);
  EXPECT_EQ(to.toggle->state, 1);
  EXPECT_EQ(to.bareToggle->state, 3);
  EXPECT_EQ(to.radio->selection, 2);
  EXPECT_EQ(to.cycle->selection, 7);
  EXPECT_FALSE(to.list->rows[0].selected);
  EXPECT_TRUE(to.list->rows[1].selected && to.list->rows[3].selected);

  Controls copy = makeControls("Copy");
  ASSERT_EQ(panelCopy(copy.panel, from.panel), nullptr);
  EXPECT_EQ(copy.toggle->state, 1);
  EXPECT_EQ(copy.radio->selection, 2);
  EXPECT_TRUE(copy.list->rows[3].selected);
  for (Controls* c : {&from, &to, &copy}) PanelDestroy(c->panel);
}

TEST(Controls, BrokenBlocksGiveTheirReadersWords) {
  Controls c = makeControls("Broken");
  const struct {
    PanelControl* control;
    const char* block;  // what follows the "BEGIN" line
    const char* failure;
  } cases[] = {
      {c.radio, " END\n", "Cannot find SELECTION data"},
      {c.radio, "", "Error on load! Couldn't load a line of data!"},
      {c.radio, "  SELECTION 1\n", "End of File during Load"},
      {c.toggle, "  CHECKED YES\n", "End of File during Load"},
      {c.list, "  SEL 1\n END LISTBOX OTHER\n", "Wrong END name on load!"},
      {c.list, "  SEL 1\n END LISTBOX LIST\n", nullptr},
  };
  for (const auto& k : cases) {
    InstanceMemoryReader reader;
    InstanceMemoryReader_Init(&reader, k.block);
    const char* failure = controlHead(k.control)->ops.load(k.control, &reader.state);
    EXPECT_STREQ(failure, k.failure) << k.block;
  }
  PanelDestroy(c.panel);
}

TEST(Controls, LongButtonTextsAreCutWithDots) {
  Controls c = makeControls("Fit");
  const int32_t room = c.push->width - 9;
  std::strcpy(c.push->text, "Render the whole animation now");
  buttonFitText(c.push);
  const std::string shown = c.push->shownText;
  ASSERT_GE(shown.size(), 4u);
  EXPECT_EQ(shown.substr(shown.size() - 3), "...");
  const std::string kept = shown.substr(0, shown.size() - 3);
  EXPECT_EQ(std::string(c.push->text).rfind(kept, 0), 0u);
  // The longest cut that fits: one character more would not.
  EXPECT_LE(windowTextWidth(nullptr, kFontNormal, shown.c_str()), room);
  const std::string longer = std::string(c.push->text, kept.size() + 1) + "...";
  EXPECT_GT(windowTextWidth(nullptr, kFontNormal, longer.c_str()), room);

  c.push->width = 10;  // no room at all: three characters stay
  buttonFitText(c.push);
  EXPECT_STREQ(c.push->shownText, "Ren...");
  std::strcpy(c.push->text, "OK");
  buttonFitText(c.push);
  EXPECT_STREQ(c.push->shownText, "OK");
  PanelDestroy(c.panel);
}

TEST(Controls, LayoutMakesLabelsAndAPanelFreesAllItsControlsOwn) {
  const int64_t before = memLiveBlocks();
  Controls c = makeControls("Layout");
  const PanelControlHead* sep = controlHead(c.separator);
  EXPECT_EQ(sep->top, 188);
  EXPECT_EQ(sep->bottom, 193);

  std::strcpy(c.push->label, "Frames:");
  ControlRedraw(c.push, kRedrawAll);
  auto* label = static_cast<TextControl*>(controlFind(c.panel, "PUSH_label"));
  ASSERT_NE(label, nullptr);
  EXPECT_STREQ(label->text, "Frames:");
  EXPECT_LE(controlHead(label)->right, c.push->x);
  c.push->label[0] = '\0';
  ControlRedraw(c.push, kRedrawAll);
  EXPECT_EQ(controlFind(c.panel, "PUSH_label"), nullptr);

  const double values[] = {0.25, 0.75, 0.5};
  graphSetPoints(c.graph, values, 3, 1, 30);
  EXPECT_STREQ(static_cast<TextControl*>(controlFind(c.panel, "GRAPH_X1"))->text, "30.000");
  c.graph->percent = 1;
  ControlRedraw(c.graph, kRedrawAll);
  EXPECT_STREQ(static_cast<TextControl*>(controlFind(c.panel, "GRAPH_Y1"))->text, "0.75%");

  PanelDestroy(c.panel);
  EXPECT_EQ(memLiveBlocks(), before);
}

}  // namespace
