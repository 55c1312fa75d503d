#include "x_client.h"

#include <X11/Xproto.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>

namespace zol::test {

namespace {

size_t padded(size_t size) {
  return (size + 3) / 4 * 4;
}

template <typename T>
void append(std::vector<uint8_t>& bytes, ByteOrder order, T value) {
  for (size_t i = 0; i < sizeof value; ++i) {
    const size_t place = order == ByteOrder::little ? i : sizeof value - 1 - i;
    bytes.push_back(static_cast<uint8_t>(value >> (8 * place)));
  }
}

template <typename T>
T extract(const std::vector<uint8_t>& bytes, ByteOrder order, size_t offset) {
  T value = 0;
  for (size_t i = 0; i < sizeof value; ++i) {
    const size_t place = order == ByteOrder::little ? sizeof value - 1 - i : i;
    value = static_cast<T>(value << 8 | bytes.at(offset + place));
  }
  return value;
}

} // namespace

Request& Request::put8(uint8_t value) {
  bytes_.push_back(value);
  return *this;
}

Request& Request::put16(uint16_t value) {
  append(bytes_, order_, value);
  return *this;
}

Request& Request::put32(uint32_t value) {
  append(bytes_, order_, value);
  return *this;
}

Request& Request::putText(const std::string& text) {
  bytes_.insert(bytes_.end(), text.begin(), text.end());
  bytes_.resize(padded(bytes_.size()));
  return *this;
}

std::vector<uint8_t> Request::finish() const {
  return finish(static_cast<uint16_t>(bytes_.size() / 4));
}

std::vector<uint8_t> Request::finish(uint16_t length) const {
  std::vector<uint8_t> field;
  append(field, order_, length);
  std::vector<uint8_t> bytes = bytes_;
  bytes[2] = field[0];
  bytes[3] = field[1];
  return bytes;
}

uint16_t Response::get16(size_t offset) const {
  return extract<uint16_t>(bytes_, order_, offset);
}
uint32_t Response::get32(size_t offset) const {
  return extract<uint32_t>(bytes_, order_, offset);
}

XClient::XClient(const std::string& display, ByteOrder order) : order_(order) {
  // The abstract name comes first, as in the X libraries: a server that ends may take the file of
  // its successor with it.
  const std::string path = "/tmp/.X11-unix/X" + display.substr(1);
  for (const std::string& name : {std::string(1, '\0') + path, path}) {
    socket_ = tools::UniqueFd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    name.copy(address.sun_path, sizeof address.sun_path - 1);
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    if (connect(socket_.get(), reinterpret_cast<sockaddr*>(&address), size) == 0) {
      setUp();
      return;
    }
  }
  throw std::runtime_error("cannot connect to " + path + ": " + strerror(errno));
}

void XClient::setUp() {
  std::vector<uint8_t> hello = {static_cast<uint8_t>(order_), 0};
  for (uint16_t field : {11, 0, 0, 0, 0})
    append<uint16_t>(hello, order_, field);
  sendRaw(hello);
  const std::vector<uint8_t> prefix = read(8);
  setup_ = read(size_t{4} * extract<uint16_t>(prefix, order_, 6));
  if (prefix[0] != 1) {
    throw std::runtime_error("refused: " + std::string(setup_.begin(), setup_.end()));
  }
  idBase_ = extract<uint32_t>(setup_, order_, 4);
  const size_t vendor = extract<uint16_t>(setup_, order_, 16);
  const size_t formats = setup_.at(21);
  const size_t screen = 32 + padded(vendor) + 8 * formats;
  root_ = extract<uint32_t>(setup_, order_, screen);
  rootVisual_ = extract<uint32_t>(setup_, order_, screen + 32);
  depthsAt_ = screen + 40;
}

uint32_t XClient::visualOfDepth(uint8_t depth) const {
  for (size_t at = depthsAt_; at + 8 <= setup_.size();) {
    const size_t visuals = extract<uint16_t>(setup_, order_, at + 2);
    if (setup_[at] == depth && visuals > 0) return extract<uint32_t>(setup_, order_, at + 8);
    at += 8 + 24 * visuals;
  }
  return 0;
}

void XClient::sendRaw(const std::vector<uint8_t>& bytes) {
  if (::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) !=
      static_cast<ssize_t>(bytes.size())) {
    throw std::runtime_error("the server hung up");
  }
}

void XClient::send(const std::vector<uint8_t>& bytes) {
  sendRaw(bytes);
  ++sequence_;
}

std::vector<uint8_t> XClient::read(size_t size) {
  std::vector<uint8_t> bytes(size);
  if (size > 0 &&
      recv(socket_.get(), bytes.data(), size, MSG_WAITALL) != static_cast<ssize_t>(size)) {
    throw std::runtime_error("the server hung up");
  }
  return bytes;
}

Response XClient::receive() {
  for (;;) {
    std::vector<uint8_t> bytes = read(32);
    if (bytes[0] > 1) continue; // an event
    if (bytes[0] == 1) {
      const std::vector<uint8_t> data = read(size_t{4} * extract<uint32_t>(bytes, order_, 4));
      bytes.insert(bytes.end(), data.begin(), data.end());
    }
    return {order_, bytes};
  }
}

Response XClient::ask(const std::vector<uint8_t>& bytes) {
  send(bytes);
  return receive();
}

void XClient::sync() {
  if (ask(request(X_GetInputFocus).finish()).isError()) throw std::runtime_error("an X error");
}

uint8_t XClient::extension(const std::string& name) {
  const Response reply = ask(request(X_QueryExtension)
                                 .put16(static_cast<uint16_t>(name.size()))
                                 .put16(0)
                                 .putText(name)
                                 .finish());
  return reply.get8(8) ? reply.get8(9) : 0;
}

uint32_t XClient::createWindow(uint32_t parent, const Place& place, uint8_t depth, uint32_t visual,
                               bool inputOnly) {
  const uint32_t id = newId();
  constexpr uint32_t borderPixel = 1 << 3;
  constexpr uint32_t colormap = 1 << 13;
  const bool needsColormap = visual != 0 && visual != rootVisual_;
  uint32_t map = 0;
  if (needsColormap) {
    map = newId();
    send(request(X_CreateColormap).put32(map).put32(root_).put32(visual).finish());
  }
  Request create = request(X_CreateWindow, depth);
  create.put32(id).put32(parent);
  create.put16(static_cast<uint16_t>(place.x)).put16(static_cast<uint16_t>(place.y));
  create.put16(place.width).put16(place.height).put16(place.border);
  create.put16(inputOnly ? 2 : 0).put32(visual);
  create.put32(needsColormap ? borderPixel | colormap : 0);
  if (needsColormap) create.put32(0).put32(map);
  send(create.finish());
  sync();
  return id;
}

uint32_t XClient::createPixmap(uint16_t width, uint16_t height) {
  const uint32_t id = newId();
  send(request(X_CreatePixmap, 24).put32(id).put32(root_).put16(width).put16(height).finish());
  sync();
  return id;
}

void XClient::map(uint32_t window) {
  send(request(X_MapWindow).put32(window).finish());
  sync();
}

void XClient::unmap(uint32_t window) {
  send(request(X_UnmapWindow).put32(window).finish());
  sync();
}

void XClient::destroy(uint32_t window) {
  send(request(X_DestroyWindow).put32(window).finish());
  sync();
}

} // namespace zol::test
