// The damaged scenes: each loads with a warning naming its flaw, or fails with its message and
// the file and line; none crashes. Scenes that load give their server blocks back unchanged.
#include <gtest/gtest.h>

#include <filesystem>

#include "damaged_corpus.h"
#include "host/formats/lws_reader.h"
#include "host/formats/lws_writer.h"

namespace host {
namespace {

namespace fs = std::filesystem;

const fs::path kCorpus = fs::path(OMBREL_CORPUS_DIR) / "lightwave";

bool contains(const std::vector<std::string>& lines, const std::string& text) {
  for (const std::string& l : lines)
    if (l.find(text) != std::string::npos) return true;
  return false;
}

// Objects are found but left unread: the object readers have damaged files of their own. Each
// scene is named as if it stood beside the corpus's scenes, where their objects are.
TEST(DamagedScenes, EachLoadsWithItsWarningOrFailsWithItsMessage) {
  const std::vector<damaged::DamagedFile> files = damaged::damagedScenes(kCorpus.string());
  if (!fs::is_directory(kCorpus)) std::printf("no corpus at %s: only the written scene is damaged\n", kCorpus.c_str());
  ASSERT_GE(files.size(), 20u);
  LwsReadOptions options;
  options.loadObjects = false;
  size_t loads = 0, fails = 0;
  for (const damaged::DamagedFile& f : files) {
    SCOPED_TRACE(f.name + ": " + f.flaw);
    const std::string path = (kCorpus / "LWS" / f.name).string();
    Scene scene;
    std::string error;
    std::vector<std::string> warnings;
    const bool ok = readSceneText(std::string(f.bytes.begin(), f.bytes.end()), path, scene, error, options, &warnings);
    if (f.outcome == damaged::Outcome::Fails) {
      ++fails;
      EXPECT_FALSE(ok);
      EXPECT_EQ(error.rfind(path + ":", 0), 0u) << error;
      EXPECT_NE(error.find(f.expected), std::string::npos) << error;
      continue;
    }
    ++loads;
    ASSERT_TRUE(ok) << error;
    EXPECT_FALSE(scene.items.empty());
    if (f.expected.empty()) {
      EXPECT_TRUE(warnings.empty()) << warnings.front();
    } else {
      EXPECT_TRUE(contains(warnings, f.expected)) << (warnings.empty() ? "no warning" : warnings.front());
      EXPECT_TRUE(contains(warnings, path + ": line "));
    }
    const std::string written = writeSceneText(scene);
    std::vector<const PluginBlock*> blocks;
    for (const PluginBlock& b : scene.plugins) blocks.push_back(&b);
    for (const Item& item : scene.items)
      for (const PluginBlock& b : item.plugins) blocks.push_back(&b);
    for (const PluginBlock* b : blocks) EXPECT_NE(written.find(b->text()), std::string::npos) << b->name;
  }
  std::printf("%zu damaged scenes: %zu load, %zu fail, as expected\n", files.size(), loads, fails);
}

// The undamaged scenes say nothing: a warning there would be noise on every real file.
TEST(DamagedScenes, CorpusScenesLoadWithoutAWord) {
  if (!fs::is_directory(kCorpus)) GTEST_SKIP() << "no corpus at " << kCorpus;
  LwsReadOptions options;
  options.loadObjects = false;
  for (const auto& entry : fs::recursive_directory_iterator(kCorpus)) {
    if (entry.path().extension() != ".lws") continue;
    Scene scene;
    std::string error;
    std::vector<std::string> warnings;
    EXPECT_TRUE(readSceneFile(entry.path().string(), scene, error, options, &warnings)) << error;
    EXPECT_TRUE(warnings.empty()) << warnings.front();
  }
}

}  // namespace
}  // namespace host
