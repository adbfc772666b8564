/*
 * Animation envelopes: keyed curves of a value over time, grouped in channel groups.
 */
#ifndef LWENVEL_H
#define LWENVEL_H

#include <lwio.h>
#include <lwtypes.h>

#define LWENVELOPEFUNCS_GLOBAL "Animation Envelopes"
#define LWCHANNELINFO_GLOBAL "Channel Info"

typedef struct st_GCoreChanGroup *LWChanGroupID;
typedef void *LWEnvKeyframeID;

/* The kind of value an envelope holds: how the host shows and edits it. */
#define LWET_FLOAT 2
#define LWET_DISTANCE 3
#define LWET_PERCENT 4
#define LWET_ANGLE 5

/* The members of a key that keySet and keyGet reach. */
typedef enum en_lwkeytag {
  LWKEY_VALUE,
  LWKEY_TIME,
  LWKEY_SHAPE,
  LWKEY_TENSION,
  LWKEY_CONTINUITY,
  LWKEY_BIAS,
  LWKEY_PARAM_0,
  LWKEY_PARAM_1,
  LWKEY_PARAM_2,
  LWKEY_PARAM_3
} LWKeyTag;

/* Key shapes, as the files number them. */
#define SHAPE_TCB 0
#define SHAPE_HERM 1
#define SHAPE_BEZI 2
#define SHAPE_LINE 3
#define SHAPE_STEP 4
#define SHAPE_BEZ2 5

/* What an envelope does before its first key and after its last. */
#define BEH_RESET 0
#define BEH_CONSTANT 1
#define BEH_REPEAT 2
#define BEH_OSCILLATE 3
#define BEH_OFFSET 4
#define BEH_LINEAR 5

/* Envelope and group tags of egSet and egGet. */
#define LWENVTAG_VISIBLE 0
#define LWENVTAG_STARTBEHAVE 1
#define LWENVTAG_ENDBEHAVE 2
#define LWENVTAG_KEYCOUNT 3

typedef enum en_lwenvevent {
  LWEEVNT_DESTROY,
  LWEEVNT_KEY_INSERT,
  LWEEVNT_KEY_DELETE,
  LWEEVNT_KEY_VALUE,
  LWEEVNT_KEY_TIME
} LWEnvEvent;

typedef int LWEnvEventFunc(void *data, LWEnvelopeID env, LWEnvEvent event, void *eventData);

typedef struct st_LWEnvelopeFuncs {
  LWEnvelopeID (*create)(LWChanGroupID group, const char *name, int type);
  void (*destroy)(LWEnvelopeID env);
  LWChanGroupID (*createGroup)(LWChanGroupID parent, const char *name);
  void (*destroyGroup)(LWChanGroupID group);
  LWError (*copy)(LWEnvelopeID to, LWEnvelopeID from);
  LWError (*load)(LWEnvelopeID env, const LWLoadState *load);
  LWError (*save)(LWEnvelopeID env, const LWSaveState *save);
  /* The envelope's value at a time in seconds. */
  double (*evaluate)(LWEnvelopeID env, LWTime time);
  int (*edit)(LWChanGroupID group, LWEnvelopeID env, int flags, void *data);
  int (*envAge)(LWEnvelopeID env);
  LWEnvKeyframeID (*createKey)(LWEnvelopeID env, LWTime time, double value);
  void (*destroyKey)(LWEnvelopeID env, LWEnvKeyframeID key);
  LWEnvKeyframeID (*findKey)(LWEnvelopeID env, LWTime time);
  /* nextKey with a null key gives the first key. */
  LWEnvKeyframeID (*nextKey)(LWEnvelopeID env, LWEnvKeyframeID key);
  LWEnvKeyframeID (*prevKey)(LWEnvelopeID env, LWEnvKeyframeID key);
  int (*keySet)(LWEnvelopeID env, LWEnvKeyframeID key, LWKeyTag tag, void *value);
  int (*keyGet)(LWEnvelopeID env, LWEnvKeyframeID key, LWKeyTag tag, void *value);
  int (*setEnvEvent)(LWEnvelopeID env, LWEnvEventFunc *ev, void *data);
  int (*egSet)(LWEnvelopeID env, LWChanGroupID group, int tag, void *value);
  int (*egGet)(LWEnvelopeID env, LWChanGroupID group, int tag, void *value);
} LWEnvelopeFuncs;

#endif
