#pragma once
// A final render of the demo scene to hold a preview against: rendered once by the `ombrel`
// program of this build and kept in the build folder, read back as floats, and compared with
// a preview's pixels by their place in the frame.
#include <functional>
#include <string>
#include <vector>

namespace previewtest {

// The demo scene of the source tree.
std::string demoScenePath();

// Frame 0 of the demo at `level` samples a pixel, with the settings saved in the scene (Monte
// Carlo radiosity of strength 1 and one bounce), as an OpenEXR image; "" with `error` when
// the render failed. An image made earlier at the same level is used again.
std::string demoReference(int level, std::string& error);

struct Image {
  int width = 0, height = 0;
  std::vector<float> rgb;  // rows top down
};
bool readImage(const std::string& path, Image* out, std::string& error);

// A preview pixel's colour on a 0..255 scale; x from the left, y from the bottom.
using PreviewPixel = std::function<void(int x, int y, double rgb[3])>;

struct Difference {
  double rms = 0.0;  // over every channel of every compared pixel, on a 0..255 scale
  int pixels = 0;    // pixels compared: those whose centre lies in the frame
};

// The preview (width x height pixels over the frame rectangle left..right, bottom..top, where
// frame y is view y times `aspect`) against the reference, pixel by nearest pixel, with the
// reference's colours clamped to 0..1 as the screen shows them.
Difference compare(const PreviewPixel& preview, int width, int height, double left, double bottom, double right,
                   double top, double aspect, const Image& reference);

}  // namespace previewtest
