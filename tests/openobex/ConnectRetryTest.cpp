// Which refusals of which CONNECT lead to a second one, and what that one is.

#include "openobex/GuardedLink.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "openobex/openobex.h"
#include "tests/openobex/Packets.h"

namespace openobex {
namespace {

constexpr int kFinal = 0x80;

std::string connect(const std::string& headers, int code = OBEX_CMD_CONNECT | kFinal) {
  return packet(code, std::string("\x10\0\xFF\xFF", 4) + headers);
}

const std::string kWho = header(OBEX_HDR_WHO, "anyone");

class ConnectRetryTest : public ::testing::Test {
 protected:
  void Send(const std::string& bytes) {
    // Exactly as large as the packet, so that a sanitizer sees every byte read behind it.
    const std::vector<std::uint8_t> exact(bytes.begin(), bytes.end());
    retry.sent(exact.data(), exact.size());
  }
  std::string Answer(int code) {
    const std::vector<std::uint8_t> second = retry.answered(code);
    return {second.begin(), second.end()};
  }
  void ExpectPassedOn(const std::string& request, int code = OBEX_RSP_FORBIDDEN) {
    Send(request);
    EXPECT_EQ(Answer(code), "");
  }

  ConnectRetry retry;
};

TEST_F(ConnectRetryTest, AForbiddenConnectIsMadeWithoutWho) {
  Send(connect(kWho));
  EXPECT_EQ(Answer(OBEX_RSP_FORBIDDEN), connect(""));
}

TEST_F(ConnectRetryTest, AllOtherHeadersAreKeptAsTheyAre) {
  const std::string before = header(OBEX_HDR_TARGET, "t") + header(OBEX_HDR_NAME, number(0));
  const std::string after = std::string("\xC3\0\0\0\1\x93\2", 7) + header(OBEX_HDR_TYPE, "");
  Send(connect(before + kWho + after));
  EXPECT_EQ(Answer(OBEX_RSP_FORBIDDEN), connect(before + after));
}

TEST_F(ConnectRetryTest, ALongConnectKeepsItsLength) {
  const std::string large = header(OBEX_HDR_DESCRIPTION, std::string(60000, 'x'));
  Send(connect(kWho + large + kWho));
  EXPECT_EQ(Answer(OBEX_RSP_FORBIDDEN), connect(large));
}

TEST_F(ConnectRetryTest, AnyOtherAnswerIsPassedOn) {
  for (int code = 0; code < kFinal; ++code) {
    if (code != OBEX_RSP_FORBIDDEN) ExpectPassedOn(connect(kWho), code);
  }
}

TEST_F(ConnectRetryTest, OneOtherAnswerIsTheEnd) {
  ExpectPassedOn(connect(kWho), OBEX_RSP_SUCCESS);
  EXPECT_EQ(Answer(OBEX_RSP_FORBIDDEN), "");
}

TEST_F(ConnectRetryTest, AConnectWithoutWhoIsNotRepeated) {
  ExpectPassedOn(connect(""));
  ExpectPassedOn(connect(header(OBEX_HDR_TARGET, "J")));
  ExpectPassedOn(connect(header(OBEX_HDR_NAME, kWho)));
}

TEST_F(ConnectRetryTest, OtherRequestsAreNotRepeated) {
  for (const int code : {0x81, 0x82, 0x02, 0x83, 0x85, 0xFF}) ExpectPassedOn(connect(kWho, code));
}

TEST_F(ConnectRetryTest, AConnectOfSeveralPacketsIsNotRepeated) {
  Send(connect(kWho, OBEX_CMD_CONNECT));
  ExpectPassedOn(connect(kWho));
  Send(connect(kWho));
  EXPECT_EQ(Answer(OBEX_RSP_FORBIDDEN), connect(""));
}

TEST_F(ConnectRetryTest, ARequestInBetweenIsTheOneThatIsAnswered) {
  Send(connect(kWho));
  ExpectPassedOn(packet(0xFF, ""));
}

TEST_F(ConnectRetryTest, ThereIsOneSecondTry) {
  Send(connect(kWho));
  Send(Answer(OBEX_RSP_FORBIDDEN));
  EXPECT_EQ(Answer(OBEX_RSP_FORBIDDEN), "");
  ExpectPassedOn(connect(kWho));
}

TEST_F(ConnectRetryTest, WhatWasGivenUpIsNotRepeated) {
  Send(connect(kWho));
  retry.giveUp();
  EXPECT_EQ(Answer(OBEX_RSP_FORBIDDEN), "");
}

TEST_F(ConnectRetryTest, APacketThatIsNotWellFormedIsNotRepeated) {
  ExpectPassedOn(packet(0x80, std::string("\x10\0\xFF", 3)));
  ExpectPassedOn(connect(kWho + "\x4A"));
  ExpectPassedOn(connect(kWho + std::string("\x46\0", 2)));
  ExpectPassedOn(connect(kWho + std::string("\x46\0\2x", 4)));
  ExpectPassedOn(connect(kWho + std::string("\x46\0\5x", 4)));
  ExpectPassedOn(connect(kWho + "\xC3xxx"));
  ExpectPassedOn(connect(kWho + "\x93"));
}

}  // namespace
}  // namespace openobex
