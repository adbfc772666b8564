#pragma once
// Byte-level reading and writing of the chunked files of LightWave: big-endian numbers,
// padded strings, variable-length indices, and sub-chunk walking with every length checked
// against its parent. Shared by the object readers and the writer.
//
// The walk mends what leaves a file's meaning plain, and tells it to the cursor's FlawLog:
// a chunk whose length runs past its parent is clipped to the parent (except past the end of a
// file cut short: the chunk is then incomplete and the read fails); a pad byte missing after an
// odd-length chunk (the next header starts right there) or zero bytes between chunks are
// stepped over; bytes too few for a header at a parent's end are skipped; a string running to
// the end of its chunk without its terminator is taken as it is. A sub-chunk's fixed fields are
// read with has(): a short one keeps the defaults of the fields it lacks, and endFields() tells
// it, or the bytes a known sub-chunk holds past its fields, which are skipped.
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/formats/flaw_log.h"

namespace host::lwo {

// The specular level chunk, spelled out in bytes ('S' 'P' 'E' 'C').
inline constexpr uint32_t kSpecularChunk = 0x53504543u;

// A file whose meaning is lost. Carries the chunk path and the file offset for the one message the reader
// gives back.
struct FormatError : std::runtime_error {
  FormatError(const std::string& what, std::string chunk, size_t offset)
      : std::runtime_error(what), chunk(std::move(chunk)), offset(offset) {}
  std::string chunk;
  size_t offset;
};

// "chunk LWO2/SURF/COLR, offset 1234": where a flaw was met, as failures name it.
std::string placeOf(const std::string& chunk, size_t offset);

// A window [pos, end) over the file with a name for messages. Reads past the end throw, except
// through has(). Windows made from it share its FlawLog.
class Cursor {
 public:
  Cursor() = default;
  Cursor(const uint8_t* file, size_t begin, size_t end, std::string chunk, FlawLog* log = nullptr)
      : file_(file), begin_(begin), pos_(begin), end_(end), chunk_(std::move(chunk)), log_(log) {}

  size_t begin() const { return begin_; }
  size_t pos() const { return pos_; }
  size_t end() const { return end_; }
  size_t left() const { return end_ - pos_; }
  bool atEnd() const { return pos_ >= end_; }
  const std::string& chunk() const { return chunk_; }
  const uint8_t* file() const { return file_; }
  FlawLog* log() const { return log_; }
  // Set on the top window when the file ends before its form does: a chunk running past it
  // was cut, not mis-measured.
  void setCut() { cut_ = true; }
  bool cut() const { return cut_; }

  // Tells a mended flaw at the cursor's position (or at `offset`).
  void note(const std::string& kind, const std::string& what) const { noteAt(pos_, kind, what); }
  void noteAt(size_t offset, const std::string& kind, const std::string& what) const {
    if (log_) log_->note(kind, placeOf(chunk_, offset), what);
  }

  // For the fixed fields of a sub-chunk: whether `n` more bytes are there. When they are not,
  // the cursor is marked short and moved to its end, so every later field keeps its default.
  bool has(size_t n) {
    if (n <= left()) return true;
    short_ = true;
    pos_ = end_;
    return false;
  }
  // Ends the fields of a sub-chunk: tells a short one, or bytes other than zeros left after the
  // fields of one whose fields are all `known` (they are skipped by the walk).
  void endFields(bool known);

  [[noreturn]] void fail(const std::string& what) const { throw FormatError(what, chunk_, pos_); }
  void need(size_t n) const {
    if (n > left())
      fail("truncated: needs " + std::to_string(n) + " bytes, " + std::to_string(left()) + " left");
  }
  void skip(size_t n) { need(n); pos_ += n; }
  void skipTo(size_t p) { if (p > end_ || p < pos_) fail("bad position"); pos_ = p; }
  const uint8_t* bytes(size_t n) { need(n); const uint8_t* p = file_ + pos_; pos_ += n; return p; }

  uint8_t u1() { need(1); return file_[pos_++]; }
  uint16_t u2() { const uint8_t* p = bytes(2); return uint16_t((p[0] << 8) | p[1]); }
  uint32_t u4() {
    const uint8_t* p = bytes(4);
    return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | p[3];
  }
  int16_t i2() { return int16_t(u2()); }
  int32_t i4() { return int32_t(u4()); }
  uint32_t id() { return u4(); }
  float f4();
  double f8();
  // A variable-length index: two bytes, or four when the first byte is 0xFF.
  uint32_t vx();
  // An index that may be left out at the end of a sub-chunk (an envelope): 0 when absent.
  uint32_t optionalVx() {
    if (left() < 2 || (file_[pos_] == 0xFF && left() < 4)) return 0;
    return vx();
  }
  // has() for a variable-length index.
  bool hasVx() { return has(2) && (file_[pos_] != 0xFF || has(4)); }
  // A zero-terminated string padded to an even length. One that runs to the end of the window
  // unterminated is taken whole, with a warning.
  std::string s0();
  std::vector<uint8_t> rest() { std::vector<uint8_t> v(file_ + pos_, file_ + end_); pos_ = end_; return v; }

 private:
  const uint8_t* file_ = nullptr;
  size_t begin_ = 0, pos_ = 0, end_ = 0;
  std::string chunk_;
  FlawLog* log_ = nullptr;
  bool cut_ = false, short_ = false;
};

// One sub-chunk found by walkSub: its id (for a nested FORM, the form's type), whether it was
// a FORM, and a cursor over its body.
struct Sub {
  uint32_t id = 0;
  bool form = false;
  Cursor body;
};

// Reads the next sub-chunk header at the parent's position and steps the parent past the body
// (and its pad byte). `longLengths`: four-byte lengths and nested FORMs (LWO3 and top level);
// otherwise two-byte lengths. Returns false at the parent's end. Mends and tells the flaws
// listed at the top of this file.
bool nextSub(Cursor& parent, bool longLengths, Sub& out);

// Newer files keep the fixed fields of a nested FORM in a leading chunk named four spaces.
// Returns a cursor over those fields and moves `body` past them; for a plain chunk the body
// itself holds the fields, and the returned cursor is the body (which is then consumed).
Cursor headOf(Sub& sub, bool longLengths);

std::string idName(uint32_t id);

// A number of the file that a field keeps as an integer: NaN reads as 0, and values past the
// field's range as its nearest end. A plain conversion of such a value is undefined.
int32_t wholeNumber(double v);
uint32_t wholeIndex(double v);

// Whether a chunk header that fits the parent starts at `at`: a printable id and a length
// within the parent.
bool startsChunk(const Cursor& parent, size_t at, bool longLengths);

// Big-endian output with chunk nesting. begin() reserves a length that end() fills in.
class Writer {
 public:
  void u1(uint8_t v) { data_.push_back(v); }
  void u2(uint16_t v) { u1(uint8_t(v >> 8)); u1(uint8_t(v)); }
  void u4(uint32_t v) { u2(uint16_t(v >> 16)); u2(uint16_t(v)); }
  void i2(int16_t v) { u2(uint16_t(v)); }
  void id(uint32_t v) { u4(v); }
  void f4(float v);
  void vx(uint32_t v);
  void s0(const std::string& s);
  void raw(const std::vector<uint8_t>& b) { data_.insert(data_.end(), b.begin(), b.end()); }
  // Opens a chunk with a four-byte (top level) or two-byte (sub-chunk) length.
  void begin(uint32_t chunk, bool longLength);
  void end();
  std::vector<uint8_t>& data() { return data_; }
  // Set when something didn't fit its field (a sub-chunk over 65535 bytes, a polygon of more
  // than 1023 corners): the bytes are then not a valid file.
  void overflow(const std::string& what) { if (problem_.empty()) problem_ = what; }
  const std::string& problem() const { return problem_; }

 private:
  struct Open { size_t lengthAt; bool longLength; uint32_t chunk; };
  std::vector<uint8_t> data_;
  std::vector<Open> open_;
  std::string problem_;
};

}  // namespace host::lwo
