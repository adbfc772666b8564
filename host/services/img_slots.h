#pragma once
// A list that only grows, whose entries are found by number without a lock: ids handed to a
// plug-in are these numbers (from 1), never addresses, so a stale or foreign id is refused
// rather than followed, and render threads look entries up while the main thread adds more.
#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

namespace host {

template <class T>
class SlotList {
 public:
  static constexpr size_t kChunk = 1024, kChunks = 1024;

  ~SlotList() {
    for (auto& c : chunks_) {
      Chunk* p = c.load();
      if (!p) continue;
      for (auto& s : *p) delete s.load();
      delete p;
    }
  }

  // Takes the entry over and returns its number (from 1), or 0 when the list is full.
  size_t add(std::unique_ptr<T> entry) {
    std::lock_guard lock(mutex_);
    const size_t i = count_.load(std::memory_order_relaxed);
    if (i >= kChunk * kChunks) return 0;
    auto& chunk = chunks_[i / kChunk];
    if (!chunk.load(std::memory_order_relaxed)) chunk.store(new Chunk{}, std::memory_order_release);
    (*chunk.load(std::memory_order_relaxed))[i % kChunk].store(entry.release(), std::memory_order_release);
    count_.store(i + 1, std::memory_order_release);
    return i + 1;
  }

  // The entry of a number, or null.
  T* get(size_t number) const {
    if (number == 0 || number > count_.load(std::memory_order_acquire)) return nullptr;
    const size_t i = number - 1;
    Chunk* c = chunks_[i / kChunk].load(std::memory_order_acquire);
    return c ? (*c)[i % kChunk].load(std::memory_order_acquire) : nullptr;
  }

  size_t size() const { return count_.load(std::memory_order_acquire); }

 private:
  using Chunk = std::array<std::atomic<T*>, kChunk>;
  std::mutex mutex_;
  std::array<std::atomic<Chunk*>, kChunks> chunks_{};
  std::atomic<size_t> count_{0};
};

}  // namespace host
