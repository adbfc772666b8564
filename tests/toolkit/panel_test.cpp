// The panel host without a display: threads, idle ticks, modal and non-modal opening,
// closing, copying, and the frame's settings files and paste buffer.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "host/services/host.h"
#include "runtime/global_services.h"
#include "runtime/module_load.h"
#include "support/eventually.h"
#include "support/started_host.h"
#include "support/test_host.h"
#include "toolkit/instance_text.h"
#include "toolkit/panel.h"

namespace {

class Headless : public ::testing::Environment {
 public:
  void SetUp() override {
    unsetenv("DISPLAY");
    ASSERT_EQ(runtimeLoad(), 1);
  }
  void TearDown() override { runtimeUnload(); }
};
[[maybe_unused]] auto* const headless = ::testing::AddGlobalTestEnvironment(new Headless);

// A control of the test's own: counts its idle ticks and the threads they ran on, and saves
// one number as a "NUM" block.
struct Counter : PanelControl {
  std::atomic<int> ticks;
  std::atomic<int> stopAfter;  // ends the panel with OK at this tick; 0 never
  std::thread::id tickThread;
  double value;
};

int32_t counterIdle(PanelControl* c) {
  auto* counter = static_cast<Counter*>(c);
  counter->tickThread = std::this_thread::get_id();
  const int tick = ++counter->ticks;
  if (counter->stopAfter && tick == counter->stopAfter) panelEnd(controlPanel(c), kPanelResultOk);
  return 0;
}

int32_t counterSave(PanelControl* c, LWSaveState* state, int32_t indent) {
  InstanceNumeric n{};
  n.value = static_cast<Counter*>(c)->value;
  return instanceWriteNumeric(state, indent, controlName(c), &n);
}

const char* counterLoad(PanelControl* c, LWLoadState* state) {
  InstanceNumeric n{};
  const char* failure = instanceReadNumeric(state, &n);
  if (!failure) static_cast<Counter*>(c)->value = n.value;
  return failure;
}

void counterCopy(PanelControl* c, const PanelControl* other) {
  static_cast<Counter*>(c)->value = static_cast<const Counter*>(other)->value;
}

Counter* addCounter(Panel* panel, const char* name, double value = 0.0) {
  auto* c = controlNew<Counter>(panel, name);
  PanelControlHead* head = controlHead(c);
  head->kind = kControlKindNumeric;
  head->saved = 1;
  head->ops.idle = counterIdle;
  head->ops.save = counterSave;
  head->ops.load = counterLoad;
  head->ops.copy = counterCopy;
  c->value = value;
  return c;
}

std::atomic<int> closes{0};
int32_t countClose(Panel*) {
  ++closes;
  return 0;
}

using testwait::eventually;

class PanelTest : public ::testing::Test {
 protected:
  void SetUp() override {
    host_ = std::make_unique<testhost::StartedHost>(host::Scene{});
    ASSERT_TRUE(host_->started());
    closes = 0;
  }
  void TearDown() override { host_.reset(); }
  std::unique_ptr<testhost::StartedHost> host_;
};

TEST_F(PanelTest, AModalPanelHoldsItsCallerUntilItClosesAndGivesItsResult) {
  Panel* panel = PanelCreate("Modal", nullptr, 1);
  ASSERT_NE(panel, nullptr);
  panel->onClose = countClose;
  Counter* counter = addCounter(panel, "COUNT");
  counter->stopAfter = 3;
  EXPECT_EQ(PanelOpen(panel, nullptr), kPanelResultOk);
  EXPECT_EQ(counter->ticks.load(), 3);  // the caller was held until the third tick closed it
  EXPECT_NE(counter->tickThread, std::this_thread::get_id());  // idle runs on the panel's thread
  EXPECT_EQ(closes.load(), 1);
  EXPECT_EQ(panel->isOpen.load(), 0);
  // The frame was built at the first drawing, headless as with a window.
  EXPECT_NE(panel->closeButton, nullptr);
  EXPECT_NE(panel->titleText, nullptr);
  PanelDestroy(panel);
}

TEST_F(PanelTest, ANonModalPanelReturnsAtOnceTicksAndClosesFromAnotherThread) {
  Panel* panel = PanelCreate("Tool", nullptr, 2);
  panel->options |= kPanelNonModal;
  panel->onClose = countClose;
  Counter* counter = addCounter(panel, "COUNT");
  EXPECT_EQ(PanelOpen(panel, nullptr), 0);
  // The 250 ms timer keeps the panel's idle loop going with no input at all.
  EXPECT_TRUE(eventually([&] { return counter->ticks >= 4; }));
  EXPECT_EQ(PanelOpen(panel, nullptr), 0);  // already open: raised, not opened twice
  PanelClose(panel);
  EXPECT_TRUE(eventually([&] { return panel->isOpen == 0; }));
  EXPECT_EQ(closes.load(), 1);
  // It opens again after closing, with a new thread.
  const int before = counter->ticks;
  EXPECT_EQ(PanelOpen(panel, nullptr), 0);
  EXPECT_TRUE(eventually([&] { return counter->ticks > before; }));
  PanelDestroy(panel);  // closes and waits
  EXPECT_EQ(closes.load(), 2);
}

TEST_F(PanelTest, AModalPanelOverAPanelThatGoesAwayClosesToo) {
  Panel* parent = PanelCreate("Parent", nullptr, 3);
  parent->options |= kPanelNonModal;
  ASSERT_EQ(PanelOpen(parent, nullptr), 0);
  Panel* child = PanelCreate("Child", nullptr, 4);
  std::thread closer([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    PanelClose(parent);
  });
  EXPECT_EQ(PanelOpen(child, parent), kPanelResultCancel);
  closer.join();
  EXPECT_EQ(child->isOpen.load(), 0);
  PanelDestroy(child);
  PanelDestroy(parent);
}

TEST_F(PanelTest, CopyWalksTheSavedControlsInStep) {
  Panel* from = PanelCreate("A", nullptr, 5);
  Panel* to = PanelCreate("B", nullptr, 5);
  addCounter(from, "ONE", 1.5);
  addCounter(from, "TWO", 2.5);
  Counter* one = addCounter(to, "ONE");
  Counter* two = addCounter(to, "TWO");
  EXPECT_EQ(panelCopy(to, from), nullptr);
  EXPECT_EQ(one->value, 1.5);
  EXPECT_EQ(two->value, 2.5);
  addCounter(from, "THREE");
  EXPECT_STREQ(panelCopy(to, from), "Copy Failed");
  PanelDestroy(from);
  PanelDestroy(to);
}

TEST_F(PanelTest, SettingsGoToAFileInCrLfLinesAndComeBack) {
  const auto path = std::filesystem::temp_directory_path() / "ombrel_panel_settings.txt";
  host_->host().settings().fileRequestAnswer = path.string();
  Panel* panel = PanelCreate("Settings", nullptr, 6);
  panel->options |= kPanelSaveLoad;
  addCounter(panel, "RATE", 0.25);
  panelSaveSettings(panel, 0);
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  EXPECT_EQ(text.str().rfind("BEGIN TARNOK_LABS_PLUGIN Settings\r\n", 0), 0u) << text.str();
  EXPECT_NE(text.str().find(" BEGIN NUM RATE\r\n"), std::string::npos);

  Panel* other = PanelCreate("Other", nullptr, 7);
  Counter* rate = addCounter(other, "RATE");
  panelLoadSettings(other, 0);
  EXPECT_EQ(rate->value, 0.25);
  std::filesystem::remove(path);

  // The host's request was cancelled: nothing is read, nothing changes.
  host_->host().settings().fileRequestAnswer.clear();
  rate->value = 9.0;
  panelLoadSettings(other, 0);
  EXPECT_EQ(rate->value, 9.0);
  PanelDestroy(panel);
  PanelDestroy(other);
}

TEST_F(PanelTest, SavingWithShiftTogglesThePasteBufferOfThePanelsType) {
  Panel* panel = PanelCreate("Paste", nullptr, 8);
  panel->options |= kPanelSaveLoad | kPanelCutPaste;
  addCounter(panel, "RATE", 4.0);
  Panel* sameType = PanelCreate("Paste", nullptr, 8);
  Counter* rate = addCounter(sameType, "RATE");
  Panel* otherType = PanelCreate("Elsewhere", nullptr, 9);

  panelSaveSettings(panel, kModifierShift);
  EXPECT_TRUE(panelPasteBufferMatches(sameType));
  EXPECT_FALSE(panelPasteBufferMatches(otherType));
  panelLoadSettings(sameType, kModifierShift);
  EXPECT_EQ(rate->value, 4.0);
  panelSaveSettings(panel, kModifierShift);  // a second shift-save lets the buffer go
  EXPECT_FALSE(panelPasteBufferMatches(sameType));
  PanelDestroy(panel);
  PanelDestroy(sameType);
  PanelDestroy(otherType);
}

TEST_F(PanelTest, InstanceSaveRefusesWhatIsNotAPanelWithAVersion) {
  InstanceMemoryWriter writer;
  InstanceMemoryWriter_Init(&writer);
  EXPECT_STREQ(PanelInstanceSave(nullptr, &writer.state), "No instance data at save!");
  Panel* panel = PanelCreate("V", nullptr, 10);
  panel->version = 0.0;
  EXPECT_STREQ(PanelInstanceSave(panel, &writer.state), "Version <=0.0!");
  panel->version = 2.5;
  EXPECT_EQ(PanelInstanceSave(panel, &writer.state), nullptr);
  EXPECT_NE(writer.text.find("VERSION 2.5\r\n"), std::string::npos);
  PanelDestroy(panel);
}

TEST(PanelFailures, WithoutTheHostsDisplayInfoThePanelsThreadEndsWithItsMessage) {
  struct Case {
    bool leaveOut;
    const char* first;
  };
  for (const Case& c : {Case{true, "Error B: Cannot open Lightwave's Display Info"},
                        Case{false, "Error C: LightWave's Display Info is incorrect!"}}) {
    testhost::TestHost host;
    HostDisplayInfo noColours{};  // a record with no colour table
    if (c.leaveOut) host.leaveOut(LWHOSTDISPLAYINFO_GLOBAL);
    else host.answer(LWHOSTDISPLAYINFO_GLOBAL, &noColours);
    globalServices = {};
    ASSERT_EQ(serverStart(host.global()), 0);
    Panel* panel = PanelCreate("Broken", nullptr, 11);
    EXPECT_EQ(PanelOpen(panel, nullptr), kPanelResultCancel);  // returns: nothing waits for a window
    ASSERT_FALSE(host.messages.empty());
    EXPECT_EQ(host.messages.back().first, c.first);
    EXPECT_EQ(host.messages.back().second, "Try freeing RAM, or restarting LightWave?");
    PanelDestroy(panel);
    globalServices = {};
  }
}

}  // namespace
