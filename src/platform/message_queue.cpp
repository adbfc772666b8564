#include "platform/message_queue.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace {

struct Queue {
  std::mutex mutex;
  std::condition_variable arrived;
  std::deque<ThreadMessage> messages;
  bool released = false;
};

struct Registry {
  std::mutex mutex;
  std::unordered_map<ThreadQueueId, std::shared_ptr<Queue>> queues;
};

// Never destroyed: threads may end, and release their queues, while the process exits.
Registry& registry() {
  static Registry* r = new Registry;
  return *r;
}

std::atomic<ThreadQueueId> nextId{1};

// Ids are never reused, so a message meant for a thread that has ended cannot reach a new
// thread that happens to get the same system id.
struct ThreadQueue {
  ThreadQueueId id = 0;
  std::shared_ptr<Queue> queue;  // kept here too, so a get can wait without the registry
  ~ThreadQueue() {
    if (queue) messageQueueRelease();
  }
};
thread_local ThreadQueue self;

ThreadQueueId selfId() {
  if (!self.id) self.id = nextId.fetch_add(1);
  return self.id;
}

void create() {
  if (self.queue && !self.queue->released) return;
  auto queue = std::make_shared<Queue>();
  {
    std::lock_guard<std::mutex> hold(registry().mutex);
    registry().queues[selfId()] = queue;
  }
  self.queue = std::move(queue);
}

// The queue a get or peek reads: created on first use; once released it stays released.
Queue& ownQueue() {
  if (!self.queue) create();
  return *self.queue;
}

bool matches(const ThreadMessage& m, uint32_t first, uint32_t last) {
  if (first == 0 && last == 0) return true;
  return m.message >= first && m.message <= last;
}

// Takes the first matching message; the queue's mutex is held by the caller.
bool take(Queue& q, ThreadMessage* out, bool remove, uint32_t first, uint32_t last) {
  for (auto it = q.messages.begin(); it != q.messages.end(); ++it) {
    if (!matches(*it, first, last)) continue;
    if (out) *out = *it;
    if (remove) q.messages.erase(it);
    return true;
  }
  return false;
}

}  // namespace

ThreadQueueId messageQueueCurrent() {
  create();
  return selfId();
}

void messageQueueEnsure() { create(); }

void messageQueueRelease() {
  if (self.queue) messageQueueRelease(self.id);
}

void messageQueueRelease(ThreadQueueId thread) {
  std::shared_ptr<Queue> queue;
  {
    std::lock_guard<std::mutex> hold(registry().mutex);
    auto it = registry().queues.find(thread);
    if (it == registry().queues.end()) return;
    queue = std::move(it->second);
    registry().queues.erase(it);
  }
  {
    std::lock_guard<std::mutex> hold(queue->mutex);
    queue->released = true;
    queue->messages.clear();
  }
  queue->arrived.notify_all();
}

bool messagePost(ThreadQueueId thread, const ThreadMessage& msg) {
  std::shared_ptr<Queue> queue;
  {
    std::lock_guard<std::mutex> hold(registry().mutex);
    auto it = registry().queues.find(thread);
    if (it == registry().queues.end()) return false;
    queue = it->second;
  }
  {
    std::lock_guard<std::mutex> hold(queue->mutex);
    if (queue->released || queue->messages.size() >= kMessageQueueLimit) return false;
    queue->messages.push_back(msg);
  }
  queue->arrived.notify_all();
  return true;
}

bool messageGet(ThreadMessage* out, uint32_t first, uint32_t last) {
  Queue& q = ownQueue();
  std::unique_lock<std::mutex> hold(q.mutex);
  bool got = false;
  q.arrived.wait(hold, [&] { return q.released || (got = take(q, out, true, first, last)); });
  return got;
}

bool messagePeek(ThreadMessage* out, bool remove, uint32_t first, uint32_t last) {
  Queue& q = ownQueue();
  std::lock_guard<std::mutex> hold(q.mutex);
  if (q.released) return false;
  return take(q, out, remove, first, last);
}

bool threadCallPost(ThreadQueueId thread, void (*call)(void* data), void* data) {
  if (!call) return false;
  return messagePost(thread, {kThreadCallMessage, reinterpret_cast<uintptr_t>(call), reinterpret_cast<intptr_t>(data)});
}

int threadCallsRun() {
  int ran = 0;
  ThreadMessage message;
  while (messagePeek(&message, true, kThreadCallMessage, kThreadCallMessage)) {
    reinterpret_cast<void (*)(void*)>(message.wParam)(reinterpret_cast<void*>(message.lParam));
    ++ran;
  }
  return ran;
}
