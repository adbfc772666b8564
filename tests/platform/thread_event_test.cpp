#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <thread>
#include <vector>

#include "platform/event.h"
#include "platform/thread.h"
#include "runtime/module_load.h"

namespace {

TEST(ManualResetEvent, WakesEveryWaiterAndStaysSet) {
  ManualResetEvent event;
  EXPECT_FALSE(event.waitFor(1));
  std::atomic<int> woken{0};
  std::vector<std::thread> waiters;
  for (int i = 0; i < 4; ++i)
    waiters.emplace_back([&] {
      event.wait();
      ++woken;
    });
  event.set();
  for (auto& t : waiters) t.join();
  EXPECT_EQ(woken.load(), 4);
  EXPECT_TRUE(event.isSet());
  EXPECT_TRUE(event.waitFor(0));
  event.reset();
  EXPECT_FALSE(event.waitFor(5));
  EXPECT_TRUE(ManualResetEvent(true).waitFor(0));
}

TEST(Threads, StartAttachesPriorityStepsAndTicks) {
  int slot = -1;
  threadStart([&] { slot = runtimeThreadSlot(); }).join();
  ASSERT_GE(slot, 0);
  EXPECT_EQ(runtimeThreadSlotWord(slot), 0u);  // detached again when it ended

  const int base = getpriority(PRIO_PROCESS, getpid());
  int below = 0, lowest = 0;
  std::thread([&] {
    threadSetPriority(ThreadPriority::BelowNormal);
    below = getpriority(PRIO_PROCESS, gettid());
    threadSetPriority(ThreadPriority::Lowest);
    lowest = getpriority(PRIO_PROCESS, gettid());
    threadSetPriority(ThreadPriority::Normal);  // may be refused; must not fail loudly
  }).join();
  EXPECT_EQ(below, std::min(base + 1, 19));
  EXPECT_EQ(lowest, std::min(base + 2, 19));
  EXPECT_EQ(getpriority(PRIO_PROCESS, getpid()), base);  // the process is untouched

  const uint32_t before = tickCount();
  threadSleep(20);
  threadYield();
  EXPECT_GE(tickCount() - before, 19u);
}

}  // namespace
