// Items, objects, meshes and bones as the module reads them through the global function.
#include <cmath>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <lwmeshes.h>
#include <lwrender.h>

#include "host/services/host.h"
#include "scene_fixture.h"

namespace {

using host::Host;

template <class T>
T* lookup(const char* name) {
  return static_cast<T*>(Host::globalFunction()(name, GFUSE_TRANSIENT));
}

void expectVector(const double* v, double x, double y, double z) {
  EXPECT_NEAR(v[0], x, 1e-12);
  EXPECT_NEAR(v[1], y, 1e-12);
  EXPECT_NEAR(v[2], z, 1e-12);
}

std::vector<std::string> namesOf(LWItemInfo* info, LWItemType type, LWItemID owner = nullptr) {
  std::vector<std::string> out;
  for (LWItemID id = info->first(type, owner); id; id = info->next(id)) out.push_back(info->name(id));
  return out;
}

TEST(ItemInfo, WalksEachKindInOrderWithParentsAndChildren) {
  Host h(servicetest::familyScene());
  auto* info = lookup<LWItemInfo>("LW Item Info 4");
  ASSERT_NE(info, nullptr);
  EXPECT_EQ(namesOf(info, LWI_OBJECT), (std::vector<std::string>{"Parent", "Child"}));
  EXPECT_EQ(namesOf(info, LWI_LIGHT), (std::vector<std::string>{"Point", "Spot"}));
  EXPECT_EQ(namesOf(info, LWI_CAMERA), (std::vector<std::string>{"Camera"}));
  EXPECT_TRUE(namesOf(info, LWI_BONE).empty());
  EXPECT_EQ(info->first(7, nullptr), nullptr);

  const LWItemID parent = info->first(LWI_OBJECT, nullptr);
  const LWItemID child = info->next(parent);
  EXPECT_EQ(info->parent(child), parent);
  EXPECT_EQ(info->parent(parent), nullptr);
  EXPECT_EQ(info->firstChild(parent), child);
  EXPECT_EQ(info->nextChild(parent, child), nullptr);
  EXPECT_EQ(info->type(child), LWI_OBJECT);
  EXPECT_EQ(info->type(info->first(LWI_LIGHT, nullptr)), LWI_LIGHT);
  EXPECT_EQ(info->flags(child) & LWITEMF_ACTIVE, LWITEMF_ACTIVE);

  // Ids that mean nothing are answered with nothing, never followed.
  const auto bogus = reinterpret_cast<LWItemID>(uintptr_t(0x7777));
  EXPECT_EQ(info->name(bogus), nullptr);
  EXPECT_EQ(info->next(bogus), nullptr);
  EXPECT_EQ(info->flags(nullptr), 0u);
}

TEST(ItemInfo, ParamGivesTheChildOfATurnedParentInWorldSpace) {
  Host h(servicetest::familyScene());
  auto* info = lookup<LWItemInfo>("LW Item Info 4");
  const LWItemID parent = info->first(LWI_OBJECT, nullptr);
  const LWItemID child = info->next(parent);
  double v[3];
  info->param(child, LWIP_POSITION, 0.0, v);
  expectVector(v, 0.0, 0.0, 1.0);  // in the parent's frame
  // Heading 90 turns the parent's +z onto world +x, so the child sits one unit further out.
  info->param(child, LWIP_W_POSITION, 0.0, v);
  expectVector(v, 2.0, 0.0, 0.0);
  info->param(child, LWIP_RIGHT, 0.0, v);
  expectVector(v, 0.0, 0.0, -1.0);
  info->param(child, LWIP_UP, 0.0, v);
  expectVector(v, 0.0, 1.0, 0.0);
  info->param(child, LWIP_FORWARD, 0.0, v);
  expectVector(v, 1.0, 0.0, 0.0);
  info->param(parent, LWIP_ROTATION, 0.0, v);
  expectVector(v, 1.5707963267948966, 0.0, 0.0);
  info->param(parent, 99, 0.0, v);  // an unknown parameter clears the vector
  expectVector(v, 0.0, 0.0, 0.0);
}

TEST(ItemInfo, ParamFollowsTheMotionAtTheTimeAsked) {
  host::Scene s = servicetest::familyScene();
  host::Envelope& x = s.items[0].motion[host::PositionX].envelope;
  x.keys = {{0.0, 1.0, host::KeyShape::Linear}, {1.0, 3.0, host::KeyShape::Linear}};
  Host h(std::move(s));
  auto* info = lookup<LWItemInfo>("LW Item Info");
  const LWItemID child = info->next(info->first(LWI_OBJECT, nullptr));
  double v[3];
  info->param(child, LWIP_W_POSITION, 0.5, v);
  expectVector(v, 3.0, 0.0, 0.0);
  info->param(child, LWIP_W_POSITION, 1.0, v);
  expectVector(v, 4.0, 0.0, 0.0);
}

TEST(ItemInfo, BonesAreWalkedPerObjectAndServersByClass) {
  host::Scene s = servicetest::familyScene();
  for (const char* name : {"Hip", "Knee"}) {
    const int b = s.addItem(host::ItemType::Bone, name);
    s.items[size_t(b)].bone.objectIndex = 1;
    s.items[size_t(b)].bone.restLength = 0.25;
    s.items[size_t(b)].parent = 1;
  }
  s.items[0].plugins.push_back({"DisplacementHandler", 1, "Ombrel", {}});
  s.items[0].plugins.push_back({"CustomObjHandler", 1, "Other", {}});
  s.items[0].plugins.push_back({"DisplacementHandler", 2, "Second", {}});
  Host h(std::move(s));
  auto* info = lookup<LWItemInfo>("LW Item Info 4");
  auto* bones = lookup<LWBoneInfo>("LW Bone Info 2");
  ASSERT_NE(bones, nullptr);
  const LWItemID parent = info->first(LWI_OBJECT, nullptr);
  const LWItemID child = info->next(parent);
  EXPECT_EQ(namesOf(info, LWI_BONE, child), (std::vector<std::string>{"Hip", "Knee"}));
  EXPECT_TRUE(namesOf(info, LWI_BONE, parent).empty());
  const LWItemID hip = info->first(LWI_BONE, child);
  EXPECT_EQ(bones->restLength(hip), 0.25);
  EXPECT_EQ(bones->flags(hip) & LWBONEF_ACTIVE, LWBONEF_ACTIVE);
  EXPECT_EQ(bones->restLength(child), 0.0);  // not a bone

  EXPECT_STREQ(info->server(parent, "DisplacementHandler", 1), "Ombrel");
  EXPECT_STREQ(info->server(parent, "DisplacementHandler", 2), "Second");
  EXPECT_EQ(info->server(parent, "DisplacementHandler", 3), nullptr);
  EXPECT_EQ(info->server(parent, "DisplacementHandler", 0), nullptr);
}

TEST(ObjectInfo, CountsSettingsAndExclusionsOfTheObject) {
  host::Scene s = servicetest::familyScene();
  host::ObjectSettings& o = s.items[0].object;
  o.shadowOptions = host::ShadowCast;
  o.flags = host::ObjectMatte | host::ObjectUnseenByRays;
  o.dissolve.envelope.keys = {{0.0, 0.0, host::KeyShape::Linear}, {2.0, 1.0, host::KeyShape::Linear}};
  o.fogLevel = 0.25;
  o.polygonSize = 0.5;
  o.matteColor = {0.1, 0.2, 0.3};
  o.subdivisionOrder = 5;
  o.excludedLights = {s.items[3].id, host::kRadiosityItemId};
  s.items[1].object.isNull = true;
  s.items[1].object.model = nullptr;
  Host h(std::move(s));
  auto* items = lookup<LWItemInfo>("LW Item Info 4");
  auto* objects = lookup<LWObjectInfo>("LW Object Info 4");
  ASSERT_NE(objects, nullptr);
  const LWItemID box = items->first(LWI_OBJECT, nullptr);
  const LWItemID null = items->next(box);
  const LWItemID point = items->first(LWI_LIGHT, nullptr);
  const LWItemID spot = items->next(point);

  EXPECT_EQ(objects->numPoints(box), 8);
  EXPECT_EQ(objects->numPolygons(box), 8);  // six faces, the curve and the lid: every type counts
  EXPECT_EQ(objects->numPoints(null), 0);
  EXPECT_STREQ(objects->filename(box), "Objects/box.lwo");
  EXPECT_EQ(objects->shadowOpts(box), unsigned(LWOSHAD_CAST));
  EXPECT_EQ(objects->flags(box), unsigned(LWOBJF_MATTE | LWOBJF_UNSEEN_BY_RAYS));
  EXPECT_DOUBLE_EQ(objects->dissolve(box, 1.0), 0.5);
  EXPECT_DOUBLE_EQ(objects->fogLevel(box, 0.0), 0.25);
  EXPECT_DOUBLE_EQ(objects->polygonSize(box, 0.0), 0.5);
  EXPECT_EQ(objects->subdivOrder(box), 5);
  double c[3];
  objects->matteColor(box, 0.0, c);
  expectVector(c, 0.1, 0.2, 0.3);
  EXPECT_EQ(objects->excluded(box, spot), 1);
  EXPECT_EQ(objects->excluded(box, point), 0);
  EXPECT_EQ(objects->excluded(box, LWITEM_RADIOSITY), 1);
  EXPECT_EQ(objects->excluded(box, LWITEM_CAUSTICS), 0);
  EXPECT_EQ(objects->clipMap(box), nullptr);
  EXPECT_EQ(objects->meshInfo(point, 1), nullptr);  // a light has no mesh
}

struct Scan {
  LWMeshInfo* mesh;
  std::vector<LWPolID> polygons;
  std::vector<LWPntID> points;
};

TEST(MeshInfo, ScanReportsTypesTagsAndIdsThatMapBack) {
  Host h(servicetest::familyScene());
  auto* items = lookup<LWItemInfo>("LW Item Info 4");
  auto* objects = lookup<LWObjectInfo>("LW Object Info 4");
  const LWItemID box = items->first(LWI_OBJECT, nullptr);
  LWMeshInfo* mesh = objects->meshInfo(box, 1);
  ASSERT_NE(mesh, nullptr);
  EXPECT_EQ(mesh->numPoints(mesh), 8);
  EXPECT_EQ(mesh->numPolygons(mesh), 8);

  Scan scan{mesh, {}, {}};
  EXPECT_EQ(mesh->scanPoints(mesh, [](void* d, LWPntID p) { static_cast<Scan*>(d)->points.push_back(p); return 0; },
                             &scan),
            0);
  EXPECT_EQ(mesh->scanPolys(mesh, [](void* d, LWPolID p) { static_cast<Scan*>(d)->polygons.push_back(p); return 0; },
                            &scan),
            0);
  ASSERT_EQ(scan.points.size(), 8u);
  ASSERT_EQ(scan.polygons.size(), 8u);
  EXPECT_EQ(std::set<LWPntID>(scan.points.begin(), scan.points.end()).size(), 8u);
  EXPECT_EQ(std::count(scan.points.begin(), scan.points.end(), nullptr), 0);

  int faces = 0, curves = 0;
  for (LWPolID p : scan.polygons) {
    const LWID type = mesh->polType(mesh, p);
    faces += type == LWPOLTYPE_FACE;
    curves += type == LWPOLTYPE_CURV;
    ASSERT_NE(mesh->polTag(mesh, p, LWPTAG_SURF), nullptr);
    // Every vertex is one of the scanned points, and its position is a corner of the box.
    for (int v = 0; v < mesh->polSize(mesh, p); ++v) {
      const LWPntID id = mesh->polVertex(mesh, p, v);
      EXPECT_NE(std::find(scan.points.begin(), scan.points.end(), id), scan.points.end());
      float pos[3];
      mesh->pntBasePos(mesh, id, pos);
      for (float x : pos) EXPECT_EQ(std::fabs(x), 0.5f);
    }
    EXPECT_EQ(mesh->polVertex(mesh, p, mesh->polSize(mesh, p)), nullptr);
  }
  EXPECT_EQ(faces, 7);
  EXPECT_EQ(curves, 1);
  EXPECT_STREQ(mesh->polTag(mesh, scan.polygons[0], LWPTAG_SURF), "Box");
  EXPECT_EQ(mesh->polTag(mesh, scan.polygons[0], LWPTAG_PART), nullptr);
  EXPECT_STREQ(mesh->polTag(mesh, scan.polygons[7], LWPTAG_SURF), "Top");
  EXPECT_STREQ(mesh->polTag(mesh, scan.polygons[7], LWPTAG_PART), "Lid");

  // A second mesh info of the same object hands out the same ids.
  LWMeshInfo* again = objects->meshInfo(box, 1);
  Scan second{again, {}, {}};
  again->scanPolys(again, [](void* d, LWPolID p) { static_cast<Scan*>(d)->polygons.push_back(p); return 0; }, &second);
  EXPECT_EQ(second.polygons, scan.polygons);
  for (size_t i = 0; i < scan.polygons.size(); ++i)
    EXPECT_EQ(again->polVertex(again, scan.polygons[i], 0), mesh->polVertex(mesh, scan.polygons[i], 0));
  again->destroy(again);

  // A callback's non-zero result ends the scan and is its result.
  int seen = 0;
  EXPECT_EQ(mesh->scanPolys(mesh, [](void* d, LWPolID) { return ++*static_cast<int*>(d) == 3 ? 42 : 0; }, &seen), 42);
  EXPECT_EQ(seen, 3);

  // Ids that aren't the mesh's give nothing.
  const auto bogus = reinterpret_cast<LWPolID>(uintptr_t(9999));
  EXPECT_EQ(mesh->polSize(mesh, bogus), 0);
  EXPECT_EQ(mesh->polType(mesh, bogus), 0u);
  EXPECT_EQ(mesh->polTag(mesh, nullptr, LWPTAG_SURF), nullptr);
  mesh->destroy(mesh);
}

TEST(MeshInfo, OutlivesTheSceneItCameFrom) {
  auto h = std::make_unique<Host>(servicetest::familyScene());
  auto* objects = lookup<LWObjectInfo>("LW Object Info");
  auto* items = lookup<LWItemInfo>("LW Item Info");
  LWMeshInfo* mesh = objects->meshInfo(items->first(LWI_OBJECT, nullptr), 0);
  h->replaceScene(std::make_shared<host::Scene>());
  EXPECT_EQ(items->first(LWI_OBJECT, nullptr), nullptr);
  EXPECT_EQ(mesh->numPoints(mesh), 8);
  mesh->destroy(mesh);
}

TEST(MeshInfo, VertexMapsByPointAndByCorner) {
  host::ObjectBuilder b("uv.lwo");
  const uint32_t p0 = b.addPoint(0, 0, 0), p1 = b.addPoint(1, 0, 0), p2 = b.addPoint(0, 1, 0);
  b.addPolygon({p0, p1, p2}, "S");
  b.addPolygon({p2, p1, p0}, "S");
  host::VertexMap& uv = b.vertexMap(host::chunkId("TXUV"), "UV", 2);
  uv.points = {p0, p1};
  uv.values = {0.0f, 0.0f, 1.0f, 0.0f};
  host::VertexMap& seam = b.vertexMap(host::chunkId("TXUV"), "UV", 2, true);
  seam.points = {p0};
  seam.polygons = {1};
  seam.values = {0.5f, 0.5f};
  host::Scene s;
  const int i = s.addItem(host::ItemType::Object, "UV");
  s.items[size_t(i)].object.model = std::make_shared<const host::ObjectModel>(b.finish());
  Host h(std::move(s));
  auto* objects = lookup<LWObjectInfo>("LW Object Info");
  auto* items = lookup<LWItemInfo>("LW Item Info");
  LWMeshInfo* mesh = objects->meshInfo(items->first(LWI_OBJECT, nullptr), 1);
  void* map = mesh->pntVLookup(mesh, LWVMAP_TXUV, "UV");
  ASSERT_NE(map, nullptr);
  EXPECT_EQ(mesh->pntVLookup(mesh, LWVMAP_TXUV, "Other"), nullptr);
  EXPECT_EQ(mesh->pntVSelect(mesh, map), 2);
  const LWPntID a = mesh->polVertex(mesh, reinterpret_cast<LWPolID>(uintptr_t(1)), 0);
  const LWPntID c = mesh->polVertex(mesh, reinterpret_cast<LWPolID>(uintptr_t(1)), 2);
  float v[2] = {-1, -1};
  EXPECT_EQ(mesh->pntVGet(mesh, a, v), 1);
  EXPECT_EQ(v[0], 0.0f);
  EXPECT_EQ(mesh->pntVGet(mesh, c, v), 0);  // the third point has no value
  const LWPolID second = reinterpret_cast<LWPolID>(uintptr_t(2));
  EXPECT_EQ(mesh->pntVPGet(mesh, a, second, v), 1);  // the corner's own value wins
  EXPECT_EQ(v[0], 0.5f);
  EXPECT_EQ(mesh->pntVPGet(mesh, a, reinterpret_cast<LWPolID>(uintptr_t(1)), v), 1);
  EXPECT_EQ(v[0], 0.0f);
  mesh->destroy(mesh);
}

TEST(SceneObjects, ListsEachFileOnceWithItsLayers) {
  Host h(servicetest::familyScene());  // two items load the same model
  auto* funcs = lookup<LWObjectFuncs>("Scene Objects 3");
  ASSERT_NE(funcs, nullptr);
  ASSERT_EQ(funcs->numObjects(), 1);
  EXPECT_STREQ(funcs->filename(0), "Objects/box.lwo");
  EXPECT_EQ(funcs->layerExists(0, 0), 1);
  EXPECT_EQ(funcs->layerExists(0, 1), 0);
  EXPECT_EQ(funcs->filename(1), nullptr);
  LWMeshInfo* mesh = funcs->layerMesh(0, 0);
  ASSERT_NE(mesh, nullptr);
  EXPECT_EQ(mesh->numPolygons(mesh), 8);
  mesh->destroy(mesh);
  EXPECT_EQ(funcs->layerMesh(0, 3), nullptr);
}

}  // namespace
