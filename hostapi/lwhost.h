/*
 * The host's general services: messages, file and colour requesters, folders, and the
 * words that tell which product, version and application is running.
 */
#ifndef LWHOST_H
#define LWHOST_H

/* "Info Messages": the first text is the message, the second a further line (may be empty
 * or null). The questions take a title and return the button chosen. */
#define LWMESSAGEFUNCS_GLOBAL "Info Messages"

typedef struct st_LWMessageFuncs {
  void (*info)(const char *, const char *);
  void (*error)(const char *, const char *);
  void (*warning)(const char *, const char *);
  int (*okCancel)(const char *title, const char *, const char *);
  int (*yesNo)(const char *title, const char *, const char *);
  int (*yesNoCan)(const char *title, const char *, const char *);
  int (*yesNoAll)(const char *title, const char *, const char *);
} LWMessageFuncs;

/* "File Request": returns 0 when cancelled. */
#define LWFILEREQFUNC_GLOBAL "File Request"
typedef int LWFileReqFunc(const char *hail, char *name, char *path, char *fullName, int buflen);

/* "Color Picker": edits the colour in place; returns 0 when cancelled. */
#define LWCOLORPICKFUNC_GLOBAL "Color Picker"
typedef int LWColorPickFunc(const char *title, float color[3]);

/* "Directory Info": the host's folder for a kind of file, by one of the names below. */
#define LWDIRINFOFUNC_GLOBAL "Directory Info"
typedef const char *LWDirInfoFunc(const char *kind);

#define LWFTYPE_CONTENT "Content"
#define LWFTYPE_IMAGES "Images"
#define LWFTYPE_OBJECTS "Objects"
#define LWFTYPE_SCENES "Scenes"
#define LWFTYPE_SURFACES "Surfaces"
#define LWFTYPE_MOTIONS "Motions"
#define LWFTYPE_ENVELOPES "Envelopes"
#define LWFTYPE_PREVIEWS "Previews"
#define LWFTYPE_SETTINGS "Settings"
#define LWFTYPE_PLUGINS "Plug-ins"
#define LWFTYPE_INSTALL "Install"

/* "Host Display Info": the host's main window, to parent a server's own windows, the
 * display it is on, and the colours of the host's interface, so that a server's panels look
 * like the host's. Under X the display is a Display pointer and the window an X window id
 * (0 when the host has no window of its own). Colours are 0xRRGGBB, in the order below. */
#define LWHOSTDISPLAYINFO_GLOBAL "Host Display Info"

#define LWHOSTCOLOUR_BACKGROUND 0
#define LWHOSTCOLOUR_FACE 1
#define LWHOSTCOLOUR_LIGHT 2
#define LWHOSTCOLOUR_SHADOW 3
#define LWHOSTCOLOUR_DARK 4
#define LWHOSTCOLOUR_TEXT 5
#define LWHOSTCOLOUR_TEXTDISABLED 6
#define LWHOSTCOLOUR_HIGHLIGHT 7
#define LWHOSTCOLOUR_HIGHLIGHTTEXT 8
#define LWHOSTCOLOUR_EDIT 9
#define LWHOSTCOLOUR_INSET 10
#define LWHOSTCOLOUR_COUNT 11

typedef struct st_HostDisplayInfo {
  void *xsys;
  unsigned long window;
  int colourCount;
  const unsigned int *colours;
} HostDisplayInfo;

/* "Product Info": the global's value is the word itself, not a table. */
#define LWPRODUCTINFO_GLOBAL "Product Info"
#define LWINF_PRODUCT 0x0000000Fu
#define LWINF_BUILD 0x0000FFF0u
#define LWINF_MINOR 0x000F0000u
#define LWINF_MAJOR 0x00F00000u
#define LWINF_RESERVED 0xFF000000u
#define LWINF_PRODLWAV 0x00000001u
#define LWINF_PRODINSP3D 0x00000002u
#define LWINF_PRODOTHER 0x00000004u
#define LWINF_GETMAJOR(x) (((x) & LWINF_MAJOR) >> 20)
#define LWINF_GETMINOR(x) (((x) & LWINF_MINOR) >> 16)
#define LWINF_GETBUILD(x) (((x) & LWINF_BUILD) >> 4)

/* "System ID": the application in the top bits, a serial number below. The global's
 * value is the word itself. */
#define LWSYSTEMID_GLOBAL "System ID"
#define LWSYS_TYPEBITS 0xF0000000u
#define LWSYS_SERIALBITS 0x0FFFFFFFu
#define LWSYS_LAYOUT 0x00000000u
#define LWSYS_MODELER 0x10000000u
#define LWSYS_SCREAMERNET 0x20000000u

#endif
