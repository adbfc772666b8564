/*
 * The module record: the one symbol, _mod_descrip, that a host looks up in a plug-in file.
 */
#ifndef LWMODULE_H
#define LWMODULE_H

#include <lwserver.h>

#define MOD_SYSSYNC 0x04121994u
#define MOD_SYSVER 3u
#define MOD_MACHINE 0x300u

typedef struct st_ModuleDescriptor {
  unsigned int sysSync;
  unsigned int sysVersion;
  unsigned int sysMachine;
  /* Called once after loading; a null result makes the host refuse the module. What it
   * returns comes back to shutdown. */
  void *(*startup)(void);
  void (*shutdown)(void *serverData);
  ServerRecord *serverDefs; /* ended by an all-null row */
} ModuleDescriptor;

#define MOD_DESCRIPTOR_SYMBOL "_mod_descrip"

#endif
