#include "runtime/locks.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <new>
#include <thread>

#include "runtime/memory.h"

namespace {

// Never destroyed: threads may still take it while the process exits.
std::recursive_mutex& moduleMutex() {
  static std::recursive_mutex* mutex = new std::recursive_mutex;
  return *mutex;
}

}  // namespace

void moduleLockEnter() { moduleMutex().lock(); }
void moduleLockLeave() { moduleMutex().unlock(); }

// A ticket lock: a thread that leaves and at once enters again (the gate's worker at a poll)
// queues behind the threads already waiting instead of taking the lock straight back.
struct SimpleLock {
  std::mutex mutex;
  std::condition_variable turn;
  uint64_t nextTicket = 0;
  uint64_t serving = 0;
  std::thread::id owner;
  int depth = 0;
};

SimpleLock* simpleLockCreate() {
  void* block = memAlloc(sizeof(SimpleLock));
  if (!block) return nullptr;
  return new (block) SimpleLock;
}

void simpleLockDestroy(SimpleLock* lock) {
  if (!lock) return;
  lock->~SimpleLock();
  memFree(lock);
}

void simpleLockEnter(SimpleLock* lock) {
  if (!lock) return;
  const std::thread::id me = std::this_thread::get_id();
  std::unique_lock<std::mutex> hold(lock->mutex);
  if (lock->depth > 0 && lock->owner == me) {
    ++lock->depth;
    return;
  }
  const uint64_t ticket = lock->nextTicket++;
  lock->turn.wait(hold, [&] { return lock->serving == ticket; });
  lock->owner = me;
  lock->depth = 1;
}

void simpleLockLeave(SimpleLock* lock) {
  if (!lock) return;
  std::lock_guard<std::mutex> hold(lock->mutex);
  if (lock->depth == 0) return;
  if (--lock->depth > 0) return;
  lock->owner = std::thread::id();
  ++lock->serving;
  lock->turn.notify_all();
}
