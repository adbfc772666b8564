#include "capture/shading_sample.h"

uint16_t encodeFixed(double value) {
  if (!(value > 0.0)) value = 0.0;  // NaN reads as 0
  if (value > 255.0) value = 255.0;
  return static_cast<uint16_t>(value * 256.0);
}

uint16_t encodeIor(double value) {
  if (!(value > 0.001)) value = 0.001;
  if (value > 10.0) value = 10.0;
  return static_cast<uint16_t>(value * 6553.0);
}

uint8_t encodeTranslucency(double value) {
  if (!(value > 0.0)) value = 0.0;
  if (value > 1.0) value = 1.0;
  return static_cast<uint8_t>(value * 255.0);
}

float encodeGlossiness(double value) {
  if (!(value > 0.0)) value = 0.0;
  return static_cast<float>(value);
}
