// The open-addressed table against a standard multimap over long random runs, through
// growth, tombstones, cleaning and shrinking.
#include <algorithm>
#include <cstdint>
#include <map>
#include <random>
#include <set>
#include <unordered_map>
#include <vector>

#include <gtest/gtest.h>

#include "capture/byte_key_table.h"

namespace {

using Pairs = std::multiset<std::pair<uint32_t, int32_t>>;

Pairs contents(ByteKeyTable* t) {
  Pairs out;
  uint32_t key;
  int32_t value;
  ByteKeyTable_Rewind(t);
  while (ByteKeyTable_Next(t, &key, &value)) out.insert({key, value});
  return out;
}

using Model = std::unordered_multimap<uint32_t, int32_t>;

Pairs pairsOf(const Model& model) { return Pairs(model.begin(), model.end()); }

Model::iterator findPair(Model& model, uint32_t key, int32_t value) {
  auto [from, to] = model.equal_range(key);
  for (auto it = from; it != to; ++it)
    if (it->second == value) return it;
  return model.end();
}

TEST(ByteKeyTable, CreatePicksRowsFromExpectedAndMinimum) {
  struct Case {
    int expected, minimum, row, minRow;
  };
  // wanted = (m + m/20 + 1) x 2 against the primes; the smallest row from 2 x minimum.
  for (const Case c : {Case{0, 0, 0, 0}, Case{100, 10, 6, 3}, Case{10, 100, 6, 6}, Case{1, 2, 1, 0},
                       Case{2, 3, 1, 1}}) {
    ByteKeyTable* t = ByteKeyTable_Create(c.expected, c.minimum, 4, 4);
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(t->sizeIndex, c.row) << c.expected << "/" << c.minimum;
    EXPECT_EQ(t->minSizeIndex, c.minRow) << c.expected << "/" << c.minimum;
    EXPECT_EQ(t->size, kByteKeyTablePrimes[c.row]);
    EXPECT_EQ(t->multiplier, kByteKeyTableMultipliers[c.row]);
    EXPECT_EQ(t->occupiedBits.wordCount, (t->size - 1) / 32 + 1);
    ByteKeyTable_Destroy(t);
  }
  ByteKeyTable_Destroy(nullptr);
}

TEST(ByteKeyTable, RandomOperationsAgreeWithAMultimapThroughGrowthAndShrinking) {
  std::mt19937 rng(20240611);
  ByteKeyTable* t = ByteKeyTable_Create(4, 4, 4, 4);
  ASSERT_NE(t, nullptr);
  const int floor = t->minSizeIndex;
  Model model;
  int highestRow = t->sizeIndex;

  auto step = [&](int addWeight, uint32_t keySpace) {
    const uint32_t key = rng() % keySpace;
    const int32_t value = int32_t(rng() % 4);
    const int op = int(rng() % (addWeight + 4));
    const int before = t->sizeIndex;
    if (op >= 4) {
      ByteKeyTable_Add(t, &key, &value);
      model.insert({key, value});
    } else if (op == 0) {
      const bool present = findPair(model, key, value) != model.end();
      EXPECT_EQ(ByteKeyTable_AddPair(t, &key, &value), present ? 1 : 0);
      if (!present) model.insert({key, value});
    } else if (op == 1) {
      int32_t first = -1;
      const bool present = ByteKeyTable_Find(t, &key, 1, &first) == 1;
      ASSERT_EQ(present, model.count(key) > 0);
      EXPECT_EQ(ByteKeyTable_Put(t, &key, &value), present ? 1 : 0);
      // Put replaces the entry that Find sees first.
      if (present) model.erase(findPair(model, key, first));
      model.insert({key, value});
    } else if (op == 2) {
      int32_t removed = -1;
      const bool present = model.count(key) > 0;
      ASSERT_EQ(ByteKeyTable_Remove(t, &key, &removed), present ? 1 : 0);
      if (present) {
        auto it = findPair(model, key, removed);
        ASSERT_NE(it, model.end()) << "removed a value the key never had";
        model.erase(it);
      }
      EXPECT_GE(t->sizeIndex, before - 1) << "shrinks one row at a time";
    } else {
      // The nth entry exists exactly for n up to the key's count.
      const int n = int(model.count(key));
      int32_t v;
      if (n > 0) {
        EXPECT_EQ(ByteKeyTable_Find(t, &key, n, &v), 1);
        EXPECT_NE(findPair(model, key, v), model.end());
      }
      EXPECT_EQ(ByteKeyTable_Find(t, &key, n + 1, &v), 0);
    }
    EXPECT_GE(t->sizeIndex, floor);
    // A free slot always remains, so every probe ends.
    EXPECT_LT(t->liveCount + t->deletedCount, t->size);
    highestRow = std::max(highestRow, t->sizeIndex);
  };

  for (int i = 0; i < 20000; ++i) step(12, 5000);  // mostly inserts: grows
  ASSERT_EQ(size_t(t->liveCount), model.size());
  EXPECT_EQ(contents(t), pairsOf(model));
  EXPECT_GE(highestRow, 12);
  for (int i = 0; i < 20000; ++i) step(4, 300);  // churn on few keys: tombstones
  EXPECT_EQ(contents(t), pairsOf(model));

  // Drain everything; the table shrinks back down row by row. Below 50 slots 2% of the
  // size is less than one entry, so shrinking ends at row 3 even when the floor is lower.
  std::vector<std::pair<uint32_t, int32_t>> all(model.begin(), model.end());
  std::shuffle(all.begin(), all.end(), rng);
  for (const auto& [key, value] : all) {
    const int before = t->sizeIndex;
    ASSERT_EQ(ByteKeyTable_Remove(t, &key, nullptr), 1);
    EXPECT_GE(t->sizeIndex, before - 1);
  }
  model.clear();
  EXPECT_EQ(t->liveCount, 0);
  EXPECT_EQ(t->sizeIndex, std::max(floor, 3));
  EXPECT_TRUE(contents(t).empty());
  // Still usable afterwards.
  for (int i = 0; i < 200; ++i) step(8, 50);
  EXPECT_EQ(contents(t), pairsOf(model));
  ByteKeyTable_Destroy(t);
}

TEST(ByteKeyTable, InsertsAndRemovesOfFreshKeysCleanAtTheSameRow) {
  ByteKeyTable* t = ByteKeyTable_Create(50, 50, 4, 0);  // a set
  const int row = t->sizeIndex;
  // A few entries stay, so removals leave tombstones behind them.
  for (uint32_t k = 0; k < 20; ++k) ByteKeyTable_Add(t, &k, nullptr);
  int cleanings = 0;
  for (uint32_t k = 1000; k < 60000; ++k) {
    const uint8_t* keys = t->keys;
    ByteKeyTable_Add(t, &k, nullptr);
    if (t->keys != keys) ++cleanings;  // a rehash allocates fresh arrays
    ASSERT_EQ(ByteKeyTable_Remove(t, &k, nullptr), 1);
    ASSERT_EQ(t->sizeIndex, row);
    ASSERT_EQ(t->liveCount, 20);
  }
  EXPECT_GT(cleanings, 0);
  for (uint32_t k = 0; k < 20; ++k) EXPECT_EQ(ByteKeyTable_Find(t, &k, 1, nullptr), 1) << k;
  const uint32_t gone = 1234;
  EXPECT_EQ(ByteKeyTable_Find(t, &gone, 1, nullptr), 0);
  // A set's AddPair is an insert-if-absent.
  const uint32_t k = 7, fresh = 99999;
  EXPECT_EQ(ByteKeyTable_AddPair(t, &k, nullptr), 1);
  EXPECT_EQ(ByteKeyTable_AddPair(t, &fresh, nullptr), 0);
  EXPECT_EQ(t->liveCount, 21);
  ByteKeyTable_Destroy(t);
}

}  // namespace
