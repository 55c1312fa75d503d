#include "fuzz/x_server.h"

#include "fuzz/fuzz.h"

#include <X11/Xproto.h>

#include <cerrno>
#include <csignal>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace zol::fuzz {

namespace {

constexpr std::size_t kUnit = 4;

class Peer {
public:
  explicit Peer(int socket) : socket(socket) {}

  bool read(void* buffer, std::size_t size) const {
    auto* at = static_cast<char*>(buffer);
    while (size > 0) {
      const ssize_t count = ::recv(socket, at, size, 0);
      if (count <= 0) return false;
      at += count;
      size -= static_cast<std::size_t>(count);
    }
    return true;
  }

  bool skip(std::size_t size) const {
    std::vector<char> buffer(size);
    return read(buffer.data(), size);
  }

  void write(const void* data, std::size_t size) const {
    const auto* at = static_cast<const char*>(data);
    while (size > 0) {
      const ssize_t count = ::send(socket, at, size, MSG_NOSIGNAL);
      if (count <= 0) return;
      at += count;
      size -= static_cast<std::size_t>(count);
    }
  }

private:
  int socket;
};

std::size_t padded(std::size_t size) {
  return (size + kUnit - 1) / kUnit * kUnit;
}

// One screen with one depth and one visual.
bool greet(const Peer& peer) {
  xConnClientPrefix client{};
  if (!peer.read(&client, sizeof client)) return false;
  if (!peer.skip(padded(client.nbytesAuthProto) + padded(client.nbytesAuthString))) return false;

  struct {
    xConnSetupPrefix prefix;
    xConnSetup setup;
    char vendor[4];
    xPixmapFormat format;
    xWindowRoot root;
    xDepth depth;
    xVisualType visual;
  } greeting{};
  greeting.prefix.success = 1;
  greeting.prefix.majorVersion = X_PROTOCOL;
  greeting.prefix.length = (sizeof greeting - sizeof greeting.prefix) / kUnit;
  greeting.setup.ridBase = 0x200000;
  greeting.setup.ridMask = 0x1fffff;
  greeting.setup.nbytesVendor = sizeof greeting.vendor;
  greeting.setup.maxRequestSize = 0xffff;
  greeting.setup.numRoots = 1;
  greeting.setup.numFormats = 1;
  greeting.setup.minKeyCode = 8;
  greeting.setup.maxKeyCode = 255;
  greeting.format = {24, 32, 32, 0, 0};
  greeting.root.windowId = 0x100;
  greeting.root.defaultColormap = 0x101;
  greeting.root.pixWidth = greeting.root.pixHeight = 100;
  greeting.root.rootVisualID = 0x102;
  greeting.root.rootDepth = 24;
  greeting.root.nDepths = 1;
  greeting.depth = {24, 0, 1, 0};
  greeting.visual.visualID = 0x102;
  greeting.visual.c_class = TrueColor;
  peer.write(&greeting, sizeof greeting);
  return true;
}

// Xlib asks a new server for extensions and for a property of the root window, and waits with a
// question for the focus.
bool wantsReply(int request) {
  return request == X_QueryExtension || request == X_GetProperty || request == X_GetInputFocus;
}

bool asksFor(const char* extension, const std::string& question) {
  return question.find(extension) != std::string::npos;
}

void serve(const Peer& peer, bool announcesExtension, std::string answer, bool hangUp) {
  if (!greet(peer)) return;
  xReq request{};
  for (std::uint16_t sequence = 1; peer.read(&request, sizeof request); ++sequence) {
    std::string body(request.length > 0 ? request.length * kUnit - sizeof request : 0, '\0');
    if (!peer.read(body.data(), body.size())) return;
    if (request.reqType == XServer::kExtensionOpcode) {
      if (answer.size() >= kUnit) std::memcpy(answer.data() + 2, &sequence, sizeof sequence);
      peer.write(answer.data(), answer.size());
      if (hangUp) return;
      continue;
    }
    if (!wantsReply(request.reqType)) continue;
    xQueryExtensionReply reply{};
    reply.type = X_Reply;
    reply.sequenceNumber = sequence;
    if (announcesExtension && request.reqType == X_QueryExtension && asksFor("ZOL-V1", body)) {
      reply.present = 1;
      reply.major_opcode = XServer::kExtensionOpcode;
    }
    peer.write(&reply, sizeof reply);
  }
}

// A thread whose calls no signal interrupts; libFuzzer's alarms are for the thread that it started.
template <class Work>
std::thread undisturbed(const Work& work) {
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, &before);
  std::thread thread(work);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return thread;
}

void surviveBrokenConnection(Display*, void*) {}

} // namespace

struct XServer::Private {
  int listener = -1;
  std::string name;
  bool announcesExtension = false;
  std::string answer; // set, as the next, before a connection is made, read once it is there
  bool hangUp = false;
  std::thread thread;

  void run() const {
    std::vector<std::thread> waiting; // connections that ask nothing of the extension
    for (int socket = 0; (socket = ::accept(listener, nullptr, nullptr)) >= 0;) {
      const auto serveOne = [this, socket] {
        serve(Peer(socket), announcesExtension, answer, hangUp);
        ::close(socket);
      };
      if (announcesExtension)
        waiting.emplace_back(serveOne);
      else
        serveOne();
    }
    for (std::thread& one : waiting)
      one.join();
  }
};

XServer::XServer(bool announcesExtension) : d(std::make_unique<Private>()) {
  d->announcesExtension = announcesExtension;
  d->listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  FUZZ_CHECK(d->listener >= 0);
  // An abstract socket leaves no file behind, and Xlib looks there first.
  for (int number = 1000; d->name.empty(); ++number) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const int length = std::snprintf(address.sun_path + 1, sizeof address.sun_path - 1,
                                     "/tmp/.X11-unix/X%d", number);
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 +
                                             static_cast<std::size_t>(length));
    if (::bind(d->listener, reinterpret_cast<sockaddr*>(&address), size) == 0)
      d->name = ":" + std::to_string(number);
    else
      FUZZ_CHECK(errno == EADDRINUSE);
  }
  FUZZ_CHECK(::listen(d->listener, 1) == 0);
  d->thread = undisturbed([this] { d->run(); });
}

XServer::~XServer() {
  ::shutdown(d->listener, SHUT_RDWR); // ends the accept
  d->thread.join();
  ::close(d->listener);
}

const std::string& XServer::name() const {
  return d->name;
}

Display* XServer::connect(const std::string& answer, bool hangUp) {
  d->answer = answer;
  d->hangUp = hangUp;
  Display* const display = XOpenDisplay(d->name.c_str());
  FUZZ_CHECK(display != nullptr);
  XSetIOErrorExitHandler(display, surviveBrokenConnection, nullptr);
  return display;
}

} // namespace zol::fuzz
