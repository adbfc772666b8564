#pragma once
// moduleLock and the simple locks. Both are re-entrant, like the critical sections they
// stand for: moduleLock can be entered again from a host texture that casts a ray.
//
// A simple lock is also fair (first come, first served) and may be left by a thread other
// than the one that entered it: the gate's clients share its work lock, and the last client
// out releases it whoever took it. A leave of a lock that nobody holds does nothing.

struct SimpleLock;

void moduleLockEnter();
void moduleLockLeave();

SimpleLock* simpleLockCreate();        // null when out of memory
void simpleLockDestroy(SimpleLock* lock);
void simpleLockEnter(SimpleLock* lock);  // null is a no-op
void simpleLockLeave(SimpleLock* lock);  // null is a no-op

// RAII guard for scopes that must leave the lock on every path.
class ModuleLockGuard {
 public:
  ModuleLockGuard() { moduleLockEnter(); }
  ~ModuleLockGuard() { moduleLockLeave(); }
  ModuleLockGuard(const ModuleLockGuard&) = delete;
  ModuleLockGuard& operator=(const ModuleLockGuard&) = delete;
};
