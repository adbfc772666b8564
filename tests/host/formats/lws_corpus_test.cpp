// The motion scenes of the corpus: the object's position at chosen frames, against values
// worked out from the keys in the files with the curve formulas (Hermite basis over each
// span, Kochanek-Bartels tangents, cubic Bezier handles) and the behaviours' definitions.
#include <gtest/gtest.h>

#include <filesystem>

#include "host/formats/lws_reader.h"
#include "host/scene/transform.h"

namespace host {
namespace {

namespace fs = std::filesystem;

const fs::path kFolder = fs::path(OMBREL_CORPUS_DIR) / "lightwave" / "LWS";

double hermite(double s, double v0, double v1, double out, double in) {
  const double s2 = s * s, s3 = s2 * s;
  return (2 * s3 - 3 * s2 + 1) * v0 + (-2 * s3 + 3 * s2) * v1 + (s3 - 2 * s2 + s) * out + (s3 - s2) * in;
}

double bezier(double a, double b, double c, double d, double u) {
  const double v = 1 - u;
  return v * v * v * a + 3 * v * v * u * b + 3 * v * u * u * c + u * u * u * d;
}

class LwsCorpus : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!fs::is_directory(kFolder)) GTEST_SKIP() << "no corpus at " << kFolder;
  }

  Scene load(const std::string& name) {
    Scene scene;
    std::string error;
    std::vector<std::string> warnings;
    EXPECT_TRUE(readSceneFile((kFolder / name).string(), scene, error, {}, &warnings)) << error;
    EXPECT_TRUE(warnings.empty()) << name << ": " << warnings.front();
    return scene;
  }

  // The object's world position at a frame.
  static Vec3 at(const Scene& scene, double frame) {
    return itemParam(scene, 0, ItemParam::WorldPosition, frame / scene.framesPerSecond);
  }
};

// Keys of move_xz_*.lws: x at 0, 2/3 and 2 s; z at 0, 4/3 and 89/30 s.
const double kX1 = 1.924918483918713, kX2 = -0.52300345897674561;
const double kZ1 = -2.6561167240142822, kZ2 = -0.095800442759067794;

TEST_F(LwsCorpus, LinearAndSteppedKeysAreExact) {
  const Scene linear = load("move_xz_linear.lws");
  ASSERT_EQ(linear.items.size(), 3u);
  ASSERT_NE(linear.items[0].object.model, nullptr);
  EXPECT_NEAR(at(linear, 10)[0], kX1 / 2, 1e-12);
  EXPECT_NEAR(at(linear, 20)[0], kX1, 1e-12);
  EXPECT_NEAR(at(linear, 40)[0], (kX1 + kX2) / 2, 1e-12);
  EXPECT_NEAR(at(linear, 90)[0], kX2, 1e-12);  // constant after the last key
  EXPECT_NEAR(at(linear, 20)[2], kZ1 / 2, 1e-12);
  const double s = (70.0 / 30 - 4.0 / 3) / (2.9666666666666668 - 4.0 / 3);
  EXPECT_NEAR(at(linear, 70)[2], kZ1 + s * (kZ2 - kZ1), 1e-12);
  EXPECT_NEAR(at(linear, 70)[1], 0.0, 1e-12);

  const Scene stepped = load("move_xz_stepped.lws");
  EXPECT_EQ(at(stepped, 19)[0], 0.0);
  EXPECT_EQ(at(stepped, 20)[0], kX1);
  EXPECT_EQ(at(stepped, 59)[0], kX1);
  EXPECT_EQ(at(stepped, 60)[0], kX2);
  EXPECT_EQ(at(stepped, 39)[2], 0.0);
  EXPECT_EQ(at(stepped, 88)[2], kZ1);
}

TEST_F(LwsCorpus, SplineHermiteAndBezierCurves) {
  // Spline: the middle key's tangents come from its neighbours, spread by the span lengths.
  const Scene spline = load("move_xz_spline.lws");
  const double x1 = 2.0153336524963379;
  EXPECT_NEAR(at(spline, 10)[0], hermite(0.5, 0, x1, x1, (1.0 / 3) * (kX2 - 0)), 1e-9);
  EXPECT_NEAR(at(spline, 40)[0], hermite(0.5, x1, kX2, (2.0 / 3) * (kX2 - 0), kX2 - x1), 1e-9);

  // Hermite: the tangents written on the keys are those entering each span.
  const Scene herm = load("move_xz_hermite.lws");
  EXPECT_NEAR(at(herm, 10)[0], hermite(0.5, 0, kX1, 2.0144942798797212, -0.17433448632558185), 1e-9);
  EXPECT_NEAR(at(herm, 40)[0], hermite(0.5, kX1, kX2, -0.3486689726511637, -2.4474120653818376), 1e-9);
  EXPECT_NEAR(at(herm, 30)[2], hermite(0.75, 0, kZ1, -2.6555634816222775, -0.043056378768120331), 1e-9);

  // Bezier: a point of each span at parameter 0.5, from the handles written on the keys.
  const Scene bez = load("move_xz_bezier.lws");
  const double t1 = 2.0 / 3;
  double time = bezier(0, 0.22222, t1 - 0.22222, t1, 0.5);
  double value = bezier(0, 0.64163307824462457, kX1 + 0.012913536517090266, kX1, 0.5);
  EXPECT_NEAR(itemParam(bez, 0, ItemParam::Position, time)[0], value, 1e-7);
  time = bezier(t1, t1 + 0.44444, 2 - 0.44444, 2, 0.5);
  value = bezier(kX1, kX1 - 0.10330829213672213, kX2 + 0.81596582122534322, kX2, 0.5);
  EXPECT_NEAR(itemParam(bez, 0, ItemParam::Position, time)[0], value, 1e-7);
  const double z0 = 4.0 / 3, z1 = 2.9666666666666668;
  time = bezier(z0, z0 + 0.56576343257676909, z1 - 0.54443900000000001, z1, 0.3);
  value = bezier(kZ1, kZ1 - 0.018818992720682302, kZ2 - 0.85343022603080076, kZ2, 0.3);
  EXPECT_NEAR(itemParam(bez, 0, ItemParam::Position, time)[2], value, 1e-7);
}

TEST_F(LwsCorpus, PostBehaviours) {
  // Keys of move_x_post_*.lws: x = 0, v1, v2 at 0, 2/3 and 1.3 s, spline; frame 50 is 1/3 s
  // + 1/30 s past the last key.
  const double v1 = 2.1381859973436792, v2 = -1.6381832361221313, end = 1.3, t = 50.0 / 30;
  // The curve 0.36667 s into its first span: s = 0.55, out0 = v1, in1 = (2/3)/1.3 * (v2 - 0).
  const double wrapped = hermite((t - end) / (2.0 / 3), 0, v1, v1, (2.0 / 3) / 1.3 * v2);

  EXPECT_NEAR(at(load("move_x_post_constant.lws"), 50)[0], v2, 1e-12);
  EXPECT_EQ(at(load("move_x_post_reset.lws"), 50)[0], 0.0);
  EXPECT_NEAR(at(load("move_x_post_repeat.lws"), 50)[0], wrapped, 1e-9);
  EXPECT_NEAR(at(load("move_x_post_offset_repeat.lws"), 50)[0], wrapped + v2, 1e-9);
  // Linear: on along the last key's incoming tangent, v2 - v1 over its span.
  EXPECT_NEAR(at(load("move_x_post_linear.lws"), 50)[0], v2 + (v2 - v1) / (end - 2.0 / 3) * (t - end), 1e-9);
  // Before the last key the five files agree.
  EXPECT_NEAR(at(load("move_x_post_linear.lws"), 30)[0], at(load("move_x_post_reset.lws"), 30)[0], 1e-12);
}

TEST_F(LwsCorpus, PreOffsetRepeatAndPostOscillate) {
  // y: 0, 0, v2 at 0, 1 and 1.7 s, spline. In the second span out1 = 0.7/1.7 * (v2 - 0), in2 = v2.
  const Scene scene = load("move_y_pre_ofrep_post_osc.lws");
  EXPECT_EQ(scene.firstFrame, -240);
  const double v2 = 0.98909872770309448;
  auto curve = [&](double time) { return hermite((time - 1) / 0.7, 0, v2, 0.7 / 1.7 * v2, v2); };
  EXPECT_NEAR(at(scene, -15)[1], curve(1.2) - v2, 1e-9);  // -0.5 s: one period back, less the rise
  EXPECT_NEAR(at(scene, 60)[1], curve(1.4), 1e-9);        // 2.0 s: mirrored, as at 1.7 - 0.3
  // 3.6 s: forward again, as at 0.2, in the first span: out0 = 0, in1 = 1/1.7 * (v2 - 0).
  EXPECT_NEAR(at(scene, 108)[1], hermite(0.2, 0, 0, 0, v2 / 1.7), 1e-9);
  EXPECT_EQ(at(scene, 45)[0], 0.0);
  EXPECT_EQ(at(scene, -45)[0], 0.0);
}

TEST_F(LwsCorpus, OlderVersionsOfTheSameScene) {
  const Scene v5 = load("move_x.lws");
  const Scene v3 = load("move_x_oldformat_6.lws");
  const Scene v2 = load("move_x_oldformat_56.lws");
  EXPECT_EQ(v3.version, 3);
  EXPECT_EQ(v2.version, 2);
  const double v1 = 2.0691125392913818, vEnd = -2.3748657703399658;
  EXPECT_NEAR(at(v5, 10)[0], hermite(0.5, 0, v1, v1, 0.5 * vEnd), 1e-9);
  for (double frame : {0.0, 7.0, 20.0, 33.0, 50.0}) {
    EXPECT_NEAR(at(v3, frame)[0], at(v5, frame)[0], 1e-9) << frame;
    EXPECT_NEAR(at(v2, frame)[0], at(v5, frame)[0], 1e-5) << frame;  // six digits in the file
  }
  for (const Scene* s : {&v5, &v3, &v2}) {
    ASSERT_EQ(s->items.size(), 3u);
    EXPECT_NE(s->items[0].object.model, nullptr);
    const Item& light = s->items[1];
    EXPECT_EQ(light.type, ItemType::Light);
    EXPECT_NEAR(light.motion[Heading].at(0), 0.78539814, 1e-6);  // degrees in version 2
    EXPECT_EQ(light.light.color.at(0), (Vec3{1, 1, 1}));
    EXPECT_EQ(light.light.kind, LightKind::Distant);
    ASSERT_EQ(light.plugins.size(), 1u);
    EXPECT_EQ(light.plugins[0].name, "DistantLight");
    const Item& camera = s->items[2];
    EXPECT_DOUBLE_EQ(camera.camera.zoomFactor.at(0), 3.2);
    EXPECT_EQ(camera.camera.width, 640);
    EXPECT_EQ(camera.camera.height, 480);
    EXPECT_EQ(s->renderCamera(), 2);
    EXPECT_NEAR(s->backdrop.sky.at(0)[2], 0.9412, 1e-4);
    EXPECT_EQ(s->ambientColor.at(0), (Vec3{1, 1, 1}));
    EXPECT_DOUBLE_EQ(s->ambientIntensity.at(0), 0.05);
  }
}

}  // namespace
}  // namespace host
