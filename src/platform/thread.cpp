#include "platform/thread.h"

#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>

#include "runtime/module_load.h"

std::thread threadStart(std::function<void()> body) {
  return std::thread([body = std::move(body)] {
    runtimeThreadAttach();
    body();
  });
}

namespace {

// The process's nice value when first asked: priorities are relative to it, so a module
// loaded into a niced host stays below the host's own threads by the same steps.
int processNice() {
  static const int base = [] {
    errno = 0;
    const int value = getpriority(PRIO_PROCESS, static_cast<id_t>(getpid()));
    return errno ? 0 : value;
  }();
  return base;
}

}  // namespace

void threadSetPriority(ThreadPriority priority) {
  int step = 0;
  if (priority == ThreadPriority::BelowNormal) step = 1;
  if (priority == ThreadPriority::Lowest) step = 2;
  // On Linux a nice value set on a thread id applies to that thread alone.
  (void)setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), processNice() + step);
}

void threadYield() { sched_yield(); }

void threadSleep(uint32_t milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

uint32_t tickCount() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<uint32_t>(
      std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}
