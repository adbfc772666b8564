#pragma once
// The progress of `ombrel render`: the module's two status lines with the elapsed time, kept on
// one line at a terminal and written a line per frame or stage into a log.
#include <chrono>
#include <string>

#include <ombrel_batch.h>

namespace cli {

struct RenderProgress {
  bool terminal = false;
  std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
  std::chrono::steady_clock::time_point lastDraw{};
  int lastMode = -1, lastFrame = 0;
  std::string lastLine2;
  bool lineOpen = false;

  double elapsed() const;
  std::string elapsedClock() const;  // "m:ss", or "h:mm:ss" past an hour
  void show(const OmbrelBatchStatus& s);
  void closeLine();  // ends the terminal's rewritten line, if one is open

  // The batch record's status callback; `data` is the RenderProgress.
  static void onStatus(void* data, const OmbrelBatchStatus* status);
};

}  // namespace cli
