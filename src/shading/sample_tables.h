#pragma once
// Five progressive sample tables, shared by pixel refine and the frame loop and indexed by a
// pixel's sample count modulo 512. Any prefix of a table is spread evenly over the unit
// square with its edges wrapping; the even and odd tables differ so that neighbouring pixels
// draw different points at the same count. The values live in sample_tables.cpp, written by
// tools/make_sample_tables.
struct SamplePair {
  float first, second;
};

inline constexpr int kSampleTableRows = 512;

extern const SamplePair pixelOffsets[kSampleTableRows];       // where in the pixel
extern const SamplePair bounceSamplesEven[kSampleTableRows];  // TraceSample's u, v; x + y even
extern const SamplePair bounceSamplesOdd[kSampleTableRows];   // x + y odd
extern const SamplePair lensSamplesEven[kSampleTableRows];    // lens position; x + y even
extern const SamplePair lensSamplesOdd[kSampleTableRows];     // x + y odd
