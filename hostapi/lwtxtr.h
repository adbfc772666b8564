/*
 * Textures: layered procedural and image textures of surfaces and other channels, and the
 * spot record (LWMicropol) at which the host evaluates them.
 */
#ifndef LWTXTR_H
#define LWTXTR_H

#include <lwenvel.h>
#include <lwio.h>
#include <lwrender.h>
#include <lwtypes.h>

#define LWTEXTUREFUNCS_GLOBAL "Texture Functions"

typedef struct st_GCoreTLayer *LWTLayerID;
typedef struct st_GCoreTxtrContext *LWTxtrContextID;
typedef struct st_LWTxtrParamDesc LWTxtrParamDesc;

/* What a texture gives back. */
#define TRT_VECTOR 0
#define TRT_COLOR 1
#define TRT_PERCENT 2
#define TRT_SCALAR 3
#define TRT_DISPLACEMENT 4

/* Layer types. */
#define TLT_IMAGE 0
#define TLT_PROC 1
#define TLT_GRAD 2

struct st_LWShaderAccess;

/* The spot a texture is evaluated at. Positions, normals and transforms are those of the
 * hit; the functions let a texture cast rays of its own. */
typedef struct st_LWMicropol {
  double oPos[3], wPos[3];
  double oScl[3];
  double gNorm[3], wNorm[3];
  double ray[3];
  double bumpHeight;
  double txVal;
  double spotSize;
  double raySource[3];
  double rayLength;
  double cosine;
  double oXfrm[9], wXfrm[9];
  LWItemID objID;
  LWSurfaceID srfID;
  LWPntID verts[4];
  float weights[4];
  float vertsWPos[4][3];
  int polNum;
  int oAxis, wAxis;
  int context;
  LWIlluminateFunc *illuminate;
  LWRayTraceFunc *rayTrace;
  LWRayCastFunc *rayCast;
  double (*rayShade)(const LWDVector position, const LWDVector direction, struct st_LWShaderAccess *);
  void *userData;
  LWPolID polygon;
} LWMicropol;

typedef LWMicropol *LWMicropolID;

typedef struct st_LWTextureFuncs {
  LWTxtrContextID (*contextCreate)(LWTxtrParamDesc *);
  void (*contextDestroy)(LWTxtrContextID);
  void (*contextAddParam)(LWTxtrContextID, LWTxtrParamDesc *);

  LWTextureID (*create)(int returnType, const char *name, LWTxtrContextID, void *userData);
  void (*destroy)(LWTextureID);
  void (*copy)(LWTextureID to, LWTextureID from);
  /* Tells the texture the time before evaluations at it. */
  void (*newtime)(LWTextureID, LWTime t, LWFrame f);
  void (*cleanup)(LWTextureID);
  void (*load)(LWTextureID, const LWLoadState *);
  void (*save)(LWTextureID, const LWSaveState *);
  /* Evaluates the whole stack at the spot. value holds the base value on entry (one number,
   * or three for a colour) and the result on return; the result is the texture's alpha. */
  double (*evaluate)(LWTextureID, LWMicropolID, double *value);
  void (*setEnvGroup)(LWTextureID, LWChanGroupID);

  LWTLayerID (*firstLayer)(LWTextureID);
  LWTLayerID (*lastLayer)(LWTextureID);
  LWTLayerID (*nextLayer)(LWTextureID, LWTLayerID);
  int (*layerNumber)(LWTextureID);

  LWTLayerID (*layerAdd)(LWTextureID, int type);
  void (*layerSetType)(LWTLayerID, int type);
  int (*layerType)(LWTLayerID);
  double (*layerEvaluate)(LWTLayerID, LWMicropolID, double *value);
  LWChanGroupID (*layerEnvGroup)(LWTLayerID);

  int (*setParam)(LWTLayerID, int tag, void *data);
  int (*getParam)(LWTLayerID, int tag, void *data);
  void (*evaluateUV)(LWTLayerID, int wAxis, int oAxis, double oPos[3], double wPos[3], double uv[2]);

  double (*noise)(double p[3]);
  void *(*userData)(LWTextureID);
  LWTextureID (*texture)(LWTLayerID);
  const char *(*name)(LWTextureID);
  int (*type)(LWTextureID);
  LWChanGroupID (*envGroup)(LWTextureID);
} LWTextureFuncs;

#endif
