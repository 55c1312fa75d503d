#pragma once

#include "display/pairing.h"
#include "drawable/drawable_ref.h"
#include "drawable/drawable_type.h"
#include "foundation/mutex.h"
#include "vendor/glx_api.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zol {

// Position (relative to the parent) and size of a window, in pixels.
struct IRect {
  int x = 0;
  int y = 0;
  unsigned int width = 0;
  unsigned int height = 0;
};

} // namespace zol

namespace zol::gl {

class LocalVisualInfo;
class ReadbackContext;
class XImagePainter;

// What the library keeps of one drawable that the program uses with GL: the local drawable behind
// it, the window's facts as the application server reports them, and the way of its frames back.
//
// Lifetime: counted (drawable_ref.h). Deletion releases the local objects, whichever thread it
// falls to, on the local display that they were made on; it takes the local display mutex and,
// through _unsetLocalDisplay, the list and map mutexes: never let go of a reference while holding
// one of these. Threads: the members say who may touch them.
class DrawableInfo {
public:
  DrawableInfo(LocalDrawableType drawableType, unsigned long app, GLXFBConfig config,
               Display* appDpy, int x, int y, unsigned int width, unsigned int height);
  virtual ~DrawableInfo();
  DrawableInfo(const DrawableInfo&) = delete;
  DrawableInfo& operator=(const DrawableInfo&) = delete;

  // Whether `connection` leads to the application server that the drawable lives on; true for null.
  bool onServerOf(Display* connection) const;

  // Whether some thread has it current. Ask with one reference of one's own beside the registry's.
  bool isBound() const { return references > 2; }

  VisualID getVisualID();
  void getGeometry(IRect* rect);
  bool isVisible();
  bool isDoubleBuffered() const; // false without a visual mapping
  bool fbconfigChanged(GLXFBConfig config) const { return config != fbconfig; }
  void invalidateFbconfig() { fbconfigInvalidated = true; }
  bool invalidatedFbconfig() const { return fbconfigInvalidated; }
  bool getViewportCheckForResize() const { return viewportCheckForResize; }
  void setViewportCheckForResize(bool check) { viewportCheckForResize = check; }

  // Refreshes geometry, visual and visibility from the application server, in one round trip on the
  // thread's second connection. Each pointer may be null. False when the window does not answer.
  bool updateWindowInfo(bool* resized, bool* moved, bool* visibilityChanged);

  // Follows a window's size: makes the local pbuffer anew when needed, keeping the thread's
  // binding.
  void checkForResize();

  // Makes the local pbuffer anew at the current geometry. Takes the local display mutex.
  void updateOffscreenPbuffer();

  // The frame's way back (defined with the rest of it, in frame/).
  bool setupReadbackContexts(); // leaves the read context current
  void initDummyReadbackPbuffer();
  void readback();                                  // on the thread that rendered the frame
  void copyback(Display* appDpy, XExtCodes* codes); // on the copyback thread
  void incrementFpsCounter(std::uint64_t nowMs);

  // Constant once the record is in the registry.
  const LocalDrawableType type;
  const unsigned long appDrawable; // the program's id; for pixmaps and pbuffers the local one too
  LocalVisualInfo* lvi = nullptr;
  Display* const appDisplay;
  Display* const pairedDisplay; // whose local display the local objects are on
  const std::string appServer; // the display's name less its screen: the display itself may be gone
  Pixmap appPixmap = None;     // LOCAL_PIXMAP: the program's pixmap
  Pixmap localPixmap = None;   // LOCAL_PIXMAP: the X pixmap behind localDrawable; owned
  GLXPbuffer dummyPbuffer = None; // what the copyback context is bound to; owned
  const GLXFBConfig fbconfig;

  // Changed by the threads that render to the drawable.
  std::atomic<GLXDrawable> localDrawable{None}; // what is rendered into; owned
  std::atomic<GLXContext> context{nullptr};     // last made current with this drawable
  GLXContext readContext = nullptr;             // guarded by the local display mutex; owned
  bool readContextPrepared = false;             // likewise
  std::atomic<ReadbackContext*> readbackObject{nullptr}; // read by the copyback thread; owned
  std::vector<ReadbackContext*> retiredReadbacks; // replaced ones, kept until no pass can use them
  std::atomic<std::uint64_t> lastReadbackTime{0}; // milliseconds
  std::uint32_t fpsFrames = 0;                    // since the last report; guarded by readbackMutex
  std::uint64_t fpsLastReport = 0;                // milliseconds; likewise
  std::atomic<bool> skipNextSwap{false};
  std::unique_ptr<XImagePainter> painter; // used under the readback object's mutex

private:
  bool readBackFrame(const char* label);

  friend void retain(DrawableInfo* record);
  friend void release(DrawableInfo* record);

  void recreateBoundPbuffer(Display* local);
  void releaseLocalObjects(Display* local, Display* own);

  // A window keeps its local display open until its record is gone, also from the list on.
  std::optional<LocalDisplayHold> windowHold;

  std::atomic<int> references{0};
  std::atomic<bool> fbconfigInvalidated{false};
  std::atomic<bool> viewportCheckForResize{true};

  Mutex readbackMutex{false}; // one readback at a time; before a readback object's mutex
  Mutex mutex{false};
  VisualID visualID ZOL_GUARDED_BY(mutex) = 0; // 0 until the window has told
  IRect geometry ZOL_GUARDED_BY(mutex);
  bool visible ZOL_GUARDED_BY(mutex) = true; // shown, and of a size
  bool needsPbufferUpdate ZOL_GUARDED_BY(mutex) = true;
};

// A pbuffer of at least 10 by 10 pixels. Hold the local display mutex.
GLXPbuffer createLocalPbuffer(Display* local, int width, int height, GLXFBConfig config);

} // namespace zol::gl
