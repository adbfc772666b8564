/*
 * Generic servers: commands the user runs from Layout's menus. Their local data is the
 * host's command access.
 */
#ifndef LWGENERIC_H
#define LWGENERIC_H

#include <lwtypes.h>

#define LWLAYOUTGENERIC_CLASS "LayoutGeneric"
#define LWLAYOUTGENERIC_VERSION 4

typedef int LWCommandCode;

/* The host's dynamic values, used by lookup and execute. Its members belong to the
 * dynamic-value family. */
typedef union un_DynaValue DynaValue;

typedef struct st_LWLayoutGeneric {
  int (*saveScene)(const char *file);
  int (*loadScene)(const char *file, const char *name);
  void *data;
  /* Runs one command line as Layout's command language has it: evaluate(data, text). */
  LWCommandFunc *evaluate;
  LWCommandCode (*lookup)(void *data, const char *cmdName);
  int (*execute)(void *data, LWCommandCode cmd, int argc, const DynaValue *argv, DynaValue *result);
} LWLayoutGeneric;

#endif
