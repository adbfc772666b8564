// Damaged object files: each real LWO2, LWOB and LWO3 object of the corpus, and objects made by
// the project's own writer, with one flaw (or a few) worked into their bytes. The flaws are made
// by walking the chunks, so they land where intended whatever the file holds; a flaw that has
// nothing to work on in a file (no SURF, no PTAG) is left out for that file.
#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>

#include "damaged_corpus.h"
#include "host/formats/lwo2_writer.h"
#include "host/formats/lwo_builder.h"

namespace damaged {
namespace {

using Bytes = std::vector<uint8_t>;
namespace fs = std::filesystem;

uint32_t get32(const Bytes& d, size_t at) {
  return (uint32_t(d[at]) << 24) | (uint32_t(d[at + 1]) << 16) | (uint32_t(d[at + 2]) << 8) | d[at + 3];
}
uint16_t get16(const Bytes& d, size_t at) { return uint16_t((d[at] << 8) | d[at + 1]); }
void put32(Bytes& d, size_t at, uint32_t v) {
  for (int i = 0; i < 4; ++i) d[at + i] = uint8_t(v >> (24 - 8 * i));
}
void put16(Bytes& d, size_t at, uint16_t v) {
  d[at] = uint8_t(v >> 8);
  d[at + 1] = uint8_t(v);
}
bool isId(const Bytes& d, size_t at, const char* id) { return at + 4 <= d.size() && std::memcmp(&d[at], id, 4) == 0; }
void fixFormLength(Bytes& d) { put32(d, 4, uint32_t(d.size() - 8)); }

// A chunk: where its header starts, its body and its length.
struct Chunk {
  size_t at = 0, body = 0;
  uint32_t length = 0;
  size_t end() const { return body + length; }
};

// The chunks of [from, to): four-byte lengths at the top level, two-byte ones in LWO2 and LWOB
// surfaces.
std::vector<Chunk> chunks(const Bytes& d, size_t from, size_t to, bool longLengths) {
  std::vector<Chunk> out;
  const size_t header = longLengths ? 8 : 6;
  size_t at = from;
  while (at + header <= to) {
    Chunk c{at, at + header, longLengths ? get32(d, at + 4) : get16(d, at + 4)};
    if (c.end() > to) break;
    out.push_back(c);
    at = c.end() + (c.length & 1);
  }
  return out;
}

std::vector<Chunk> topChunks(const Bytes& d) {
  return chunks(d, 12, std::min(d.size(), size_t(8) + get32(d, 4)), true);
}

std::optional<Chunk> firstTop(const Bytes& d, const char* id) {
  for (const Chunk& c : topChunks(d))
    if (isId(d, c.at, id)) return c;
  return std::nullopt;
}

// The sub-chunks of a top-level LWO2 or LWOB SURF chunk, after its name (and an LWO2 source).
std::vector<Chunk> surfaceSubs(const Bytes& d, const Chunk& surf, bool lwob) {
  size_t p = surf.body;
  for (int s = 0; s < (lwob ? 1 : 2); ++s) {
    while (p < surf.end() && d[p] != 0) ++p;
    p += 1;
    if ((p - surf.body) & 1) ++p;
  }
  return chunks(d, p, surf.end(), false);
}

// Puts `insert` in place of `remove` bytes at `at`, and grows or shrinks the lengths named.
void splice(Bytes& d, size_t at, size_t remove, const Bytes& insert, std::initializer_list<size_t> long32,
            std::initializer_list<size_t> short16 = {}) {
  const long delta = long(insert.size()) - long(remove);
  for (size_t f : long32) put32(d, f, uint32_t(long(get32(d, f)) + delta));
  for (size_t f : short16) put16(d, f, uint16_t(long(get16(d, f)) + delta));
  d.erase(d.begin() + long(at), d.begin() + long(at + remove));
  d.insert(d.begin() + long(at), insert.begin(), insert.end());
}

bool isLwob(const Bytes& d) { return isId(d, 8, "LWOB") || isId(d, 8, "LWLO"); }
bool isLwo3(const Bytes& d) { return isId(d, 8, "LWO3"); }

// The first sub-chunk of the first surface that holds fixed fields, with its surface.
std::optional<std::pair<Chunk, Chunk>> surfaceField(const Bytes& d, const char* id) {
  if (isLwo3(d)) return std::nullopt;
  for (const Chunk& surf : topChunks(d)) {
    if (!isId(d, surf.at, "SURF")) continue;
    for (const Chunk& sub : surfaceSubs(d, surf, isLwob(d)))
      if (isId(d, sub.at, id)) return std::make_pair(surf, sub);
  }
  return std::nullopt;
}

struct Flaw {
  const char* name;
  const char* what;
  Outcome outcome;
  const char* expected;
  std::function<std::optional<Bytes>(Bytes)> make;
};

// Flaws every object file can be given.
const std::vector<Flaw>& flaws() {
  static const std::vector<Flaw> list = {
      {"form-long", "the FORM length is 64 more than the file holds", Outcome::Loads,
       "runs past the end of the file",
       [](Bytes d) -> std::optional<Bytes> {
         put32(d, 4, get32(d, 4) + 64);
         return d;
       }},
      {"form-short", "the FORM length ends after the first chunk", Outcome::Loads, "the chunks after it are read too",
       [](Bytes d) -> std::optional<Bytes> {
         std::vector<Chunk> top = topChunks(d);
         if (top.size() < 2) return std::nullopt;
         put32(d, 4, uint32_t(top[1].at - 8));
         return d;
       }},
      {"trailing-junk", "five bytes of junk after the form", Outcome::Loads, "after the form are ignored",
       [](Bytes d) -> std::optional<Bytes> {
         d.insert(d.end(), {1, 2, 3, 4, 5});
         return d;
       }},
      {"missing-pad", "an unknown chunk of odd length first, without its pad byte", Outcome::Loads, "no pad byte",
       [](Bytes d) -> std::optional<Bytes> {
         splice(d, 12, 0, {'Z', 'Z', 'Z', 'Z', 0, 0, 0, 3, 'a', 'b', 0}, {4});
         return d;
       }},
      {"extra-pad", "two zero bytes between the first and second chunks", Outcome::Loads,
       "zero byte(s) before the next chunk",
       [](Bytes d) -> std::optional<Bytes> {
         std::vector<Chunk> top = topChunks(d);
         if (top.size() < 2) return std::nullopt;
         splice(d, top[1].at, 0, {0, 0}, {4});
         return d;
       }},
      {"last-chunk-overrun", "the last chunk's length runs 6 bytes past the form", Outcome::Loads,
       "runs past its parent",
       [](Bytes d) -> std::optional<Bytes> {
         std::vector<Chunk> top = topChunks(d);
         if (top.empty()) return std::nullopt;
         put32(d, top.back().at + 4, top.back().length + 6);
         return d;
       }},
      {"unterminated-name", "the last name of TAGS (or SRFS) lacks its terminating zero", Outcome::Loads,
       "without its terminating zero",
       [](Bytes d) -> std::optional<Bytes> {
         std::optional<Chunk> tags = firstTop(d, isLwob(d) ? "SRFS" : "TAGS");
         if (!tags || tags->length < 2) return std::nullopt;
         size_t end = tags->end();
         while (end > tags->body && d[end - 1] == 0) --end;
         if (end == tags->body) return std::nullopt;
         Bytes body(d.begin() + long(tags->body), d.begin() + long(end));
         if (body.size() & 1) body.push_back(0);  // the pad byte, outside the chunk
         const size_t old = tags->length + (tags->length & 1);
         put32(d, tags->at + 4, uint32_t(end - tags->body));
         splice(d, tags->body, old, body, {4});
         return d;
       }},
      {"short-colour", "the first surface's colour holds two of its three components", Outcome::Loads,
       "shorter than its fields",
       [](Bytes d) -> std::optional<Bytes> {
         auto f = surfaceField(d, "COLR");
         if (!f) return std::nullopt;
         const auto& [surf, sub] = *f;
         const size_t keep = isLwob(d) ? 2 : 8;
         if (sub.length <= keep) return std::nullopt;
         splice(d, sub.body + keep, sub.length - keep, {}, {4, surf.at + 4}, {sub.at + 4});
         return d;
       }},
      {"long-colour", "the first surface's colour carries four bytes past its fields", Outcome::Loads,
       "after the sub-chunk's fields are skipped",
       [](Bytes d) -> std::optional<Bytes> {
         auto f = surfaceField(d, "COLR");
         if (!f || (f->second.length & 1)) return std::nullopt;
         const auto& [surf, sub] = *f;
         splice(d, sub.end(), 0, {1, 2, 3, 4}, {4, surf.at + 4}, {sub.at + 4});
         return d;
       }},
      {"surface-sub-overrun", "the last sub-chunk of the first surface runs 10 bytes past it", Outcome::Loads,
       "runs past its parent",
       [](Bytes d) -> std::optional<Bytes> {
         if (isLwo3(d)) return std::nullopt;
         std::optional<Chunk> surf = firstTop(d, "SURF");
         if (!surf) return std::nullopt;
         std::vector<Chunk> subs = surfaceSubs(d, *surf, isLwob(d));
         if (subs.empty()) return std::nullopt;
         put16(d, subs.back().at + 4, uint16_t(subs.back().length + 10));
         return d;
       }},
      {"tag-past-list", "the first polygon names surface 32767", Outcome::Loads, "past the",
       [](Bytes d) -> std::optional<Bytes> {
         if (isLwob(d)) {
           std::optional<Chunk> pols = firstTop(d, "POLS");
           if (!pols || pols->length < 4) return std::nullopt;
           size_t at = pols->body + 2 + 2 * size_t(get16(d, pols->body));
           if (at + 2 > pols->end()) return std::nullopt;
           put16(d, at, 0x7FFF);
           return d;
         }
         for (const Chunk& c : topChunks(d))
           if (isId(d, c.at, "PTAG") && isId(d, c.body, "SURF") && c.length >= 8) {
             size_t at = c.body + 4 + (d[c.body + 4] == 0xFF ? 4 : 2);
             put16(d, at, 0x7FFF);
             return d;
           }
         return std::nullopt;
       }},
      {"cut-in-points", "the file ends inside its first point list", Outcome::Fails, "cut short inside this chunk",
       [](Bytes d) -> std::optional<Bytes> {
         std::optional<Chunk> pnts = firstTop(d, "PNTS");
         if (!pnts || pnts->length < 24) return std::nullopt;
         d.resize(pnts->body + 12 + 5);
         return d;
       }},
      {"wrong-type", "the form type is ILBM", Outcome::Fails, "not a LightWave object",
       [](Bytes d) -> std::optional<Bytes> {
         std::memcpy(&d[8], "ILBM", 4);
         return d;
       }},
      {"corner-past-points", "the first corner of the first polygon names point 65279", Outcome::Fails,
       "point index",
       [](Bytes d) -> std::optional<Bytes> {
         std::optional<Chunk> pols = firstTop(d, "POLS");
         const size_t first = isLwob(d) ? 2 : 6;
         if (!pols || pols->length < first + 2) return std::nullopt;
         const size_t at = pols->body + first;
         if (d[at] == 0xFF) put32(d, at, 0xFFFFFFFFu);
         else put16(d, at, 0xFEFF);
         return d;
       }},
      {"points-not-whole", "five stray bytes in the middle of the first point list", Outcome::Fails,
       "multiple of 12",
       [](Bytes d) -> std::optional<Bytes> {
         std::optional<Chunk> pnts = firstTop(d, "PNTS");
         if (!pnts || pnts->length < 24) return std::nullopt;
         // Five bytes and a pad byte, so the chunk after still starts where a chunk may.
         splice(d, pnts->body + 12, 0, {9, 9, 9, 9, 9}, {pnts->at + 4});
         d.insert(d.begin() + long(pnts->end() + 5), 0);
         fixFormLength(d);
         return d;
       }},
  };
  return list;
}

// The vparam count of the first value of an LWO3 surface node, two more than its doubles.
std::optional<Bytes> vparamCount(Bytes d) {
  static const char pattern[] = "VALU    ";
  for (size_t at = 12; at + 16 <= d.size(); ++at) {
    if (std::memcmp(&d[at], pattern, 8) != 0) continue;
    const uint32_t length = get32(d, at + 8);
    if (length < 12 || at + 12 + length > d.size()) continue;
    const uint32_t count = get32(d, at + 12);
    if (size_t(count) * 8 + 4 != length) continue;
    put32(d, at + 12, count + 2);
    return d;
  }
  return std::nullopt;
}

// An object built in code: two layers, two surfaces, a UV image map and a gradient (whose shape
// list can be made one short of its keys).
host::ObjectModel builtObject(bool shapeMissing) {
  host::ObjectBuilder b("built.lwo");
  b.addBox({0, 0, 0}, {1, 1, 1}, "Paint", "UV");
  b.addImageMap("Paint", host::chunkId("COLR"), b.addClip("images/paint.png"), host::Projection::UV, "UV");
  host::TextureLayer gradient;
  gradient.type = host::TextureType::Gradient;
  gradient.ordinal = "\x90";
  gradient.channel = host::chunkId("DIFF");
  gradient.gradientParameter = "Slope";
  gradient.gradientKeys = {{0.0, {1, 0, 0, 1}}, {0.5, {0, 1, 0, 1}}, {1.0, {0, 0, 1, 1}}};
  gradient.gradientKeyShapes = {0, 1, 0};
  if (shapeMissing) gradient.gradientKeyShapes.pop_back();
  b.surface("Paint").diffuse.layers.push_back(gradient);
  b.newLayer(1, "Ball", 0);
  b.addSphere({0, 2, 0}, 0.5f, 12, 6, "Chrome");
  return b.finish();
}

// Flaws only the built object is given: it has every kind of chunk they need.
void addBuiltOnly(const Bytes& good, std::vector<DamagedFile>& out) {
  auto add = [&](const char* name, const char* what, Outcome outcome, const char* expected, Bytes d) {
    out.push_back({std::string("built.") + name + ".lwo", what, std::move(d), outcome, expected});
  };
  add("gradient-shapes", "a gradient with three keys and two key shapes", Outcome::Loads, "key shape(s) for 3",
      host::writeLwo2(builtObject(true)));
  {
    Bytes d = good;
    for (size_t at = 12; at + 4 <= d.size(); ++at)
      if (isId(d, at, "IMAP")) {
        std::memcpy(&d[at], "XMAP", 4);
        break;
      }
    add("unknown-block", "a texture block whose header is XMAP", Outcome::Loads, "not a layer header", d);
  }
  {
    Bytes d = good;  // every surface's colour short: one warning with a count
    auto shortenOne = [&d] {
      for (const Chunk& surf : topChunks(d))
        for (const Chunk& sub : surfaceSubs(d, surf, false))
          if (isId(d, surf.at, "SURF") && isId(d, sub.at, "COLR") && sub.length > 8) {
            splice(d, sub.body + 8, sub.length - 8, {}, {4, surf.at + 4}, {sub.at + 4});
            return true;
          }
      return false;
    };
    while (shortenOne()) {
    }
    add("short-colours", "every surface's colour holds two components", Outcome::Loads, "(1 more like it)", d);
  }
  {
    Bytes d = good;
    std::optional<Chunk> bbox = firstTop(d, "BBOX");
    if (bbox) {
      splice(d, bbox->body + 12, 12, {}, {4, bbox->at + 4});
      add("short-bbox", "the first bounding box holds only its minimum", Outcome::Loads, "shorter than its fields", d);
    }
  }
  {
    Bytes d = good;  // several flaws at once: each is told
    put32(d, 4, get32(d, 4) + 100);
    splice(d, 12, 0, {'Z', 'Z', 'Z', 'Z', 0, 0, 0, 1, 'x'}, {});
    add("form-long-missing-pad", "the FORM length too long and an odd chunk without its pad byte", Outcome::Loads,
        "no pad byte", d);
  }
  // Writes a 16-bit value at `offset` into the first chunk `id`, when the object has one.
  auto poke = [&](const char* name, const char* what, const char* expected, const char* id, size_t offset,
                  uint16_t value) {
    Bytes d = good;
    std::optional<Chunk> c = firstTop(d, id);
    if (!c || c->length < offset + 2) return;
    put16(d, c->body + offset, value);
    add(name, what, Outcome::Fails, expected, d);
  };
  poke("polygon-too-long", "the first polygon claims 1023 corners", "corners runs past", "POLS", 4, 0x03FF);
  poke("vmap-dimension", "a per-corner map of dimension 65535", "truncated", "VMAD", 4, 0xFFFF);
  poke("tag-past-polygons", "a polygon tag for polygon 4000", "polygon index 4000", "PTAG", 4, 4000);
  add("not-iff", "RIFF instead of FORM", Outcome::Fails, "not an IFF file", [&] {
    Bytes d = good;
    std::memcpy(&d[0], "RIFF", 4);
    return d;
  }());
}

void damage(const std::string& stem, const Bytes& good, std::vector<DamagedFile>& out) {
  for (const Flaw& f : flaws())
    if (std::optional<Bytes> d = f.make(good)) out.push_back({stem + "." + f.name + ".lwo", f.what, std::move(*d), f.outcome, f.expected});
  if (isLwo3(good))
    if (std::optional<Bytes> d = vparamCount(good))
      out.push_back({stem + ".vparam-count.lwo", "a node value's count is two more than its values", std::move(*d),
                     Outcome::Loads, "value(s) follow"});
}

}  // namespace

std::vector<DamagedFile> damagedObjects(const std::string& sourceDir) {
  std::vector<DamagedFile> out;
  const Bytes built = host::writeLwo2(builtObject(false));
  damage("built", built, out);
  addBuiltOnly(built, out);

  std::error_code ec;
  if (sourceDir.empty() || !fs::is_directory(sourceDir, ec)) return out;
  std::vector<fs::path> files;
  for (auto it = fs::recursive_directory_iterator(sourceDir, ec); !ec && it != fs::recursive_directory_iterator();
       it.increment(ec))
    if (it->is_regular_file() && it->path().extension() == ".lwo") files.push_back(it->path());
  std::sort(files.begin(), files.end());
  for (const fs::path& f : files) {
    std::ifstream in(f, std::ios::binary);
    Bytes d((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (d.size() < 12 || !isId(d, 0, "FORM")) continue;
    // A name that keeps the corpus's folders apart: LWO/LWO2/box.lwo gives LWO_LWO2_box.
    std::string stem = fs::relative(f, sourceDir, ec).replace_extension().string();
    std::replace(stem.begin(), stem.end(), '/', '_');
    damage(stem, d, out);
  }
  return out;
}

}  // namespace damaged
