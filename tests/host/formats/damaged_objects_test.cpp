// The damaged object corpus: every file either loads with a warning naming its flaw or fails
// with a message naming it, and a flaw met many times is told once, with a count.
#include <gtest/gtest.h>

#include "damaged_corpus.h"
#include "host/formats/lwo2_writer.h"
#include "host/formats/lwo_builder.h"
#include "host/formats/lwo_reader.h"

namespace host {
namespace {

TEST(DamagedObjects, EachLoadsWithItsWarningOrFailsWithItsMessage) {
  const std::string corpus = std::string(OMBREL_CORPUS_DIR) + "/lightwave";
  const std::vector<damaged::DamagedFile> files = damaged::damagedObjects(corpus);
  ASSERT_GT(files.size(), 20u);
  size_t loads = 0, fails = 0;
  for (const damaged::DamagedFile& f : files) {
    ObjectModel m;
    std::string error;
    const bool ok = readObjectBuffer(f.bytes.data(), f.bytes.size(), f.name, m, error);
    if (f.outcome == damaged::Outcome::Fails) {
      ++fails;
      EXPECT_FALSE(ok) << f.name << " (" << f.flaw << ") loaded";
      EXPECT_NE(error.find(f.expected), std::string::npos) << f.name << ": \"" << error << "\" lacks \"" << f.expected << "\"";
      EXPECT_EQ(error.rfind(f.name + ": ", 0), 0u) << error;
      continue;
    }
    ++loads;
    if (!ok) {
      ADD_FAILURE() << f.name << " (" << f.flaw << ") failed: " << error;
      continue;
    }
    bool found = false;
    for (const std::string& w : m.warnings) found |= w.find(f.expected) != std::string::npos && w.rfind(f.name + ": ", 0) == 0;
    std::string all;
    for (const std::string& w : m.warnings) all += "\n  " + w;
    EXPECT_TRUE(found) << f.name << " (" << f.flaw << ") has no warning with \"" << f.expected << "\":" << all;
    EXPECT_FALSE(m.layers.empty()) << f.name;
  }
  std::printf("damaged objects: %zu files, %zu load with a warning, %zu fail\n", files.size(), loads, fails);
}

TEST(DamagedObjects, AFlawMetManyTimesIsToldOnceWithACount) {
  ObjectBuilder b("many.lwo");
  for (int i = 0; i < 40; ++i) {
    const float x = float(i);
    b.addPolygon({b.addPoint(x, 0, 0), b.addPoint(x + 1, 0, 0), b.addPoint(x, 1, 0)}, "S" + std::to_string(i));
  }
  std::vector<uint8_t> d = writeLwo2(b.finish());
  // Each surface's SIDE sub-chunk gets two bytes past its field, so every one is long.
  size_t grown = 0;
  for (size_t at = 12; at + 10 <= d.size(); ++at) {
    if (d[at] != 'S' || d[at + 1] != 'I' || d[at + 2] != 'D' || d[at + 3] != 'E') continue;
    d[at + 5] = 4;
    d.insert(d.begin() + long(at + 8), {7, 7});
    // The surface's own length: the nearest SURF header before.
    size_t surf = at;
    while (!(d[surf] == 'S' && d[surf + 1] == 'U' && d[surf + 2] == 'R' && d[surf + 3] == 'F')) --surf;
    uint32_t len = (uint32_t(d[surf + 4]) << 24) | (uint32_t(d[surf + 5]) << 16) | (uint32_t(d[surf + 6]) << 8) | d[surf + 7];
    len += 2;
    for (int i = 0; i < 4; ++i) d[surf + 4 + i] = uint8_t(len >> (24 - 8 * i));
    ++grown;
  }
  ASSERT_EQ(grown, 40u);
  const uint32_t form = uint32_t(d.size() - 8);
  for (int i = 0; i < 4; ++i) d[4 + i] = uint8_t(form >> (24 - 8 * i));
  ObjectModel m;
  std::string error;
  ASSERT_TRUE(readObjectBuffer(d.data(), d.size(), "many.lwo", m, error)) << error;
  ASSERT_EQ(m.warnings.size(), 1u);
  EXPECT_NE(m.warnings[0].find("many.lwo: chunk LWO2/SURF/SIDE, offset "), std::string::npos) << m.warnings[0];
  EXPECT_NE(m.warnings[0].find("(39 more like it)"), std::string::npos) << m.warnings[0];
  EXPECT_EQ(m.surfaces.size(), 40u);
  EXPECT_EQ(m.surfaces[39].sidedness, 1);
}

}  // namespace
}  // namespace host
