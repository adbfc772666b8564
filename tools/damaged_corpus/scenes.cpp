// Damaged scenes: the corpus's scene files and one written here, each given one flaw of those the
// scene reader mends (and a few together), and a few it must refuse. A file that loads with an
// empty `expected` must load without any warning: its flaw is one Layout itself writes.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>

#include "damaged_corpus.h"
#include "host/formats/lws_writer.h"

namespace damaged {
namespace {

namespace fs = std::filesystem;

using Lines = std::vector<std::string>;

Lines splitAtLf(const std::string& text) {
  Lines lines;
  std::istringstream in(text);
  std::string line;
  while (std::getline(in, line)) lines.push_back(line);
  return lines;
}

std::string joined(const Lines& lines, const char* end = "\n") {
  std::string out;
  for (const std::string& l : lines) out += l + end;
  return out;
}

std::string firstWord(const std::string& line) {
  const size_t a = line.find_first_not_of(" \t");
  if (a == std::string::npos) return {};
  return line.substr(a, line.find_first_of(" \t", a) - a);
}

int findLine(const Lines& lines, const std::function<bool(const std::string&)>& match) {
  for (size_t i = 0; i < lines.size(); ++i)
    if (match(lines[i])) return int(i);
  return -1;
}

int findWord(const Lines& lines, const std::string& word) {
  return findLine(lines, [&](const std::string& l) { return firstWord(l) == word; });
}

// A flaw: the damaged text, or empty where the scene has nothing the flaw could be made in.
struct Flaw {
  const char* tag;
  const char* what;
  Outcome outcome;
  const char* expected;
  std::function<std::string(const std::string&)> make;
};

// The count line of the first envelope block, or -1.
int envelopeCount(const Lines& lines) {
  const int open = findLine(lines, [](const std::string& l) { return l.rfind("{ Envelope", 0) == 0; });
  return open < 0 || open + 1 >= int(lines.size()) ? -1 : open + 1;
}

std::string withEnvelopeCount(const std::string& text, int delta, bool zero) {
  Lines lines = splitAtLf(text);
  const int at = envelopeCount(lines);
  if (at < 0) return {};
  const int count = std::atoi(lines[size_t(at)].c_str());
  if (count < 1) return {};
  lines[size_t(at)] = "  " + std::to_string(zero ? 0 : count + delta);
  return joined(lines);
}

std::string withoutLine(const std::string& text, const std::string& word) {
  Lines lines = splitAtLf(text);
  const int at = findWord(lines, word);
  if (at < 0) return {};
  lines.erase(lines.begin() + at);
  return joined(lines);
}

std::string withNumChannels(const std::string& text, int count) {
  Lines lines = splitAtLf(text);
  const int at = findWord(lines, "NumChannels");
  if (at < 0) return {};
  lines[size_t(at)] = "NumChannels " + std::to_string(count);
  return joined(lines);
}

// The first line of a keyword that takes several values, without its last one.
std::string withValueDropped(const std::string& text) {
  Lines lines = splitAtLf(text);
  for (const char* key : {"AmbientColor", "BackdropColor", "GlobalFrameSize", "FrameSize", "LightColor"}) {
    const int at = findWord(lines, key);
    if (at < 0) continue;
    std::string& l = lines[size_t(at)];
    l.erase(l.find_last_of(' '));
    return joined(lines);
  }
  return {};
}

std::string withExtraValues(const std::string& text) {
  Lines lines = splitAtLf(text);
  const int at = findWord(lines, "FramesPerSecond");
  if (at < 0) return {};
  lines[size_t(at)] += " 12 7";
  return joined(lines);
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) text.replace(at, from.size(), to);
  return text;
}

std::string withTabs(const std::string& text) {
  Lines lines = splitAtLf(text);
  for (std::string& l : lines) {
    size_t blanks = 0;
    while (blanks < l.size() && l[blanks] == ' ') ++blanks;
    l = std::string(blanks ? 1 : 0, '\t') + l.substr(blanks);
    const size_t gap = l.find(' ');
    if (gap != std::string::npos) l[gap] = '\t';
  }
  return joined(lines);
}

std::string withTrailingBlanks(const std::string& text) { return replaced(text, "\n", " \t \n"); }

std::string withoutLastLineEnd(const std::string& text) {
  std::string out = text;
  while (!out.empty() && (out.back() == '\n' || out.back() == '\r')) out.pop_back();
  return out;
}

// An envelope whose closing brace the file ends before.
std::string lineEnded(const std::string& text) {
  return text.empty() || text.back() == '\n' || text.back() == '\r' ? text : text + "\n";
}

std::string withOpenEnvelopeAtEnd(const std::string& text) {
  return lineEnded(text) + "AddNullObject Tail\nObjectMotion\nNumChannels 1\nChannel 0\n{ Envelope\n  1\n"
                "  Key 1.5 0 0 0 0 0 0 0 0\n  Behaviors 1 1\n";
}

std::string withOpenBlockAtEnd(const std::string& text) { return lineEnded(text) + "{ ViewConfiguration\n  Mode 3\n"; }

std::string withStrayBrace(const std::string& text) {
  Lines lines = splitAtLf(text);
  const int at = findWord(lines, "FirstFrame");
  if (at < 0) return {};
  lines.insert(lines.begin() + at + 1, "}");
  return joined(lines);
}

// The first Key line with only its value and time, and a shape with six zeros after them
// when `shape` is given.
std::string withKeyShape(const std::string& text, const char* shape) {
  Lines lines = splitAtLf(text);
  const int at = findWord(lines, "Key");
  if (at < 0) return {};
  std::istringstream in(lines[size_t(at)]);
  std::string key, value, time;
  in >> key >> value >> time;
  lines[size_t(at)] = "  Key " + value + " " + time + (shape ? std::string(" ") + shape + " 0 0 0 0 0 0" : "");
  return joined(lines);
}

std::string withNotANumber(const std::string& text) {
  Lines lines = splitAtLf(text);
  const int at = findWord(lines, "FirstFrame");
  if (at < 0) return {};
  lines[size_t(at)] = "FirstFrame one";
  return joined(lines);
}

// Cut inside the first envelope that holds two keys or more, after its first key.
std::string cutInsideEnvelope(const std::string& text) {
  Lines lines = splitAtLf(text);
  for (size_t i = 0; i + 2 < lines.size(); ++i) {
    if (lines[i].rfind("{ Envelope", 0) != 0 || std::atoi(lines[i + 1].c_str()) < 2) continue;
    lines.resize(i + 3);
    return joined(lines);
  }
  return {};
}

std::string withoutLastEndPlugin(const std::string& text) {
  Lines lines = splitAtLf(text);
  for (size_t i = lines.size(); i-- > 0;)
    if (firstWord(lines[i]) == "EndPlugin") {
      lines.erase(lines.begin() + long(i));
      return joined(lines);
    }
  return {};
}

std::string notAScene(const std::string& text) { return "LWSB" + text.substr(std::min<size_t>(4, text.size())); }

std::vector<Flaw> flaws() {
  const Outcome L = Outcome::Loads, F = Outcome::Fails;
  return {
      {"key_count_zero", "an envelope says 0 keys and holds its keys", L, "the envelope says 0 keys but holds",
       [](const std::string& t) { return withEnvelopeCount(t, 0, true); }},
      {"key_count_high", "an envelope announces one key more than it holds", L, "; the keys were taken",
       [](const std::string& t) { return withEnvelopeCount(t, 1, false); }},
      {"no_key_count", "an envelope without its key count line", L, "the envelope has no key count",
       [](const std::string& t) {
         Lines lines = splitAtLf(t);
         const int at = envelopeCount(lines);
         if (at < 0) return std::string();
         lines.erase(lines.begin() + at);
         return joined(lines);
       }},
      {"num_channels_low", "NumChannels 3 before nine Channel blocks", L, "NumChannels says 3 but",
       [](const std::string& t) { return withNumChannels(t, 3); }},
      {"num_channels_high", "NumChannels 12 before nine Channel blocks", L, "NumChannels says 12 but",
       [](const std::string& t) { return withNumChannels(t, 12); }},
      {"no_num_channels", "a motion without its NumChannels line", L, "the motion has no channel count",
       [](const std::string& t) { return withoutLine(t, "NumChannels"); }},
      {"too_few_values", "a colour or size line without its last value", L, "too few; the missing ones keep",
       withValueDropped},
      {"extra_values", "FramesPerSecond with two values more", L, "the extra ones were passed over", withExtraValues},
      {"key_without_shape", "a Key line with only its value and time", L, "Key has no shape",
       [](const std::string& t) { return withKeyShape(t, nullptr); }},
      {"open_envelope_at_end", "the file ends before an envelope's closing brace", L,
       "the file ends inside the envelope opened here", withOpenEnvelopeAtEnd},
      {"open_block_at_end", "the file ends inside an unread block", L, "the file ends inside the block opened here",
       withOpenBlockAtEnd},
      {"stray_brace", "a closing brace with nothing open", L, "a closing brace with no block open", withStrayBrace},
      {"crlf", "CR LF line ends", L, "", [](const std::string& t) { return replaced(t, "\n", "\r\n"); }},
      {"cr", "CR line ends", L, "", [](const std::string& t) { return replaced(t, "\n", "\r"); }},
      {"tabs", "tabs for indentation and between words", L, "", withTabs},
      {"trailing_blanks", "blanks and tabs at the end of every line", L, "", withTrailingBlanks},
      {"no_last_line_end", "no line end after the last line", L, "", withoutLastLineEnd},
      {"byte_order_mark", "a UTF-8 byte-order mark before LWSC", L, "",
       [](const std::string& t) { return "\xEF\xBB\xBF" + t; }},
      {"crlf_key_count_open_end", "CR LF, a key count of 0, no closing brace and no line end at the end", L,
       "the envelope says 0 keys but holds",
       [](const std::string& t) {
         const std::string d = withEnvelopeCount(withOpenEnvelopeAtEnd(t), 0, true);
         return d.empty() ? d : withoutLastLineEnd(replaced(d, "\n", "\r\n"));
       }},
      {"tabs_channels_values", "tabs, trailing blanks, NumChannels 3 and a value short", L, "NumChannels says 3 but",
       [](const std::string& t) {
         const std::string d = withValueDropped(withNumChannels(t, 3));
         return d.empty() ? d : withTrailingBlanks(withTabs(d));
       }},
      {"not_a_scene", "the first line is LWSB", F, "not a LightWave scene", notAScene},
      {"not_a_number", "FirstFrame one", F, "FirstFrame: \"one\" is not a number", withNotANumber},
      {"cut_in_envelope", "the file ends after an envelope's first key of several", F, "the file ends inside an envelope",
       cutInsideEnvelope},
      {"key_shape_9", "a Key of shape 9", F, "unknown key shape 9", [](const std::string& t) { return withKeyShape(t, "9"); }},
      {"no_end_plugin", "the last server block without its EndPlugin", F, "has no EndPlugin", withoutLastEndPlugin},
      {"crlf_not_a_number", "CR LF and FirstFrame one", F, "is not a number",
       [](const std::string& t) {
         const std::string d = withNotANumber(t);
         return d.empty() ? d : replaced(d, "\n", "\r\n");
       }},
  };
}

host::Envelope keys(std::initializer_list<std::pair<double, double>> timeValues, host::KeyShape shape) {
  host::Envelope e;
  for (auto [time, value] : timeValues) {
    host::EnvelopeKey k;
    k.time = time, k.value = value, k.shape = shape;
    e.keys.push_back(k);
  }
  return e;
}

// A scene of the writer's, with what the corpus's scenes lack: server blocks of servers this
// program doesn't know, with blank lines, tabs and trailing blanks inside.
std::string writtenScene() {
  using namespace host;
  Scene scene;
  const int box = scene.addItem(ItemType::Object, "box");
  const int light = scene.addItem(ItemType::Light, "Key");
  scene.addItem(ItemType::Camera, "Camera");
  Item& b = scene.item(box);
  b.object.isNull = true;  // no object file to look for
  b.motion[PositionX].envelope = keys({{0.0, 0.0}, {1.0, 2.0}, {2.0, -1.0}}, KeyShape::TCB);
  b.motion[Heading].envelope = keys({{0.0, 0.0}, {2.0, 1.5}}, KeyShape::Hermite);
  b.plugins.push_back({"DisplacementHandler", 1, "Ripples", {"  Amplitude 0.25", "", "\tSeed 7  "}});
  scene.item(light).light.color = {1.0, 0.9, 0.8};
  scene.plugins.push_back({"MasterHandler", 1, "ShotNotes", {"{ Notes", "  \"first take\"\t", "}"}});
  scene.plugins.push_back({"ImageFilterHandler", 2, "Grain", {"Strength 0.3 ", "  Size 2"}});
  return host::writeSceneText(scene);
}

std::string readFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

}  // namespace

std::vector<DamagedFile> damagedScenes(const std::string& sourceDir) {
  std::vector<std::pair<std::string, std::string>> sources{{"written", writtenScene()}};
  std::error_code ec;
  if (!sourceDir.empty() && fs::is_directory(sourceDir, ec)) {
    std::vector<fs::path> found;
    for (fs::recursive_directory_iterator it(sourceDir, ec), end; !ec && it != end; it.increment(ec))
      if (it->is_regular_file(ec) && it->path().extension() == ".lws") found.push_back(it->path());
    std::sort(found.begin(), found.end());
    for (const fs::path& p : found) sources.emplace_back(p.stem().string(), readFile(p));
  }

  std::vector<DamagedFile> out;
  for (const auto& [stem, text] : sources) {
    for (const Flaw& f : flaws()) {
      const std::string damaged = f.make(text);
      if (damaged.empty()) continue;
      DamagedFile file;
      file.name = stem + "__" + f.tag + ".lws";
      file.flaw = f.what;
      file.bytes.assign(damaged.begin(), damaged.end());
      file.outcome = f.outcome;
      file.expected = f.expected;
      out.push_back(std::move(file));
    }
  }
  return out;
}

}  // namespace damaged
