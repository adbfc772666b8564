// The older object format. Mended here, besides the chunk walk and strings of lwo_chunks.h:
// - a surface sub-chunk shorter than its fields: the fields it holds are read, the others keep
//   their defaults; longer: the rest is skipped (texture parameters of variable size excepted);
// - LAYR shorter than its fields: as above;
// - a polygon naming a surface past SRFS: it takes the default surface (in lwo_reader.cpp).
// Point and polygon lists that aren't whole items, and corners past the points, fail.
#include "host/formats/lwob_reader.h"

#include <cmath>

#include "host/formats/lwo_chunks.h"

namespace host::lwo {
namespace {

// The old texture headers name their channel by the chunk and their kind by a string.
uint32_t textureChannel(uint32_t id) {
  switch (id) {
    case chunkId("CTEX"): return chunkId("COLR");
    case chunkId("DTEX"): return chunkId("DIFF");
    case chunkId("STEX"): return kSpecularChunk;
    case chunkId("RTEX"): return chunkId("REFL");
    case chunkId("TTEX"): return chunkId("TRAN");
    case chunkId("LTEX"): return chunkId("LUMI");
    case chunkId("BTEX"): return chunkId("BUMP");
    default: return 0;
  }
}

void setKind(TextureLayer& t, const std::string& kind) {
  struct Map { const char* name; Projection projection; };
  static const Map maps[] = {
      {"Planar Image Map", Projection::Planar},           {"Cylindrical Image Map", Projection::Cylindrical},
      {"Spherical Image Map", Projection::Spherical},     {"Cubic Image Map", Projection::Cubic},
      {"Front Projection Image Map", Projection::Front},
  };
  for (const Map& m : maps)
    if (kind == m.name) {
      t.type = TextureType::ImageMap;
      t.projection = m.projection;
      return;
    }
  t.type = TextureType::Procedural;
  t.procedure = kind;
}

class LwobSurfaceReader {
 public:
  LwobSurfaceReader(ObjectModel& out) : out_(out) {}

  void read(Cursor& c) {
    Surface s;
    s.name = c.s0();
    // Old files give levels as integers out of 256, and the V-forms as exact floats that
    // win when present, whichever comes first.
    bool exact[5] = {false, false, false, false, false};
    SurfaceChannel* levels[5] = {&s.luminosity, &s.diffuse, &s.specularity, &s.reflectivity, &s.transparency};
    s.glossiness.value = 0.4;
    Sub sub;
    while (nextSub(c, false, sub)) {
      Cursor& b = sub.body;
      readSub(sub.id, b, s, levels, exact);
    }
    finishTexture(s);
    out_.surfaces.push_back(std::move(s));
  }

 private:
  // One sub-chunk of a surface; fields a short one lacks keep their defaults.
  void readSub(uint32_t id, Cursor& b, Surface& s, SurfaceChannel* levels[5], bool exact[5]) {
    bool known = true;
    int level = levelIndex(id);
    if (level >= 0) {
      if (b.has(2) && !exact[level]) levels[level]->value = b.u2() / 256.0;
      return b.endFields(true);
    }
    level = exactIndex(id);
    if (level >= 0) {
      if (b.has(4)) {
        levels[level]->value = b.f4();
        exact[level] = true;
      }
      return b.endFields(true);
    }
    if (uint32_t channel = textureChannel(id)) {
      finishTexture(s);
      texture_ = TextureLayer();
      texture_.channel = channel;
      setKind(texture_, b.s0());
      inTexture_ = true;
      return b.endFields(true);
    }
    switch (id) {
      case chunkId("COLR"):
        for (int a = 0; a < 3; ++a)
          if (b.has(1)) s.color.value[a] = b.u1() / 255.0;
        if (b.left() == 1) b.u1();  // the fourth byte is unused
        break;
      case chunkId("FLAG"): {
        if (!b.has(2)) break;
        uint16_t f = b.u2();
        s.colorHighlights.value = (f & 8) ? 1.0 : 0.0;
        s.colorFilter.value = (f & 16) ? 1.0 : 0.0;
        s.sidedness = (f & 256) ? SideDouble : SideFront;
        s.additiveTransparency.value = (f & 512) ? 1.0 : 0.0;
        if (f & 1) s.luminosity.value = std::max(s.luminosity.value, 1.0);
        break;
      }
      case chunkId("GLOS"): {
        // A specular exponent (16, 64, 256, 1024 for low to maximum) becomes a fraction.
        if (!b.has(2)) break;
        uint16_t g = b.u2();
        s.glossiness.value = g > 0 ? std::log2(double(g)) / 10.0 : 0.0;
        break;
      }
      case chunkId("RFLT"): if (b.has(2)) s.reflectionOptions = b.u2(); break;
      case chunkId("RIMG"): s.reflectionImage = clipFor(b.s0()); break;
      case chunkId("RSAN"): if (b.has(4)) s.reflectionSeamAngle.value = b.f4() * M_PI / 180.0; break;
      case chunkId("RIND"): if (b.has(4)) s.ior.value = b.f4(); break;
      case chunkId("SMAN"): if (b.has(4)) s.smoothingAngle = b.f4(); break;
      case chunkId("ALPH"):
        if (b.has(2)) s.alphaOptions = b.u2();
        if (b.left() >= 2) s.alphaValue = b.u2() / 255.0;
        break;
      // Texture parameters belong to the most recent texture header.
      case chunkId("TFLG"):
        if (inTexture_ && b.has(2)) {
          uint16_t f = b.u2();
          texture_.axis = (f & 1) ? 0 : (f & 2) ? 1 : 2;
          texture_.mapping.coordinateSystem = (f & 8) ? 1 : 0;
          texture_.negative = (f & 16) != 0;
          texture_.pixelBlending = (f & 32) != 0;
          texture_.antialiasFlags = (f & 64) ? 1 : 0;
        }
        break;
      case chunkId("TSIZ"): if (inTexture_) readVec(b, texture_.mapping.size.value); break;
      case chunkId("TCTR"): if (inTexture_) readVec(b, texture_.mapping.center.value); break;
      case chunkId("TFAL"): if (inTexture_) readVec(b, texture_.mapping.falloff.value); break;
      case chunkId("TIMG"): if (inTexture_) texture_.clip = clipFor(b.s0()); break;
      case chunkId("TWRP"):
        if (inTexture_) {
          if (b.has(2)) {
            uint16_t w = b.u2();
            texture_.wrapWidth = w <= 3 ? WrapMode(w) : WrapMode::Repeat;
          }
          if (b.has(2)) {
            uint16_t h = b.u2();
            texture_.wrapHeight = h <= 3 ? WrapMode(h) : WrapMode::Repeat;
          }
        }
        break;
      case chunkId("TAMP"): if (inTexture_ && b.has(4)) texture_.amplitude = b.f4(); break;
      case chunkId("TAAS"): if (inTexture_ && b.has(4)) texture_.antialiasStrength = b.f4(); break;
      case chunkId("TOPC"): if (inTexture_ && b.has(4)) texture_.opacity = b.f4(); break;
      case chunkId("TVAL"): if (inTexture_ && b.has(2)) texture_.procedureValue[0] = b.u2() / 256.0; break;
      case chunkId("TCLR"):
        if (inTexture_)
          for (int a = 0; a < 3; ++a)
            if (b.has(1)) texture_.procedureValue[a] = b.u1() / 255.0;
        known = false;  // three or four bytes
        break;
      case chunkId("TFP0"): case chunkId("TFP1"): case chunkId("TFP2"): case chunkId("TFP3"):
        if (inTexture_ && b.has(4)) texture_.procedureParameters.push_back(b.f4());
        known = false;
        break;
      default: known = false; break;
    }
    // Parameters of no texture are skipped unread.
    if (!inTexture_ && id != chunkId("COLR") && id >> 24 == 'T') known = false;
    b.endFields(known);
  }

  static int levelIndex(uint32_t id) {
    switch (id) {
      case chunkId("LUMI"): return 0;
      case chunkId("DIFF"): return 1;
      case kSpecularChunk: return 2;
      case chunkId("REFL"): return 3;
      case chunkId("TRAN"): return 4;
      default: return -1;
    }
  }
  static int exactIndex(uint32_t id) {
    switch (id) {
      case chunkId("VLUM"): return 0;
      case chunkId("VDIF"): return 1;
      case chunkId("VSPC"): return 2;
      case chunkId("VRFL"): return 3;
      case chunkId("VTRN"): return 4;
      default: return -1;
    }
  }
  static void readVec(Cursor& b, std::array<double, 3>& v) {
    for (int a = 0; a < 3; ++a)
      if (b.has(4)) v[a] = b.f4();
  }

  void finishTexture(Surface& s) {
    if (!inTexture_) return;
    inTexture_ = false;
    TextureLayer& t = texture_;
    std::vector<TextureLayer>* stack = nullptr;
    switch (t.channel) {
      case chunkId("COLR"): stack = &s.color.layers; break;
      case chunkId("DIFF"): stack = &s.diffuse.layers; break;
      case kSpecularChunk: stack = &s.specularity.layers; break;
      case chunkId("REFL"): stack = &s.reflectivity.layers; break;
      case chunkId("TRAN"): stack = &s.transparency.layers; break;
      case chunkId("LUMI"): stack = &s.luminosity.layers; break;
      case chunkId("BUMP"): stack = &s.bump.layers; break;
      default: stack = &s.otherLayers; break;
    }
    stack->push_back(std::move(t));
  }

  // Old files name images directly; they become clips so that all formats look alike.
  uint32_t clipFor(const std::string& path) {
    if (path.empty() || path == "(none)") return 0;
    for (const Clip& c : out_.clips)
      if (c.path == path) return c.index;
    Clip c;
    c.index = uint32_t(out_.clips.size() + 1);
    c.kind = ClipKind::Still;
    c.path = path;
    out_.clips.push_back(c);
    return c.index;
  }

  ObjectModel& out_;
  TextureLayer texture_;
  bool inTexture_ = false;
};

void readPolygons(Cursor& c, Layer& layer) {
  // Detail polygons follow their parent with a count; they are read as ordinary polygons.
  while (c.left() >= 2) {
    uint16_t count = c.u2();
    // Checked before sizing, so a bad count can't claim memory.
    if (size_t(count) * 2 + 2 > c.left())
      c.fail("a polygon of " + std::to_string(count) + " corners runs past the end of its chunk (" +
             std::to_string(c.left()) + " bytes left)");
    Polygon p;
    p.vertices.resize(count);
    for (uint16_t i = 0; i < count; ++i) {
      uint16_t v = c.u2();
      if (v >= layer.points.size()) c.fail("point index " + std::to_string(v) + " out of range");
      p.vertices[i] = v;
    }
    int16_t surface = c.i2();
    if (surface < 0) {
      surface = int16_t(-surface);
      c.u2();  // number of detail polygons
    }
    // Surfaces count from 1 in SRFS order, which is the TAGS order here.
    p.surface = surface > 0 ? surface - 1 : -1;
    layer.polygons.push_back(std::move(p));
  }
  if (!c.atEnd()) c.fail("stray byte after the polygons");
}

}  // namespace

void readLwob(Cursor& form, ObjectModel& out) {
  out.layers.emplace_back();
  bool layerNamed = false;
  LwobSurfaceReader surfaces(out);
  Sub sub;
  while (nextSub(form, true, sub)) {
    Cursor& c = sub.body;
    Layer& layer = out.layers.back();
    switch (sub.id) {
      case chunkId("LAYR"): {
        // Layered files of this generation: number, flags, name; points and polygons follow.
        if (layerNamed || !layer.points.empty() || !layer.polygons.empty()) out.layers.emplace_back();
        Layer& l = out.layers.back();
        if (c.has(2)) l.number = c.u2();
        if (c.has(2)) l.flags = c.u2();
        l.name = c.atEnd() ? std::string() : c.s0();
        c.endFields(true);
        layerNamed = true;
        break;
      }
      case chunkId("SRFS"):
        while (!c.atEnd()) out.tags.push_back(c.s0());
        break;
      case chunkId("PNTS"):
        if (c.left() % 12 != 0) c.fail("point data is not a multiple of 12 bytes");
        layer.points.reserve(layer.points.size() + c.left() / 12);
        while (!c.atEnd()) {
          Point3f p;
          for (int a = 0; a < 3; ++a) p[a] = c.f4();
          layer.points.push_back(p);
        }
        break;
      case chunkId("POLS"): readPolygons(c, layer); break;
      case chunkId("SURF"): surfaces.read(c); break;
      default: break;
    }
  }
}

}  // namespace host::lwo
