// The refinement's schedule: which pixels a pass visits and in what order, the importance
// statistics, the threshold's adaptation and what the panel is shown.
#include <gtest/gtest.h>

#include <numeric>
#include <vector>

#include "refine/refine_run.h"
#include "refine/refine_state.h"

namespace {

TEST(RefineSchedule, StrideWalksEveryPixelOnceAcrossTheThirtyTwoBitLimit) {
  for (uint32_t n : {0u, 1u, 2u, 3u, 4u, 9u, 100u, 1200u, 52700u, 52726u, 52800u, 76800u, 307200u}) {
    const uint32_t s = refineStride(n);
    if (n <= 3) {
      EXPECT_EQ(s, 1u) << n;
      continue;
    }
    EXPECT_EQ(std::gcd(s, n), 1u) << n;
    // The walk's products fit a signed 32-bit word.
    EXPECT_LT(uint64_t(n - 1) * s, uint64_t(1) << 31) << n;
    std::vector<bool> seen(n, false);
    for (uint64_t i = 0; i < n; ++i) {
      const uint64_t index = (i * s) % n;
      ASSERT_FALSE(seen[index]) << n << " visits " << index << " twice";
      seen[index] = true;
    }
  }
  // Below the limit the stride is near the golden section; above it the limit rules.
  EXPECT_NEAR(double(refineStride(1000)), 618.0, 3.0);
  EXPECT_NEAR(double(refineStride(307200)), 1717986918.4 / 307200, 3.0);
}

TEST(RefineSchedule, NineOddPassesVisitEveryPixelOnce) {
  const int32_t width = 7, height = 5;
  for (int32_t first : {5, 25, 43}) {
    std::vector<int> visits(size_t(width * height), 0);
    for (int32_t pass = first; pass < first + 18; pass += 2) {
      ASSERT_FALSE(refineUsesImportance(pass)) << pass;
      for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x)
          if ((y % 3) * 3 + x % 3 == refineRotationCell(pass)) ++visits[size_t(y * width + x)];
    }
    for (int v : visits) EXPECT_EQ(v, 1) << "from pass " << first;
  }
  for (int32_t pass = 0; pass < 40; pass += 2) EXPECT_EQ(refineRotationCell(pass), kRefineNoCell);
}

TEST(RefineSchedule, PassesWeightsAndQuality) {
  std::vector<int32_t> passes, quality;
  for (int32_t pass = refineNextPass(0); pass <= 29; pass = refineNextPass(pass)) {
    passes.push_back(pass);
    quality.push_back(refineQuality(pass));
  }
  std::vector<int32_t> expectedPasses, expectedQuality;
  for (int32_t p = 1; p <= 24; ++p) expectedPasses.push_back(p);
  expectedPasses.insert(expectedPasses.end(), {25, 27, 29});
  for (int32_t q = 2; q <= 24; ++q) expectedQuality.push_back(q);
  expectedQuality.insert(expectedQuality.end(), {24, 25, 26, 27});
  EXPECT_EQ(passes, expectedPasses);
  EXPECT_EQ(quality, expectedQuality);

  EXPECT_DOUBLE_EQ(refinePassWeight(1), 1.375);
  EXPECT_DOUBLE_EQ(refinePassWeight(7), 3.625);
  EXPECT_DOUBLE_EQ(refinePassWeight(8), 4.0);
  // Statistics before passes 1 to 4 and the even ones up to 22; pass 24 tests with pass 22's.
  for (int32_t p : {1, 2, 3, 4, 6, 22}) EXPECT_TRUE(refineNeedsStatistics(p)) << p;
  for (int32_t p : {5, 7, 23, 24, 25, 26}) EXPECT_FALSE(refineNeedsStatistics(p)) << p;
  EXPECT_TRUE(refineUsesImportance(24));
  EXPECT_FALSE(refineUsesImportance(25));
}

TEST(RefineSchedule, UniformPictureFloorsTheVarianceAndWaitsForTheThreshold) {
  const int32_t width = 6, height = 4;
  std::vector<PixelSample> pixels(size_t(width * height), PixelSample{0.5f, 0.5f, 0.5f, 1.0f, 1.0f, 9.0f, 1});
  RefineState state{};
  state.pixels = pixels.data();
  refineStatistics(&state, width, height);
  for (const PixelSample& p : pixels) EXPECT_EQ(p.importance, 0.0f);
  EXPECT_EQ(state.importanceMean, 0.0);
  EXPECT_EQ(state.importanceVariance, 0.00001);
  // The test reduces to threshold x (1 + 0.01 threshold) > 1.
  for (double threshold : {0.09, 0.5, 0.98}) {
    state.threshold = threshold;
    EXPECT_FALSE(refineImportant(&state, 0.0f)) << threshold;
  }
  state.threshold = 0.995;
  EXPECT_TRUE(refineImportant(&state, 0.0f));

  // One bright pixel stands out, and its neighbours with it; a dark corner counts more.
  pixels[size_t(1 * width + 2)].red = 4.0f;
  refineStatistics(&state, width, height);
  EXPECT_GT(pixels[size_t(1 * width + 2)].importance, 0.0f);
  EXPECT_GT(pixels[size_t(2 * width + 3)].importance, 0.0f);
  EXPECT_EQ(pixels[size_t(3 * width + 5)].importance, 0.0f);
  EXPECT_GT(state.importanceVariance, 0.00001);
}

TEST(RefineSchedule, ThresholdAdaptsTowardsFifteenPercentWithinClamps) {
  EXPECT_DOUBLE_EQ(refineAdaptThreshold(1.0, 1000, 999), 0.55);  // every pixel passed
  EXPECT_DOUBLE_EQ(refineAdaptThreshold(1.0, 1000, 0), 1.9);     // none did
  EXPECT_DOUBLE_EQ(refineAdaptThreshold(0.2, 1000, 149), 0.2);   // fifteen percent exactly
  EXPECT_DOUBLE_EQ(refineAdaptThreshold(0.2, 1000, 99), 0.3);
}

}  // namespace
