#include "support/preview_reference.h"

#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "support/run_program.h"

namespace previewtest {

std::string demoScenePath() { return std::string(OMBREL_SOURCE_DIR) + "/examples/demo/demo.lws"; }

std::string demoReference(int level, std::string& error) {
  const std::filesystem::path dir = std::filesystem::path(OMBREL_BINARY_DIR) / "preview-reference";
  // The frame number follows the name: "demo-L8-final.exr" makes "demo-L8-final0000.exr".
  const std::string stem = "demo-L" + std::to_string(level) + "-final";
  const std::filesystem::path name = dir / (stem + ".exr");
  const std::filesystem::path image = dir / (stem + "0000.exr");
  if (std::filesystem::exists(image)) return image.string();
  std::filesystem::create_directories(dir);
  const auto outcome =
      testproc::run(std::string(OMBREL_BINARY_DIR) + "/bin/ombrel",
                    {"render", demoScenePath(), "--frames", "0-0", "--level", std::to_string(level), "--replace",
                     "-o", name.string()},
                    1800);
  if (outcome.exitCode != 0 || !std::filesystem::exists(image)) {
    error = "the reference render failed: " + outcome.err;
    return "";
  }
  return image.string();
}

bool readImage(const std::string& path, Image* out, std::string& error) {
  auto input = OIIO::ImageInput::open(path);
  if (!input) {
    error = "cannot open " + path;
    return false;
  }
  const OIIO::ImageSpec layout = input->spec_dimensions(0);
  if (layout.nchannels < 3) {
    error = path + " has fewer than three channels";
    return false;
  }
  std::vector<float> all(size_t(layout.width) * layout.height * layout.nchannels);
  if (!input->read_image(0, 0, 0, layout.nchannels, OIIO::TypeDesc::FLOAT, all.data())) {
    error = "cannot read " + path;
    return false;
  }
  out->width = layout.width;
  out->height = layout.height;
  out->rgb.resize(size_t(layout.width) * layout.height * 3);
  for (size_t i = 0; i < size_t(layout.width) * layout.height; ++i)
    for (int c = 0; c < 3; ++c) out->rgb[i * 3 + c] = all[i * layout.nchannels + c];
  return true;
}

Difference compare(const PreviewPixel& preview, int width, int height, double left, double bottom, double right,
                   double top, double aspect, const Image& reference) {
  Difference d;
  double sum = 0.0;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      const double nx = (right - left) * (x + 0.5) / width + left;
      const double ny = ((top - bottom) * (y + 0.5) / height + bottom) * aspect;
      if (nx < -1.0 || nx > 1.0 || ny < -1.0 || ny > 1.0) continue;
      const int rx = std::clamp(int(reference.width * (1.0 + nx) * 0.5), 0, reference.width - 1);
      const int ry = std::clamp(int(reference.height * (1.0 - ny) * 0.5), 0, reference.height - 1);
      double mine[3];
      preview(x, y, mine);
      for (int c = 0; c < 3; ++c) {
        const double theirs = std::clamp(double(reference.rgb[(size_t(ry) * reference.width + rx) * 3 + c]), 0.0, 1.0);
        const double e = mine[c] - theirs * 255.0;
        sum += e * e;
      }
      ++d.pixels;
    }
  d.rms = d.pixels ? std::sqrt(sum / (3.0 * d.pixels)) : 0.0;
  return d;
}

}  // namespace previewtest
