#pragma once
// Threads, priorities and time, as the rest of the module needs them.
#include <cstdint>
#include <functional>
#include <thread>

enum class ThreadPriority { Normal, BelowNormal, Lowest };

// A thread of the module: attaches itself to the runtime's thread slots before running the
// body (and detaches when it ends), as every thread the module starts should.
std::thread threadStart(std::function<void()> body);

// The calling thread's scheduling priority, best effort (a nice value of +1 or +2 on its
// thread id); failure is silent, since it only changes how the machine shares its cores.
void threadSetPriority(ThreadPriority priority);

void threadYield();                 // give up the rest of the time slice
void threadSleep(uint32_t milliseconds);
uint32_t tickCount();               // milliseconds on a steady clock, wraps at 2^32
