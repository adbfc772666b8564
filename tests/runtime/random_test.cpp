#include "runtime/random.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <set>
#include <vector>

#include "runtime_support.h"

namespace {

class Random : public ::testing::Test {
 protected:
  void SetUp() override { ensureRuntimeLoaded(); }
  // Other tests in this process draw from the tables of the loaded seed; put them back.
  void TearDown() override {
    randFillForwardTable(randSeedFromSize(runtimeSeedSize()));
    randBuildInverseTable();
  }
};

TEST_F(Random, TablesArePermutationsAndInverses) {
  for (uint32_t seed : {0u, 1u, 0x7A31C4E5u, 0xDEADBEEFu, 0xFFFFFFFFu}) {
    randFillForwardTable(seed);
    randBuildInverseTable();
    std::vector<bool> seen(65536);
    for (int i = 0; i < 65536; ++i) {
      ASSERT_FALSE(seen[forwardTable[i]]) << "seed " << seed << " repeats at " << i;
      seen[forwardTable[i]] = true;
      ASSERT_EQ(inverseTable[forwardTable[i]], i);
    }
  }
}

// Reference values worked out separately from the published constants.
TEST_F(Random, KnownValuesForFixedSeeds) {
  EXPECT_EQ(randSeedFromSize(1), 0x7A31C4E5u);
  EXPECT_EQ(randSeedFromSize(4096), 0x968014E5u);  // 0x7A31C4E5 * 4097 mod 2^32
  EXPECT_EQ(randSeedFromSize(4097), 0x968014E5u);  // size | 1

  randFillForwardTable(randSeedFromSize(4096));
  EXPECT_EQ(forwardTable[0], 0xA6C5);
  EXPECT_EQ(forwardTable[1], 0x77D6);
  EXPECT_EQ(forwardTable[2], 0xEB6E);

  randFillForwardTable(0x7A31C4E5u);
  randBuildInverseTable();
  const uint16_t first[] = {0x45D8, 0xBAE0, 0x8067, 0x4701};
  for (int i = 0; i < 4; ++i) EXPECT_EQ(forwardTable[i], first[i]) << i;
  EXPECT_EQ(forwardTable[65534], 0xFC51);
  EXPECT_EQ(forwardTable[65535], 0x1BF5);

  uint32_t s = 0x12345678u;
  const uint32_t steps[] = {0x1F4DE2C0u, 0x957B65E8u, 0x1A99C2AEu};
  for (uint32_t expected : steps) {
    scrambleStep(&s);
    EXPECT_EQ(s, expected);
  }
  EXPECT_EQ(randHash(0), 0xEA43B7BDu);
  EXPECT_EQ(randHash(0x12345678u), 0x1F4DE2C0u);
  s = 0x12345678u;
  EXPECT_DOUBLE_EQ(randUnit(&s), (0x1F4DE2C0u + 0.5) / 4294967296.0);

  s = 0;
  lcgStep(&s);
  EXPECT_EQ(s, 1013904223u);
  lcgStep(&s);
  EXPECT_EQ(s, 1196435762u);
  s = 0;
  EXPECT_DOUBLE_EQ(fastUnit(&s), (1013904223u & 0x7FFFFFu) / 8388608.0);
}

TEST_F(Random, UnitDrawsStayInTheirIntervals) {
  uint32_t s = 7, f = 7;
  for (int i = 0; i < 1000000; ++i) {
    const double u = randUnit(&s);
    ASSERT_GT(u, 0.0);
    ASSERT_LT(u, 1.0);
    const double g = fastUnit(&f);
    ASSERT_GE(g, 0.0);
    ASSERT_LT(g, 1.0);
  }
  // The state whose next LCG value has zero low bits: fastUnit gives exactly 0.
  uint32_t inverseMultiplier = 1;  // 1664525^-1 mod 2^32 by Newton's iteration
  for (int i = 0; i < 5; ++i) inverseMultiplier *= 2u - 1664525u * inverseMultiplier;
  uint32_t z = (0u - 1013904223u) * inverseMultiplier;
  EXPECT_EQ(fastUnit(&z), 0.0);
  uint32_t top = (0x007FFFFFu - 1013904223u) * inverseMultiplier;
  EXPECT_EQ(fastUnit(&top), 1.0 - std::ldexp(1.0, -23));
}

TEST_F(Random, RangeCoversBothEnds) {
  uint32_t s = 99;
  std::set<int32_t> seen;
  for (int i = 0; i < 10000; ++i) {
    const int32_t r = randRange(&s, -3, 4);
    ASSERT_GE(r, -3);
    ASSERT_LE(r, 4);
    seen.insert(r);
  }
  EXPECT_EQ(seen.size(), 8u);
  EXPECT_EQ(randRange(&s, 5, 5), 5);
  for (int i = 0; i < 1000; ++i) {  // the widest range must not overflow
    const int64_t r = randRange(&s, INT32_MIN, INT32_MAX);
    ASSERT_GE(r, INT32_MIN);
    ASSERT_LE(r, INT32_MAX);
  }
}

TEST_F(Random, DiscSamples) {
  uint32_t s = 2222;
  int quadrant[4] = {};
  for (int i = 0; i < 100000; ++i) {
    double x, y;
    randDisc(&s, 2.5, &x, &y);
    ASSERT_LT(x * x + y * y, 2.5 * 2.5);
    ++quadrant[(x < 0) * 2 + (y < 0)];
  }
  for (int q : quadrant) EXPECT_GT(q, 20000);

  // Each of the concentric map's five cases, against its own radius and angle.
  const double pi4 = std::numbers::pi / 4;
  struct Case {
    double u, v, r, angle;
  } cases[] = {
      {1.0, 0.75, 1.0, pi4 * 0.5},           // a > -b, a > b
      {0.75, 1.0, 1.0, pi4 * (2 - 0.5)},     // a > -b, a <= b
      {0.0, 0.75, 1.0, pi4 * (4 - 0.5)},     // a <= -b, a < b
      {0.25, 0.0, 1.0, pi4 * (6 - 0.5)},     // otherwise, b != 0
      {0.5, 0.5, 0.0, 0.0},                  // the centre
      {0.6, 0.7, 0.4, pi4 * (2 - 0.5)},      // inside, second case
  };
  for (const Case& c : cases) {
    double u = c.u, v = c.v;
    squareToDisc(&u, &v);
    EXPECT_DOUBLE_EQ(u, c.r * std::cos(c.angle)) << c.u << "," << c.v;
    EXPECT_DOUBLE_EQ(v, c.r * std::sin(c.angle)) << c.u << "," << c.v;
  }
}

}  // namespace
