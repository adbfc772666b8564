#pragma once
// The name the user picks for a render, turned into the prefix and suffix from which every
// frame's image and refine files are named, and the name as the render panel shows it.
#include <cstddef>
#include <cstdint>

inline constexpr int32_t kFileNameSize = 512;   // filePrefix and fileSuffix
inline constexpr int32_t kSaverExtensionSize = 17;  // up to 16 characters and the zero
inline constexpr int32_t kShownNameSize = 600;
inline constexpr char kNoSaveFileChosen[] = "     No Save File Chosen.";

// The extension a saver's name carries in round brackets ("Targa (.tga)" gives ".tga"), up
// to 16 characters; empty when the name has no brackets.
void fileSaverExtension(const char* saverName, char* extension /* kSaverExtensionSize */);

// Cuts a name at a "." among its last five characters, when the name is longer than four
// characters: the extension that the saver will add again.
void fileCutExtension(char* name);

// The position of the frame digits in `name`: the last "####" or run of exactly four decimal
// digits, never at the first character, not followed by ":", "/" or a backslash further on.
// -1 when there is none.
int32_t fileFrameDigits(const char* name);

// From a chosen name and the saver's extension to the prefix and suffix of the frame names
// (each kFileNameSize bytes): cut the extension; at the frame digits the name splits into prefix
// and (rest + extension); without them a name ending in a digit gains "_", and the suffix is
// the extension. So shot1 gives shot1_ and .tga, shot0001beauty gives shot and beauty.tga.
void fileChooseName(const char* chosen, const char* saverExtension, char* prefix, char* suffix);

// The name as the panel shows it: kNoSaveFileChosen for an empty prefix, else "%s####%s",
// and over 48 characters its first eight, "....", and its last 35.
void fileShownName(const char* prefix, const char* suffix, char* out, size_t size);
