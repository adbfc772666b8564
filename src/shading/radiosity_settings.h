#pragma once
// The global radiosity settings that the shading core reads. The master server's panel owns
// them ("RADTYPE", "RADSTRENGTH", "RADBOUNCE"); the batch render and tests may set them too.
// Until someone does, they hold the panel's defaults.
#include <cstdint>

enum RadiosityType : int32_t {
  kNoRadiosity = 0,          // "No Radiosity"
  kBackgroundRadiosity = 1,  // "Background Radiosity"
  kMonteCarloRadiosity = 2,  // "Monte Carlo Radiosity"
};

struct RadiositySettings {
  int32_t type;     // "RADTYPE"
  double strength;  // "RADSTRENGTH", "Intensity": scales radiosity under non-radiosity rays
  double bounces;   // "RADBOUNCE", "MC Bounces": the depth a radiosity ray starts with
};

inline constexpr RadiositySettings kDefaultRadiositySettings{kNoRadiosity, 1.0, 1.0};

// Read by render threads while they shade; written only while no render runs.
extern RadiositySettings radiositySettings;
