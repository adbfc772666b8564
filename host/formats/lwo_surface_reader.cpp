// Surfaces of LWO2 and LWO3 files. Mended here, and told through the cursor's FlawLog:
// - a sub-chunk shorter than its fields: the fields it holds are read, the others keep their
//   defaults; longer: the rest is skipped (sub-chunks of variable size excepted);
// - a texture block that doesn't start with a known header, or is empty: left out;
// - gradient shapes (IKEY) that don't number the keys (FKEY): taken as they are, missing ones
//   linear; a vparam count that disagrees with the doubles after it: the doubles are taken.
#include "host/formats/lwo_surface_reader.h"

#include <algorithm>
#include <cstring>

namespace host::lwo {
namespace {

uint32_t optionalVx(Cursor& c) { return c.optionalVx(); }

SurfaceChannel* scalarChannel(Surface& s, uint32_t id) {
  switch (id) {
    case chunkId("LUMI"): return &s.luminosity;
    case chunkId("DIFF"): return &s.diffuse;
    case kSpecularChunk: return &s.specularity;
    case chunkId("GLOS"): return &s.glossiness;
    case chunkId("REFL"): return &s.reflectivity;
    case chunkId("TRAN"): return &s.transparency;
    case chunkId("TRNL"): return &s.translucency;
    case chunkId("RIND"): return &s.ior;
    case chunkId("BUMP"): return &s.bump;
    case chunkId("CLRH"): return &s.colorHighlights;
    case chunkId("CLRF"): return &s.colorFilter;
    case chunkId("ADTR"): return &s.additiveTransparency;
    case chunkId("SHRP"): return &s.diffuseSharpness;
    case chunkId("RSAN"): return &s.reflectionSeamAngle;
    case chunkId("TSAN"): return &s.refractionSeamAngle;
    case chunkId("RBLR"): return &s.reflectionBlurring;
    case chunkId("TBLR"): return &s.refractionBlurring;
    default: return nullptr;
  }
}

void readVector(Cursor& c, EnvelopedVector& v) {
  for (int a = 0; a < 3; ++a)
    if (c.has(4)) v.value[a] = c.f4();
  v.envelope = optionalVx(c);
}

void readMapping(Cursor& tmap, bool longLengths, TextureMapping& m) {
  Sub sub;
  while (nextSub(tmap, longLengths, sub)) {
    Cursor c = headOf(sub, longLengths);
    bool known = true;
    switch (sub.id) {
      case chunkId("CNTR"): readVector(c, m.center); break;
      case chunkId("SIZE"): readVector(c, m.size); break;
      case chunkId("ROTA"): readVector(c, m.rotation); break;
      case chunkId("OREF"): m.referenceObject = c.s0(); break;
      case chunkId("FALL"):
        if (c.has(2)) m.falloffType = c.u2();
        readVector(c, m.falloff);
        break;
      case chunkId("CSYS"): if (c.has(2)) m.coordinateSystem = c.u2(); break;
      default: known = false; break;
    }
    c.endFields(known);
  }
}

void readBlockHeader(Sub& header, bool longLengths, TextureLayer& t) {
  Cursor head = headOf(header, longLengths);
  t.ordinal = head.s0();
  Cursor& body = longLengths ? header.body : head;
  Sub sub;
  while (nextSub(body, longLengths, sub)) {
    Cursor c = headOf(sub, longLengths);
    bool known = true;
    switch (sub.id) {
      case chunkId("CHAN"): if (c.has(4)) t.channel = c.id(); break;
      case chunkId("ENAB"): if (c.has(2)) t.enabled = c.u2() != 0; break;
      case chunkId("OPAC"): {
        if (c.has(2)) {
          uint16_t mode = c.u2();
          t.blend = mode <= 7 ? BlendMode(mode) : BlendMode::Normal;
        }
        if (c.has(4)) t.opacity = c.f4();
        t.opacityEnvelope = optionalVx(c);
        break;
      }
      case chunkId("AXIS"): if (c.has(2)) t.axis = c.u2(); break;
      case chunkId("NEGA"): if (c.has(2)) t.negative = c.u2() != 0; break;
      default: known = false; break;
    }
    c.endFields(known);
  }
}

}  // namespace

bool readBlock(Sub& block, bool longLengths, TextureLayer& t) {
  t = TextureLayer();
  Cursor& body = block.body;
  Sub sub;
  bool first = true;
  while (nextSub(body, longLengths, sub)) {
    if (first) {
      first = false;
      switch (sub.id) {
        case chunkId("IMAP"): t.type = TextureType::ImageMap; break;
        case chunkId("PROC"): t.type = TextureType::Procedural; break;
        case chunkId("GRAD"): t.type = TextureType::Gradient; break;
        case chunkId("SHDR"): t.type = TextureType::Shader; break;
        default:
          body.noteAt(body.begin(), "texture block of unknown kind",
                      "texture block starts with '" + idName(sub.id) + "', not a layer header: the block is left out");
          return false;
      }
      readBlockHeader(sub, longLengths, t);
      continue;
    }
    if (sub.id == chunkId("TMAP")) {
      Cursor tmap = headOf(sub, longLengths);
      readMapping(longLengths ? sub.body : tmap, longLengths, t.mapping);
      continue;
    }
    Cursor c = headOf(sub, longLengths);
    bool known = true;
    switch (sub.id) {
      case chunkId("PROJ"):
        if (c.has(2)) {
          uint16_t p = c.u2();
          t.projection = p <= 5 ? Projection(p) : Projection::Planar;
        }
        break;
      case chunkId("AXIS"): if (c.has(2)) t.axis = c.u2(); break;
      case chunkId("IMAG"): if (c.hasVx()) t.clip = c.vx(); break;
      case chunkId("WRAP"):
        if (c.has(2)) {
          uint16_t w = c.u2();
          t.wrapWidth = w <= 3 ? WrapMode(w) : WrapMode::Repeat;
        }
        if (c.has(2)) {
          uint16_t h = c.u2();
          t.wrapHeight = h <= 3 ? WrapMode(h) : WrapMode::Repeat;
        }
        break;
      case chunkId("WRPW"):
        if (c.has(4)) t.wrapWidthAmount = c.f4();
        t.wrapWidthEnvelope = optionalVx(c);
        break;
      case chunkId("WRPH"):
        if (c.has(4)) t.wrapHeightAmount = c.f4();
        t.wrapHeightEnvelope = optionalVx(c);
        break;
      case chunkId("VMAP"): t.uvMap = c.s0(); break;
      case chunkId("AAST"):
        if (c.has(2)) t.antialiasFlags = c.u2();
        if (c.has(4)) t.antialiasStrength = c.f4();
        break;
      case chunkId("PIXB"): if (c.has(2)) t.pixelBlending = c.u2() != 0; break;
      case chunkId("STCK"):
        if (c.has(4)) t.stack = wholeNumber(c.f4());
        optionalVx(c);
        break;
      case chunkId("TAMP"):
        if (c.has(4)) t.amplitude = c.f4();
        t.amplitudeEnvelope = optionalVx(c);
        break;
      case chunkId("VALU"):
        known = false;  // one to three values
        for (int i = 0; i < 3 && c.left() >= 4; ++i) t.procedureValue[i] = c.f4();
        break;
      case chunkId("FUNC"):
        if (t.type == TextureType::Shader) {
          t.shaderName = c.s0();
          t.shaderData = c.rest();
        } else {
          t.procedure = c.s0();
          t.procedureData = c.rest();
        }
        break;
      case chunkId("PNAM"): t.gradientParameter = c.s0(); break;
      case chunkId("INAM"): t.gradientItem = c.s0(); break;
      case chunkId("GRST"): if (c.has(4)) t.gradientStart = c.f4(); optionalVx(c); break;
      case chunkId("GREN"): if (c.has(4)) t.gradientEnd = c.f4(); optionalVx(c); break;
      case chunkId("GRPT"): if (c.has(2)) t.gradientRepeat = c.u2(); break;
      case chunkId("FKEY"):
        while (c.left() >= 20) {
          GradientKey k;
          k.input = c.f4();
          for (int i = 0; i < 4; ++i) k.output[i] = c.f4();
          t.gradientKeys.push_back(k);
        }
        break;
      case chunkId("IKEY"):
        while (c.left() >= 2) t.gradientKeyShapes.push_back(c.u2());
        break;
      default: known = false; break;
    }
    c.endFields(known);
  }
  if (first) {
    body.noteAt(body.begin(), "empty texture block", "texture block holds no layer header: the block is left out");
    return false;
  }
  if (!t.gradientKeyShapes.empty() && t.gradientKeyShapes.size() != t.gradientKeys.size())
    body.noteAt(body.begin(), "gradient shapes disagree with keys",
                std::to_string(t.gradientKeyShapes.size()) + " key shape(s) for " + std::to_string(t.gradientKeys.size()) +
                    " gradient key(s): the shapes given are taken, the missing ones linear");
  return true;
}

void addLayer(Surface& s, TextureLayer layer) {
  std::vector<TextureLayer>* stack = nullptr;
  if (layer.type != TextureType::Shader) {
    if (layer.channel == chunkId("COLR")) stack = &s.color.layers;
    else if (SurfaceChannel* ch = scalarChannel(s, layer.channel)) stack = &ch->layers;
  }
  if (!stack) {
    s.otherLayers.push_back(std::move(layer));
    return;
  }
  // Layers apply in the byte order of their ordinals; equal ordinals keep their file order.
  auto at = std::upper_bound(stack->begin(), stack->end(), layer,
                             [](const TextureLayer& a, const TextureLayer& b) { return a.ordinal < b.ordinal; });
  stack->insert(at, std::move(layer));
}

namespace {

// One sub-chunk of a surface, either format.
void readSurfaceSub(Sub& sub, bool longLengths, Surface& s) {
  if (sub.id == chunkId("BLOK")) {
    TextureLayer t;
    if (readBlock(sub, longLengths, t)) addLayer(s, std::move(t));
    return;
  }
  Cursor c = headOf(sub, longLengths);
  bool known = true;
  if (SurfaceChannel* ch = scalarChannel(s, sub.id)) {
    if (c.has(4)) ch->value = c.f4();
    ch->envelope = optionalVx(c);
    c.endFields(true);
    return;
  }
  switch (sub.id) {
    case chunkId("COLR"):
      for (int a = 0; a < 3; ++a)
        if (c.has(4)) s.color.value[a] = c.f4();
      s.color.envelope = optionalVx(c);
      break;
    case chunkId("SIDE"): if (c.has(2)) s.sidedness = c.u2(); break;
    case chunkId("SMAN"): if (c.has(4)) s.smoothingAngle = c.f4(); break;
    case chunkId("RFOP"): if (c.has(2)) s.reflectionOptions = c.u2(); break;
    case chunkId("TROP"): if (c.has(2)) s.refractionOptions = c.u2(); break;
    case chunkId("RIMG"): if (c.hasVx()) s.reflectionImage = c.vx(); break;
    case chunkId("TIMG"): if (c.hasVx()) s.refractionImage = c.vx(); break;
    case chunkId("ALPH"):
      if (c.has(2)) s.alphaOptions = c.u2();
      if (c.has(4)) s.alphaValue = c.f4();
      break;
    case chunkId("LINE"):
      if (c.has(2)) s.lineFlags = c.u2();
      if (c.left() >= 4) {
        s.lineSize.value = c.f4();
        s.lineSize.envelope = optionalVx(c);
      }
      break;
    case chunkId("GLOW"):
      if (c.has(2)) c.u2();
      if (c.has(4)) s.glow.value = c.f4();
      s.glow.envelope = optionalVx(c);
      break;
    case chunkId("VCOL"):
      if (c.has(4)) s.vertexColoring = c.f4();
      if (c.hasVx()) s.vertexColoringEnvelope = c.vx();
      if (c.has(4)) s.vertexColorMapType = c.id();
      s.vertexColorMap = c.atEnd() ? std::string() : c.s0();
      break;
    default: known = false; break;
  }
  c.endFields(known);
}

}  // namespace

void readSurfaceLwo2(Cursor& body, ObjectModel& out) {
  Surface s;
  s.name = body.s0();
  s.source = body.atEnd() ? std::string() : body.s0();
  Sub sub;
  while (nextSub(body, false, sub)) readSurfaceSub(sub, false, s);
  out.surfaces.push_back(std::move(s));
}

// --- LWO3 material nodes -------------------------------------------------------------------

namespace {

// Where a named attribute of the material nodes lands in the surface.
struct NodeAttribute {
  const char* name;
  SurfaceChannel Surface::*channel;  // null for the ones handled by hand
  uint32_t textureChannel;
};

const NodeAttribute kNodeAttributes[] = {
    {"Luminosity", &Surface::luminosity, chunkId("LUMI")},
    {"Diffuse", &Surface::diffuse, chunkId("DIFF")},
    {"Specular", &Surface::specularity, kSpecularChunk},
    {"Glossiness", &Surface::glossiness, chunkId("GLOS")},
    {"Reflection", &Surface::reflectivity, chunkId("REFL")},
    {"Transparency", &Surface::transparency, chunkId("TRAN")},
    {"Refraction Index", &Surface::ior, chunkId("RIND")},
    {"Refraction Blur", &Surface::refractionBlurring, chunkId("TBLR")},
    {"Reflection Blur", &Surface::reflectionBlurring, chunkId("RBLR")},
    {"Translucency", &Surface::translucency, chunkId("TRNL")},
    {"Color Highlight", &Surface::colorHighlights, chunkId("CLRH")},
    {"Color Filter", &Surface::colorFilter, chunkId("CLRF")},
    {"Diffuse Sharpness", &Surface::diffuseSharpness, chunkId("SHRP")},
    {"Additive Transparency", &Surface::additiveTransparency, chunkId("ADTR")},
    {"Bump Height", &Surface::bump, 0},
    {"Reflection Map Seam Angle", &Surface::reflectionSeamAngle, 0},
    {"Refraction Map Seam Angle", &Surface::refractionSeamAngle, 0},
    {"Color", nullptr, chunkId("COLR")},
    {"Bump", nullptr, chunkId("BUMP")},
};

// A node attribute's value: the first numbers it holds, and its texture blocks.
struct AttributeValue {
  std::string type;  // "vparam", "vparam3", "int", "double", "ClipID", ...
  std::vector<double> numbers;
  std::vector<TextureLayer> layers;
};

void readValue(Sub& valu, AttributeValue& v, int depth) {
  if (depth > 8) valu.body.fail("values nested too deeply");
  Cursor head = headOf(valu, true);
  if (v.type.empty()) {
    v.type = head.s0();
    if (v.type == "int" || v.type == "ClipID") {
      if (head.left() >= 4) v.numbers.push_back(head.i4());
    } else if (v.type == "double") {
      if (head.left() >= 8) v.numbers.push_back(head.f8());
    }
  } else if (v.numbers.empty() && head.left() >= 4) {
    // vparam: a count of doubles, then the doubles. The doubles there are what counts.
    uint32_t count = head.u4();
    const size_t there = head.left() / 8;
    if (count != there)
      head.note("count disagrees with its items", "value count " + std::to_string(count) + " but " +
                                                      std::to_string(there) + " value(s) follow: those are taken");
    for (size_t i = 0; i < there && i < 4; ++i) v.numbers.push_back(head.f8());
  }
  Sub sub;
  while (nextSub(valu.body, true, sub)) {
    if (!sub.form) continue;
    if (sub.id == chunkId("VALU")) {
      readValue(sub, v, depth + 1);
    } else if (sub.id == chunkId("TXTR")) {
      Sub block;
      TextureLayer t;
      while (nextSub(sub.body, true, block))
        if (block.form && block.id == chunkId("BLOK") && readBlock(block, true, t)) v.layers.push_back(std::move(t));
    }
  }
}

void readEntry(Sub& entry, Surface& s) {
  std::string name;
  AttributeValue value;
  Sub sub;
  while (nextSub(entry.body, true, sub)) {
    if (!sub.form && sub.id == chunkId("NAME")) name = sub.body.s0();
    else if (sub.form && sub.id == chunkId("VALU")) readValue(sub, value, 0);
  }
  auto number = [&](double fallback) { return value.numbers.empty() ? fallback : value.numbers[0]; };
  for (const NodeAttribute& a : kNodeAttributes) {
    if (name != a.name) continue;
    if (a.channel) (s.*a.channel).value = number((s.*a.channel).value);
    if (name == "Color" && value.numbers.size() >= 3)
      for (int i = 0; i < 3; ++i) s.color.value[i] = value.numbers[i];
    for (TextureLayer& t : value.layers) {
      t.channel = a.textureChannel;  // 0 puts it with the layers of channels not read
      addLayer(s, std::move(t));
    }
    return;
  }
  if (name == "AlphaChannel") s.alphaOptions = wholeNumber(number(s.alphaOptions));
  else if (name == "ConstantAlpha") s.alphaValue = number(s.alphaValue);
  else if (name == "Reflection Options") s.reflectionOptions = wholeNumber(number(s.reflectionOptions));
  else if (name == "Refraction Options") s.refractionOptions = wholeNumber(number(s.refractionOptions));
  else if (name == "Reflection Map Image") s.reflectionImage = wholeIndex(number(0));
  else if (name == "Refraction Map Image") s.refractionImage = wholeIndex(number(0));
  else if (name == "Smoothing Angle" || name == "Smooth Threshold") s.smoothingAngle = number(s.smoothingAngle);
  else if (name == "Double Sided") s.sidedness = number(0) != 0 ? SideDouble : SideFront;
}

void findEntries(Cursor body, Surface& s, int depth) {
  if (depth > 16) body.fail("forms nested too deeply");
  Sub sub;
  while (nextSub(body, true, sub)) {
    if (!sub.form) continue;
    if (sub.id == chunkId("ENTR")) readEntry(sub, s);
    else findEntries(sub.body, s, depth + 1);
  }
}

}  // namespace

void readSurfaceLwo3(Sub& form, ObjectModel& out) {
  Surface s;
  Cursor head = headOf(form, true);
  s.name = head.s0();
  s.source = head.atEnd() ? std::string() : head.s0();
  Sub sub;
  while (nextSub(form.body, true, sub)) {
    if (sub.form && (sub.id == chunkId("NODS") || sub.id == chunkId("SSHA"))) findEntries(sub.body, s, 0);
    else readSurfaceSub(sub, true, s);
  }
  out.surfaces.push_back(std::move(s));
}

}  // namespace host::lwo
