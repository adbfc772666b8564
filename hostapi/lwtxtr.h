/*
 * Textures: layered procedural and image textures of surfaces and other channels.
 */
#ifndef LWTXTR_H
#define LWTXTR_H

#include <lwtypes.h>

#define LWTEXTUREFUNCS_GLOBAL "Texture Functions"
typedef struct st_LWTextureFuncs LWTextureFuncs;

#endif
