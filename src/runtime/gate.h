#pragma once
// EngineGate: the hand-over lock between one worker thread and the threads that want it to
// hold still. Clients share the gate among themselves against the single worker; the worker
// polls at every unit of work and lets a waiting client in there.
#include <atomic>
#include <cstdint>

struct SimpleLock;

inline constexpr uint32_t kGateMagicAlive = 0x12345611u;
inline constexpr uint32_t kGateMagicDead = 1111u;

struct EngineGate {
  uint32_t magic;
  SimpleLock* workLock;
  SimpleLock* countLock;
  std::atomic<int32_t> waiters;
  std::atomic<int32_t> interrupt;  // written by clients unlocked, read and cleared by the worker
  std::atomic<int32_t> workerHolds;
  char tag[4];  // "AUfw" while alive; the number 222 after destruction
};

EngineGate* gateCreate();  // null if any piece cannot be allocated
void gateDestroy(EngineGate* gate);

void gateWorkerEnter(EngineGate* gate);
int32_t gateWorkerPoll(EngineGate* gate);  // returns the interrupt field
void gateWorkerLeave(EngineGate* gate);

void gateClientEnter(EngineGate* gate);
void gateClientLeave(EngineGate* gate);
void gateSetInterrupt(EngineGate* gate, int32_t value);
