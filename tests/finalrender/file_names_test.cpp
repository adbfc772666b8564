#include "finalrender/file_names.h"

#include <string>

#include <gtest/gtest.h>

namespace {

struct Split {
  std::string prefix, suffix;
};

Split choose(const char* name, const char* extension) {
  char prefix[kFileNameSize], suffix[kFileNameSize];
  fileChooseName(name, extension, prefix, suffix);
  return {prefix, suffix};
}

std::string shown(const char* prefix, const char* suffix) {
  char out[kShownNameSize];
  fileShownName(prefix, suffix, out, sizeof out);
  return out;
}

TEST(FileNames, ChosenNamesSplitAroundTheFrameDigits) {
  struct Case {
    const char* chosen;
    const char* prefix;
    const char* suffix;
  } cases[] = {
      {"shot1", "shot1_", ".tga"},                      // ends in a digit: "_" keeps the frame apart
      {"shot0001beauty", "shot", "beauty.tga"},         // four digits inside
      {"render0001.tga", "render", ".tga"},             // extension cut first, digits at the end
      {"render####.png", "render", ".tga"},             // the old extension goes, the saver's comes
      {"shot####beauty", "shot", "beauty.tga"},
      {"shot00012", "shot00012_", ".tga"},              // five digits are no candidate
      {"0001", "0001_", ".tga"},                        // the first character is never looked at
      {"take0001/shot", "take0001/shot", ".tga"},       // digits in a folder's name are the folder's
      {"C:\\take0001\\shot", "C:\\take0001\\shot", ".tga"},
      {"take0001/shot0002", "take0001/shot", ".tga"},   // the last candidate wins
      {"a0001b0002c", "a0001b", "c.tga"},
      {"shot", "shot", ".tga"},
      {"shot.x.long", "shot.x", ".tga"},                // only a dot among the last five ends the name
      {"shot.abcdef", "shot.abcdef", ".tga"},
      {".tga", ".tga", ".tga"},                         // too short to lose an extension
  };
  for (const Case& c : cases) {
    const Split s = choose(c.chosen, ".tga");
    EXPECT_EQ(s.prefix, c.prefix) << c.chosen;
    EXPECT_EQ(s.suffix, c.suffix) << c.chosen;
  }
  EXPECT_EQ(fileFrameDigits("x####"), 1);
  EXPECT_EQ(fileFrameDigits("1234"), -1);
  EXPECT_EQ(fileFrameDigits("a12345"), -1);
  // The panel shows prefix####suffix; choosing that name again gives the same split.
  const Split again = choose("shot1_####.tga", ".tga");
  EXPECT_EQ(again.prefix, "shot1_");
  EXPECT_EQ(again.suffix, ".tga");
}

TEST(FileNames, SaverExtensionsComeFromTheBrackets) {
  char ext[kSaverExtensionSize];
  fileSaverExtension("Targa (.tga)", ext);
  EXPECT_STREQ(ext, ".tga");
  fileSaverExtension("OpenEXR (.exr)", ext);
  EXPECT_STREQ(ext, ".exr");
  fileSaverExtension("Raw Bytes", ext);
  EXPECT_STREQ(ext, "");
  fileSaverExtension("Long (.abcdefghijklmnopqrstuvwxyz)", ext);
  EXPECT_STREQ(ext, ".abcdefghijklmno");  // 16 characters at most
}

TEST(FileNames, ShownNameAndItsShortening) {
  EXPECT_EQ(shown("", ".tga"), "     No Save File Chosen.");
  EXPECT_EQ(shown("shot", "beauty.tga"), "shot####beauty.tga");
  // Exactly 48 characters stand whole; 49 are shortened to eight, "....", and the last 35.
  const std::string prefix44(44, 'p');
  EXPECT_EQ(shown(prefix44.c_str(), ""), prefix44 + "####");
  const std::string longPrefix = "/home/artist/projects/spot/renders/final_take_";
  const std::string whole = longPrefix + "####.exr";
  ASSERT_GT(whole.size(), 48u);
  const std::string s = shown(longPrefix.c_str(), ".exr");
  EXPECT_EQ(s, whole.substr(0, 8) + "...." + whole.substr(whole.size() - 35));
  EXPECT_EQ(s.size(), 47u);
}

}  // namespace
