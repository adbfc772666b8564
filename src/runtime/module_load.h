#pragma once
// What happens when the module is loaded and unloaded, and when threads come and go.
// The module's own entry file calls runtimeLoad from its load constructor and runtimeUnload
// from its unload destructor. Tests that link the runtime statically call them directly.
#include <cstdint>

// Process attach. Returns 1 on success, 0 if the tables cannot be allocated.
// The seed comes from the size of the file the runtime was loaded from (found through
// dladdr); where there is no such file, as in a static test program, a fixed size is used.
int runtimeLoad();
void runtimeUnload();

// The size used for the seed at the last load, and whether it came from a module file.
uint64_t runtimeSeedSize();
bool runtimeSeedFromModuleFile();

// Thread slots: 33 words, 0 free, 1 taken. A thread takes the first free slot on its first
// attach; with none free it gets 32 without marking. Detach clears slot (number % 33).
//
// Linux tells a shared object nothing when threads start or end, so attaching is explicit:
// runtimeLoad attaches the loading thread, and every thread the module starts calls
// runtimeThreadAttach first thing (threadStart in platform/thread.h does it). A thread-local
// guard detaches the thread when it ends, so no thread has to remember to. Threads of the
// host that merely call into the module are never attached and read slot -1; nothing
// depends on the number. Each load starts a new generation: slots taken under an earlier
// load count as free, as they would with a freshly allocated thread-local index.
inline constexpr int kThreadSlots = 33;
void runtimeThreadAttach();  // no-op for a thread already attached under this load
void runtimeThreadDetach();  // no-op for a thread not attached under this load
int runtimeThreadSlot();           // this thread's slot number, or -1 before attach
uint32_t runtimeThreadSlotWord(int slot);  // for tests
