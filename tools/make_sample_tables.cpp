// Writes src/shading/sample_tables.cpp: the five progressive sample tables that pixel refine
// and the frame loop index by a pixel's sample count. Each table starts from two fixed rows;
// every further point is the best of many random candidates, the one farthest (with the unit
// square's edges wrapping) from all points before it, so that any prefix is evenly spread.
//
//   make_sample_tables              prints the source file
//   make_sample_tables --check F    exits 1 if F differs from what would be printed
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr int kRows = 512;
// Candidates per point already placed: more gives a more even spread and a slower run.
constexpr int kCandidatesPerPoint = 12;
constexpr int kPairsPerLine = 4;

struct Pair {
  double x, y;
};

struct Table {
  const char* name;
  Pair first, second;
  uint64_t seed;
};

// The rows every caller agrees on; the rest follow from the seeds.
const Table kTables[] = {
    {"pixelOffsets", {0.5, 0.5}, {0.02196, 0.019518}, 0x5eed0001u},
    {"bounceSamplesEven", {0.75, 0.75}, {0.248076, 0.732318}, 0x5eed0002u},
    {"bounceSamplesOdd", {0.25, 0.25}, {0.726182, 0.25645}, 0x5eed0003u},
    {"lensSamplesEven", {0.75, 0.75}, {0.756215, 0.258834}, 0x5eed0004u},
    {"lensSamplesOdd", {0.25, 0.25}, {0.287152, 0.749093}, 0x5eed0005u},
};

// A small generator of our own, so that the tables do not depend on a library's sequence.
struct SplitMix {
  uint64_t state;
  uint64_t next() {
    uint64_t z = (state += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  }
  double unit() { return double(next() >> 11) * (1.0 / 9007199254740992.0); }
};

double wrapDistanceSquared(const Pair& a, const Pair& b) {
  double dx = std::fabs(a.x - b.x), dy = std::fabs(a.y - b.y);
  if (dx > 0.5) dx = 1.0 - dx;
  if (dy > 0.5) dy = 1.0 - dy;
  return dx * dx + dy * dy;
}

// Six decimals, and never 1.0: the tables hold values in [0, 1).
double rounded(double v) {
  double r = std::round(v * 1e6) / 1e6;
  if (r >= 1.0) r = 0.999999;
  return r;
}

std::vector<Pair> generate(const Table& t) {
  std::vector<Pair> points{t.first, t.second};
  SplitMix rng{t.seed};
  while (int(points.size()) < kRows) {
    const int candidates = kCandidatesPerPoint * int(points.size());
    Pair best{0, 0};
    double bestDistance = -1.0;
    for (int c = 0; c < candidates; ++c) {
      const Pair p{rounded(rng.unit()), rounded(rng.unit())};
      double nearest = 2.0;
      for (const Pair& q : points) {
        const double d = wrapDistanceSquared(p, q);
        if (d < nearest) nearest = d;
        if (nearest <= bestDistance) break;  // cannot win any more
      }
      if (nearest > bestDistance) {
        bestDistance = nearest;
        best = p;
      }
    }
    points.push_back(best);
  }
  return points;
}

std::string source() {
  std::ostringstream out;
  out << "// Written by tools/make_sample_tables: run it again rather than editing by hand.\n"
         "#include \"shading/sample_tables.h\"\n";
  char buffer[64];
  for (const Table& t : kTables) {
    const std::vector<Pair> points = generate(t);
    out << "\nconst SamplePair " << t.name << "[kSampleTableRows] = {\n";
    for (int i = 0; i < kRows; ++i) {
      if (i % kPairsPerLine == 0) out << "   ";
      std::snprintf(buffer, sizeof buffer, " {%.6ff, %.6ff},", points[size_t(i)].x, points[size_t(i)].y);
      out << buffer;
      if (i % kPairsPerLine == kPairsPerLine - 1) out << "\n";
    }
    out << "};\n";
  }
  return out.str();
}

}  // namespace

int main(int argc, char** argv) {
  const std::string text = source();
  if (argc == 3 && std::string(argv[1]) == "--check") {
    std::ifstream in(argv[2], std::ios::binary);
    const std::string kept((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (kept == text) return 0;
    std::fprintf(stderr, "%s differs from what make_sample_tables writes\n", argv[2]);
    return 1;
  }
  if (argc != 1) {
    std::fprintf(stderr, "usage: make_sample_tables [--check FILE]\n");
    return 2;
  }
  std::fwrite(text.data(), 1, text.size(), stdout);
  return 0;
}
