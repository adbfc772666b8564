#pragma once
// Random numbers: a scrambling generator over two 65536-entry permutation tables, and a
// linear congruential generator for the inner loops. Every use keeps its own state word.
#include <cstdint>

inline constexpr uint32_t kSeedConstant = 0x7A31C4E5u;

// Allocated at load (forwardTable filled from the seed); inverseTable is filled by the
// common start. No scrambleStep draw is valid before that.
extern uint16_t* forwardTable;
extern uint16_t* inverseTable;

uint32_t randSeedFromSize(uint64_t moduleFileSize);  // 0x7A31C4E5 * (size | 1)
void randFillForwardTable(uint32_t seed);
void randBuildInverseTable();

void scrambleStep(uint32_t* state);
double randUnit(uint32_t* state);                        // strictly inside (0, 1)
int32_t randRange(uint32_t* state, int32_t lo, int32_t hi);  // lo..hi inclusive
uint32_t randHash(uint32_t x);
void lcgStep(uint32_t* state);
double fastUnit(uint32_t* state);                        // [0, 1)
void randDisc(uint32_t* state, double radius, double* x, double* y);
void squareToDisc(double* u, double* v);                 // in place
