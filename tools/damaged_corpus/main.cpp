// make_damaged_corpus OUTDIR [SOURCE_DIR]: writes the damaged corpus into OUTDIR (made if
// missing), with MANIFEST.tsv listing each file's outcome, expected text and flaw.
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "damaged_corpus.h"

int main(int argc, char** argv) {
  if (argc < 2 || argc > 3) {
    std::fprintf(stderr, "usage: make_damaged_corpus OUTDIR [SOURCE_DIR]\n");
    return 1;
  }
  namespace fs = std::filesystem;
  const fs::path out = argv[1];
  const std::string source = argc == 3 ? argv[2] : "";
  std::error_code ec;
  fs::create_directories(out, ec);
  if (ec) {
    std::fprintf(stderr, "make_damaged_corpus: %s: %s\n", out.c_str(), ec.message().c_str());
    return 1;
  }
  std::vector<damaged::DamagedFile> files = damaged::damagedObjects(source);
  for (auto part : {damaged::damagedScenes(source), damaged::damagedInstanceTexts()})
    files.insert(files.end(), part.begin(), part.end());

  std::ofstream manifest(out / "MANIFEST.tsv");
  manifest << "file\toutcome\texpected\tflaw\n";
  for (const auto& f : files) {
    std::ofstream file(out / f.name, std::ios::binary);
    file.write(reinterpret_cast<const char*>(f.bytes.data()), std::streamsize(f.bytes.size()));
    if (!file) {
      std::fprintf(stderr, "make_damaged_corpus: %s: can't write\n", (out / f.name).c_str());
      return 1;
    }
    manifest << f.name << '\t' << (f.outcome == damaged::Outcome::Loads ? "loads" : "fails") << '\t'
             << f.expected << '\t' << f.flaw << '\n';
  }
  std::printf("%zu damaged files in %s\n", files.size(), out.c_str());
  return manifest ? 0 : 1;
}
