#include "host/runtime/plugin_module.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include <lwmaster.h>

#include "support/test_host.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using host::PluginModule;
using testhost::Message;

namespace {

namespace fs = std::filesystem;

// Keeps a fixture loaded across the PluginModule's own dlclose, so that its counters can
// be read after the module was closed.
struct FixtureCounters {
  explicit FixtureCounters(const char* path) : handle(dlopen(path, RTLD_NOW | RTLD_LOCAL)) {}
  ~FixtureCounters() {
    if (handle) dlclose(handle);
  }
  int value(const char* name) const { return *static_cast<int*>(dlsym(handle, name)); }
  void* handle;
};

TEST(PluginModule, LoadsTheModuleAndListsItsServers) {
  std::string error;
  auto module = PluginModule::open(OMBREL_MODULE_FILE, &error);
  ASSERT_TRUE(module) << error;
  // The rows as the program lists them are checked by the program's own tests.
  ASSERT_EQ(module->servers().size(), 8u);
  EXPECT_EQ(module->servers()[2].className, "MasterHandler");
  EXPECT_EQ(module->find("LayoutGeneric", "Ombrel Render"), 6);
  EXPECT_EQ(module->find("LayoutGeneric", "Ombrel Master"), -1);
  EXPECT_EQ(module->activate(8, 4, nullptr, nullptr), -1);
  EXPECT_NE(module->symbol("_mod_descrip"), nullptr);
  EXPECT_EQ(module->symbol("serverStart"), nullptr);
}

TEST(PluginModule, ActivatesTheModulesServersAsLayoutDoes) {
  std::string error;
  auto module = PluginModule::open(OMBREL_MODULE_FILE, &error);
  ASSERT_TRUE(module) << error;
  testhost::TestHost host;
  LWMasterHandler master{};

  // Nothing has started the module yet.
  EXPECT_EQ(module->activate(3, 4, host.global(), &master), 9237);
  EXPECT_EQ(module->activate(1, 2, host.global(), nullptr), AFUNC_BADVERSION);
  EXPECT_THAT(host.messages, ElementsAre(Message{"error", "This plugin requires LW version 6.0 or later", ""}));

  host.clearRecords();
  EXPECT_EQ(module->activate(4, LWLAYOUTGENERIC_VERSION, host.global(), host.generic()), AFUNC_OK);
  EXPECT_THAT(host.commands, ElementsAre("ApplyServer MasterHandler Ombrel", "SurfaceEditor 0"));
  EXPECT_THAT(host.messages, ElementsAre(Message{"error", "Cannot start Ombrel Master plugin.", ""}));

  host.clearRecords();
  EXPECT_EQ(module->activate(2, 4, host.global(), &master), AFUNC_OK);
  EXPECT_EQ(master.type, LWMAST_OPTIONS);
  EXPECT_TRUE(host.lookups.empty());  // started already
  EXPECT_EQ(module->activate(3, 4, host.global(), nullptr), 3477);
}

TEST(PluginModule, StartsOnceAndShutsDownOnClose) {
  FixtureCounters counters(FIXTURE_GOOD);
  ASSERT_NE(counters.handle, nullptr);
  {
    std::string error;
    auto module = PluginModule::open(FIXTURE_GOOD, &error);
    ASSERT_TRUE(module) << error;
    EXPECT_EQ(counters.value("fixtureStartups"), 1);
    EXPECT_EQ(counters.value("fixtureShutdowns"), 0);
    EXPECT_EQ(module->servers().size(), 2u);
    EXPECT_EQ(module->activate(1, 7, nullptr, nullptr), 70);
  }
  EXPECT_EQ(counters.value("fixtureShutdowns"), 1);

  // A module whose startup fails is refused and not shut down.
  FixtureCounters failing(FIXTURE_STARTUP_FAILS);
  std::string error;
  EXPECT_FALSE(PluginModule::open(FIXTURE_STARTUP_FAILS, &error));
  EXPECT_EQ(error, std::string(FIXTURE_STARTUP_FAILS) + ": module failed to start");
  EXPECT_EQ(failing.value("fixtureStartups"), 1);
  EXPECT_EQ(failing.value("fixtureShutdowns"), 0);
}

TEST(PluginModule, ABareNameIsAFileInTheCurrentFolder) {
  const fs::path before = fs::current_path();
  fs::current_path(fs::path(FIXTURE_GOOD).parent_path());
  std::string error;
  auto module = PluginModule::open(fs::path(FIXTURE_GOOD).filename().string(), &error);
  fs::current_path(before);
  EXPECT_TRUE(module) << error;
}

TEST(PluginModule, RefusesWhatIsNotAModuleWithOneLine) {
  const fs::path dir = fs::temp_directory_path() / ("ombrel-plugin-module-" + std::to_string(getpid()));
  fs::create_directories(dir);
  const std::string empty = (dir / "empty.p").string();
  const std::string text = (dir / "text.p").string();
  std::ofstream(empty).close();
  std::ofstream(text) << "not a module\n";

  const std::pair<std::string, std::string> cases[] = {
      {(dir / "missing.p").string(), "cannot open module: No such file or directory"},
      {dir.string(), "is a folder, not a module file"},
      {empty, "cannot load module"},
      {text, "cannot load module"},
      {FIXTURE_NO_DESCRIPTOR, "not a plug-in module: no _mod_descrip record"},
      {FIXTURE_BAD_SYNC, "not a plug-in module: sync word 0x12345678, expected 0x04121994"},
      {FIXTURE_BAD_VERSION, "module interface version 2 is not served (expected 3)"},
      {FIXTURE_BAD_MACHINE, "module is built for machine 0x200, expected 0x300"},
  };
  for (const auto& [path, reason] : cases) {
    SCOPED_TRACE(path);
    std::string error;
    EXPECT_FALSE(PluginModule::open(path, &error));
    EXPECT_THAT(error, StartsWith(path + ": "));
    EXPECT_THAT(error, HasSubstr(reason));
    EXPECT_EQ(error.find('\n'), std::string::npos);
  }
  fs::remove_all(dir);
}

}  // namespace
