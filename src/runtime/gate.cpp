#include "runtime/gate.h"

#include <sched.h>

#include <cstring>
#include <new>

#include "runtime/locks.h"
#include "runtime/memory.h"

EngineGate* gateCreate() {
  void* block = memAlloc(sizeof(EngineGate));
  SimpleLock* workLock = simpleLockCreate();
  SimpleLock* countLock = simpleLockCreate();
  if (!block || !workLock || !countLock) {
    memFree(block);
    simpleLockDestroy(workLock);
    simpleLockDestroy(countLock);
    return nullptr;
  }
  EngineGate* gate = new (block) EngineGate{};
  gate->magic = kGateMagicAlive;
  gate->workLock = workLock;
  gate->countLock = countLock;
  std::memcpy(gate->tag, "AUfw", 4);
  return gate;
}

void gateDestroy(EngineGate* gate) {
  if (!gate) return;
  simpleLockDestroy(gate->workLock);
  simpleLockDestroy(gate->countLock);
  gate->workLock = nullptr;
  gate->countLock = nullptr;
  // Marked dead before it goes, so a stale pointer shows up in a debugger for what it is.
  gate->magic = kGateMagicDead;
  const uint32_t dead = 222;
  std::memcpy(gate->tag, &dead, 4);
  gate->~EngineGate();
  memFree(gate);
}

void gateWorkerEnter(EngineGate* gate) {
  simpleLockEnter(gate->workLock);
  gate->workerHolds.store(1);
}

int32_t gateWorkerPoll(EngineGate* gate) {
  if (gate->waiters.load() < 1) return gate->interrupt.load();
  // The work lock is fair, so the waiting client gets it before we queue up again.
  simpleLockLeave(gate->workLock);
  sched_yield();
  simpleLockEnter(gate->workLock);
  return gate->interrupt.load();
}

void gateWorkerLeave(EngineGate* gate) {
  gate->workerHolds.store(0);
  simpleLockLeave(gate->workLock);
}

void gateClientEnter(EngineGate* gate) {
  simpleLockEnter(gate->countLock);
  if (gate->waiters.fetch_add(1) + 1 == 1) simpleLockEnter(gate->workLock);
  simpleLockLeave(gate->countLock);
}

void gateClientLeave(EngineGate* gate) {
  simpleLockEnter(gate->countLock);
  if (gate->waiters.fetch_sub(1) - 1 < 1) {
    gate->waiters.store(0);
    simpleLockLeave(gate->workLock);
  }
  simpleLockLeave(gate->countLock);
}

void gateSetInterrupt(EngineGate* gate, int32_t value) { gate->interrupt.store(value); }
