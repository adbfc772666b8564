#include "toolkit/instance_text.h"

#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_host.h"

namespace {

// A render panel's and a master's settings, written as the panels write them.
std::string renderPanelText(const char* instanceName, int32_t stop, int32_t level, bool classic) {
  InstanceMemoryWriter w;
  InstanceMemoryWriter_Init(&w);
  long total = instanceWriteHeader(&w.state, instanceName, 1.0);
  InstanceNumeric n{};
  n.value = 3;
  total += instanceWriteNumeric(&w.state, 1, "LOWFRAME", &n);
  n.value = 12;
  total += instanceWriteNumeric(&w.state, 1, "HIGHFRAME", &n);
  n.value = -2;
  total += instanceWriteNumeric(&w.state, 1, "STEPFRAME", &n);
  total += instanceWriteRadio(&w.state, 1, "STOP", stop);
  total += instanceWriteButton(&w.state, 1, "CLASSIC", classic, 0);
  n.value = level;
  total += instanceWriteNumeric(&w.state, 1, "AA LEVEL", &n);
  total += instanceWriteSaveFile(&w.state, 1, kInstanceSaveFileControl, "renders/shot####.exr", 0, "OpenEXR (.exr)");
  instanceWriteFooter(&w.state, instanceName, total);
  return w.text;
}

// Reads a text through the settings reader, or, for a text with no first line, as one bare
// instance: the settings reader takes an empty text as no settings.
std::pair<std::string, std::string> failureOf(const std::string& text) {
  InstanceSettings s;
  if (InstanceSettings_Read(&s, text.c_str())) return {s.failure, s.failureLine};
  InstanceMemoryReader r;
  InstanceMemoryReader_Init(&r, text.c_str());
  const char* failure = instanceReadInstance(&r.state, nullptr);
  return {failure ? failure : "", ""};
}

TEST(InstanceText, SettingsRoundTripThroughTheWriterAndReader) {
  const std::string text = renderPanelText("Ombrel", 2, 6, true);
  EXPECT_EQ(text.rfind("BEGIN TARNOK_LABS_PLUGIN Ombrel\r\n", 0), 0u);
  EXPECT_NE(text.find("\r\nVERSION 1\r\n"), std::string::npos);
  EXPECT_NE(text.find("\r\n BEGIN NUM AA LEVEL\r\n VALUE 6\r\n END\r\n"), std::string::npos);
  EXPECT_NE(text.find("\r\n BEGIN RADIO STOP\r\n  SELECTION 2\r\n END\r\n"), std::string::npos);
  EXPECT_NE(text.find("\r\n BEGIN BUTTON CLASSIC\r\n  CHECKED YES\r\n  HIGHLIGHTED NO\r\n END\r\n"),
            std::string::npos);
  EXPECT_NE(text.find("# Saved "), std::string::npos);

  InstanceSettings s;
  ASSERT_EQ(InstanceSettings_Read(&s, text.c_str()), nullptr) << s.failureLine;
  EXPECT_EQ(instanceNumber(&s, "LOWFRAME", 0), 3);
  EXPECT_EQ(instanceNumber(&s, "HIGHFRAME", 0), 12);
  EXPECT_EQ(instanceNumber(&s, "STEPFRAME", 0), -2);
  EXPECT_EQ(instanceNumber(&s, "AA LEVEL", 0), 6);  // a control name may hold a blank
  EXPECT_EQ(instanceSelection(&s, "STOP", 0), 2);
  EXPECT_EQ(instanceChecked(&s, "CLASSIC", 0), 1);
  const InstanceSetting* file = instanceSaveFile(&s);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->fileName, "renders/shot####.exr");
  EXPECT_EQ(file->saverIndex, 0);
  EXPECT_EQ(file->saverName, "OpenEXR (.exr)");
  // Absent names and names of another kind give the fallback.
  EXPECT_EQ(instanceNumber(&s, "RADSTRENGTH", 0.25), 0.25);
  EXPECT_EQ(instanceNumber(&s, "STOP", 7), 7);
  EXPECT_EQ(instanceSelection(&s, "RADTYPE", 1), 1);
  EXPECT_EQ(instanceChecked(&s, "STOP", 0), 0);

  // The master's text after the panel's, then an override of two values: later blocks win,
  // and what they don't name stands.
  InstanceMemoryWriter w;
  InstanceMemoryWriter_Init(&w);
  long total = instanceWriteHeader(&w.state, "Ombrel", 1.0);
  total += instanceWriteRadio(&w.state, 1, "RADTYPE", 2);
  InstanceNumeric strength{};
  strength.value = 0.0005;
  total += instanceWriteNumeric(&w.state, 1, "RADSTRENGTH", &strength);
  instanceWriteFooter(&w.state, "Ombrel", total);
  const std::string overrides =
      "BEGIN TARNOK_LABS_PLUGIN Batch\n BEGIN RADIO STOP\n  SELECTION 0\n END\n BEGIN BUTTON CLASSIC\n END\n"
      "END TARNOK_LABS_PLUGIN Batch\n";
  InstanceSettings all;
  ASSERT_EQ(InstanceSettings_Read(&all, (text + w.text + overrides).c_str()), nullptr) << all.failureLine;
  EXPECT_EQ(instanceSelection(&all, "RADTYPE", 0), 2);
  EXPECT_DOUBLE_EQ(instanceNumber(&all, "RADSTRENGTH", 1), 0.0005);
  EXPECT_EQ(instanceSelection(&all, "STOP", 9), 0);
  EXPECT_EQ(instanceChecked(&all, "CLASSIC", 0), 1);  // a block without "CHECKED" keeps the state
  EXPECT_EQ(instanceNumber(&all, "AA LEVEL", 0), 6);

  // Empty texts are the defaults.
  InstanceSettings none;
  EXPECT_EQ(InstanceSettings_Read(&none, nullptr), nullptr);
  EXPECT_EQ(InstanceSettings_Read(&none, "\n# nothing\n"), nullptr);
  EXPECT_TRUE(none.settings.empty());
}

TEST(InstanceText, EveryInstanceHasAnEvenByteCount) {
  // Names of both parities, so both forms of the last line are written.
  for (const char* name : {"Ombrel", "Ombrel2", "A", "AB"}) {
    struct Count {
      long bytes = 0;
      std::string last;
    } count;
    LWSaveState state{};
    state.writeData = &count;
    state.write = [](void* data, const char* text, int length) {
      auto* c = static_cast<Count*>(data);
      c->bytes += length;
      EXPECT_EQ(text[length - 1], '\0');  // every line is handed over with its zero
      c->last = text;
    };
    long total = instanceWriteHeader(&state, name, 1.0);
    total += instanceWriteRadio(&state, 1, "STOP", 1);
    total += instanceWriteFooter(&state, name, total);
    EXPECT_EQ(total, count.bytes);
    EXPECT_EQ(count.bytes % 2, 0) << name;
    EXPECT_EQ(count.last.rfind(std::string("END TARNOK_LABS_PLUGIN ") + name, 0), 0u);
  }
}

TEST(InstanceText, AnimatedNumbersItemsAndListsKeepTheirBlocks) {
  InstanceMemoryWriter w;
  InstanceMemoryWriter_Init(&w);
  long total = instanceWriteHeader(&w.state, "Viewer", 1.0);
  InstanceNumeric separation{};
  separation.valueKind = kValueSeparation;
  separation.hasRef1 = separation.hasRef2 = 1;
  separation.ref1 = InstanceItemName{0, 2, 5, "Ball Big", nullptr};
  InstanceItemName arm{0, 1, 1, "Robot", nullptr};
  separation.ref2 = InstanceItemName{3, 1, 3, "Elbow", &arm};
  total += instanceWriteNumeric(&w.state, 1, "DIST", &separation);
  const InstanceItemName items[] = {{1, 1, 1, "Key Light", nullptr}, {0, 1, 1, "(none)", nullptr},
                                    {2, 1, 1, "Camera", nullptr}};
  total += instanceWriteItems(&w.state, 1, "LIGHTS", items, 3);
  const InstanceItemName nothing[] = {{0, 1, 1, "(none)", nullptr}};
  EXPECT_EQ(instanceWriteItems(&w.state, 1, "EMPTY", nothing, 1), 0);  // no lines, no block
  const int32_t rows[] = {0, 4};
  total += instanceWriteListBox(&w.state, 1, "ITEMLB", rows, 2);
  instanceWriteFooter(&w.state, "Viewer", total);
  EXPECT_EQ(w.text.find("EMPTY"), std::string::npos);
  EXPECT_NE(w.text.find("ANIMATE SEPARATION"), std::string::npos);
  EXPECT_NE(w.text.find("OBJECT 2 5 8 @Ball Big"), std::string::npos);

  struct Seen {
    InstanceNumeric dist{};
    std::vector<std::string> items;
    std::vector<long> rows;
  } seen;
  InstanceMemoryReader r;
  InstanceMemoryReader_Init(&r, w.text.c_str());
  const InstanceTarget target{
      [](void* data, const char* kind, const char* name, LWLoadState* state) -> const char* {
        auto* s = static_cast<Seen*>(data);
        if (std::strcmp(name, "DIST") == 0) return instanceReadNumeric(state, &s->dist);
        if (std::strcmp(name, "LIGHTS") == 0)
          return instanceReadItems(
              state,
              [](void* d, const InstanceItemName* item) {
                static_cast<Seen*>(d)->items.push_back(std::to_string(item->type) + ":" + item->name);
              },
              s);
        if (std::strcmp(name, "ITEMLB") == 0)
          return instanceReadListBox(
              state, name, [](void* d, long row) { static_cast<Seen*>(d)->rows.push_back(row); }, s);
        return kInstanceNoControl;
      },
      &seen};
  const char* failure = instanceReadInstance(&r.state, &target);
  ASSERT_EQ(failure, nullptr) << failure << "\n" << w.text;
  EXPECT_EQ(seen.dist.valueKind, kValueSeparation);
  EXPECT_STREQ(seen.dist.ref1.name, "Ball Big");
  EXPECT_EQ(seen.dist.ref1.copyNumber, 2);
  EXPECT_EQ(seen.dist.ref1.ordinal, 5);
  EXPECT_EQ(seen.dist.ref2.type, 3);
  EXPECT_STREQ(seen.dist.ref2.name, "Elbow");
  ASSERT_NE(seen.dist.ref2.parent, nullptr);
  EXPECT_STREQ(seen.dist.ref2.parent->name, "Robot");
  EXPECT_EQ(seen.items, (std::vector<std::string>{"1:Key Light", "2:Camera"}));
  EXPECT_EQ(seen.rows, (std::vector<long>{0, 4}));
}

TEST(InstanceText, BrokenTextsGiveTheirFailureWordAndLine) {
  const std::string head = "BEGIN TARNOK_LABS_PLUGIN Ombrel\nVERSION 1\n";
  struct Case {
    std::string text;
    const char* failure;
    const char* line;  // null: not checked
  } cases[] = {
      {"", "I couldn't load any information from the file.", nullptr},
      {"# comment only\n\n% and\n/ more\n", "I couldn't load any information from the file.", nullptr},
      {"HELLO there\n", "This doesn't look like the right type of file.", "Line 2: HELLO there"},
      {"BEGIN TARNOK_LABS_PLUGIN Ombrel\nVERSION\n", "Bad Token on load. D", "Line 3: VERSION"},
      {head, "Error on load! Couldn't load a line of data! C", nullptr},
      {head + " BEGIN NUM\n", "Bad Token on load. G", "Line 4: BEGIN NUM"},
      {head + " BEGIN BUTTON CLASSIC\n  CHECKED YES\n", "End of File during Load", nullptr},
      {head + " BEGIN RADIO STOP\n END\n", "Cannot find SELECTION data", "Line 5: END"},
      {head + " BEGIN RADIO STOP\n", "Error on load! Couldn't load a line of data!", nullptr},
      {head + " BEGIN RADIO STOP\n  SELECTION 1\n", "End of File during Load", nullptr},
      {head + " BEGIN LISTBOX ITEMLB\n  SEL 1\n END\n", "Wrong END name on load!", nullptr},
      {head + " BEGIN ITEM I\n  OBJECT 1 1 1 @a\n", "End of File during Load", nullptr},
  };
  for (const Case& c : cases) {
    const auto [failure, line] = failureOf(c.text);
    EXPECT_EQ(failure, c.failure) << c.text;
    if (c.line) {
      EXPECT_EQ(line, c.line) << c.text;
    }
  }

  // What came before a failure stands.
  InstanceSettings s;
  EXPECT_STREQ(InstanceSettings_Read(&s, (head + " BEGIN RADIO STOP\n  SELECTION 2\n END\n BEGIN NUM\n").c_str()),
               "Bad Token on load. G");
  EXPECT_EQ(s.failure, "Bad Token on load. G");
  EXPECT_EQ(s.failureLine, "Line 7: BEGIN NUM");
  EXPECT_EQ(instanceSelection(&s, "STOP", 0), 2);
  EXPECT_STREQ(InstanceSettings_Read(&s, (renderPanelText("Ombrel", 1, 3, false) + "junk\n").c_str()),
               "This doesn't look like the right type of file.");

  // Shown through the host's error, with the line as the second line.
  testhost::TestHost host;
  failureOf("HELLO\n");
  instanceShowLoadFailure(&host.messageFuncs, kInstanceNotBegin);
  ASSERT_EQ(host.messages.size(), 1u);
  EXPECT_EQ(host.messages[0], (testhost::Message{"error", "This doesn't look like the right type of file.",
                                                 "Line 2: HELLO"}));
}

// Layouts the reader passes over are in the damaged instance texts; these are what it keeps.
TEST(InstanceText, LongLinesAndSelectionsAsTheyStand) {
  InstanceSettings s;
  // A line over 253 characters is cut there, and its rest reads as the next line.
  const std::string longValue = "  VALUE 7" + std::string(244, ' ') + "VALUE 8";
  ASSERT_EQ(InstanceSettings_Read(&s, ("BEGIN TARNOK_LABS_PLUGIN x\n BEGIN NUM N\n" + longValue + "\n END\n").c_str()),
            nullptr);
  EXPECT_EQ(instanceNumber(&s, "N", 0), 8);

  // A selection beyond any radio's items is kept as it stands.
  ASSERT_EQ(InstanceSettings_Read(&s, "BEGIN TARNOK_LABS_PLUGIN x\n BEGIN RADIO STOP\n SELECTION 17\n END\n"), nullptr);
  EXPECT_EQ(instanceSelection(&s, "STOP", 0), 17);
}

TEST(InstanceText, TokensAndQuotedStrings) {
  char out[kInstanceLineSize];
  EXPECT_EQ(GetToken("  BEGIN\tNUM  AA LEVEL ", out, 1), 0);
  EXPECT_STREQ(out, "BEGIN");
  EXPECT_EQ(GetToken("  BEGIN\tNUM  AA LEVEL ", out, 3), 0);
  EXPECT_STREQ(out, "AA");
  EXPECT_EQ(GetToken("  BEGIN\tNUM  AA LEVEL ", out, 5), 1);
  EXPECT_EQ(GetToken("", out, 1), 1);
  GetQuoted(" NAME @my shot 0001.exr@ rest", out);
  EXPECT_STREQ(out, "my shot 0001.exr");
  GetQuoted(" NAME @unclosed to the end", out);
  EXPECT_STREQ(out, "unclosed to the end");
  GetQuoted(" NAME none", out);
  EXPECT_STREQ(out, "");
}

}  // namespace
