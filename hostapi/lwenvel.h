/*
 * Animation envelopes: keyed curves of a value over time.
 */
#ifndef LWENVEL_H
#define LWENVEL_H

#include <lwtypes.h>

#define LWENVELOPEFUNCS_GLOBAL "Animation Envelopes"
typedef struct st_LWEnvelopeFuncs LWEnvelopeFuncs;

#endif
