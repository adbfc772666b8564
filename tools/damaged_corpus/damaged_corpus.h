#pragma once
// The damaged corpus: copies of real LightWave files, and of files the project's own writer
// makes, each with one flaw (or a few together) of the kinds the readers meet in the wild. Each
// file says what reading it must give: a model or scene with a warning naming the flaw, or a
// failure with a message. The tool writes them to a folder as seeds for the fuzz targets; the
// tests build the same list in memory and read every file.
#include <cstdint>
#include <string>
#include <vector>

namespace damaged {

enum class Outcome { Loads, Fails };

struct DamagedFile {
  std::string name;            // file name in the folder, with its extension (.lwo, .lws, .txt)
  std::string flaw;            // what was done to it, one line
  std::vector<uint8_t> bytes;
  Outcome outcome = Outcome::Loads;
  std::string expected;        // text the warning (Loads) or the error (Fails) must contain
};

// `sourceDir` is the real corpus's folder of LightWave files; when it is absent, only the files
// made by the project's writer are damaged. The same arguments give the same files.
std::vector<DamagedFile> damagedObjects(const std::string& sourceDir);
std::vector<DamagedFile> damagedScenes(const std::string& sourceDir);
std::vector<DamagedFile> damagedInstanceTexts();

}  // namespace damaged
