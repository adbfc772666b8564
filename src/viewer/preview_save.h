#pragma once
// The "SAVE" button of a preview: the refined picture's float colours (with coverage as alpha)
// written through one of the host's savers, after the user named a file; and the save dialog
// that the final render's panel shares. The saver last chosen is remembered for the session.
#include <cstddef>
#include <cstdint>

struct ViewerPanel;

inline constexpr size_t kSaveTextSize = 512;
inline constexpr size_t kSaveExtensionSize = 17;  // 16 characters and the end

// One saver's filter: "*" and the part of its name in round brackets ("*.exr" for "OpenEXR
// (.exr)"), which is also its extension; "*.*" and no extension without brackets.
void saverFilter(const char* saverName, char* pattern, size_t patternSize, char extension[kSaveExtensionSize]);
// A typed extension goes, since the saver's own is added: a path longer than 4 characters with
// a dot among its last 5 is cut at the last such dot.
void saveNameCut(char* path);
// Asks the host for a file to save to, with the savers as the formats to choose from. The
// texts hold the start values (directory, name, extension, each kSaveTextSize) and get the
// chosen ones; `saver` gets the saver's index. 1 when a file was chosen, 0 when not.
int32_t saveFileDialog(const char* title, char* directory, char* name, char* extension, int32_t* saver);
// The button. Panel's thread.
void previewSaveImage(ViewerPanel* viewer);
