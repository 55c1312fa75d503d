#pragma once

#include <X11/Xlib.h>

#include <cstdint>
#include <memory>
#include <string>

namespace zol::fuzz {

// The smallest X server that Xlib connects to, in a thread of this process: one screen with one
// visual of depth 24, and no extension but "ZOL-V1", if that. Its connections are served one after
// the other, or beside each other when nothing is asked of the extension.
class XServer {
public:
  static constexpr int kExtensionOpcode = 200;

  explicit XServer(bool announcesExtension);
  ~XServer();
  XServer(const XServer&) = delete;
  XServer& operator=(const XServer&) = delete;

  // What XOpenDisplay takes.
  const std::string& name() const;

  // The first request of the extension on this connection is answered with the given bytes, as they
  // are but for their sequence number; then the server closes it if it is to hang up. A broken
  // connection does not end the process; a server that does not answer does.
  Display* connect(const std::string& answer, bool hangUp);

private:
  struct Private;
  std::unique_ptr<Private> d;
};

} // namespace zol::fuzz
