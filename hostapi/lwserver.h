/*
 * Servers: the rows of a module's table, how the host activates them, and the global
 * function through which a server reaches the host's services.
 */
#ifndef LWSERVER_H
#define LWSERVER_H

/* The global function: look a service up by name. The use value says whether the caller
 * keeps what it gets (acquire), only looks (transient), or gives it back (release). */
typedef void *GlobalFunc(const char *serviceName, int useCount);

#define GFUSE_TRANSIENT 0
#define GFUSE_ACQUIRE 1
#define GFUSE_RELEASE (-1)

/* The activation of a server: returns one of the AFUNC_ codes, or a number of the
 * server's own that the host reports as a failure to activate. */
typedef int ActivateFunc(int version, GlobalFunc *global, void *local, void *serverData);

#define AFUNC_OK 0
#define AFUNC_BADVERSION 1
#define AFUNC_BADGLOBAL 2
#define AFUNC_BADLOCAL 3
#define AFUNC_BADAPP 4
#define AFUNC_BADAPP_SILENT 5

/* Extra names of a server (user names in other languages, icons, groups). */
typedef struct st_ServerTagInfo {
  const char *string;
  unsigned int tag;
} ServerTagInfo;

#define SRVTAG_USERNAME 0x55534552u /* 'USER' */

typedef struct st_ServerRecord {
  const char *className;
  const char *name;
  ActivateFunc *activate;
  ServerTagInfo *tagInfo; /* user names; may be null */
} ServerRecord;

#endif
