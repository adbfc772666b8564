#include "platform/event.h"

#include <chrono>

void ManualResetEvent::set() {
  {
    std::lock_guard<std::mutex> hold(mutex_);
    set_ = true;
  }
  cv_.notify_all();
}

void ManualResetEvent::reset() {
  std::lock_guard<std::mutex> hold(mutex_);
  set_ = false;
}

bool ManualResetEvent::isSet() {
  std::lock_guard<std::mutex> hold(mutex_);
  return set_;
}

void ManualResetEvent::wait() {
  std::unique_lock<std::mutex> hold(mutex_);
  cv_.wait(hold, [this] { return set_; });
}

bool ManualResetEvent::waitFor(uint32_t milliseconds) {
  std::unique_lock<std::mutex> hold(mutex_);
  return cv_.wait_for(hold, std::chrono::milliseconds(milliseconds), [this] { return set_; });
}
