#pragma once
// GlobalServices: the host's services that the module keeps for its whole life, acquired
// once by the common start that every activation runs first.
#include <lwenvel.h>
#include <lwhost.h>
#include <lwimage.h>
#include <lwmeshes.h>
#include <lwrender.h>
#include <lwserver.h>
#include <lwsurf.h>
#include <lwtxtr.h>

struct HostVersion {
  int major;
  int minor;
  int build;
};

struct GlobalServices {
  // In the order they are acquired.
  LWFileReqFunc* fileRequest;
  LWColorPickFunc* colorPicker;
  LWMessageFuncs* messages;
  LWDirInfoFunc* directoryInfo;
  LWSurfaceFuncs* surfaceFuncs;
  LWLightInfo* lightInfo3;  // the newer light members, when the host has them
  LWLightInfoV2* lightInfo;  // the older table: no time in coneAngles, range and quality
  LWCameraInfo* cameraInfo;
  LWImageList* imageList;
  LWBoneInfo* boneInfo;
  LWItemInfo* itemInfo;
  LWObjectFuncs* objectFuncs;
  LWObjectInfo* objectInfo;
  LWBackdropInfo* backdropInfo;
  LWTextureFuncs* textureFuncs;
  LWEnvelopeFuncs* envelopeFuncs;

  // Null until a start has completed; then what every later lookup goes through, from any
  // thread.
  GlobalFunc* hostGlobal;
  bool isModeler;
  HostVersion hostVersion;
};

extern GlobalServices globalServices;

// Numbers an activation returns when a required service is missing.
enum ServiceMissing : int {
  kMissingItemInfo = 10,
  kMissingObjectInfo = 11,
  kMissingBoneInfo = 12,
  kMissingLightInfo = 13,
  kMissingCameraInfo = 14,
  kMissingImageList = 15,
  kMissingMessages = 17,
  kMissingDirectoryInfo = 18,
  kMissingSurfaceFuncs = 19,
};

// The version assumed when the host's product word doesn't look like one.
inline constexpr HostVersion kFallbackHostVersion{6, 5, 508};

// The common start: safe to run at every activation. Returns 0, 2 for a null global
// function, or the number of the first missing required service. A failed start leaves
// hostGlobal null so that the next activation tries again from the beginning.
int serverStart(GlobalFunc* global);

// Transient query of which application is running: true for Modeler, false for Layout and
// the render node.
bool hostIsModeler(GlobalFunc* global);

// A transient global of the host (scene info, compositing, image utility ...), asked for when
// it is used, since the host's records change between calls. Null without a started host,
// when the host lacks it, or when the host throws on the way.
void* hostTransient(const char* name);
template <class T>
T* hostTransientAs(const char* name) {
  return static_cast<T*>(hostTransient(name));
}

// Looks a service up as the common start does: "<name> <version>" from highestVersion down
// to 2, then the plain name. The first answer is returned; null if none answers.
void* acquireVersioned(GlobalFunc* global, const char* name, long highestVersion);
