/*
 * Displacement handlers: servers that move an object's points before rendering.
 */
#ifndef LWDISPLCE_H
#define LWDISPLCE_H

#include <lwhandler.h>
#include <lwmeshes.h>

#define LWDISPLACEMENT_HCLASS "DisplacementHandler"
#define LWDISPLACEMENT_ICLASS "DisplacementInterface"
#define LWDISPLACEMENT_VERSION 4

/* One point: its position to change, where it started, and the mesh it belongs to. */
typedef struct st_LWDisplacementAccess {
  LWDVector oPos;
  LWDVector source;
  LWPntID point;
  LWMeshInfo *info;
} LWDisplacementAccess;

/* Handler flags: displace in world coordinates, or before the bones move the points. */
#define LWDMF_WORLD (1 << 0)
#define LWDMF_BEFOREBONES (1 << 1)

typedef struct st_LWDisplacementHandler {
  LWInstanceFuncs *inst;
  LWItemFuncs *item;
  LWRenderFuncs *rend;
  void (*evaluate)(LWInstance, LWDisplacementAccess *);
  unsigned int (*flags)(LWInstance);
} LWDisplacementHandler;

#endif
