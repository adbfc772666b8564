// Meshes read through the host's scans: generated objects with mixed polygon kinds and
// tags, damaged ones, and every object of the corpus.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "capture/captured_mesh.h"
#include "capture_fixture.h"
#include "host/formats/lwo_reader.h"
#include "runtime/memory.h"

namespace capturetest {
namespace {

namespace fs = std::filesystem;

std::string surfaceNameOf(LWSurfaceID id) {
  const char* name = id ? globalServices.surfaceFuncs->name(id) : nullptr;
  return name ? name : "";
}

// What every mesh must hold whatever the object: corners in range, the point lists
// agreeing with the corners (a polygon listed once per corner), and names per polygon.
void expectConsistent(const CapturedMesh* mesh, const std::string& what) {
  std::map<int32_t, std::vector<int32_t>> expected;
  for (int32_t p = 0; p < mesh->polygonCount; ++p) {
    const int32_t* v = Mesh_PolygonVertices(mesh, p);
    for (int32_t k = 0; k < Mesh_PolygonSize(mesh, p); ++k) {
      ASSERT_GE(v[k], 0) << what;
      ASSERT_LT(v[k], mesh->pointCount) << what;
      expected[v[k]].push_back(p);
    }
    ASSERT_LT(Mesh_PolygonSurfaceIndex(mesh, p), mesh->surfaceCount) << what;
  }
  for (int32_t point = 0; point < mesh->pointCount; ++point) {
    int32_t count = 0;
    const int32_t* list = Mesh_PointPolygons(mesh, point, &count);
    std::vector<int32_t> got(list, list + count);
    EXPECT_EQ(got, expected[point]) << what << " point " << point;
    EXPECT_EQ(Mesh_PointOf(mesh, Mesh_PointId(mesh, point)), point) << what;
  }
  if (mesh->polygonCount > 0) {
    EXPECT_GE(mesh->surfaceCount, 1) << what;
  }
  EXPECT_EQ(mesh->vertexRefCount, mesh->polygonCount ? mesh->polygonEnds[mesh->polygonCount - 1] : 0) << what;
  EXPECT_EQ(mesh->meshInfo, nullptr) << what;
}

class MeshTest : public CaptureTest {};

TEST_F(MeshTest, MixedPolygonKindsTagsAndRepeatedPoints) {
  host::ObjectBuilder b("mixed.lwo");
  b.addBox({0, 0, 0}, {2, 4, 6}, "Box");                          // polygons 0-5, points 0-7
  b.addPolygon({0, 1, 2}, "Box", host::chunkId("CURV"));         // 6: a curve, left out
  const uint32_t lid = b.addPolygon({4, 5, 6}, "Top");           // 7
  b.setPart(lid, "Lid");
  const uint32_t bare = b.addPolygon({0, 4, 5}, "Box");          // 8: untagged below
  b.addPolygon({1, 3, 1, 7}, "Top");                             // 9: point 1 twice
  b.addPolygon({2, 3}, "Box", host::chunkId("BONE"));            // 10: a bone, left out
  b.addPoint(50, 50, 50);                                        // point 8: used by nothing
  Model model = std::make_shared<host::ObjectModel>(b.finish());
  model->layers[0].polygons[bare].surface = -1;
  host::Scene s;
  addObject(s, model, "Mixed");
  startHost(std::move(s));
  const uint64_t blocks = memLiveBlocks();

  int error = -1;
  CapturedMesh* mesh = Mesh_Create(nullptr, itemId(0), &error);
  ASSERT_NE(mesh, nullptr);
  EXPECT_EQ(error, 0);
  expectConsistent(mesh, "mixed");
  EXPECT_EQ(mesh->pointCount, 9);
  EXPECT_EQ(mesh->polygonCount, 9);
  EXPECT_EQ(mesh->vertexRefCount, 6 * 4 + 3 + 3 + 4);
  // The scan's numbering skips the curve and the bone; the ids are the host's.
  const int hostIndex[9] = {0, 1, 2, 3, 4, 5, 7, 8, 9};
  for (int p = 0; p < 9; ++p)
    EXPECT_EQ(Mesh_PolygonId(mesh, p), host::polygonIdOf(uint32_t(hostIndex[p]))) << p;
  // Polygon 8 of the mesh lists point 1 twice, and point 1 lists it twice.
  int32_t count = 0;
  const int32_t* around = Mesh_PointPolygons(mesh, 1, &count);
  EXPECT_EQ(std::count(around, around + count, 8), 2);
  EXPECT_EQ(Mesh_PointPolygonCount(mesh, 8), 0);

  // Names: "Box", "Top" and "Default" for the untagged one, in whatever order the name set
  // walks; each polygon's index names its own tag, and each name its host surface.
  ASSERT_EQ(mesh->surfaceCount, 3);
  const char* want[9] = {"Box", "Box", "Box", "Box", "Box", "Box", "Top", "Default", "Top"};
  for (int p = 0; p < 9; ++p) EXPECT_STREQ(mesh->surfaceNames[Mesh_PolygonSurfaceIndex(mesh, p)], want[p]) << p;
  for (int i = 0; i < 3; ++i) {
    const std::string name = mesh->surfaceNames[i];
    ASSERT_NE(Mesh_SurfaceId(mesh, i), nullptr) << name;
    // There is no surface "Default": it falls back to the object's first one.
    EXPECT_EQ(surfaceNameOf(Mesh_SurfaceId(mesh, i)), name == "Default" ? "Box" : name);
  }
  EXPECT_EQ(Mesh_PolygonSurfaceId(mesh, 6), Mesh_SurfaceId(mesh, Mesh_PolygonSurfaceIndex(mesh, 6)));
  // Parts: only tagged polygons enter the part set; the others find no name.
  ASSERT_EQ(mesh->partCount, 1);
  EXPECT_STREQ(mesh->partNames[0], "Lid");
  EXPECT_EQ(mesh->polygonPart[6], 0);
  EXPECT_EQ(mesh->polygonPart[0], kUnknownNameIndex);

  // Points and the box: the unused far point is kept and widens the mesh's own box.
  EXPECT_FLOAT_EQ(mesh->points[8 * 3], 50.0f);
  EXPECT_DOUBLE_EQ(mesh->boxMinX, -1.0);
  EXPECT_DOUBLE_EQ(mesh->boxMinY, -2.0);
  EXPECT_DOUBLE_EQ(mesh->boxMinZ, -3.0);
  EXPECT_DOUBLE_EQ(mesh->boxMaxX, 50.0);
  EXPECT_NEAR(mesh->diagonal, std::sqrt(51.0 * 51.0 + 52.0 * 52.0 + 53.0 * 53.0), 1e-9);

  // Unknown ids read as index 0.
  EXPECT_EQ(Mesh_PointOf(mesh, host::pointIdOf(500)), 0);
  EXPECT_EQ(Mesh_PointOf(mesh, nullptr), 0);
  // The host counts the curve and the bone, so this mesh never has the same shape.
  EXPECT_EQ(Mesh_SameShape(mesh, itemId(0)), 0);

  Mesh_Destroy(mesh);
  Mesh_Destroy(nullptr);
  EXPECT_EQ(memLiveBlocks(), blocks);
}

TEST_F(MeshTest, SameShapeKeepsTheRecordAndRereadsPoints) {
  Model model = boxModel();
  host::Scene s;
  addObject(s, model, "Box");
  startHost(std::move(s));
  int error = 0;
  CapturedMesh* mesh = Mesh_Create(nullptr, itemId(0), &error);
  ASSERT_NE(mesh, nullptr);
  EXPECT_EQ(Mesh_SameShape(mesh, itemId(0)), 1);
  const int32_t* corners = mesh->polygonPoints;

  model->layers[0].points[7] = {4.0f, 5.0f, 6.0f};
  CapturedMesh* again = Mesh_Create(mesh, itemId(0), &error);
  ASSERT_EQ(again, mesh);
  EXPECT_EQ(error, 0);
  EXPECT_EQ(again->polygonPoints, corners);
  EXPECT_FLOAT_EQ(again->points[7 * 3 + 2], 6.0f);
  EXPECT_DOUBLE_EQ(again->boxMaxY, 5.0);

  Mesh_Destroy(again);
}

TEST_F(MeshTest, AnUnknownVertexStopsThePolygonScan) {
  Model model = boxModel();
  model->layers[0].polygons[2].vertices[2] = 99;  // no such point
  host::Scene s;
  addObject(s, model, "Damaged");
  startHost(std::move(s));
  int error = -1;
  CapturedMesh* mesh = Mesh_Create(nullptr, itemId(0), &error);
  ASSERT_NE(mesh, nullptr);
  EXPECT_EQ(error, 0);
  // Two whole polygons and the first two corners of the third; nothing after it.
  EXPECT_EQ(mesh->polygonCount, 3);
  EXPECT_EQ(Mesh_PolygonSize(mesh, 2), 2);
  expectConsistent(mesh, "damaged");
  Mesh_Destroy(mesh);
}

TEST_F(MeshTest, EveryCorpusObjectReadsConsistently) {
  const fs::path corpus = fs::path(OMBREL_CORPUS_DIR) / "lightwave";
  if (!fs::exists(corpus)) GTEST_SKIP() << "no test corpus at " << corpus;
  host::Scene s;
  std::vector<std::shared_ptr<host::ObjectModel>> models;
  for (const auto& entry : fs::recursive_directory_iterator(corpus)) {
    if (entry.path().extension() != ".lwo") continue;
    auto m = std::make_shared<host::ObjectModel>();
    std::string error;
    if (!host::readObjectFile(entry.path().string(), *m, error)) continue;
    addObject(s, m, entry.path().filename().string());
    s.items.back().object.path = entry.path().string();
    models.push_back(m);
  }
  ASSERT_GT(models.size(), 20u);
  startHost(std::move(s));
  const uint64_t blocks = memLiveBlocks();
  for (size_t i = 0; i < models.size(); ++i) {
    const host::Item& item = scene().items[i];
    const host::Layer* layer = host::objectLayer(item);
    if (!layer) continue;
    const std::string what = item.object.path;
    int error = -1;
    CapturedMesh* mesh = Mesh_Create(nullptr, itemId(int(i)), &error);
    ASSERT_NE(mesh, nullptr) << what;
    EXPECT_EQ(mesh->pointCount, int32_t(layer->points.size())) << what;
    EXPECT_EQ(mesh->polygonCount, int32_t(layer->faceCount())) << what;
    expectConsistent(mesh, what);
    for (int32_t p = 0; p < mesh->pointCount; ++p)
      for (int a = 0; a < 3; ++a) ASSERT_EQ(mesh->points[p * 3 + a], layer->points[size_t(p)][size_t(a)]) << what;
    int32_t face = 0;
    for (const host::Polygon& polygon : layer->polygons) {
      if (polygon.type != host::chunkId("FACE")) continue;
      const std::string& tag = models[i]->surfaceName(polygon);
      EXPECT_STREQ(mesh->surfaceNames[Mesh_PolygonSurfaceIndex(mesh, face)], tag.empty() ? "Default" : tag.c_str())
          << what;
      ++face;
    }
    Mesh_Destroy(mesh);
  }
  EXPECT_EQ(memLiveBlocks(), blocks);
}

}  // namespace
}  // namespace capturetest
