#pragma once
// An image clip of an object file: a still image, a numbered sequence, an animation file or a
// reference to another clip. Surfaces and texture layers refer to clips by index.
#include <cstdint>
#include <string>

namespace host {

enum class ClipKind { Still, Sequence, Animation, Reference, Other };

struct Clip {
  uint32_t index = 0;     // the clip's number in the file, never 0
  ClipKind kind = ClipKind::Still;
  std::string path;       // as written in the file (STIL name, ANIM file, or sequence prefix)
  // Sequences (ISEQ): the frame number is written with `digits` digits between path and suffix.
  int digits = 0, flags = 0, offset = 0, start = 0, end = 0;
  std::string suffix;
  uint32_t referenceIndex = 0;  // XREF: the clip this one refers to
  std::string server;           // ANIM: loader name
  bool operator==(const Clip&) const = default;
};

}  // namespace host
