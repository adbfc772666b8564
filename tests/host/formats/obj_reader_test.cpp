// OBJ meshes become one-layer objects, mirrored in z so their fronts stay in front.
#include <gtest/gtest.h>

#include <filesystem>

#include "host/formats/obj_reader.h"

namespace host {
namespace {

TEST(ObjReader, FacesCornersAndSurfaces) {
  const std::string text =
      "# a quad and a triangle\r\n"
      "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 1.5\n"
      "vt 0 0\nvn 0 0 1\n"
      "f 1/1/1 2/1/1 3//1 4\n"
      "usemtl Red\n"
      "f -3 -2 -1\n";
  ObjectModel m;
  std::string error;
  ASSERT_TRUE(readObjText(text, "t.obj", m, error)) << error;
  const Layer& l = m.layers.at(0);
  ASSERT_EQ(l.points.size(), 4u);
  EXPECT_EQ(l.points[3][2], -1.5f);  // mirrored
  ASSERT_EQ(l.polygons.size(), 2u);
  EXPECT_EQ(l.polygons[0].vertices, (std::vector<uint32_t>{0, 1, 2, 3}));
  EXPECT_EQ(l.polygons[1].vertices, (std::vector<uint32_t>{1, 2, 3}));
  EXPECT_EQ(m.surfaceName(l.polygons[0]), "Default");
  EXPECT_EQ(m.surfaceName(l.polygons[1]), "Red");
  EXPECT_EQ(m.surfaces.size(), 2u);
  EXPECT_EQ(l.boundsMin[2], -1.5f);

  for (const char* bad : {"v 1 2\n", "v 1 2 x\n", "v 0 0 0\nf 1 2 3\n", "v 0 0 0\nf 1 1 0\n"}) {
    EXPECT_FALSE(readObjText(bad, "bad.obj", m, error)) << bad;
    EXPECT_EQ(error.rfind("bad.obj:", 0), 0u) << error;
  }
}

TEST(ObjReader, ScannedMeshesLoad) {
  const std::filesystem::path bunny = std::filesystem::path(OMBREL_CORPUS_DIR) / "meshes" / "stanford-bunny.obj";
  if (!std::filesystem::exists(bunny)) GTEST_SKIP() << "no mesh at " << bunny.string();
  ObjectModel m;
  std::string error;
  ASSERT_TRUE(readObjFile(bunny.string(), m, error)) << error;
  EXPECT_EQ(m.layers[0].points.size(), 35947u);  // the counts its header states
  EXPECT_EQ(m.layers[0].polygons.size(), 69451u);
}

}  // namespace
}  // namespace host
