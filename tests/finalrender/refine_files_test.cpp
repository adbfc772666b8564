#include "finalrender/refine_files.h"

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>
#include <lwimage.h>

#include "host/services/host.h"
#include "host/services/image_util.h"

namespace fs = std::filesystem;

namespace {

class RefineFiles : public ::testing::Test {
 protected:
  void SetUp() override {
    dir = fs::temp_directory_path() / ("ombrel-refine-" + std::to_string(::getpid()) + "-" +
                                       ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(dir);
    fs::create_directories(dir);
    host.settings().messagesToStderr = false;
    host.makeCurrent();
  }
  void TearDown() override { fs::remove_all(dir); }

  std::string path(const std::string& name) const { return (dir / name).string(); }

  const LWMessageFuncs* messages() {
    return static_cast<const LWMessageFuncs*>(host.global(LWMESSAGEFUNCS_GLOBAL " 3", GFUSE_TRANSIENT));
  }

  // A frame's planes and tallies, filled so that every value is told apart.
  struct Frame {
    explicit Frame(int n) : tallies(size_t(n)), red(size_t(n)), green(size_t(n)), blue(size_t(n)), alpha(size_t(n)) {}
    std::vector<PixelTally> tallies;
    std::vector<float> red, green, blue, alpha;
    void fill(int samplesBase) {
      for (size_t p = 0; p < red.size(); ++p) {
        red[p] = 0.25f * float(p) - 1.0f;
        green[p] = 3.5f + float(p);
        blue[p] = -0.125f * float(p);
        alpha[p] = float(p) / float(red.size());
        tallies[p] = PixelTally{1.5f * float(p), 0, samplesBase + int32_t(p % 3)};
      }
    }
    const char* save(const std::string& raw, const std::string& tally) const {
      return refineSave(raw.c_str(), tally.c_str(), int32_t(red.size()), tallies.data(), red.data(), green.data(),
                        blue.data(), alpha.data());
    }
  };

  static std::vector<unsigned char> bytes(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  static void writeBytes(const std::string& file, size_t count, unsigned char value = 0) {
    std::ofstream(file, std::ios::binary) << std::string(count, char(value));
  }

  fs::path dir;
  host::Host host;
};

TEST_F(RefineFiles, NamesCarryFourDigitsAndASign) {
  char name[kRefinePathSize];
  refineFileName(name, sizeof name, "shot", 7, ".rawhdr");
  EXPECT_STREQ(name, "shot0007.rawhdr");
  refineFileName(name, sizeof name, "shot", -7, ".tga");
  EXPECT_STREQ(name, "shot-007.tga");
  refineFileName(name, sizeof name, "shot", 12345, "");
  EXPECT_STREQ(name, "shot12345");
  refineFileName(name, sizeof name, "shot", -1234, "");
  EXPECT_STREQ(name, "shot-1234");
  char raw[kRefinePathSize], tally[kRefinePathSize], image[kRefinePathSize];
  refineFrameNames("out/a_", "beauty.exr", 0, raw, tally, image);
  EXPECT_STREQ(raw, "out/a_0000.rawhdr");
  EXPECT_STREQ(tally, "out/a_0000.ombreldat");
  EXPECT_STREQ(image, "out/a_0000beauty.exr");
}

TEST_F(RefineFiles, SaveWritesLittleEndianRecordsAndLoadReadsThemBack) {
  const int n = 15;
  Frame frame(n);
  frame.fill(4);
  frame.green[2] = INFINITY;  // the running mean is kept as it stands, unclamped
  ASSERT_EQ(frame.save(path("a.rawhdr"), path("a.ombreldat")), nullptr);

  const auto raw = bytes(path("a.rawhdr"));
  const auto tally = bytes(path("a.ombreldat"));
  ASSERT_EQ(raw.size(), size_t(n) * 16);
  ASSERT_EQ(tally.size(), size_t(n) * 12);
  auto word = [](const std::vector<unsigned char>& b, size_t at) {
    return uint32_t(b[at]) | uint32_t(b[at + 1]) << 8 | uint32_t(b[at + 2]) << 16 | uint32_t(b[at + 3]) << 24;
  };
  auto asFloat = [](uint32_t w) {
    float f;
    std::memcpy(&f, &w, 4);
    return f;
  };
  for (int p = 0; p < n; ++p) {
    EXPECT_EQ(asFloat(word(raw, size_t(p) * 16)), frame.red[size_t(p)]);
    EXPECT_EQ(asFloat(word(raw, size_t(p) * 16 + 4)), frame.green[size_t(p)]);
    EXPECT_EQ(asFloat(word(raw, size_t(p) * 16 + 8)), frame.blue[size_t(p)]);
    EXPECT_EQ(asFloat(word(raw, size_t(p) * 16 + 12)), frame.alpha[size_t(p)]);
    EXPECT_EQ(asFloat(word(tally, size_t(p) * 12)), frame.tallies[size_t(p)].weight);
    EXPECT_EQ(word(tally, size_t(p) * 12 + 4), 0u);
    EXPECT_EQ(int32_t(word(tally, size_t(p) * 12 + 8)), frame.tallies[size_t(p)].samples);
  }
  // -1.0f as the first red value, byte for byte.
  EXPECT_EQ(raw[0], 0x00);
  EXPECT_EQ(raw[3], 0xBF);

  Frame back(n);
  std::fill(back.red.begin(), back.red.end(), 99.0f);
  ASSERT_TRUE(refineLoad(path("a.rawhdr").c_str(), path("a.ombreldat").c_str(), n, back.tallies.data(),
                         back.red.data(), back.green.data(), back.blue.data(), back.alpha.data()));
  EXPECT_EQ(back.red, frame.red);
  EXPECT_EQ(back.green, frame.green);
  EXPECT_EQ(back.blue, frame.blue);
  EXPECT_EQ(back.alpha, frame.alpha);
  EXPECT_EQ(0, std::memcmp(back.tallies.data(), frame.tallies.data(), size_t(n) * 12));

  // A missing file zeroes all five arrays.
  std::fill(back.alpha.begin(), back.alpha.end(), 5.0f);
  EXPECT_FALSE(refineLoad(path("none.rawhdr").c_str(), path("a.ombreldat").c_str(), n, back.tallies.data(),
                          back.red.data(), back.green.data(), back.blue.data(), back.alpha.data()));
  for (int p = 0; p < n; ++p) {
    EXPECT_EQ(back.red[size_t(p)], 0.0f);
    EXPECT_EQ(back.alpha[size_t(p)], 0.0f);
    EXPECT_EQ(back.tallies[size_t(p)].samples, 0);
    EXPECT_EQ(back.tallies[size_t(p)].weight, 0.0f);
  }
}

TEST_F(RefineFiles, ExaminationAcceptsOnlyExactSizesAndSampleCountsInRange) {
  const int n = 6;
  Frame frame(n);
  frame.fill(2);  // samples 2, 3, 4
  ASSERT_EQ(frame.save(path("f.rawhdr"), path("f.ombreldat")), nullptr);
  int32_t least = -5, most = -5;
  ASSERT_TRUE(refineExaminePair(path("f.rawhdr").c_str(), path("f.ombreldat").c_str(), n, &least, &most));
  EXPECT_EQ(least, 2);
  EXPECT_EQ(most, 4);

  // Another image size makes the pair invalid, and invalid leaves the figures alone.
  least = most = -5;
  EXPECT_FALSE(refineExaminePair(path("f.rawhdr").c_str(), path("f.ombreldat").c_str(), n + 1, &least, &most));
  EXPECT_EQ(least, -5);
  EXPECT_FALSE(refineExaminePair(path("missing.rawhdr").c_str(), path("f.ombreldat").c_str(), n, &least, &most));
  EXPECT_FALSE(refineExaminePair(path("f.rawhdr").c_str(), path("missing.ombreldat").c_str(), n, &least, &most));

  // One byte too many in either file.
  writeBytes(path("g.rawhdr"), size_t(n) * 16 + 1);
  writeBytes(path("g.ombreldat"), size_t(n) * 12);
  EXPECT_FALSE(refineExaminePair(path("g.rawhdr").c_str(), path("g.ombreldat").c_str(), n, &least, &most));
  writeBytes(path("g.rawhdr"), size_t(n) * 16);
  writeBytes(path("g.ombreldat"), size_t(n) * 12 - 1);
  EXPECT_FALSE(refineExaminePair(path("g.rawhdr").c_str(), path("g.ombreldat").c_str(), n, &least, &most));
  // An all-zero pair of the right size is a valid pair at level 0.
  writeBytes(path("g.ombreldat"), size_t(n) * 12);
  EXPECT_TRUE(refineExaminePair(path("g.rawhdr").c_str(), path("g.ombreldat").c_str(), n, &least, &most));
  EXPECT_EQ(least, 0);
  EXPECT_EQ(most, 0);

  // 1000000 samples is the most a pixel may have; one more, or a negative count, is damage.
  for (const auto& [value, valid] : {std::pair{1000000, true}, {1000001, false}, {-1, false}}) {
    frame.fill(2);
    frame.tallies[5].samples = value;
    ASSERT_EQ(frame.save(path("f.rawhdr"), path("f.ombreldat")), nullptr);
    EXPECT_EQ(refineExaminePair(path("f.rawhdr").c_str(), path("f.ombreldat").c_str(), n, &least, &most), valid)
        << value;
    if (valid) {
      EXPECT_EQ(most, 1000000);
    }
  }
}

TEST_F(RefineFiles, TheQuestionIsAskedOnceAndItsAnswersDecide) {
  const int n = 4;
  // Frames 1 to 4: 2 and 3 have valid pairs (levels 5..7 and 2..4), 1 and 4 none.
  Frame frame(n);
  frame.fill(5);
  ASSERT_EQ(frame.save(path("s0002.rawhdr"), path("s0002.ombreldat")), nullptr);
  frame.fill(2);
  ASSERT_EQ(frame.save(path("s0003.rawhdr"), path("s0003.ombreldat")), nullptr);

  struct Outcome {
    const char* failure = nullptr;
    std::vector<std::pair<int32_t, int32_t>> figures;
    int questions = 0;
  };
  auto survey = [&](host::AnswerPolicy answer, int refineWithoutAsking) {
    host.settings().answer = answer;
    const size_t before = host.messages().size();
    RefineSurvey s;
    RefineSurvey_Init(&s, n, refineWithoutAsking);
    Outcome out;
    for (long f = 1; f <= 4 && !out.failure; ++f) {
      char raw[kRefinePathSize], tally[kRefinePathSize], image[kRefinePathSize];
      refineFrameNames(path("s").c_str(), ".exr", f, raw, tally, image);
      int32_t least = -9, most = -9;
      out.failure = RefineSurvey_Frame(&s, messages(), raw, tally, &least, &most);
      out.figures.emplace_back(least, most);
    }
    const auto all = host.messages();
    for (size_t i = before; i < all.size(); ++i) {
      EXPECT_EQ(all[i].kind, "yesNoCan");
      EXPECT_NE(all[i].first.find(kRefineQuestionTitle), std::string::npos);
      EXPECT_NE(all[i].first.find(kRefineQuestionLine1), std::string::npos);
      EXPECT_EQ(all[i].second, kRefineQuestionLine2);
      ++out.questions;
    }
    return out;
  };
  using Figures = std::vector<std::pair<int32_t, int32_t>>;

  const Outcome yes = survey(host::AnswerPolicy::Yes, 0);
  EXPECT_EQ(yes.failure, nullptr);
  EXPECT_EQ(yes.questions, 1);
  EXPECT_EQ(yes.figures, (Figures{{0, 0}, {5, 7}, {2, 4}, {0, 0}}));

  const Outcome no = survey(host::AnswerPolicy::No, 0);
  EXPECT_EQ(no.failure, nullptr);
  EXPECT_EQ(no.questions, 1);
  EXPECT_EQ(no.figures, (Figures{{0, 0}, {0, 0}, {0, 0}, {0, 0}}));

  const Outcome cancel = survey(host::AnswerPolicy::Cancel, 0);
  EXPECT_STREQ(cancel.failure, kRefineUserCancel);
  EXPECT_EQ(cancel.questions, 1);
  EXPECT_EQ(cancel.figures.size(), 2u);  // set-up stops at the first valid pair

  const Outcome silent = survey(host::AnswerPolicy::Cancel, 1);
  EXPECT_EQ(silent.failure, nullptr);
  EXPECT_EQ(silent.questions, 0);
  EXPECT_EQ(silent.figures, (Figures{{0, 0}, {5, 7}, {2, 4}, {0, 0}}));
}

TEST_F(RefineFiles, AFailedSaveNamesItsFileAndLeavesTheOldPair) {
  Frame old(2), next(2);
  old.fill(1);
  next.fill(7);
  ASSERT_EQ(old.save(path("a.rawhdr"), path("a.ombreldat")), nullptr);
  const auto raw = bytes(path("a.rawhdr")), tally = bytes(path("a.ombreldat"));
  EXPECT_STREQ(next.save(path("no/such/a.rawhdr"), path("a.ombreldat")), "Can't open RGB data save file");
  EXPECT_STREQ(next.save(path("a.rawhdr"), path("no/such/a.ombreldat")), "Can't open DAT info");
  EXPECT_EQ(bytes(path("a.rawhdr")), raw);
  EXPECT_EQ(bytes(path("a.ombreldat")), tally);
  EXPECT_EQ(std::distance(fs::directory_iterator(dir), fs::directory_iterator()), 2) << "a temporary is left";

  refineShowSaveFailure(messages(), kRefineCantOpenTally);
  const auto all = host.messages();
  ASSERT_FALSE(all.empty());
  EXPECT_EQ(all.back(), (host::HostMessage{"error",
                                           "Image saving failed, BUT your data may still exist in Ombrel refine files!",
                                           "Can't open DAT info"}));
}

// A kill during a save leaves the temporaries as they stood at that moment; the next run
// finds the old pair or the new one, whole, and nothing else beside them.
TEST_F(RefineFiles, EveryKillPointOfASaveLeavesTheOldPairOrTheNew) {
  const int n = 5;
  Frame old(n), next(n);
  old.fill(2);   // samples 2..4
  next.fill(3);  // samples 3..5
  ASSERT_EQ(old.save(path("old.rawhdr"), path("old.ombreldat")), nullptr);
  ASSERT_EQ(next.save(path("new.rawhdr"), path("new.ombreldat")), nullptr);
  const auto oldRaw = bytes(path("old.rawhdr")), oldTally = bytes(path("old.ombreldat"));
  const auto newRaw = bytes(path("new.rawhdr")), newTally = bytes(path("new.ombreldat"));
  auto put = [&](const std::string& name, const std::vector<unsigned char>& b, size_t count) {
    std::ofstream(path(name), std::ios::binary).write(reinterpret_cast<const char*>(b.data()), std::streamsize(count));
  };

  struct Point {
    const char* moment;
    size_t rawNew, tallyNew;  // bytes of each temporary; npos: none
    bool rawCommitted;
    bool newPair;  // what the next run must find
  };
  constexpr size_t none = std::string::npos;
  const size_t r = oldRaw.size(), t = oldTally.size();
  const Point points[] = {
      {"writing the raw temporary", r / 2, none, false, false},
      {"writing the tally temporary", r, t / 3, false, false},
      {"both temporaries flushed", r, t, false, false},
      {"a recovery that had removed the tally temporary", r, none, false, false},
      {"between the two renames", none, t, true, true},
      {"after both renames", none, none, true, true},
  };
  for (const Point& p : points) {
    SCOPED_TRACE(p.moment);
    for (const bool loading : {false, true}) {
      put("f.rawhdr", p.rawCommitted ? newRaw : oldRaw, r);
      put("f.ombreldat", p.rawCommitted && p.tallyNew == none ? newTally : oldTally, t);
      fs::remove(path("f.rawhdr.new"));
      fs::remove(path("f.ombreldat.new"));
      if (p.rawNew != none) put("f.rawhdr.new", newRaw, p.rawNew);
      if (p.tallyNew != none) put("f.ombreldat.new", newTally, p.tallyNew);

      if (loading) {
        Frame back(n);
        ASSERT_TRUE(refineLoad(path("f.rawhdr").c_str(), path("f.ombreldat").c_str(), n, back.tallies.data(),
                               back.red.data(), back.green.data(), back.blue.data(), back.alpha.data()));
        EXPECT_EQ(back.red, (p.newPair ? next : old).red);
        EXPECT_EQ(back.tallies[4].samples, (p.newPair ? next : old).tallies[4].samples);
      } else {
        RefineSurvey survey;
        RefineSurvey_Init(&survey, n, 1);
        int32_t least = -1, most = -1;
        ASSERT_EQ(RefineSurvey_Frame(&survey, messages(), path("f.rawhdr").c_str(), path("f.ombreldat").c_str(),
                                     &least, &most),
                  nullptr);
        EXPECT_EQ(least, p.newPair ? 3 : 2);
        EXPECT_EQ(most, p.newPair ? 5 : 4);
      }
      EXPECT_EQ(bytes(path("f.rawhdr")), p.newPair ? newRaw : oldRaw);
      EXPECT_EQ(bytes(path("f.ombreldat")), p.newPair ? newTally : oldTally);
      EXPECT_FALSE(fs::exists(path("f.rawhdr.new")));
      EXPECT_FALSE(fs::exists(path("f.ombreldat.new")));
    }
  }

  // A save that follows a kill between the renames commits that save's tally first, and then
  // writes its own pair.
  put("f.rawhdr", newRaw, r);
  put("f.ombreldat", oldTally, t);
  put("f.ombreldat.new", newTally, t);
  ASSERT_EQ(old.save(path("f.rawhdr"), path("f.ombreldat")), nullptr);
  EXPECT_EQ(bytes(path("f.rawhdr")), oldRaw);
  EXPECT_EQ(bytes(path("f.ombreldat")), oldTally);
  EXPECT_FALSE(fs::exists(path("f.ombreldat.new")));
}

TEST_F(RefineFiles, TheImageGoesThroughTheHostsSaverTopRowFirst) {
  const int w = 3, h = 2;
  Frame frame(w * h);
  frame.fill(1);
  int exr = -1;
  for (size_t i = 0; i < host::imageSavers().size(); ++i)
    if (std::string(host::imageSavers()[i].name) == "OpenEXR (.exr)") exr = int(i);
  ASSERT_GE(exr, 0);
  const std::string file = path("img0001.exr");
  // What a save killed half-way left: the next save writes over it and takes it away.
  writeBytes(file + ".new", 100, 0x5A);
  ASSERT_EQ(refineSaveImage(host::Host::globalFunction(), w, h, frame.red.data(), frame.green.data(),
                            frame.blue.data(), frame.alpha.data(), exr, file.c_str()),
            nullptr);
  EXPECT_FALSE(fs::exists(file + ".new"));
  auto in = OIIO::ImageInput::open(file);
  ASSERT_TRUE(in);
  EXPECT_STREQ(in->format_name(), "openexr");  // the saver's format, whatever the temporary's name
  const OIIO::ImageSpec dims = in->spec_dimensions(0);
  ASSERT_EQ(dims.width, w);
  ASSERT_EQ(dims.height, h);
  ASSERT_EQ(dims.nchannels, 4);
  std::vector<float> pixels(size_t(w * h * 4));
  ASSERT_TRUE(in->read_image(0, 0, 0, 4, OIIO::TypeDesc::FLOAT, pixels.data()));
  for (size_t p = 0; p < size_t(w * h); ++p) {
    EXPECT_FLOAT_EQ(pixels[p * 4], frame.red[p]);
    EXPECT_FLOAT_EQ(pixels[p * 4 + 1], frame.green[p]);
    EXPECT_FLOAT_EQ(pixels[p * 4 + 2], frame.blue[p]);
  }

  // The host lists each image it saved once; a save that fails is not listed.
  ASSERT_EQ(refineSaveImage(host::Host::globalFunction(), w, h, frame.red.data(), frame.green.data(),
                            frame.blue.data(), frame.alpha.data(), exr, file.c_str()),
            nullptr);
  const std::string lost = path("no/such/img0002.exr");
  refineSaveImage(host::Host::globalFunction(), w, h, frame.red.data(), frame.green.data(), frame.blue.data(),
                  frame.alpha.data(), exr, lost.c_str());
  EXPECT_EQ(host::imagesSaved(host), std::vector<std::string>{file});
  EXPECT_EQ(host.messages().back().first, "Can't save the image \"" + lost + "\"");

  // Without "Image Utility".
  GlobalFunc* none = [](const char*, int) -> void* { return nullptr; };
  EXPECT_STREQ(refineSaveImage(none, w, h, frame.red.data(), frame.green.data(), frame.blue.data(),
                               frame.alpha.data(), exr, file.c_str()),
               "LightWave image saver failed initialization.");
}

}  // namespace
