// The scene's settings, lights, cameras, backdrop, fog and interface as the module reads them.
#include <cmath>
#include <string>

#include <gtest/gtest.h>
#include <lwrender.h>

#include "host/services/host.h"
#include "scene_fixture.h"

namespace {

using host::Host;

template <class T>
T* lookup(const char* name, int use = GFUSE_TRANSIENT) {
  return static_cast<T*>(Host::globalFunction()(name, use));
}

void expectColor(const double* c, double r, double g, double b, double tolerance = 1e-12) {
  EXPECT_NEAR(c[0], r, tolerance);
  EXPECT_NEAR(c[1], g, tolerance);
  EXPECT_NEAR(c[2], b, tolerance);
}

TEST(SceneInfo, RenderOptionsFramesAndSizeFollowTheScene) {
  host::Scene s = servicetest::familyScene();
  s.fileName = "/tmp/shots/take.lws";
  s.render.traceShadows = true;
  s.render.traceRefraction = true;
  s.render.recursionLimit = 7;
  s.firstFrame = 5;
  s.lastFrame = 25;
  s.frameStep = 2;
  s.framesPerSecond = 24.0;
  host::CameraSettings& cam = s.items[4].camera;
  cam.width = 320;
  cam.height = 240;
  cam.pixelAspect = 1.25;
  cam.depthOfField = true;
  cam.antialiasing = 9;
  Host h(std::move(s));
  auto* si = lookup<LWSceneInfo>("LW Scene Info 2");
  ASSERT_NE(si, nullptr);
  EXPECT_STREQ(si->name, "take.lws");
  EXPECT_STREQ(si->filename, "/tmp/shots/take.lws");
  EXPECT_EQ(si->renderOpts, LWROPT_SHADOWTRACE | LWROPT_REFRACTTRACE | LWROPT_DEPTHOFFIELD);
  EXPECT_EQ(si->recursionDepth, 7);
  EXPECT_EQ(si->frameStart, 5);
  EXPECT_EQ(si->frameEnd, 25);
  EXPECT_EQ(si->frameStep, 2);
  EXPECT_EQ(si->framesPerSecond, 24.0);
  EXPECT_EQ(si->frameWidth, 320);
  EXPECT_EQ(si->frameHeight, 240);
  EXPECT_EQ(si->pixelAspect, 1.25);
  EXPECT_EQ(si->maxSamplesPerPixel, 9);
  EXPECT_EQ(si->limitedRegion[2], 319);
  EXPECT_EQ(si->numPoints, 16);  // two items of eight points
  EXPECT_EQ(si->numPolygons, 16);
  ASSERT_NE(si->renderCamera, nullptr);
  EXPECT_STREQ(lookup<LWItemInfo>("LW Item Info")->name(si->renderCamera(0.0)), "Camera");
  EXPECT_EQ(lookup<LWSceneInfo>("LW Scene Info"), nullptr);  // only the second layout is served

  // A change made to the model in place shows once the host is told.
  h.scene().render.traceReflection = true;
  h.sceneChanged();
  EXPECT_EQ(si->renderOpts & LWROPT_REFLECTTRACE, LWROPT_REFLECTTRACE);
}

TEST(SceneInfo, AnUnsavedSceneIsUnnamed) {
  Host h;
  auto* si = lookup<LWSceneInfo>("LW Scene Info 2");
  EXPECT_STREQ(si->name, "(unnamed)");
  EXPECT_EQ(si->numPoints, 0);
  EXPECT_EQ(si->renderCamera(0.0), nullptr);
}

TEST(InterfaceInfo, TimeSelectionAndThresholdFollowTheCommands) {
  Host h(servicetest::familyScene());
  auto* ui = lookup<LWInterfaceInfo>("LW Interface Info", GFUSE_ACQUIRE);
  ASSERT_NE(ui, nullptr);
  EXPECT_EQ(lookup<LWInterfaceInfo>("LW Interface Info 3"), ui);
  EXPECT_EQ(ui->curTime, 0.0);
  EXPECT_EQ(ui->selItems[0], nullptr);

  EXPECT_EQ(h.evaluate("GoToFrame 45"), 1);
  EXPECT_DOUBLE_EQ(ui->curTime, 1.5);  // at 30 frames a second
  EXPECT_EQ(h.evaluate("SelectItem 20000001"), 1);
  ASSERT_NE(ui->selItems[0], nullptr);
  EXPECT_STREQ(lookup<LWItemInfo>("LW Item Info")->name(ui->selItems[0]), "Spot");
  EXPECT_EQ(ui->selItems[1], nullptr);
  EXPECT_EQ(ui->itemFlags(ui->selItems[0]) & LWITEMF_SELECTED, LWITEMF_SELECTED);
  EXPECT_EQ(h.evaluate("BoundingBoxThreshold 9999999"), 1);
  EXPECT_EQ(ui->boxThreshold, 9999999);
}

TEST(LightInfo, OlderAndNewerTablesAgreeOnTheLight) {
  host::Scene s = servicetest::familyScene();
  host::LightSettings& spot = s.items[3].light;
  spot.color = {1.0, 0.5, 0.25};
  spot.intensity = 2.0;
  spot.coneAngle = 0.5;
  spot.edgeAngle = 0.1;
  spot.range = 10.0;
  spot.falloff = host::LightFalloff::InverseDistance;
  spot.shadowColor = {0.2, 0.3, 0.4};
  spot.quality = 4;
  spot.affectSpecular = false;
  s.ambientColor = {1.0, 1.0, 0.5};
  s.ambientIntensity = 0.25;
  Host h(std::move(s));
  auto* newer = lookup<LWLightInfo>("LW Light Info 3");
  auto* older = lookup<LWLightInfoV2>("LW Light Info 2");
  ASSERT_NE(newer, nullptr);
  ASSERT_NE(older, nullptr);
  EXPECT_NE(static_cast<void*>(newer), static_cast<void*>(older));
  EXPECT_EQ(lookup<LWLightInfoV2>("LW Light Info"), older);

  auto* items = lookup<LWItemInfo>("LW Item Info");
  const LWItemID point = items->first(LWI_LIGHT, nullptr);
  const LWItemID id = items->next(point);
  EXPECT_EQ(newer->type(id), LWLIGHT_SPOT);
  EXPECT_EQ(newer->type(point), LWLIGHT_POINT);
  double c[3];
  newer->color(id, 0.0, c);
  expectColor(c, 2.0, 1.0, 0.5);
  older->color(id, 0.0, c);
  expectColor(c, 2.0, 1.0, 0.5);
  newer->rawColor(id, 0.0, c);
  expectColor(c, 1.0, 0.5, 0.25);
  newer->shadowColor(id, 0.0, c);
  expectColor(c, 0.2, 0.3, 0.4);
  newer->ambient(0.0, c);
  expectColor(c, 0.25, 0.25, 0.125);

  double cone, edge;
  newer->coneAngles(id, 0.0, &cone, &edge);
  EXPECT_DOUBLE_EQ(cone, 0.5);
  EXPECT_DOUBLE_EQ(edge, 0.1);
  older->coneAngles(id, &cone, &edge);  // degrees in the older table
  EXPECT_NEAR(cone, 28.64788975654116, 1e-9);
  EXPECT_NEAR(edge, 5.729577951308232, 1e-9);
  EXPECT_EQ(newer->range(id, 0.0), 10.0);
  EXPECT_EQ(older->range(id), 10.0);
  EXPECT_EQ(newer->falloff(id), LWLFALL_INV_DIST);
  EXPECT_EQ(newer->quality(id, 0.0), 4);
  EXPECT_EQ(newer->flags(id), unsigned(LWLFL_NO_SPECULAR));
  EXPECT_EQ(newer->shadowType(id), LWLSHAD_RAYTRACE);
  EXPECT_EQ(newer->projImage(id), nullptr);
}

TEST(CameraInfo, LensFrameAndAnglesOfTheCamera) {
  host::Scene s = servicetest::familyScene();
  host::CameraSettings& cam = s.items[4].camera;
  cam.zoomFactor = 2.0;
  cam.width = 400;
  cam.height = 200;
  cam.fStop = 2.8;
  cam.focalDistance = 5.0;
  cam.blurLength = 0.25;
  cam.limitedRegion = 1;
  cam.regionX0 = 10;
  cam.regionY0 = 20;
  cam.regionX1 = 110;
  cam.regionY1 = 120;
  Host h(std::move(s));
  auto* info = lookup<LWCameraInfo>("LW Camera Info 2");
  ASSERT_NE(info, nullptr);
  const LWItemID id = lookup<LWItemInfo>("LW Item Info")->first(LWI_CAMERA, nullptr);
  EXPECT_EQ(info->zoomFactor(id, 0.0), 2.0);
  EXPECT_EQ(info->fStop(id, 0.0), 2.8);
  EXPECT_EQ(info->focalDistance(id, 0.0), 5.0);
  EXPECT_EQ(info->blurLength(id, 0.0), 0.25);
  int w = 0, hgt = 0;
  info->resolution(id, &w, &hgt);
  EXPECT_EQ(w, 400);
  EXPECT_EQ(hgt, 200);
  int x0, y0, x1, y1;
  info->regionLimits(id, &x0, &y0, &x1, &y1);
  EXPECT_EQ(x0 + y0 + x1 + y1, 10 + 20 + 110 + 120);
  EXPECT_EQ(info->flags(id) & LWCAMF_LIMITED_REGION, LWCAMF_LIMITED_REGION);
  double fh, fv;
  info->fovAngles(id, 0.0, &fh, &fv);
  EXPECT_NEAR(fv, 2.0 * std::atan(0.5), 1e-12);
  EXPECT_NEAR(fh, 2.0 * std::atan(1.0), 1e-12);  // twice as wide as high
}

// Sky (0, 0, 1) over zenith (1, 0, 0); ground (0, 1, 0) over nadir (1, 1, 1).
host::Scene gradientScene() {
  host::Scene s;
  s.backdrop.gradient = true;
  s.backdrop.zenith = {1.0, 0.0, 0.0};
  s.backdrop.sky = {0.0, 0.0, 1.0};
  s.backdrop.ground = {0.0, 1.0, 0.0};
  s.backdrop.nadir = {1.0, 1.0, 1.0};
  s.backdrop.skySqueeze = 2.0;
  s.backdrop.groundSqueeze = 1.0;
  return s;
}

TEST(BackdropInfo, GradientColoursStraightUpDownAndAtTheHorizon) {
  Host h(gradientScene());
  auto* b = lookup<LWBackdropInfo>("LW Backdrop Info 2");
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(b->type, LWBACK_GRADIENT);
  double c[3];
  const double up[3] = {0.0, 3.0, 0.0};
  b->backdrop(0.0, up, c);
  expectColor(c, 1.0, 0.0, 0.0);
  const double down[3] = {0.0, -1.0, 0.0};
  b->backdrop(0.0, down, c);
  expectColor(c, 1.0, 1.0, 1.0);
  const double level[3] = {1.0, 0.0, 0.0};
  b->backdrop(0.0, level, c);
  expectColor(c, 0.0, 0.0, 1.0);
  // 45 degrees up is half way in angle; with a squeeze of 2 a quarter of the sky is left.
  const double halfUp[3] = {0.0, 1.0, 1.0};
  b->backdrop(0.0, halfUp, c);
  expectColor(c, 0.75, 0.0, 0.25, 1e-12);
  // 30 degrees down is a third of the way; a squeeze of 1 blends in proportion.
  const double thirdDown[3] = {std::sqrt(3.0), -1.0, 0.0};
  b->backdrop(0.0, thirdDown, c);
  expectColor(c, 1.0 / 3.0, 1.0, 1.0 / 3.0, 1e-12);

  double z[3], sky[3], g[3], n[3], ss, gs;
  b->color(0.0, z, sky, g, n);
  expectColor(sky, 0.0, 0.0, 1.0);
  expectColor(n, 1.0, 1.0, 1.0);
  b->squeeze(0.0, &ss, &gs);
  EXPECT_EQ(ss, 2.0);
  EXPECT_EQ(gs, 1.0);
}

TEST(BackdropInfo, SolidColourEverywhereAndTypeFollowsTheScene) {
  host::Scene s = gradientScene();
  s.backdrop.gradient = false;
  s.backdrop.color = {0.1, 0.2, 0.3};
  Host h(std::move(s));
  auto* b = lookup<LWBackdropInfo>("LW Backdrop Info");
  EXPECT_EQ(b->type, LWBACK_SOLID);
  double c[3];
  const double up[3] = {0.0, 1.0, 0.0};
  b->backdrop(0.0, up, c);
  expectColor(c, 0.1, 0.2, 0.3);
  h.scene().backdrop.gradient = true;
  h.sceneChanged();
  EXPECT_EQ(b->type, LWBACK_GRADIENT);
}

TEST(FogAndCompositing, ValuesAtATimeAndNoImagesWithoutAnImageList) {
  host::Scene s;
  s.fog.type = 2;
  s.fog.backdropFog = true;
  s.fog.minDistance = 1.0;
  s.fog.maxDistance.envelope.keys = {{0.0, 10.0, host::KeyShape::Linear}, {1.0, 20.0, host::KeyShape::Linear}};
  s.fog.minAmount = 0.1;
  s.fog.maxAmount = 0.9;
  s.fog.color = {0.5, 0.6, 0.7};
  s.compositing.background = "missing.png";
  Host h(std::move(s));
  auto* fog = lookup<LWFogInfo>("LW Fog Info");
  ASSERT_NE(fog, nullptr);
  EXPECT_EQ(fog->type, LWFOG_NONLINEAR1);
  EXPECT_EQ(fog->flags, LWFOGF_BACKGROUND);
  EXPECT_EQ(fog->minDist(0.0), 1.0);
  EXPECT_DOUBLE_EQ(fog->maxDist(0.5), 15.0);
  EXPECT_EQ(fog->minAmt(0.0), 0.1);
  EXPECT_EQ(fog->maxAmt(0.0), 0.9);
  double c[3];
  fog->color(0.0, c);
  expectColor(c, 0.5, 0.6, 0.7);

  auto* comp = lookup<LWCompInfo>("LW Compositing Info");
  ASSERT_NE(comp, nullptr);
  if (!h.links().imageByPath) {
    EXPECT_EQ(comp->bg, nullptr);
  }
  EXPECT_EQ(comp->fg, nullptr);
}

}  // namespace
