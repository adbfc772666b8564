#pragma once
// Flaws a reader mends instead of refusing the file. Each kind of flaw is told once, at the
// first place it was met, with a count of the places after it: a file with ten thousand short
// sub-chunks gives one warning, not ten thousand. The order of the warnings is the order in
// which each kind was first met.
#include <cstddef>
#include <string>
#include <vector>

namespace host {

class FlawLog {
 public:
  explicit FlawLog(std::string file) : file_(std::move(file)) {}

  // `kind` groups the occurrences ("short sub-chunk"); `place` says where ("SURF \"Skin\" >
  // COLR at offset 1234", "line 12"); `what` says what was found and what was done.
  void note(const std::string& kind, const std::string& place, const std::string& what);

  // One line a kind: "<file>: <place>: <what>", and " (N more like it)" when it came again.
  std::vector<std::string> lines() const;
  void appendTo(std::vector<std::string>& out) const;
  bool empty() const { return kinds_.empty(); }
  size_t kindCount() const { return kinds_.size(); }

 private:
  struct Kind {
    std::string kind, place, what;
    size_t more = 0;
  };
  std::string file_;
  std::vector<Kind> kinds_;
};

}  // namespace host
