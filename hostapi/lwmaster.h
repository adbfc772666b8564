/*
 * Master handlers: scene-wide servers that hear every event of the user's work.
 */
#ifndef LWMASTER_H
#define LWMASTER_H

#include <lwhandler.h>

#define LWMASTER_HCLASS "MasterHandler"
#define LWMASTER_ICLASS "MasterInterface"
#define LWMASTER_VERSION 4

/* Event codes. For a command, eventData is the command's text. */
#define LWEVNT_NOTHING 0
#define LWEVNT_COMMAND 1
#define LWEVNT_TIME 2
#define LWEVNT_SELECT 3
#define LWEVNT_RENDER_DONE 4

typedef struct st_LWMasterAccess {
  int eventCode;
  const void *eventData;
  void *data;
  LWCommandFunc *evaluate;
} LWMasterAccess;

/* Kinds of master. */
#define LWMAST_SCENE 0
#define LWMAST_OPTIONS 1

typedef struct st_LWMasterHandler {
  LWInstanceFuncs *inst;
  LWItemFuncs *item;
  int type;
  double (*event)(LWInstance, const LWMasterAccess *);
  unsigned int (*flags)(LWInstance);
} LWMasterHandler;

#endif
