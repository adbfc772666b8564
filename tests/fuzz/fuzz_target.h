#pragma once
// The one entry every fuzz target defines. In the fuzzing build libFuzzer calls it; in every
// other build replay_main.cpp calls it once per file, so crash inputs kept as regressions are
// read again by the test suite under the sanitizers.
#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
