#pragma once
// Refine files: beside each frame's image the renderer keeps the running picture (".rawhdr")
// and each pixel's tally (".ombreldat"), so a later job can take the same frame further.
//
// Both files are bare arrays with no header: the raw picture is 16 bytes a pixel (red, green,
// blue, alpha as little-endian floats), the tally 12 bytes a pixel (weight float, a reserved
// word that is always 0, samples int32, little-endian), rows from the top, left to right. Only
// the sizes identify a pair; the user vouches for the rest when asked.
#include <cstddef>
#include <cstdint>

#include <lwhost.h>
#include <lwserver.h>

struct PixelTally {
  float weight;      // sum of the filter weights that reached this pixel
  int32_t reserved;  // always 0
  int32_t samples;   // samples started from this pixel
};
static_assert(sizeof(PixelTally) == 12, "a tally is 12 bytes on disk and in memory");

inline constexpr char kRefineRawEnding[] = ".rawhdr";
inline constexpr char kRefineTallyEnding[] = ".ombreldat";
// A save writes each file under its name plus this first, and renames it when both are whole.
inline constexpr char kRefineTemporaryEnding[] = ".new";
inline constexpr int32_t kRefinePathSize = 512;
// A tally whose samples lie outside 0..this makes its pair count as absent.
inline constexpr int32_t kRefineMaxSampleCount = 1000000;

// What a frame that has no usable pair starts from.
inline constexpr int32_t kRefineFreshMin = 0;
inline constexpr int32_t kRefineFreshMax = 0;

// The question asked at the first valid pair of a job.
inline constexpr char kRefineQuestionTitle[] = "Refine existing frames?";
inline constexpr char kRefineQuestionLine1[] =
    "There are already some rendered frames saved on disk. If they are from EXACTLY the same scene,";
inline constexpr char kRefineQuestionLine2[] =
    "you can refine them to higher quality. Do you want to refine the frames? (\"No\" means replace!)";
inline constexpr char kRefineUserCancel[] = "User Cancel";

// Failure texts of saving; shown as the second line under kRefineSaveFailedTitle.
inline constexpr char kRefineSaveFailedTitle[] =
    "Image saving failed, BUT your data may still exist in Ombrel refine files!";
inline constexpr char kRefineCantOpenRaw[] = "Can't open RGB data save file";
inline constexpr char kRefineCantOpenTally[] = "Can't open DAT info";
inline constexpr char kRefineNoImageUtility[] = "LightWave image saver failed initialization.";
inline constexpr char kRefineImageCreateFailed[] = "LightWave image saver failed. This is likely RAM related.";

// ---- Names ----

// "%s%04ld%s" of prefix, frame and ending; for a negative frame "%s-%03ld%s" with its
// magnitude. The result is cut to fit `size` (always terminated).
void refineFileName(char* out, size_t size, const char* prefix, long frame, const char* ending);

// The three names of a frame, each in a buffer of kRefinePathSize bytes.
void refineFrameNames(const char* prefix, const char* suffix, long frame, char* rawPath, char* tallyPath,
                      char* imagePath);

// ---- Examination at set-up ----

// True when both files exist with exactly pixelCount x 16 and pixelCount x 12 bytes and every
// samples value lies in 0..1000000; then minSamples and maxSamples hold the least and greatest
// samples. Otherwise false and the two are left as they were.
bool refineExaminePair(const char* rawPath, const char* tallyPath, int32_t pixelCount, int32_t* minSamples,
                       int32_t* maxSamples);

// What the examination of a job's frames knows from one frame to the next.
struct RefineSurvey {
  int32_t pixelCount;
  int32_t refineWithoutAsking;  // the user asked to refine without being asked (shift on "Render!")
  int32_t replaceAll;           // "No" was answered: every later frame is fresh unseen
  int32_t framesFound;          // valid pairs found so far
  int32_t questionAsked;
};

void RefineSurvey_Init(RefineSurvey* survey, int32_t pixelCount, int32_t refineWithoutAsking);

// Examines one frame, in the order of the range. Sets *minSamples and *maxSamples to the pair's
// figures, or to 0 and 0 for a fresh frame. At the first valid pair, unless refineWithoutAsking,
// asks the question through `messages->yesNoCan`: Cancel (0) gives kRefineUserCancel; No (1)
// makes this and every later frame fresh; any other answer refines. Null messages or a null
// yesNoCan counts as Yes. Returns null or kRefineUserCancel.
const char* RefineSurvey_Frame(RefineSurvey* survey, const LWMessageFuncs* messages, const char* rawPath,
                               const char* tallyPath, int32_t* minSamples, int32_t* maxSamples);

// ---- Loading and saving ----

// Reads a frame's pair into the tallies and the four planes. If either file will not open, all
// five arrays are zeroed and false is returned. Short reads leave what the arrays held.
bool refineLoad(const char* rawPath, const char* tallyPath, int32_t pixelCount, PixelTally* tallies, float* red,
                float* green, float* blue, float* alpha);

// Writes the pair so that a kill at any instant leaves the old pair or the new one: both
// files under temporary names, flushed, then renamed raw first (the protocol is told in
// refine_files.cpp). Returns null, or kRefineCantOpenRaw / kRefineCantOpenTally when that
// file can't be written or put in place; the old pair then stands.
const char* refineSave(const char* rawPath, const char* tallyPath, int32_t pixelCount, const PixelTally* tallies,
                       const float* red, const float* green, const float* blue, const float* alpha);

// Settles what a killed save left beside a pair: removes an uncommitted save's temporaries,
// or completes a committed one. Examination and loading run it first.
void refineRecover(const char* rawPath, const char* tallyPath);

// Gives the picture to the host's saver through "Image Utility": create (four floats a pixel),
// setPixel row by row from y 0, save with `saverIndex`, destroy. The result of save is not
// looked at. Returns null or kRefineNoImageUtility / kRefineImageCreateFailed.
const char* refineSaveImage(GlobalFunc* global, int32_t width, int32_t height, const float* red, const float* green,
                            const float* blue, const float* alpha, int32_t saverIndex, const char* imagePath);

// Shows a failure of refineSave or refineSaveImage through `error`, under kRefineSaveFailedTitle.
void refineShowSaveFailure(const LWMessageFuncs* messages, const char* text);
