#pragma once
// Waits for a condition that another thread makes true, checking every 10 ms: true as soon as
// it holds, false when it still does not after `milliseconds`.
#include <chrono>
#include <thread>

namespace testwait {

template <class F>
bool eventually(F condition, int milliseconds = 10000) {
  for (int waited = 0; waited < milliseconds; waited += 10) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return condition();
}

}  // namespace testwait
