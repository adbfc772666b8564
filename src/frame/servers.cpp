#include "frame/servers.h"

#include <lwdisplce.h>
#include <lwgeneric.h>
#include <lwmaster.h>
#include <lwshader.h>

bool frameLoadFailed = false;

ServerRecord ombrelServers[kServerCount + 1] = {
    {LWDISPLACEMENT_HCLASS, "Ombrel", activateDisplacementHandler, nullptr},
    {LWSHADER_HCLASS, "Ombrel", activateShaderHandler, nullptr},
    {LWMASTER_HCLASS, "Ombrel", activateMasterHandler, nullptr},
    {LWMASTER_ICLASS, "Ombrel", activateMasterInterface, nullptr},
    {LWLAYOUTGENERIC_CLASS, "Ombrel", activateOpenPreview, nullptr},
    {LWLAYOUTGENERIC_CLASS, "Ombrel Refresh", activateRefresh, nullptr},
    {LWLAYOUTGENERIC_CLASS, "Ombrel Render", activateRender, nullptr},
    {LWLAYOUTGENERIC_CLASS, "Strip Ombrel Shaders", activateStripShaders, nullptr},
    {nullptr, nullptr, nullptr, nullptr},
};
