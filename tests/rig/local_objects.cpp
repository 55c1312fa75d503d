#include "rig/local_objects.h"

#include <X11/Xatom.h>

#include <sstream>
#include <unistd.h>

namespace zol::rig {
namespace {

int ignore(Display*, XErrorEvent*) {
  return 0;
}

} // namespace

XID argument(const std::string& call, int index) {
  std::istringstream stream(call.substr(call.find('(') + 1));
  std::string text;
  for (int i = 0; i <= index; ++i)
    std::getline(stream >> std::ws, text, ',');
  return std::stoul(text, nullptr, 0);
}

LocalGeometry localGeometry(Display* local, XID drawable) {
  const auto previous = XSetErrorHandler(ignore);
  LocalGeometry geometry;
  Window root = 0;
  int x = 0, y = 0;
  unsigned border = 0;
  XGetGeometry(local, drawable, &root, &x, &y, &geometry.width, &geometry.height, &border,
               &geometry.depth);
  XSetErrorHandler(previous);
  return geometry;
}

bool localExists(Display* local, XID drawable) {
  return localGeometry(local, drawable).width != 0;
}

void fillLocal(Display* local, XID drawable, unsigned long colour) {
  const LocalGeometry geometry = localGeometry(local, drawable);
  XGCValues values{};
  values.foreground = colour;
  GC const gc = XCreateGC(local, drawable, GCForeground, &values);
  XFillRectangle(local, drawable, gc, 0, 0, geometry.width, geometry.height);
  XFreeGC(local, gc);
  XSync(local, False);
}

std::vector<Window> hiddenWindows(Display* local) {
  Window root = 0, parent = 0;
  Window* children = nullptr;
  unsigned count = 0;
  XQueryTree(local, DefaultRootWindow(local), &root, &parent, &children, &count);
  std::vector<Window> result;
  for (unsigned i = 0; i < count; ++i) {
    if (windowName(local, children[i]).find("(ZOL-GL)") != std::string::npos)
      result.push_back(children[i]);
  }
  if (children != nullptr) XFree(children);
  return result;
}

std::string windowName(Display* local, Window window) {
  char* name = nullptr;
  if (XFetchName(local, window, &name) == 0 || name == nullptr) return "";
  const std::string result(name);
  XFree(name);
  return result;
}

CardinalProperty cardinalProperty(Display* local, Window window, const char* name) {
  Atom type = 0;
  int format = 0;
  CardinalProperty result;
  unsigned long left = 0;
  unsigned char* data = nullptr;
  XGetWindowProperty(local, window, XInternAtom(local, name, False), 0, 8, False, XA_CARDINAL,
                     &type, &format, &result.count, &left, &data);
  if (type != XA_CARDINAL || format != 32) result.count = 0;
  if (result.count > 0) result.value = *reinterpret_cast<unsigned long*>(data);
  if (data != nullptr) XFree(data);
  return result;
}

std::string ownPath() {
  char path[4096];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
  return std::string(path, length > 0 ? static_cast<std::size_t>(length) : 0);
}

} // namespace zol::rig
