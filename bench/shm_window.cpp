#include "shm_window.h"

#include <X11/Xutil.h>

#include <cstring>
#include <stdexcept>
#include <sys/ipc.h>
#include <sys/shm.h>

namespace zol::bench {

ShmWindow::ShmWindow(const std::string& displayName, Size size)
    : display_(XOpenDisplay(displayName.c_str())), size_(size) {
  Display* const display = display_.get();
  if (!display) throw std::runtime_error("cannot open the display '" + displayName + "'");
  const int screen = DefaultScreen(display);
  image_ = XShmCreateImage(display, DefaultVisual(display, screen),
                           static_cast<unsigned>(DefaultDepth(display, screen)), ZPixmap, nullptr,
                           &segment_, static_cast<unsigned>(size.width),
                           static_cast<unsigned>(size.height));
  if (!image_ || image_->bytes_per_line != 4 * size.width) {
    throw std::runtime_error("the display '" + displayName + "' has no images of 4 bytes a pixel");
  }
  share(displayName);
  window_ = XCreateSimpleWindow(display, RootWindow(display, screen), 0, 0,
                                static_cast<unsigned>(size.width),
                                static_cast<unsigned>(size.height), 0, 0, 0);
  XMapWindow(display, window_);
  XSync(display, False);
}

ShmWindow::~ShmWindow() {
  shmdt(segment_.shmaddr);
  image_->data = nullptr;
  XDestroyImage(image_);
}

// The segment goes by itself with its last user.
void ShmWindow::share(const std::string& displayName) {
  const size_t bytes = static_cast<size_t>(image_->bytes_per_line) * image_->height;
  segment_.shmid = shmget(IPC_PRIVATE, bytes, IPC_CREAT | 0600);
  segment_.shmaddr = static_cast<char*>(shmat(segment_.shmid, nullptr, 0));
  const bool attached =
      segment_.shmaddr != reinterpret_cast<char*>(-1) && XShmAttach(display_.get(), &segment_);
  XSync(display_.get(), False);
  shmctl(segment_.shmid, IPC_RMID, nullptr);
  if (!attached)
    throw std::runtime_error("no shared memory with the display '" + displayName + "'");
  image_->data = segment_.shmaddr;
}

void ShmWindow::ask() {
  XSync(display_.get(), False);
}

void ShmWindow::copy(const void* pixels) {
  std::memcpy(image_->data, pixels, static_cast<size_t>(image_->bytes_per_line) * image_->height);
}

void ShmWindow::paint() {
  Display* const display = display_.get();
  XShmPutImage(display, window_, DefaultGC(display, DefaultScreen(display)), image_, 0, 0, 0, 0,
               static_cast<unsigned>(size_.width), static_cast<unsigned>(size_.height), False);
  XSync(display, False);
}

} // namespace zol::bench
