/*
 * What every handler server has in common: the functions of its instances, the items it
 * depends on, and its part in rendering.
 */
#ifndef LWHANDLER_H
#define LWHANDLER_H

#include <lwio.h>
#include <lwtypes.h>

typedef struct st_LWInstanceFuncs {
  void *priv;
  /* context: the item or surface the instance is made for. On failure, set the error text
   * and return null. */
  LWInstance (*create)(void *priv, void *context, LWError *);
  void (*destroy)(LWInstance);
  LWError (*copy)(LWInstance to, LWInstance from);
  LWError (*load)(LWInstance, const LWLoadState *);
  LWError (*save)(LWInstance, const LWSaveState *);
  const char *(*descln)(LWInstance);
} LWInstanceFuncs;

typedef struct st_LWItemFuncs {
  /* Null-ended list of items the instance depends on, or LWITEM_ALL. */
  const LWItemID *(*useItems)(LWInstance);
  /* Pairs of (old, new) identifiers, ended by a null old one. */
  void (*changeID)(LWInstance, const LWItemID *);
} LWItemFuncs;

#define LWINIT_PREVIEW 0
#define LWINIT_RENDER 1

typedef struct st_LWRenderFuncs {
  LWError (*init)(LWInstance, int mode);
  void (*cleanup)(LWInstance);
  LWError (*newTime)(LWInstance, LWFrame, LWTime);
} LWRenderFuncs;

#endif
