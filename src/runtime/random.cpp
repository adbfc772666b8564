#include "runtime/random.h"

#include <cmath>
#include <cstring>
#include <numbers>

uint16_t* forwardTable = nullptr;
uint16_t* inverseTable = nullptr;

uint32_t randSeedFromSize(uint64_t moduleFileSize) {
  return kSeedConstant * (static_cast<uint32_t>(moduleFileSize) | 1u);
}

void randFillForwardTable(uint32_t seed) {
  if (!forwardTable) return;
  uint16_t* table = forwardTable;
  uint32_t s = seed;
  // Multiplier 1 mod 4 and an odd increment: the low halves visit every 16-bit value once.
  for (uint32_t i = 0; i < 65536; ++i) {
    s = s * 0x6DBD6BA5u + 0xCB0E28C1u;
    table[i] = static_cast<uint16_t>(s);
  }
  // Swaps keep it a permutation while breaking up the lattice of the first pass.
  for (uint32_t i = 0; i < 65536; i += 2) {
    s = s * 0x2B23851Du + 0x944E0FF3u;
    uint16_t t = table[i];
    table[i] = table[s >> 16];
    table[s >> 16] = t;
    s = s * 0x2B23851Du + 0x944E0FF3u;
    t = table[i + 1];
    table[i + 1] = table[s >> 16];
    table[s >> 16] = t;
  }
}

void randBuildInverseTable() {
  if (!forwardTable || !inverseTable) return;
  for (uint32_t i = 0; i < 65536; ++i) inverseTable[forwardTable[i]] = static_cast<uint16_t>(i);
}

void scrambleStep(uint32_t* state) {
  const uint16_t* P = forwardTable;
  const uint16_t* Q = inverseTable;
  uint16_t hi = static_cast<uint16_t>(*state >> 16);
  uint16_t lo = static_cast<uint16_t>(*state);
  lo = static_cast<uint16_t>(P[lo] + hi);
  hi = static_cast<uint16_t>(P[hi] + lo);
  const uint32_t x = ((uint32_t{hi} << 16) | lo) * 0x71F2B14Du + 0x08EBA249u;
  const uint16_t xh = static_cast<uint16_t>(x >> 16);
  const uint16_t xl = static_cast<uint16_t>(x);
  hi = Q[static_cast<uint16_t>(xh - xl)];
  lo = Q[static_cast<uint16_t>(xl - hi)];
  *state = (uint32_t{hi} << 16) | lo;
}

double randUnit(uint32_t* state) {
  scrambleStep(state);
  return (static_cast<double>(*state) + 0.5) * 0x1p-32;
}

int32_t randRange(uint32_t* state, int32_t lo, int32_t hi) {
  const double span = static_cast<double>(int64_t{hi} - int64_t{lo} + 1);
  return static_cast<int32_t>(lo + static_cast<int64_t>(randUnit(state) * span));
}

uint32_t randHash(uint32_t x) {
  scrambleStep(&x);
  return x;
}

void lcgStep(uint32_t* state) { *state = *state * 1664525u + 1013904223u; }

double fastUnit(uint32_t* state) {
  lcgStep(state);
  const uint32_t bits = 0x3F800000u | (*state & 0x007FFFFFu);
  float f;
  std::memcpy(&f, &bits, sizeof f);
  return static_cast<double>(f) - 1.0;
}

void randDisc(uint32_t* state, double radius, double* x, double* y) {
  // Rejection almost always ends within a few tries; the cap only guards against a state
  // word caught in a short cycle of rejected points, where the centre is a fair answer.
  double px = 0.0, py = 0.0;
  for (int tries = 0; tries < 256; ++tries) {
    const double cx = 2.0 * randUnit(state) - 1.0;
    const double cy = 2.0 * fastUnit(state) - 1.0;
    if (cx * cx + cy * cy < 1.0) {
      px = cx;
      py = cy;
      break;
    }
  }
  *x = px * radius;
  *y = py * radius;
}

void squareToDisc(double* u, double* v) {
  const double a = 2.0 * *u - 1.0;
  const double b = 2.0 * *v - 1.0;
  constexpr double quarter = std::numbers::pi / 4.0;
  double r, angle;
  if (a > -b) {
    if (a > b) {
      r = a;
      angle = quarter * (b / a);
    } else {
      r = b;
      angle = quarter * (2.0 - a / b);
    }
  } else if (a < b) {
    r = -a;
    angle = quarter * (4.0 + b / a);
  } else if (b != 0.0) {
    r = -b;
    angle = quarter * (6.0 - a / b);
  } else {
    r = 0.0;
    angle = 0.0;
  }
  *u = r * std::cos(angle);
  *v = r * std::sin(angle);
}
