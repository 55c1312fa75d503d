#include "display/same_display.h"
#include "host_record.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <map>
#include <netdb.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

// The resolver of the test: the official name and its aliases by what is asked for.
std::map<std::string, std::vector<std::string>> hosts;
std::string ownName; // of this machine
bool ownNameFails = false;
std::vector<std::string> asked;

hostent* answer(const std::string& question) {
  asked.push_back(question);
  const auto found = hosts.find(question);
  return found == hosts.end() ? nullptr : hostRecord(found->second);
}

} // namespace

// Those of libc, which these stand before.
extern "C" {
hostent* gethostbyname(const char* name) {
  return answer(name);
}

hostent* gethostbyaddr(const void* address, socklen_t length, int type) {
  EXPECT_EQ(length, 4U);
  EXPECT_EQ(type, AF_INET);
  char text[INET_ADDRSTRLEN] = "";
  inet_ntop(AF_INET, address, text, sizeof text);
  return answer(std::string("address ") + text);
}

int gethostname(char* name, size_t size) noexcept {
  EXPECT_EQ(size, 256U);
  if (ownNameFails) {
    errno = EFAULT;
    return -1;
  }
  // A name that fills the buffer is not terminated.
  std::strncpy(name, ownName.c_str(), size);
  return 0;
}
}

namespace {

using Names = std::vector<std::string>;

class SameHost : public testing::Test {
protected:
  void SetUp() override {
    hosts = {{"localhost", {"localhost", "here", "loop"}},
             {"box", {"box.example", "box", "here"}},
             {"far", {"far.example", "far"}},
             {"address 10.0.0.1", {"far.example"}},
             {"address 127.0.0.1", {"localhost"}}};
    ownName = "box";
    ownNameFails = false;
    asked.clear();
  }

  // What sameHost says, and on standard error.
  static std::string outcome(const char* a, const char* b) {
    testing::internal::CaptureStderr();
    const bool same = sameHost(a, b);
    return (same ? "same " : "different ") + testing::internal::GetCapturedStderr();
  }
};

TEST_F(SameHost, IsOneOfTheSameNameWithoutAskingAnyone) {
  EXPECT_EQ(outcome("nowhere", "nowhere"), "same ");
  EXPECT_EQ(outcome("", ""), "same ");
  EXPECT_EQ(asked, Names{});
}

TEST_F(SameHost, IsOneThatSharesAnOfficialNameOrAnAlias) {
  EXPECT_EQ(outcome("far", "10.0.0.1"), "same ");
  EXPECT_EQ(outcome("box", "localhost"), "same "); // "here"
  EXPECT_EQ(outcome("far", "box"), "different ");
}

TEST_F(SameHost, AsksForTheFirstOneFirst) {
  outcome("far", "box");
  EXPECT_EQ(asked, (Names{"far", "box"}));
}

TEST_F(SameHost, ReadsADigitAndThreeDotsAsAnAddress) {
  EXPECT_EQ(outcome("127.0.0.1", "localhost"), "same ");
  EXPECT_EQ(asked, (Names{"address 127.0.0.1", "localhost"}));
  asked.clear();
  outcome("1.2.3", "x1.2.3.4");
  outcome("1.2.3.4.5", "far");
  EXPECT_EQ(asked, (Names{"1.2.3", "1.2.3.4.5"}));
  asked.clear();
  outcome("far", "x1.2.3.4");
  EXPECT_EQ(asked, (Names{"far", "x1.2.3.4"}));
}

TEST_F(SameHost, PacksTheFourPartsOfAnAddressMostSignificantFirst) {
  outcome("1.22.133.244", "far");
  outcome("12.013.0x.9z", "far");
  EXPECT_EQ(asked, (Names{"address 1.22.133.244", "address 12.13.0.9"}));
}

TEST_F(SameHost, IsNoneThatCannotBeResolved) {
  EXPECT_EQ(outcome("nowhere", "far"), "different no gethostbyname for nowhere\n");
  EXPECT_EQ(asked, Names{"nowhere"});
  EXPECT_EQ(outcome("far", "nowhere"), "different no gethostbyname for nowhere\n");
  EXPECT_EQ(outcome("9.9.9.9", "far"), "different no gethostbyaddr for 9.9.9.9\n");
  EXPECT_EQ(outcome("far", "9.9.9.9"), "different no gethostbyaddr for 9.9.9.9\n");
}

TEST_F(SameHost, KeepsSixteenNamesOfTheFirstOneAndAllOfTheSecond) {
  Names many = {"n0"};
  for (int i = 1; i <= 17; ++i)
    many.push_back("n" + std::to_string(i));
  hosts["many"] = many;
  hosts["fifteenth"] = {"n15"};
  hosts["sixteenth"] = {"n16"};
  hosts["seventeenth"] = {"other", "n17"};
  EXPECT_TRUE(sameHost("many", "fifteenth"));
  EXPECT_FALSE(sameHost("many", "sixteenth"));
  EXPECT_TRUE(sameHost("sixteenth", "many"));
  EXPECT_TRUE(sameHost("seventeenth", "many"));
}

TEST_F(SameHost, OfAnEmptyNameIsThisMachine) {
  EXPECT_EQ(outcome("", "localhost"), "same ");
  EXPECT_EQ(outcome("127.0.0.1", ""), "same ");
  hosts["box"] = {"box.example", "box"}; // not "here"
  EXPECT_EQ(outcome("", "box"), "same ");
  EXPECT_EQ(outcome("box", ""), "same ");
  EXPECT_EQ(outcome("", "far"), "different ");
  EXPECT_EQ(outcome("far", ""), "different ");
}

TEST_F(SameHost, OfAnEmptyNameIsLookedForUnderTheLoopbackNameFirst) {
  sameHost("", "far");
  EXPECT_EQ(asked, (Names{"localhost", "far", "box", "far"}));
  asked.clear();
  sameHost("far", "");
  EXPECT_EQ(asked, (Names{"far", "localhost", "far", "box"}));
}

TEST_F(SameHost, OfAnEmptyNameIsTheLoopbacksWhenTheMachineHasNoName) {
  hosts["box"] = {"box.example", "box"};
  ownNameFails = true;
  EXPECT_EQ(outcome("", "localhost"), "same ");
  EXPECT_EQ(outcome("", "box"), "different ");
  ownNameFails = false;
  ownName = "";
  EXPECT_EQ(outcome("box", ""), "different ");
}

TEST_F(SameHost, CutsTheMachinesOwnNameAtTheBuffer) {
  ownName = std::string(300, 'n');
  hosts[std::string(255, 'n')] = {"far.example"};
  EXPECT_EQ(outcome("", "far"), "same ");
}

class SameDisplayName : public SameHost {};

TEST_F(SameDisplayName, NeedsTheSameHostAndTheSameDisplay) {
  EXPECT_TRUE(zolIsSameXDisplayName(":1", ":1"));
  EXPECT_TRUE(zolIsSameXDisplayName(":1.0", "localhost:1.0"));
  EXPECT_FALSE(zolIsSameXDisplayName(":1", ":2"));
  EXPECT_FALSE(zolIsSameXDisplayName(":1", "far:1"));
}

TEST_F(SameDisplayName, ComparesTheDisplayAsText) {
  EXPECT_FALSE(zolIsSameXDisplayName(":1", ":1.0"));
  EXPECT_FALSE(zolIsSameXDisplayName("far:1:2", "far:1"));
}

TEST_F(SameDisplayName, WithoutAColonIsNeverThatWithTheFirstScreen) {
  EXPECT_FALSE(zolIsSameXDisplayName("far", "far:0.0"));
  EXPECT_FALSE(zolIsSameXDisplayName("far:0.0", "far"));
  EXPECT_TRUE(zolIsSameXDisplayName("far", "far"));
  EXPECT_TRUE(zolIsSameXDisplayName("far", "far::0.0"));
}

// As if it were empty: this machine, no display.
TEST_F(SameDisplayName, OfMoreThanFiveHundredAndElevenCharactersIsAnEmptyOne) {
  const std::string most = std::string(510, 'h') + ":";
  const std::string tooLong = std::string(511, 'h') + ":";
  EXPECT_FALSE(zolIsSameXDisplayName(most.c_str(), ""));
  EXPECT_TRUE(zolIsSameXDisplayName(tooLong.c_str(), ""));
  EXPECT_TRUE(zolIsSameXDisplayName("", tooLong.c_str()));
}

} // namespace
