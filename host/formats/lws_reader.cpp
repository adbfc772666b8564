#include "host/formats/lws_reader.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>

#include "host/formats/lwo_reader.h"

namespace host {
namespace {

namespace fs = std::filesystem;

constexpr double kDegToRad = 0.017453292519943295;

struct ParseError {
  size_t line;  // index into the lines, 0-based
  std::string what;
};

// Blank means the same here as it does to the word splitter below, so a trimmed line that
// isn't empty always has a first word.
bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f'; }

std::string trim(const std::string& s) {
  size_t a = 0, b = s.size();
  while (a < b && isBlank(s[a])) ++a;
  while (b > a && isBlank(s[b - 1])) --b;
  return s.substr(a, b - a);
}

std::vector<std::string> words(const std::string& s) {
  std::vector<std::string> out;
  std::istringstream in(s);
  std::string w;
  while (in >> w) out.push_back(w);
  return out;
}

bool toNumber(const std::string& s, double& v) {
  if (s.empty()) return false;
  char* end = nullptr;
  v = std::strtod(s.c_str(), &end);
  return end && *end == '\0' && std::isfinite(v);
}

bool toInt(const std::string& s, long& v) {
  double d;
  if (!toNumber(s, d) || d < -2147483648.0 || d > 2147483647.0) return false;
  v = static_cast<long>(d);
  return true;
}

// Item ids are written as eight hex digits.
bool isItemId(const std::string& s) {
  return s.size() == 8 && std::all_of(s.begin(), s.end(), [](char c) { return std::isxdigit(uint8_t(c)); });
}

uint32_t hexValue(const std::string& s) { return uint32_t(std::strtoul(s.c_str(), nullptr, 16)); }

// The text of a line after its first `skip` words.
std::string restOfLine(const std::string& line, int skip) {
  size_t i = 0;
  for (int w = 0; w < skip; ++w) {
    while (i < line.size() && std::isspace(uint8_t(line[i]))) ++i;
    while (i < line.size() && !std::isspace(uint8_t(line[i]))) ++i;
  }
  return trim(line.substr(std::min(i, line.size())));
}

const char* itemKindName(ItemType t) {
  switch (t) {
    case ItemType::Object: return "object";
    case ItemType::Light: return "light";
    case ItemType::Camera: return "camera";
    case ItemType::Bone: return "bone";
  }
  return "item";
}

bool isItemServerClass(const std::string& c) {
  static const char* const kClasses[] = {"DisplacementHandler", "ItemMotionHandler", "CustomObjHandler",
                                         "ObjReplacementHandler", "LightHandler", "CameraHandler",
                                         "ChannelHandler", "ItemInstancerHandler"};
  for (const char* k : kClasses)
    if (c == k) return true;
  return false;
}

class LwsParser {
 public:
  LwsParser(const std::string& text, const std::string& path, Scene& scene, const LwsReadOptions& options,
            std::vector<std::string>* warnings)
      : path_(path), scene_(scene), options_(options), warnings_(warnings) {
    size_t start = text.rfind("\xEF\xBB\xBF", 0) == 0 ? 3 : 0;  // a byte-order mark some editors add
    while (start <= text.size()) {
      size_t end = text.find('\n', start);
      if (end == std::string::npos) end = text.size();
      std::string line = text.substr(start, end - start);
      if (!line.empty() && line.back() == '\r') line.pop_back();
      lines_.push_back(std::move(line));
      if (end == text.size()) break;
      start = end + 1;
    }
  }

  bool run(std::string& error) {
    try {
      readHeader();
      while (pos_ < lines_.size()) {
        const size_t index = pos_++;
        const std::string line = trim(lines_[index]);
        if (line.empty() || line == "}") continue;
        if (line[0] == '{') {
          skipBlock(index);
          continue;
        }
        handle(index, line);
      }
      finish();
    } catch (const ParseError& e) {
      error = path_ + ":" + std::to_string(e.line + 1) + ": " + e.what;
      return false;
    }
    return true;
  }

 private:
  // A parent or target named before the item it names may have been read.
  struct PendingParent {
    int item;
    size_t line;
    bool byId;
    uint32_t value;
    bool target = false;
  };

  [[noreturn]] void fail(size_t line, const std::string& what) { throw ParseError{line, what}; }

  void warn(size_t line, const std::string& what) {
    if (warnings_) warnings_->push_back(path_ + ":" + std::to_string(line + 1) + ": " + what);
  }

  // The next line that isn't blank, trimmed; fails at the end of the file.
  std::string nextLine(size_t& index, size_t openedAt, const char* what) {
    while (pos_ < lines_.size()) {
      index = pos_++;
      std::string line = trim(lines_[index]);
      if (!line.empty()) return line;
    }
    fail(openedAt, std::string("the file ends inside ") + what);
  }

  std::string peekLine() const {
    for (size_t i = pos_; i < lines_.size(); ++i) {
      std::string line = trim(lines_[i]);
      if (!line.empty()) return line;
    }
    return {};
  }

  void skipBlock(size_t openedAt) {
    int depth = 1;
    while (depth > 0) {
      size_t index;
      const std::string line = nextLine(index, openedAt, "a block opened here");
      if (line[0] == '{') ++depth;
      else if (line == "}") --depth;
    }
  }

  void readHeader() {
    size_t index = 0;
    const std::string magic = pos_ < lines_.size() ? trim(lines_[pos_]) : std::string();
    if (magic != "LWSC") fail(0, "not a LightWave scene: the first line is not \"LWSC\"");
    ++pos_;
    const std::string v = nextLine(index, 0, "the header");
    long version;
    if (!toInt(v, version) || version < 1) fail(index, "the scene version \"" + v + "\" is not a number");
    version_ = int(version);
    scene_.version = version_;
  }

  // --- values ---------------------------------------------------------------------------

  double number(const std::vector<std::string>& w, size_t i, size_t line) {
    double v;
    if (i >= w.size()) fail(line, w[0] + " needs " + std::to_string(i) + " value" + (i > 1 ? "s" : ""));
    if (!toNumber(w[i], v)) fail(line, w[0] + ": \"" + w[i] + "\" is not a number");
    return v;
  }

  long integer(const std::vector<std::string>& w, size_t i, size_t line) {
    const double v = number(w, i, line);
    if (v < -2147483648.0 || v > 2147483647.0) fail(line, w[0] + ": " + w[i] + " is out of range");
    return long(v);
  }

  // A value that may be "(envelope)", in which case its envelope follows the line.
  void animated(const std::vector<std::string>& w, size_t i, size_t line, Animated& out, double scale = 1.0) {
    if (i < w.size() && w[i] == "(envelope)") {
      out.envelope = readEnvelope(line);
      scaleEnvelope(out.envelope, scale);
      out.value = out.envelope.keys.empty() ? 0.0 : out.envelope.keys.front().value;
      return;
    }
    out.envelope = Envelope{};
    out.value = number(w, i, line) * scale;
  }

  static void scaleEnvelope(Envelope& env, double scale) {
    if (scale == 1.0) return;
    for (EnvelopeKey& k : env.keys) {
      k.value *= scale;
      if (k.shape == KeyShape::Bezier2D) {
        k.param[1] *= scale;
        k.param[3] *= scale;
      } else if (k.shape == KeyShape::Hermite || k.shape == KeyShape::Bezier1D) {
        k.param[0] *= scale;
        k.param[1] *= scale;
      }
    }
  }

  // Colours were written as 0..255 before version 3.
  void color(const std::vector<std::string>& w, size_t line, AnimatedColor& out) {
    const double scale = version_ < 3 ? 1.0 / 255.0 : 1.0;
    for (int c = 0; c < 3; ++c) animated(w, 1 + c, line, out[c], scale);
  }

  // --- envelopes ------------------------------------------------------------------------

  Envelope readEnvelope(size_t ownerLine) {
    const std::string next = peekLine();
    if (!next.empty() && next[0] == '{') return readEnvelopeBlock(ownerLine);
    return readOldChannels(ownerLine, 1, false).front();
  }

  Envelope readEnvelopeBlock(size_t ownerLine) {
    size_t open;
    const std::string head = nextLine(open, ownerLine, "an envelope");
    const std::vector<std::string> hw = words(head);
    if (hw.size() < 2 || hw[0] != "{" || hw[1] != "Envelope")
      fail(open, "expected \"{ Envelope\", found \"" + head + "\"");
    size_t index;
    const std::string countText = nextLine(index, open, "an envelope");
    long count;
    if (!toInt(countText, count) || count < 0) fail(index, "the envelope's key count \"" + countText + "\" is not a number");

    Envelope env;
    for (;;) {
      const std::string line = nextLine(index, open, "an envelope");
      if (line == "}") break;
      if (line[0] == '{') {
        skipBlock(index);
        continue;
      }
      const std::vector<std::string> w = words(line);
      if (w[0] == "Key") {
        EnvelopeKey key;
        key.value = number(w, 1, index);
        key.time = number(w, 2, index);
        const long shape = integer(w, 3, index);
        if (shape < 0 || shape > 5) fail(index, "unknown key shape " + std::to_string(shape));
        key.shape = KeyShape(shape);
        double p[6] = {0, 0, 0, 0, 0, 0};
        for (size_t i = 0; i < 6 && 4 + i < w.size(); ++i) p[i] = number(w, 4 + i, index);
        switch (key.shape) {
          case KeyShape::TCB:
            key.tension = p[0], key.continuity = p[1], key.bias = p[2];
            break;
          case KeyShape::Hermite:
          case KeyShape::Bezier1D:
            key.param[0] = p[3], key.param[1] = p[4];
            break;
          case KeyShape::Bezier2D:
            for (int i = 0; i < 4; ++i) key.param[i] = p[i];
            break;
          default:
            break;
        }
        env.keys.push_back(key);
      } else if (w[0] == "Behaviors") {
        const long pre = integer(w, 1, index), post = integer(w, 2, index);
        if (pre < 0 || pre > 5 || post < 0 || post > 5) fail(index, "unknown envelope behaviour");
        env.pre = EnvBehavior(pre);
        env.post = EnvBehavior(post);
      }
    }
    if (long(env.keys.size()) != count)
      fail(open, "the envelope announces " + std::to_string(count) + " keys but holds " +
                     std::to_string(env.keys.size()));
    sortKeys(env);
    spreadTangents(env);
    return env;
  }

  // The file keeps a Hermite key's tangents as they enter its two spans; the envelope keeps
  // them over both spans around the key, as the object files do.
  static void spreadTangents(Envelope& env) {
    const size_t n = env.keys.size();
    for (size_t i = 1; i + 1 < n; ++i) {
      EnvelopeKey& k = env.keys[i];
      if (k.shape != KeyShape::Hermite && k.shape != KeyShape::Bezier1D) continue;
      const double before = k.time - env.keys[i - 1].time;
      const double after = env.keys[i + 1].time - k.time;
      if (before <= 0.0 || after <= 0.0) continue;
      k.param[0] *= (before + after) / before;
      k.param[1] *= (before + after) / after;
    }
  }

  static void sortKeys(Envelope& env) {
    std::stable_sort(env.keys.begin(), env.keys.end(),
                     [](const EnvelopeKey& a, const EnvelopeKey& b) { return a.time < b.time; });
  }

  // The form of versions 1 and 2: the channel count, then for each channel its key count and
  // keys of six numbers (value, time, span, tension, continuity, bias); version 1 instead
  // writes each key as one line of all channels' values and a line of frame, linear flag,
  // tension, continuity and bias.
  std::vector<Envelope> readOldChannels(size_t ownerLine, long expected, bool motion) {
    size_t index;
    std::string line = nextLine(index, ownerLine, "a motion");
    long channels;
    if (!toInt(line, channels) || channels < 1 || channels > 64)
      fail(index, "the channel count \"" + line + "\" is not a number");
    if (!motion && channels != expected) fail(index, "expected one channel, found " + std::to_string(channels));
    std::vector<Envelope> out(static_cast<size_t>(channels));

    if (version_ < 2) {
      line = nextLine(index, ownerLine, "a motion");
      long keys;
      if (!toInt(line, keys) || keys < 0) fail(index, "the key count \"" + line + "\" is not a number");
      for (long k = 0; k < keys; ++k) {
        const std::vector<std::string> values = words(nextLine(index, ownerLine, "a motion"));
        std::vector<double> v(static_cast<size_t>(channels));
        for (long c = 0; c < channels; ++c) {
          if (size_t(c) >= values.size() || !toNumber(values[c], v[c]))
            fail(index, "a key needs " + std::to_string(channels) + " numbers");
        }
        const std::vector<std::string> p = words(nextLine(index, ownerLine, "a motion"));
        double q[5];
        for (int i = 0; i < 5; ++i)
          if (size_t(i) >= p.size() || !toNumber(p[i], q[i])) fail(index, "a key's frame line needs 5 numbers");
        for (long c = 0; c < channels; ++c) {
          EnvelopeKey key;
          key.value = v[c];
          key.time = q[0] / scene_.framesPerSecond;
          key.shape = q[1] != 0.0 ? KeyShape::Linear : KeyShape::TCB;
          key.tension = q[2], key.continuity = q[3], key.bias = q[4];
          out[c].keys.push_back(key);
        }
      }
    } else {
      for (long c = 0; c < channels; ++c) {
        line = nextLine(index, ownerLine, "a motion");
        long keys;
        if (!toInt(line, keys) || keys < 0) fail(index, "the key count \"" + line + "\" is not a number");
        for (long k = 0; k < keys; ++k) {
          const std::vector<std::string> w = words(nextLine(index, ownerLine, "a motion"));
          double q[6];
          for (int i = 0; i < 6; ++i)
            if (size_t(i) >= w.size() || !toNumber(w[i], q[i])) fail(index, "a key needs 6 numbers");
          EnvelopeKey key;
          key.value = q[0];
          key.time = q[1];
          // 1 marks a linear key in this form; every other value is a spline key.
          key.shape = q[2] == 1.0 ? KeyShape::Linear : KeyShape::TCB;
          key.tension = q[3], key.continuity = q[4], key.bias = q[5];
          out[c].keys.push_back(key);
        }
      }
    }
    for (Envelope& e : out) sortKeys(e);
    return out;
  }

  void readMotion(size_t line, Item& item) {
    const std::string next = peekLine();
    std::vector<Envelope> channels;
    if (next.rfind("NumChannels", 0) == 0) {
      size_t index;
      const std::vector<std::string> w = words(nextLine(index, line, "a motion"));
      const long count = integer(w, 1, index);
      if (count < 0 || count > 64) fail(index, "bad channel count " + std::to_string(count));
      channels.resize(size_t(count));
      // Channels left out keep their defaults.
      for (long c = 0; c < count; ++c) {
        if (words(peekLine() + " x")[0] != "Channel") break;
        const std::vector<std::string> cw = words(nextLine(index, line, "a motion"));
        const long n = integer(cw, 1, index);
        if (n < 0 || n >= count) fail(index, "channel " + std::to_string(n) + " is out of range");
        channels[size_t(n)] = readEnvelopeBlock(index);
      }
    } else {
      channels = readOldChannels(line, 0, true);
      if (version_ < 3)  // angles were degrees then
        for (int c = Heading; c <= Bank && c < int(channels.size()); ++c)
          for (EnvelopeKey& k : channels[size_t(c)].keys) k.value *= kDegToRad;
    }
    for (size_t c = 0; c < channels.size() && c < size_t(MotionChannelCount); ++c) {
      Animated& a = item.motion[c];
      a.envelope = std::move(channels[c]);
      a.value = a.envelope.keys.empty() ? (c >= size_t(ScaleX) ? 1.0 : 0.0) : a.envelope.keys.front().value;
      // An empty channel means the default value rather than 0.
      if (a.envelope.keys.empty()) a.envelope = Envelope{};
    }
  }

  // --- items ----------------------------------------------------------------------------

  Item* current(ItemType type) {
    if (current_ < 0 || scene_.items[size_t(current_)].type != type) return nullptr;
    return &scene_.items[size_t(current_)];
  }

  Item* currentAny() { return current_ < 0 ? nullptr : &scene_.items[size_t(current_)]; }

  int addItem(ItemType type, const std::string& idText, const std::string& name) {
    const int index = scene_.addItem(type, name);
    if (!idText.empty()) {
      const uint32_t id = hexValue(idText);
      if (scene_.findItem(id) < 0) scene_.items[size_t(index)].id = id;
    }
    current_ = index;
    return index;
  }

  void loadObject(size_t line, const std::vector<std::string>& w, const std::string& text) {
    int layer = 1;
    int skip = 1;
    std::string id;
    if (w[0] == "LoadObjectLayer") {
      layer = int(integer(w, 1, line));
      skip = 2;
      if (w.size() > 3 && isItemId(w[2])) {
        id = w[2];
        skip = 3;
      }
    }
    const std::string written = restOfLine(text, skip);
    if (written.empty()) fail(line, w[0] + " needs a file name");

    std::string base = written;
    std::replace(base.begin(), base.end(), '\\', '/');
    base = fs::path(base).stem().string();
    const int index = addItem(ItemType::Object, id, base);
    lastObject_ = index;
    ObjectSettings& obj = scene_.items[size_t(index)].object;
    obj.path = written;
    obj.layer = layer;
    obj.resolvedPath = resolveScenePath(written, path_, options_.contentDir);
    if (obj.resolvedPath.empty()) {
      warn(line, "object file \"" + written + "\" not found");
      return;
    }
    if (!options_.loadObjects) return;
    auto cached = models_.find(obj.resolvedPath);
    if (cached != models_.end()) {
      obj.model = cached->second;
    } else if (options_.objectCache && options_.objectCache->count(obj.resolvedPath)) {
      obj.model = models_[obj.resolvedPath] = options_.objectCache->at(obj.resolvedPath);
    } else {
      auto model = std::make_shared<ObjectModel>();
      std::string error;
      const bool ok = options_.loadObject ? options_.loadObject(obj.resolvedPath, *model, error)
                                          : readObjectFile(obj.resolvedPath, *model, error);
      if (!ok) {
        warn(line, "object file \"" + written + "\" can't be read: " + error);
        models_[obj.resolvedPath] = nullptr;
        return;
      }
      models_[obj.resolvedPath] = model;
      obj.model = model;
      if (options_.objectCache) (*options_.objectCache)[obj.resolvedPath] = model;
    }
    if (obj.model && obj.model->layers.size() > 1) {
      for (const Layer& l : obj.model->layers)
        if (l.number + 1 == layer) {
          scene_.items[size_t(index)].name +=
              ":" + (l.name.empty() ? "Layer " + std::to_string(layer) : l.name);
          break;
        }
    }
  }

  void readPlugin(size_t line, const std::vector<std::string>& w, const std::string& text) {
    PluginBlock block;
    if (w.size() < 3) fail(line, "Plugin needs a class, an index and a name");
    block.serverClass = w[1];
    block.index = int(integer(w, 2, line));
    block.name = restOfLine(text, 3);
    for (;;) {
      if (pos_ >= lines_.size()) fail(line, "the plug-in block opened here has no EndPlugin");
      const std::string& raw = lines_[pos_++];
      if (trim(raw) == "EndPlugin") break;
      block.lines.push_back(raw);
    }
    Item* item = currentAny();
    // Newer scenes may tell a light's kind only by its handler.
    if (item && item->type == ItemType::Light && block.serverClass == "LightHandler" &&
        !lightTypeGiven_.count(current_)) {
      static const char* const kHandlers[] = {"DistantLight", "PointLight", "SpotLight", "LinearLight", "AreaLight"};
      for (int k = 0; k < 5; ++k)
        if (block.name == kHandlers[k]) item->light.kind = LightKind(k);
    }
    if (item && isItemServerClass(block.serverClass)) item->plugins.push_back(std::move(block));
    else scene_.plugins.push_back(std::move(block));
  }

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
  void readClipMap(size_t line, Item& item) {
    ObjectSettings& o = item.object;
    o.clipMap = nullptr;
    const std::string head = peekLine();
    if (head.empty() || head[0] != '{') {
      warn(line, "the clip map of \"" + item.name + "\" has no block and is left out");
      return;
    }
    const size_t end = blockEnd(line);
    try {
      o.clipMap = readClipTexture(line);
    } catch (const ParseError& e) {
      warn(e.line, "the clip map of \"" + item.name + "\" is left out: " + e.what);
    }
    pos_ = end + 1;
  }

  // The line that closes the block starting at the next line that isn't blank.
  size_t blockEnd(size_t ownerLine) const {
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

  // A quoted name after the first `skip` words; unquoted text is taken as it is.
  static std::string quoted(const std::string& line, int skip) {
    std::string rest = restOfLine(line, skip);
    if (rest.size() >= 2 && rest.front() == '"' && rest.back() == '"') rest = rest.substr(1, rest.size() - 2);
    return rest;
  }

  struct ClipMapBuild {
    std::shared_ptr<SceneTexture> texture;
    uint32_t nextEnvelope = 1;
  };

  // The envelopes of the "(envelope)" numbers of a line, which follow it in order; a vector
  // keeps three indices in a row (its first names them), a single value one.
  uint32_t lineEnvelopes(ClipMapBuild& b, size_t line, const std::vector<bool>& enveloped, double scale) {
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
  std::vector<bool> numbersOrEnvelopes(const std::vector<std::string>& w, size_t line, size_t count, double* out) {
    std::vector<bool> enveloped(count, false);
    for (size_t k = 0; k < count; ++k) {
      if (1 + k < w.size() && w[1 + k] == "(envelope)") enveloped[k] = true;
      else out[k] = number(w, 1 + k, line);
    }
    return enveloped;
  }

  void clipVector(ClipMapBuild& b, const std::vector<std::string>& w, size_t line, EnvelopedVector& v, double scale) {
    double n[3] = {v.value[0] / scale, v.value[1] / scale, v.value[2] / scale};
    const std::vector<bool> enveloped = numbersOrEnvelopes(w, line, 3, n);
    for (size_t k = 0; k < 3; ++k) v.value[k] = n[k] * scale;
    v.envelope = lineEnvelopes(b, line, enveloped, scale);
  }

  long ranged(const std::vector<std::string>& w, size_t i, size_t line, long low, long high) {
    const long v = integer(w, i, line);
    if (v < low || v > high)
      fail(line, w[0] + " " + w[i] + " is out of range (" + std::to_string(low) + " to " + std::to_string(high) + ")");
    return v;
  }

  std::shared_ptr<SceneTexture> readClipTexture(size_t ownerLine) {
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

  TextureLayer readClipLayer(ClipMapBuild& b, size_t open, const std::string& head) {
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
    ObjectModel& home = *b.texture->home;
    for (;;) {
      size_t line;
      const std::string text = nextLine(line, open, "a clip map layer");
      if (text == "}") break;
      if (text[0] == '{') {
        skipBlock(line);
        continue;
      }
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
    return l;
  }

  // --- the keywords ---------------------------------------------------------------------

  void handle(size_t line, const std::string& text) {
    const std::vector<std::string> w = words(text);
    const std::string& key = w[0];
    auto flag = [&](size_t i = 1) { return integer(w, i, line) != 0; };

    // Items.
    if (key == "LoadObjectLayer" || key == "LoadObject") return loadObject(line, w, text);
    if (key == "AddNullObject") {
      std::string id;
      int skip = 1;
      if (w.size() > 2 && isItemId(w[1])) id = w[1], skip = 2;
      std::string name = restOfLine(text, skip);
      if (name.empty()) name = "Null";
      const int index = addItem(ItemType::Object, id, name);
      scene_.items[size_t(index)].object.isNull = true;
      lastObject_ = index;
      return;
    }
    if (key == "AddLight") {
      addItem(ItemType::Light, w.size() > 1 && isItemId(w[1]) ? w[1] : "", "Light");
      return;
    }
    if (key == "AddCamera") {
      addItem(ItemType::Camera, w.size() > 1 && isItemId(w[1]) ? w[1] : "", "Camera");
      return;
    }
    if (key == "AddBone") {
      std::string id = w.size() > 1 && isItemId(w[1]) ? w[1] : "";
      const int index = addItem(ItemType::Bone, id, "Bone");
      Item& bone = scene_.items[size_t(index)];
      bone.bone.objectIndex = lastObject_;
      bone.parent = lastObject_;  // until a ParentItem says otherwise
      return;
    }
    if (key == "LightName" || key == "CameraName" || key == "BoneName") {
      const ItemType t = key == "LightName" ? ItemType::Light : key == "CameraName" ? ItemType::Camera : ItemType::Bone;
      if (Item* item = current(t)) item->name = restOfLine(text, 1);
      return;
    }
    if (key == "ParentItem" || key == "ParentObject" || key == "TargetItem" || key == "TargetObject") {
      if (current_ < 0 || w.size() < 2) return;
      PendingParent p{current_, line, key == "ParentItem" || key == "TargetItem", 0,
                      key == "TargetItem" || key == "TargetObject"};
      if (p.byId) {
        if (w[1].size() > 8 || !std::all_of(w[1].begin(), w[1].end(), [](char c) { return std::isxdigit(uint8_t(c)); }))
          fail(line, key + ": \"" + w[1] + "\" is not an item id");
        p.value = hexValue(w[1]);
      } else {
        p.value = uint32_t(integer(w, 1, line));
      }
      parents_.push_back(p);
      return;
    }
    if (key == "HController" || key == "PController") {
      // 1 points the angle at the target; scenes without these lines aim both.
      if (Item* item = currentAny()) (key[0] == 'H' ? item->targetHeading : item->targetPitch) = integer(w, 1, line) == 1;
      return;
    }
    if (key == "PivotPosition" || key == "PivotPoint") {
      if (Item* item = currentAny())
        for (int i = 0; i < 3; ++i) item->pivotPosition[size_t(i)] = number(w, size_t(1 + i), line);
      return;
    }
    if (key == "PivotRotation") {
      const double scale = version_ < 3 ? kDegToRad : 1.0;
      if (Item* item = currentAny())
        for (int i = 0; i < 3; ++i) item->pivotRotation[size_t(i)] = number(w, size_t(1 + i), line) * scale;
      return;
    }
    if (key == "ObjectMotion" || key == "LightMotion" || key == "CameraMotion" || key == "BoneMotion") {
      Item* item = currentAny();
      if (!item) fail(line, key + " before any item");
      return readMotion(line, *item);
    }
    if (key == "Pre/PostBehavior") {
      Item* item = currentAny();
      if (!item) return;
      for (size_t c = 0; c < size_t(MotionChannelCount) && 2 + 2 * c < w.size(); ++c) {
        const long pre = integer(w, 1 + 2 * c, line), post = integer(w, 2 + 2 * c, line);
        if (pre < 0 || pre > 5 || post < 0 || post > 5) fail(line, "unknown envelope behaviour");
        item->motion[c].envelope.pre = EnvBehavior(pre);
        item->motion[c].envelope.post = EnvBehavior(post);
      }
      return;
    }
    if (key == "EndBehavior") {
      Item* item = currentAny();
      const long b = integer(w, 1, line);
      if (b < 0 || b > 5) fail(line, "unknown end behaviour");
      if (item)
        for (Animated& a : item->motion) a.envelope.post = EnvBehavior(b);
      return;
    }
    if (key == "Plugin") return readPlugin(line, w, text);
    if (key == "ItemActive") {
      if (Item* item = currentAny()) item->active = flag();
      return;
    }

    // Bones.
    if (Item* item = current(ItemType::Bone)) {
      BoneSettings& bone = item->bone;
      const double angle = version_ < 3 ? kDegToRad : 1.0;
      if (key == "BoneRestPosition")
        for (int i = 0; i < 3; ++i) bone.restPosition[size_t(i)] = number(w, size_t(1 + i), line);
      if (key == "BoneRestDirection")
        for (int i = 0; i < 3; ++i) bone.restRotation[size_t(i)] = number(w, size_t(1 + i), line) * angle;
      if (key == "BoneRestLength") bone.restLength = number(w, 1, line);
      if (key == "BoneActive") bone.active = item->active = flag();
    }

    // Objects.
    if (Item* obj = current(ItemType::Object)) {
      ObjectSettings& o = obj->object;
      auto objectFlag = [&](uint32_t bit) {
        if (flag()) o.flags |= bit;
        else o.flags &= ~bit;
      };
      if (key == "ShadowOptions") return void(o.shadowOptions = uint32_t(integer(w, 1, line)));
      if (key == "ObjectDissolve") return animated(w, 1, line, o.dissolve);
      if (key == "ObjectFogLevel" || key == "FogLevel") return animated(w, 1, line, o.fogLevel);
      if (key == "PolygonSize") return animated(w, 1, line, o.polygonSize);
      if (key == "UnseenByCamera") return objectFlag(ObjectUnseenByCamera);
      if (key == "UnseenByRays") return objectFlag(ObjectUnseenByRays);
      if (key == "UnaffectedByFog") return objectFlag(ObjectUnaffectedByFog);
      if (key == "UnseenByAlphaChannel") return objectFlag(ObjectUnseenByAlpha);
      if (key == "MatteObject") return objectFlag(ObjectMatte);
      if (key == "MatteColor") return color(w, line, o.matteColor);
      if (key == "DistanceDissolve") return objectFlag(ObjectDistanceDissolve);
      if (key == "MaxDissolveDistance") return void(o.distanceDissolveMax = number(w, 1, line));
      if (key == "SubdivisionOrder") return void(o.subdivisionOrder = int(integer(w, 1, line)));
      if (key == "SubPatchLevel") {
        o.subPatchLevel = int(integer(w, 1, line));
        if (w.size() > 2) o.subPatchRenderLevel = int(integer(w, 2, line));
        return;
      }
      if (key == "ExcludeLight" || key == "ExcludeRadiosity" || key == "ExcludeCaustics") {
        if (key == "ExcludeRadiosity") o.excludedLights.push_back(kRadiosityItemId);
        else if (key == "ExcludeCaustics") o.excludedLights.push_back(kCausticsItemId);
        else if (w.size() > 1 && isItemId(w[1])) o.excludedLights.push_back(hexValue(w[1]));
        else o.excludedLights.push_back(itemIdBase(ItemType::Light) + uint32_t(integer(w, 1, line)));
        return;
      }
      if (key == "ClipMap") return readClipMap(line, *obj);
    }

    // Lights.
    if (Item* item = current(ItemType::Light)) {
      LightSettings& l = item->light;
      if (key == "LightColor") return color(w, line, l.color);
      if (key == "LightIntensity" || key == "LgtIntensity") return animated(w, 1, line, l.intensity);
      if (key == "LightType") {
        const long t = integer(w, 1, line);
        if (t < 0 || t > 4) fail(line, "unknown light type " + std::to_string(t));
        lightTypeGiven_[current_] = true;
        return void(l.kind = LightKind(t));
      }
      if (key == "LightFalloffType") {
        const long t = integer(w, 1, line);
        if (t < 0 || t > 3) fail(line, "unknown falloff type " + std::to_string(t));
        return void(l.falloff = LightFalloff(t));
      }
      if (key == "LightRange") return animated(w, 1, line, l.range);
      if (key == "LightConeAngle") return animated(w, 1, line, l.coneAngle, kDegToRad);
      if (key == "LightEdgeAngle") return animated(w, 1, line, l.edgeAngle, kDegToRad);
      if (key == "ShadowType") return void(l.shadowType = int(integer(w, 1, line)));
      if (key == "ShadowColor") return color(w, line, l.shadowColor);
      if (key == "LightQuality" || key == "AreaLightQuality") return void(l.quality = int(integer(w, 1, line)));
      if (key == "AffectDiffuse") return void(l.affectDiffuse = flag());
      if (key == "AffectSpecular") return void(l.affectSpecular = flag());
      if (key == "AffectCaustics") return void(l.affectCaustics = flag());
      if (key == "AffectOpenGL") return void(l.affectOpenGL = flag());
      if (key == "LensFlare") return void(l.lensFlare = flag());
      if (key == "VolumetricLighting") return void(l.volumetric = flag());
      if (key == "ProjectionImage") return void(l.projectionImage = restOfLine(text, 1));
      if (key == "ShadowMapSize") return void(l.shadowMapSize = int(integer(w, 1, line)));
    }

    // Cameras.
    if (Item* item = current(ItemType::Camera)) {
      CameraSettings& c = item->camera;
      if (key == "ZoomFactor") return animated(w, 1, line, c.zoomFactor);
      if (key == "FocalDistance") return animated(w, 1, line, c.focalDistance);
      if (key == "LensFStop") return animated(w, 1, line, c.fStop);
      if (key == "BlurLength") return animated(w, 1, line, c.blurLength);
      if (key == "DepthOfField") return void(c.depthOfField = flag());
      if (key == "MotionBlur") return void(c.motionBlur = int(integer(w, 1, line)));
      if (key == "FrameSize" || key == "CustomSize") {
        const long width = integer(w, 1, line), height = integer(w, 2, line);
        if (width < 1 || height < 1) fail(line, key + " must be at least 1 by 1");
        cameraSize_[current_] = {int(width), int(height)};
        return;
      }
      if (key == "Resolution") {
        // The presets of old scenes: 0 low (320 x 240), 1 medium, 2 high, 3 print, -1 super low.
        if (!cameraSize_.count(current_)) {
          const long r = integer(w, 1, line);
          const double f = std::pow(2.0, double(std::clamp(r, -1L, 3L)));
          cameraSize_[current_] = {int(320 * f), int(240 * f)};
        }
        return;
      }
      if (key == "ResolutionMultiplier") return void(c.resolutionMultiplier = number(w, 1, line));
      if (key == "PixelAspect" || key == "CustomPixelRatio") {
        const double a = number(w, 1, line);
        if (a > 0.0) c.pixelAspect = a;
        return;
      }
      if (key == "LimitedRegion") return void(c.limitedRegion = int(integer(w, 1, line)));
      if (key == "RegionLimits") {
        c.regionX0 = int(integer(w, 1, line)), c.regionY0 = int(integer(w, 2, line));
        c.regionX1 = int(integer(w, 3, line)), c.regionY1 = int(integer(w, 4, line));
        regionGiven_[current_] = true;
        return;
      }
      if (key == "MaskPosition") {
        if (!regionGiven_.count(current_)) {
          const long x = integer(w, 1, line), y = integer(w, 2, line);
          const long width = integer(w, 3, line), height = integer(w, 4, line);
          c.regionX0 = int(x), c.regionY0 = int(y);
          c.regionX1 = int(x + width - 1), c.regionY1 = int(y + height - 1);
          regionGiven_[current_] = true;
        }
        return;
      }
      if (key == "AASamples") return void(c.antialiasing = int(integer(w, 1, line)));
      if (key == "UseGlobalResolution") return void(useGlobal_[current_] = flag());
      if (key == "FieldRendering") return void(scene_.render.fieldRendering |= flag());
    }

    // The scene.
    RenderSettings& r = scene_.render;
    Backdrop& b = scene_.backdrop;
    Fog& f = scene_.fog;
    if (key == "FirstFrame") return void(scene_.firstFrame = int(integer(w, 1, line)));
    if (key == "LastFrame") return void(scene_.lastFrame = int(integer(w, 1, line)));
    if (key == "FrameStep") return void(scene_.frameStep = int(integer(w, 1, line)));
    if (key == "PreviewFirstFrame") return void(scene_.previewFirstFrame = int(integer(w, 1, line)));
    if (key == "PreviewLastFrame") return void(scene_.previewLastFrame = int(integer(w, 1, line)));
    if (key == "PreviewFrameStep") return void(scene_.previewFrameStep = int(integer(w, 1, line)));
    if (key == "CurrentFrame") return void(scene_.currentFrame = int(integer(w, 1, line)));
    if (key == "FramesPerSecond") {
      const double fps = number(w, 1, line);
      if (fps <= 0.0) fail(line, "FramesPerSecond must be above 0");
      return void(scene_.framesPerSecond = fps);
    }
    if (key == "AmbientColor") return color(w, line, scene_.ambientColor);
    if (key == "AmbientIntensity" || key == "AmbIntensity") return animated(w, 1, line, scene_.ambientIntensity);
    if (key == "RenderMode") return void(r.renderMode = int(integer(w, 1, line)));
    if (key == "RayTraceEffects") {
      const long bits = integer(w, 1, line);
      r.traceShadows = bits & 1, r.traceReflection = bits & 2, r.traceRefraction = bits & 4;
      r.traceTransparency = bits & 8, r.traceOcclusion = bits & 16;
      return;
    }
    if (key == "RayTraceShadows") return void(r.traceShadows = flag());
    if (key == "RayTraceReflection") return void(r.traceReflection = flag());
    if (key == "RayTraceRefraction") return void(r.traceRefraction = flag());
    if (key == "RayTraceTransparency") return void(r.traceTransparency = flag());
    if (key == "RayRecursionLimit") return void(r.recursionLimit = int(integer(w, 1, line)));
    if (key == "EnableRadiosity") return void(r.radiosity = flag());
    if (key == "RadiosityType") return void(r.radiosityType = int(integer(w, 1, line)));
    if (key == "RadiosityIntensity") return void(r.radiosityIntensity = number(w, 1, line));
    if (key == "RadiosityRays") return void(r.radiosityRays = int(integer(w, 1, line)));
    if (key == "EnableCaustics") return void(r.caustics = flag());
    if (key == "DoubleSidedAreaLights") return void(r.doubleSidedAreaLights = flag());
    if (key == "GlobalFieldRendering") return void(r.fieldRendering |= flag());
    if (key == "GlobalFrameSize") {
      globalWidth_ = int(integer(w, 1, line)), globalHeight_ = int(integer(w, 2, line));
      return;
    }
    if (key == "GlobalMultiplier") return void(globalMultiplier_ = number(w, 1, line));
    if (key == "GlobalPixelAspect") return void(globalAspect_ = number(w, 1, line));
    if (key == "SolidBackdrop") return void(b.gradient = !flag());
    if (key == "BackdropGradient") return void(b.gradient = flag());
    if (key == "BackdropColor") return color(w, line, b.color);
    if (key == "ZenithColor") return color(w, line, b.zenith);
    if (key == "SkyColor") return color(w, line, b.sky);
    if (key == "GroundColor") return color(w, line, b.ground);
    if (key == "NadirColor") return color(w, line, b.nadir);
    if (key == "SkySqueezeAmount") return animated(w, 1, line, b.skySqueeze);
    if (key == "GroundSqueezeAmount") return animated(w, 1, line, b.groundSqueeze);
    if (key == "FogType") return void(f.type = int(integer(w, 1, line)));
    if (key == "FogMinDistance") return animated(w, 1, line, f.minDistance);
    if (key == "FogMaxDistance") return animated(w, 1, line, f.maxDistance);
    if (key == "FogMinAmount") return animated(w, 1, line, f.minAmount);
    if (key == "FogMaxAmount") return animated(w, 1, line, f.maxAmount);
    if (key == "FogColor") return color(w, line, f.color);
    if (key == "BackdropFog") return void(f.backdropFog = flag());
    if (key == "BGImage") return void(scene_.compositing.background = restOfLine(text, 1));
    if (key == "FGImage") return void(scene_.compositing.foreground = restOfLine(text, 1));
    if (key == "FGAlphaImage") return void(scene_.compositing.foregroundAlpha = restOfLine(text, 1));
    if (key == "LoadImage") return void(scene_.images.push_back(restOfLine(text, 1)));
    if (key == "CurrentCamera") {
      currentCamera_ = w.size() > 1 ? w[1] : "";
      currentCameraLine_ = line;
      return;
    }
    // Anything else is a line this reader doesn't need.
  }

  void finish() {
    for (const PendingParent& p : parents_) {
      int parent = -1;
      if (p.byId) {
        parent = scene_.findItem(p.value);
      } else {
        // Objects counted from 1, in the order they were loaded.
        const std::vector<int> objects = scene_.itemsOf(ItemType::Object);
        if (p.value >= 1 && p.value <= objects.size()) parent = objects[p.value - 1];
      }
      if (parent < 0) {
        char id[16];
        std::snprintf(id, sizeof id, p.byId ? "%08X" : "%u", unsigned(p.value));
        warn(p.line, std::string(p.target ? "the target " : "the parent ") + id + " of " +
                         itemKindName(scene_.items[size_t(p.item)].type) + " \"" +
                         scene_.items[size_t(p.item)].name + "\" does not exist");
        continue;
      }
      if (parent == p.item) continue;
      if (p.target) scene_.items[size_t(p.item)].target = parent;
      else scene_.items[size_t(p.item)].parent = parent;
    }

    for (int cam : scene_.itemsOf(ItemType::Camera)) {
      CameraSettings& c = scene_.items[size_t(cam)].camera;
      int width = 640, height = 480;
      double multiplier = c.resolutionMultiplier;
      if (useGlobal_[cam] && globalWidth_ > 0) {
        width = globalWidth_, height = globalHeight_, multiplier = globalMultiplier_;
        if (globalAspect_ > 0.0) c.pixelAspect = globalAspect_;
      } else if (cameraSize_.count(cam)) {
        width = cameraSize_[cam].first, height = cameraSize_[cam].second;
      }
      if (multiplier <= 0.0) multiplier = 1.0;
      c.width = std::max(1, int(std::lround(width * multiplier)));
      c.height = std::max(1, int(std::lround(height * multiplier)));
      c.resolutionMultiplier = multiplier;
      if (!regionGiven_.count(cam)) {
        c.regionX0 = 0, c.regionY0 = 0, c.regionX1 = c.width - 1, c.regionY1 = c.height - 1;
      }
    }

    if (!currentCamera_.empty()) {
      const std::vector<int> cameras = scene_.itemsOf(ItemType::Camera);
      long n;
      if (isItemId(currentCamera_) && currentCamera_[0] != '0') {
        scene_.currentCamera = scene_.findItem(hexValue(currentCamera_));
      } else if (toInt(currentCamera_, n) && n >= 0 && size_t(n) < cameras.size()) {
        scene_.currentCamera = cameras[size_t(n)];
      } else {
        warn(currentCameraLine_, "CurrentCamera " + currentCamera_ + " is not a camera of the scene");
      }
    }
  }

  std::vector<std::string> lines_;
  size_t pos_ = 0;
  std::string path_;
  Scene& scene_;
  const LwsReadOptions& options_;
  std::vector<std::string>* warnings_;
  int version_ = 5;
  int current_ = -1;
  int lastObject_ = -1;
  std::vector<PendingParent> parents_;
  std::map<std::string, std::shared_ptr<const ObjectModel>> models_;
  std::map<int, std::pair<int, int>> cameraSize_;
  std::map<int, bool> regionGiven_;
  std::map<int, bool> useGlobal_;
  std::map<int, bool> lightTypeGiven_;
  int globalWidth_ = 0, globalHeight_ = 0;
  double globalMultiplier_ = 1.0, globalAspect_ = 0.0;
  std::string currentCamera_;
  size_t currentCameraLine_ = 0;
};

bool isFile(const fs::path& p) {
  std::error_code ec;
  return !p.empty() && fs::is_regular_file(p, ec);
}

}  // namespace

std::string resolveScenePath(const std::string& written, const std::string& scenePath,
                             const std::string& contentDir) {
  std::string path = written;
  std::replace(path.begin(), path.end(), '\\', '/');
  // A path written on another system ("C:/Content/Objects/box.lwo") keeps only its tail here.
  std::string relative = path;
  if (relative.size() > 1 && relative[1] == ':') relative = relative.substr(2);
  while (!relative.empty() && relative[0] == '/') relative.erase(0, 1);

  const fs::path sceneDir = fs::path(scenePath).parent_path();
  const fs::path name = fs::path(path).filename();
  std::vector<fs::path> candidates{fs::path(path)};
  if (!contentDir.empty()) candidates.push_back(fs::path(contentDir) / relative);
  candidates.push_back(sceneDir / relative);
  candidates.push_back(sceneDir / name);
  for (const fs::path& c : candidates)
    if (isFile(c)) return c.lexically_normal().string();
  return {};
}

bool readSceneText(const std::string& text, const std::string& path, Scene& out, std::string& error,
                   const LwsReadOptions& options, std::vector<std::string>* warnings) {
  Scene scene;
  scene.fileName = path;
  LwsParser parser(text, path, scene, options, warnings);
  if (!parser.run(error)) return false;
  out = std::move(scene);
  return true;
}

bool readSceneFile(const std::string& path, Scene& out, std::string& error, const LwsReadOptions& options,
                   std::vector<std::string>* warnings) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    error = path + ": can't open the scene file";
    return false;
  }
  std::ostringstream text;
  text << in.rdbuf();
  if (in.bad()) {
    error = path + ": can't read the scene file";
    return false;
  }
  return readSceneText(text.str(), path, out, error, options, warnings);
}

}  // namespace host
