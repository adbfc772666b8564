/*
 * Shader handlers: servers that change a surface's values at each spot the renderer shades.
 */
#ifndef LWSHADER_H
#define LWSHADER_H

#include <lwhandler.h>
#include <lwrender.h>

#define LWSHADER_HCLASS "ShaderHandler"
#define LWSHADER_ICLASS "ShaderInterface"
#define LWSHADER_VERSION 4

struct st_LWShaderAccess;
typedef double LWRayShadeFunc(const LWDVector position, const LWDVector direction, struct st_LWShaderAccess *);

/* The spot being shaded, and the surface values a shader may change. */
typedef struct st_LWShaderAccess {
  int sx, sy;
  LWDVector oPos, wPos;
  LWDVector gNorm;
  double spotSize;
  LWDVector raySource;
  double rayLength;
  double cosine;
  double oXfrm[9], wXfrm[9];
  LWItemID objID;
  int polNum;

  LWDVector wNorm;
  LWDVector color;
  double luminous;
  double diffuse;
  double specular;
  double mirror;
  double transparency;
  double eta;
  double roughness;

  LWIlluminateFunc *illuminate;
  LWRayTraceFunc *rayTrace;
  LWRayCastFunc *rayCast;
  LWRayShadeFunc *rayShade;

  int flags;
  int bounces;
  LWItemID sourceID;
  LWDVector wNorm0;
  double bumpHeight;
  double translucency;
  double colorHL;
  double colorFL;
  double addTransparency;
  double difSharpness;

  LWPntID verts[4];
  float weights[4];
  float vertsWPos[4][3];
  LWPolID polygon;
} LWShaderAccess;

/* Access flags: what the spot is. */
#define LWSHAF_SHADOW (1 << 0)

/* Handler flags: the members a shader writes. */
#define LWSHF_NORMAL (1 << 0)
#define LWSHF_COLOR (1 << 1)
#define LWSHF_LUMINOUS (1 << 2)
#define LWSHF_DIFFUSE (1 << 3)
#define LWSHF_SPECULAR (1 << 4)
#define LWSHF_MIRROR (1 << 5)
#define LWSHF_TRANSP (1 << 6)
#define LWSHF_ETA (1 << 7)
#define LWSHF_ROUGH (1 << 8)
#define LWSHF_TRANSLUCENT (1 << 9)
#define LWSHF_RAYTRACE (1 << 10)
#define LWSHF_COLORHL (1 << 11)
#define LWSHF_COLORFL (1 << 12)
#define LWSHF_ADDTRANSP (1 << 13)
#define LWSHF_DIFFSHARP (1 << 14)

typedef struct st_LWShaderHandler {
  LWInstanceFuncs *inst;
  LWItemFuncs *item;
  LWRenderFuncs *rend;
  void (*evaluate)(LWInstance, LWShaderAccess *);
  unsigned int (*flags)(LWInstance);
} LWShaderHandler;

#endif
