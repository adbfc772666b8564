/*
 * The scene as Layout's renderer sees it: items, objects, bones, lights, cameras, the
 * scene's settings, backdrop, fog, compositing and the interface state.
 * The service tables whose members nothing reads yet are declared here by name only; their
 * members are added as the program comes to use them.
 */
#ifndef LWRENDER_H
#define LWRENDER_H

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

#define LWITEMINFO_GLOBAL "LW Item Info"
typedef struct st_LWItemInfo LWItemInfo;

#define LWOBJECTINFO_GLOBAL "LW Object Info"
typedef struct st_LWObjectInfo LWObjectInfo;

#define LWBONEINFO_GLOBAL "LW Bone Info"
typedef struct st_LWBoneInfo LWBoneInfo;

#define LWLIGHTINFO_GLOBAL "LW Light Info"
/* The third version under its own name, for the newer light members. */
#define LWLIGHTINFO3_GLOBAL "LW Light Info 3"
typedef struct st_LWLightInfo LWLightInfo;

#define LWCAMERAINFO_GLOBAL "LW Camera Info"
typedef struct st_LWCameraInfo LWCameraInfo;

#define LWSCENEINFO_GLOBAL "LW Scene Info 2"
typedef struct st_LWSceneInfo LWSceneInfo;

#define LWBACKDROPINFO_GLOBAL "LW Backdrop Info"
typedef struct st_LWBackdropInfo LWBackdropInfo;

#define LWFOGINFO_GLOBAL "LW Fog Info"
typedef struct st_LWFogInfo LWFogInfo;

#define LWCOMPINFO_GLOBAL "LW Compositing Info"
typedef struct st_LWCompInfo LWCompInfo;

/* "LW Interface Info": Layout's interface state, the current time first. Versions 2 and 3
 * carry the final render settings under the versioned names. */
#define LWINTERFACEINFO_GLOBAL "LW Interface Info"
#define LWINTERFACEINFO2_GLOBAL "LW Interface Info 2"
#define LWINTERFACEINFO3_GLOBAL "LW Interface Info 3"

typedef struct st_LWInterfaceInfo {
  LWTime curTime;
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
  int boxThreshold;
  int (*itemColor)(LWItemID);
  void (*setItemColorIndex)(LWItemID, int);
  void (*setItemColorCustom)(LWItemID, double *);
  int alertLevel;
  int autoKeyCreate;
} LWInterfaceInfo;

#endif
