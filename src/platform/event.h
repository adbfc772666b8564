#pragma once
// A manual-reset event: stays set until reset, and wakes every waiter.
#include <condition_variable>
#include <cstdint>
#include <mutex>

class ManualResetEvent {
 public:
  explicit ManualResetEvent(bool initiallySet = false) : set_(initiallySet) {}
  void set();
  void reset();
  bool isSet();
  void wait();
  bool waitFor(uint32_t milliseconds);  // true if set before the time ran out

 private:
  std::mutex mutex_;
  std::condition_variable cv_;
  bool set_;
};
