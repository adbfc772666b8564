#include "host/formats/obj_reader.h"

#include <charconv>
#include <fstream>
#include <sstream>

namespace host {
namespace {

bool parseFloat(std::string_view s, float& out) {
  auto r = std::from_chars(s.data(), s.data() + s.size(), out);
  return r.ec == std::errc() && r.ptr == s.data() + s.size();
}

// The position index of a face corner "v", "v/vt", "v//vn" or "v/vt/vn"; negative counts back.
bool parseCorner(std::string_view s, size_t pointCount, uint32_t& out) {
  std::string_view v = s.substr(0, s.find('/'));
  long index = 0;
  auto r = std::from_chars(v.data(), v.data() + v.size(), index);
  if (r.ec != std::errc() || r.ptr != v.data() + v.size() || index == 0) return false;
  long resolved = index > 0 ? index - 1 : long(pointCount) + index;
  if (resolved < 0 || size_t(resolved) >= pointCount) return false;
  out = uint32_t(resolved);
  return true;
}

}  // namespace

bool readObjText(const std::string& text, const std::string& name, ObjectModel& out, std::string& error) {
  out = ObjectModel();
  out.fileName = name;
  out.layers.emplace_back();
  Layer& layer = out.layers.back();
  int32_t surface = -1;
  auto useSurface = [&](const std::string& s) {
    surface = out.tagIndex(s);
    bool known = false;
    for (const Surface& x : out.surfaces) known |= x.name == s;
    if (!known) {
      out.surfaces.emplace_back();
      out.surfaces.back().name = s;
    }
  };
  size_t lineNumber = 0, start = 0;
  std::vector<std::string_view> words;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    std::string_view line(text.data() + start, end - start);
    start = end + 1;
    ++lineNumber;
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    words.clear();
    size_t i = 0;
    while (i < line.size()) {
      while (i < line.size() && (line[i] == ' ' || line[i] == '\t')) ++i;
      size_t j = i;
      while (j < line.size() && line[j] != ' ' && line[j] != '\t') ++j;
      if (j > i) words.push_back(line.substr(i, j - i));
      i = j;
    }
    if (words.empty() || words[0][0] == '#') continue;
    auto fail = [&](const std::string& what) {
      error = name + ":" + std::to_string(lineNumber) + ": " + what;
      out = ObjectModel();
      return false;
    };
    if (words[0] == "v") {
      Point3f p;
      if (words.size() < 4) return fail("a vertex needs three coordinates");
      for (int a = 0; a < 3; ++a)
        if (!parseFloat(words[size_t(a) + 1], p[a])) return fail("bad coordinate \"" + std::string(words[size_t(a) + 1]) + "\"");
      p[2] = -p[2];
      layer.points.push_back(p);
    } else if (words[0] == "f") {
      if (words.size() < 4) return fail("a face needs three corners");
      Polygon poly;
      for (size_t k = 1; k < words.size(); ++k) {
        uint32_t v;
        if (!parseCorner(words[k], layer.points.size(), v)) return fail("bad corner \"" + std::string(words[k]) + "\"");
        poly.vertices.push_back(v);
      }
      if (poly.vertices.size() > 1023) return fail("a face has more than 1023 corners");
      if (surface < 0) useSurface("Default");
      poly.surface = surface;
      layer.polygons.push_back(std::move(poly));
    } else if (words[0] == "usemtl" && words.size() >= 2) {
      useSurface(std::string(words[1]));
    }
  }
  layer.computeBounds();
  layer.hasBoundingBox = true;
  return true;
}

bool readObjFile(const std::string& path, ObjectModel& out, std::string& error) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    error = path + ": cannot open the file";
    out = ObjectModel();
    return false;
  }
  std::stringstream buffer;
  buffer << in.rdbuf();
  return readObjText(buffer.str(), path, out, error);
}

}  // namespace host
