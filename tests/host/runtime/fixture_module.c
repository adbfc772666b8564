/* Small modules with one thing wrong each, for the host's loading checks. Which one is
 * chosen at build time. */
#include <lwmodule.h>

#ifndef FIXTURE_SYNC
#define FIXTURE_SYNC MOD_SYSSYNC
#endif
#ifndef FIXTURE_VERSION
#define FIXTURE_VERSION MOD_SYSVER
#endif
#ifndef FIXTURE_MACHINE
#define FIXTURE_MACHINE MOD_MACHINE
#endif

#define EXPORT __attribute__((visibility("default")))

/* How often the host called startup and shutdown; read by the tests. */
EXPORT int fixtureStartups = 0;
EXPORT int fixtureShutdowns = 0;

static void *startup(void) {
  ++fixtureStartups;
#ifdef FIXTURE_STARTUP_FAILS
  return 0;
#else
  return (void *)&fixtureStartups;
#endif
}

static void shutdown(void *serverData) {
  if (serverData == (void *)&fixtureStartups) ++fixtureShutdowns;
}

static int activate(int version, GlobalFunc *global, void *local, void *serverData) {
  (void)global;
  (void)local;
  (void)serverData;
  return version * 10;
}

static ServerRecord servers[] = {
    {"LayoutGeneric", "First", activate, 0},
    {"MasterHandler", "Second", activate, 0},
    {0, 0, 0, 0},
};

/* The record goes under another name in the variant that has none. */
#ifndef FIXTURE_NO_DESCRIPTOR
#define DESCRIPTOR_NAME _mod_descrip
#else
#define DESCRIPTOR_NAME notADescriptor
#endif
EXPORT ModuleDescriptor DESCRIPTOR_NAME = {FIXTURE_SYNC, FIXTURE_VERSION, FIXTURE_MACHINE, startup, shutdown, servers};
