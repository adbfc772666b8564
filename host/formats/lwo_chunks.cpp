#include "host/formats/lwo_chunks.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace host::lwo {

float Cursor::f4() { return std::bit_cast<float>(u4()); }

double Cursor::f8() {
  uint64_t hi = u4();
  uint64_t lo = u4();
  return std::bit_cast<double>((hi << 32) | lo);
}

uint32_t Cursor::vx() {
  need(2);
  if (file_[pos_] == 0xFF) return u4() & 0x00FFFFFFu;
  return u2();
}

std::string Cursor::s0() {
  const uint8_t* start = file_ + pos_;
  const void* zero = std::memchr(start, 0, left());
  if (!zero) {
    std::string s(reinterpret_cast<const char*>(start), left());
    note("unterminated string", "a string runs to the end of its chunk without its terminating zero: taken as it is");
    pos_ = end_;
    return s;
  }
  size_t len = static_cast<const uint8_t*>(zero) - start;
  std::string s(reinterpret_cast<const char*>(start), len);
  size_t used = len + 1;
  if (used & 1) ++used;
  pos_ += used <= left() ? used : left();  // a pad byte missing at the very end loses nothing
  return s;
}

void Cursor::endFields(bool known) {
  if (short_) {
    note("short sub-chunk", "sub-chunk of " + std::to_string(end_ - begin_) +
                                " bytes is shorter than its fields: the missing ones keep their defaults");
  } else if (known && !atEnd()) {
    // Zeros after the fields are the fixed-size buffers some writers save strings in.
    const uint8_t* rest = file_ + pos_;
    if (std::any_of(rest, file_ + end_, [](uint8_t b) { return b != 0; }))
      note("long sub-chunk", std::to_string(left()) + " byte(s) after the sub-chunk's fields are skipped");
  }
}

std::string placeOf(const std::string& chunk, size_t offset) {
  return "chunk " + chunk + ", offset " + std::to_string(offset);
}

int32_t wholeNumber(double v) {
  if (!(v == v)) return 0;
  return int32_t(std::clamp(v, -2147483648.0, 2147483647.0));
}

uint32_t wholeIndex(double v) {
  if (!(v == v)) return 0;
  return uint32_t(std::clamp(v, 0.0, 4294967295.0));
}

std::string idName(uint32_t id) {
  std::string s(4, '?');
  for (int i = 0; i < 4; ++i) {
    char c = char((id >> (24 - 8 * i)) & 0xFF);
    if (c >= 32 && c < 127) s[i] = c;
  }
  return s;
}

namespace {

uint32_t lengthAt(const uint8_t* p, bool longLengths) {
  if (!longLengths) return uint32_t((p[0] << 8) | p[1]);
  return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | p[3];
}

}  // namespace

bool startsChunk(const Cursor& parent, size_t at, bool longLengths) {
  const size_t header = longLengths ? 8 : 6;
  if (at > parent.end() || parent.end() - at < header) return false;
  const uint8_t* p = parent.file() + at;
  for (int i = 0; i < 4; ++i)
    if (p[i] < 0x20 || p[i] > 0x7E) return false;
  return lengthAt(p + 4, longLengths) <= parent.end() - at - header;
}

namespace {

// Zero bytes where a header should start: pad bytes some writers add after even chunks, or
// leave at the end of a parent. Steps over them when a header or the parent's end follows.
void skipExtraPadding(Cursor& parent, bool longLengths) {
  const uint8_t* f = parent.file();
  if (parent.atEnd() || f[parent.pos()] != 0 || startsChunk(parent, parent.pos(), longLengths)) return;
  size_t p = parent.pos();
  while (p < parent.end() && f[p] == 0) ++p;
  if (p == parent.end()) {
    parent.note("extra pad bytes", std::to_string(p - parent.pos()) + " zero byte(s) after the last chunk are skipped");
    parent.skipTo(p);
  } else if (p - parent.pos() < 4 && startsChunk(parent, p, longLengths)) {
    parent.note("extra pad bytes", std::to_string(p - parent.pos()) + " zero byte(s) before the next chunk are skipped");
    parent.skipTo(p);
  }
}

}  // namespace

bool nextSub(Cursor& parent, bool longLengths, Sub& out) {
  skipExtraPadding(parent, longLengths);
  if (parent.left() < (longLengths ? 8u : 6u)) {
    if (!parent.atEnd())
      parent.note("stray bytes", std::to_string(parent.left()) + " byte(s) after the last chunk, too few for a chunk, are skipped");
    parent.skip(parent.left());
    return false;
  }
  size_t at = parent.pos();
  uint32_t id = parent.id();
  uint32_t length = longLengths ? parent.u4() : parent.u2();
  std::string name = parent.chunk() + "/" + idName(id);
  if (length > parent.left()) {
    const std::string lengths = "length " + std::to_string(length) + " runs past ";
    const std::string left = " (" + std::to_string(parent.left()) + " bytes left)";
    if (parent.cut()) throw FormatError("the file is cut short inside this chunk: its " + lengths + "the end of the file" + left, name, at);
    if (parent.log())
      parent.log()->note("chunk runs past its parent", placeOf(name, at), lengths + "its parent" + left + ": read to the parent's end");
    length = uint32_t(parent.left());
  }
  size_t begin = parent.pos();
  out.form = false;
  if (longLengths && id == 0x464F524Du /* FORM */) {
    if (length < 4) throw FormatError("form too short for its type", name, at);
    out.form = true;
    id = parent.id();
    name = parent.chunk() + "/" + idName(id);
    begin += 4;
  }
  out.id = id;
  out.body = Cursor(parent.file(), begin, begin + (length - (out.form ? 4 : 0)), name, parent.log());
  size_t next = out.form ? begin + (length - 4) : begin + length;
  if ((length & 1) && next < parent.end()) {
    // The pad byte is missing when a header starts right where it should be.
    if (parent.file()[next] != 0 && startsChunk(parent, next, longLengths))
      parent.noteAt(next, "missing pad byte", "no pad byte after a chunk of odd length " + std::to_string(length) + ": the next chunk starts at once");
    else
      ++next;
  }
  parent.skipTo(next);
  return true;
}

Cursor headOf(Sub& sub, bool longLengths) {
  if (!sub.form) {
    Cursor c = sub.body;
    sub.body.skipTo(sub.body.end());
    return c;
  }
  Cursor probe = sub.body;
  Sub first;
  if (probe.left() >= 8 && nextSub(probe, longLengths, first) && first.id == 0x20202020u) {
    sub.body = probe;
    return first.body;
  }
  return Cursor(sub.body.file(), sub.body.pos(), sub.body.pos(), sub.body.chunk(), sub.body.log());
}

void Writer::f4(float v) { u4(std::bit_cast<uint32_t>(v)); }

void Writer::vx(uint32_t v) {
  if (v < 0xFF00u) u2(uint16_t(v));
  else u4(v | 0xFF000000u);
}

void Writer::s0(const std::string& s) {
  data_.insert(data_.end(), s.begin(), s.end());
  u1(0);
  if ((s.size() + 1) & 1) u1(0);
}

void Writer::begin(uint32_t chunk, bool longLength) {
  id(chunk);
  open_.push_back({data_.size(), longLength, chunk});
  if (longLength) u4(0);
  else u2(0);
}

void Writer::end() {
  Open o = open_.back();
  open_.pop_back();
  size_t start = o.lengthAt + (o.longLength ? 4 : 2);
  size_t length = data_.size() - start;
  if (length > (o.longLength ? 0xFFFFFFFFu : 0xFFFFu))
    overflow("chunk " + idName(o.chunk) + " holds " + std::to_string(length) + " bytes, more than its length field can say");
  if (o.longLength) {
    for (int i = 0; i < 4; ++i) data_[o.lengthAt + i] = uint8_t(length >> (24 - 8 * i));
  } else {
    data_[o.lengthAt] = uint8_t(length >> 8);
    data_[o.lengthAt + 1] = uint8_t(length);
  }
  if (length & 1) u1(0);
}

}  // namespace host::lwo
