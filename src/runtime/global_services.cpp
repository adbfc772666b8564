#include "runtime/global_services.h"

#include <cstdint>
#include <cstdio>

#include "runtime/random.h"

GlobalServices globalServices{};

namespace {

HostVersion parseProductInfo(uintptr_t word) {
  const auto w = static_cast<unsigned int>(word);
  const int major = static_cast<int>(LWINF_GETMAJOR(w));
  const int minor = static_cast<int>(LWINF_GETMINOR(w));
  const int build = static_cast<int>(LWINF_GETBUILD(w));
  // Hosts that don't answer, or answer nonsense, are taken for the oldest release we serve.
  if (major < 5 || major > 200 || minor < 0 || minor > 200 || build < 400 || build > 5000)
    return kFallbackHostVersion;
  return HostVersion{major, minor, build};
}

template <typename T>
T* as(void* p) {
  return reinterpret_cast<T*>(p);
}

}  // namespace

bool hostIsModeler(GlobalFunc* global) {
  const auto id = reinterpret_cast<uintptr_t>(global(LWSYSTEMID_GLOBAL, GFUSE_TRANSIENT));
  return (id & LWSYS_TYPEBITS) == LWSYS_MODELER;
}

void* acquireVersioned(GlobalFunc* global, const char* name, long highestVersion) {
  char versioned[128];
  for (long v = highestVersion; v >= 2; --v) {
    std::snprintf(versioned, sizeof versioned, "%s %ld", name, v);
    if (void* p = global(versioned, GFUSE_ACQUIRE)) return p;
  }
  return global(name, GFUSE_ACQUIRE);
}

void* hostTransient(const char* name) {
  GlobalFunc* global = globalServices.hostGlobal;
  if (!global || !name) return nullptr;
  try {
    return global(name, GFUSE_TRANSIENT);
  } catch (...) {
    return nullptr;
  }
}

int serverStart(GlobalFunc* global) {
  if (!global) return AFUNC_BADGLOBAL;
  GlobalServices& s = globalServices;
  if (s.hostGlobal) return 0;

  s.isModeler = hostIsModeler(global);
  s.hostVersion =
      parseProductInfo(reinterpret_cast<uintptr_t>(global(LWPRODUCTINFO_GLOBAL, GFUSE_TRANSIENT)));
  randBuildInverseTable();
  s.hostGlobal = global;

  // What is acquired here stays acquired for the life of the module.
  s.fileRequest = as<LWFileReqFunc>(acquireVersioned(global, LWFILEREQFUNC_GLOBAL, 1));
  s.colorPicker = as<LWColorPickFunc>(acquireVersioned(global, LWCOLORPICKFUNC_GLOBAL, 1));
  s.messages = as<LWMessageFuncs>(acquireVersioned(global, LWMESSAGEFUNCS_GLOBAL, 3));
  s.directoryInfo = as<LWDirInfoFunc>(acquireVersioned(global, LWDIRINFOFUNC_GLOBAL, 2));
  s.surfaceFuncs = as<LWSurfaceFuncs>(acquireVersioned(global, LWSURFACEFUNCS_GLOBAL, 3));
  s.lightInfo3 = as<LWLightInfo>(acquireVersioned(global, LWLIGHTINFO3_GLOBAL, 1));
  s.lightInfo = as<LWLightInfoV2>(acquireVersioned(global, LWLIGHTINFO_GLOBAL, 2));
  s.cameraInfo = as<LWCameraInfo>(acquireVersioned(global, LWCAMERAINFO_GLOBAL, 2));
  s.imageList = as<LWImageList>(acquireVersioned(global, LWIMAGELIST_GLOBAL, 3));
  s.boneInfo = as<LWBoneInfo>(acquireVersioned(global, LWBONEINFO_GLOBAL, 2));
  s.itemInfo = as<LWItemInfo>(acquireVersioned(global, LWITEMINFO_GLOBAL, 4));
  s.objectFuncs = as<LWObjectFuncs>(acquireVersioned(global, LWOBJECTFUNCS_GLOBAL, 3));
  s.objectInfo = as<LWObjectInfo>(acquireVersioned(global, LWOBJECTINFO_GLOBAL, 4));
  s.backdropInfo = as<LWBackdropInfo>(acquireVersioned(global, LWBACKDROPINFO_GLOBAL, 2));
  s.textureFuncs = as<LWTextureFuncs>(acquireVersioned(global, LWTEXTUREFUNCS_GLOBAL, 3));
  s.envelopeFuncs = as<LWEnvelopeFuncs>(acquireVersioned(global, LWENVELOPEFUNCS_GLOBAL, 1));

  // Modeler gets no test at all: whatever it answers is what the module runs with.
  if (s.isModeler) return 0;

  const bool complete = s.messages && s.directoryInfo && s.surfaceFuncs && s.lightInfo &&
                        s.cameraInfo && s.imageList && s.boneInfo && s.itemInfo &&
                        s.objectInfo && s.backdropInfo && s.textureFuncs && s.envelopeFuncs;
  if (!complete) s.hostGlobal = nullptr;

  // Backdrop, texture and envelope services have no number of their own: without them the
  // start counts as incomplete, so the next activation starts again, but this one succeeds.
  if (!s.itemInfo) return kMissingItemInfo;
  if (!s.objectInfo) return kMissingObjectInfo;
  if (!s.boneInfo) return kMissingBoneInfo;
  if (!s.lightInfo) return kMissingLightInfo;
  if (!s.cameraInfo) return kMissingCameraInfo;
  if (!s.imageList) return kMissingImageList;
  if (!s.messages) return kMissingMessages;
  if (!s.directoryInfo) return kMissingDirectoryInfo;
  if (!s.surfaceFuncs) return kMissingSurfaceFuncs;
  return 0;
}
