#include <gmock/gmock.h>

#include <cstdint>
#include <string>

#include "frame_fixture.h"
#include "runtime/random.h"

extern "C" int hostInterfaceAsC(void);

using ::testing::ElementsAre;
using testhost::Lookup;
using testhost::TestHost;

namespace {

using GlobalServicesTest = FrameTest;

// The required services with the number the start returns when each is missing, in the
// order the start tests them.
struct Required {
  const char* name;
  int number;
};
const Required kRequiredInTestOrder[] = {
    {"LW Item Info", 10},   {"LW Object Info", 11}, {"LW Bone Info", 12},
    {"LW Light Info", 13},  {"LW Camera Info", 14}, {"LW Image List", 15},
    {"Info Messages", 17},  {"Directory Info", 18}, {"Surface Functions", 19},
};

void leaveOutRequired(TestHost& host, const Required& r) {
  host.leaveOut(r.name);
  if (std::string(r.name) == "LW Light Info") host.answer("LW Light Info 3", host.table("LW Light Info 3"));
}

TEST_F(GlobalServicesTest, AcquiresEveryServiceOnceInItsOrder) {
  EXPECT_EQ(serverStart(host.global()), 0);

  std::vector<Lookup> expected = {{"System ID", GFUSE_TRANSIENT}, {"Product Info", GFUSE_TRANSIENT}};
  for (const auto& s : testhost::kStartServices) {
    // This host answers the highest version, so that is the only name tried.
    expected.push_back({TestHost::versionedNames(s.name, s.highestVersion).front(), GFUSE_ACQUIRE});
  }
  EXPECT_EQ(host.lookups, expected);

  const GlobalServices& g = globalServices;
  EXPECT_EQ(g.hostGlobal, host.global());
  EXPECT_FALSE(g.isModeler);
  EXPECT_EQ(g.messages, &host.messageFuncs);
  EXPECT_EQ(reinterpret_cast<void*>(g.itemInfo), host.table("LW Item Info 4"));
  EXPECT_EQ(reinterpret_cast<void*>(g.lightInfo3), host.table("LW Light Info 3"));
  EXPECT_EQ(reinterpret_cast<void*>(g.lightInfo), host.table("LW Light Info 2"));
  EXPECT_EQ(reinterpret_cast<void*>(g.envelopeFuncs), host.table("Animation Envelopes"));
  EXPECT_EQ(g.hostVersion.major, 9);
  EXPECT_EQ(g.hostVersion.minor, 6);
  EXPECT_EQ(g.hostVersion.build, 2000);

  // The inverse of the random permutation is ready for the draws.
  for (uint32_t i = 0; i < 65536; ++i) ASSERT_EQ(inverseTable[forwardTable[i]], i);

  // Once started, a start looks nothing up.
  host.clearRecords();
  EXPECT_EQ(serverStart(host.global()), 0);
  EXPECT_TRUE(host.lookups.empty());
  EXPECT_EQ(serverStart(nullptr), AFUNC_BADGLOBAL);
}

TEST_F(GlobalServicesTest, TriesVersionsFromTheHighestDownToThePlainName) {
  host.leaveOut("Info Messages");
  host.answer("Info Messages 2", &host.messageFuncs);
  EXPECT_EQ(serverStart(host.global()), 0);
  EXPECT_EQ(globalServices.messages, &host.messageFuncs);
  auto names = host.lookupNames();
  EXPECT_THAT(std::vector<std::string>(names.begin() + 4, names.begin() + 7),
              ElementsAre("Info Messages 3", "Info Messages 2", "Directory Info 2"));

  globalServices = {};
  host.clearRecords();
  host.leaveOut("Info Messages");
  EXPECT_EQ(serverStart(host.global()), 17);
  EXPECT_EQ(globalServices.messages, nullptr);
  names = host.lookupNames();
  EXPECT_THAT(std::vector<std::string>(names.begin() + 4, names.begin() + 8),
              ElementsAre("Info Messages 3", "Info Messages 2", "Info Messages", "Directory Info 2"));
  // A missing service doesn't stop the acquiring: the rest are still asked for.
  EXPECT_EQ(host.lookupNames().back(), "Animation Envelopes");
  EXPECT_NE(globalServices.envelopeFuncs, nullptr);
}

TEST_F(GlobalServicesTest, EachMissingRequiredServiceHasItsNumber) {
  for (const auto& r : kRequiredInTestOrder) {
    SCOPED_TRACE(r.name);
    TestHost local;
    globalServices = {};
    leaveOutRequired(local, r);
    EXPECT_EQ(serverStart(local.global()), r.number);
    EXPECT_EQ(globalServices.hostGlobal, nullptr);
  }
}

TEST_F(GlobalServicesTest, SeveralMissingAreReportedInTestOrder) {
  for (const auto& r : kRequiredInTestOrder) leaveOutRequired(host, r);
  // Put them back one at a time: each start then reports the next in the order of tests,
  // which is not the order of acquiring.
  for (const auto& r : kRequiredInTestOrder) {
    SCOPED_TRACE(r.name);
    EXPECT_EQ(serverStart(host.global()), r.number);
    for (const auto& name : TestHost::versionedNames(r.name, 1)) host.answer(name, host.table(name));
  }
  EXPECT_EQ(serverStart(host.global()), 0);
  EXPECT_EQ(globalServices.hostGlobal, host.global());
}

TEST_F(GlobalServicesTest, AFailedStartRunsAgainWholeAtTheNextActivation) {
  host.leaveOut("LW Bone Info");
  EXPECT_EQ(serverStart(host.global()), 12);
  const auto first = host.lookups;
  host.clearRecords();
  EXPECT_EQ(serverStart(host.global()), 12);
  EXPECT_EQ(host.lookups, first);

  host.answer("LW Bone Info", host.table("LW Bone Info"));
  host.clearRecords();
  EXPECT_EQ(serverStart(host.global()), 0);
  EXPECT_EQ(host.lookups, first);  // the same names, and now the plain bone name answers
  host.clearRecords();
  EXPECT_EQ(serverStart(host.global()), 0);
  EXPECT_TRUE(host.lookups.empty());
}

TEST_F(GlobalServicesTest, UnnumberedServicesLeaveTheStartIncompleteButSucceed) {
  for (const char* name : {"LW Backdrop Info", "Texture Functions", "Animation Envelopes"}) {
    SCOPED_TRACE(name);
    TestHost local;
    globalServices = {};
    local.leaveOut(name);
    EXPECT_EQ(serverStart(local.global()), 0);
    EXPECT_EQ(globalServices.hostGlobal, nullptr);
    local.clearRecords();
    EXPECT_EQ(serverStart(local.global()), 0);
    EXPECT_FALSE(local.lookups.empty());  // started again from the beginning
  }
}

TEST_F(GlobalServicesTest, OptionalServicesMayBeMissing) {
  for (const char* name : {"File Request", "Color Picker", "LW Light Info 3", "Scene Objects"}) host.leaveOut(name);
  EXPECT_EQ(serverStart(host.global()), 0);
  EXPECT_EQ(globalServices.hostGlobal, host.global());
  EXPECT_EQ(globalServices.fileRequest, nullptr);
  EXPECT_EQ(globalServices.objectFuncs, nullptr);
}

TEST_F(GlobalServicesTest, ProductWordIsCheckedAndReplacedWhenImplausible) {
  struct Case {
    unsigned int word;
    HostVersion expected;
  };
  const Case cases[] = {
      {testhost::productWord(6, 5, 300), {6, 5, 508}},   // build too low
      {testhost::productWord(7, 5, 400), {7, 5, 400}},   // lowest build taken
      {testhost::productWord(8, 0, 4095), {8, 0, 4095}},
      {testhost::productWord(4, 0, 1000), {6, 5, 508}},  // major too low
      {0, {6, 5, 508}},                                  // a host that doesn't answer
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.word);
    globalServices = {};
    host.setProductInfo(c.word);
    ASSERT_EQ(serverStart(host.global()), 0);
    EXPECT_EQ(globalServices.hostVersion.major, c.expected.major);
    EXPECT_EQ(globalServices.hostVersion.minor, c.expected.minor);
    EXPECT_EQ(globalServices.hostVersion.build, c.expected.build);
  }
}

TEST_F(GlobalServicesTest, ModelerNeedsNothingAndTheRenderNodeCountsAsLayout) {
  host.leaveOut("LW Bone Info");
  host.leaveOut("LW Backdrop Info");
  host.setSystemId(LWSYS_MODELER | 1234);
  EXPECT_EQ(serverStart(host.global()), 0);
  EXPECT_TRUE(globalServices.isModeler);
  EXPECT_EQ(globalServices.hostGlobal, host.global());
  EXPECT_EQ(globalServices.boneInfo, nullptr);

  globalServices = {};
  host.setSystemId(LWSYS_SCREAMERNET | 1234);
  EXPECT_EQ(serverStart(host.global()), 12);
  EXPECT_FALSE(globalServices.isModeler);
}

TEST(HostTransient, NoHostOrAThrowingHostGivesNothing) {
  const GlobalServices saved = globalServices;
  globalServices.hostGlobal = nullptr;
  EXPECT_EQ(hostTransient(LWSCENEINFO_GLOBAL), nullptr);
  globalServices.hostGlobal = [](const char*, int) -> void* { throw 1; };
  EXPECT_EQ(hostTransient(LWSCENEINFO_GLOBAL), nullptr);
  static int scene;
  globalServices.hostGlobal = [](const char* name, int use) -> void* {
    return std::string(name) == LWSCENEINFO_GLOBAL && use == GFUSE_TRANSIENT ? &scene : nullptr;
  };
  EXPECT_EQ(hostTransient(LWSCENEINFO_GLOBAL), &scene);
  EXPECT_EQ(hostTransient(LWCOMPINFO_GLOBAL), nullptr);
  globalServices = saved;
}

TEST(HostInterface, HeadersCompileAsC) { EXPECT_EQ(hostInterfaceAsC(), 3 + LWMAST_OPTIONS); }

}  // namespace
