#pragma once

#include "drawable/drawable_ref.h"
#include "drawable/drawable_type.h"
#include "foundation/mutex.h"
#include "vendor/glx_api.h"

#include <vector>

namespace zol::gl {
struct TSD;
}

// The process-wide list of drawable records, in the order in which they were made. It holds one
// reference of each.
//
// Lock: the list mutex, taken before a readback object's and the local display mutex. No record is
// deleted under it. A look-up takes another one and waits for nobody who merely reads the list.
zol::Mutex* getLocalDrawablesMutex();
std::vector<zol::gl::DrawableRef>* getLocalDrawablesList();

// The record of a window, made at its first use with GL; also of a pixmap or pbuffer that has one.
// Null when the window is gone, has no visual mapping, or the thread's displays cannot be had.
zol::gl::DrawableRef getDrawableInfo(Display* dpy, Window window, GLXFBConfig fbconfig,
                                     zol::gl::TSD* tsd);

void pushLocalDrawable(const zol::gl::DrawableRef& record);

// The same for a window, unless another thread was quicker: its record is returned then.
zol::gl::DrawableRef pushWindow(zol::gl::DrawableRef record);

// The first record of that id, of whatever kind; null if none.
zol::gl::DrawableRef findLocalDrawable(unsigned long appDrawable);

// Ends the first record of that id and kind; the thread's own bindings to it are cleared. A record
// that another thread has current lives on until that thread lets go of it.
void eraseLocalDrawable(unsigned long appDrawable, zol::gl::LocalDrawableType type);

// Ends the records of windows that are gone or in use with another FBConfig by now.
void clearDeletedDrawables();

// The local display of `appDisplay` is about to be closed: the local drawables of its pixmaps and
// pbuffers end with it and must not be destroyed later, when their ids may be another's.
void forgetLocalDrawablesOf(Display* appDisplay);

// Whether a window of `appDisplay` has a record.
bool anyWindowOn(Display* appDisplay);
