// Runs the real `ombrel` program on the real module.
#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "support/run_program.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

namespace {

namespace fs = std::filesystem;

testproc::Outcome ombrel(const std::vector<std::string>& args) { return testproc::run(OMBREL_PROGRAM, args); }

const char* const kServerRows[] = {
    "  0  DisplacementHandler  Ombrel",         "  1  ShaderHandler        Ombrel",
    "  2  MasterHandler        Ombrel",         "  3  MasterInterface      Ombrel",
    "  4  LayoutGeneric        Ombrel",         "  5  LayoutGeneric        Ombrel Refresh",
    "  6  LayoutGeneric        Ombrel Render",  "  7  LayoutGeneric        Strip Ombrel Shaders",
};

TEST(OmbrelProgram, VersionAndHelp) {
  auto version = ombrel({"--version"});
  EXPECT_EQ(version.exitCode, 0);
  EXPECT_EQ(version.out, "ombrel " OMBREL_VERSION "\n");

  auto help = ombrel({"--help"});
  EXPECT_EQ(help.exitCode, 0);
  EXPECT_THAT(help.out, HasSubstr("Usage: ombrel"));
  EXPECT_THAT(help.out, HasSubstr("servers"));

  auto wrong = ombrel({"no-such-command"});
  EXPECT_EQ(wrong.exitCode, 1);
  EXPECT_FALSE(wrong.err.empty());
}

TEST(OmbrelProgram, ServersListsTheEightRowsOfTheModuleBesideIt) {
  auto result = ombrel({"servers"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_TRUE(result.err.empty()) << result.err;
  const auto lines = testproc::lines(result.out);
  ASSERT_EQ(lines.size(), 9u) << result.out;
  // The module found beside bin/ is the one the build made.
  EXPECT_EQ(fs::canonical(lines[0]), fs::canonical(OMBREL_MODULE_FILE));
  for (int row = 0; row < 8; ++row) EXPECT_EQ(lines[row + 1], kServerRows[row]);

  auto named = ombrel({"servers", "--module", OMBREL_MODULE_FILE});
  EXPECT_EQ(named.exitCode, 0);
  EXPECT_EQ(testproc::lines(named.out).size(), 9u);
}

TEST(OmbrelProgram, AMissingOrWrongModuleIsOneLineAndExitTwo) {
  const fs::path dir = fs::temp_directory_path() / ("ombrel-cli-" + std::to_string(getpid()));
  fs::create_directories(dir);
  const std::string missing = (dir / "missing.p").string();
  const std::string text = (dir / "notes.p").string();
  std::ofstream(text) << "These are notes, not a module.\n";

  for (const auto& path : {missing, text}) {
    SCOPED_TRACE(path);
    auto result = ombrel({"servers", "--module", path});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_TRUE(result.out.empty());
    const auto lines = testproc::lines(result.err);
    ASSERT_EQ(lines.size(), 1u) << result.err;
    EXPECT_THAT(lines[0], StartsWith("ombrel: " + path + ": "));
  }
  fs::remove_all(dir);
}

// Nothing of the module's inside is visible to a host: only its record and the headless
// render entry beside it.
TEST(OmbrelProgram, ModuleExportsOnlyItsEntries) {
  auto nm = testproc::run(OMBREL_NM, {"-D", "--defined-only", OMBREL_MODULE_FILE});
  ASSERT_EQ(nm.exitCode, 0) << nm.err;
  std::set<std::string> ours;
  for (const auto& line : testproc::lines(nm.out)) {
    std::istringstream fields(line);
    std::string address, type, name;
    fields >> address >> type >> name;
    if (name.empty()) continue;
    // Symbols the linker or a sanitizer adds to every shared object are not ours.
    static const std::set<std::string> linker = {"_init", "_fini", "_edata", "_end", "__bss_start"};
    if (linker.count(name) || name.rfind("__asan", 0) == 0 || name.rfind("__ubsan", 0) == 0 ||
        name.rfind("__sanitizer", 0) == 0 || name.rfind("__odr_asan", 0) == 0)
      continue;
    ours.insert(name);
  }
  EXPECT_THAT(ours, ElementsAre("_mod_descrip", "ombrelBatchRender"));
}

}  // namespace
