/*
 * The scene as Layout's renderer sees it: items, objects, bones, lights, cameras, the
 * scene's settings, backdrop, fog, compositing and the interface state.
 */
#ifndef LWRENDER_H
#define LWRENDER_H

#include <lwenvel.h>
#include <lwmeshes.h>
#include <lwtypes.h>

typedef int LWItemType;
#define LWI_OBJECT 0
#define LWI_LIGHT 1
#define LWI_CAMERA 2
#define LWI_BONE 3

/* Ray functions that the host hands to shaders and other handlers. */
typedef int LWIlluminateFunc(LWItemID light, const LWDVector position, LWDVector direction, LWDVector color);
typedef double LWRayTraceFunc(const LWDVector position, const LWDVector direction, LWDVector color);
typedef double LWRayCastFunc(const LWDVector position, const LWDVector direction);

/* ---- Items ---- */

#define LWITEMINFO_GLOBAL "LW Item Info"

/* The vectors that param gives. Position is in the parent's frame; the axes are the item's
 * own x, y and z in world space; the W_ ones are in world space too. */
typedef int LWItemParam;
#define LWIP_POSITION 1
#define LWIP_RIGHT 2
#define LWIP_UP 3
#define LWIP_FORWARD 4
#define LWIP_ROTATION 5
#define LWIP_SCALING 6
#define LWIP_PIVOT 7
#define LWIP_W_POSITION 8
#define LWIP_W_RIGHT 9
#define LWIP_W_UP 10
#define LWIP_W_FORWARD 11
#define LWIP_PIVOT_ROT 12

/* Bits of LWItemInfo.flags. */
#define LWITEMF_ACTIVE (1u << 0)
#define LWITEMF_UNAFFECT_BY_IK (1u << 1)
#define LWITEMF_FULLTIME_IK (1u << 2)
#define LWITEMF_GOAL_ORIENT (1u << 3)
#define LWITEMF_REACH_GOAL (1u << 4)

/* Bits of the limits answer: which axes have limits. */
#define LWVECF_0 (1u << 0)
#define LWVECF_1 (1u << 1)
#define LWVECF_2 (1u << 2)

/* Motion controllers of a channel (controller). */
#define LWMOTCTL_KEYFRAMES 0
#define LWMOTCTL_TARGETING 1
#define LWMOTCTL_ALIGN_TO_PATH 2
#define LWMOTCTL_IK 3

typedef struct st_LWItemInfo {
  /* The first item of a type; with a bone type, the first bone of the object given. */
  LWItemID (*first)(LWItemType, LWItemID);
  LWItemID (*next)(LWItemID);
  LWItemID (*firstChild)(LWItemID parent);
  LWItemID (*nextChild)(LWItemID parent, LWItemID prevChild);
  LWItemID (*parent)(LWItemID);
  LWItemID (*target)(LWItemID);
  LWItemID (*goal)(LWItemID);
  LWItemType (*type)(LWItemID);
  const char *(*name)(LWItemID);
  void (*param)(LWItemID, LWItemParam, LWTime, LWDVector);
  unsigned int (*limits)(LWItemID, LWItemParam, LWDVector min, LWDVector max);
  const char *(*getTag)(LWItemID, int);
  void (*setTag)(LWItemID, int, const char *);
  LWChanGroupID (*chanGroup)(LWItemID);
  /* The name of the nth (from 1) server of a class on the item, or null. */
  const char *(*server)(LWItemID, const char *serverClass, int index);
  unsigned int (*serverFlags)(LWItemID, const char *serverClass, int index);
  void (*controller)(LWItemID, LWItemParam, int type[3]);
  unsigned int (*flags)(LWItemID);
  LWTime (*lookAhead)(LWItemID);
  double (*goalStrength)(LWItemID, LWTime);
  void (*stiffness)(LWItemID, LWItemParam, LWDVector);
  unsigned int (*axisLocks)(LWItemID, LWItemParam);
} LWItemInfo;

/* ---- Objects ---- */

#define LWOBJECTINFO_GLOBAL "LW Object Info"

/* Bits of shadowOpts. */
#define LWOSHAD_SELF (1u << 0)
#define LWOSHAD_CAST (1u << 1)
#define LWOSHAD_RECEIVE (1u << 2)

/* Bits of LWObjectInfo.flags. */
#define LWOBJF_UNSEEN_BY_CAMERA (1u << 0)
#define LWOBJF_UNSEEN_BY_RAYS (1u << 1)
#define LWOBJF_UNAFFECT_BY_FOG (1u << 2)
#define LWOBJF_MORPH_MTSE (1u << 3)
#define LWOBJF_MORPH_SURFACES (1u << 4)
#define LWOBJF_MATTE (1u << 5)
#define LWOBJF_UNSEEN_BY_ALPHA (1u << 6)
#define LWOBJF_ALPHA_CONSTANT_BLACK (1u << 7)
#define LWOBJF_DISTANCEDISSOLVE (1u << 8)
#define LWOBJF_BONESDISABLED (1u << 9)
#define LWOBJF_MORPHDISABLED (1u << 10)

/* Bits of edgeOpts. */
#define LWEDGEF_SILHOUETTE (1u << 0)
#define LWEDGEF_UNSHARED (1u << 1)
#define LWEDGEF_CREASE (1u << 2)
#define LWEDGEF_SURFACE (1u << 3)
#define LWEDGEF_OTHER (1u << 4)
#define LWEDGEF_SHRINK_DIST (1u << 8)

/* Kinds of thickness. */
#define LWTHICK_SILHOUETTE 0
#define LWTHICK_UNSHARED 1
#define LWTHICK_CREASE 2
#define LWTHICK_SURFACE 3
#define LWTHICK_OTHER 4
#define LWTHICK_LINE 5
#define LWTHICK_PARTICLE_HEAD 6
#define LWTHICK_PARTICLE_TAIL 7

/* The item id that stands for radiosity in exclusion lists. */
#define LWITEM_RADIOSITY ((LWItemID)(unsigned long)0x21000000u)
#define LWITEM_CAUSTICS ((LWItemID)(unsigned long)0x22000000u)

typedef struct st_LWObjectInfo {
  const char *(*filename)(LWItemID);
  int (*numPoints)(LWItemID);
  int (*numPolygons)(LWItemID);
  unsigned int (*shadowOpts)(LWItemID);
  double (*dissolve)(LWItemID, LWTime);
  /* frozen non-zero: the mesh as it stands, subdivision frozen. Release it with its destroy. */
  LWMeshInfoID (*meshInfo)(LWItemID, int frozen);
  unsigned int (*flags)(LWItemID);
  /* The object's fog level. Layout's header calls this member fog; the renderer's code reads
   * it as fogLevel, and only the place in the table matters. */
  double (*fogLevel)(LWItemID, LWTime);
  LWTextureID (*dispMap)(LWItemID);
  LWTextureID (*clipMap)(LWItemID);
  void (*patchLevel)(LWItemID, int *display, int *render);
  void (*metaballRes)(LWItemID, double *display, double *render);
  LWItemID (*boneSource)(LWItemID);
  LWItemID (*morphTarget)(LWItemID);
  double (*morphAmount)(LWItemID, LWTime);
  unsigned int (*edgeOpts)(LWItemID);
  void (*edgeColor)(LWItemID, LWTime, LWDVector color);
  /* 5 is 'Last'. */
  int (*subdivOrder)(LWItemID);
  double (*polygonSize)(LWItemID, LWTime);
  int (*excluded)(LWItemID object, LWItemID light);
  void (*matteColor)(LWItemID, LWTime, LWDVector color);
  double (*thickness)(LWItemID, LWTime, int type);
  double (*edgeZScale)(LWItemID, LWTime);
} LWObjectInfo;

/* ---- Bones ---- */

#define LWBONEINFO_GLOBAL "LW Bone Info"

#define LWBONEF_ACTIVE (1u << 0)
#define LWBONEF_LIMITED_RANGE (1u << 1)
#define LWBONEF_SCALE_STRENGTH (1u << 2)
#define LWBONEF_WEIGHT_MAP_ONLY (1u << 3)
#define LWBONEF_WEIGHT_NORM (1u << 4)
#define LWBONEF_JOINT_COMP (1u << 5)
#define LWBONEF_JOINT_COMP_PAR (1u << 6)
#define LWBONEF_MUSCLE_FLEX (1u << 7)
#define LWBONEF_MUSCLE_FLEX_PAR (1u << 8)

/* Bone types. */
#define LWBONETYPE_ZAXIS 0
#define LWBONETYPE_JOINT 1

typedef struct st_LWBoneInfo {
  unsigned int (*flags)(LWItemID);
  void (*restParam)(LWItemID, LWItemParam, LWDVector vec);
  double (*restLength)(LWItemID);
  void (*limits)(LWItemID, double *inner, double *outer);
  const char *(*weightMap)(LWItemID);
  double (*strength)(LWItemID);
  int (*falloff)(LWItemID);
  void (*jointComp)(LWItemID, double *self, double *parent);
  void (*muscleFlex)(LWItemID, double *self, double *parent);
  int (*type)(LWItemID);
  double (*twist)(LWItemID);
} LWBoneInfo;

/* ---- Lights ---- */

/* "LW Light Info" (versions 1 and 2) answers the older table, without times in the calls
 * that came to take one later and with spot angles in degrees. "LW Light Info 3" answers the
 * newer table: times in those calls, angles in radians, and the shadow colour. */
#define LWLIGHTINFO_GLOBAL "LW Light Info"
#define LWLIGHTINFO3_GLOBAL "LW Light Info 3"

#define LWLIGHT_DISTANT 0
#define LWLIGHT_POINT 1
#define LWLIGHT_SPOT 2
#define LWLIGHT_LINEAR 3
#define LWLIGHT_AREA 4

#define LWLSHAD_OFF 0
#define LWLSHAD_RAYTRACE 1
#define LWLSHAD_MAP 2

/* Bits of the light's flags. */
#define LWLFL_LIMITED_RANGE (1u << 0)
#define LWLFL_NO_DIFFUSE (1u << 1)
#define LWLFL_NO_SPECULAR (1u << 2)
#define LWLFL_NO_CAUSTICS (1u << 3)
#define LWLFL_LENS_FLARE (1u << 4)
#define LWLFL_VOLUMETRIC (1u << 5)
#define LWLFL_NO_OPENGL (1u << 6)
#define LWLFL_FIT_CONE (1u << 7)
#define LWLFL_CACHE_SHAD_MAP (1u << 8)

#define LWLFALL_OFF 0
#define LWLFALL_LINEAR 1
#define LWLFALL_INV_DIST 2
#define LWLFALL_INV_DIST_2 3

/* The newer table ("LW Light Info 3"). */
typedef struct st_LWLightInfo {
  /* The scene's ambient colour times its intensity. */
  void (*ambient)(LWTime, LWDVector color);
  int (*type)(LWItemID);
  /* Colour times intensity. */
  void (*color)(LWItemID, LWTime, LWDVector color);
  int (*shadowType)(LWItemID);
  /* Cone angle and soft edge angle, both in radians. */
  void (*coneAngles)(LWItemID, LWTime, double *radius, double *edge);
  unsigned int (*flags)(LWItemID);
  double (*range)(LWItemID, LWTime);
  int (*falloff)(LWItemID);
  LWImageID (*projImage)(LWItemID);
  int (*shadMapSize)(LWItemID);
  double (*shadMapAngle)(LWItemID, LWTime);
  double (*shadMapFuzz)(LWItemID, LWTime);
  int (*quality)(LWItemID, LWTime);
  void (*rawColor)(LWItemID, LWTime, LWDVector color);
  double (*intensity)(LWItemID, LWTime);
  void (*shadowColor)(LWItemID, LWTime, LWDVector color);
  double (*ambientIntensity)(LWTime);
  void (*ambientRaw)(LWTime, LWDVector color);
} LWLightInfo;

/* The older table ("LW Light Info", "LW Light Info 2"). */
typedef struct st_LWLightInfoV2 {
  void (*ambient)(LWTime, LWDVector color);
  int (*type)(LWItemID);
  void (*color)(LWItemID, LWTime, LWDVector color);
  int (*shadowType)(LWItemID);
  /* Cone angle and soft edge angle, both in degrees. */
  void (*coneAngles)(LWItemID, double *radius, double *edge);
  unsigned int (*flags)(LWItemID);
  double (*range)(LWItemID);
  int (*falloff)(LWItemID);
  LWImageID (*projImage)(LWItemID);
  int (*shadMapSize)(LWItemID);
  double (*shadMapAngle)(LWItemID);
  double (*shadMapFuzz)(LWItemID);
  int (*quality)(LWItemID);
  void (*rawColor)(LWItemID, LWTime, LWDVector color);
  double (*intensity)(LWItemID, LWTime);
} LWLightInfoV2;

/* ---- Cameras ---- */

#define LWCAMERAINFO_GLOBAL "LW Camera Info"

/* Bits of the camera's flags. */
#define LWCAMF_STEREO (1u << 0)
#define LWCAMF_LIMITED_REGION (1u << 1)
#define LWCAMF_MASK (1u << 2)
#define LWCAMF_DOF (1u << 3)
#define LWCAMF_PARTICLE_BLUR (1u << 4)
#define LWCAMF_LR_NOBORDERS (1u << 5)
#define LWCAMF_FIELD (1u << 6)

/* motionBlur answers. */
#define LWCAMMB_OFF 0
#define LWCAMMB_NORMAL 1
#define LWCAMMB_DITHERED 2

/* fieldRendering answers. */
#define LWCAMFIELDR_OFF 0
#define LWCAMFIELDR_EVENFIRST 1
#define LWCAMFIELDR_ODDFIRST 2

typedef struct st_LWCameraInfo {
  double (*zoomFactor)(LWItemID, LWTime);
  double (*focalLength)(LWItemID, LWTime);
  double (*focalDistance)(LWItemID, LWTime);
  double (*fStop)(LWItemID, LWTime);
  double (*blurLength)(LWItemID, LWTime);
  void (*fovAngles)(LWItemID, LWTime, double *horizontal, double *vertical);
  unsigned int (*flags)(LWItemID);
  void (*resolution)(LWItemID, int *width, int *height);
  double (*pixelAspect)(LWItemID, LWTime);
  double (*separation)(LWItemID, LWTime);
  /* Pixel limits, both ends included. */
  void (*regionLimits)(LWItemID, int *x0, int *y0, int *x1, int *y1);
  void (*maskLimits)(LWItemID, int *x0, int *y0, int *x1, int *y1);
  void (*maskColor)(LWItemID, LWDVector color);
  unsigned int (*motionBlur)(LWItemID);
  unsigned int (*fieldRendering)(LWItemID);
  int (*irisPos)(LWItemID, LWTime, int pass, float *ix, float *iy);
  int (*usingGlobalResolution)(LWItemID);
  int (*usingGlobalBlur)(LWItemID);
  int (*usingGlobalMask)(LWItemID);
} LWCameraInfo;

/* ---- The scene ---- */

#define LWSCENEINFO_GLOBAL "LW Scene Info 2"

#define LWRTYPE_WIRE 0
#define LWRTYPE_QUICK 1
#define LWRTYPE_REALISTIC 2

/* Bits of renderOpts. */
#define LWROPT_SHADOWTRACE (1 << 0)
#define LWROPT_REFLECTTRACE (1 << 1)
#define LWROPT_REFRACTTRACE (1 << 2)
#define LWROPT_FIELDS (1 << 3)
#define LWROPT_EVENFIELDS (1 << 4)
#define LWROPT_MOTIONBLUR (1 << 5)
#define LWROPT_DEPTHOFFIELD (1 << 6)
#define LWROPT_LIMITEDREGION (1 << 7)
#define LWROPT_PARTICLEBLUR (1 << 8)
#define LWROPT_ENHANCEDAA (1 << 9)
#define LWROPT_SAVEANIM (1 << 10)
#define LWROPT_SAVERGB (1 << 11)
#define LWROPT_SAVEALPHA (1 << 12)
#define LWROPT_ZBUFFERAA (1 << 13)
#define LWROPT_RTTRANSPARENCY (1 << 14)
#define LWROPT_RADIOSITY (1 << 15)
#define LWROPT_CAUSTICS (1 << 16)
#define LWROPT_OCCLUSION (1 << 17)

typedef struct st_LWSceneInfo {
  const char *name;
  const char *filename;
  int numPoints;
  int numPolygons;
  int renderType;
  int renderOpts;
  LWFrame frameStart;
  LWFrame frameEnd;
  LWFrame frameStep;
  double framesPerSecond;
  int frameWidth;
  int frameHeight;
  double pixelAspect;
  int minSamplesPerPixel;
  int maxSamplesPerPixel;
  /* x0, y0, x1, y1 in pixels, both ends included. */
  int limitedRegion[4];
  int recursionDepth;
  LWItemID (*renderCamera)(LWTime);
  int numThreads;
  const char *animFilename;
  const char *RGBPrefix;
  const char *alphaPrefix;
} LWSceneInfo;

/* ---- Backdrop, fog, compositing ---- */

#define LWBACKDROPINFO_GLOBAL "LW Backdrop Info"

#define LWBACK_SOLID 0
#define LWBACK_GRADIENT 1

typedef struct st_LWBackdropInfo {
  /* The backdrop's colour seen along a world direction. */
  void (*backdrop)(LWTime, const double ray[3], double color[3]);
  int type;
  void (*color)(LWTime, double zenith[3], double sky[3], double ground[3], double nadir[3]);
  void (*squeeze)(LWTime, double *sky, double *ground);
} LWBackdropInfo;

#define LWFOGINFO_GLOBAL "LW Fog Info"

#define LWFOG_NONE 0
#define LWFOG_LINEAR 1
#define LWFOG_NONLINEAR1 2
#define LWFOG_NONLINEAR2 3
#define LWFOG_REALISTIC 4

#define LWFOGF_BACKGROUND (1 << 0)

typedef struct st_LWFogInfo {
  int type;
  int flags;
  double (*minDist)(LWTime);
  double (*maxDist)(LWTime);
  double (*minAmt)(LWTime);
  double (*maxAmt)(LWTime);
  void (*color)(LWTime, double col[3]);
} LWFogInfo;

#define LWCOMPINFO_GLOBAL "LW Compositing Info"

typedef struct st_LWCompInfo {
  LWImageID bg;
  LWImageID fg;
  LWImageID fgAlpha;
} LWCompInfo;

/* ---- The interface ---- */

/* "LW Interface Info": Layout's interface state, the current time first. Versions 2 and 3
 * carry the final render settings under the versioned names. */
#define LWINTERFACEINFO_GLOBAL "LW Interface Info"
#define LWINTERFACEINFO2_GLOBAL "LW Interface Info 2"
#define LWINTERFACEINFO3_GLOBAL "LW Interface Info 3"

/* Bits of itemFlags. */
#define LWITEMF_SELECTED (1u << 0)
#define LWITEMF_SHOWCHILDREN (1u << 1)
#define LWITEMF_SHOWCHANNELS (1u << 2)
#define LWITEMF_LOCKED (1u << 3)

/* dynaUpdate. */
#define LWDYNUP_OFF 0
#define LWDYNUP_DELAYED 1
#define LWDYNUP_INTERACTIVE 2

/* itemVis. */
#define LWOVIS_HIDDEN 0
#define LWOVIS_BOUNDINGBOX 1
#define LWOVIS_VERTICES 2
#define LWOVIS_WIREFRAME 3
#define LWOVIS_FFWIREFRAME 4
#define LWOVIS_SHADED 5
#define LWOVIS_TEXTURED 6

typedef struct st_LWInterfaceInfo {
  LWTime curTime;
  /* Null-ended list of the selected items. */
  const LWItemID *selItems;
  unsigned int (*itemFlags)(LWItemID);
  LWFrame previewStart;
  LWFrame previewEnd;
  LWFrame previewStep;
  int dynaUpdate;
  void (*schemaPos)(LWItemID, double *x, double *y);
  int (*itemVis)(LWItemID);
  unsigned int displayFlags;
  unsigned int generalFlags;
  /* Objects with more points than this are drawn as boxes while they move. */
  int boxThreshold;
  int (*itemColor)(LWItemID);
  void (*setItemColorIndex)(LWItemID, int);
  void (*setItemColorCustom)(LWItemID, double *);
  int alertLevel;
  int autoKeyCreate;
} LWInterfaceInfo;

/* "LW Command Interface": runs one command line of Layout's command language; non-zero on
 * success. Unlike the generic server's evaluate it takes no data word. */
#define LWCOMMANDINTERFACE_GLOBAL "LW Command Interface"
typedef int LWCommandInterfaceFunc(const char *command);

#endif
