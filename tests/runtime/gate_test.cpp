#include "runtime/gate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <future>
#include <thread>
#include <vector>

#include "runtime/locks.h"
#include "runtime/memory.h"

namespace {

using namespace std::chrono_literals;

void waitFor(const std::atomic<bool>& flag) {
  while (!flag.load()) std::this_thread::yield();
}

// Runs body on another thread; stops the program instead of hanging when it blocks.
void finishesSoon(std::function<void()> body) {
  auto done = std::async(std::launch::async, std::move(body));
  if (done.wait_for(10s) != std::future_status::ready) {
    std::fprintf(stderr, "blocked: a lock or gate call did not return\n");
    std::abort();
  }
}

// Re-entrant: held until the last of two enters is matched.
TEST(SimpleLock, Reentrant) {
  SimpleLock* lock = simpleLockCreate();
  simpleLockEnter(lock);
  simpleLockEnter(lock);
  std::atomic<bool> taken{false};
  std::thread other([&] {
    simpleLockEnter(lock);
    taken = true;
    simpleLockLeave(lock);
  });
  simpleLockLeave(lock);
  std::this_thread::sleep_for(20ms);
  EXPECT_FALSE(taken.load());
  simpleLockLeave(lock);
  other.join();
  simpleLockEnter(nullptr);
  simpleLockLeave(nullptr);
  simpleLockDestroy(lock);
}

// A client asks while the worker is inside a unit of work: it gets in at the worker's next
// poll, not before; the poll returns only after the client leaves, with the interrupt set.
TEST(EngineGate, ClientGetsInAtNextPoll) {
  EngineGate* gate = gateCreate();
  std::atomic<bool> working{false}, entered{false}, polling{false}, left{false};
  std::thread worker([&] {
    gateWorkerEnter(gate);
    working = true;
    while (gate->waiters.load() < 1) std::this_thread::yield();  // the client is asking
    std::this_thread::sleep_for(20ms);  // the rest of the unit: time for a wrong entry
    EXPECT_FALSE(entered.load());
    polling = true;
    EXPECT_EQ(gateWorkerPoll(gate), 1);
    EXPECT_TRUE(left.load());
    gateSetInterrupt(gate, 0);
    gateWorkerLeave(gate);
  });
  waitFor(working);
  gateSetInterrupt(gate, 1);
  gateClientEnter(gate);
  entered = true;
  EXPECT_TRUE(polling.load());
  EXPECT_EQ(gate->workerHolds.load(), 1);
  std::this_thread::sleep_for(20ms);
  left = true;
  gateClientLeave(gate);
  worker.join();
  EXPECT_EQ(gate->interrupt.load(), 0);
  EXPECT_EQ(gate->workerHolds.load(), 0);
  gateDestroy(gate);
}

// Clients share the gate: a second one gets in at once, and the worker stays held until
// the last of them leaves, whichever thread that is.
TEST(EngineGate, OverlappingClientsHoldTheWorkerUntilTheLastLeaves) {
  EngineGate* gate = gateCreate();
  std::atomic<bool> working{false}, stop{false}, lastLeft{false};
  std::atomic<int> pollsDuringHold{0};
  std::atomic<bool> holding{false};
  std::thread worker([&] {
    gateWorkerEnter(gate);
    working = true;
    while (!stop) {
      gateWorkerPoll(gate);
      if (holding && !lastLeft) ++pollsDuringHold;
    }
    gateWorkerLeave(gate);
  });
  waitFor(working);
  gateClientEnter(gate);
  holding = true;
  std::thread second([&] {
    finishesSoon([&] { gateClientEnter(gate); });
    EXPECT_EQ(gate->waiters.load(), 2);
  });
  second.join();
  gateClientLeave(gate);
  std::this_thread::sleep_for(30ms);
  EXPECT_EQ(gate->waiters.load(), 1);
  std::thread third([&] {
    lastLeft = true;
    gateClientLeave(gate);
  });
  third.join();
  stop = true;
  worker.join();
  EXPECT_EQ(pollsDuringHold.load(), 0);
  EXPECT_EQ(gate->waiters.load(), 0);
  gateDestroy(gate);
}

TEST(EngineGate, LifecyclePollWithoutWaitersAndStrayLeave) {
  const int64_t blocks = memLiveBlocks();
  EngineGate* gate = gateCreate();
  ASSERT_NE(gate, nullptr);
  EXPECT_EQ(gate->magic, kGateMagicAlive);
  EXPECT_EQ(std::memcmp(gate->tag, "AUfw", 4), 0);
  gateClientLeave(gate);  // no matching enter
  EXPECT_EQ(gate->waiters.load(), 0);
  finishesSoon([&] {
    gateWorkerEnter(gate);
    EXPECT_EQ(gateWorkerPoll(gate), 0);
    gateSetInterrupt(gate, 1);
    EXPECT_EQ(gateWorkerPoll(gate), 1);
    gateWorkerLeave(gate);
    gateClientEnter(gate);
    gateClientLeave(gate);
  });
  gateDestroy(gate);
  EXPECT_EQ(memLiveBlocks(), blocks);
}

// Many clients against one worker: never inside together (TSan sees the plain counter).
TEST(EngineGate, ExcludesWorkerFromClients) {
  EngineGate* gate = gateCreate();
  long shared = 0;
  std::atomic<bool> workerInUnit{false}, stop{false};
  std::thread worker([&] {
    gateWorkerEnter(gate);
    while (!stop) {
      workerInUnit = true;
      for (int i = 0; i < 100; ++i) ++shared;
      workerInUnit = false;
      if (gateWorkerPoll(gate)) gateSetInterrupt(gate, 0);
    }
    gateWorkerLeave(gate);
  });
  std::vector<std::thread> clients;
  for (int c = 0; c < 3; ++c)
    clients.emplace_back([&] {
      for (int i = 0; i < 300; ++i) {
        gateSetInterrupt(gate, 1);
        gateClientEnter(gate);
        EXPECT_FALSE(workerInUnit.load());
        volatile long seen = shared;  // clients only read: they share the gate
        (void)seen;
        gateClientLeave(gate);
      }
    });
  for (auto& t : clients) t.join();
  stop = true;
  worker.join();
  EXPECT_EQ(gate->waiters.load(), 0);
  gateDestroy(gate);
}

}  // namespace
