#pragma once
// An open-addressed hash table over fixed-size byte keys and values, with linear probing
// and tombstones, sized from a fixed table of primes. Values of size 0 make it a set.
#include <cstdint>

struct BitVector {
  int32_t bitCount;
  int32_t wordCount;  // (bits - 1) / 32 + 1
  uint32_t* words;    // zeroed at creation
};

// 0 on a failed allocation.
int BitVector_Init(BitVector* vector, int32_t bits);
void BitVector_Free(BitVector* vector);
inline bool BitVector_Test(const BitVector* v, int32_t i) { return (v->words[i >> 5] >> (i & 31)) & 1u; }
inline void BitVector_Set(BitVector* v, int32_t i) { v->words[i >> 5] |= 1u << (i & 31); }
inline void BitVector_Clear(BitVector* v, int32_t i) { v->words[i >> 5] &= ~(1u << (i & 31)); }

struct ByteKeyTable {
  int32_t keySize;
  int32_t valueSize;
  int32_t deletedCount;
  int32_t liveCount;
  int32_t size;
  int32_t multiplier;
  int32_t sizeIndex;
  int32_t minSizeIndex;
  int32_t cursor;
  uint8_t* keys;
  uint8_t* values;
  BitVector deletedBits;
  BitVector occupiedBits;
};

inline constexpr int kByteKeyTableRows = 29;
extern const int32_t kByteKeyTablePrimes[kByteKeyTableRows];
extern const int32_t kByteKeyTableMultipliers[kByteKeyTableRows];

ByteKeyTable* ByteKeyTable_Create(int32_t expected, int32_t minimum, int32_t keySize, int32_t valueSize);
void ByteKeyTable_Destroy(ByteKeyTable* table);  // null is allowed
// 1 if the nth (from 1) entry with the key exists; its value is copied out (value may be null).
int ByteKeyTable_Find(ByteKeyTable* table, const void* key, int nth, void* value);
// Replaces the value of an existing key and returns 1; otherwise inserts and returns 0.
int ByteKeyTable_Put(ByteKeyTable* table, const void* key, const void* value);
// Inserts without looking, so a key may occur more than once.
void ByteKeyTable_Add(ByteKeyTable* table, const void* key, const void* value);
// 1 if this very key and value are present; otherwise inserts and returns 0.
int ByteKeyTable_AddPair(ByteKeyTable* table, const void* key, const void* value);
// 1 if an entry with the key was removed; its value is copied out (value may be null).
int ByteKeyTable_Remove(ByteKeyTable* table, const void* key, void* value);
// Iteration in slot order; Next returns 0 at the end. key and value may be null.
void ByteKeyTable_Rewind(ByteKeyTable* table);
int ByteKeyTable_Next(ByteKeyTable* table, void* key, void* value);
