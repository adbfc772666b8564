// Reader of LightWave scene files: the file's lines, its items and their objects, and what is
// settled once every line is read (parents, camera sizes, the current camera). The keywords,
// envelopes, clip maps and server blocks are read in the lws_*.cpp files beside this one.
//
// A scene whose meaning is still clear is read, and each kind of flaw mended is told once, at
// its first line, with a count of the others ("scene.lws: line 12: ... (3 more like it)"):
//   - an envelope whose key count disagrees with its Key lines, or has none: the keys are taken;
//   - NumChannels disagreeing with the Channel blocks that follow, or missing: the blocks are
//     taken, and channels without a block keep their defaults;
//   - a line with fewer values than its keyword takes: the values there are taken and the rest
//     keep their defaults (a line with none changes nothing); a line with more: the extra ones
//     are passed over;
//   - the file ending inside an envelope that holds all its keys, or inside a block this reader
//     passes over: the block is closed there;
//   - a closing brace with no block open: passed over.
// Mended without a word, since Layout and editors write them: LF, CR LF or CR line ends, tabs,
// trailing blanks, a byte-order mark, no line end after the last line, keys out of time order.
// Keywords this reader doesn't know are skipped, and server blocks (Plugin ... EndPlugin) are
// kept line for line, for the writer to give back unchanged. Anything else that can't be read
// fails the scene with one message, "scene.lws:12: what".
#include "host/formats/lws_reader.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "host/formats/lwo_reader.h"
#include "host/formats/lws_parser.h"

namespace host {

namespace lws {
namespace {

// The widest frame side a scene may ask for: two of them multiplied still fit a pixel count
// of 32 bits, which the renderer's frame buffers are sized by.
constexpr double kMaxFrameSide = 32768.0;

namespace fs = std::filesystem;

const char* itemKindName(ItemType t) {
  switch (t) {
    case ItemType::Object: return "object";
    case ItemType::Light: return "light";
    case ItemType::Camera: return "camera";
    case ItemType::Bone: return "bone";
  }
  return "item";
}

}  // namespace

Parser::Parser(const std::string& text, const std::string& path, Scene& scene, const LwsReadOptions& options)
    : lines_(splitLines(text)), path_(path), scene_(scene), options_(options), flaws_(path) {}

bool Parser::run(std::string& error) {
  try {
    readHeader();
    while (pos_ < lines_.size()) {
      const size_t index = pos_++;
      const std::string line = trim(lines_[index]);
      if (line.empty()) continue;
      if (line == "}") {
        flaw(index, "stray brace", "a closing brace with no block open was passed over");
        continue;
      }
      if (line[0] == '{') {
        skipBlock(index);
        continue;
      }
      handleLine(index, line);
    }
    finish();
  } catch (const ParseError& e) {
    error = path_ + ":" + std::to_string(e.line + 1) + ": " + e.what;
    return false;
  }
  return true;
}

void Parser::appendWarnings(std::vector<std::string>& out) const {
  flaws_.appendTo(out);
  out.insert(out.end(), objectWarnings_.begin(), objectWarnings_.end());
}

void Parser::flaw(size_t line, const std::string& kind, const std::string& what) {
  flaws_.note(kind, "line " + std::to_string(line + 1), what);
}

// --- lines ------------------------------------------------------------------------------

bool Parser::more() const {
  for (size_t i = pos_; i < lines_.size(); ++i)
    if (!trim(lines_[i]).empty()) return true;
  return false;
}

// The next line that isn't blank, trimmed; fails at the end of the file.
std::string Parser::nextLine(size_t& index, size_t openedAt, const char* what) {
  while (pos_ < lines_.size()) {
    index = pos_++;
    std::string line = trim(lines_[index]);
    if (!line.empty()) return line;
  }
  fail(openedAt, std::string("the file ends inside ") + what);
}

std::string Parser::peekLine() const {
  for (size_t i = pos_; i < lines_.size(); ++i) {
    std::string line = trim(lines_[i]);
    if (!line.empty()) return line;
  }
  return {};
}

// A block this reader doesn't read. One the file ends inside loses nothing read by closing it.
void Parser::skipBlock(size_t openedAt) {
  for (int depth = 1; depth > 0;) {
    if (!more()) {
      flaw(openedAt, "unclosed block", "the file ends inside the block opened here; it was closed at the end");
      pos_ = lines_.size();
      return;
    }
    size_t index;
    const std::string line = nextLine(index, openedAt, "a block opened here");
    if (line[0] == '{') ++depth;
    else if (line == "}") --depth;
  }
}

void Parser::readHeader() {
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

// --- items ------------------------------------------------------------------------------

Item* Parser::current(ItemType type) {
  if (current_ < 0 || scene_.items[size_t(current_)].type != type) return nullptr;
  return &scene_.items[size_t(current_)];
}

Item* Parser::currentAny() { return current_ < 0 ? nullptr : &scene_.items[size_t(current_)]; }

int Parser::addItem(ItemType type, const std::string& idText, const std::string& name) {
  const int index = scene_.addItem(type, name);
  if (!idText.empty()) {
    const uint32_t id = hexValue(idText);
    if (scene_.findItem(id) < 0) scene_.items[size_t(index)].id = id;
  }
  current_ = index;
  return index;
}

// Objects that can't be found or read cost only their geometry; each is told by its own name.
void Parser::loadObject(size_t line, const std::vector<std::string>& w, const std::string& text) {
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
  keywordWords_ = nullptr;  // the rest of the line is the file's name
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
    flaw(line, "object not found " + written, "object file \"" + written + "\" not found");
    return;
  }
  if (!options_.loadObjects) return;
  auto cached = models_.find(obj.resolvedPath);
  if (cached != models_.end()) {
    obj.model = cached->second;
  } else {
    std::shared_ptr<const ObjectModel> model;
    if (options_.objectCache && options_.objectCache->count(obj.resolvedPath)) {
      model = options_.objectCache->at(obj.resolvedPath);
    } else {
      auto read = std::make_shared<ObjectModel>();
      std::string error;
      const bool ok = options_.loadObject ? options_.loadObject(obj.resolvedPath, *read, error)
                                          : readObjectFile(obj.resolvedPath, *read, error);
      if (!ok) {
        flaw(line, "object unreadable " + written, "object file \"" + written + "\" can't be read: " + error);
        models_[obj.resolvedPath] = nullptr;
        return;
      }
      model = read;
      if (options_.objectCache) (*options_.objectCache)[obj.resolvedPath] = model;
    }
    models_[obj.resolvedPath] = model;
    obj.model = model;
    // Once a file, however many items load it.
    objectWarnings_.insert(objectWarnings_.end(), model->warnings.begin(), model->warnings.end());
  }
  if (obj.model && obj.model->layers.size() > 1) {
    for (const Layer& l : obj.model->layers)
      if (l.number + 1 == layer) {
        scene_.items[size_t(index)].name += ":" + (l.name.empty() ? "Layer " + std::to_string(layer) : l.name);
        break;
      }
  }
}

void Parser::finish() {
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
      const Item& item = scene_.items[size_t(p.item)];
      const std::string what = std::string(p.target ? "the target " : "the parent ") + id + " of " +
                               itemKindName(item.type) + " \"" + item.name + "\" does not exist";
      flaw(p.line, what, what);
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
    c.width = int(std::lround(std::clamp(width * multiplier, 1.0, kMaxFrameSide)));
    c.height = int(std::lround(std::clamp(height * multiplier, 1.0, kMaxFrameSide)));
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
      const std::string what = "CurrentCamera " + currentCamera_ + " is not a camera of the scene";
      flaw(currentCameraLine_, what, what);
    }
  }
}

}  // namespace lws

namespace {

namespace fs = std::filesystem;

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
  lws::Parser parser(text, path, scene, options);
  const bool ok = parser.run(error);
  if (warnings) parser.appendWarnings(*warnings);
  if (!ok) return false;
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
