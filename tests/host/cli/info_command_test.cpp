// `ombrel info`, run as the real program: on written scenes with known answers, on every file
// of the corpus, and on files it cannot read.
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include "host/formats/lwo2_writer.h"
#include "host/formats/lwo_builder.h"
#include "host/formats/lwo_reader.h"
#include "host/formats/lws_writer.h"
#include "support/run_program.h"

namespace {

namespace fs = std::filesystem;

// ---- a small JSON reader, strict enough to reject what a broken writer would produce ----

struct Json;
using JsonObject = std::map<std::string, Json>;
using JsonArray = std::vector<Json>;
struct Json {
  std::variant<std::nullptr_t, bool, double, std::string, JsonArray, JsonObject> v;
  bool isNull() const { return std::holds_alternative<std::nullptr_t>(v); }
  double num() const { return std::get<double>(v); }
  bool boolean() const { return std::get<bool>(v); }
  const std::string& str() const { return std::get<std::string>(v); }
  const JsonArray& arr() const { return std::get<JsonArray>(v); }
  const JsonObject& obj() const { return std::get<JsonObject>(v); }
  const Json& operator[](const std::string& k) const { return obj().at(k); }
  const Json& operator[](size_t i) const { return arr().at(i); }
  bool has(const std::string& k) const { return obj().count(k) != 0; }
};

class JsonParser {
 public:
  explicit JsonParser(const std::string& text) : s_(text) {}
  bool parse(Json& out) {
    if (!value(out)) return false;
    space();
    return p_ == s_.size();
  }

 private:
  void space() {
    while (p_ < s_.size() && std::strchr(" \t\r\n", s_[p_])) ++p_;
  }
  bool literal(const char* word) {
    const size_t n = std::strlen(word);
    if (s_.compare(p_, n, word) != 0) return false;
    p_ += n;
    return true;
  }
  bool string(std::string& out) {
    if (s_[p_] != '"') return false;
    for (++p_; p_ < s_.size(); ++p_) {
      const char c = s_[p_];
      if (c == '"') {
        ++p_;
        return true;
      }
      if (static_cast<unsigned char>(c) < 0x20) return false;
      if (c != '\\') {
        out += c;
        continue;
      }
      if (++p_ >= s_.size()) return false;
      switch (s_[p_]) {
        case '"': out += '"'; break;
        case '\\': out += '\\'; break;
        case '/': out += '/'; break;
        case 'n': out += '\n'; break;
        case 't': out += '\t'; break;
        case 'r': out += '\r'; break;
        case 'u':
          if (p_ + 4 >= s_.size()) return false;
          out += char(std::stoi(s_.substr(p_ + 1, 4), nullptr, 16));
          p_ += 4;
          break;
        default: return false;
      }
    }
    return false;
  }
  bool value(Json& out) {
    space();
    if (p_ >= s_.size()) return false;
    const char c = s_[p_];
    if (c == '{') {
      JsonObject o;
      ++p_;
      space();
      if (s_[p_] == '}') return ++p_, out.v = o, true;
      for (;;) {
        space();
        std::string k;
        if (!string(k)) return false;
        space();
        if (s_[p_++] != ':') return false;
        if (!value(o[k])) return false;
        space();
        if (s_[p_] == ',') { ++p_; continue; }
        if (s_[p_++] != '}') return false;
        out.v = std::move(o);
        return true;
      }
    }
    if (c == '[') {
      JsonArray a;
      ++p_;
      space();
      if (s_[p_] == ']') return ++p_, out.v = a, true;
      for (;;) {
        a.emplace_back();
        if (!value(a.back())) return false;
        space();
        if (s_[p_] == ',') { ++p_; continue; }
        if (s_[p_++] != ']') return false;
        out.v = std::move(a);
        return true;
      }
    }
    if (c == '"') {
      std::string str;
      if (!string(str)) return false;
      out.v = std::move(str);
      return true;
    }
    if (literal("true")) return out.v = true, true;
    if (literal("false")) return out.v = false, true;
    if (literal("null")) return out.v = nullptr, true;
    size_t used = 0;
    try {
      out.v = std::stod(s_.substr(p_, 32), &used);
    } catch (...) {
      return false;
    }
    p_ += used;
    return used > 0;
  }

  const std::string& s_;
  size_t p_ = 0;
};

Json parseJson(const std::string& text) {
  Json j;
  EXPECT_TRUE(JsonParser(text).parse(j)) << text.substr(0, 400);
  return j;
}

testproc::Outcome info(const std::vector<std::string>& args) { return testproc::run(OMBREL_PROGRAM, args); }

// ---- an independent count of an LWO2 file's points and polygons, per layer ----

uint32_t be32(const std::string& d, size_t at) {
  return (uint32_t(uint8_t(d[at])) << 24) | (uint32_t(uint8_t(d[at + 1])) << 16) | (uint32_t(uint8_t(d[at + 2])) << 8) |
         uint32_t(uint8_t(d[at + 3]));
}
uint16_t be16(const std::string& d, size_t at) { return uint16_t((uint8_t(d[at]) << 8) | uint8_t(d[at + 1])); }

struct LayerCount {
  size_t points = 0, polygons = 0;
};

// Walks the top-level chunks: PNTS holds 12 bytes a point; POLS a type and then, per
// polygon, a count (low ten bits) and that many variable-length indices.
bool countLwo2(const std::string& path, std::vector<LayerCount>& layers) {
  std::ifstream in(path, std::ios::binary);
  const std::string d((std::istreambuf_iterator<char>(in)), {});
  if (d.size() < 12 || d.compare(0, 4, "FORM") != 0 || d.compare(8, 4, "LWO2") != 0) return false;
  for (size_t at = 12; at + 8 <= d.size();) {
    const std::string id = d.substr(at, 4);
    const size_t size = be32(d, at + 4), body = at + 8;
    if (body + size > d.size()) return false;
    if (id == "LAYR" || (layers.empty() && (id == "PNTS" || id == "POLS"))) layers.emplace_back();
    if (id == "PNTS") layers.back().points += size / 12;
    if (id == "POLS") {
      for (size_t p = body + 4; p < body + size;) {
        const int n = be16(d, p) & 0x03FF;
        p += 2;
        for (int v = 0; v < n; ++v) p += uint8_t(d[p]) == 0xFF ? 4 : 2;
        ++layers.back().polygons;
      }
    }
    at = body + size + (size & 1);
  }
  return true;
}

std::vector<fs::path> corpusFiles() {
  const fs::path root = fs::path(OMBREL_CORPUS_DIR) / "lightwave";
  std::vector<fs::path> out;
  if (!fs::is_directory(root)) return out;
  for (const auto& e : fs::recursive_directory_iterator(root)) {
    const std::string ext = e.path().extension().string();
    if (e.is_regular_file() && (ext == ".lwo" || ext == ".lws")) out.push_back(e.path());
  }
  std::sort(out.begin(), out.end());
  return out;
}

TEST(InfoCorpus, EveryFileIsReadAndItsCountsAgreeWithTheFile) {
  const auto files = corpusFiles();
  if (files.empty()) GTEST_SKIP() << "no corpus at " << OMBREL_CORPUS_DIR;
  int independent = 0;
  for (const fs::path& file : files) {
    SCOPED_TRACE(file.string());
    const auto r = info({"info", file.string(), "--json"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    const Json j = parseJson(r.out);
    if (file.extension() == ".lws") {
      EXPECT_EQ(j["kind"].str(), "scene");
      continue;
    }
    EXPECT_EQ(j["kind"].str(), "object");
    host::ObjectModel model;
    std::string error;
    ASSERT_TRUE(host::readObjectFile(file.string(), model, error)) << error;
    const JsonArray& objects = j["objects"].arr();
    ASSERT_EQ(objects.size(), std::max<size_t>(1, model.layers.size()));
    std::vector<LayerCount> counted;
    const bool own = countLwo2(file.string(), counted) && counted.size() == model.layers.size();
    independent += own;
    for (size_t i = 0; i < model.layers.size(); ++i) {
      const Json& o = objects[i];
      EXPECT_EQ(size_t(o["points"].num()), model.layers[i].points.size());
      EXPECT_EQ(size_t(o["polygons"]["total"].num()), model.layers[i].polygons.size());
      double byType = 0;
      for (const auto& [k, v] : o["polygons"].obj())
        if (k != "total") byType += v.num();
      EXPECT_EQ(byType, o["polygons"]["total"].num());
      if (own) {
        EXPECT_EQ(size_t(o["points"].num()), counted[i].points);
        EXPECT_EQ(size_t(o["polygons"]["total"].num()), counted[i].polygons);
      }
    }
  }
  EXPECT_GT(independent, 10);  // most of the corpus is LWO2 and counted twice
}

TEST(InfoCorpus, AScenesObjectMovesAlongItsMotion) {
  const fs::path scene = fs::path(OMBREL_CORPUS_DIR) / "lightwave/LWS/move_x_post_linear.lws";
  if (!fs::exists(scene)) GTEST_SKIP() << "no corpus at " << OMBREL_CORPUS_DIR;
  const Json a = parseJson(info({"info", scene.string(), "--json", "--frame", "0"}).out);
  const Json b = parseJson(info({"info", scene.string(), "--json", "--frame", "20"}).out);
  EXPECT_EQ(a["frame"].num(), 0.0);
  EXPECT_NEAR(b["time"].num(), 20.0 / 30.0, 1e-12);
  EXPECT_NE(a["objects"][0]["position"][0].num(), b["objects"][0]["position"][0].num());
  EXPECT_EQ(a["objects"][0]["points"].num(), 8.0);
}

// A written object and a scene of two of its copies, the second the child of the first.
class InfoWritten : public testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() / ("ombrel-info-" + std::to_string(::getpid()));
    fs::create_directories(dir_);
    host::ObjectBuilder b((dir_ / "crate.lwo").string());
    b.addBox({0.0f, 1.0f, 0.0f}, {2.0f, 2.0f, 2.0f}, "Wood");
    b.addPolygon({0, 1, 2}, "Wood", host::chunkId("CURV"));
    host::Surface& wood = b.surface("Wood");
    wood.color.value = {0.5, 0.25, 0.125};
    wood.diffuse.value = 0.75;
    wood.specularity.value = 0.2;
    wood.sidedness = host::SideDouble;
    wood.smoothingAngle = 1.5707963267948966;
    wood.ior.value = 1.5;
    std::string error;
    ASSERT_TRUE(host::writeLwo2File(b.finish(), object().string(), error)) << error;

    host::Scene s;
    s.firstFrame = 0;
    s.lastFrame = 10;
    s.framesPerSecond = 25.0;
    const int parent = s.addItem(host::ItemType::Object, "crate");
    s.items[size_t(parent)].object.path = object().string();
    s.items[size_t(parent)].setPosition({0.0, 0.0, 5.0});
    host::Envelope& x = s.items[size_t(parent)].motion[host::PositionX].envelope;
    x.keys = {{0.0, 0.0, host::KeyShape::Linear}, {0.4, 4.0, host::KeyShape::Linear}};
    const int child = s.addItem(host::ItemType::Object, "crate");
    s.items[size_t(child)].object.path = object().string();
    s.items[size_t(child)].parent = parent;
    s.items[size_t(child)].setPosition({0.0, 1.0, 0.0});
    const int light = s.addItem(host::ItemType::Light, "Key");
    s.items[size_t(light)].light.kind = host::LightKind::Spot;
    s.addItem(host::ItemType::Camera, "Camera");
    s.backdrop.gradient = true;
    s.fog.type = 1;
    s.render.traceShadows = true;
    ASSERT_TRUE(host::writeSceneFile(scene().string(), s, error)) << error;
  }
  void TearDown() override { fs::remove_all(dir_); }
  fs::path object() const { return dir_ / "crate.lwo"; }
  fs::path scene() const { return dir_ / "yard.lws"; }
  fs::path dir_;
};

TEST_F(InfoWritten, JsonHasTheDocumentedFieldsAndTheAnswers) {
  const auto r = info({"info", scene().string(), "--frame", "5", "--json"});
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(r.err, "");
  const Json j = parseJson(r.out);
  for (const char* k : {"file", "kind", "frame", "time", "scene", "objects", "bones", "lights", "cameras", "backdrop",
                        "fog", "warnings"})
    EXPECT_TRUE(j.has(k)) << k;
  EXPECT_EQ(j["kind"].str(), "scene");
  EXPECT_EQ(j["frame"].num(), 5.0);
  EXPECT_DOUBLE_EQ(j["time"].num(), 0.2);
  const Json& s = j["scene"];
  EXPECT_EQ(s["frameEnd"].num(), 10.0);
  EXPECT_EQ(s["framesPerSecond"].num(), 25.0);
  EXPECT_EQ(s["resolution"][0].num(), 640.0);
  EXPECT_EQ(s["renderCamera"].str(), "Camera");
  ASSERT_EQ(s["renderOptions"].arr().size(), 1u);
  EXPECT_EQ(s["renderOptions"][0].str(), "shadowTrace");

  ASSERT_EQ(j["objects"].arr().size(), 2u);
  const Json& parent = j["objects"][0];
  const Json& child = j["objects"][1];
  for (const char* k : {"name", "parent", "position", "file", "layer", "layerName", "points", "polygons", "bounds",
                        "surfaces"})
    EXPECT_TRUE(parent.has(k)) << k;
  EXPECT_TRUE(parent["parent"].isNull());
  EXPECT_EQ(child["parent"].str(), "crate");
  // Half way along its motion at frame 5 (0.2 s); the child sits one unit above it.
  EXPECT_NEAR(parent["position"][0].num(), 2.0, 1e-9);
  EXPECT_NEAR(parent["position"][2].num(), 5.0, 1e-9);
  EXPECT_NEAR(child["position"][0].num(), 2.0, 1e-9);
  EXPECT_NEAR(child["position"][1].num(), 1.0, 1e-9);
  EXPECT_EQ(parent["points"].num(), 8.0);
  EXPECT_EQ(parent["polygons"]["total"].num(), 7.0);
  EXPECT_EQ(parent["polygons"]["FACE"].num(), 6.0);
  EXPECT_EQ(parent["polygons"]["CURV"].num(), 1.0);
  EXPECT_EQ(parent["bounds"]["min"][1].num(), 0.0);
  EXPECT_EQ(parent["bounds"]["max"][1].num(), 2.0);
  ASSERT_EQ(parent["surfaces"].arr().size(), 1u);
  const Json& wood = parent["surfaces"][0];
  EXPECT_EQ(wood["name"].str(), "Wood");
  EXPECT_TRUE(wood["defined"].boolean());
  EXPECT_NEAR(wood["color"][1].num(), 0.25, 1e-6);
  EXPECT_NEAR(wood["diffuse"].num(), 0.75, 1e-6);
  EXPECT_NEAR(wood["specular"].num(), 0.2, 1e-6);
  EXPECT_NEAR(wood["refractionIndex"].num(), 1.5, 1e-6);
  EXPECT_TRUE(wood["doubleSided"].boolean());
  EXPECT_NEAR(wood["smoothingAngle"].num(), 90.0, 1e-4);
  for (const char* k : {"glossiness", "reflection", "transparency", "luminosity"}) EXPECT_TRUE(wood.has(k)) << k;

  ASSERT_EQ(j["lights"].arr().size(), 1u);
  EXPECT_EQ(j["lights"][0]["type"].str(), "spot");
  EXPECT_EQ(j["cameras"][0]["name"].str(), "Camera");
  EXPECT_EQ(j["backdrop"]["type"].str(), "gradient");
  for (const char* k : {"zenith", "sky", "ground", "nadir", "skySqueeze", "groundSqueeze"})
    EXPECT_TRUE(j["backdrop"].has(k)) << k;
  EXPECT_EQ(j["fog"]["type"].num(), 1.0);
  EXPECT_TRUE(j["warnings"].arr().empty());
}

TEST_F(InfoWritten, TextNamesTheSameThings) {
  const auto r = info({"info", scene().string(), "--frame", "10"});
  ASSERT_EQ(r.exitCode, 0) << r.err;
  for (const char* part : {"scene at frame 10", "frames 0 to 10 by 1 at 25 a second", "objects: 2",
                           "(child of crate)", "position (4, 0, 5)", "8 points, 7 polygons (1 CURV, 6 FACE)",
                           "surface \"Wood\"", "double sided", "lights: 1", "spot", "cameras: 1", "backdrop: gradient",
                           "fog: type 1"})
    EXPECT_NE(r.out.find(part), std::string::npos) << part << "\n" << r.out;
}

TEST_F(InfoWritten, AnObjectAloneAndAMissingObjectOfAScene) {
  const auto r = info({"info", object().string(), "--json"});
  ASSERT_EQ(r.exitCode, 0) << r.err;
  const Json j = parseJson(r.out);
  EXPECT_EQ(j["kind"].str(), "object");
  EXPECT_EQ(j["objects"][0]["name"].str(), "crate");
  EXPECT_EQ(j["objects"][0]["points"].num(), 8.0);

  // The scene still reads without its object; the item stays, empty, with a warning.
  fs::remove(object());
  const auto s = info({"info", scene().string(), "--json"});
  ASSERT_EQ(s.exitCode, 0) << s.err;
  const Json k = parseJson(s.out);
  EXPECT_EQ(k["objects"][0]["points"].num(), 0.0);
  EXPECT_TRUE(k["objects"][0]["bounds"].isNull());
  EXPECT_FALSE(k["warnings"].arr().empty());
}

TEST_F(InfoWritten, FilesThatCannotBeReadGiveOneMessageAndExitOne) {
  auto expectFailure = [](const testproc::Outcome& r, const std::string& mentions) {
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.out, "");
    const auto lines = testproc::lines(r.err);
    ASSERT_EQ(lines.size(), 1u) << r.err;
    EXPECT_EQ(lines[0].rfind("ombrel: ", 0), 0u) << lines[0];
    EXPECT_NE(lines[0].find(mentions), std::string::npos) << lines[0];
  };
  expectFailure(info({"info", (dir_ / "absent.lws").string()}), "absent.lws");
  expectFailure(info({"info", dir_.string()}), dir_.filename().string());

  // A damaged object: the file is cut inside its point list, where nothing after can be told.
  std::ifstream in(object(), std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(in)), {});
  const size_t points = bytes.find("PNTS");
  ASSERT_NE(points, std::string::npos);
  const fs::path cut = dir_ / "cut.lwo";
  std::ofstream(cut, std::ios::binary).write(bytes.data(), std::streamsize(points + 14));
  expectFailure(info({"info", cut.string(), "--json"}), "cut.lwo");

  const fs::path text = dir_ / "notes.lws";
  std::ofstream(text) << "this is not a scene\n";
  expectFailure(info({"info", text.string()}), "notes.lws");

  EXPECT_EQ(info({"info", scene().string(), "--frame", "later"}).exitCode, 1);
  EXPECT_EQ(info({"info"}).exitCode, 1);
}

}  // namespace
