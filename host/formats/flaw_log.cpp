#include "host/formats/flaw_log.h"

namespace host {

void FlawLog::note(const std::string& kind, const std::string& place, const std::string& what) {
  // A file has a handful of kinds at most, so a walk beats a map here.
  for (Kind& k : kinds_) {
    if (k.kind == kind) {
      ++k.more;
      return;
    }
  }
  kinds_.push_back({kind, place, what, 0});
}

std::vector<std::string> FlawLog::lines() const {
  std::vector<std::string> out;
  appendTo(out);
  return out;
}

void FlawLog::appendTo(std::vector<std::string>& out) const {
  for (const Kind& k : kinds_) {
    std::string line = file_ + ": " + k.place + ": " + k.what;
    if (k.more) line += " (" + std::to_string(k.more) + " more like it)";
    out.push_back(std::move(line));
  }
}

}  // namespace host
