#include "fixture.h"

namespace zol::test {

namespace {

constexpr uint8_t kQueryServerString = 19;
constexpr uint32_t kVendorNames = 0x20F6;

class VendorNames : public BothByteOrders {
protected:
  static std::vector<uint8_t> question(XClient& client, uint32_t screen, uint32_t name) {
    return client.request(client.extension("GLX"), kQueryServerString)
        .put32(screen)
        .put32(name)
        .finish();
  }
  // The whole answer; of an error the part that has a meaning, as the server does not clear the
  // rest.
  static std::vector<uint8_t> meaning(const Response& response) {
    constexpr size_t errorSize = 11;
    std::vector<uint8_t> bytes = response.bytes();
    if (response.isError()) bytes.resize(errorSize);
    return bytes;
  }
  std::vector<uint8_t> ask(const tools::DisplayServer& server, uint32_t screen, uint32_t name) {
    XClient client(server.name(), GetParam());
    return meaning(client.ask(question(client, screen, name)));
  }
};

INSTANTIATE_TEST_SUITE_P(, VendorNames, byteOrders(), byteOrderName);

TEST_P(VendorNames, TheConfiguredNamesAreTheAnswer) {
  for (const std::string names : {"zol mesa", "a", "abc", "zolsoft mesa", "one two three four"}) {
    const auto server = startXzol({"--vendor-names", names});
    XClient client(server->name(), GetParam());
    const Response reply = client.ask(question(client, 0, kVendorNames));
    EXPECT_EQ(reply.get8(0), 1);
    EXPECT_EQ(reply.get16(2), client.sequence());
    EXPECT_EQ(reply.get32(4), (names.size() + 1 + 3) / 4);
    EXPECT_EQ(reply.get32(12), names.size() + 1) << "the terminator counts";
    std::vector<uint8_t> expected(names.begin(), names.end());
    expected.resize((names.size() + 1 + 3) / 4 * 4);
    EXPECT_EQ(reply.data(), expected);
  }
}

TEST_P(VendorNames, TheDefaultIsZolBeforeMesa) {
  const auto server = startXzol();
  XClient client(server->name(), GetParam());
  const std::vector<uint8_t> data = client.ask(question(client, 0, kVendorNames)).data();
  EXPECT_STREQ(reinterpret_cast<const char*>(data.data()), "zol mesa");
}

TEST_P(VendorNames, EverythingElseIsAnsweredByGlxItself) {
  const auto ours = startXzol();
  const auto stock = startXzol({"--vendor-names", ""});
  // Vendor, version, extensions, and a name that does not exist.
  for (uint32_t name : {1U, 2U, 3U, 0x1234U}) {
    EXPECT_EQ(ask(*ours, 0, name), ask(*stock, 0, name)) << name;
  }
  EXPECT_NE(ask(*ours, 0, kVendorNames), ask(*stock, 0, kVendorNames));
}

TEST_P(VendorNames, GlxItselfRefusesAMalformedQuestion) {
  const auto ours = startXzol();
  const auto stock = startXzol({"--vendor-names", ""});
  EXPECT_EQ(ask(*ours, 7, kVendorNames)[0], 0) << "there is no screen 7";
  EXPECT_EQ(ask(*ours, 7, kVendorNames), ask(*stock, 7, kVendorNames));
  const auto askWithLength = [](const tools::DisplayServer& server, int words) {
    XClient client(server.name(), GetParam());
    Request request = client.request(client.extension("GLX"), kQueryServerString);
    for (int i = 0; i < words; ++i)
      request.put32(i == 1 ? kVendorNames : 0);
    return meaning(client.ask(request.finish()));
  };
  for (int words : {0, 1, 3, 50}) {
    EXPECT_EQ(askWithLength(*ours, words)[0], 0) << words;
    EXPECT_EQ(askWithLength(*ours, words), askWithLength(*stock, words)) << words;
  }
}

TEST_P(VendorNames, AServerWithoutGlxStillHasItsExtension) {
  const auto server = startXzol({"-extension", "GLX"});
  XClient client(server->name(), GetParam());
  EXPECT_EQ(client.extension("GLX"), 0);
  EXPECT_NE(client.extension("ZOL-V1"), 0);
}

} // namespace

} // namespace zol::test
