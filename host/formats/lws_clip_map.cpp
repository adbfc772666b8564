// The scene reader's clip maps: an object's ClipMap block, a texture of this program's own form.
// A block damaged inside costs only the clip map; one whose braces never close fails the scene.
#include <algorithm>

#include "host/formats/lws_parser.h"

namespace host::lws {
namespace {

// A quoted name after the first `skip` words; unquoted text is taken as it is.
std::string quoted(const std::string& line, int skip) {
  std::string rest = restOfLine(line, skip);
  if (rest.size() >= 2 && rest.front() == '"' && rest.back() == '"') rest = rest.substr(1, rest.size() - 2);
  return rest;
}

}  // namespace

// --- clip maps ------------------------------------------------------------------------
//
// An object's clip map is written in a form of this program's own: a texture block of
// layers, the bottom one first, each an image map, a procedural or a gradient.
//
//   ClipMap
//   { Texture
//     { ImageMap                      (or: { Procedural "Checkerboard", or: { Gradient)
//       Enable 1                      0 leaves the layer out
//       Opacity 1                     1 is full
//       BlendMode 0                   0 normal, 1 subtractive, 2 difference, 3 multiply,
//                                     4 divide, 5 alpha, 6 texture displacement, 7 additive
//       Negative 0                    1 inverts the layer
//       Axis 1                        0 x, 1 y, 2 z
//       Projection 0                  0 planar, 1 cylindrical, 2 spherical, 3 cubic,
//                                     4 front, 5 UV
//       Image "images/holes.png"      a still image, found as the scene's images are
//       Center 0 0 0
//       Size 1 1 1
//       Rotation 0 0 0                heading, pitch, bank in degrees
//       CoordinateSystem 0            0 object, 1 world
//       WrapType 1 1                  width, height: 0 reset, 1 repeat, 2 mirror, 3 edge
//       WrapAmount 1 1                cycles across the width and the height
//       PixelBlending 1
//       Antialias 1 1                 flags and strength
//       UVMap "Texture"               the UV map of a UV projection
//       Value 1                       a procedural's value (1 or 3 numbers)
//       Parameter "Distance to Object"   a gradient's input, and the item it measures to
//       Item "Null"
//       Range 0 1                     a gradient's start and end
//       Repeat 0
//       Key 0  0 0 0 1                a gradient key: input, value (3 numbers) and alpha,
//                                     then optionally its span shape (0 linear, 1 smooth,
//                                     2 step)
//     }
//   }
//
// Every line is optional; a layer starts with the defaults of a new texture layer. Opacity,
// WrapAmount, Center, Size and Rotation take "(envelope)" for any of their numbers, with
// the envelopes following the line in the order of their numbers, as other scene values
// do. Lines a layer doesn't know, and blocks within it, are passed over.
//
// A block that is damaged inside (a bad number, a layer of an unknown kind, an image
// without its name) costs only the clip map: the scene reads, a warning names the line,
// and the object renders without holes. Failing the whole scene over it would lose every
// other item. Braces that never close fail the scene, since then nothing after them can be
// told apart from the clip map.
void Parser::readClipMap(size_t line, Item& item) {
  ObjectSettings& o = item.object;
  o.clipMap = nullptr;
  const std::string head = peekLine();
  if (head.empty() || head[0] != '{') {
    const std::string what = "the clip map of \"" + item.name + "\" has no block and is left out";
    flaw(line, what, what);
    return;
  }
  const size_t end = blockEnd(line);
  try {
    o.clipMap = readClipTexture(line);
  } catch (const ParseError& e) {
    // Each clip map left out is told: they are different objects' holes.
    const std::string what = "the clip map of \"" + item.name + "\" is left out: " + e.what;
    flaw(e.line, what, what);
  }
  pos_ = end + 1;
}

// The line that closes the block starting at the next line that isn't blank.
size_t Parser::blockEnd(size_t ownerLine) const {
  int depth = 0;
  for (size_t i = pos_; i < lines_.size(); ++i) {
    const std::string l = trim(lines_[i]);
    if (l.empty()) continue;
    if (l[0] == '{') ++depth;
    else if (l == "}") --depth;
    if (depth == 0) return i;
  }
  throw ParseError{ownerLine, "the file ends inside the clip map that starts here"};
}

struct Parser::ClipMapBuild {
  std::shared_ptr<SceneTexture> texture;
  uint32_t nextEnvelope = 1;
};

// The envelopes of the "(envelope)" numbers of a line, which follow it in order; a vector
// keeps three indices in a row (its first names them), a single value one.
uint32_t Parser::lineEnvelopes(ClipMapBuild& b, size_t line, const std::vector<bool>& enveloped, double scale) {
  if (std::find(enveloped.begin(), enveloped.end(), true) == enveloped.end()) return 0;
  const uint32_t first = b.nextEnvelope;
  b.nextEnvelope += uint32_t(enveloped.size());
  for (size_t k = 0; k < enveloped.size(); ++k) {
    if (!enveloped[k]) continue;
    ObjectEnvelope e;
    e.index = first + uint32_t(k);
    e.envelope = readEnvelopeBlock(line);
    scaleEnvelope(e.envelope, scale);
    b.texture->home->envelopes.push_back(std::move(e));
  }
  return first;
}

// `count` numbers from word 1 on, each of which may be "(envelope)".
std::vector<bool> Parser::numbersOrEnvelopes(const std::vector<std::string>& w, size_t line, size_t count, double* out) {
  std::vector<bool> enveloped(count, false);
  for (size_t k = 0; k < count; ++k) {
    if (1 + k < w.size() && w[1 + k] == "(envelope)") enveloped[k] = true;
    else out[k] = number(w, 1 + k, line);
  }
  return enveloped;
}

void Parser::clipVector(ClipMapBuild& b, const std::vector<std::string>& w, size_t line, EnvelopedVector& v, double scale) {
  double n[3] = {v.value[0] / scale, v.value[1] / scale, v.value[2] / scale};
  const std::vector<bool> enveloped = numbersOrEnvelopes(w, line, 3, n);
  for (size_t k = 0; k < 3; ++k) v.value[k] = n[k] * scale;
  v.envelope = lineEnvelopes(b, line, enveloped, scale);
}

long Parser::ranged(const std::vector<std::string>& w, size_t i, size_t line, long low, long high) {
  const long v = integer(w, i, line);
  if (v < low || v > high)
    fail(line, w[0] + " " + w[i] + " is out of range (" + std::to_string(low) + " to " + std::to_string(high) + ")");
  return v;
}

std::shared_ptr<SceneTexture> Parser::readClipTexture(size_t ownerLine) {
  ClipMapBuild b;
  b.texture = std::make_shared<SceneTexture>();
  b.texture->home = std::make_shared<ObjectModel>();
  // Images named without a usable path are looked for beside the scene first.
  b.texture->home->fileName = path_;
  size_t open;
  const std::string head = nextLine(open, ownerLine, "a clip map");
  const std::vector<std::string> hw = words(head);
  if (hw.size() < 2 || hw[0] != "{" || hw[1] != "Texture") fail(open, "expected \"{ Texture\", found \"" + head + "\"");
  for (;;) {
    size_t index;
    const std::string l = nextLine(index, open, "a clip map");
    if (l == "}") break;
    if (l[0] == '{') b.texture->layers.push_back(readClipLayer(b, index, l));
    // Other lines at this level say nothing a clip map needs.
  }
  return b.texture;
}

TextureLayer Parser::readClipLayer(ClipMapBuild& b, size_t open, const std::string& head) {
  const std::vector<std::string> hw = words(head);
  TextureLayer l;
  const std::string kind = hw.size() > 1 ? hw[1] : std::string();
  if (kind == "ImageMap") {
    l.type = TextureType::ImageMap;
  } else if (kind == "Procedural") {
    l.type = TextureType::Procedural;
    l.procedure = quoted(head, 2);
    if (l.procedure.empty()) fail(open, "a procedural layer needs its name, as { Procedural \"Checkerboard\"");
  } else if (kind == "Gradient") {
    l.type = TextureType::Gradient;
  } else {
    fail(open, "unknown kind of clip map layer \"" + kind + "\" (ImageMap, Procedural or Gradient)");
  }
  for (;;) {
    size_t line;
    const std::string text = nextLine(line, open, "a clip map layer");
    if (text == "}") break;
    if (text[0] == '{') {
      skipBlock(line);
      continue;
    }
    try {
      clipLayerLine(b, l, line, text);
    } catch (const MissingValue& e) {
      noteMissing(e);
    }
  }
  return l;
}

void Parser::clipLayerLine(ClipMapBuild& b, TextureLayer& l, size_t line, const std::string& text) {
  ObjectModel& home = *b.texture->home;
  const std::vector<std::string> w = words(text);
  const std::string& key = w[0];
  if (key == "Enable") l.enabled = integer(w, 1, line) != 0;
  else if (key == "Opacity") l.opacityEnvelope = lineEnvelopes(b, line, numbersOrEnvelopes(w, line, 1, &l.opacity), 1.0);
  else if (key == "BlendMode") l.blend = BlendMode(ranged(w, 1, line, 0, 7));
  else if (key == "Negative") l.negative = integer(w, 1, line) != 0;
  else if (key == "Axis") l.axis = int(ranged(w, 1, line, 0, 2));
  else if (key == "Projection") l.projection = Projection(ranged(w, 1, line, 0, 5));
  else if (key == "Image") {
    const std::string path = quoted(text, 1);
    if (path.empty()) fail(line, "Image needs the image's file name");
    auto same = std::find_if(home.clips.begin(), home.clips.end(), [&](const Clip& c) { return c.path == path; });
    if (same == home.clips.end()) {
      Clip c;
      c.index = uint32_t(home.clips.size() + 1);
      c.kind = ClipKind::Still;
      c.path = path;
      home.clips.push_back(c);
      same = home.clips.end() - 1;
    }
    l.clip = same->index;
  } else if (key == "Center") clipVector(b, w, line, l.mapping.center, 1.0);
  else if (key == "Size") clipVector(b, w, line, l.mapping.size, 1.0);
  else if (key == "Rotation") clipVector(b, w, line, l.mapping.rotation, kDegToRad);
  else if (key == "CoordinateSystem") l.mapping.coordinateSystem = int(ranged(w, 1, line, 0, 1));
  else if (key == "WrapType") {
    l.wrapWidth = WrapMode(ranged(w, 1, line, 0, 3));
    l.wrapHeight = WrapMode(ranged(w, 2, line, 0, 3));
  } else if (key == "WrapAmount") {
    double n[2] = {l.wrapWidthAmount, l.wrapHeightAmount};
    const std::vector<bool> enveloped = numbersOrEnvelopes(w, line, 2, n);
    l.wrapWidthAmount = n[0], l.wrapHeightAmount = n[1];
    // Each has an envelope of its own.
    l.wrapWidthEnvelope = lineEnvelopes(b, line, std::vector<bool>{bool(enveloped[0])}, 1.0);
    l.wrapHeightEnvelope = lineEnvelopes(b, line, std::vector<bool>{bool(enveloped[1])}, 1.0);
  } else if (key == "PixelBlending") l.pixelBlending = integer(w, 1, line) != 0;
  else if (key == "Antialias") {
    l.antialiasFlags = int(integer(w, 1, line));
    if (w.size() > 2) l.antialiasStrength = number(w, 2, line);
  } else if (key == "UVMap") l.uvMap = quoted(text, 1);
  else if (key == "Value") {
    const double v = number(w, 1, line);
    l.procedureValue = {v, v, v};
    if (w.size() > 2) l.procedureValue = {v, number(w, 2, line), number(w, 3, line)};
  } else if (key == "Parameter") l.gradientParameter = quoted(text, 1);
  else if (key == "Item") l.gradientItem = quoted(text, 1);
  else if (key == "Range") {
    l.gradientStart = number(w, 1, line);
    l.gradientEnd = number(w, 2, line);
  } else if (key == "Repeat") l.gradientRepeat = int(integer(w, 1, line));
  else if (key == "Key") {
    GradientKey k;
    k.input = number(w, 1, line);
    for (size_t c = 0; c < 4; ++c) k.output[c] = number(w, 2 + c, line);
    const uint16_t shape = w.size() > 6 ? uint16_t(ranged(w, 6, line, 0, 2)) : 0;
    // Shapes are kept for every key once any key gives one.
    if (shape != 0 && l.gradientKeyShapes.size() < l.gradientKeys.size())
      l.gradientKeyShapes.resize(l.gradientKeys.size(), 0);
    if (shape != 0 || !l.gradientKeyShapes.empty()) l.gradientKeyShapes.push_back(shape);
    l.gradientKeys.push_back(k);
  }
  // Anything else is a line this reader doesn't need.
}

}  // namespace host::lws
