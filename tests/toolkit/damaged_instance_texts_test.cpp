// The damaged instance texts through the settings reader: each that loads still says the
// settings it holds, and each that fails gives its failure word.
#include <gtest/gtest.h>

#include "instance_texts.h"
#include "toolkit/instance_text.h"

namespace {

TEST(DamagedInstanceTexts, EachLoadsItsSettingsOrFailsWithItsWord) {
  size_t loads = 0, fails = 0;
  for (const damaged::DamagedFile& f : damaged::instanceTextCases()) {
    SCOPED_TRACE(f.name + ": " + f.flaw);
    const std::string text(f.bytes.begin(), f.bytes.end());
    InstanceSettings s;
    const char* failure = InstanceSettings_Read(&s, text.c_str());
    if (f.outcome == damaged::Outcome::Fails) {
      ++fails;
      EXPECT_EQ(failure ? failure : "", f.expected);
      EXPECT_EQ(s.failureLine.rfind("Line ", 0), 0u) << s.failureLine;
      continue;
    }
    ++loads;
    ASSERT_EQ(failure, nullptr) << s.failureLine;
    EXPECT_EQ(instanceNumber(&s, "LOWFRAME", 0), 3);
    EXPECT_EQ(instanceNumber(&s, "HIGHFRAME", 0), 12);
    EXPECT_EQ(instanceSelection(&s, "STOP", 0), 1);
    EXPECT_EQ(instanceChecked(&s, "CLASSIC", 0), 1);
    const InstanceSetting* file = instanceSaveFile(&s);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->fileName, "renders/shot####.exr");
    EXPECT_EQ(file->saverName, "OpenEXR (.exr)");
  }
  EXPECT_GE(loads, 10u);
  EXPECT_GE(fails, 10u);
  std::printf("%zu damaged instance texts: %zu load, %zu fail, as expected\n", loads + fails, loads, fails);
}

}  // namespace
