#pragma once
// The scene reader's parser, shared by the files that read its parts: lws_reader.cpp (the file,
// items, objects, and what is settled at the end), lws_keywords.cpp (one line of settings),
// lws_envelopes.cpp (envelopes and motions), lws_clip_map.cpp and lws_plugins.cpp. Not for use
// outside the scene reader.
#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/formats/flaw_log.h"
#include "host/formats/lws_reader.h"

namespace host::lws {

constexpr double kDegToRad = 0.017453292519943295;

struct ParseError {
  size_t line;  // index into the lines, 0-based
  std::string what;
};

// A keyword's line that ends before a value the keyword takes. Where it is caught, the values
// before it stand and the rest keep their defaults; where nothing catches it, it fails the
// scene as any other error.
struct MissingValue : ParseError {
  std::string key;
  size_t have = 0;  // values on the line
};

bool isBlank(char c);
std::string trim(const std::string& s);
std::vector<std::string> words(const std::string& s);
bool toNumber(const std::string& s, double& v);
bool toInt(const std::string& s, long& v);
bool isItemId(const std::string& s);  // eight hex digits
uint32_t hexValue(const std::string& s);
std::string restOfLine(const std::string& line, int skip);  // the text after the first `skip` words
// Scales an envelope's values, and the tangents that go with them.
void scaleEnvelope(Envelope& env, double scale);
// The lines of a text, split at LF, CR LF or a lone CR, without a byte-order mark.
std::vector<std::string> splitLines(const std::string& text);

class Parser {
 public:
  Parser(const std::string& text, const std::string& path, Scene& scene, const LwsReadOptions& options);

  // Reads the whole scene; false with `error` set when it can't be read.
  bool run(std::string& error);
  // The flaws mended, a line a kind, then the warnings of the objects read.
  void appendWarnings(std::vector<std::string>& out) const;

 private:
  struct PendingParent {
    int item;
    size_t line;
    bool byId;
    uint32_t value;
    bool target = false;
  };
  struct ClipMapBuild;

  [[noreturn]] void fail(size_t line, const std::string& what) { throw ParseError{line, what}; }
  void flaw(size_t line, const std::string& kind, const std::string& what);

  // Lines (lws_reader.cpp).
  bool more() const;  // a line that isn't blank is left
  std::string nextLine(size_t& index, size_t openedAt, const char* what);
  std::string peekLine() const;
  void skipBlock(size_t openedAt);
  void readHeader();

  // Values (lws_keywords.cpp).
  double number(const std::vector<std::string>& w, size_t i, size_t line);
  long integer(const std::vector<std::string>& w, size_t i, size_t line);
  void animated(const std::vector<std::string>& w, size_t i, size_t line, Animated& out, double scale = 1.0);
  void color(const std::vector<std::string>& w, size_t line, AnimatedColor& out);
  void noteMissing(const MissingValue& e);
  void handleLine(size_t line, const std::string& text);
  void handle(size_t line, const std::string& text, const std::vector<std::string>& w);

  // Envelopes and motions (lws_envelopes.cpp).
  Envelope readEnvelope(size_t ownerLine);
  Envelope readEnvelopeBlock(size_t ownerLine);
  std::vector<Envelope> readOldChannels(size_t ownerLine, long expected, bool motion);
  void readMotion(size_t line, Item& item);

  // Items and objects (lws_reader.cpp).
  Item* current(ItemType type);
  Item* currentAny();
  int addItem(ItemType type, const std::string& idText, const std::string& name);
  void loadObject(size_t line, const std::vector<std::string>& w, const std::string& text);
  void finish();

  // Server blocks (lws_plugins.cpp).
  void readPlugin(size_t line, const std::vector<std::string>& w, const std::string& text);

  // Clip maps (lws_clip_map.cpp).
  void readClipMap(size_t line, Item& item);
  size_t blockEnd(size_t ownerLine) const;
  uint32_t lineEnvelopes(ClipMapBuild& b, size_t line, const std::vector<bool>& enveloped, double scale);
  std::vector<bool> numbersOrEnvelopes(const std::vector<std::string>& w, size_t line, size_t count, double* out);
  void clipVector(ClipMapBuild& b, const std::vector<std::string>& w, size_t line, EnvelopedVector& v, double scale);
  long ranged(const std::vector<std::string>& w, size_t i, size_t line, long low, long high);
  std::shared_ptr<SceneTexture> readClipTexture(size_t ownerLine);
  TextureLayer readClipLayer(ClipMapBuild& b, size_t open, const std::string& head);
  void clipLayerLine(ClipMapBuild& b, TextureLayer& l, size_t line, const std::string& text);

  std::vector<std::string> lines_;
  size_t pos_ = 0;
  std::string path_;
  Scene& scene_;
  const LwsReadOptions& options_;
  FlawLog flaws_;
  std::vector<std::string> objectWarnings_;  // each already names its object file
  // The words of the keyword line being read, and the last of them a value was taken from:
  // more words than that are values the keyword doesn't take.
  const std::vector<std::string>* keywordWords_ = nullptr;
  size_t lastValue_ = 0;
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

}  // namespace host::lws
