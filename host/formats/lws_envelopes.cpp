// The scene reader's envelopes and motions: "{ Envelope" blocks, the channel lists of
// ObjectMotion and its kin, and the unbraced channel form of scene versions 1 and 2. Counts that
// disagree with what follows are mended by taking what follows (see lws_reader.cpp).
#include <algorithm>

#include "host/formats/lws_parser.h"

namespace host::lws {
namespace {

// The file keeps a Hermite key's tangents as they enter its two spans; the envelope keeps them
// over both spans around the key, as the object files do.
void spreadTangents(Envelope& env) {
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

void sortKeys(Envelope& env) {
  std::stable_sort(env.keys.begin(), env.keys.end(),
                   [](const EnvelopeKey& a, const EnvelopeKey& b) { return a.time < b.time; });
}

std::string plural(size_t n, const char* word) { return std::to_string(n) + " " + word + (n == 1 ? "" : "s"); }

}  // namespace

void scaleEnvelope(Envelope& env, double scale) {
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

Envelope Parser::readEnvelope(size_t ownerLine) {
  const std::string next = peekLine();
  if (!next.empty() && next[0] == '{') return readEnvelopeBlock(ownerLine);
  return readOldChannels(ownerLine, 1, false).front();
}

Envelope Parser::readEnvelopeBlock(size_t ownerLine) {
  size_t open;
  const std::string head = nextLine(open, ownerLine, "an envelope");
  const std::vector<std::string> hw = words(head);
  if (hw.size() < 2 || hw[0] != "{" || hw[1] != "Envelope") fail(open, "expected \"{ Envelope\", found \"" + head + "\"");

  // The key count; an envelope that goes straight to its keys (or its end) has none.
  long count = -1;
  const std::string first = words(peekLine() + " x")[0];
  if (first != "Key" && first != "Behaviors" && first != "}") {
    size_t index;
    const std::string countText = nextLine(index, open, "an envelope");
    if (!toInt(countText, count) || count < 0)
      fail(index, "the envelope's key count \"" + countText + "\" is not a number");
  }

  Envelope env;
  for (;;) {
    if (!more()) {
      // Closing it loses nothing when every key it announced is there.
      if (long(env.keys.size()) < count) fail(open, "the file ends inside an envelope");
      flaw(open, "unclosed block", "the file ends inside the envelope opened here; it was closed at the end");
      break;
    }
    size_t index;
    const std::string line = nextLine(index, open, "an envelope");
    if (line == "}") break;
    if (line[0] == '{') {
      skipBlock(index);
      continue;
    }
    const std::vector<std::string> w = words(line);
    if (w[0] == "Key") {
      if (w.size() < 3) fail(index, "a Key needs a value and a time");
      EnvelopeKey key;
      key.value = number(w, 1, index);
      key.time = number(w, 2, index);
      const long shape = w.size() > 3 ? integer(w, 3, index) : 0;
      if (w.size() <= 3) flaw(index, "too few values", "Key has no shape; it was taken as TCB");
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
      if (w.size() < 3)
        flaw(index, "too few values", "Behaviors has " + plural(w.size() - 1, "value") +
                                          " where it takes 2; the missing ones keep their defaults");
      const long pre = w.size() > 1 ? integer(w, 1, index) : long(env.pre);
      const long post = w.size() > 2 ? integer(w, 2, index) : long(env.post);
      if (pre < 0 || pre > 5 || post < 0 || post > 5) fail(index, "unknown envelope behaviour");
      env.pre = EnvBehavior(pre);
      env.post = EnvBehavior(post);
    }
  }
  if (count < 0) {
    flaw(open, "no key count", "the envelope has no key count; its " + plural(env.keys.size(), "key") + " were taken");
  } else if (long(env.keys.size()) != count) {
    flaw(open, "key count", "the envelope says " + plural(size_t(count), "key") + " but holds " +
                                std::to_string(env.keys.size()) + "; the keys were taken");
  }
  sortKeys(env);
  spreadTangents(env);
  return env;
}

// The form of versions 1 and 2: the channel count, then for each channel its key count and keys
// of six numbers (value, time, span, tension, continuity, bias); version 1 instead writes each
// key as one line of all channels' values and a line of frame, linear flag, tension, continuity
// and bias. Nothing marks where a key ends but the count of numbers, so this form isn't mended.
std::vector<Envelope> Parser::readOldChannels(size_t ownerLine, long expected, bool motion) {
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

void Parser::readMotion(size_t line, Item& item) {
  const std::string next = words(peekLine() + " x")[0];
  std::vector<Envelope> channels;
  if (next == "NumChannels" || next == "Channel") {
    // The Channel blocks that follow are the motion, whatever NumChannels says.
    long count = -1;
    size_t index = line;
    if (next == "NumChannels") {
      const std::vector<std::string> w = words(nextLine(index, line, "a motion"));
      if (w.size() > 1) count = integer(w, 1, index);
      if (count > 64) fail(index, "bad channel count " + std::to_string(count));
    }
    const size_t countLine = index;
    size_t blocks = 0;
    while (words(peekLine() + " x")[0] == "Channel") {
      const std::vector<std::string> cw = words(nextLine(index, line, "a motion"));
      if (cw.size() < 2) fail(index, "Channel needs its number");
      const long n = integer(cw, 1, index);
      if (n < 0 || n >= 64) fail(index, "channel " + std::to_string(n) + " is out of range");
      if (size_t(n) >= channels.size()) channels.resize(size_t(n) + 1);
      channels[size_t(n)] = readEnvelopeBlock(index);
      ++blocks;
    }
    if (count < 0) {
      flaw(countLine, "no channel count",
           "the motion has no channel count; its " + plural(blocks, "Channel block") + " were taken");
    } else if (size_t(count) != blocks) {
      flaw(countLine, "channel count", "NumChannels says " + std::to_string(count) + " but " +
                                           plural(blocks, "Channel block") + (blocks == 1 ? " follows" : " follow") +
                                           "; the blocks were taken");
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

}  // namespace host::lws
