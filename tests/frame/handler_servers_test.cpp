#include <gmock/gmock.h>

#include "frame/servers.h"
#include "frame_fixture.h"

using ::testing::ElementsAre;
using testhost::Lookup;
using testhost::Message;

namespace {

using HandlerServersTest = FrameTest;

// One of each handler record, with members the frame must not touch set to a mark.
struct Records {
  LWDisplacementHandler displacement{};
  LWShaderHandler shader{};
  LWMasterHandler master{};
  Records() { master.type = -7; }
  void* of(int row) {
    return row == 0 ? static_cast<void*>(&displacement) : row == 1 ? static_cast<void*>(&shader) : &master;
  }
};

ActivateFunc* const kHandlerRows[] = {activateDisplacementHandler, activateShaderHandler, activateMasterHandler};

TEST_F(HandlerServersTest, TooOldAHostIsToldTooNewAHostIsNot) {
  for (int row = 0; row < 3; ++row) {
    SCOPED_TRACE(row);
    Records records;
    host.clearRecords();
    EXPECT_EQ(kHandlerRows[row](2, host.global(), records.of(row), nullptr), AFUNC_BADVERSION);
    EXPECT_THAT(host.lookups, ElementsAre(Lookup{"Info Messages", GFUSE_ACQUIRE}));
    EXPECT_THAT(host.messages,
                ElementsAre(Message{"error", "This plugin requires LW version 6.0 or later", ""}));

    host.clearRecords();
    EXPECT_EQ(kHandlerRows[row](5, host.global(), records.of(row), nullptr), AFUNC_BADVERSION);
    EXPECT_TRUE(host.lookups.empty());
    EXPECT_TRUE(host.messages.empty());
    EXPECT_EQ(globalServices.hostGlobal, nullptr);
    EXPECT_EQ(records.master.type, -7);
  }
  // Without a message service, or without a global function, the refusal is silent.
  host.answerNothing();
  EXPECT_EQ(activateShaderHandler(2, host.global(), nullptr, nullptr), AFUNC_BADVERSION);
  EXPECT_EQ(activateShaderHandler(1, nullptr, nullptr, nullptr), AFUNC_BADVERSION);
  EXPECT_TRUE(host.messages.empty());
}

TEST_F(HandlerServersTest, ModelerGetsOnlyTheDisplacement) {
  host.setSystemId(LWSYS_MODELER);
  Records records;
  EXPECT_EQ(activateShaderHandler(4, host.global(), &records.shader, nullptr), AFUNC_BADAPP);
  EXPECT_EQ(activateMasterHandler(3, host.global(), &records.master, nullptr), AFUNC_BADAPP);
  EXPECT_EQ(shaderHandlerLocal, nullptr);
  EXPECT_EQ(records.master.type, -7);
  EXPECT_EQ(activateDisplacementHandler(4, host.global(), &records.displacement, nullptr), AFUNC_OK);
  EXPECT_TRUE(globalServices.isModeler);
  // Once started, the module remembers which application it runs in.
  host.clearRecords();
  EXPECT_EQ(activateShaderHandler(4, host.global(), &records.shader, nullptr), AFUNC_BADAPP);
  EXPECT_TRUE(host.lookups.empty());
}

TEST_F(HandlerServersTest, AFailedStartLeavesTheHandlerUnfilled) {
  host.leaveOut("LW Camera Info");
  static int fills;
  fills = 0;
  frameHooks.fillMasterHandler = [](LWMasterHandler*) { ++fills; };
  frameHooks.fillShaderHandler = [](LWShaderHandler*) { ++fills; };
  frameHooks.fillDisplacementHandler = [](LWDisplacementHandler*) { ++fills; };
  for (int row = 0; row < 3; ++row) {
    Records records;
    EXPECT_EQ(kHandlerRows[row](4, host.global(), records.of(row), nullptr), 14);
    EXPECT_EQ(records.master.type, -7);
  }
  EXPECT_EQ(fills, 0);
  EXPECT_EQ(shaderHandlerLocal, nullptr);
  EXPECT_EQ(activateMasterHandler(4, nullptr, nullptr, nullptr), AFUNC_BADGLOBAL);
}

TEST_F(HandlerServersTest, ASuccessfulActivationFillsTheRecord) {
  static void* filled[3];
  frameHooks.fillDisplacementHandler = [](LWDisplacementHandler* h) { filled[0] = h; };
  frameHooks.fillShaderHandler = [](LWShaderHandler* h) { filled[1] = h; };
  frameHooks.fillMasterHandler = [](LWMasterHandler* h) { filled[2] = h; };
  Records records;
  for (int row = 0; row < 3; ++row) EXPECT_EQ(kHandlerRows[row](3 + row % 2, host.global(), records.of(row), nullptr), AFUNC_OK);
  EXPECT_EQ(filled[0], &records.displacement);
  EXPECT_EQ(filled[1], &records.shader);
  EXPECT_EQ(filled[2], &records.master);
  EXPECT_EQ(shaderHandlerLocal, &records.shader);
  EXPECT_EQ(records.master.type, 1);
  EXPECT_EQ(globalServices.hostGlobal, host.global());

  // Until the handlers' own subsystems fill them, the records stay as the host gave them.
  frameHooks = {};
  Records bare;
  EXPECT_EQ(activateMasterHandler(4, host.global(), &bare.master, nullptr), AFUNC_OK);
  EXPECT_EQ(bare.master.inst, nullptr);
  EXPECT_EQ(bare.master.event, nullptr);
  EXPECT_EQ(activateDisplacementHandler(4, host.global(), nullptr, nullptr), AFUNC_BADLOCAL);
}

TEST_F(HandlerServersTest, MasterInterfaceNeedsAStartAndLocalData) {
  MasterInstance master{};
  EXPECT_EQ(activateMasterInterface(4, host.global(), &master, nullptr), kMasterNotStarted);
  EXPECT_EQ(kMasterNotStarted, 9237);

  startModule();
  EXPECT_EQ(activateMasterInterface(4, host.global(), nullptr, nullptr), kMasterNoLocalData);
  EXPECT_EQ(kMasterNoLocalData, 3477);
  EXPECT_THAT(host.messages, ElementsAre(Message{"error", "No local data when starting up interface", "ARRRGGH"}));

  // The panel's result: positive means it was used and closed.
  EXPECT_EQ(activateMasterInterface(4, host.global(), &master, nullptr), AFUNC_OK);
  static int panelResult;
  static MasterInstance* panelFor;
  frameHooks.masterPanelRun = [](MasterInstance* m) {
    panelFor = m;
    return panelResult;
  };
  panelResult = 1;
  EXPECT_EQ(activateMasterInterface(4, host.global(), &master, nullptr), 999);
  EXPECT_EQ(panelFor, &master);
  panelResult = 0;
  EXPECT_EQ(activateMasterInterface(4, host.global(), &master, nullptr), AFUNC_OK);
}

}  // namespace

namespace {

TEST_F(HandlerServersTest, AfterAFailedLoadEveryServerRefusesQuietly) {
  frameLoadFailed = true;
  MasterInstance master{};
  LWMasterHandler handler{};
  for (int row = 0; row < kServerCount; ++row) {
    SCOPED_TRACE(row);
    void* local = row < 3 ? static_cast<void*>(&handler) : row == 3 ? static_cast<void*>(&master) : host.generic();
    EXPECT_EQ(ombrelServers[row].activate(4, host.global(), local, nullptr), AFUNC_BADAPP_SILENT);
  }
  frameLoadFailed = false;
  EXPECT_TRUE(host.lookups.empty());
  EXPECT_TRUE(host.commands.empty());
  EXPECT_TRUE(host.messages.empty());
}

}  // namespace
