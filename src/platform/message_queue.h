#pragma once
// Per-thread message queues with post, get and peek, in the way a thread's message queue
// works: a thread's queue exists from its first messageQueueEnsure (or first get or peek);
// posting to a thread without a queue, or to a full one, fails and the poster decides what
// to do (wait and post again, typically).
//
// A released queue is gone: posts to it fail, and gets and peeks on it (a get already
// waiting included) return false until the thread asks for a new one with
// messageQueueEnsure or messageQueueCurrent. A thread's queue is released when it ends.
#include <cstddef>
#include <cstdint>

struct ThreadMessage {
  uint32_t message;
  uintptr_t wParam;
  intptr_t lParam;
};

using ThreadQueueId = uint64_t;  // 0 is no thread

inline constexpr size_t kMessageQueueLimit = 10000;

ThreadQueueId messageQueueCurrent();  // this thread's id, creating its queue
void messageQueueEnsure();
void messageQueueRelease();  // drop this thread's queue (at thread end); waiting gets fail
// Drop another thread's queue: its waiting get wakes with false, the way to stop a worker
// that sits in messageGet.
void messageQueueRelease(ThreadQueueId thread);
bool messagePost(ThreadQueueId thread, const ThreadMessage& msg);  // false: no queue, or full

// A filter of [first, last] takes only messages in that range, leaving the others queued
// in order; first = last = 0 takes any message.
bool messageGet(ThreadMessage* out, uint32_t first = 0, uint32_t last = 0);  // waits
bool messagePeek(ThreadMessage* out, bool remove, uint32_t first = 0, uint32_t last = 0);

// A call to run on another thread: posted as a message that the thread's pump recognises
// (a modal panel's pump on the host's thread, for one). The message's wParam is the
// function and its lParam the data.
inline constexpr uint32_t kThreadCallMessage = 0x7FF0;
bool threadCallPost(ThreadQueueId thread, void (*call)(void* data), void* data);
// Runs every call waiting in this thread's queue, in order; other messages stay queued.
// Gives how many ran.
int threadCallsRun();
