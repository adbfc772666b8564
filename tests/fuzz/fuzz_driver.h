#pragma once
// A small stand-in for a coverage-guided fuzzer, for compilers without one: it mutates seed
// files deterministically and feeds each mutant to the target under the sanitizers.
#include <cstdint>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

// Seeds the target makes itself, besides the files named on the command line.
std::vector<std::vector<uint8_t>> fuzzBuiltInSeeds();
