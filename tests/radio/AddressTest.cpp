#include "radio/Address.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

namespace radio {
namespace {

bdaddr_t address(const char* text) {
  bdaddr_t result = {};
  EXPECT_TRUE(parseAddress(text, &result)) << text;
  return result;
}

void ExpectNoAddress(const char* text) {
  bdaddr_t untouched = {{1, 2, 3, 4, 5, 6}};
  EXPECT_FALSE(parseAddress(text, &untouched)) << text;
  EXPECT_EQ(untouched.b[0], 1);
}

Name pathName(const std::string& path) {
  Name name;
  name.address.sun_family = AF_UNIX;
  path.copy(name.address.sun_path, sizeof name.address.sun_path - 1);
  name.length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size() + 1);
  return name;
}

TEST(AddressTest, ParsesTheFirstGroupAsTheLastByte) {
  const bdaddr_t parsed = address("00:11:22:33:44:5F");
  EXPECT_EQ(parsed.b[5], 0x00);
  EXPECT_EQ(parsed.b[4], 0x11);
  EXPECT_EQ(parsed.b[0], 0x5F);
}

TEST(AddressTest, AcceptsLowerCase) {
  EXPECT_TRUE(sameAddress(address("aa:bb:cc:dd:ee:ff"), address("AA:BB:CC:DD:EE:FF")));
}

TEST(AddressTest, RejectsWhatIsNotSixGroupsOfTwoDigits) {
  ExpectNoAddress("");
  ExpectNoAddress("00:11:22:33:44:5");
  ExpectNoAddress("00:11:22:33:44:555");
  ExpectNoAddress("00:11:22:33:44:55:66");
  ExpectNoAddress("00-11-22-33-44-55");
  ExpectNoAddress("00:11:22:33:44:5G");
  ExpectNoAddress(" 0:11:22:33:44:55");
  ExpectNoAddress("0011:22:33:44:55:");
}

TEST(AddressTest, FormatsDigitsThatParseBack) {
  char digits[kDigits + 1] = "";
  formatDigits(address("00:1A:2B:3C:4D:5E"), digits);
  EXPECT_STREQ(digits, "001A2B3C4D5E");
  bdaddr_t back = {};
  ASSERT_TRUE(parseDigits(digits, &back));
  EXPECT_TRUE(sameAddress(back, address("00:1A:2B:3C:4D:5E")));
}

TEST(NameTest, PutsAddressAndChannelIntoTheFileName) {
  char file[kFileNameSize] = "";
  formatFileName({address("00:11:22:33:44:55"), 4}, file);
  EXPECT_STREQ(file, "001122334455-04");
  Endpoint endpoint;
  ASSERT_TRUE(parseName(pathName("/run/air/001122334455-04"), &endpoint));
  EXPECT_TRUE(sameAddress(endpoint.address, address("00:11:22:33:44:55")));
  EXPECT_EQ(endpoint.channel, 4);
}

TEST(NameTest, RejectsOtherFileNames) {
  Endpoint endpoint;
  for (const char* path :
       {"/run/bus", "/run/air/001122334455", "/run/air/001122334455-31", "/run/air/001122334455-00",
        "/run/air/00112233445g-04", "/run/air/x001122334455-04", "/run/air/001122334455-4x", ""}) {
    EXPECT_FALSE(parseName(pathName(path), &endpoint)) << path;
  }
}

TEST(NameTest, GivesConnectorsUniqueNamesWithTheirAddress) {
  const Name one = connectorName(address("AA:BB:CC:DD:EE:FF"));
  const Name other = connectorName(address("AA:BB:CC:DD:EE:FF"));
  Endpoint endpoint;
  ASSERT_TRUE(parseName(one, &endpoint));
  EXPECT_TRUE(sameAddress(endpoint.address, address("AA:BB:CC:DD:EE:FF")));
  EXPECT_EQ(endpoint.channel, 0);
  EXPECT_NE(std::string(one.address.sun_path, sizeof one.address.sun_path),
            std::string(other.address.sun_path, sizeof other.address.sun_path));
}

TEST(NameTest, RejectsAbstractNamesOfAnotherLength) {
  Name name = connectorName(address("AA:BB:CC:DD:EE:FF"));
  --name.length;
  Endpoint endpoint;
  EXPECT_FALSE(parseName(name, &endpoint));
  name.length = 0;
  EXPECT_FALSE(parseName(name, &endpoint));
}

}  // namespace
}  // namespace radio
