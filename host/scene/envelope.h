#pragma once
// An animation channel as Layout keeps it: keys with the shape of the span that ends at each
// key, and what happens before the first key and after the last.
#include <string>
#include <vector>

namespace host {

// Numbered as they are in the files (LWO2 SPAN ids and LWS span types map onto these).
enum class KeyShape { TCB = 0, Hermite = 1, Bezier1D = 2, Linear = 3, Stepped = 4, Bezier2D = 5 };

// Numbered as in the files' PRE/POST and "Behaviors" lines.
enum class EnvBehavior { Reset = 0, Constant = 1, Repeat = 2, Oscillate = 3, OffsetRepeat = 4, Linear = 5 };

struct EnvelopeKey {
  double time = 0.0;   // seconds
  double value = 0.0;
  KeyShape shape = KeyShape::TCB;  // shape of the span arriving at this key
  double tension = 0.0, continuity = 0.0, bias = 0.0;  // TCB
  // Hermite and Bezier1D: incoming / outgoing tangents in param[0], param[1];
  // Bezier2D: incoming (time, value) in param[0..1], outgoing (time, value) in param[2..3].
  double param[4] = {0.0, 0.0, 0.0, 0.0};
};

struct Envelope {
  std::string name;
  std::vector<EnvelopeKey> keys;  // sorted by time
  EnvBehavior pre = EnvBehavior::Constant;
  EnvBehavior post = EnvBehavior::Constant;

  // The channel's value at a time, as Layout computes it.
  double evaluate(double time) const;
  bool empty() const { return keys.empty(); }
};

}  // namespace host
