// Damaged and unusual files: a fault that loses the file's meaning gives one message naming the
// file, the chunk and the offset; a mended one keeps what the file holds; and the chunk
// grammar's quieter rules (pad bytes, indices relative to the latest PNTS and POLS) are kept.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "host/formats/lwo2_writer.h"
#include "host/formats/lwo_builder.h"
#include "host/formats/lwo_reader.h"

namespace host {
namespace {

std::vector<uint8_t> boxFile() {
  ObjectBuilder b("box.lwo");
  b.addBox({0, 0, 0}, {1, 1, 1}, "Paint", "UV");
  b.addImageMap("Paint", chunkId("COLR"), b.addClip("a.png"), Projection::UV, "UV");
  return writeLwo2(b.finish());
}

size_t find(const std::vector<uint8_t>& d, const char* id, size_t from = 0) {
  for (size_t i = from; i + 4 <= d.size(); ++i)
    if (std::memcmp(&d[i], id, 4) == 0) return i;
  ADD_FAILURE() << "no " << id;
  return 0;
}

void put32(std::vector<uint8_t>& d, size_t at, uint32_t v) {
  for (int i = 0; i < 4; ++i) d[at + i] = uint8_t(v >> (24 - 8 * i));
}
void put16(std::vector<uint8_t>& d, size_t at, uint16_t v) {
  d[at] = uint8_t(v >> 8);
  d[at + 1] = uint8_t(v);
}
uint32_t get32(const std::vector<uint8_t>& d, size_t at) {
  return (uint32_t(d[at]) << 24) | (uint32_t(d[at + 1]) << 16) | (uint32_t(d[at + 2]) << 8) | d[at + 3];
}

// Reads a buffer that must load.
ObjectModel loads(const std::vector<uint8_t>& d) {
  ObjectModel m;
  std::string error;
  EXPECT_TRUE(readObjectBuffer(d.data(), d.size(), "bad.lwo", m, error)) << error;
  return m;
}

// Reads a buffer that must fail, and returns the message.
std::string failure(const std::vector<uint8_t>& d, const std::string& name = "bad.lwo") {
  ObjectModel m;
  std::string error;
  EXPECT_FALSE(readObjectBuffer(d.data(), d.size(), name, m, error));
  EXPECT_EQ(error.rfind(name + ": ", 0), 0u) << error;
  EXPECT_TRUE(m.layers.empty());
  return error;
}

TEST(LwoReader, NotAnObject) {
  EXPECT_NE(failure({}).find("offset 0"), std::string::npos);
  failure({'F', 'O', 'R', 'M', 0, 0});
  std::vector<uint8_t> riff = {'R', 'I', 'F', 'F', 0, 0, 0, 4, 'W', 'A', 'V', 'E'};
  EXPECT_NE(failure(riff).find("IFF"), std::string::npos);
  std::vector<uint8_t> ilbm = {'F', 'O', 'R', 'M', 0, 0, 0, 4, 'I', 'L', 'B', 'M'};
  EXPECT_NE(failure(ilbm).find("'ILBM'"), std::string::npos);
  ObjectModel m;
  std::string error;
  EXPECT_FALSE(readObjectFile("/nonexistent/thing.lwo", m, error));
  EXPECT_NE(error.find("/nonexistent/thing.lwo"), std::string::npos);
}

// What a mended file reads as: the fields a short sub-chunk holds, defaults for the rest, and
// everything after a clipped or long sub-chunk where the file puts it. (Which flaws are mended
// and which fail is the damaged corpus's test.)
TEST(LwoReader, MendedFlawsKeepWhatTheFileHolds) {
  const std::vector<uint8_t> good = boxFile();
  const Surface defaults;
  {
    std::vector<uint8_t> d = good;  // the colour loses its blue and its envelope
    size_t surf = find(d, "SURF", find(d, "CLIP"));
    size_t at = find(d, "COLR", surf);
    put16(d, at + 4, 8);
    d.erase(d.begin() + long(at + 14), d.begin() + long(at + 20));
    put32(d, surf + 4, get32(d, surf + 4) - 6);
    put32(d, 4, uint32_t(d.size() - 8));
    ObjectModel m = loads(d);
    ASSERT_EQ(m.warnings.size(), 1u);
    EXPECT_NE(m.warnings[0].find("bad.lwo: chunk LWO2/SURF/COLR, offset " + std::to_string(at + 14)), std::string::npos)
        << m.warnings[0];
    const Surface& s = m.surfaces.at(0);
    EXPECT_EQ(s.color.value[2], defaults.color.value[2]);
    EXPECT_EQ(s.diffuse.value, double(float(defaults.diffuse.value)));  // the next sub-chunk is read
    EXPECT_EQ(s.color.layers.size(), 1u);
  }
  {
    std::vector<uint8_t> d = good;  // the surface's last sub-chunk runs past the surface
    size_t surf = find(d, "SURF", find(d, "CLIP"));
    size_t at = find(d, "BLOK", surf);
    put16(d, at + 4, 0xFFF0);
    ObjectModel m = loads(d);
    ASSERT_FALSE(m.warnings.empty());
    EXPECT_NE(m.warnings[0].find("SURF/BLOK, offset " + std::to_string(at) + ": length 65520 runs past its parent"),
              std::string::npos) << m.warnings[0];
    ASSERT_EQ(m.surfaces.at(0).color.layers.size(), 1u);
    EXPECT_EQ(m.surfaces[0].color.layers[0].uvMap, "UV");
  }
  {
    std::vector<uint8_t> d = good;  // an unterminated surface name ends the file
    size_t at = find(d, "SURF", find(d, "CLIP"));
    std::vector<uint8_t> e(d.begin(), d.begin() + long(at));
    e.insert(e.end(), {'S', 'U', 'R', 'F', 0, 0, 0, 4, 'a', 'b', 'c', 'd'});
    put32(e, 4, uint32_t(e.size() - 8));
    ObjectModel m = loads(e);
    ASSERT_EQ(m.surfaces.size(), 1u);
    EXPECT_EQ(m.surfaces[0].name, "abcd");
    ASSERT_EQ(m.warnings.size(), 1u);
    EXPECT_NE(m.warnings[0].find("terminating zero"), std::string::npos);
  }
}

// LWO3 bytes: a FORM with four-byte lengths all the way down.
struct Lwo3 {
  std::vector<uint8_t> d;
  std::vector<size_t> open;
  void id(const char* s) { d.insert(d.end(), s, s + 4); }
  void u4(uint32_t v) { for (int i = 0; i < 4; ++i) d.push_back(uint8_t(v >> (24 - 8 * i))); }
  void form(const char* type) { id("FORM"); open.push_back(d.size()); u4(0); id(type); }
  void chunk(const char* name, std::vector<uint8_t> body) {
    id(name);
    u4(uint32_t(body.size()));
    d.insert(d.end(), body.begin(), body.end());
    if (body.size() & 1) d.push_back(0);
  }
  void end() {
    size_t at = open.back();
    open.pop_back();
    uint32_t len = uint32_t(d.size() - at - 4);
    for (int i = 0; i < 4; ++i) d[at + i] = uint8_t(len >> (24 - 8 * i));
  }
};

TEST(LwoReader, Lwo3NestingIsBoundedAndOddChunksArePadded) {
  Lwo3 f;
  f.form("LWO3");
  f.chunk("TAGS", {'S', 0});
  f.chunk("DESC", {'o', 'd', 'd'});  // odd length, one pad byte follows
  f.chunk("LAYR", {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
  f.chunk("PNTS", std::vector<uint8_t>(36, 0));
  f.chunk("POLS", {'F', 'A', 'C', 'E', 0, 3, 0, 0, 0, 1, 0, 2});
  f.form("SURF");
  f.chunk("    ", {'S', 0, 0, 0});
  f.form("NODS");
  for (int i = 0; i < 200; ++i) f.form("NEST");
  for (int i = 0; i < 200; ++i) f.end();
  f.end();
  f.end();
  f.end();
  std::string e = failure(f.d, "deep.lwo");
  EXPECT_NE(e.find("nested too deeply"), std::string::npos) << e;

  Lwo3 g;
  g.form("LWO3");
  g.chunk("TAGS", {'S', 0});
  g.chunk("DESC", {'o', 'd', 'd'});
  g.chunk("PNTS", std::vector<uint8_t>(36, 0));
  g.chunk("POLS", {'F', 'A', 'C', 'E', 0, 3, 0, 0, 0, 1, 0, 2});
  g.chunk("PTAG", {'S', 'U', 'R', 'F', 0, 0, 0, 0});
  g.form("SURF");
  g.chunk("    ", {'S', 0, 0, 0});
  g.chunk("SIDE", {0, 3});
  g.end();
  g.end();
  ObjectModel m;
  std::string error;
  ASSERT_TRUE(readObjectBuffer(g.d.data(), g.d.size(), "ok.lwo", m, error)) << error;
  ASSERT_EQ(m.layers.size(), 1u);
  EXPECT_EQ(m.layers[0].polygons.size(), 1u);
  EXPECT_EQ(m.surfaceName(m.layers[0].polygons[0]), "S");
  ASSERT_EQ(m.surfaces.size(), 1u);
  EXPECT_TRUE(m.surfaces[0].doubleSided());
}

TEST(LwoReader, IndicesCountFromTheLatestPointsAndPolygons) {
  // Two PNTS and two POLS chunks in one layer: the second POLS, its tags and the vertex map
  // after the second PNTS all count from the start of their own chunk.
  ObjectModel m;
  m.tags = {"A", "B"};
  m.layers.emplace_back();
  Layer& l = m.layers[0];
  l.points = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
  std::vector<uint8_t> first = writeLwo2(m);
  // Hand-made tail: PNTS (3 more points), POLS using them as 0..2, PTAG on its polygon 0,
  // VMAP on its point 1.
  std::vector<uint8_t> d(first.begin(), first.end());
  auto chunk = [&](const char* id, std::vector<uint8_t> body) {
    d.insert(d.end(), id, id + 4);
    for (int i = 0; i < 4; ++i) d.push_back(uint8_t(body.size() >> (24 - 8 * i)));
    d.insert(d.end(), body.begin(), body.end());
    if (body.size() & 1) d.push_back(0);
  };
  chunk("POLS", {'F', 'A', 'C', 'E', 0, 3, 0, 0, 0, 1, 0, 2});
  chunk("PTAG", {'S', 'U', 'R', 'F', 0, 0, 0, 0});
  std::vector<uint8_t> pts(36, 0);
  pts[12] = 0x40;  // point 1 of the second chunk has x = 2
  chunk("PNTS", pts);
  chunk("POLS", {'F', 'A', 'C', 'E', 0, 3, 0, 0, 0, 1, 0, 2});
  chunk("PTAG", {'S', 'U', 'R', 'F', 0, 0, 0, 1});
  chunk("VMAP", {'W', 'G', 'H', 'T', 0, 1, 'W', 0, 0, 1, 0x3F, 0x80, 0, 0});
  put32(d, 4, uint32_t(d.size() - 8));
  ObjectModel back;
  std::string error;
  ASSERT_TRUE(readObjectBuffer(d.data(), d.size(), "two.lwo", back, error)) << error;
  const Layer& r = back.layers[0];
  ASSERT_EQ(r.points.size(), 6u);
  ASSERT_EQ(r.polygons.size(), 2u);
  EXPECT_EQ(r.polygons[0].vertices, (std::vector<uint32_t>{0, 1, 2}));
  EXPECT_EQ(r.polygons[1].vertices, (std::vector<uint32_t>{3, 4, 5}));
  EXPECT_EQ(back.surfaceName(r.polygons[0]), "A");
  EXPECT_EQ(back.surfaceName(r.polygons[1]), "B");
  const VertexMap* w = r.findVertexMap(chunkId("WGHT"), "W");
  ASSERT_NE(w, nullptr);
  ASSERT_NE(w->find(4), nullptr);
  EXPECT_EQ(*w->find(4), 1.0f);
  EXPECT_EQ(r.points[4][0], 2.0f);
  EXPECT_FALSE(r.hasBoundingBox);
  EXPECT_EQ(r.boundsMax[0], 2.0f);
}

TEST(LwoReader, OldFormatDetailPolygonsAndSurfaceNumbers) {
  std::vector<uint8_t> d = {'F', 'O', 'R', 'M', 0, 0, 0, 0, 'L', 'W', 'O', 'B'};
  auto chunk = [&](const char* id, std::vector<uint8_t> body) {
    d.insert(d.end(), id, id + 4);
    for (int i = 0; i < 4; ++i) d.push_back(uint8_t(body.size() >> (24 - 8 * i)));
    d.insert(d.end(), body.begin(), body.end());
    if (body.size() & 1) d.push_back(0);
  };
  chunk("SRFS", {'O', 'n', 'e', 0, 'T', 'w', 'o', 0});
  chunk("PNTS", std::vector<uint8_t>(48, 0));
  // A triangle on surface 2 with one detail polygon (surface 1), then a plain triangle.
  chunk("POLS", {0, 3, 0, 0, 0, 1, 0, 2, 0xFF, 0xFE, 0, 1,  // surface -2: one detail follows
                 0, 3, 0, 1, 0, 2, 0, 3, 0, 1,               // the detail
                 0, 3, 0, 0, 0, 2, 0, 3, 0, 2});
  chunk("SURF", {'T', 'w', 'o', 0, 'F', 'L', 'A', 'G', 0, 2, 1, 0, 'C', 'O', 'L', 'R', 0, 4, 255, 0, 51, 0});
  put32(d, 4, uint32_t(d.size() - 8));
  ObjectModel m;
  std::string error;
  ASSERT_TRUE(readObjectBuffer(d.data(), d.size(), "old.lwo", m, error)) << error;
  ASSERT_EQ(m.layers[0].polygons.size(), 3u);
  EXPECT_EQ(m.surfaceName(m.layers[0].polygons[0]), "Two");
  EXPECT_EQ(m.surfaceName(m.layers[0].polygons[1]), "One");
  EXPECT_EQ(m.surfaceName(m.layers[0].polygons[2]), "Two");
  EXPECT_EQ(m.layers[0].polygons[1].vertices, (std::vector<uint32_t>{1, 2, 3}));
  const Surface* two = m.findSurface("Two");
  ASSERT_NE(two, nullptr);
  EXPECT_TRUE(two->doubleSided());
  EXPECT_DOUBLE_EQ(two->color.value[0], 1.0);
  EXPECT_DOUBLE_EQ(two->color.value[2], 0.2);

  // The layered variant: each LAYR starts a layer whose polygons count from its own points.
  std::vector<uint8_t> layered = {'F', 'O', 'R', 'M', 0, 0, 0, 0, 'L', 'W', 'L', 'O'};
  d.swap(layered);
  chunk("SRFS", {'O', 'n', 'e', 0});
  chunk("LAYR", {0, 1, 0, 0, 'A', 0});
  chunk("PNTS", std::vector<uint8_t>(36, 0));
  chunk("POLS", {0, 3, 0, 0, 0, 1, 0, 2, 0, 1});
  chunk("LAYR", {0, 2, 0, 0, 'B', 0});
  chunk("PNTS", std::vector<uint8_t>(48, 0));
  chunk("POLS", {0, 4, 0, 0, 0, 1, 0, 2, 0, 3, 0, 1});
  put32(d, 4, uint32_t(d.size() - 8));
  ASSERT_TRUE(readObjectBuffer(d.data(), d.size(), "layered.lwo", m, error)) << error;
  ASSERT_EQ(m.layers.size(), 2u);
  EXPECT_EQ(m.layers[1].name, "B");
  EXPECT_EQ(m.layers[1].number, 2);
  EXPECT_EQ(m.layers[1].points.size(), 4u);
  EXPECT_EQ(m.layers[1].polygons.at(0).vertices.size(), 4u);
  d.swap(layered);

  // Surface number 3 doesn't exist: the polygon takes the default surface.
  std::vector<uint8_t> bad = d;
  size_t at = find(bad, "SURF", find(bad, "POLS"));
  put16(bad, at - 2, 3);
  m = loads(bad);
  EXPECT_EQ(m.surfaceName(m.layers[0].polygons.back()), "");
  EXPECT_EQ(m.surfaceName(m.layers[0].polygons[0]), "Two");
  ASSERT_EQ(m.warnings.size(), 1u);
  EXPECT_NE(m.warnings[0].find("past the 2 names of SRFS"), std::string::npos) << m.warnings[0];
}

}  // namespace
}  // namespace host
