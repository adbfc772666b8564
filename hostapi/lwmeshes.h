/*
 * Meshes: the points and polygons of the scene's objects.
 */
#ifndef LWMESHES_H
#define LWMESHES_H

#include <lwtypes.h>

/* Polygon types: what polType answers, four characters as one number. */
#define LWPOLTYPE_FACE LWID_('F', 'A', 'C', 'E')
#define LWPOLTYPE_CURV LWID_('C', 'U', 'R', 'V')
#define LWPOLTYPE_PTCH LWID_('P', 'T', 'C', 'H')
#define LWPOLTYPE_MBAL LWID_('M', 'B', 'A', 'L')
#define LWPOLTYPE_BONE LWID_('B', 'O', 'N', 'E')
#define LWPOLTYPE_SUBD LWID_('S', 'U', 'B', 'D')

/* Polygon tags that polTag answers: the surface name, the part name, the smoothing group. */
#define LWPTAG_SURF LWID_('S', 'U', 'R', 'F')
#define LWPTAG_PART LWID_('P', 'A', 'R', 'T')
#define LWPTAG_SMGP LWID_('S', 'M', 'G', 'P')

/* Vertex map types for pntVLookup. */
#define LWVMAP_PICK LWID_('P', 'I', 'C', 'K')
#define LWVMAP_WGHT LWID_('W', 'G', 'H', 'T')
#define LWVMAP_MNVW LWID_('M', 'N', 'V', 'W')
#define LWVMAP_TXUV LWID_('T', 'X', 'U', 'V')
#define LWVMAP_MORF LWID_('M', 'O', 'R', 'F')
#define LWVMAP_SPOT LWID_('S', 'P', 'O', 'T')
#define LWVMAP_RGB LWID_('R', 'G', 'B', ' ')
#define LWVMAP_RGBA LWID_('R', 'G', 'B', 'A')

/* Bits of polFlags. */
#define LWPOLF_START_CC (1u << 0)
#define LWPOLF_END_CC (1u << 1)

/* Scan callbacks: a non-zero result stops the scan, and the scan returns it. */
typedef int LWPntScanFunc(void *data, LWPntID point);
typedef int LWPolScanFunc(void *data, LWPolID polygon);

typedef struct st_LWMeshInfo *LWMeshInfoID;

/* The mesh access of a displacement or of an object's current state. Whoever gets one from
 * the object info releases it with destroy. */
typedef struct st_LWMeshInfo {
  void *priv;
  void (*destroy)(LWMeshInfoID);
  int (*numPoints)(LWMeshInfoID);
  int (*numPolygons)(LWMeshInfoID);
  int (*scanPoints)(LWMeshInfoID, LWPntScanFunc *, void *data);
  int (*scanPolys)(LWMeshInfoID, LWPolScanFunc *, void *data);
  /* The point before any deformation, and after the deformations so far. */
  void (*pntBasePos)(LWMeshInfoID, LWPntID, LWFVector pos);
  void (*pntOtherPos)(LWMeshInfoID, LWPntID, LWFVector pos);
  /* Vertex maps: look one up by type and name, select it, then read a point's values. */
  void *(*pntVLookup)(LWMeshInfoID, LWID type, const char *name);
  int (*pntVSelect)(LWMeshInfoID, void *vmap);
  int (*pntVGet)(LWMeshInfoID, LWPntID, float *vector);
  LWID (*polType)(LWMeshInfoID, LWPolID);
  int (*polSize)(LWMeshInfoID, LWPolID);
  LWPntID (*polVertex)(LWMeshInfoID, LWPolID, int index);
  const char *(*polTag)(LWMeshInfoID, LWPolID, LWID tag);
  /* Per-corner values of the selected map, falling back to the point's own. */
  int (*pntVPGet)(LWMeshInfoID, LWPntID, LWPolID, float *vector);
  unsigned int (*polFlags)(LWMeshInfoID, LWPolID);
  /* The same reads with the map given instead of selected. */
  int (*pntVIDGet)(LWMeshInfoID, LWPntID, float *vector, void *vmap);
  int (*pntVPIDGet)(LWMeshInfoID, LWPntID, LWPolID, float *vector, void *vmap);
} LWMeshInfo;

/* "Scene Objects": the scene's object files, their layers and vertex maps. Objects are
 * numbered 0 .. numObjects - 1, layers by their number in the file. */
#define LWOBJECTFUNCS_GLOBAL "Scene Objects"

typedef struct st_LWObjectFuncs {
  int (*numObjects)(void);
  const char *(*filename)(int obj);
  const char *(*userName)(int obj);
  const char *(*refName)(int obj);
  int (*maxLayers)(int obj);
  int (*layerExists)(int obj, int lnum);
  void (*pivotPoint)(int obj, int lnum, LWFVector pos);
  LWMeshInfo *(*layerMesh)(int obj, int lnum);
  int (*numVMaps)(LWID type);
  const char *(*vmapName)(LWID type, int index);
  int (*vmapDim)(LWID type, int index);
  LWID (*vmapType)(int index);
  const char *(*layerName)(int obj, int lnum);
  int (*layerVis)(int obj, int lnum);
} LWObjectFuncs;

#endif
