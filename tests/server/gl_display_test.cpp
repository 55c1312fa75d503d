#include "fixture.h"

namespace zol::test {

namespace {

constexpr uint8_t kGetGLDisplay = 1;
constexpr uint8_t kBadLength = 16;

class GLDisplay : public BothByteOrders {
protected:
  Response ask(const tools::DisplayServer& server) {
    XClient client(server.name(), GetParam());
    const Response reply =
        client.ask(client.request(client.extension("ZOL-V1"), kGetGLDisplay).finish());
    EXPECT_EQ(reply.get8(0), 1);
    EXPECT_EQ(reply.get16(2), client.sequence());
    return reply;
  }
};

INSTANTIATE_TEST_SUITE_P(, GLDisplay, byteOrders(), byteOrderName);

TEST_P(GLDisplay, NamesOfEveryLengthArePaddedWithZeros) {
  for (size_t length : {1, 2, 3, 4, 5, 6, 7, 8, 31, 32, 33, 255}) {
    std::string name = ":0.0 and a long tail of a name";
    name.resize(length, '#');
    const Response reply = ask(*startXzol({"--gl-display", name}));
    EXPECT_EQ(reply.get8(1), 1);
    EXPECT_EQ(reply.get32(4), (length + 3) / 4);
    EXPECT_EQ(reply.get32(8), length);
    for (size_t offset = 12; offset < 32; ++offset)
      EXPECT_EQ(reply.get8(offset), 0);
    std::vector<uint8_t> expected(name.begin(), name.end());
    expected.resize((length + 3) / 4 * 4);
    EXPECT_EQ(reply.data(), expected);
  }
}

TEST_P(GLDisplay, WithoutANameTheStatusIsZero) {
  for (const std::vector<std::string>& options :
       {std::vector<std::string>{}, std::vector<std::string>{"--gl-display", ""}}) {
    const Response reply = ask(*startXzol(options));
    EXPECT_EQ(reply.bytes().size(), 32U);
    EXPECT_EQ(reply.get8(1), 0);
    EXPECT_EQ(reply.get32(4), 0U);
    EXPECT_EQ(reply.get32(8), 0U);
  }
}

TEST_P(GLDisplay, AWrongLengthIsBadLength) {
  const auto server = startXzol({"--gl-display", ":0.0"});
  XClient client(server->name(), GetParam());
  const uint8_t zol = client.extension("ZOL-V1");
  for (int extra : {1, 2, 100}) {
    Request request = client.request(zol, kGetGLDisplay);
    for (int i = 0; i < extra; ++i)
      request.put32(0);
    const Response reply = client.ask(request.finish());
    ASSERT_TRUE(reply.isError());
    EXPECT_EQ(reply.errorCode(), kBadLength);
    EXPECT_EQ(reply.get16(8), kGetGLDisplay);
  }
}

} // namespace

} // namespace zol::test
