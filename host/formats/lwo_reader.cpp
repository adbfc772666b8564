// Reads LWO2 and LWO3 files (and hands LWOB to its own reader). Where a flaw leaves the file's
// meaning plain it is mended and told once per kind in ObjectModel::warnings; where it doesn't,
// the read fails with the file, chunk path and offset. Mended here (the chunk walk, strings and
// short or long sub-chunks are in lwo_chunks.h):
// - a form length that disagrees with the file: a longer one is read to the end of the file
//   (a chunk cut by that end fails); a shorter one followed by chunks is read on to the end;
//   other bytes after the form are ignored;
// - LAYR, BBOX, envelope and clip sub-chunks shorter than their fields: the missing fields keep
//   their defaults (a partial bounding box is recomputed from the points); longer: the rest is
//   skipped; a POLS, PTAG or VMAP too short for its type is left out;
// - a polygon tag naming a tag past TAGS: the polygon takes the default surface (or no part).
// Not mended, since a byte lost anywhere in them shifts every item after it: point, polygon
// and vertex map lists that aren't whole items, and indices past the points or polygons.
#include "host/formats/lwo_reader.h"

#include <algorithm>
#include <cmath>
#include <fstream>

#include "host/formats/flaw_log.h"
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
        while (!c.atEnd()) out_.tags.push_back(c.s0());
        break;
      case chunkId("LAYR"): readLayer(c); break;
      case chunkId("PNTS"): readPoints(c); break;
      case chunkId("BBOX"): {
        float v[6];
        bool whole = true;
        for (float& x : v) whole = c.has(4) && (x = c.f4(), true);
        c.endFields(true);
        if (!whole) break;  // the bounds are then computed from the points
        Layer& l = layer();
        for (int a = 0; a < 3; ++a) l.boundsMin[a] = v[a], l.boundsMax[a] = v[3 + a];
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
    if (c.has(2)) l.number = c.u2();
    if (c.has(2)) l.flags = c.u2();
    for (int a = 0; a < 3; ++a)
      if (c.has(4)) l.pivot[a] = c.f4();
    l.name = c.atEnd() ? std::string() : c.s0();
    if (c.left() >= 2) {
      uint16_t parent = c.u2();
      l.parent = parent == 0xFFFF ? -1 : parent;  // some writers spell "no parent" this way
    }
    c.endFields(true);
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
    polygonBase_ = l.polygons.size();
    if (!c.has(4)) return c.endFields(true);
    uint32_t type = c.id();
    while (!c.atEnd()) {
      uint16_t word = c.u2();
      Polygon p;
      p.type = type;
      p.flags = uint16_t(word >> 10);
      size_t count = word & 0x03FF;
      // Checked before sizing, so a bad count can't claim memory.
      if (count * 2 > c.left())
        c.fail("a polygon of " + std::to_string(count) + " corners runs past the end of its chunk (" +
               std::to_string(c.left()) + " bytes left)");
      p.vertices.resize(count);
      for (size_t i = 0; i < count; ++i) p.vertices[i] = pointIndex(c, l);
      l.polygons.push_back(std::move(p));
    }
  }

  void readPolygonTags(Cursor& c) {
    Layer& l = layer();
    if (!c.has(4)) return c.endFields(true);
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
    if (!c.has(6)) return c.endFields(true);
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
    // Without its index no channel can name the envelope.
    if (!head.hasVx()) return head.endFields(false);
    e.index = head.vx();
    Cursor& body = longLengths ? *subs : head;
    Sub sub;
    while (lwo::nextSub(body, longLengths, sub)) {
      Cursor c = lwo::headOf(sub, longLengths);
      bool known = true;
      switch (sub.id) {
        case chunkId("TYPE"): if (c.has(2)) e.type = c.u2(); break;
        case chunkId("PRE "): if (c.has(2)) e.envelope.pre = behavior(c.u2()); break;
        case chunkId("POST"): if (c.has(2)) e.envelope.post = behavior(c.u2()); break;
        case chunkId("NAME"): e.envelope.name = c.s0(); break;
        case chunkId("KEY "): {
          EnvelopeKey k;
          if (c.has(4)) k.time = c.f4();
          if (c.has(4)) k.value = c.f4();
          e.envelope.keys.push_back(k);
          break;
        }
        case chunkId("SPAN"): {
          known = false;  // the shapes take different numbers of parameters
          if (e.envelope.keys.empty() || !c.has(4)) break;
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
        default: known = false; break;
      }
      c.endFields(known);
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
    // Without its index no texture can name the clip.
    if (!head.has(4)) return head.endFields(false);
    clip.index = head.u4();
    Cursor& body = longLengths ? clipSub.body : head;
    Sub sub;
    bool kindSet = false;
    while (lwo::nextSub(body, longLengths, sub)) {
      Cursor c = lwo::headOf(sub, longLengths);
      bool known = true;
      switch (sub.id) {
        case chunkId("STIL"):
          clip.kind = ClipKind::Still;
          clip.path = c.s0();
          kindSet = true;
          break;
        case chunkId("ISEQ"):
          clip.kind = ClipKind::Sequence;
          if (c.has(1)) clip.digits = c.u1();
          if (c.has(1)) clip.flags = c.u1();
          if (c.has(2)) clip.offset = c.i2();
          if (c.has(2)) c.u2();
          if (c.has(2)) clip.start = c.i2();
          if (c.has(2)) clip.end = c.i2();
          clip.path = c.atEnd() ? std::string() : c.s0();
          clip.suffix = c.atEnd() ? std::string() : c.s0();
          kindSet = true;
          break;
        case chunkId("ANIM"):
          clip.kind = ClipKind::Animation;
          clip.path = c.s0();
          clip.server = c.atEnd() ? std::string() : c.s0();
          kindSet = true;
          known = false;  // the server's own data follows
          break;
        case chunkId("XREF"):
          clip.kind = ClipKind::Reference;
          if (c.has(4)) clip.referenceIndex = c.u4();
          clip.path = c.atEnd() ? std::string() : c.s0();
          kindSet = true;
          break;
        case chunkId("STCC"):
          if (!kindSet) clip.kind = ClipKind::Other;
          known = false;
          break;
        default: known = false; break;
      }
      c.endFields(known);
    }
    out_.clips.push_back(std::move(clip));
  }

  ObjectModel& out_;
  bool lwo3_;
  size_t pointBase_ = 0, polygonBase_ = 0;
};

// A surface or part tag past the TAGS list names nothing: the polygon goes without.
void mendTags(ObjectModel& out, FlawLog& log) {
  const int32_t tags = int32_t(out.tags.size());
  const std::string list = out.format == ObjectFormat::LWOB ? "SRFS" : "TAGS";
  for (size_t l = 0; l < out.layers.size(); ++l) {
    std::vector<Polygon>& polygons = out.layers[l].polygons;
    for (size_t i = 0; i < polygons.size(); ++i) {
      for (int32_t* tag : {&polygons[i].surface, &polygons[i].part}) {
        if (*tag < tags) continue;
        const bool surface = tag == &polygons[i].surface;
        log.note(surface ? "surface tag past the list" : "part tag past the list",
                 "layer " + std::to_string(l + 1) + ", polygon " + std::to_string(i),
                 "tag " + std::to_string(*tag) + " is past the " + std::to_string(tags) + " names of " + list + ": " +
                     (surface ? "the polygon takes the default surface" : "the polygon has no part"));
        *tag = -1;
      }
    }
  }
}

// The form's window: the file's end stands for a form length that disagrees with it.
Cursor formWindow(const uint8_t* data, size_t size, uint32_t length, const std::string& type, FlawLog& log) {
  const size_t have = size - 8;
  Cursor form(data, 12, 8 + size_t(length), type, &log);
  if (length > have) {
    log.note("form length", lwo::placeOf("FORM", 4),
             "form length " + std::to_string(length) + " runs past the end of the file (" + std::to_string(have) +
                 " bytes after the header): read to the end of the file");
    form = Cursor(data, 12, size, type, &log);
    form.setCut();
  } else if (length < have && !((length & 1) && have == size_t(length) + 1 && data[size - 1] == 0)) {
    Cursor whole(data, 12, size, type, &log);
    if (lwo::startsChunk(whole, 8 + size_t(length), true)) {
      log.note("form length", lwo::placeOf("FORM", 4),
               "form length " + std::to_string(length) + " is shorter than the file (" + std::to_string(have) +
                   " bytes after the header): the chunks after it are read too");
      form = whole;
    } else {
      log.note("form length", lwo::placeOf("FORM", 8 + size_t(length)),
               std::to_string(have - length) + " byte(s) after the form are ignored");
    }
  }
  return form;
}

}  // namespace

bool readObjectBuffer(const uint8_t* data, size_t size, const std::string& name, ObjectModel& out,
                      std::string& error) {
  out = ObjectModel();
  out.fileName = name;
  FlawLog log(name);
  try {
    Cursor file(data, 0, size, "FORM");
    if (size < 12 || file.id() != chunkId("FORM")) file.fail("not an IFF file (no FORM header)");
    uint32_t length = file.u4();
    if (length < 4) file.fail("form too short");
    uint32_t type = file.id();
    Cursor form = formWindow(data, size, length, chunkName(type), log);
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
    mendTags(out, log);
    for (Layer& l : out.layers)
      if (!l.hasBoundingBox) l.computeBounds();
    log.appendTo(out.warnings);
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
