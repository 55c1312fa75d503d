#pragma once

#include <X11/Xlib.h>
#include <X11/Xutil.h>
// After Xlib.h, which it does not include.
#include <X11/extensions/XShm.h>

namespace zol::gl {

// Paints frames of 32-bit pixels into one application drawable, through MIT-SHM or plain transfer.
// Owns the image, its pixels and, with MIT-SHM, the segment.
//
// Thread safety: none; the readback object's mutex is held around every call. All calls use the
// same connection. The painter may end on any thread, and after its connection was closed.
class XImagePainter {
public:
  explicit XImagePainter(XID drawable);
  virtual ~XImagePainter();
  XImagePainter(const XImagePainter&) = delete;
  XImagePainter& operator=(const XImagePainter&) = delete;

  // Makes sure that an image of exactly this size exists; false when none could be made. True does
  // not promise an image: see getBuffer().
  bool setup(Display* display, VisualID visualId, int width, int height);

  // Where the caller writes width * height * 4 bytes, top row first. Null when there is no image
  // and so nothing to paint.
  char* getBuffer() const { return image ? image->data : nullptr; }

  // Paints the image at (0, 0) of the drawable. Does nothing without an image.
  void draw(Display* display, int width, int height);

private:
  bool setupXImagePainterInternal(bool useShm, Display* display, VisualID visualId, int width,
                                  int height);
  bool makeSharedImage(const char* origin, const XVisualInfo& info, int width, int height);
  bool makePlainImage(const char* origin, const XVisualInfo& info, int width, int height);
  bool holdsFrame(const char* origin);
  bool attachSegment(const char* origin, int width, int height);
  void releaseImage();

  XID drawable;
  VisualID visualId = 0;
  GC gc = nullptr;
  XImage* image = nullptr;
  XShmSegmentInfo shmInfo = {0, -1, nullptr, False};
  Display* display = nullptr;
  bool useShm = true;
  bool autoDetectPending = true;
  bool segmentMapped = false;   // `image` lies in the segment at shmInfo.shmaddr
  bool segmentAttached = false; // and the server has it too
};

// Closes the connection that painters paint on. They may end later, and on other threads.
void closePaintingConnection(Display* display);
// The same for one whose server is gone: Xlib would end the program.
void abandonPaintingConnection(Display* display);

// Removes a segment that was made but not handed over to the X server yet. For the end of the
// process, which may come in the middle of that: the kernel would keep it.
void removeUnfinishedSegment();

} // namespace zol::gl

// The X error handler of the one-time detection of MIT-SHM; process-wide like every X error
// handler.
int handleXShmError(Display* display, XErrorEvent* event);
