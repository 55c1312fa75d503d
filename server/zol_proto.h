#pragma once

// The wire format of the X extension "ZOL-V1". Multi-byte fields are in the client's byte order,
// lengths in 4-byte units. The extension has no events and no errors of its own.

#include <X11/Xmd.h>

#define ZOL_EXTENSION_NAME "ZOL-V1"

enum {
  X_ZolGetWindowInfo = 0,
  X_ZolGetGLDisplay = 1,
};

typedef struct {
  CARD8 reqType;
  CARD8 zolReqType;
  CARD16 length; /* 3 */
  CARD32 window;
  CARD32 pad; /* ignored */
} xZolGetWindowInfoReq;

/* x and y are the outer corner of the window's border relative to its parent's origin, width and
   height are without the border: what GetGeometry says. All fields are 0 when status is. */
typedef struct {
  BYTE type;
  CARD8 status; /* non-zero: the window exists and the client may look at it */
  CARD16 sequenceNumber;
  CARD32 length; /* 0 */
  INT32 x;
  INT32 y;
  CARD32 width;
  CARD32 height;
  CARD32 visualId;
  CARD8 visible; /* 1: the window and all its ancestors are mapped */
  CARD8 pad[3];
} xZolGetWindowInfoReply;

typedef struct {
  CARD8 reqType;
  CARD8 zolReqType;
  CARD16 length; /* 1 */
} xZolGetGLDisplayReq;

/* Followed by the name, not terminated, padded to a multiple of 4. */
typedef struct {
  BYTE type;
  CARD8 status; /* 0: the server has no display name to give */
  CARD16 sequenceNumber;
  CARD32 length;
  CARD32 nameLength; /* in bytes, without the padding */
  CARD32 pad[5];
} xZolGetGLDisplayReply;

#define sz_xZolGetWindowInfoReq 12
#define sz_xZolGetGLDisplayReq 4
#define sz_xZolReply 32
