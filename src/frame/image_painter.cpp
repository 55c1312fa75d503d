#include "frame/image_painter.h"

#include "foundation/conf_settings.h"
#include "foundation/immortal.h"
#include "foundation/log.h"
#include "foundation/mutex.h"
#include "frame/frame_size.h"
#include "visual/x_memory.h"

#include <X11/Xutil.h>

#include <atomic>
#include <cstdlib>
#include <sys/ipc.h>
#include <sys/shm.h>

namespace {

// Set by handleXShmError; consulted by the automatic detection only.
std::atomic<bool> shmErrorSeen{false};

class ScopedErrorHandler {
public:
  explicit ScopedErrorHandler(XErrorHandler handler) : previous(XSetErrorHandler(handler)) {}
  ~ScopedErrorHandler() { restore(); }
  ScopedErrorHandler(const ScopedErrorHandler&) = delete;
  ScopedErrorHandler& operator=(const ScopedErrorHandler&) = delete;

  void restore() {
    if (installed) XSetErrorHandler(previous);
    installed = false;
  }

private:
  XErrorHandler previous;
  bool installed = true;
};

// Held while a painter gives up its resources and while their connection is closed.
zol::Mutex* connectionMutex() {
  static zol::Immortal<zol::Mutex> mutex(false);
  return mutex.get();
}
Display* closedConnection = nullptr; // guarded by connectionMutex()

// The segment between its making and its removal from the system's namespace; -1 for none. Only the
// copyback thread makes segments, so there is one at most.
std::atomic<int> unfinishedSegment{-1};

char* const shmatFailed = reinterpret_cast<char*>(-1);

// The X server may run as anyone, so a segment is made for all users; once the server has it, the
// pixels are nobody else's.
void closeToOthers(int segment) {
  shmid_ds state;
  if (shmctl(segment, IPC_STAT, &state) != 0) return;
  state.shm_perm.mode = 0600;
  shmctl(segment, IPC_SET, &state);
}

} // namespace

int handleXShmError(Display* display, XErrorEvent* event) {
  shmErrorSeen = true;
  char text[500] = "";
  XGetErrorText(display, event->error_code, text, sizeof(text));
  ZOLGL_DEBUG("X error detected with code %u: %s", event->error_code, text);
  return 0;
}

namespace zol::gl {

XImagePainter::XImagePainter(XID appDrawable) : drawable(appDrawable) {}

XImagePainter::~XImagePainter() {
  if (!display) return;
  const MutexLock lock(connectionMutex());
  const bool open = display != closedConnection;
  if (!open) segmentAttached = false; // the server has let go of it
  const bool painted = image != nullptr;
  releaseImage();
  if (!open) return;
  if (gc) XFreeGC(display, gc);
  if (painted) XSync(display, True);
}

void closePaintingConnection(Display* connection) {
  const MutexLock lock(connectionMutex());
  closedConnection = connection;
  XCloseDisplay(connection);
}

void abandonPaintingConnection(Display* connection) {
  const MutexLock lock(connectionMutex());
  closedConnection = connection;
}

void removeUnfinishedSegment() {
  if (const int segment = unfinishedSegment.exchange(-1); segment != -1)
    shmctl(segment, IPC_RMID, nullptr);
}

bool XImagePainter::setup(Display* appDisplay, VisualID visual, int width, int height) {
  visualId = visual;
  display = appDisplay;
  ZOLGL_DEBUG("START");
  shmErrorSeen = false;

  switch (zol::conf::settings().copybackStrategy) {
  case 0:
    if (autoDetectPending) {
      autoDetectPending = false;
      // Only here: every other setup runs with the program's own handler.
      ScopedErrorHandler errorHandler(handleXShmError);
      useShm = XShmQueryExtension(display);
      ZOLGL_DEBUG("Now performing auto detect - X extension for shared memory available: %s",
                  useShm ? "true" : "false");
      if (useShm) {
        ZOLGL_DEBUG("Shared memory extension seems available, continuing checks..");
        if (setupXImagePainterInternal(true, display, visualId, width, height) && !shmErrorSeen) {
          ZOLGL_DEBUG("Setup with shmem SUCCEEDED");
          errorHandler.restore();
          ZOLGL_DEBUG("DONE");
          return true;
        }
        ZOLGL_DEBUG("Shared memory setup failed, falling back to non-shared");
        useShm = false;
        shmErrorSeen = false;
        const bool done = setupXImagePainterInternal(false, display, visualId, width, height);
        errorHandler.restore();
        if (shmErrorSeen) {
          ZOLGL_ERROR("Could not setup XImagePainter - shared and non-shared memory failure");
          return false;
        }
        ZOLGL_DEBUG("Setup without shmem returned %s", done ? "SUCCESS" : "FAILURE");
        ZOLGL_DEBUG("DONE");
        return done;
      }
      ZOLGL_DEBUG("Shared memory extension is not available, forcing non-shared memory");
    }
    break;
  case 2:
    ZOLGL_DEBUG("Forcing usage of non-shared memory");
    useShm = false;
    break;
  default:
    ZOLGL_DEBUG("Forcing usage of shared memory");
    useShm = true;
  }

  ZOLGL_DEBUG("Setting up XImagePainter %s shared memory", useShm ? "with" : "without");
  const bool done = setupXImagePainterInternal(useShm, display, visualId, width, height);
  ZOLGL_DEBUG("DONE");
  return done;
}

bool XImagePainter::setupXImagePainterInternal(bool shm, Display* appDisplay, VisualID visual,
                                               int width, int height) {
  const char* const origin = __PRETTY_FUNCTION__;
  if (shm)
    ZOLGL_DEBUG("Trying to setup shared memory for image painter");
  else
    ZOLGL_DEBUG("Trying to setup image painter with low performance non-shared memory");

  if (image) {
    if (image->width == width && image->height == height) return true;
    ZOLGL_DEBUG("freeing old image");
    releaseImage();
  }
  if (!gc && !(gc = XCreateGC(appDisplay, drawable, 0, nullptr))) {
    ZOLGL_DEBUG("XCreateGC failed");
    return false;
  }
  if (shm) shmInfo.shmid = -1;

  XVisualInfo wanted = {};
  wanted.visualid = visual;
  int count = 0;
  XMemory<XVisualInfo> info(XGetVisualInfo(appDisplay, VisualIDMask, &wanted, &count));
  if (info) {
    // The messages say "&d" where a number was meant; log readers know them so.
    if (count > 1)
      ZOLGL_WARNING("XGetVisualInfo returns multiple XVisualInfo: &d, taking the first one");
    if (info->depth < 24) {
      ZOLGL_ERROR("Could not create XImage, XVisualInfo color depth is less than 24 bit: &d");
      ZOLGL_ERROR("Could not create XImage with at least 24 bit of color depth");
      return false;
    }
    if (!(shm ? makeSharedImage(origin, *info, width, height)
              : makePlainImage(origin, *info, width, height)))
      return false;
    info.reset();
  }
  if (shm) return attachSegment(origin, width, height);

  // True without an image too, when the visual is unknown or Xlib made none; see getBuffer().
  XSync(appDisplay, False);
  return true;
}

// Makes an image without pixels and its segment. False only when the server's pixels are not of 32
// bits; without a segment shmInfo.shmid stays -1.
bool XImagePainter::makeSharedImage(const char* origin, const XVisualInfo& info, int width,
                                    int height) {
  image =
      XShmCreateImage(display, info.visual, info.depth, ZPixmap, nullptr, &shmInfo, width, height);
  if (!image) return true;
  ZOLGL_LOG_AS(origin, DEBUG, "size: %d x %d, depth: %d, bytes per line: %d", image->width,
               image->height, info.depth, image->bytes_per_line);
  if (!holdsFrame(origin)) return false;
  shmInfo.shmid =
      shmget(IPC_PRIVATE, size_t(image->bytes_per_line) * image->height, IPC_CREAT | 0777);
  unfinishedSegment = shmInfo.shmid;
  return true;
}

// False when there is no memory for the pixels or the server's pixels are not of 32 bits; true
// without an image when Xlib makes none.
bool XImagePainter::makePlainImage(const char* origin, const XVisualInfo& info, int width,
                                   int height) {
  auto* const data = static_cast<char*>(std::malloc(frameBytes(width, height)));
  if (!data) {
    ZOLGL_LOG_AS(origin, ERROR, "Could not allocate data for XImage");
    return false;
  }
  image = XCreateImage(display, info.visual, info.depth, ZPixmap, 0, data, width, height, 8, 0);
  if (!image) {
    std::free(data);
    return true;
  }
  XInitImage(image); // NOLINT(clang-analyzer-unix.Malloc): the data are the image's now
  ZOLGL_LOG_AS(origin, DEBUG, "size: %d x %d, depth: %d, bytes per line: %d", image->width,
               image->height, info.depth, image->bytes_per_line);
  return holdsFrame(origin);
}

// A frame is copied into the image in one piece, so its rows must be exactly those of the frame.
// Otherwise the image is given up.
bool XImagePainter::holdsFrame(const char* origin) {
  if (image->bits_per_pixel == 8 * bytesPerPixel &&
      image->bytes_per_line == image->width * bytesPerPixel)
    return true;
  ZOLGL_LOG_AS(origin, ERROR, "Could not create XImage with 32 bits per pixel");
  releaseImage();
  return false;
}

// Gives the image the segment's memory, hands the segment to the server and tries it once.
bool XImagePainter::attachSegment(const char* origin, int width, int height) {
  if (shmInfo.shmid == -1) {
    ZOLGL_LOG_AS(origin, ERROR, "unable to create shared memory segment");
    releaseImage();
    return false;
  }

  shmInfo.shmaddr = static_cast<char*>(shmat(shmInfo.shmid, nullptr, 0));
  bool attached = false;
  if (shmInfo.shmaddr != shmatFailed) {
    image->data = shmInfo.shmaddr;
    XSync(display, False);
    attached = XShmAttach(display, &shmInfo);
  }
  if (!attached) {
    ZOLGL_LOG_AS(origin, ERROR, "unable to attach shared memory segment");
    shmdt(shmInfo.shmaddr);
    removeUnfinishedSegment();
    releaseImage();
    return false;
  }

  XSync(display, False);
  segmentAttached = !shmErrorSeen; // a refusal arrives as an X error
  closeToOthers(shmInfo.shmid);
  removeUnfinishedSegment();
  if (!XShmPutImage(display, drawable, gc, image, 0, 0, 0, 0, width, height, False)) {
    ZOLGL_LOG_AS(origin, ERROR, "unable to put image on shared memory segment");
    shmdt(shmInfo.shmaddr);
    releaseImage();
    return false;
  }
  segmentMapped = true;
  XSync(display, False);
  return true;
}

// What the image was made with counts here, not `useShm`: after a failed detection the image of the
// shared attempt goes on being painted without MIT-SHM.
void XImagePainter::releaseImage() {
  if (segmentMapped) {
    if (segmentAttached) XShmDetach(display, &shmInfo);
    shmdt(shmInfo.shmaddr);
  }
  segmentMapped = segmentAttached = false;
  if (image) XDestroyImage(image);
  image = nullptr;
}

void XImagePainter::draw(Display* appDisplay, int width, int height) {
  if (!getBuffer()) return;
  ZOLGL_DEBUG("XPutting image on %lx, size %d %d", drawable, width, height);
  if (useShm)
    XShmPutImage(appDisplay, drawable, gc, image, 0, 0, 0, 0, width, height, False);
  else
    XPutImage(appDisplay, drawable, gc, image, 0, 0, 0, 0, width, height);
  XFlush(appDisplay);
}

} // namespace zol::gl
