// What passes the guard, and what ends a link.

#include "openobex/PacketGuard.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "openobex/openobex.h"

namespace openobex {
namespace {

using namespace std::string_literals;

std::string number(std::size_t value) {
  return {static_cast<char>(value >> 8), static_cast<char>(value & 0xFF)};
}

std::string packet(int code, const std::string& payload) {
  return static_cast<char>(code) + number(payload.size() + 3) + payload;
}

std::string header(int identifier, const std::string& value) {
  return static_cast<char>(identifier) + number(value.size() + 3) + value;
}

std::string headerOfLength(int identifier, std::size_t length, const std::string& value) {
  return static_cast<char>(identifier) + number(length) + value;
}

std::string unicode(const std::u16string& text) {
  std::string bytes;
  for (const char16_t unit : text) bytes += number(unit);
  return bytes + number(0);
}

const std::string kConnectPayload("\x10\0\xFF\xFF", 4);

class PacketGuardTest : public ::testing::Test {
 protected:
  const char* Check(const std::string& bytes) {
    return guard.check(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }
  void ExpectPasses(const std::string& bytes) { EXPECT_STREQ(Check(bytes), nullptr); }
  void ExpectRefused(const std::string& bytes) { EXPECT_NE(Check(bytes), nullptr); }

  PacketGuard guard{PacketGuard::Side::kServer};
};

TEST_F(PacketGuardTest, LengthsBelowAHeadAreNone) {
  for (const std::string& head : {"\x82\0\0"s, "\x82\0\1"s, "\x82\0\2"s}) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(head.data());
    EXPECT_EQ(PacketGuard::packetLength(bytes), 0U);
  }
  const std::uint8_t largest[] = {0x82, 0xFF, 0xFF};
  EXPECT_EQ(PacketGuard::packetLength(largest), 65535U);
}

TEST_F(PacketGuardTest, OrdinaryRequestsPass) {
  ExpectPasses(packet(0x80, kConnectPayload));
  ExpectPasses(packet(0x80, kConnectPayload + header(OBEX_HDR_TARGET, "x")));
  ExpectPasses(packet(0x02, header(OBEX_HDR_NAME, unicode(u"a.vcf"))));
  ExpectPasses(packet(0x82, header(OBEX_HDR_BODY_END, "x")));
  ExpectPasses(packet(0x81, ""));
  ExpectPasses(packet(0xFF, ""));
}

TEST_F(PacketGuardTest, HeadersMustReachTheEndOfTheirPacket) {
  ExpectPasses(packet(0x82, headerOfLength(OBEX_HDR_BODY, 4, "x")));
  ExpectRefused(packet(0x82, headerOfLength(OBEX_HDR_BODY, 5, "x")));
  ExpectRefused(packet(0x82, headerOfLength(OBEX_HDR_BODY, 65535, "x")));
  ExpectRefused(packet(0x82, headerOfLength(OBEX_HDR_BODY, 4, "x") + "\x48"));
  ExpectRefused(packet(0x82, "\xC3" + std::string(3, 'x')));
  ExpectRefused(packet(0x82, "\x91"));
}

TEST_F(PacketGuardTest, AHeaderIsNotShorterThanItsHead) {
  for (const std::size_t length : {0U, 1U, 2U}) {
    ExpectRefused(packet(0x82, headerOfLength(OBEX_HDR_BODY, length, "xyz")));
  }
  ExpectPasses(packet(0x82, headerOfLength(OBEX_HDR_BODY, 3, "")));
}

TEST_F(PacketGuardTest, ConnectNeedsItsFourBytesAndUsablePackets) {
  ExpectRefused(packet(0x80, ""));
  ExpectRefused(packet(0x80, std::string("\x10\0\xFF", 3)));
  ExpectRefused(packet(0x80, std::string("\x10\0\0\xFE", 4)));
  ExpectPasses(packet(0x80, std::string("\x10\0\0\xFF", 4)));
}

TEST_F(PacketGuardTest, SetPathNeedsItsTwoBytes) {
  ExpectRefused(packet(0x85, ""));
  ExpectPasses(packet(0x85, std::string(2, '\0')));
}

TEST_F(PacketGuardTest, OnePacketCommandsDoNotGoOn) {
  for (const int command : {0x00, 0x01, 0x05, 0x07, 0x7F}) {
    ExpectRefused(packet(command, kConnectPayload));
  }
}

TEST_F(PacketGuardTest, ARequestDoesNotBeginInsideAnother) {
  ExpectPasses(packet(0x02, ""));
  ExpectRefused(packet(0x83, ""));
}

TEST_F(PacketGuardTest, AbortMayComeInsideARequest) {
  ExpectPasses(packet(0x02, ""));
  ExpectPasses(packet(0xFF, ""));
  ExpectPasses(packet(0x83, ""));
}

TEST_F(PacketGuardTest, TheBodyOfAnObjectIsBounded) {
  const std::string piece(60000, 'x');
  std::size_t sent = 0;
  for (; sent + piece.size() <= kMaxObjectSize; sent += piece.size()) {
    ExpectPasses(packet(0x02, header(OBEX_HDR_BODY, piece)));
  }
  ExpectPasses(packet(0x02, header(OBEX_HDR_BODY, std::string(kMaxObjectSize - sent, 'x'))));
  EXPECT_EQ(guard.bodySize(), kMaxObjectSize);
  ExpectRefused(packet(0x82, header(OBEX_HDR_BODY_END, "x")));
}

TEST_F(PacketGuardTest, TheLargestObjectMayComeInSmallPieces) {
  const std::string piece(248, 'x');
  for (std::size_t sent = 0; sent + piece.size() <= kMaxObjectSize; sent += piece.size()) {
    ASSERT_EQ(Check(packet(0x02, header(OBEX_HDR_BODY, piece))), nullptr) << sent;
  }
}

TEST_F(PacketGuardTest, ARequestOfNothingHasAnEnd) {
  for (std::uint32_t i = 0; i < kMaxPackets; ++i) ASSERT_EQ(Check(packet(0x02, "")), nullptr);
  ExpectRefused(packet(0x02, ""));
}

TEST_F(PacketGuardTest, TheNextObjectIsCountedAnew) {
  ExpectPasses(packet(0x82, header(OBEX_HDR_BODY_END, "abc")));
  EXPECT_EQ(guard.bodySize(), 3U);
  ExpectPasses(packet(0x82, header(OBEX_HDR_BODY_END, "ab")));
  EXPECT_EQ(guard.bodySize(), 2U);
}

TEST_F(PacketGuardTest, TheHeadersOfARequestAreBounded) {
  std::string some;
  for (std::uint32_t i = 0; i < kMaxHeaders / 2; ++i) some += "\xCBxxxx";
  ExpectPasses(packet(0x02, some));
  ExpectPasses(packet(0x02, some));
  ExpectRefused(packet(0x82, "\x91x"));
}

TEST_F(PacketGuardTest, TheNameIsToldInUtf8) {
  ExpectPasses(packet(0x02, header(OBEX_HDR_NAME, unicode(u"Åse \u4F60\U0001F600.vcf"))));
  EXPECT_EQ(guard.objectName(), "Åse \u4F60\U0001F600.vcf");
}

TEST_F(PacketGuardTest, HalvesOfPairsInANameAreReplaced) {
  ExpectPasses(packet(0x02, header(OBEX_HDR_NAME, number(0xD800) + number('a') + number(0xDC00))));
  EXPECT_EQ(guard.objectName(), "\uFFFDa\uFFFD");
}

TEST_F(PacketGuardTest, TheEndOfARequestIsKnown) {
  ExpectPasses(packet(0x02, ""));
  EXPECT_FALSE(guard.isRequestComplete());
  ExpectPasses(packet(0x82, ""));
  EXPECT_TRUE(guard.isRequestComplete());
  EXPECT_EQ(guard.command(), OBEX_CMD_PUT);
}

class AnswerGuardTest : public ::testing::Test {
 protected:
  void Send(const std::string& bytes) {
    guard.sent(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }
  bool Passes(const std::string& bytes) {
    return guard.check(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()) ==
           nullptr;
  }

  PacketGuard guard{PacketGuard::Side::kClient};
};

TEST_F(AnswerGuardTest, AnAnswerNeedsARequest) {
  EXPECT_FALSE(Passes(packet(0xA0, "")));
  Send(packet(0x82, ""));
  EXPECT_TRUE(Passes(packet(0xA0, "")));
  EXPECT_FALSE(Passes(packet(0xA0, "")));
}

TEST_F(AnswerGuardTest, TheAnswerToConnectHasFourBytesMore) {
  Send(packet(0x80, kConnectPayload));
  EXPECT_FALSE(Passes(packet(0xA0, "")));
  Send(packet(0x80, kConnectPayload));
  EXPECT_FALSE(Passes(packet(0xA0, std::string(4, '\0'))));
  Send(packet(0x80, kConnectPayload));
  EXPECT_TRUE(Passes(packet(0xA0, kConnectPayload)));
}

TEST_F(AnswerGuardTest, AnAnswerHasItsFinalBit) {
  Send(packet(0x82, ""));
  EXPECT_FALSE(Passes(packet(0x10, "")));
}

TEST_F(AnswerGuardTest, AnAnswersHeadersAreJudgedToo) {
  Send(packet(0x82, ""));
  EXPECT_FALSE(Passes(packet(0xA0, headerOfLength(OBEX_HDR_BODY, 0, "x"))));
}

}  // namespace
}  // namespace openobex
