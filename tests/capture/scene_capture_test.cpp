// The scene capture over a real host: what is captured, what an update re-reads, keeps,
// rebuilds or drops, and which differences count as a change.
#include <cmath>
#include <filesystem>

#include "capture_fixture.h"
#include "host/scene/transform.h"
#include "runtime/memory.h"

namespace capturetest {
namespace {

constexpr double kPi = 3.14159265358979323846;

class SceneCaptureTest : public CaptureTest {
 protected:
  host::Item& item(int index) { return scene().items[size_t(index)]; }
  int update() { return SceneCapture_Update(capture, capture->time); }
};

TEST_F(SceneCaptureTest, CreateSkipsObjectsOfTwoPointsOrFewerAndListsNewestFirst) {
  host::Scene s;
  s.render.recursionLimit = 9;
  s.render.traceShadows = true;
  addObject(s, boxModel("a.lwo"), "A");
  addObject(s, pointsModel(2, "two.lwo"), "Two");
  const int null = s.addItem(host::ItemType::Object, "Null");
  s.items[size_t(null)].object.isNull = true;
  addObject(s, boxModel("b.lwo", {5, 0, 0}), "B");
  addObject(s, pointsModel(5, "loose.lwo"), "Loose");
  startHost(std::move(s));
  const int64_t blocks = memLiveBlocks();

  capture = SceneCapture_Create(0.25);
  ASSERT_NE(capture, nullptr);
  EXPECT_EQ(currentCapture, capture);
  EXPECT_EQ(captureTime, 0.25);
  EXPECT_EQ(capture->time, 0.25);
  EXPECT_EQ(capture->busy, 0);
  EXPECT_EQ(capture->recursionDepth, 9);
  EXPECT_TRUE(capture->renderOpts & LWROPT_SHADOWTRACE);
  EXPECT_EQ(capture->compositingBackground, nullptr);
  ASSERT_EQ(objectCount(), 3);
  EXPECT_EQ(capture->objects->item, itemId(4));
  EXPECT_EQ(capture->objects->next->item, itemId(3));
  EXPECT_EQ(capture->objects->next->next->item, itemId(0));
  EXPECT_EQ(capture->objects->previous, nullptr);

  CapturedObject* b = find(itemId(3));
  ASSERT_NE(b, nullptr);
  for (int32_t p = 0; p < b->mesh->pointCount * 3; ++p) EXPECT_EQ(b->keptPoints[p], b->mesh->points[p]);
  EXPECT_EQ(b->mesh->surfaceCount, 1);
  EXPECT_NE(b->cells, nullptr);
  EXPECT_EQ(geometryCalls.builds, 3);
  EXPECT_EQ(geometryCalls.normals, 3);
  EXPECT_NEAR(b->worldBounds.sphereCentre[0], 5.0, 1e-9);
  // The micropol template.
  EXPECT_EQ(b->micropol.objID, itemId(3));
  EXPECT_EQ(b->micropol.userData, b);
  EXPECT_EQ(b->micropol.illuminate, MicropolIlluminate);
  EXPECT_EQ(b->micropol.rayCast, MicropolRayCast);

  EXPECT_EQ(update(), 0);  // nothing moved since
  SceneCapture_Destroy(capture);
  capture = nullptr;
  EXPECT_EQ(currentCapture, nullptr);
  EXPECT_EQ(memLiveBlocks(), blocks);
}

TEST_F(SceneCaptureTest, ASceneWithoutObjects) {
  startHost(host::Scene{});
  capture = SceneCapture_Create(0.0);
  ASSERT_NE(capture, nullptr);
  EXPECT_EQ(capture->objects, nullptr);
  EXPECT_EQ(update(), 0);
  EXPECT_EQ(SceneCapture_RefreshSurfaces(capture, 0.0), 0);
  SceneCapture_SetShutter(capture, 0.0, 1.0);
}

TEST_F(SceneCaptureTest, AMovedObjectKeepsItsGridAndAReshapedOneIsRebuilt) {
  host::Scene s;
  Model model = boxModel();
  addObject(s, model, "Box");
  startHost(std::move(s));
  capture = SceneCapture_Create(0.0);
  CapturedObject* o = capture->objects;
  void** cells = o->cells;
  const CapturedMesh* mesh = o->mesh;

  item(0).setPosition({1.0, 2.0, 3.0});
  item(0).setScale({2.0, 3.0, 4.0});
  EXPECT_EQ(update(), 1);
  EXPECT_EQ(o->cells, cells);
  EXPECT_EQ(o->mesh, mesh);
  EXPECT_EQ(geometryCalls.builds, 1);
  EXPECT_EQ(o->transform.position[2], 3.0);
  EXPECT_NEAR(o->worldBounds.sphereCentre[1], 2.0, 1e-9);
  // The radius grows with the strongest scale seen along the ellipsoid's axes, at most 4.
  EXPECT_LE(o->worldBounds.sphereRadiusSquared, 16.0 * o->localBounds.sphereRadiusSquared + 1e-9);
  for (int32_t p = 0; p < o->mesh->pointCount; ++p) {
    const double local[3] = {o->keptPoints[p * 3], o->keptPoints[p * 3 + 1], o->keptPoints[p * 3 + 2]};
    double w[3];
    ItemTransform_MapPoint(&o->transform, local, w);
    double d2 = 0.0;
    for (int a = 0; a < 3; ++a) d2 += (w[a] - o->worldBounds.sphereCentre[a]) * (w[a] - o->worldBounds.sphereCentre[a]);
    EXPECT_LE(d2, o->worldBounds.sphereRadiusSquared + 1e-9);
  }
  // The object's scale along its own axes, for the host's textures.
  EXPECT_NEAR(o->micropol.oScl[0], 2.0, 1e-12);
  EXPECT_NEAR(o->micropol.oScl[1], 3.0, 1e-12);
  EXPECT_NEAR(o->micropol.oScl[2], 4.0, 1e-12);
  EXPECT_NEAR(o->normalMatrix[4], 1.0 / 3.0, 1e-12);
  EXPECT_EQ(update(), 0);
  // Rays see the box where it now stands, through the grid it kept: z from -1 to 7.
  const double from[3] = {1.0, 2.0, 20.0}, towards[3] = {0.0, 0.0, -1.0};
  EXPECT_NEAR(MicropolRayCast(from, towards), 13.0, 1e-5);

  // Points moved in place, counts the same: the mesh is not read again.
  model->layers[0].points[0] = {-7.0f, -7.0f, -7.0f};
  EXPECT_EQ(update(), 0);
  EXPECT_EQ(o->keptPoints[0], -1.0f);

  // One more polygon: read anew, kept points taken over, grid rebuilt.
  model->layers[0].polygons.push_back(model->layers[0].polygons[0]);
  EXPECT_EQ(update(), 1);
  ASSERT_EQ(capture->objects, o);
  EXPECT_EQ(o->mesh->polygonCount, 7);
  EXPECT_EQ(o->keptPoints[0], -7.0f);
  EXPECT_EQ(geometryCalls.builds, 2);
  EXPECT_LT(o->gridMinX, -7.0);
  EXPECT_EQ(update(), 0);
  EXPECT_NEAR(MicropolRayCast(from, towards), 13.0, 1e-5);
}

TEST_F(SceneCaptureTest, DeletedAndShrunkObjectsAreDroppedAndGrownOnesPickedUp) {
  host::Scene s;
  addObject(s, boxModel("a.lwo"), "A");
  Model tiny = pointsModel(2, "tiny.lwo");
  addObject(s, tiny, "Tiny");
  addObject(s, boxModel("c.lwo"), "C");
  startHost(std::move(s));
  const int64_t blocks = memLiveBlocks();
  capture = SceneCapture_Create(0.0);
  ASSERT_EQ(objectCount(), 2);
  const LWItemID c = itemId(2);

  scene().items.erase(scene().items.begin() + 2);
  hostRef().sceneChanged();
  EXPECT_EQ(update(), 1);
  EXPECT_EQ(objectCount(), 1);
  EXPECT_EQ(find(c), nullptr);

  tiny->layers[0].points.push_back({0.0f, 1.0f, 0.0f});
  EXPECT_EQ(update(), 1);
  ASSERT_EQ(objectCount(), 2);
  EXPECT_NE(find(itemId(1)), nullptr);
  EXPECT_EQ(update(), 0);

  tiny->layers[0].points.resize(2);
  EXPECT_EQ(update(), 1);
  EXPECT_EQ(objectCount(), 1);
  SceneCapture_Destroy(capture);
  capture = nullptr;
  EXPECT_EQ(memLiveBlocks(), blocks);
}

TEST_F(SceneCaptureTest, ObjectsWithCurvesAreCapturedAnewAtEveryUpdate) {
  host::ObjectBuilder b("curly.lwo");
  b.addBox({0, 0, 0}, {1, 1, 1}, "S");
  b.addPolygon({0, 1, 2}, "S", host::chunkId("CURV"));
  host::Scene s;
  addObject(s, std::make_shared<host::ObjectModel>(b.finish()), "Curly");
  startHost(std::move(s));
  capture = SceneCapture_Create(0.0);
  EXPECT_EQ(capture->objects->mesh->polygonCount, 6);
  EXPECT_EQ(update(), 1);
  EXPECT_EQ(update(), 1);
  EXPECT_EQ(geometryCalls.builds, 3);
}

TEST_F(SceneCaptureTest, ParametersChangeOnlyPastTheirTolerances) {
  host::Scene s;
  addObject(s, boxModel(), "Box");
  startHost(std::move(s));
  capture = SceneCapture_Create(0.0);
  CapturedObject* o = capture->objects;
  host::ObjectSettings& settings = item(0).object;

  settings.dissolve = 0.004;
  EXPECT_EQ(update(), 0);
  settings.dissolve = 0.010;  // 0.006 from the kept 0.004
  EXPECT_EQ(update(), 1);
  EXPECT_EQ(o->dissolve, 0.010);
  settings.dissolve = 2.0;  // clamped
  EXPECT_EQ(update(), 1);
  EXPECT_EQ(o->dissolve, 1.0);
  settings.dissolve = 0.0;
  EXPECT_EQ(update(), 1);

  settings.fogLevel = 0.996;
  EXPECT_EQ(update(), 0);
  settings.fogLevel = 0.99;
  EXPECT_EQ(update(), 1);
  EXPECT_EQ(o->fogLevel, 0.99);

  settings.matteColor = host::AnimatedColor(0.09, 0.0, 0.0);  // 0.0081 squared
  EXPECT_EQ(update(), 0);
  settings.matteColor = host::AnimatedColor(0.09, 0.11, 0.0);
  EXPECT_EQ(update(), 1);
  EXPECT_EQ(o->matteColor[1], 0.11);

  settings.shadowOptions = LWOSHAD_CAST;
  EXPECT_EQ(update(), 1);
  EXPECT_EQ(o->shadowOptions, uint32_t(LWOSHAD_CAST));
  settings.flags = LWOBJF_MATTE;
  EXPECT_EQ(update(), 1);
  EXPECT_EQ(o->objectFlags, uint32_t(LWOBJF_MATTE));

  // An inactive item or polygons too small to see: fully dissolved.
  item(0).active = false;
  EXPECT_EQ(update(), 1);
  EXPECT_EQ(o->dissolve, 1.0);
  item(0).active = true;
  EXPECT_EQ(update(), 1);
  settings.polygonSize = 0.005;
  EXPECT_EQ(update(), 1);
  EXPECT_EQ(o->dissolve, 1.0);
}

TEST_F(SceneCaptureTest, AMajorSixHostHasNoMatteColourAndNoDissolveOverride) {
  host::Scene s;
  addObject(s, boxModel(), "Box");
  host::HostSettings settings;
  settings.productMajor = 6;
  startHost(std::move(s), settings);
  ASSERT_EQ(globalServices.hostVersion.major, 6);
  capture = SceneCapture_Create(0.0);
  CapturedObject* o = capture->objects;
  item(0).object.matteColor = host::AnimatedColor(1.0, 1.0, 1.0);
  item(0).active = false;
  item(0).object.polygonSize = 0.0;
  EXPECT_EQ(update(), 0);
  EXPECT_EQ(o->matteColor[0], 0.0);
  EXPECT_EQ(o->dissolve, 0.0);
}

TEST_F(SceneCaptureTest, SidednessIsAChangeAndColourIsNot) {
  host::Scene s;
  Model model = boxModel();
  addObject(s, model, "Box");
  startHost(std::move(s));
  capture = SceneCapture_Create(0.0);
  CapturedObject* o = capture->objects;
  EXPECT_EQ(o->anyDoubleSided, 0);
  model->surfaces[0].color.value = {0.0, 1.0, 0.0};
  EXPECT_EQ(update(), 0);
  EXPECT_EQ(o->surfaces[0].color[1], 256);
  model->surfaces[0].sidedness = host::SideDouble;
  EXPECT_EQ(update(), 1);
  EXPECT_EQ(o->anyDoubleSided, 1);
  EXPECT_EQ(update(), 0);
  model->surfaces[0].sidedness = host::SideFront;
  EXPECT_EQ(SceneCapture_RefreshSurfaces(capture, 0.0), 1);
  EXPECT_EQ(o->anyDoubleSided, 0);
  EXPECT_EQ(SceneCapture_RefreshSurfaces(capture, 0.0), 0);
}

TEST_F(SceneCaptureTest, ItemTransformsCarryPivotsAndTolerateTinyMoves) {
  host::Scene s;
  const int parent = addObject(s, boxModel("p.lwo"), "Parent");
  s.items[size_t(parent)].setPosition({1.0, -2.0, 0.5});
  s.items[size_t(parent)].setRotation({0.4, 0.2, -0.3});
  const int child = addObject(s, boxModel("c.lwo"), "Child");
  host::Item& c = s.items[size_t(child)];
  c.parent = parent;
  c.setPosition({0.0, 3.0, 1.0});
  c.setRotation({-1.0, 0.5, 0.25});
  c.setScale({1.5, 0.5, 2.0});
  c.pivotPosition = {0.25, -0.5, 1.0};
  c.pivotRotation = {0.3, -0.6, 0.9};
  startHost(std::move(s));

  ItemTransform t;
  ItemTransform_SetIdentity(&t);
  EXPECT_EQ(ItemTransform_Read(nullptr, &t, 0.0), 0);
  EXPECT_EQ(ItemTransform_Read(kReservedItem, &t, 0.0), 0);
  EXPECT_EQ(t.inverseValid, 1);

  EXPECT_EQ(ItemTransform_Read(itemId(child), &t, 0.0), 1);
  EXPECT_EQ(t.inverseValid, 0);
  const host::Affine want = host::itemObjectToWorld(scene(), child, 0.0);
  for (const host::Vec3& p : {host::Vec3{0, 0, 0}, host::Vec3{1, 2, 3}, host::Vec3{-4, 0.5, 2}}) {
    double got[3], back[3];
    ItemTransform_MapPoint(&t, p.data(), got);
    const host::Vec3 w = want.apply(p);
    for (int a = 0; a < 3; ++a) EXPECT_NEAR(got[a], w[size_t(a)], 1e-12);
    ItemTransform_InverseMapPoint(&t, got, back);
    for (int a = 0; a < 3; ++a) EXPECT_NEAR(back[a], p[size_t(a)], 1e-12);
  }
  EXPECT_EQ(t.inverseValid, 1);
  EXPECT_EQ(ItemTransform_Read(itemId(child), &t, 0.0), 0);

  // Position cells count from 1e-09, matrix cells from 1e-06.
  host::Item& moved = scene().items[size_t(child)];
  moved.setPosition({0.0, 3.0, 1.0 + 5e-10});
  EXPECT_EQ(ItemTransform_Read(itemId(child), &t, 0.0), 0);
  moved.setPosition({0.0, 3.0, 1.0 + 3e-09});
  EXPECT_EQ(ItemTransform_Read(itemId(child), &t, 0.0), 1);
  // Without a pivot point, so that scaling leaves the position be.
  moved.pivotPosition = {0.0, 0.0, 0.0};
  EXPECT_EQ(ItemTransform_Read(itemId(child), &t, 0.0), 1);
  moved.setScale({1.5, 0.5, 2.0 + 4e-7});
  EXPECT_EQ(ItemTransform_Read(itemId(child), &t, 0.0), 0);
  moved.setScale({1.5, 0.5, 2.0 + 4e-6});
  EXPECT_EQ(ItemTransform_Read(itemId(child), &t, 0.0), 1);
}

TEST_F(SceneCaptureTest, ReplaceRenamesOrRebuildsAndShutterReadsTwoTimes) {
  host::Scene s;
  const int box = addObject(s, boxModel(), "Box");
  host::Animated& x = s.items[size_t(box)].motion[host::PositionX];
  x.envelope.keys = {{0.0, 0.0, host::KeyShape::Linear}, {1.0, 10.0, host::KeyShape::Linear}};
  startHost(std::move(s));
  capture = SceneCapture_Create(0.5);
  CapturedObject* o = capture->objects;
  EXPECT_NEAR(o->transform.position[0], 5.0, 1e-9);

  SceneCapture_SetShutter(capture, 0.25, 0.75);
  EXPECT_NEAR(o->shutterOpen.position[0], 2.5, 1e-9);
  EXPECT_NEAR(o->shutterClose.position[0], 7.5, 1e-9);
  EXPECT_NEAR(o->transform.position[0], 5.0, 1e-9);

  const LWItemID other = reinterpret_cast<LWItemID>(uintptr_t(0x1000abcd));
  EXPECT_EQ(SceneCapture_ReplaceObject(capture, itemId(1), other), 0);  // not captured
  EXPECT_EQ(SceneCapture_ReplaceObject(capture, itemId(box), other), 0);
  EXPECT_EQ(o->item, other);
  EXPECT_EQ(SceneCapture_ReplaceObject(capture, other, itemId(box)), 0);
  EXPECT_EQ(SceneCapture_ReplaceObject(capture, itemId(box), itemId(box)), 1);
  ASSERT_EQ(objectCount(), 1);
  EXPECT_EQ(capture->objects->item, itemId(box));
  EXPECT_EQ(capture->busy, 0);
  EXPECT_NEAR(capture->objects->transform.position[0], 5.0, 1e-9);
}

TEST_F(SceneCaptureTest, MicropolLightDirectionsAndRayCasts) {
  host::Scene s;
  addObject(s, boxModel(), "Box");
  const int sun = s.addItem(host::ItemType::Light, "Sun");
  s.items[size_t(sun)].light.kind = host::LightKind::Distant;
  s.items[size_t(sun)].setRotation({kPi / 2, 0.0, 0.0});
  const int lamp = s.addItem(host::ItemType::Light, "Lamp");
  s.items[size_t(lamp)].light.kind = host::LightKind::Point;
  s.items[size_t(lamp)].setPosition({0.0, 10.0, 0.0});
  startHost(std::move(s));

  double d[3], colour[3];
  const double origin[3] = {0.0, 0.0, 0.0};
  EXPECT_EQ(MicropolIlluminate(itemId(sun), origin, d, colour), 1);
  EXPECT_NEAR(d[0], 1.0, 1e-12);
  EXPECT_NEAR(d[2], 0.0, 1e-12);
  EXPECT_EQ(MicropolIlluminate(itemId(lamp), origin, d, colour), 1);
  EXPECT_NEAR(d[1], -1.0, 1e-12);
  const double at[3] = {0.0, 10.0, 0.0};
  MicropolIlluminate(itemId(lamp), at, d, colour);
  EXPECT_EQ(d[0], 0.0);
  EXPECT_EQ(d[1], 1.0);

  // A host texture's ray, towards the box of side 2 at the origin, and past it.
  const double from[3] = {0.0, 0.0, -10.0}, towards[3] = {0.0, 0.0, 1.0}, away[3] = {0.0, 1.0, 0.0};
  EXPECT_EQ(MicropolRayCast(from, towards), -1.0);  // no capture
  capture = SceneCapture_Create(0.0);
  EXPECT_NEAR(MicropolRayCast(from, towards), 9.0, 1e-5);
  EXPECT_EQ(MicropolRayCast(from, away), -1.0);
}

}  // namespace
}  // namespace capturetest
