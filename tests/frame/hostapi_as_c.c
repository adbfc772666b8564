/* The host interface must stay plain C: a host written in C includes the same headers. */
#include <lwdisplce.h>
#include <lwenvel.h>
#include <lwgeneric.h>
#include <lwhandler.h>
#include <lwhost.h>
#include <lwimage.h>
#include <lwio.h>
#include <lwmaster.h>
#include <lwmeshes.h>
#include <lwmodule.h>
#include <lwrender.h>
#include <lwserver.h>
#include <lwshader.h>
#include <lwsurf.h>
#include <lwsurfed.h>
#include <lwtxtr.h>
#include <lwtypes.h>

int hostInterfaceAsC(void) {
  ModuleDescriptor d = {MOD_SYSSYNC, MOD_SYSVER, MOD_MACHINE, 0, 0, 0};
  LWMasterHandler m = {0, 0, LWMAST_OPTIONS, 0, 0};
  return (int)(d.sysVersion + (unsigned)m.type);
}
