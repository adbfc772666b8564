#include "host/formats/lwo_chunks.h"

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
  if (!zero) fail("unterminated string");
  size_t len = static_cast<const uint8_t*>(zero) - start;
  std::string s(reinterpret_cast<const char*>(start), len);
  size_t used = len + 1;
  if (used & 1) ++used;
  pos_ += used <= left() ? used : left();  // a missing pad byte at the very end is forgiven
  return s;
}

std::string Cursor::s0Lenient() {
  const uint8_t* start = file_ + pos_;
  const void* zero = std::memchr(start, 0, left());
  if (zero) return s0();
  std::string s(reinterpret_cast<const char*>(start), left());
  pos_ = end_;
  return s;
}

std::string idName(uint32_t id) {
  std::string s(4, '?');
  for (int i = 0; i < 4; ++i) {
    char c = char((id >> (24 - 8 * i)) & 0xFF);
    if (c >= 32 && c < 127) s[i] = c;
  }
  return s;
}

bool nextSub(Cursor& parent, bool longLengths, Sub& out) {
  // Fewer bytes than a header at the end are padding some writers leave behind.
  if (parent.left() < (longLengths ? 8u : 6u)) {
    parent.skip(parent.left());
    return false;
  }
  size_t at = parent.pos();
  uint32_t id = parent.id();
  uint32_t length = longLengths ? parent.u4() : parent.u2();
  std::string name = parent.chunk() + "/" + idName(id);
  if (length > parent.left())
    throw FormatError("chunk length " + std::to_string(length) + " runs past its parent (" +
                          std::to_string(parent.left()) + " bytes left)",
                      name, at);
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
  out.body = Cursor(parent.file(), begin, begin + (length - (out.form ? 4 : 0)), name);
  size_t next = out.form ? begin + (length - 4) : begin + length;
  if ((length & 1) && next < parent.end()) ++next;
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
  return Cursor(sub.body.file(), sub.body.pos(), sub.body.pos(), sub.body.chunk());
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
