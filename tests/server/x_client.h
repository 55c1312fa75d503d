#pragma once

#include "tools/unique_fd.h"

#include <cstdint>
#include <string>
#include <vector>

namespace zol::test {

enum class ByteOrder : uint8_t { little = 'l', big = 'B' };

// The bytes of a request, in a client's byte order.
class Request {
public:
  Request(ByteOrder order, uint8_t major, uint8_t data)
      : order_(order), bytes_{major, data, 0, 0} {}

  Request& put8(uint8_t value);
  Request& put16(uint16_t value);
  Request& put32(uint32_t value);
  Request& putText(const std::string& text); // padded to a multiple of 4

  // The bytes with the length field set to their number, or to `length` 4-byte units.
  std::vector<uint8_t> finish() const;
  std::vector<uint8_t> finish(uint16_t length) const;

private:
  ByteOrder order_;
  std::vector<uint8_t> bytes_;
};

// What the server sends back: 32 bytes and, for a reply, the data that follows.
class Response {
public:
  Response(ByteOrder order, std::vector<uint8_t> bytes) : order_(order), bytes_(std::move(bytes)) {}

  bool isError() const { return get8(0) == 0; }
  uint8_t errorCode() const { return get8(1); }
  uint8_t get8(size_t offset) const { return bytes_.at(offset); }
  uint16_t get16(size_t offset) const;
  uint32_t get32(size_t offset) const;
  const std::vector<uint8_t>& bytes() const { return bytes_; }
  std::vector<uint8_t> data() const { return {bytes_.begin() + 32, bytes_.end()}; }

private:
  ByteOrder order_;
  std::vector<uint8_t> bytes_;
};

// An X client that speaks the wire itself, in the byte order it likes. Throws std::runtime_error
// when the connection fails.
class XClient {
public:
  XClient(const std::string& display, ByteOrder order);

  ByteOrder order() const { return order_; }
  uint32_t root() const { return root_; }
  uint32_t rootVisual() const { return rootVisual_; }
  uint32_t visualOfDepth(uint8_t depth) const; // 0 when there is none
  uint32_t newId() { return idBase_ | nextId_++; }
  uint16_t sequence() const { return sequence_; } // of the request sent last

  Request request(uint8_t major, uint8_t data = 0) const { return {order_, major, data}; }
  void send(const std::vector<uint8_t>& bytes);
  // Sends, and waits for what comes back; events are dropped.
  Response ask(const std::vector<uint8_t>& bytes);
  Response receive();
  void sync();                                     // waits until the server has served all requests
  void sendRaw(const std::vector<uint8_t>& bytes); // does not count as a request

  // 0 when the server does not have it.
  uint8_t extension(const std::string& name);

  struct Place {
    int16_t x;
    int16_t y;
    uint16_t width;
    uint16_t height;
    uint16_t border = 0;
  };
  uint32_t createWindow(uint32_t parent, const Place& place, uint8_t depth = 0, uint32_t visual = 0,
                        bool inputOnly = false);
  uint32_t createPixmap(uint16_t width, uint16_t height);
  void map(uint32_t window);
  void unmap(uint32_t window);
  void destroy(uint32_t window);

private:
  void setUp();
  std::vector<uint8_t> read(size_t size);

  ByteOrder order_;
  tools::UniqueFd socket_;
  std::vector<uint8_t> setup_;
  uint32_t idBase_ = 0;
  uint32_t nextId_ = 1;
  uint32_t root_ = 0;
  uint32_t rootVisual_ = 0;
  size_t depthsAt_ = 0;
  uint16_t sequence_ = 0;
};

} // namespace zol::test
