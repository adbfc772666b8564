// Progress lines of `ombrel render`.
#include "host/cli/render_progress.h"

#include <cstdio>

namespace cli {

double RenderProgress::elapsed() const {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::string RenderProgress::elapsedClock() const {
  const long s = long(elapsed());
  char text[32];
  if (s >= 3600) std::snprintf(text, sizeof text, "%ld:%02ld:%02ld", s / 3600, s / 60 % 60, s % 60);
  else std::snprintf(text, sizeof text, "%ld:%02ld", s / 60, s % 60);
  return text;
}

void RenderProgress::show(const OmbrelBatchStatus& s) {
  const std::string line1 = s.line1 ? s.line1 : "";
  const std::string line2 = s.line2 ? s.line2 : "";
  if (line1.empty() && line2.empty()) return;
  const auto now = std::chrono::steady_clock::now();
  const bool changed = s.statusMode != lastMode || s.statusFrame != lastFrame || line2 != lastLine2;
  const std::string text = "[" + elapsedClock() + "] " + line1 + (line2.empty() ? "" : "   " + line2);
  if (terminal) {
    // One line, rewritten in place; the quality moves with every row, so it is drawn at most
    // ten times a second.
    if (!changed && now - lastDraw < std::chrono::milliseconds(100)) return;
    std::printf("\r%s\x1b[K", text.c_str());
    lineOpen = true;
  } else {
    // In a log, a line for each new frame or stage, not for each row.
    if (!changed) return;
    std::printf("%s\n", text.c_str());
  }
  std::fflush(stdout);
  lastDraw = now;
  lastMode = s.statusMode;
  lastFrame = s.statusFrame;
  lastLine2 = line2;
}

void RenderProgress::closeLine() {
  if (lineOpen) std::printf("\n");
  lineOpen = false;
  std::fflush(stdout);
}

void RenderProgress::onStatus(void* data, const OmbrelBatchStatus* status) {
  if (status) static_cast<RenderProgress*>(data)->show(*status);
}

}  // namespace cli
