/*
 * Images: the scene's image list and the host's image savers.
 */
#ifndef LWIMAGE_H
#define LWIMAGE_H

#include <lwio.h>
#include <lwtypes.h>

/* A pixel value, 0 to 1 for full brightness. */
typedef float LWBufferValue;

/* An image in memory that a saver writes. */
typedef struct st_GCorePixmap *LWPixmapID;

#define LWIMAGELIST_GLOBAL "LW Image List"

typedef struct st_LWImageList {
  LWImageID (*first)(void);
  LWImageID (*next)(LWImageID);
  LWImageID (*load)(const char *filename);
  const char *(*name)(LWImageID);
  /* The file of a frame of the image (a sequence has one per frame). */
  const char *(*filename)(LWImageID, LWFrame);
  int (*isColor)(LWImageID);
  void (*needAA)(LWImageID);
  void (*size)(LWImageID, int *width, int *height);
  /* Pixels by column and row, row 0 at the top. */
  LWBufferValue (*luma)(LWImageID, int x, int y);
  void (*RGB)(LWImageID, int x, int y, LWBufferValue rgb[3]);
  double (*lumaSpot)(LWImageID, double x, double y, double spotSize, int blend);
  void (*RGBSpot)(LWImageID, double x, double y, double spotSize, int blend, double rgb[3]);
  void (*clear)(LWImageID);
  LWImageID (*sceneLoad)(const LWLoadState *);
  void (*sceneSave)(const LWSaveState *, LWImageID);
  int (*hasAlpha)(LWImageID);
  LWBufferValue (*alpha)(LWImageID, int x, int y);
  double (*alphaSpot)(LWImageID, double x, double y, double spotSize, int blend);
} LWImageList;

/* Pixel types of create. */
typedef int LWImageType;
#define LWIMTYP_RGB24 0
#define LWIMTYP_GREY8 1
#define LWIMTYP_INDEX8 2
#define LWIMTYP_GREYFP 3
#define LWIMTYP_RGBFP 4
#define LWIMTYP_RGBA32 5
#define LWIMTYP_RGBAFP 6
#define LWIMTYP_SPECIAL 7

#define LWIMAGEUTIL_GLOBAL "Image Utility"

typedef struct st_LWImageUtil {
  LWPixmapID (*create)(int width, int height, LWImageType type);
  void (*destroy)(LWPixmapID);
  /* Saves through saver number `saver` (0 .. saverCount() - 1); non-zero on success. */
  int (*save)(LWPixmapID, int saver, const char *name);
  /* The pixel is in the image's type: bytes for the 8-bit types, floats for the FP ones. */
  void (*setPixel)(LWPixmapID, int x, int y, void *pixel);
  void (*getPixel)(LWPixmapID, int x, int y, void *pixel);
  void (*getInfo)(LWPixmapID, int *width, int *height, int *flags);
  LWPixmapID (*resample)(LWPixmapID, int width, int height, int mode);
  int (*saverCount)(void);
  const char *(*saverName)(int saver);
} LWImageUtil;

/* resample modes. */
#define LWISM_SUBSAMPLING 0
#define LWISM_MEDIAN 1
#define LWISM_SUPERSAMPLING 2
#define LWISM_BILINEAR 3
#define LWISM_BSPLINE 4
#define LWISM_BICUBIC 5

#endif
