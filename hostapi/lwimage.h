/*
 * Images: the scene's image list and the host's image savers.
 */
#ifndef LWIMAGE_H
#define LWIMAGE_H

#include <lwtypes.h>

#define LWIMAGELIST_GLOBAL "LW Image List"
typedef struct st_LWImageList LWImageList;

#define LWIMAGEUTIL_GLOBAL "Image Utility"
typedef struct st_LWImageUtil LWImageUtil;

#endif
