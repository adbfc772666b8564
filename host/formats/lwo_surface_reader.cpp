#include "host/formats/lwo_surface_reader.h"

#include <algorithm>
#include <cstring>

namespace host::lwo {
namespace {

uint32_t optionalVx(Cursor& c) { return c.left() >= 2 ? c.vx() : 0; }

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
  for (int a = 0; a < 3; ++a) v.value[a] = c.f4();
  v.envelope = optionalVx(c);
}

void readMapping(Cursor& tmap, bool longLengths, TextureMapping& m) {
  Sub sub;
  while (nextSub(tmap, longLengths, sub)) {
    Cursor c = headOf(sub, longLengths);
    switch (sub.id) {
      case chunkId("CNTR"): readVector(c, m.center); break;
      case chunkId("SIZE"): readVector(c, m.size); break;
      case chunkId("ROTA"): readVector(c, m.rotation); break;
      case chunkId("OREF"): m.referenceObject = c.s0Lenient(); break;
      case chunkId("FALL"):
        m.falloffType = c.u2();
        readVector(c, m.falloff);
        break;
      case chunkId("CSYS"): m.coordinateSystem = c.u2(); break;
      default: break;
    }
  }
}

void readBlockHeader(Sub& header, bool longLengths, TextureLayer& t) {
  Cursor head = headOf(header, longLengths);
  t.ordinal = head.s0Lenient();
  Cursor& body = longLengths ? header.body : head;
  Sub sub;
  while (nextSub(body, longLengths, sub)) {
    Cursor c = headOf(sub, longLengths);
    switch (sub.id) {
      case chunkId("CHAN"): t.channel = c.id(); break;
      case chunkId("ENAB"): t.enabled = c.u2() != 0; break;
      case chunkId("OPAC"): {
        uint16_t mode = c.u2();
        t.blend = mode <= 7 ? BlendMode(mode) : BlendMode::Normal;
        t.opacity = c.f4();
        t.opacityEnvelope = optionalVx(c);
        break;
      }
      case chunkId("AXIS"): t.axis = c.u2(); break;
      case chunkId("NEGA"): t.negative = c.u2() != 0; break;
      default: break;
    }
  }
}

}  // namespace

TextureLayer readBlock(Sub& block, bool longLengths) {
  TextureLayer t;
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
        default: body.fail("texture block starts with '" + idName(sub.id) + "'");
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
    switch (sub.id) {
      case chunkId("PROJ"): {
        uint16_t p = c.u2();
        t.projection = p <= 5 ? Projection(p) : Projection::Planar;
        break;
      }
      case chunkId("AXIS"): t.axis = c.u2(); break;
      case chunkId("IMAG"): t.clip = c.vx(); break;
      case chunkId("WRAP"): {
        uint16_t w = c.u2(), h = c.u2();
        t.wrapWidth = w <= 3 ? WrapMode(w) : WrapMode::Repeat;
        t.wrapHeight = h <= 3 ? WrapMode(h) : WrapMode::Repeat;
        break;
      }
      case chunkId("WRPW"):
        t.wrapWidthAmount = c.f4();
        t.wrapWidthEnvelope = optionalVx(c);
        break;
      case chunkId("WRPH"):
        t.wrapHeightAmount = c.f4();
        t.wrapHeightEnvelope = optionalVx(c);
        break;
      case chunkId("VMAP"): t.uvMap = c.s0Lenient(); break;
      case chunkId("AAST"):
        t.antialiasFlags = c.u2();
        t.antialiasStrength = c.f4();
        break;
      case chunkId("PIXB"): t.pixelBlending = c.u2() != 0; break;
      case chunkId("STCK"): t.stack = int(c.f4()); break;
      case chunkId("TAMP"):
        t.amplitude = c.f4();
        t.amplitudeEnvelope = optionalVx(c);
        break;
      case chunkId("VALU"):
        for (int i = 0; i < 3 && c.left() >= 4; ++i) t.procedureValue[i] = c.f4();
        break;
      case chunkId("FUNC"):
        if (t.type == TextureType::Shader) {
          t.shaderName = c.s0Lenient();
          t.shaderData = c.rest();
        } else {
          t.procedure = c.s0Lenient();
          t.procedureData = c.rest();
        }
        break;
      case chunkId("PNAM"): t.gradientParameter = c.s0Lenient(); break;
      case chunkId("INAM"): t.gradientItem = c.s0Lenient(); break;
      case chunkId("GRST"): t.gradientStart = c.f4(); break;
      case chunkId("GREN"): t.gradientEnd = c.f4(); break;
      case chunkId("GRPT"): t.gradientRepeat = c.u2(); break;
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
      default: break;
    }
  }
  if (first) body.fail("empty texture block");
  return t;
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
    addLayer(s, readBlock(sub, longLengths));
    return;
  }
  Cursor c = headOf(sub, longLengths);
  if (SurfaceChannel* ch = scalarChannel(s, sub.id)) {
    ch->value = c.f4();
    ch->envelope = optionalVx(c);
    return;
  }
  switch (sub.id) {
    case chunkId("COLR"):
      for (int a = 0; a < 3; ++a) s.color.value[a] = c.f4();
      s.color.envelope = optionalVx(c);
      break;
    case chunkId("SIDE"): s.sidedness = c.u2(); break;
    case chunkId("SMAN"): s.smoothingAngle = c.f4(); break;
    case chunkId("RFOP"): s.reflectionOptions = c.u2(); break;
    case chunkId("TROP"): s.refractionOptions = c.u2(); break;
    case chunkId("RIMG"): s.reflectionImage = c.vx(); break;
    case chunkId("TIMG"): s.refractionImage = c.vx(); break;
    case chunkId("ALPH"):
      s.alphaOptions = c.u2();
      s.alphaValue = c.f4();
      break;
    case chunkId("LINE"):
      s.lineFlags = c.u2();
      if (c.left() >= 4) {
        s.lineSize.value = c.f4();
        s.lineSize.envelope = optionalVx(c);
      }
      break;
    case chunkId("GLOW"):
      c.u2();
      s.glow.value = c.f4();
      s.glow.envelope = optionalVx(c);
      break;
    case chunkId("VCOL"):
      s.vertexColoring = c.f4();
      s.vertexColoringEnvelope = c.vx();
      s.vertexColorMapType = c.id();
      s.vertexColorMap = c.s0Lenient();
      break;
    default: break;
  }
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
    v.type = head.s0Lenient();
    if (v.type == "int" || v.type == "ClipID") {
      if (head.left() >= 4) v.numbers.push_back(head.i4());
    } else if (v.type == "double") {
      if (head.left() >= 8) v.numbers.push_back(head.f8());
    }
  } else if (v.numbers.empty() && head.left() >= 4) {
    // vparam: a count of doubles, then the doubles.
    uint32_t count = head.u4();
    head.need(size_t(std::min<uint32_t>(count, 4)) * 8);
    for (uint32_t i = 0; i < count && i < 4; ++i) v.numbers.push_back(head.f8());
  }
  Sub sub;
  while (nextSub(valu.body, true, sub)) {
    if (!sub.form) continue;
    if (sub.id == chunkId("VALU")) {
      readValue(sub, v, depth + 1);
    } else if (sub.id == chunkId("TXTR")) {
      Sub block;
      while (nextSub(sub.body, true, block))
        if (block.form && block.id == chunkId("BLOK")) v.layers.push_back(readBlock(block, true));
    }
  }
}

void readEntry(Sub& entry, Surface& s) {
  std::string name;
  AttributeValue value;
  Sub sub;
  while (nextSub(entry.body, true, sub)) {
    if (!sub.form && sub.id == chunkId("NAME")) name = sub.body.s0Lenient();
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
  if (name == "AlphaChannel") s.alphaOptions = int(number(s.alphaOptions));
  else if (name == "ConstantAlpha") s.alphaValue = number(s.alphaValue);
  else if (name == "Reflection Options") s.reflectionOptions = int(number(s.reflectionOptions));
  else if (name == "Refraction Options") s.refractionOptions = int(number(s.refractionOptions));
  else if (name == "Reflection Map Image") s.reflectionImage = uint32_t(number(0));
  else if (name == "Refraction Map Image") s.refractionImage = uint32_t(number(0));
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
  s.name = head.s0Lenient();
  s.source = head.atEnd() ? std::string() : head.s0Lenient();
  Sub sub;
  while (nextSub(form.body, true, sub)) {
    if (sub.form && (sub.id == chunkId("NODS") || sub.id == chunkId("SSHA"))) findEntries(sub.body, s, 0);
    else readSurfaceSub(sub, true, s);
  }
  out.surfaces.push_back(std::move(s));
}

}  // namespace host::lwo
