/*
 * Layout's Surface Editor, as a plug-in may drive it.
 */
#ifndef LWSURFED_H
#define LWSURFED_H

#include <lwtypes.h>

#define LWSURFEDFUNCS_GLOBAL "SurfaceEditor Functions"

typedef struct st_LWSurfEdFuncs {
  void (*open)(int);
  void (*close)(void);
  int (*isOpen)(void);
  /* Makes a surface the editor's current one, which is what the Surf_ commands act on. */
  void (*setSurface)(LWSurfaceID);
  void (*setPosition)(int x, int y);
  void (*getPosition)(int *x, int *y, int *w, int *h);
} LWSurfEdFuncs;

#endif
