#include "host/formats/lwo2_writer.h"

#include <fstream>

#include "host/formats/lwo_chunks.h"

namespace host {
namespace {

using lwo::Writer;

void vector3(Writer& w, const std::array<double, 3>& v) {
  for (double x : v) w.f4(float(x));
}

void channel(Writer& w, uint32_t id, const SurfaceChannel& c) {
  w.begin(id, false);
  w.f4(float(c.value));
  w.vx(c.envelope);
  w.end();
}

void envelopedVector(Writer& w, uint32_t id, const EnvelopedVector& v) {
  w.begin(id, false);
  vector3(w, v.value);
  w.vx(v.envelope);
  w.end();
}

void block(Writer& w, const TextureLayer& t) {
  w.begin(chunkId("BLOK"), false);
  uint32_t header = t.type == TextureType::ImageMap     ? chunkId("IMAP")
                    : t.type == TextureType::Procedural ? chunkId("PROC")
                    : t.type == TextureType::Gradient   ? chunkId("GRAD")
                                                        : chunkId("SHDR");
  w.begin(header, false);
  w.s0(t.ordinal);
  w.begin(chunkId("CHAN"), false); w.id(t.channel); w.end();
  w.begin(chunkId("ENAB"), false); w.u2(t.enabled ? 1 : 0); w.end();
  w.begin(chunkId("OPAC"), false); w.u2(uint16_t(t.blend)); w.f4(float(t.opacity)); w.vx(t.opacityEnvelope); w.end();
  w.begin(chunkId("NEGA"), false); w.u2(t.negative ? 1 : 0); w.end();
  w.end();

  if (t.type == TextureType::Shader) {
    w.begin(chunkId("FUNC"), false); w.s0(t.shaderName); w.raw(t.shaderData); w.end();
    w.end();
    return;
  }
  const TextureMapping& m = t.mapping;
  w.begin(chunkId("TMAP"), false);
  envelopedVector(w, chunkId("CNTR"), m.center);
  envelopedVector(w, chunkId("SIZE"), m.size);
  envelopedVector(w, chunkId("ROTA"), m.rotation);
  w.begin(chunkId("OREF"), false); w.s0(m.referenceObject); w.end();
  w.begin(chunkId("FALL"), false); w.u2(uint16_t(m.falloffType)); vector3(w, m.falloff.value); w.vx(m.falloff.envelope); w.end();
  w.begin(chunkId("CSYS"), false); w.u2(uint16_t(m.coordinateSystem)); w.end();
  w.end();

  switch (t.type) {
    case TextureType::ImageMap:
      w.begin(chunkId("PROJ"), false); w.u2(uint16_t(t.projection)); w.end();
      w.begin(chunkId("AXIS"), false); w.u2(uint16_t(t.axis)); w.end();
      w.begin(chunkId("IMAG"), false); w.vx(t.clip); w.end();
      w.begin(chunkId("WRAP"), false); w.u2(uint16_t(t.wrapWidth)); w.u2(uint16_t(t.wrapHeight)); w.end();
      w.begin(chunkId("WRPW"), false); w.f4(float(t.wrapWidthAmount)); w.vx(t.wrapWidthEnvelope); w.end();
      w.begin(chunkId("WRPH"), false); w.f4(float(t.wrapHeightAmount)); w.vx(t.wrapHeightEnvelope); w.end();
      if (!t.uvMap.empty()) { w.begin(chunkId("VMAP"), false); w.s0(t.uvMap); w.end(); }
      w.begin(chunkId("AAST"), false); w.u2(uint16_t(t.antialiasFlags)); w.f4(float(t.antialiasStrength)); w.end();
      w.begin(chunkId("PIXB"), false); w.u2(t.pixelBlending ? 1 : 0); w.end();
      w.begin(chunkId("STCK"), false); w.f4(float(t.stack)); w.vx(0); w.end();
      w.begin(chunkId("TAMP"), false); w.f4(float(t.amplitude)); w.vx(t.amplitudeEnvelope); w.end();
      break;
    case TextureType::Procedural:
      w.begin(chunkId("AXIS"), false); w.u2(uint16_t(t.axis)); w.end();
      w.begin(chunkId("VALU"), false); vector3(w, t.procedureValue); w.end();
      w.begin(chunkId("FUNC"), false); w.s0(t.procedure); w.raw(t.procedureData); w.end();
      break;
    case TextureType::Gradient:
      w.begin(chunkId("PNAM"), false); w.s0(t.gradientParameter); w.end();
      w.begin(chunkId("INAM"), false); w.s0(t.gradientItem); w.end();
      w.begin(chunkId("GRST"), false); w.f4(float(t.gradientStart)); w.end();
      w.begin(chunkId("GREN"), false); w.f4(float(t.gradientEnd)); w.end();
      w.begin(chunkId("GRPT"), false); w.u2(uint16_t(t.gradientRepeat)); w.end();
      w.begin(chunkId("FKEY"), false);
      for (const GradientKey& k : t.gradientKeys) {
        w.f4(float(k.input));
        for (double o : k.output) w.f4(float(o));
      }
      w.end();
      w.begin(chunkId("IKEY"), false);
      for (uint16_t s : t.gradientKeyShapes) w.u2(s);
      w.end();
      break;
    case TextureType::Shader: break;
  }
  w.end();
}

void surface(Writer& w, const Surface& s) {
  w.begin(chunkId("SURF"), true);
  w.s0(s.name);
  w.s0(s.source);
  w.begin(chunkId("COLR"), false);
  vector3(w, s.color.value);
  w.vx(s.color.envelope);
  w.end();
  const std::pair<uint32_t, const SurfaceChannel*> scalars[] = {
      {chunkId("LUMI"), &s.luminosity},        {chunkId("DIFF"), &s.diffuse},
      {lwo::kSpecularChunk, &s.specularity},       {chunkId("GLOS"), &s.glossiness},
      {chunkId("REFL"), &s.reflectivity},      {chunkId("TRAN"), &s.transparency},
      {chunkId("TRNL"), &s.translucency},      {chunkId("RIND"), &s.ior},
      {chunkId("BUMP"), &s.bump},              {chunkId("CLRH"), &s.colorHighlights},
      {chunkId("CLRF"), &s.colorFilter},       {chunkId("ADTR"), &s.additiveTransparency},
      {chunkId("SHRP"), &s.diffuseSharpness},  {chunkId("RSAN"), &s.reflectionSeamAngle},
      {chunkId("TSAN"), &s.refractionSeamAngle}, {chunkId("RBLR"), &s.reflectionBlurring},
      {chunkId("TBLR"), &s.refractionBlurring},
  };
  for (const auto& [id, c] : scalars) channel(w, id, *c);
  w.begin(chunkId("SMAN"), false); w.f4(float(s.smoothingAngle)); w.end();
  w.begin(chunkId("SIDE"), false); w.u2(uint16_t(s.sidedness)); w.end();
  w.begin(chunkId("RFOP"), false); w.u2(uint16_t(s.reflectionOptions)); w.end();
  w.begin(chunkId("TROP"), false); w.u2(uint16_t(s.refractionOptions)); w.end();
  if (s.reflectionImage) { w.begin(chunkId("RIMG"), false); w.vx(s.reflectionImage); w.end(); }
  if (s.refractionImage) { w.begin(chunkId("TIMG"), false); w.vx(s.refractionImage); w.end(); }
  w.begin(chunkId("ALPH"), false); w.u2(uint16_t(s.alphaOptions)); w.f4(float(s.alphaValue)); w.end();
  w.begin(chunkId("LINE"), false); w.u2(uint16_t(s.lineFlags)); w.f4(float(s.lineSize.value)); w.vx(s.lineSize.envelope); w.end();
  w.begin(chunkId("GLOW"), false); w.u2(0); w.f4(float(s.glow.value)); w.vx(s.glow.envelope); w.end();
  if (s.vertexColorMapType != 0 || !s.vertexColorMap.empty() || s.vertexColoring != 0.0) {
    w.begin(chunkId("VCOL"), false);
    w.f4(float(s.vertexColoring));
    w.vx(s.vertexColoringEnvelope);
    w.id(s.vertexColorMapType);
    w.s0(s.vertexColorMap);
    w.end();
  }
  // Stacks are written in their order; the ordinals put them back the same way.
  const std::vector<TextureLayer>* stacks[] = {
      &s.color.layers,        &s.luminosity.layers,   &s.diffuse.layers,   &s.specularity.layers,
      &s.glossiness.layers,   &s.reflectivity.layers, &s.transparency.layers, &s.translucency.layers,
      &s.ior.layers,          &s.bump.layers,         &s.colorHighlights.layers, &s.colorFilter.layers,
      &s.additiveTransparency.layers, &s.diffuseSharpness.layers, &s.reflectionSeamAngle.layers,
      &s.refractionSeamAngle.layers, &s.reflectionBlurring.layers, &s.refractionBlurring.layers,
      &s.otherLayers,
  };
  for (const auto* stack : stacks)
    for (const TextureLayer& t : *stack) block(w, t);
  w.end();
}

uint32_t shapeId(KeyShape s) {
  switch (s) {
    case KeyShape::TCB: return chunkId("TCB ");
    case KeyShape::Hermite: return chunkId("HERM");
    case KeyShape::Bezier1D: return chunkId("BEZI");
    case KeyShape::Linear: return chunkId("LINE");
    case KeyShape::Stepped: return chunkId("STEP");
    case KeyShape::Bezier2D: return chunkId("BEZ2");
  }
  return chunkId("TCB ");
}

void envelope(Writer& w, const ObjectEnvelope& e) {
  w.begin(chunkId("ENVL"), true);
  w.vx(e.index);
  w.begin(chunkId("TYPE"), false); w.u2(e.type); w.end();
  if (!e.envelope.name.empty()) { w.begin(chunkId("NAME"), false); w.s0(e.envelope.name); w.end(); }
  w.begin(chunkId("PRE "), false); w.u2(uint16_t(e.envelope.pre)); w.end();
  for (const EnvelopeKey& k : e.envelope.keys) {
    w.begin(chunkId("KEY "), false); w.f4(float(k.time)); w.f4(float(k.value)); w.end();
    w.begin(chunkId("SPAN"), false);
    w.id(shapeId(k.shape));
    if (k.shape == KeyShape::TCB) {
      w.f4(float(k.tension)); w.f4(float(k.continuity)); w.f4(float(k.bias));
    } else {
      for (double p : k.param) w.f4(float(p));
    }
    w.end();
  }
  w.begin(chunkId("POST"), false); w.u2(uint16_t(e.envelope.post)); w.end();
  w.end();
}

void clip(Writer& w, const Clip& c) {
  w.begin(chunkId("CLIP"), true);
  w.u4(c.index);
  switch (c.kind) {
    case ClipKind::Sequence:
      w.begin(chunkId("ISEQ"), false);
      w.u1(uint8_t(c.digits)); w.u1(uint8_t(c.flags)); w.i2(int16_t(c.offset)); w.u2(0);
      w.i2(int16_t(c.start)); w.i2(int16_t(c.end)); w.s0(c.path); w.s0(c.suffix);
      w.end();
      break;
    case ClipKind::Animation:
      w.begin(chunkId("ANIM"), false); w.s0(c.path); w.s0(c.server); w.end();
      break;
    case ClipKind::Reference:
      w.begin(chunkId("XREF"), false); w.u4(c.referenceIndex); w.s0(c.path); w.end();
      break;
    case ClipKind::Still:
    case ClipKind::Other:
      w.begin(chunkId("STIL"), false); w.s0(c.path); w.end();
      break;
  }
  w.end();
}

void vertexMapEntries(Writer& w, const VertexMap& m, uint32_t polygonBegin, uint32_t polygonEnd, bool& opened) {
  for (size_t i = 0; i < m.size(); ++i) {
    if (m.perPolygon && (m.polygons[i] < polygonBegin || m.polygons[i] >= polygonEnd)) continue;
    if (!opened) {
      w.begin(chunkId(m.perPolygon ? "VMAD" : "VMAP"), true);
      w.id(m.type);
      w.u2(m.dimension);
      w.s0(m.name);
      opened = true;
    }
    w.vx(m.points[i]);
    if (m.perPolygon) w.vx(m.polygons[i] - polygonBegin);
    const float* v = m.value(i);
    for (uint16_t d = 0; d < m.dimension; ++d) w.f4(v[d]);
  }
}

void layer(Writer& w, const Layer& l) {
  w.begin(chunkId("LAYR"), true);
  w.u2(l.number);
  w.u2(l.flags);
  for (float p : l.pivot) w.f4(p);
  w.s0(l.name);
  if (l.parent >= 0) w.u2(uint16_t(l.parent));
  w.end();

  w.begin(chunkId("PNTS"), true);
  for (const Point3f& p : l.points)
    for (float x : p) w.f4(x);
  w.end();
  if (l.hasBoundingBox) {
    w.begin(chunkId("BBOX"), true);
    for (float x : l.boundsMin) w.f4(x);
    for (float x : l.boundsMax) w.f4(x);
    w.end();
  }
  for (const VertexMap& m : l.vertexMaps) {
    if (m.perPolygon) continue;
    bool opened = false;
    vertexMapEntries(w, m, 0, 0, opened);
    if (opened) w.end();
  }

  // A POLS chunk holds one polygon type, and the tags and corner maps after it count its
  // polygons from zero, so each run of one type gets its own group of chunks.
  size_t begin = 0;
  while (begin < l.polygons.size()) {
    uint32_t type = l.polygons[begin].type;
    size_t end = begin;
    while (end < l.polygons.size() && l.polygons[end].type == type) ++end;
    w.begin(chunkId("POLS"), true);
    w.id(type);
    for (size_t i = begin; i < end; ++i) {
      const Polygon& p = l.polygons[i];
      if (p.vertices.size() > 0x03FF)
        w.overflow("polygon " + std::to_string(i) + " has " + std::to_string(p.vertices.size()) +
                   " corners, more than 1023");
      w.u2(uint16_t((p.flags << 10) | (p.vertices.size() & 0x03FF)));
      for (uint32_t v : p.vertices) w.vx(v);
    }
    w.end();
    auto tagChunk = [&](uint32_t tagType, auto value) {
      bool opened = false;
      for (size_t i = begin; i < end; ++i) {
        int32_t v = value(l.polygons[i]);
        if (v < 0) continue;
        if (!opened) { w.begin(chunkId("PTAG"), true); w.id(tagType); opened = true; }
        w.vx(uint32_t(i - begin));
        w.u2(uint16_t(v));
      }
      if (opened) w.end();
    };
    tagChunk(chunkId("SURF"), [](const Polygon& p) { return p.surface; });
    tagChunk(chunkId("PART"), [](const Polygon& p) { return p.part; });
    tagChunk(chunkId("SMGP"), [](const Polygon& p) { return p.smoothingGroup; });
    for (const auto& [tagType, pairs] : l.otherPolygonTags) {
      bool opened = false;
      for (const auto& [poly, value] : pairs) {
        if (poly < begin || poly >= end) continue;
        if (!opened) { w.begin(chunkId("PTAG"), true); w.id(tagType); opened = true; }
        w.vx(uint32_t(poly - begin));
        w.u2(uint16_t(value));
      }
      if (opened) w.end();
    }
    for (const VertexMap& m : l.vertexMaps) {
      if (!m.perPolygon) continue;
      bool opened = false;
      vertexMapEntries(w, m, uint32_t(begin), uint32_t(end), opened);
      if (opened) w.end();
    }
    begin = end;
  }
}

}  // namespace

bool writeLwo2(const ObjectModel& model, std::vector<uint8_t>& out, std::string& error) {
  Writer w;
  w.begin(chunkId("FORM"), true);
  w.id(chunkId("LWO2"));
  w.begin(chunkId("TAGS"), true);
  for (const std::string& t : model.tags) w.s0(t);
  w.end();
  for (const Layer& l : model.layers) layer(w, l);
  for (const ObjectEnvelope& e : model.envelopes) envelope(w, e);
  for (const Clip& c : model.clips) clip(w, c);
  for (const Surface& s : model.surfaces) surface(w, s);
  w.end();
  if (!w.problem().empty()) {
    error = model.fileName + ": " + w.problem();
    out.clear();
    return false;
  }
  out = std::move(w.data());
  return true;
}

std::vector<uint8_t> writeLwo2(const ObjectModel& model) {
  std::vector<uint8_t> out;
  std::string error;
  writeLwo2(model, out, error);
  return out;
}

bool writeLwo2File(const ObjectModel& model, const std::string& path, std::string& error) {
  std::vector<uint8_t> data;
  if (!writeLwo2(model, data, error)) return false;
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (!out) {
    error = path + ": cannot create the file";
    return false;
  }
  out.write(reinterpret_cast<const char*>(data.data()), std::streamsize(data.size()));
  out.close();
  if (!out) {
    error = path + ": write error";
    return false;
  }
  return true;
}

}  // namespace host
