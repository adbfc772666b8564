/*
 * Meshes: the points and polygons of the scene's objects.
 */
#ifndef LWMESHES_H
#define LWMESHES_H

#include <lwtypes.h>

/* The mesh access of a displacement or of an object's current state. */
typedef struct st_LWMeshInfo LWMeshInfo;

#define LWOBJECTFUNCS_GLOBAL "Scene Objects"
typedef struct st_LWObjectFuncs LWObjectFuncs;

#endif
