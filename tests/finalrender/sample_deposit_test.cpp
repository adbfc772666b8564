// The shutter window of a blurred pass, the motion path's splats and the plain splat's
// running means, against values worked out by hand.
#include "finalrender/sample_deposit.h"

#include <gtest/gtest.h>

#include <cmath>

#include "finalrender/final_render_job.h"
#include "runtime/memory.h"

namespace {

TEST(SampleDeposit, ShutterWindowFollowsTheLevel) {
  struct Case {
    int32_t m;
    double mb25d, blur, position, start, end;
  } const cases[] = {
      {0, 1.0, 0.5, 9.75, 9.6 / 25, 9.9 / 25},                                          // v 0.5, width 0.6
      {1, 1.0, 0.5, 10 - 0.0590169943749475, 9.775 / 25, 10.0 / 25},                    // low end under 0: 0..0.45
      {4, 1.0, 0.5, 10 - 0.48606797749979, 9.5 / 25, (10 - (1 - 1.8 / 7) * 0.5) / 25},  // high end held at 1
      {0, 1.0, -0.5, 10.25, 10.4 / 25, 10.1 / 25},                                      // a negative blur looks ahead
  };
  for (const Case& c : cases) {
    const ShutterWindow w = shutterWindow(c.m, c.mb25d, c.blur, 10, 25.0);
    EXPECT_NEAR(w.framePosition, c.position, 1e-12) << c.m;
    EXPECT_NEAR(w.start, c.start, 1e-12) << c.m;
    EXPECT_NEAR(w.end, c.end, 1e-12) << c.m;
  }
}

TEST(SampleDeposit, MotionSplatsAlongTheScreenPath) {
  const double a[2] = {0, 0}, b[2] = {3, 0}, c[2] = {3, 4};
  MotionSplat s[kMaxMotionSplats];
  // 3 + 4 pixels of path: seven splats at t = 1/14 ... 13/14, weighted 0.3 - (t - 0.5)^2 over
  // their sum 2.1 - 4/7, placed a -> b up to the middle time and b -> c after it.
  ASSERT_EQ(motionSplats(a, b, c, 0.0, 0.5, 1.0, 2.0, s), 7);
  const double sum = 2.1 - 4.0 / 7.0;
  EXPECT_NEAR(s[0].weight, 2.0 * (0.3 - 9.0 / 49.0) / sum, 1e-12);
  EXPECT_NEAR(s[3].weight, 0.6 / sum, 1e-12);
  EXPECT_NEAR(s[0].x, 3.0 / 7, 1e-12);
  EXPECT_NEAR(s[3].x, 3.0, 1e-12);
  EXPECT_NEAR(s[6].y, 24.0 / 7, 1e-12);
  motionSplats(a, b, c, 1.0, 0.5, 0.0, 1.0, s);  // a shutter running back in time starts at a
  EXPECT_NEAR(s[0].x, 3.0 / 7, 1e-12);

  const double far[2] = {200, 0};
  ASSERT_EQ(motionSplats(a, far, far, 0.0, 0.5, 1.0, 3.0, s), 50);
  double total = 0.0;
  for (const MotionSplat& m : s) total += m.weight;
  EXPECT_NEAR(total, 3.0, 1e-12);
  ASSERT_EQ(motionSplats(b, b, b, 0.0, 0.5, 1.0, 0.75, s), 1);
  EXPECT_NEAR(s[0].weight, 0.75, 1e-15);
}

TEST(SampleDeposit, PlainSplatKeepsAWeightedMean) {
  FinalRenderJob* job = FinalRenderJob_Create();
  job->width = 4, job->height = 3, job->pixelCount = 12;
  job->tallies = static_cast<PixelTally*>(memAllocZero(12 * sizeof(PixelTally)));
  float** planes[4] = {&job->red, &job->green, &job->blue, &job->alpha};
  for (float** p : planes) *p = static_cast<float*>(memAllocZero(12 * sizeof(float)));
  auto weight = [job](int x, int y) { return job->tallies[y * 4 + x].weight; };

  // Radius 1 at the centre of pixel (1, 1): k = 0.5, peak weight 2 x 0.25.
  const double orange[3] = {1.0, 0.5, 0.25}, blue[3] = {0.0, 0.0, 1.0};
  depositPlain(job, 1.5, 1.5, 1.0, orange, 1.0, 2.0);
  EXPECT_FLOAT_EQ(weight(1, 1), 0.5f);
  EXPECT_FLOAT_EQ(weight(0, 1), 0.25f);  // d = 0.5
  EXPECT_FLOAT_EQ(weight(2, 2), float((1.0 - (3.0 - std::sqrt(2.0)) * 0.5) * 0.5));
  EXPECT_EQ(weight(3, 1), 0.0f);  // beyond px + R
  // Half a pixel to the right, blue with no alpha, weight 1: d = 0.25 at (1, 1).
  depositPlain(job, 2.0, 1.5, 1.0, blue, 0.0, 1.0);
  const double w2 = (1.0 - 2.5 * 0.0625) * 0.25, total = 0.5 + w2;
  EXPECT_FLOAT_EQ(weight(1, 1), float(total));
  EXPECT_FLOAT_EQ(job->red[5], float(0.5 / total));
  EXPECT_FLOAT_EQ(job->blue[5], float((0.125 + w2) / total));
  EXPECT_FLOAT_EQ(job->alpha[5], float(0.5 / total));
  EXPECT_FLOAT_EQ(weight(3, 1), float((1.0 - 1.5 * 0.5625) * 0.25));
  EXPECT_FLOAT_EQ(job->blue[7], 1.0f);
  // Cut at the image's edge, never wrapped; sample counts are not the splat's business.
  const float corner = weight(0, 2);
  depositPlain(job, -0.7, 2.9, 0.5, orange, 1.0, 1.0);
  EXPECT_EQ(weight(0, 2), corner);
  for (int i = 0; i < 12; ++i) EXPECT_EQ(job->tallies[i].samples, 0);
  FinalRenderJob_Destroy(job);
}

}  // namespace
