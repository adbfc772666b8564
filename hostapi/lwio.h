/*
 * Reading and writing a server's data in the host's files: scene text (ASCII) or binary
 * blocks, through the host's load and save states.
 */
#ifndef LWIO_H
#define LWIO_H

#include <lwtypes.h>

#define LWIO_OBJECT 0
#define LWIO_SCENE 1

#define LWIO_ASCII 0
#define LWIO_BINARY 1

typedef struct st_LWBlockIdent {
  LWID id;
  const char *token;
} LWBlockIdent;

typedef struct st_LWLoadState {
  int ioMode;
  void *readData;
  /* In ASCII mode, read returns one line (without its end) and -1 at the end of the block. */
  int (*read)(void *readData, char *, int);
  int (*readI1)(void *readData, char *, int);
  int (*readI2)(void *readData, short *, int);
  int (*readI4)(void *readData, int *, int);
  int (*readU1)(void *readData, unsigned char *, int);
  int (*readU2)(void *readData, unsigned short *, int);
  int (*readU4)(void *readData, unsigned int *, int);
  int (*readFP)(void *readData, float *, int);
  int (*readStr)(void *readData, char *, int);
  LWID (*findBlk)(void *readData, const LWBlockIdent *);
  void (*endBlk)(void *readData);
  int (*depth)(void *readData);
} LWLoadState;

typedef struct st_LWSaveState {
  int ioMode;
  void *writeData;
  /* In ASCII mode, write puts out one line. */
  void (*write)(void *writeData, const char *, int);
  void (*writeI1)(void *writeData, const char *, int);
  void (*writeI2)(void *writeData, const short *, int);
  void (*writeI4)(void *writeData, const int *, int);
  void (*writeU1)(void *writeData, const unsigned char *, int);
  void (*writeU2)(void *writeData, const unsigned short *, int);
  void (*writeU4)(void *writeData, const unsigned int *, int);
  void (*writeFP)(void *writeData, const float *, int);
  void (*writeStr)(void *writeData, const char *);
  void (*beginBlk)(void *writeData, const LWBlockIdent *, int leaf);
  void (*endBlk)(void *writeData);
  int (*depth)(void *writeData);
} LWSaveState;

#endif
