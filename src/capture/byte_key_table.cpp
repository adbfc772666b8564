#include "capture/byte_key_table.h"

#include <cstring>

#include "runtime/memory.h"

const int32_t kByteKeyTablePrimes[kByteKeyTableRows] = {
    5,        11,       17,       37,        67,        131,       257,      521,
    1031,     2053,     4099,     8209,      16411,     32771,     65537,    131101,
    262147,   524309,   1048583,  2097169,   4194319,   8388617,   16777259, 33554467,
    67108879, 134217757, 268435459, 536870923, 1073741827};

const int32_t kByteKeyTableMultipliers[kByteKeyTableRows] = {
    3,        7,        11,       23,        41,        81,        159,      322,
    637,      1269,     2533,     5073,      10143,     20254,     40504,    81025,
    162016,   324041,   648060,   1296122,   2592232,   5184450,   10368916, 20737801,
    41475568, 82951136, 165902238, 331804478, 663608945};

int BitVector_Init(BitVector* vector, int32_t bits) {
  vector->bitCount = bits;
  vector->wordCount = ((bits - 1) >> 5) + 1;
  vector->words = static_cast<uint32_t*>(memAllocZero(size_t(vector->wordCount > 0 ? vector->wordCount : 0) * 4));
  return vector->words != nullptr;
}

void BitVector_Free(BitVector* vector) {
  memFree(vector->words);
  vector->words = nullptr;
}

namespace {

int rowAtLeast(int64_t wanted) {
  for (int row = 0; row < kByteKeyTableRows; ++row)
    if (kByteKeyTablePrimes[row] >= wanted) return row;
  return kByteKeyTableRows - 1;
}

uint8_t* keyAt(const ByteKeyTable* t, int32_t slot) { return t->keys + size_t(slot) * size_t(t->keySize); }
uint8_t* valueAt(const ByteKeyTable* t, int32_t slot) { return t->values + size_t(slot) * size_t(t->valueSize); }
bool occupied(const ByteKeyTable* t, int32_t slot) { return BitVector_Test(&t->occupiedBits, slot); }
bool deleted(const ByteKeyTable* t, int32_t slot) { return BitVector_Test(&t->deletedBits, slot); }
bool live(const ByteKeyTable* t, int32_t slot) { return occupied(t, slot) && !deleted(t, slot); }

uint32_t hashOf(const ByteKeyTable* t, const void* key) {
  const auto* bytes = static_cast<const uint8_t*>(key);
  const auto multiplier = uint32_t(t->multiplier);
  const auto size = uint32_t(t->size);
  uint32_t h = 0;
  for (int32_t i = 0; i < t->keySize; ++i) h = ((bytes[i] + h) * multiplier) % size;
  return h;
}

// The arrays and the row of a table, without the counts.
bool allocateRow(ByteKeyTable* t, int row) {
  t->sizeIndex = row;
  t->size = kByteKeyTablePrimes[row];
  t->multiplier = kByteKeyTableMultipliers[row];
  t->keys = static_cast<uint8_t*>(memAlloc(size_t(t->size) * size_t(t->keySize)));
  t->values = static_cast<uint8_t*>(memAlloc(size_t(t->size) * size_t(t->valueSize)));
  const bool deletedOk = BitVector_Init(&t->deletedBits, t->size);
  const bool occupiedOk = BitVector_Init(&t->occupiedBits, t->size);
  if (t->keys && t->values && deletedOk && occupiedOk) return true;
  memFree(t->keys);
  memFree(t->values);
  BitVector_Free(&t->deletedBits);
  BitVector_Free(&t->occupiedBits);
  t->keys = t->values = nullptr;
  return false;
}

void freeArrays(ByteKeyTable* t) {
  memFree(t->keys);
  memFree(t->values);
  BitVector_Free(&t->deletedBits);
  BitVector_Free(&t->occupiedBits);
}

// The slot that an insert takes: the first free or deleted one along the probe.
int32_t placeEntry(ByteKeyTable* t, const void* key, const void* value) {
  int32_t slot = int32_t(hashOf(t, key));
  while (occupied(t, slot) && !deleted(t, slot)) slot = slot + 1 == t->size ? 0 : slot + 1;
  if (deleted(t, slot)) {
    BitVector_Clear(&t->deletedBits, slot);
    --t->deletedCount;
  }
  if (t->valueSize) std::memcpy(valueAt(t, slot), value, size_t(t->valueSize));
  std::memcpy(keyAt(t, slot), key, size_t(t->keySize));
  BitVector_Set(&t->occupiedBits, slot);
  ++t->liveCount;
  return slot;
}

// Moves every live entry into fresh arrays of the given row. A failed allocation leaves
// the table as it was: still correct, only fuller or larger than it would like.
void rehash(ByteKeyTable* t, int row) {
  if (row > kByteKeyTableRows - 1) row = kByteKeyTableRows - 1;
  if (row < t->minSizeIndex) row = t->minSizeIndex;
  ByteKeyTable fresh = *t;
  fresh.deletedCount = 0;
  fresh.liveCount = 0;
  fresh.cursor = 0;
  if (!allocateRow(&fresh, row)) return;
  for (int32_t slot = 0; slot < t->size; ++slot)
    if (live(t, slot)) placeEntry(&fresh, keyAt(t, slot), valueAt(t, slot));
  freeArrays(t);
  *t = fresh;
}

void insert(ByteKeyTable* t, const void* key, const void* value) {
  placeEntry(t, key, value);
  if (t->liveCount + t->deletedCount >= int32_t(0.9 * t->size)) {
    // A table that is merely full of tombstones is cleaned at the same size.
    rehash(t, t->liveCount >= int32_t(0.65 * t->size) ? t->sizeIndex + 1 : t->sizeIndex);
  }
}

// Walks the probe of a key: calls match(slot) on each live slot holding the key until it
// returns true. Returns that slot, or -1.
template <class Match>
int32_t probe(const ByteKeyTable* t, const void* key, Match match) {
  int32_t slot = int32_t(hashOf(t, key));
  for (int32_t steps = 0; steps < t->size && occupied(t, slot); ++steps) {
    if (!deleted(t, slot) && std::memcmp(keyAt(t, slot), key, size_t(t->keySize)) == 0 && match(slot))
      return slot;
    slot = slot + 1 == t->size ? 0 : slot + 1;
  }
  return -1;
}

}  // namespace

ByteKeyTable* ByteKeyTable_Create(int32_t expected, int32_t minimum, int32_t keySize, int32_t valueSize) {
  if (keySize < 0 || valueSize < 0) return nullptr;
  auto* t = static_cast<ByteKeyTable*>(memAllocZero(sizeof(ByteKeyTable)));
  if (!t) return nullptr;
  const int64_t m = expected > minimum ? expected : minimum;
  const int64_t wanted = (m + m / 20 + 1) * 2;
  int row = rowAtLeast(wanted);
  t->minSizeIndex = rowAtLeast(int64_t(minimum) * 2);
  if (row < t->minSizeIndex) row = t->minSizeIndex;
  t->keySize = keySize;
  t->valueSize = valueSize;
  if (!allocateRow(t, row)) {
    memFree(t);
    return nullptr;
  }
  return t;
}

void ByteKeyTable_Destroy(ByteKeyTable* table) {
  if (!table) return;
  freeArrays(table);
  memFree(table);
}

int ByteKeyTable_Find(ByteKeyTable* table, const void* key, int nth, void* value) {
  int seen = 0;
  const int32_t slot = probe(table, key, [&](int32_t) { return ++seen >= nth; });
  if (slot < 0) return 0;
  if (value && table->valueSize) std::memcpy(value, valueAt(table, slot), size_t(table->valueSize));
  return 1;
}

int ByteKeyTable_Put(ByteKeyTable* table, const void* key, const void* value) {
  const int32_t slot = probe(table, key, [](int32_t) { return true; });
  if (slot >= 0) {
    if (table->valueSize) std::memcpy(valueAt(table, slot), value, size_t(table->valueSize));
    return 1;
  }
  insert(table, key, value);
  return 0;
}

void ByteKeyTable_Add(ByteKeyTable* table, const void* key, const void* value) { insert(table, key, value); }

int ByteKeyTable_AddPair(ByteKeyTable* table, const void* key, const void* value) {
  const int32_t slot = probe(table, key, [&](int32_t s) {
    return table->valueSize == 0 || std::memcmp(valueAt(table, s), value, size_t(table->valueSize)) == 0;
  });
  if (slot >= 0) return 1;
  insert(table, key, value);
  return 0;
}

int ByteKeyTable_Remove(ByteKeyTable* table, const void* key, void* value) {
  int32_t slot = probe(table, key, [](int32_t) { return true; });
  if (slot < 0) return 0;
  if (value && table->valueSize) std::memcpy(value, valueAt(table, slot), size_t(table->valueSize));
  const int32_t size = table->size;
  const int32_t after = slot + 1 == size ? 0 : slot + 1;
  if (!occupied(table, after)) {
    // Nothing probes past this slot, so it and the tombstones right before it can be freed.
    do {
      BitVector_Clear(&table->occupiedBits, slot);
      BitVector_Clear(&table->deletedBits, slot);
      --table->deletedCount;
      slot = slot == 0 ? size - 1 : slot - 1;
    } while (deleted(table, slot));
  } else {
    BitVector_Set(&table->deletedBits, slot);
  }
  ++table->deletedCount;
  --table->liveCount;
  if (table->sizeIndex > table->minSizeIndex && table->liveCount < int32_t(0.02 * table->size))
    rehash(table, table->sizeIndex - 1);
  return 1;
}

void ByteKeyTable_Rewind(ByteKeyTable* table) { table->cursor = 0; }

int ByteKeyTable_Next(ByteKeyTable* table, void* key, void* value) {
  while (table->cursor < table->size) {
    const int32_t slot = table->cursor++;
    if (!live(table, slot)) continue;
    if (key) std::memcpy(key, keyAt(table, slot), size_t(table->keySize));
    if (value && table->valueSize) std::memcpy(value, valueAt(table, slot), size_t(table->valueSize));
    return 1;
  }
  return 0;
}
