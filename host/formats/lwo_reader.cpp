#include "host/formats/lwo_reader.h"

#include <algorithm>
#include <cmath>
#include <fstream>

#include "host/formats/lwo_chunks.h"
#include "host/formats/lwo_surface_reader.h"
#include "host/formats/lwob_reader.h"

namespace host {
namespace {

using lwo::Cursor;
using lwo::FormatError;
using lwo::Sub;

constexpr uint32_t kFace = chunkId("FACE");

// Reads the geometry and the top-level records of an LWO2 or LWO3 file. Vertex and polygon
// indices in PTAG, VMAP and VMAD refer to the most recent PNTS and POLS chunks of the layer,
// so their starting indices are kept while walking.
class ObjectReader {
 public:
  ObjectReader(ObjectModel& out, bool lwo3) : out_(out), lwo3_(lwo3) {}

  void read(Cursor& form) {
    Sub sub;
    while (lwo::nextSub(form, true, sub)) {
      if (!sub.form) {
        readChunk(sub.id, sub.body);
      } else if (sub.id == chunkId("SURF")) {
        lwo::readSurfaceLwo3(sub, out_);
      } else if (sub.id == chunkId("CLIP")) {
        readClip(sub);
      } else if (sub.id == chunkId("ENVL")) {
        Cursor head = lwo::headOf(sub, true);
        readEnvelope(head, &sub.body, true);
      }
    }
  }

 private:
  void readChunk(uint32_t id, Cursor& c) {
    switch (id) {
      case chunkId("TAGS"):
        while (!c.atEnd()) out_.tags.push_back(c.s0Lenient());
        break;
      case chunkId("LAYR"): readLayer(c); break;
      case chunkId("PNTS"): readPoints(c); break;
      case chunkId("BBOX"): {
        Layer& l = layer();
        for (int a = 0; a < 3; ++a) l.boundsMin[a] = c.f4();
        for (int a = 0; a < 3; ++a) l.boundsMax[a] = c.f4();
        l.hasBoundingBox = true;
        break;
      }
      case chunkId("VMAP"): readVertexMap(c, false); break;
      case chunkId("VMAD"): readVertexMap(c, true); break;
      case chunkId("POLS"): readPolygons(c); break;
      case chunkId("PTAG"): readPolygonTags(c); break;
      case chunkId("ENVL"): readEnvelope(c, &c, false); break;
      case chunkId("CLIP"): {
        Sub s{id, false, c};
        readClip(s);
        break;
      }
      case chunkId("SURF"): lwo::readSurfaceLwo2(c, out_); break;
      default: break;  // DESC, TEXT, ICON, VMPA, OTAG and others the renderer doesn't use
    }
  }

  Layer& layer() {
    if (out_.layers.empty()) out_.layers.emplace_back();
    return out_.layers.back();
  }

  void readLayer(Cursor& c) {
    Layer l;
    l.number = c.u2();
    l.flags = c.u2();
    for (int a = 0; a < 3; ++a) l.pivot[a] = c.f4();
    l.name = c.atEnd() ? std::string() : c.s0Lenient();
    if (c.left() >= 2) {
      uint16_t parent = c.u2();
      l.parent = parent == 0xFFFF ? -1 : parent;  // some writers spell "no parent" this way
    }
    out_.layers.push_back(std::move(l));
    pointBase_ = polygonBase_ = 0;
  }

  void readPoints(Cursor& c) {
    Layer& l = layer();
    if (c.left() % 12 != 0) c.fail("point data is not a multiple of 12 bytes");
    pointBase_ = l.points.size();
    l.points.reserve(l.points.size() + c.left() / 12);
    while (!c.atEnd()) {
      Point3f p;
      for (int a = 0; a < 3; ++a) p[a] = c.f4();
      l.points.push_back(p);
    }
  }

  uint32_t pointIndex(Cursor& c, const Layer& l) {
    uint32_t v = c.vx();
    if (size_t(v) + pointBase_ >= l.points.size()) c.fail("point index " + std::to_string(v) + " out of range");
    return uint32_t(v + pointBase_);
  }

  uint32_t polygonIndex(Cursor& c, const Layer& l) {
    uint32_t v = c.vx();
    if (size_t(v) + polygonBase_ >= l.polygons.size())
      c.fail("polygon index " + std::to_string(v) + " out of range");
    return uint32_t(v + polygonBase_);
  }

  void readPolygons(Cursor& c) {
    Layer& l = layer();
    uint32_t type = c.id();
    polygonBase_ = l.polygons.size();
    while (!c.atEnd()) {
      uint16_t word = c.u2();
      Polygon p;
      p.type = type;
      p.flags = uint16_t(word >> 10);
      size_t count = word & 0x03FF;
      c.need(count * 2);  // before sizing, so a bad count can't claim memory
      p.vertices.resize(count);
      for (size_t i = 0; i < count; ++i) p.vertices[i] = pointIndex(c, l);
      l.polygons.push_back(std::move(p));
    }
  }

  void readPolygonTags(Cursor& c) {
    Layer& l = layer();
    uint32_t type = c.id();
    while (!c.atEnd()) {
      uint32_t poly = polygonIndex(c, l);
      uint16_t tag = c.u2();
      Polygon& p = l.polygons[poly];
      if (type == chunkId("SURF")) p.surface = tag;
      else if (type == chunkId("PART")) p.part = tag;
      else if (type == chunkId("SMGP")) p.smoothingGroup = tag;
      else l.otherPolygonTags[type].emplace_back(poly, tag);
    }
  }

  void readVertexMap(Cursor& c, bool perPolygon) {
    Layer& l = layer();
    uint32_t type = c.id();
    uint16_t dimension = c.u2();
    std::string name = c.s0();
    VertexMap* map = nullptr;
    for (VertexMap& m : l.vertexMaps)
      if (m.type == type && m.name == name && m.perPolygon == perPolygon && m.dimension == dimension) map = &m;
    if (!map) {
      l.vertexMaps.emplace_back();
      map = &l.vertexMaps.back();
      map->type = type;
      map->name = name;
      map->dimension = dimension;
      map->perPolygon = perPolygon;
    }
    while (!c.atEnd()) {
      map->points.push_back(pointIndex(c, l));
      if (perPolygon) map->polygons.push_back(polygonIndex(c, l));
      c.need(size_t(dimension) * 4);
      for (uint16_t i = 0; i < dimension; ++i) map->values.push_back(c.f4());
    }
  }

  void readEnvelope(Cursor& head, Cursor* subs, bool longLengths) {
    ObjectEnvelope e;
    e.index = head.vx();
    Cursor& body = longLengths ? *subs : head;
    Sub sub;
    while (lwo::nextSub(body, longLengths, sub)) {
      Cursor c = lwo::headOf(sub, longLengths);
      switch (sub.id) {
        case chunkId("TYPE"): e.type = c.u2(); break;
        case chunkId("PRE "): e.envelope.pre = behavior(c.u2()); break;
        case chunkId("POST"): e.envelope.post = behavior(c.u2()); break;
        case chunkId("NAME"): e.envelope.name = c.s0Lenient(); break;
        case chunkId("KEY "): {
          EnvelopeKey k;
          k.time = c.f4();
          k.value = c.f4();
          e.envelope.keys.push_back(k);
          break;
        }
        case chunkId("SPAN"): {
          if (e.envelope.keys.empty()) break;
          EnvelopeKey& k = e.envelope.keys.back();
          uint32_t shape = c.id();
          double params[4] = {0, 0, 0, 0};
          for (int i = 0; i < 4 && c.left() >= 4; ++i) params[i] = c.f4();
          if (shape == chunkId("TCB ")) {
            k.shape = KeyShape::TCB;
            k.tension = params[0], k.continuity = params[1], k.bias = params[2];
          } else {
            if (shape == chunkId("HERM")) k.shape = KeyShape::Hermite;
            else if (shape == chunkId("BEZI")) k.shape = KeyShape::Bezier1D;
            else if (shape == chunkId("LINE")) k.shape = KeyShape::Linear;
            else if (shape == chunkId("STEP")) k.shape = KeyShape::Stepped;
            else if (shape == chunkId("BEZ2")) k.shape = KeyShape::Bezier2D;
            for (int i = 0; i < 4; ++i) k.param[i] = params[i];
          }
          break;
        }
        default: break;
      }
    }
    std::stable_sort(e.envelope.keys.begin(), e.envelope.keys.end(),
                     [](const EnvelopeKey& a, const EnvelopeKey& b) { return a.time < b.time; });
    out_.envelopes.push_back(std::move(e));
  }

  static EnvBehavior behavior(uint16_t v) { return v <= 5 ? EnvBehavior(v) : EnvBehavior::Constant; }

  void readClip(Sub& clipSub) {
    bool longLengths = clipSub.form;
    Cursor head = lwo::headOf(clipSub, longLengths);
    Clip clip;
    clip.index = head.u4();
    Cursor& body = longLengths ? clipSub.body : head;
    Sub sub;
    bool kindSet = false;
    while (lwo::nextSub(body, longLengths, sub)) {
      Cursor c = lwo::headOf(sub, longLengths);
      switch (sub.id) {
        case chunkId("STIL"):
          clip.kind = ClipKind::Still;
          clip.path = c.s0Lenient();
          kindSet = true;
          break;
        case chunkId("ISEQ"):
          clip.kind = ClipKind::Sequence;
          clip.digits = c.u1();
          clip.flags = c.u1();
          clip.offset = c.i2();
          c.u2();
          clip.start = c.i2();
          clip.end = c.i2();
          clip.path = c.s0();
          clip.suffix = c.atEnd() ? std::string() : c.s0Lenient();
          kindSet = true;
          break;
        case chunkId("ANIM"):
          clip.kind = ClipKind::Animation;
          clip.path = c.s0();
          clip.server = c.atEnd() ? std::string() : c.s0Lenient();
          kindSet = true;
          break;
        case chunkId("XREF"):
          clip.kind = ClipKind::Reference;
          clip.referenceIndex = c.u4();
          clip.path = c.atEnd() ? std::string() : c.s0Lenient();
          kindSet = true;
          break;
        case chunkId("STCC"):
          if (!kindSet) clip.kind = ClipKind::Other;
          break;
        default: break;
      }
    }
    out_.clips.push_back(std::move(clip));
  }

  ObjectModel& out_;
  bool lwo3_;
  size_t pointBase_ = 0, polygonBase_ = 0;
};

}  // namespace

bool readObjectBuffer(const uint8_t* data, size_t size, const std::string& name, ObjectModel& out,
                      std::string& error) {
  out = ObjectModel();
  out.fileName = name;
  try {
    Cursor file(data, 0, size, "FORM");
    if (size < 12 || file.id() != chunkId("FORM")) file.fail("not an IFF file (no FORM header)");
    uint32_t length = file.u4();
    if (length < 4) file.fail("form too short");
    if (length > file.left())
      file.fail("form length " + std::to_string(length) + " runs past the end of the file (" +
                std::to_string(file.left()) + " bytes)");
    uint32_t type = file.id();
    Cursor form(data, 12, 8 + size_t(length), chunkName(type));
    if (type == chunkId("LWO2") || type == chunkId("LWO3")) {
      out.format = type == chunkId("LWO2") ? ObjectFormat::LWO2 : ObjectFormat::LWO3;
      ObjectReader reader(out, type == chunkId("LWO3"));
      reader.read(form);
    } else if (type == chunkId("LWOB") || type == chunkId("LWLO")) {
      out.format = ObjectFormat::LWOB;
      lwo::readLwob(form, out);
    } else {
      Cursor(data, 8, 12, "FORM").fail("not a LightWave object (form type '" + chunkName(type) + "')");
    }
    for (Layer& l : out.layers)
      if (!l.hasBoundingBox) l.computeBounds();
  } catch (const FormatError& e) {
    error = name + ": " + e.what() + " (chunk " + e.chunk + ", offset " + std::to_string(e.offset) + ")";
    out = ObjectModel();
    out.fileName = name;
    return false;
  } catch (const std::bad_alloc&) {
    error = name + ": out of memory while reading";
    out = ObjectModel();
    return false;
  }
  return true;
}

bool readObjectFile(const std::string& path, ObjectModel& out, std::string& error) {
  std::ifstream in(path, std::ios::binary | std::ios::ate);
  if (!in) {
    error = path + ": cannot open the file";
    out = ObjectModel();
    return false;
  }
  std::streamoff size = in.tellg();
  std::vector<uint8_t> data(size > 0 ? size_t(size) : 0);
  in.seekg(0);
  if (!in.read(reinterpret_cast<char*>(data.data()), std::streamsize(data.size()))) {
    error = path + ": read error";
    out = ObjectModel();
    return false;
  }
  return readObjectBuffer(data.data(), data.size(), path, out, error);
}

}  // namespace host
