#include "fixture.h"

namespace zol::test {

namespace {

constexpr uint8_t kGetWindowInfo = 0;
constexpr uint8_t kBadRequest = 1;
constexpr uint8_t kBadLength = 16;

class WindowInfo : public BothByteOrders {
protected:
  std::vector<uint8_t> question(uint32_t window) {
    return client.request(zol, kGetWindowInfo).put32(window).put32(0).finish();
  }
  Response ask(uint32_t window) { return client.ask(question(window)); }

  // Status 0 and nothing else.
  void expectNothing(const Response& reply) {
    ASSERT_FALSE(reply.isError());
    std::vector<uint8_t> expected(32);
    expected[0] = 1;
    expected[2] = reply.get8(2);
    expected[3] = reply.get8(3);
    EXPECT_EQ(reply.bytes(), expected);
    EXPECT_EQ(reply.get16(2), client.sequence());
  }

  std::unique_ptr<tools::DisplayServer> server = startXzol();
  XClient client{server->name(), GetParam()};
  uint8_t zol = client.extension("ZOL-V1");
};

INSTANTIATE_TEST_SUITE_P(, WindowInfo, byteOrders(), byteOrderName);

TEST_P(WindowInfo, EveryFieldOfAMappedWindowIsWhereItBelongs) {
  const uint32_t window = client.createWindow(client.root(), {-70, 40, 300, 1025, 3});
  client.map(window);
  const Response reply = ask(window);
  ASSERT_EQ(reply.bytes().size(), 32U);
  EXPECT_EQ(reply.get8(0), 1);
  EXPECT_EQ(reply.get8(1), 1);
  EXPECT_EQ(reply.get16(2), client.sequence());
  EXPECT_EQ(reply.get32(4), 0U);
  EXPECT_EQ(static_cast<int32_t>(reply.get32(8)), -70);
  EXPECT_EQ(static_cast<int32_t>(reply.get32(12)), 40);
  EXPECT_EQ(reply.get32(16), 300U);
  EXPECT_EQ(reply.get32(20), 1025U);
  EXPECT_EQ(reply.get32(24), client.rootVisual());
  EXPECT_EQ(reply.get8(28), 1);
  EXPECT_EQ(std::vector<uint8_t>(reply.bytes().begin() + 29, reply.bytes().end()),
            std::vector<uint8_t>(3));
}

TEST_P(WindowInfo, TheRootWindowIsTheScreen) {
  const Response reply = ask(client.root());
  EXPECT_EQ(reply.get8(1), 1);
  EXPECT_EQ(reply.get32(8), 0U);
  EXPECT_EQ(reply.get32(12), 0U);
  EXPECT_EQ(reply.get32(16), 1280U);
  EXPECT_EQ(reply.get32(20), 1024U);
  EXPECT_EQ(reply.get8(28), 1);
}

TEST_P(WindowInfo, ThePositionIsRelativeToTheParent) {
  const uint32_t parent = client.createWindow(client.root(), {100, 200, 400, 300, 5});
  const uint32_t child = client.createWindow(parent, {7, -9, 50, 60, 2});
  const Response reply = ask(child);
  EXPECT_EQ(static_cast<int32_t>(reply.get32(8)), 7);
  EXPECT_EQ(static_cast<int32_t>(reply.get32(12)), -9);
  EXPECT_EQ(reply.get32(16), 50U);
  EXPECT_EQ(reply.get32(20), 60U);
}

TEST_P(WindowInfo, TheVisualIsTheWindowsOwn) {
  const uint32_t visual = client.visualOfDepth(32);
  ASSERT_NE(visual, 0U);
  const uint32_t window = client.createWindow(client.root(), {0, 0, 10, 10}, 32, visual);
  EXPECT_EQ(ask(window).get32(24), visual);
}

TEST_P(WindowInfo, AnUnmappedWindowIsNotVisible) {
  const uint32_t window = client.createWindow(client.root(), {0, 0, 10, 10});
  EXPECT_EQ(ask(window).get8(28), 0);
  client.map(window);
  EXPECT_EQ(ask(window).get8(28), 1);
  client.unmap(window);
  const Response reply = ask(window);
  EXPECT_EQ(reply.get8(1), 1);
  EXPECT_EQ(reply.get8(28), 0);
}

TEST_P(WindowInfo, AMappedChildOfAnUnmappedWindowIsNotVisible) {
  const uint32_t parent = client.createWindow(client.root(), {0, 0, 100, 100});
  const uint32_t child = client.createWindow(parent, {0, 0, 10, 10});
  client.map(child);
  EXPECT_EQ(ask(child).get8(28), 0);
  client.map(parent);
  EXPECT_EQ(ask(child).get8(28), 1);
}

TEST_P(WindowInfo, AnInputOnlyWindowIsDescribedToo) {
  const uint32_t window =
      client.createWindow(client.root(), {1, 2, 30, 40}, 0, client.rootVisual(), true);
  const Response reply = ask(window);
  EXPECT_EQ(reply.get8(1), 1);
  EXPECT_EQ(reply.get32(16), 30U);
  EXPECT_EQ(reply.get32(20), 40U);
}

TEST_P(WindowInfo, AnotherClientsWindowMayBeLookedAt) {
  XClient other(server->name(), ByteOrder::little);
  const uint32_t window = other.createWindow(other.root(), {5, 6, 70, 80});
  const Response reply = ask(window);
  EXPECT_EQ(reply.get8(1), 1);
  EXPECT_EQ(reply.get32(16), 70U);
}

TEST_P(WindowInfo, ADestroyedWindowGivesStatusZero) {
  const uint32_t window = client.createWindow(client.root(), {5, 6, 70, 80});
  client.destroy(window);
  expectNothing(ask(window));
}

TEST_P(WindowInfo, AnIdThatIsNoWindowGivesStatusZero) {
  expectNothing(ask(client.createPixmap(10, 10)));
  expectNothing(ask(0));
  expectNothing(ask(client.newId()));
  expectNothing(ask(0xffffffff));
}

TEST_P(WindowInfo, TheLastFieldOfTheRequestIsIgnored) {
  const std::vector<uint8_t> request =
      client.request(zol, kGetWindowInfo).put32(client.root()).put32(0xdeadbeef).finish();
  EXPECT_EQ(client.ask(request).get8(1), 1);
}

TEST_P(WindowInfo, AWrongLengthIsBadLength) {
  for (uint16_t units : {1, 2, 4, 5, 1000}) {
    Request request = client.request(zol, kGetWindowInfo);
    for (uint16_t i = 1; i < units; ++i)
      request.put32(client.root());
    const Response reply = client.ask(request.finish());
    ASSERT_TRUE(reply.isError()) << units;
    EXPECT_EQ(reply.errorCode(), kBadLength) << units;
    EXPECT_EQ(reply.get16(2), client.sequence());
    EXPECT_EQ(reply.get16(8), kGetWindowInfo);
    EXPECT_EQ(reply.get8(10), zol);
  }
}

TEST_P(WindowInfo, AnUnknownMinorOpcodeIsBadRequest) {
  for (int minor = 2; minor < 256; ++minor) {
    const Response reply =
        client.ask(client.request(zol, static_cast<uint8_t>(minor)).put32(1).put32(2).finish());
    ASSERT_TRUE(reply.isError()) << minor;
    EXPECT_EQ(reply.errorCode(), kBadRequest) << minor;
    EXPECT_EQ(reply.get16(8), minor);
    EXPECT_EQ(reply.get8(10), zol);
  }
}

TEST_P(WindowInfo, ABigRequestIsMeasuredWithoutItsExtraLength) {
  const uint8_t bigRequests = client.extension("BIG-REQUESTS");
  ASSERT_FALSE(client.ask(client.request(bigRequests, 0).finish()).isError());
  // The length field is 0 and a 32-bit one follows it.
  const auto big = [&](uint32_t units) {
    Request request = client.request(zol, kGetWindowInfo);
    request.put32(units + 1).put32(client.root());
    for (uint32_t i = 2; i < units; ++i)
      request.put32(0);
    return request.finish(0);
  };
  EXPECT_EQ(client.ask(big(3)).get8(1), 1);
  const Response reply = client.ask(big(70000));
  ASSERT_TRUE(reply.isError());
  EXPECT_EQ(reply.errorCode(), kBadLength);
}

TEST_P(WindowInfo, ManyQuestionsAreAnsweredInOrder) {
  const uint32_t window = client.createWindow(client.root(), {0, 0, 11, 12});
  constexpr int count = 1000;
  for (int i = 0; i < count; ++i)
    client.send(question(i % 2 ? window : client.root()));
  for (int i = 0; i < count; ++i)
    EXPECT_EQ(client.receive().get32(16), i % 2 ? 11U : 1280U);
}

TEST_P(WindowInfo, AClientThatLeavesInTheMiddleOfARequestHarmsNobody) {
  {
    XClient rude(server->name(), GetParam());
    std::vector<uint8_t> half = question(rude.root());
    half.resize(6);
    rude.sendRaw(half);
  }
  EXPECT_EQ(ask(client.root()).get8(1), 1);
}

} // namespace

} // namespace zol::test
