#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

using Display = struct _XDisplay;

// The library's calls to the world outside (libc, Xlib, libXext), seen and steered by the test: a
// program linked with zol_test_rig answers them first and passes them on.
// Thread safety: all functions may be called from any thread.
namespace zol::rig::outside {

// How often a watched function was called in this process, by whomever: gettimeofday, usleep,
// XOpenDisplay, XCloseDisplay, XSync, XSetErrorHandler, XGetVisualInfo, XGetImage, XPutImage,
// XCreateGC, XQueryFont, XLoadQueryFont, XGetAtomName, XShmQueryExtension, XShmAttach,
// XShmPutImage, shmget, shmat, dlopen.
int calls(const std::string& function);
// Run on the calling thread before each call of a watched function. Null removes it.
void setHook(const std::string& function, std::function<void()> hook);

// Arguments of the XOpenDisplay calls, "(null)" for a null name.
std::vector<std::string> openedDisplays();

// From now on none is opened; returns when those that are being opened are. Xlib ends a process
// whose server goes away in between.
void endOpening();

// The displays of the XQueryFont calls.
std::vector<Display*> fontsAskedOn();

// `count` calls of the function fail the way it does, after `first` more have gone well. What is
// called "font properties" here are those of the fonts that XQueryFont finds: then there are none.
void fail(const std::string& function, int count = 1, int first = 0);
// dlopen of this file name fails.
void failLoading(const std::string& fileName);

// From now on gettimeofday tells this time, in milliseconds since 1970, until told otherwise;
// 0: the true time again.
void setTime(std::uint64_t milliseconds);

// Sleeps of the thread that runs the test are not slept but written down; they pass in the time
// that gettimeofday was told.
void recordSleeps();
std::vector<std::uint64_t> sleeps(); // microseconds

// The copyback thread stops before each delivery pass, in its pacing sleep, and goes on when let.
void holdDeliveries();
bool deliveryIsHeld();
std::uint64_t heldSleep(); // the pacing sleep that was begun last, in microseconds
void letOneDeliveryPass();
void letDeliveriesPass();

// Threads other than the one that runs the test stop before they write a log record.
void holdOtherLogs();
void letOtherLogs();

} // namespace zol::rig::outside
