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
    // An exact copy, so that sanitizers detect reads beyond the packet.
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

TEST_F(ConnectRetryTest, RepeatsAForbiddenConnectWithoutWho) {
  Send(connect(kWho));
  EXPECT_EQ(Answer(OBEX_RSP_FORBIDDEN), connect(""));
}

TEST_F(ConnectRetryTest, KeepsAllOtherHeaders) {
  const std::string before = header(OBEX_HDR_TARGET, "t") + header(OBEX_HDR_NAME, number(0));
  const std::string after = std::string("\xC3\0\0\0\1\x93\2", 7) + header(OBEX_HDR_TYPE, "");
  Send(connect(before + kWho + after));
  EXPECT_EQ(Answer(OBEX_RSP_FORBIDDEN), connect(before + after));
}

TEST_F(ConnectRetryTest, UpdatesTheLengthOfALongConnect) {
  const std::string large = header(OBEX_HDR_DESCRIPTION, std::string(60000, 'x'));
  Send(connect(kWho + large + kWho));
  EXPECT_EQ(Answer(OBEX_RSP_FORBIDDEN), connect(large));
}

TEST_F(ConnectRetryTest, UpdatesBothBytesOfTheLength) {
  const std::string description = header(OBEX_HDR_DESCRIPTION, std::string(241, 'x'));
  ASSERT_EQ(connect(kWho + description).substr(1, 2), number(0x104));
  Send(connect(kWho + description));
  EXPECT_EQ(Answer(OBEX_RSP_FORBIDDEN).substr(1, 2), number(0xFB));
}

TEST_F(ConnectRetryTest, PassesOnAnyOtherResponse) {
  for (int code = 0; code < kFinal; ++code) {
    if (code != OBEX_RSP_FORBIDDEN) ExpectPassedOn(connect(kWho), code);
  }
}

TEST_F(ConnectRetryTest, ForgetsConnectAfterAnyResponse) {
  ExpectPassedOn(connect(kWho), OBEX_RSP_SUCCESS);
  EXPECT_EQ(Answer(OBEX_RSP_FORBIDDEN), "");
}

TEST_F(ConnectRetryTest, DoesNotRepeatConnectWithoutWho) {
  ExpectPassedOn(connect(""));
  ExpectPassedOn(connect(header(OBEX_HDR_TARGET, "J")));
  ExpectPassedOn(connect(header(OBEX_HDR_NAME, kWho)));
}

TEST_F(ConnectRetryTest, DoesNotRepeatOtherRequests) {
  for (const int code : {0x81, 0x82, 0x02, 0x83, 0x85, 0xFF}) ExpectPassedOn(connect(kWho, code));
}

TEST_F(ConnectRetryTest, DoesNotRepeatAConnectOfSeveralPackets) {
  Send(connect(kWho, OBEX_CMD_CONNECT));
  ExpectPassedOn(connect(kWho));
  Send(connect(kWho));
  EXPECT_EQ(Answer(OBEX_RSP_FORBIDDEN), connect(""));
}

TEST_F(ConnectRetryTest, ForgetsConnectWhenAnotherRequestFollows) {
  Send(connect(kWho));
  ExpectPassedOn(packet(0xFF, ""));
}

TEST_F(ConnectRetryTest, RepeatsOnlyOnce) {
  Send(connect(kWho));
  Send(Answer(OBEX_RSP_FORBIDDEN));
  EXPECT_EQ(Answer(OBEX_RSP_FORBIDDEN), "");
  ExpectPassedOn(connect(kWho));
}

TEST_F(ConnectRetryTest, DoesNotRepeatACancelledConnect) {
  Send(connect(kWho));
  retry.giveUp();
  EXPECT_EQ(Answer(OBEX_RSP_FORBIDDEN), "");
}

TEST_F(ConnectRetryTest, DoesNotRepeatAMalformedConnect) {
  ExpectPassedOn(packet(0x80, std::string("\x10\0\xFF", 3)));
  ExpectPassedOn(connect(kWho + "\x4A"));
  ExpectPassedOn(connect(kWho + std::string("\x46\0", 2)));
  ExpectPassedOn(connect(kWho + std::string("\x46\0\2x", 4)));
  ExpectPassedOn(connect(kWho + std::string("\x46\0\2\0\3", 5)));
  ExpectPassedOn(connect(kWho + std::string("\x46\0\5x", 4)));
  ExpectPassedOn(connect(kWho + "\xC3xxx"));
  ExpectPassedOn(connect(kWho + "\x93"));
}

}  // namespace
}  // namespace openobex
