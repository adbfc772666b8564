// The five sample tables: their fixed first rows, their range, and how evenly their prefixes
// spread over the unit square with its edges wrapping.
#include <gtest/gtest.h>

#include <cmath>

#include "shading/sample_tables.h"

namespace {

struct Named {
  const char* name;
  const SamplePair* table;
  SamplePair first, second;
};

const Named kTables[] = {
    {"pixelOffsets", pixelOffsets, {0.5f, 0.5f}, {0.02196f, 0.019518f}},
    {"bounceSamplesEven", bounceSamplesEven, {0.75f, 0.75f}, {0.248076f, 0.732318f}},
    {"bounceSamplesOdd", bounceSamplesOdd, {0.25f, 0.25f}, {0.726182f, 0.25645f}},
    {"lensSamplesEven", lensSamplesEven, {0.75f, 0.75f}, {0.756215f, 0.258834f}},
    {"lensSamplesOdd", lensSamplesOdd, {0.25f, 0.25f}, {0.287152f, 0.749093f}},
};

double nearestPair(const SamplePair* t, int n) {
  double best = 2.0;
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < i; ++j) {
      double dx = std::fabs(double(t[i].first) - t[j].first), dy = std::fabs(double(t[i].second) - t[j].second);
      dx = std::min(dx, 1.0 - dx);
      dy = std::min(dy, 1.0 - dy);
      best = std::min(best, std::sqrt(dx * dx + dy * dy));
    }
  return best;
}

TEST(SampleTables, StartWithTheAgreedRowsAndSpreadEvenly) {
  for (const Named& n : kTables) {
    SCOPED_TRACE(n.name);
    EXPECT_EQ(n.table[0].first, n.first.first);
    EXPECT_EQ(n.table[0].second, n.first.second);
    EXPECT_EQ(n.table[1].first, n.second.first);
    EXPECT_EQ(n.table[1].second, n.second.second);
    for (int i = 0; i < kSampleTableRows; ++i) {
      EXPECT_GE(n.table[i].first, 0.0f);
      EXPECT_LT(n.table[i].first, 1.0f);
      EXPECT_GE(n.table[i].second, 0.0f);
      EXPECT_LT(n.table[i].second, 1.0f);
    }
    // Any prefix is well spread: the nearest two of the first 16, 64 and 256 points keep
    // at least about these distances apart.
    EXPECT_GE(nearestPair(n.table, 16), 0.16);
    EXPECT_GE(nearestPair(n.table, 64), 0.07);
    EXPECT_GE(nearestPair(n.table, 256), 0.035);
    EXPECT_GT(nearestPair(n.table, kSampleTableRows), 0.02);
  }
  // Neighbouring pixels draw different points at the same count.
  int same = 0;
  for (int i = 0; i < kSampleTableRows; ++i)
    if (bounceSamplesEven[i].first == bounceSamplesOdd[i].first) ++same;
  EXPECT_EQ(same, 0);
}

}  // namespace
