#pragma once

#include "tools/display_server.h"
#include "x_client.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace zol::test {

// Starts Xzol with the options on a free display; throws std::runtime_error when that fails.
inline std::unique_ptr<tools::DisplayServer> startXzol(std::vector<std::string> options = {}) {
  options.insert(options.begin(), ZOL_XZOL);
  std::string error;
  auto server = tools::DisplayServer::start(std::move(options), &error);
  if (!server) throw std::runtime_error(error);
  return server;
}

// Width and height of the root window, as the server knows them now.
inline std::vector<uint32_t> sizeOfRoot(const std::string& display) {
  XClient client(display, ByteOrder::little);
  const Response reply = client.ask(
      client.request(client.extension("ZOL-V1"), 0).put32(client.root()).put32(0).finish());
  return {reply.get32(16), reply.get32(20)};
}

// Runs in both byte orders.
class BothByteOrders : public testing::TestWithParam<ByteOrder> {};

inline auto byteOrders() {
  return testing::Values(ByteOrder::little, ByteOrder::big);
}

inline std::string byteOrderName(const testing::TestParamInfo<ByteOrder>& info) {
  return info.param == ByteOrder::little ? "LittleEndian" : "BigEndian";
}

} // namespace zol::test
