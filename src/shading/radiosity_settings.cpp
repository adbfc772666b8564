#include "shading/radiosity_settings.h"

RadiositySettings radiositySettings = kDefaultRadiositySettings;
