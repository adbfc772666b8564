#pragma once
// "Image Utility": images in memory that a plug-in fills pixel by pixel and saves through one
// of the host's savers, which write through OpenImageIO.
//
// Savers, in this order (the name carries the extension in brackets):
//   "OpenEXR (.exr)"       32-bit float, RGBA when the image has alpha
//   "PNG (.png)"           16 bits a channel from float images, 8 from byte images; alpha kept
//   "TIFF (.tif)"          as PNG
//   "Radiance HDR (.hdr)"  float RGB; the format has no alpha
//   "Targa (.tga)"         8 bits a channel, alpha kept
//   "JPEG (.jpg)"          8 bits a channel RGB, quality 95; no alpha
// Values are written as they are, with no gamma or colour space conversion. Integer formats
// clamp to 0..1 first (a value that isn't a number becomes 0); float formats keep values
// above 1 and below 0.
//
// A save writes "<name>.new" beside the image, flushes it and renames it over the image, so a
// kill leaves the old image or the new one, never a half image; the next save of that image
// writes over a temporary that a killed one left.
#include <string>
#include <vector>

namespace host {

struct ImageSaver {
  const char* name;    // as saverName tells it
  const char* format;  // OpenImageIO's name of the format
};

const std::vector<ImageSaver>& imageSavers();

class Host;

// The paths of the images that `save` wrote on this host since it was made, each once, in the
// order of their first save, as the plug-in named them. Safe from any thread.
std::vector<std::string> imagesSaved(Host& host);

}  // namespace host
