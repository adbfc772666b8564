/*
 * Surfaces of the scene's objects: named channels, each a value, perhaps an envelope and a
 * texture stack.
 */
#ifndef LWSURF_H
#define LWSURF_H

#include <lwenvel.h>
#include <lwtypes.h>

#define LWSURFACEFUNCS_GLOBAL "Surface Functions"

/* Channel names for getInt, getFlt, getEnv, getTex and getImg. */
#define SURF_COLR "BaseColor"
#define SURF_LUMI "Luminosity"
#define SURF_DIFF "Diffuse"
#define SURF_SPEC "Specularity"
#define SURF_GLOS "Glossiness"
#define SURF_REFL "Reflectivity"
#define SURF_RFOP "ReflectionOptions"
#define SURF_RIMG "ReflectionImage"
#define SURF_RSAN "ReflectionSeamAngle"
#define SURF_RBLR "ReflectionBlurring"
#define SURF_TRAN "Transparency"
#define SURF_TROP "RefractionOptions"
#define SURF_TIMG "RefractionImage"
#define SURF_TSAN "RefractionSeamAngle"
#define SURF_TBLR "RefractionBlurring"
#define SURF_RIND "IOR"
#define SURF_TRNL "Translucency"
#define SURF_BUMP "Bump"
#define SURF_SMAN "SmoothingAngle"
#define SURF_SIDE "Sidedness"
#define SURF_CLRH "ColorHighlights"
#define SURF_CLRF "ColorFilter"
#define SURF_ADTR "AdditiveTransparency"
#define SURF_SHRP "DiffuseSharpness"
#define SURF_GVAL "GlowValue"
#define SURF_LINE "RenderOutlines"
#define SURF_LSIZ "OutlineSize"
#define SURF_LCOL "OutlineColor"
#define SURF_ALPH "AlphaOptions"
#define SURF_AVAL "AlphaValue"
#define SURF_VCOL "VertexColoring"

typedef struct st_LWSurfaceFuncs {
  LWSurfaceID (*create)(const char *objName, const char *surfName);
  LWSurfaceID (*first)(void);
  LWSurfaceID (*next)(LWSurfaceID surf);
  /* Null-ended arrays. A null object name matches surfaces of any object. */
  LWSurfaceID *(*byName)(const char *name, const char *objName);
  LWSurfaceID *(*byObject)(const char *objName);
  const char *(*name)(LWSurfaceID surf);
  const char *(*sceneObject)(LWSurfaceID surf);

  int (*getInt)(LWSurfaceID surf, const char *channel);
  /* One value, or three for a colour. */
  double *(*getFlt)(LWSurfaceID surf, const char *channel);
  LWEnvelopeID (*getEnv)(LWSurfaceID surf, const char *channel);
  LWTextureID (*getTex)(LWSurfaceID surf, const char *channel);
  LWImageID (*getImg)(LWSurfaceID surf, const char *channel);

  LWChanGroupID (*chanGrp)(LWSurfaceID surf);
  /* The name of the surface's vertex colour map, or null. */
  const char *(*colorVMap)(LWSurfaceID surf);
} LWSurfaceFuncs;

#endif
