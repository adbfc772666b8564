// The shutter window of a blurred pass, the motion path's splats, and the plain splat's
// running means, against values worked out by hand.
#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

#include "finalrender/final_render_job.h"
#include "finalrender/sample_deposit.h"
#include "runtime/memory.h"

namespace {

TEST(SampleDeposit, ShutterWindowFollowsTheLevel) {
  struct Case {
    int32_t m;
    double mb25d, blur;
    int32_t frame;
    double fps;
    double position, start, end;
  };
  const Case cases[] = {
      // v 0.5, width 0.6: the window 0.2..0.8 of the blur length behind the frame.
      {0, 1.0, 0.5, 10, 25.0, 9.75, 0.384, 0.396},
      // v 0.118034, width 0.45: the low end falls under 0, so the window is 0..0.45.
      {1, 1.0, 0.5, 10, 25.0, 9.9409830056250525, 0.391, 0.4},
      // v 0.736068, width 0.36: 0.556068..0.916068.
      {2, 1.0, 1.0, 3, 24.0, 2.26393202250021, (3 - 0.91606797749979) / 24, (3 - 0.55606797749979) / 24},
      // v 0.972136, width 0.257143: the high end is held at 1.
      {4, 1.0, 0.5, 0, 1.0, -0.48606797749979, -0.5, -(1.0 - 1.8 / 7) * 0.5},
      // "MB25D" of 10 asks for more than the whole blur: the width stops at 1.
      {0, 10.0, 0.5, 10, 25.0, 9.75, 9.5 / 25, 10.0 / 25},
      // A negative blur length looks ahead of the frame instead.
      {0, 1.0, -0.5, 10, 25.0, 10.25, 0.416, 0.404},
  };
  for (const Case& c : cases) {
    const ShutterWindow w = shutterWindow(c.m, c.mb25d, c.blur, c.frame, c.fps);
    EXPECT_NEAR(w.framePosition, c.position, 1e-12) << "level " << c.m;
    EXPECT_NEAR(w.start, c.start, 1e-12) << "level " << c.m;
    EXPECT_NEAR(w.end, c.end, 1e-12) << "level " << c.m;
  }
}

TEST(SampleDeposit, MotionSplatsAlongTheScreenPath) {
  const double a[2] = {0, 0}, b[2] = {3, 0}, c[2] = {3, 4};
  MotionSplat splats[kMaxMotionSplats];
  // A path of 3 + 4 pixels: seven splats at t = 1/14, 3/14 ... 13/14, weighted by
  // 0.3 - (t - 0.5)^2, whose sum is 2.1 - 4/7.
  ASSERT_EQ(motionSplats(a, b, c, 0.0, 0.5, 1.0, 2.0, splats), 7);
  const double sum = 2.1 - 4.0 / 7.0;
  EXPECT_NEAR(splats[0].weight, 2.0 * (0.3 - 9.0 / 49.0) / sum, 1e-12);
  EXPECT_NEAR(splats[3].weight, 2.0 * 0.3 / sum, 1e-12);
  EXPECT_NEAR(splats[6].weight, splats[0].weight, 1e-12);
  EXPECT_NEAR(std::accumulate(splats, splats + 7, 0.0, [](double s, const MotionSplat& m) { return s + m.weight; }),
              2.0, 1e-12);
  const double expected[7][2] = {{3.0 / 7, 0}, {9.0 / 7, 0}, {15.0 / 7, 0}, {3, 0}, {3, 8.0 / 7}, {3, 16.0 / 7},
                                 {3, 24.0 / 7}};
  for (int j = 0; j < 7; ++j) {
    EXPECT_NEAR(splats[j].x, expected[j][0], 1e-12) << j;
    EXPECT_NEAR(splats[j].y, expected[j][1], 1e-12) << j;
  }

  // The sample's own time a quarter into the shutter: the first piece is the shorter.
  motionSplats(a, b, c, 0.0, 0.25, 1.0, 1.0, splats);
  EXPECT_NEAR(splats[1].x, 3.0 * (3.0 / 14) / 0.25, 1e-12);
  EXPECT_NEAR(splats[2].x, 3.0, 1e-12);
  EXPECT_NEAR(splats[2].y, 4.0 * (5.0 / 14 - 0.25) / 0.75, 1e-12);

  // A shutter that runs backwards in time still starts at a.
  motionSplats(a, b, c, 1.0, 0.5, 0.0, 2.0, splats);
  EXPECT_NEAR(splats[0].x, 3.0 / 7, 1e-12);
  EXPECT_NEAR(splats[6].y, 24.0 / 7, 1e-12);

  // At most 50 splats, at least one; the weights always add up to the sample's.
  const double far[2] = {200, 0};
  ASSERT_EQ(motionSplats(a, far, far, 0.0, 0.5, 1.0, 3.0, splats), 50);
  double total = 0.0;
  for (const MotionSplat& m : splats) total += m.weight;
  EXPECT_NEAR(total, 3.0, 1e-12);
  ASSERT_EQ(motionSplats(b, b, b, 0.0, 0.5, 1.0, 0.75, splats), 1);
  EXPECT_EQ(splats[0].x, 3.0);
  EXPECT_EQ(splats[0].y, 0.0);
  EXPECT_NEAR(splats[0].weight, 0.75, 1e-15);
}

// A 4 x 3 job with zeroed planes and tallies.
struct SmallJob {
  FinalRenderJob* job = FinalRenderJob_Create();
  SmallJob() {
    job->width = 4;
    job->height = 3;
    job->pixelCount = 12;
    job->tallies = static_cast<PixelTally*>(memAllocZero(12 * sizeof(PixelTally)));
    job->red = static_cast<float*>(memAllocZero(12 * sizeof(float)));
    job->green = static_cast<float*>(memAllocZero(12 * sizeof(float)));
    job->blue = static_cast<float*>(memAllocZero(12 * sizeof(float)));
    job->alpha = static_cast<float*>(memAllocZero(12 * sizeof(float)));
  }
  ~SmallJob() { FinalRenderJob_Destroy(job); }
  float weight(int x, int y) const { return job->tallies[y * 4 + x].weight; }
};

TEST(SampleDeposit, PlainSplatKeepsAWeightedMean) {
  SmallJob s;
  const double orange[3] = {1.0, 0.5, 0.25};
  // Radius 1 around the centre of pixel (1, 1): k = 0.5, peak 2 x 0.25.
  depositPlain(s.job, 1.5, 1.5, 1.0, orange, 1.0, 2.0);
  EXPECT_FLOAT_EQ(s.weight(1, 1), 0.5f);
  EXPECT_FLOAT_EQ(s.weight(0, 1), 0.25f);   // d = 0.5: 1 - 2 x 0.25
  EXPECT_FLOAT_EQ(s.weight(2, 1), 0.25f);
  EXPECT_FLOAT_EQ(s.weight(1, 0), 0.25f);
  const double corner = (1.0 - (3.0 - std::sqrt(2.0)) * 0.5) * 0.5;  // d = sqrt(2) / 2
  EXPECT_FLOAT_EQ(s.weight(0, 0), float(corner));
  EXPECT_FLOAT_EQ(s.weight(2, 2), float(corner));
  EXPECT_EQ(s.weight(3, 1), 0.0f);  // beyond px + R
  EXPECT_FLOAT_EQ(s.job->red[0], 1.0f);
  EXPECT_FLOAT_EQ(s.job->blue[0], 0.25f);

  // A second sample half a pixel to the right, blue with no alpha, weight 1.
  const double blue[3] = {0.0, 0.0, 1.0};
  depositPlain(s.job, 2.0, 1.5, 1.0, blue, 0.0, 1.0);
  const double w2 = (1.0 - 2.5 * 0.0625) * 0.25;  // d = 0.25 at pixel (1, 1)
  const double total = 0.5 + w2;
  EXPECT_FLOAT_EQ(s.weight(1, 1), float(total));
  EXPECT_FLOAT_EQ(s.job->red[5], float(0.5 / total));
  EXPECT_FLOAT_EQ(s.job->green[5], float(0.25 / total));
  EXPECT_FLOAT_EQ(s.job->blue[5], float((0.25 * 0.5 + w2) / total));
  EXPECT_FLOAT_EQ(s.job->alpha[5], float(0.5 / total));
  // Pixel (3, 1) only ever saw the blue sample, at d = 0.75.
  EXPECT_FLOAT_EQ(s.weight(3, 1), float((1.0 - 1.5 * 0.5625) * 0.25));
  EXPECT_FLOAT_EQ(s.job->blue[7], 1.0f);
  EXPECT_FLOAT_EQ(s.job->alpha[7], 0.0f);

  // Splats only spread weight: the sample counts belong to the pixels the samples started at.
  for (int i = 0; i < 12; ++i) EXPECT_EQ(s.job->tallies[i].samples, 0);

  // At the image's edge the filter is cut, never wrapped.
  SmallJob edge;
  depositPlain(edge.job, 0.1, 0.1, 1.2, orange, 1.0, 1.0);
  depositPlain(edge.job, -0.7, 2.9, 0.5, orange, 1.0, 1.0);
  EXPECT_GT(edge.weight(0, 0), 0.0f);
  EXPECT_EQ(edge.weight(3, 0), 0.0f);
  EXPECT_EQ(edge.weight(0, 2), 0.0f);
}

}  // namespace
