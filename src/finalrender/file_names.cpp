#include "finalrender/file_names.h"

#include <cstdio>
#include <cstring>

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Copies at most size - 1 characters and always terminates.
void copyText(char* out, size_t size, const char* text) {
  if (!out || size == 0) return;
  std::snprintf(out, size, "%s", text ? text : "");
}

bool frameDigitsAt(const char* name, size_t i) {
  if (std::strncmp(name + i, "####", 4) == 0) return true;
  for (size_t k = 0; k < 4; ++k)
    if (!isDigit(name[i + k])) return false;
  return true;
}

}  // namespace

void fileSaverExtension(const char* saverName, char* extension) {
  extension[0] = '\0';
  if (!saverName) return;
  const char* open = std::strchr(saverName, '(');
  if (!open) return;
  ++open;
  int n = 0;
  while (open[n] && open[n] != ')' && n < kSaverExtensionSize - 1) {
    extension[n] = open[n];
    ++n;
  }
  extension[n] = '\0';
}

void fileCutExtension(char* name) {
  const size_t length = std::strlen(name);
  if (length <= 4) return;
  for (size_t back = 1; back <= 5; ++back) {
    if (name[length - back] == '.') {
      name[length - back] = '\0';
      return;
    }
  }
}

int32_t fileFrameDigits(const char* name) {
  const size_t length = std::strlen(name);
  int32_t found = -1;
  // Never the first character: a name that is only digits keeps them as its own.
  for (size_t i = 1; i + 4 <= length; ++i) {
    if (isDigit(name[i - 1]) || isDigit(name[i + 4])) continue;
    if (frameDigitsAt(name, i)) found = int32_t(i);
  }
  // Frame digits in a folder's name are the folder's, not the frame's.
  if (found >= 0 && std::strpbrk(name + found, ":/\\")) return -1;
  return found;
}

void fileChooseName(const char* chosen, const char* saverExtension, char* prefix, char* suffix) {
  const char* extension = saverExtension ? saverExtension : "";
  char name[kFileNameSize];
  copyText(name, sizeof name, chosen);
  fileCutExtension(name);
  const int32_t at = fileFrameDigits(name);
  if (at < 0) {
    const size_t length = std::strlen(name);
    if (length > 0 && isDigit(name[length - 1]) && length + 1 < sizeof name) {
      name[length] = '_';
      name[length + 1] = '\0';
    }
    copyText(prefix, kFileNameSize, name);
    copyText(suffix, kFileNameSize, extension);
    return;
  }
  std::snprintf(suffix, kFileNameSize, "%s%s", name + at + 4, extension);
  name[at] = '\0';
  copyText(prefix, kFileNameSize, name);
}

void fileShownName(const char* prefix, const char* suffix, char* out, size_t size) {
  if (!prefix || !prefix[0]) {
    copyText(out, size, kNoSaveFileChosen);
    return;
  }
  char whole[2 * kFileNameSize + 8];
  std::snprintf(whole, sizeof whole, "%s####%s", prefix, suffix ? suffix : "");
  const size_t length = std::strlen(whole);
  if (length <= 48) {
    copyText(out, size, whole);
    return;
  }
  std::snprintf(out, size, "%c%c%c%c%c%c%c%c....%s", whole[0], whole[1], whole[2], whole[3], whole[4], whole[5],
                whole[6], whole[7], whole + length - 35);
}
