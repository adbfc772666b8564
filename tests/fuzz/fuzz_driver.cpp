// Usage: <target> [--seconds N] [--iterations N] [--seed N] [--ext .lwo] [--crash-file F]
//                 [file or folder ...]
// Runs until either limit is reached (defaults: 20 seconds, 1000000 inputs) and prints how many
// inputs it tried. The same seed and seed files give the same inputs. With --crash-file F the
// input being tried is always in F (slower), so a run that dies leaves it there; replay it by
// passing F alone with --iterations 0.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

#include "fuzz_driver.h"

namespace {

// With --crash-file, each input is written there before it is tried, so that when a sanitizer
// ends the run the file holds the input that did it.
std::string crashFile;

void run(const std::vector<uint8_t>& input) {
  if (!crashFile.empty()) {
    if (FILE* f = std::fopen(crashFile.c_str(), "wb")) {
      std::fwrite(input.data(), 1, input.size(), f);
      std::fclose(f);
    }
  }
  LLVMFuzzerTestOneInput(input.data(), input.size());
}

namespace fs = std::filesystem;

std::vector<uint8_t> readFile(const fs::path& p) {
  std::ifstream in(p, std::ios::binary);
  return std::vector<uint8_t>((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

void addSeeds(const fs::path& p, const std::string& ext, std::vector<std::vector<uint8_t>>& seeds) {
  std::error_code ec;
  if (fs::is_directory(p, ec)) {
    std::vector<fs::path> files;
    for (const auto& e : fs::recursive_directory_iterator(p, ec))
      if (e.is_regular_file() && (ext.empty() || e.path().extension() == ext)) files.push_back(e.path());
    std::sort(files.begin(), files.end());  // the order of the folder walk isn't fixed
    for (const fs::path& f : files) seeds.push_back(readFile(f));
  } else if (fs::is_regular_file(p, ec)) {
    seeds.push_back(readFile(p));
  } else {
    std::fprintf(stderr, "fuzz: no seeds at %s, going on without them\n", p.string().c_str());
  }
}

// Chunked formats break at their lengths and counts, so most mutations aim at aligned words.
class Mutator {
 public:
  explicit Mutator(uint64_t seed) : rng_(seed) {}

  std::vector<uint8_t> mutate(const std::vector<uint8_t>& in, const std::vector<std::vector<uint8_t>>& all) {
    std::vector<uint8_t> d = in;
    int rounds = 1 + int(below(4));
    for (int r = 0; r < rounds; ++r) step(d, all);
    return d;
  }

 private:
  uint64_t below(uint64_t n) { return n ? rng_() % n : 0; }

  void step(std::vector<uint8_t>& d, const std::vector<std::vector<uint8_t>>& all) {
    static const uint32_t interesting[] = {0, 1, 2, 3, 4, 6, 7, 8, 12, 0x7F, 0x80, 0xFF, 0x3FF, 0xFF00,
                                           0xFFFF, 0x10000, 0x7FFFFFFF, 0x80000000u, 0xFFFFFFFFu};
    size_t n = d.size();
    switch (below(n ? 9 : 2)) {
      case 0: {  // grow with random or copied bytes
        size_t at = below(n + 1), len = 1 + below(16);
        std::vector<uint8_t> ins(len);
        for (auto& b : ins) b = uint8_t(rng_());
        d.insert(d.begin() + long(at), ins.begin(), ins.end());
        break;
      }
      case 1: {  // splice: head of this one, tail of another
        const auto& other = all[below(all.size())];
        size_t cut = below(n + 1), from = below(other.size() + 1);
        d.resize(cut);
        d.insert(d.end(), other.begin() + long(from), other.end());
        break;
      }
      case 2: d[below(n)] ^= uint8_t(1u << below(8)); break;
      case 3: d[below(n)] = uint8_t(interesting[below(std::size(interesting))]); break;
      case 4: {  // a big-endian word at an even offset
        if (n < 4) break;
        size_t at = below(n - 3) & ~size_t(1);
        uint32_t v = interesting[below(std::size(interesting))];
        if (below(2)) {
          d[at] = uint8_t(v >> 8), d[at + 1] = uint8_t(v);
        } else {
          for (int i = 0; i < 4; ++i) d[at + size_t(i)] = uint8_t(v >> (24 - 8 * i));
        }
        break;
      }
      case 5: {  // nudge a length up or down
        if (n < 2) break;
        size_t at = below(n - 1);
        int delta = int(below(9)) - 4;
        d[at + 1] = uint8_t(d[at + 1] + delta);
        break;
      }
      case 6: d.resize(below(n)); break;  // truncate
      case 7: {                           // erase a run
        size_t at = below(n), len = 1 + below(std::min<size_t>(32, n - at));
        d.erase(d.begin() + long(at), d.begin() + long(at + len));
        break;
      }
      case 8: {  // duplicate a run in place
        size_t at = below(n), len = 1 + below(std::min<size_t>(64, n - at));
        std::vector<uint8_t> run(d.begin() + long(at), d.begin() + long(at + len));
        d.insert(d.begin() + long(below(n + 1)), run.begin(), run.end());
        break;
      }
    }
  }

  std::mt19937_64 rng_;
};

}  // namespace

int main(int argc, char** argv) {
  double seconds = 20.0;
  uint64_t iterations = 1000000, seed = 20240601;
  std::string ext;
  std::vector<std::vector<uint8_t>> seeds = fuzzBuiltInSeeds();
  for (int i = 1; i < argc; ++i) {
    std::string a = argv[i];
    if (a == "--seconds" && i + 1 < argc) seconds = std::atof(argv[++i]);
    else if (a == "--iterations" && i + 1 < argc) iterations = std::strtoull(argv[++i], nullptr, 10);
    else if (a == "--seed" && i + 1 < argc) seed = std::strtoull(argv[++i], nullptr, 10);
    else if (a == "--ext" && i + 1 < argc) ext = argv[++i];
    else if (a == "--crash-file" && i + 1 < argc) crashFile = argv[++i];
    else addSeeds(a, ext, seeds);
  }
  if (seeds.empty()) seeds.emplace_back();
  // Every seed as it is first.
  for (const auto& s : seeds) run(s);

  Mutator mutator(seed);
  auto start = std::chrono::steady_clock::now();
  uint64_t done = 0;
  while (done < iterations) {
    if ((done & 63) == 0 &&
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() >= seconds)
      break;
    const auto& base = seeds[done % seeds.size()];
    std::vector<uint8_t> input = mutator.mutate(base, seeds);
    run(input);
    ++done;
  }
  std::printf("fuzz: %llu inputs from %zu seeds\n", static_cast<unsigned long long>(done), seeds.size());
  return 0;
}
