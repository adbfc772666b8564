/*
 * Surfaces of the scene's objects.
 */
#ifndef LWSURF_H
#define LWSURF_H

#include <lwtypes.h>

#define LWSURFACEFUNCS_GLOBAL "Surface Functions"
typedef struct st_LWSurfaceFuncs LWSurfaceFuncs;

#endif
