/*
 * Basic types shared by every family of the host's plug-in interface.
 * Plain C; widths are those of 64-bit Linux (pointers and identifiers at pointer width).
 */
#ifndef LWTYPES_H
#define LWTYPES_H

typedef int LWFrame;
typedef double LWTime;

typedef float LWFVector[3];
typedef double LWDVector[3];
typedef float LWFMatrix3[3][3];
typedef float LWFMatrix4[4][4];
typedef double LWDMatrix3[3][3];
typedef double LWDMatrix4[4][4];

/* Identifiers belong to the host; a plug-in keeps them only as opaque words. */
typedef struct st_GCoreItem *LWItemID;
typedef struct st_GCorePoint *LWPntID;
typedef struct st_GCorePolygon *LWPolID;
typedef struct st_GCoreSurface *LWSurfaceID;
typedef struct st_GCoreImage *LWImageID;
typedef struct st_GCoreTexture *LWTextureID;
typedef struct st_GCoreChannel *LWChannelID;
typedef struct st_GCoreEnvelope *LWEnvelopeID;

#define LWITEM_NULL ((LWItemID)0)
/* What useItems returns to ask for every item of the scene. */
#define LWITEM_ALL ((const LWItemID *)-1)

typedef void *LWInstance;
typedef const char *LWError;

/* A four-character block identifier of the host's files. */
typedef unsigned int LWID;
#define LWID_(a, b, c, d) \
  ((((unsigned int)(a)) << 24) | (((unsigned int)(b)) << 16) | (((unsigned int)(c)) << 8) | ((unsigned int)(d)))

/* The host's command function: sends one command line, returns non-zero on success. */
typedef int LWCommandFunc(void *data, const char *command);

#endif
