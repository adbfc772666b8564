#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "frame/servers.h"
#include "frame_fixture.h"

using ::testing::ElementsAre;
using testhost::Message;

namespace {

// A stand-in for the viewer panel: just enough of a preview for the list, the sweep and
// the gate, with every call written to one log.
struct FakePreview {
  FakePreview* next = nullptr;
  FakePreview* prev = nullptr;
  int id = 0;
  bool open = true;
};

std::vector<std::string> journal;
std::vector<FakePreview*> liveFakes;
int nextFakeId = 1;

FakePreview* fake(ViewerPanel* v) { return reinterpret_cast<FakePreview*>(v); }
ViewerPanel* panel(FakePreview* f) { return reinterpret_cast<ViewerPanel*>(f); }
void log(const std::string& what, ViewerPanel* v) { journal.push_back(what + " " + std::to_string(fake(v)->id)); }

void linkAtHead(ViewerPanel** list, FakePreview* f) {
  f->next = fake(*list);
  if (f->next) f->next->prev = f;
  *list = panel(f);
}

void installFakePreviews() {
  frameHooks.viewerCreate = [](ViewerPanel** list, const LWLayoutGeneric*) {
    auto* f = new FakePreview;
    f->id = nextFakeId++;
    liveFakes.push_back(f);
    linkAtHead(list, f);
    journal.push_back("create " + std::to_string(f->id));
    return panel(f);
  };
  frameHooks.viewerDestroy = [](ViewerPanel** list, ViewerPanel* v) {
    log("destroy", v);
    FakePreview* f = fake(v);
    if (f->prev) f->prev->next = f->next; else *list = panel(f->next);
    if (f->next) f->next->prev = f->prev;
    std::erase(liveFakes, f);
    delete f;
  };
  frameHooks.viewerPanelOpen = [](ViewerPanel* v) { return fake(v)->open; };
  frameHooks.viewerNext = [](ViewerPanel* v) { return panel(fake(v)->next); };
  frameHooks.viewerLockEngine = [](ViewerPanel* v) { log("lock", v); };
  frameHooks.viewerUnlockEngine = [](ViewerPanel* v) { log("unlock", v); };
  frameHooks.viewerInvalidateAll = [](ViewerPanel* v) { log("invalidate", v); };
}

class GenericServersTest : public FrameTest {
 protected:
  void SetUp() override {
    FrameTest::SetUp();
    journal.clear();
    nextFakeId = 1;
    // Commands go to the same log as the previews' calls, so their order can be read.
    host.onCommand = [](const std::string& c) { journal.push_back(c); };
  }
  void TearDown() override {
    for (auto* f : liveFakes) delete f;
    liveFakes.clear();
    FrameTest::TearDown();
  }

  void openFakes(int n) {
    for (int i = 0; i < n; ++i) frameHooks.viewerCreate(&viewerList, host.generic());
    journal.clear();
  }

  // A host that creates the master when asked, as Layout does from within the command.
  void hostCreatesMaster() {
    host.onCommand = [this](const std::string& c) {
      journal.push_back(c);
      if (c == "ApplyServer MasterHandler Ombrel") masterInstance = &master;
    };
  }

  int run(ActivateFunc* activate) { return activate(1, host.global(), host.generic(), nullptr); }

  MasterInstance master{};
};

TEST_F(GenericServersTest, OpenPreviewWithoutAMasterStillOpensIt) {
  installFakePreviews();
  EXPECT_EQ(run(activateOpenPreview), AFUNC_OK);
  EXPECT_THAT(journal, ElementsAre("ApplyServer MasterHandler Ombrel", "SurfaceEditor 0", "create 1"));
  EXPECT_THAT(host.messages, ElementsAre(Message{"error", "Cannot start Ombrel Master plugin.", ""}));
  EXPECT_EQ(globalServices.hostGlobal, host.global());  // the common start ran

  // As the module stands, no preview can be made: the command ends after its messages.
  frameHooks = {};
  viewerList = nullptr;
  host.clearRecords();
  EXPECT_EQ(run(activateOpenPreview), AFUNC_OK);
  EXPECT_THAT(host.commands, ElementsAre("ApplyServer MasterHandler Ombrel", "SurfaceEditor 0"));
}

TEST_F(GenericServersTest, OpenPreviewBuildsTheCaptureAtTheHostsTime) {
  hostCreatesMaster();
  installFakePreviews();
  static double captureTime;
  static SceneCapture* const kCapture = reinterpret_cast<SceneCapture*>(0x1000);
  frameHooks.captureCreate = [](double time) {
    captureTime = time;
    return kCapture;
  };
  LWInterfaceInfo ui{};
  ui.curTime = 2.5;
  host.answer("LW Interface Info", &ui);

  EXPECT_EQ(run(activateOpenPreview), AFUNC_OK);
  EXPECT_THAT(journal, ElementsAre("ApplyServer MasterHandler Ombrel", "SurfaceEditor 0", "create 1"));
  EXPECT_TRUE(host.messages.empty());
  EXPECT_EQ(master.capture, kCapture);
  EXPECT_EQ(captureTime, 2.5);
  EXPECT_EQ(host.lookups.back().name, "LW Interface Info");
  EXPECT_EQ(host.lookups.back().use, GFUSE_ACQUIRE);

  // A second preview: the master and its capture are there, the Surface Editor is left alone.
  journal.clear();
  EXPECT_EQ(run(activateOpenPreview), AFUNC_OK);
  EXPECT_THAT(journal, ElementsAre("create 2"));

  // Without the interface service the capture is built at time 0.
  master.capture = nullptr;
  host.answer("LW Interface Info", nullptr);
  EXPECT_EQ(run(activateOpenPreview), AFUNC_OK);
  EXPECT_EQ(captureTime, 0.0);
}

TEST_F(GenericServersTest, FourPreviewsAreTheLimitCountedAfterTheSweep) {
  hostCreatesMaster();
  masterInstance = &master;
  installFakePreviews();
  openFakes(4);
  EXPECT_EQ(run(activateOpenPreview), AFUNC_OK);
  EXPECT_TRUE(journal.empty());
  EXPECT_THAT(host.messages, ElementsAre(Message{"warning", "To save system resources, you are",
                                                 "limited to 4 simultaneous previews."}));

  // The user closes preview 2 with its close box: the sweep frees it, and a new one opens.
  fake(viewerList)->next->next->open = false;
  host.messages.clear();
  EXPECT_EQ(run(activateOpenPreview), AFUNC_OK);
  EXPECT_THAT(journal, ElementsAre("destroy 2", "create 5"));
  EXPECT_TRUE(host.messages.empty());
  EXPECT_EQ(fake(viewerList)->id, 5);
}

TEST_F(GenericServersTest, RenderStopsWithoutAMasterAndOtherwiseClosesEveryPreview) {
  installFakePreviews();
  openFakes(2);
  EXPECT_EQ(run(activateRender), AFUNC_OK);
  EXPECT_THAT(journal, ElementsAre("ApplyServer MasterHandler Ombrel"));
  EXPECT_THAT(host.messages, ElementsAre(Message{"error", "Cannot start Ombrel Master plugin.", ""}));

  hostCreatesMaster();
  frameHooks.renderPanelPrepare = [](MasterInstance*) {
    journal.push_back("prepare panel");
    return true;
  };
  frameHooks.renderPanelRun = [](MasterInstance*, const LWLayoutGeneric*) { journal.push_back("run panel"); };
  journal.clear();
  EXPECT_EQ(run(activateRender), AFUNC_OK);
  EXPECT_THAT(journal, ElementsAre("ApplyServer MasterHandler Ombrel", "destroy 2", "destroy 1", "prepare panel",
                                   "SurfaceEditor 0", "ImageEditor 0", "GraphEditor 0", "SceneEditor 0",
                                   "run panel", "RefreshNow"));
  EXPECT_EQ(viewerList, nullptr);

  // A panel that cannot be made ends the command quietly.
  frameHooks.renderPanelPrepare = [](MasterInstance*) { return false; };
  journal.clear();
  host.messages.clear();
  EXPECT_EQ(run(activateRender), AFUNC_OK);
  EXPECT_TRUE(journal.empty());
  EXPECT_TRUE(host.messages.empty());
}

TEST_F(GenericServersTest, RefreshWithoutPreviewsDoesNothing) {
  EXPECT_EQ(run(activateRefresh), AFUNC_OK);
  EXPECT_TRUE(host.lookups.empty());
  EXPECT_TRUE(host.commands.empty());
  EXPECT_EQ(globalServices.hostGlobal, nullptr);  // no common start here

  installFakePreviews();
  openFakes(1);
  fake(viewerList)->open = false;
  EXPECT_EQ(run(activateRefresh), AFUNC_OK);
  EXPECT_THAT(journal, ElementsAre("destroy 1"));
}

TEST_F(GenericServersTest, RefreshUpdatesUnderEveryGate) {
  installFakePreviews();
  openFakes(2);
  masterInstance = &master;
  master.capture = reinterpret_cast<SceneCapture*>(0x1000);
  frameHooks.captureUpdate = [](SceneCapture*) { journal.push_back("update"); };
  EXPECT_EQ(run(activateRefresh), AFUNC_OK);
  EXPECT_THAT(journal, ElementsAre("lock 2", "lock 1", "update", "invalidate 2", "invalidate 1", "RefreshNow",
                                   "unlock 2", "unlock 1"));
  EXPECT_TRUE(host.lookups.empty());
}

TEST_F(GenericServersTest, StripRemovesTheShaderFromKnownSurfacesOnly) {
  installFakePreviews();
  openFakes(1);
  EXPECT_EQ(run(activateStripShaders), AFUNC_OK);  // empty list
  EXPECT_TRUE(journal.empty());
  EXPECT_TRUE(host.lookups.empty());
  ASSERT_NE(viewerList, nullptr);

  auto* const surfaceA = reinterpret_cast<LWSurfaceID>(0x100);
  auto* const surfaceB = reinterpret_cast<LWSurfaceID>(0x200);
  ShaderSurface a{surfaceA, nullptr, nullptr}, unknown{nullptr, nullptr, nullptr};
  ShaderSurface gone{kShaderSurfaceGone, nullptr, nullptr}, b{surfaceB, nullptr, nullptr};
  for (ShaderSurface* s : {&b, &gone, &unknown, &a}) shaderSurfaceLink(s);  // list: a, unknown, gone, b

  // Without the Surface Editor's service nothing happens.
  host.answer("SurfaceEditor Functions", nullptr);
  EXPECT_EQ(run(activateStripShaders), AFUNC_OK);
  EXPECT_TRUE(journal.empty());

  host.answer("SurfaceEditor Functions", &host.surfaceEditor);
  startModule();
  EXPECT_EQ(run(activateStripShaders), AFUNC_OK);
  EXPECT_THAT(journal, ElementsAre("SurfaceEditor 0", "destroy 1", "Surf_RemShader Ombrel", "Surf_RemShader Ombrel"));
  EXPECT_THAT(host.surfacesSet, ElementsAre(surfaceA, surfaceB));
  EXPECT_EQ(host.lookups.back().name, "SurfaceEditor Functions");
  EXPECT_EQ(host.lookups.back().use, GFUSE_ACQUIRE);

  // The stripped records leave the list, marked; the others stay linked.
  EXPECT_EQ(a.surface, kShaderSurfaceGone);
  EXPECT_EQ(b.surface, kShaderSurfaceGone);
  EXPECT_EQ(a.next, nullptr);
  EXPECT_EQ(b.prev, nullptr);
  EXPECT_EQ(shaderSurfaceList, &unknown);
  EXPECT_EQ(unknown.next, &gone);
  EXPECT_EQ(gone.prev, &unknown);
  EXPECT_EQ(gone.next, nullptr);
}

TEST_F(GenericServersTest, CommandsWithoutLocalDataAreRefused) {
  for (ActivateFunc* activate : {activateOpenPreview, activateRefresh, activateRender, activateStripShaders})
    EXPECT_EQ(activate(1, host.global(), nullptr, nullptr), AFUNC_BADLOCAL);
  EXPECT_TRUE(host.commands.empty());
}

}  // namespace
