#include "openobex/PacketGuard.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "openobex/openobex.h"
#include "tests/openobex/Packets.h"

namespace openobex {
namespace {

using namespace std::string_literals;

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
  void Answer(int code) {
    const std::string answer = packet(code, "");
    guard.sent(reinterpret_cast<const std::uint8_t*>(answer.data()), answer.size());
  }
  void ExpectRefused(const std::string& bytes, const char* reason) {
    EXPECT_STREQ(Check(bytes), reason);
  }

  PacketGuard guard{PacketGuard::Side::kServer};
};

TEST_F(PacketGuardTest, ReturnsNoPacketLengthBelowThree) {
  for (const std::string& head : {"\x82\0\0"s, "\x82\0\1"s, "\x82\0\2"s}) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(head.data());
    EXPECT_EQ(PacketGuard::packetLength(bytes), 0U);
  }
  const std::uint8_t largest[] = {0x82, 0xFF, 0xFF};
  EXPECT_EQ(PacketGuard::packetLength(largest), 65535U);
}

TEST_F(PacketGuardTest, AcceptsOrdinaryRequests) {
  ExpectPasses(packet(0x80, kConnectPayload));
  ExpectPasses(packet(0x80, kConnectPayload + header(OBEX_HDR_TARGET, "x")));
  ExpectPasses(packet(0x02, header(OBEX_HDR_NAME, unicode(u"a.vcf"))));
  ExpectPasses(packet(0x82, header(OBEX_HDR_BODY_END, "x")));
  ExpectPasses(packet(0x81, ""));
  ExpectPasses(packet(0xFF, ""));
}

TEST_F(PacketGuardTest, RefusesHeadersThatDoNotAddUpToThePacket) {
  ExpectPasses(packet(0x82, headerOfLength(OBEX_HDR_BODY, 4, "x")));
  ExpectRefused(packet(0x82, headerOfLength(OBEX_HDR_BODY, 5, "x")), "header exceeds its packet");
  ExpectRefused(packet(0x82, headerOfLength(OBEX_HDR_BODY, 65535, "x")),
                "header exceeds its packet");
  ExpectRefused(packet(0x82, headerOfLength(OBEX_HDR_BODY, 4, "x") + "\x48"), "truncated header");
  ExpectRefused(packet(0x82, "\xC3" + std::string(3, 'x')), "header exceeds its packet");
  ExpectRefused(packet(0x82, "\x91"), "header exceeds its packet");
}

TEST_F(PacketGuardTest, RefusesAHeaderLengthBelowThree) {
  for (const std::size_t length : {0U, 1U, 2U}) {
    ExpectRefused(packet(0x82, headerOfLength(OBEX_HDR_BODY, length, "xyz")),
                  "header length too small");
  }
  ExpectPasses(packet(0x82, headerOfLength(OBEX_HDR_BODY, 3, "")));
}

TEST_F(PacketGuardTest, RefusesConnectWithoutItsFields) {
  ExpectRefused(packet(0x80, ""), "truncated request");
  ExpectRefused(packet(0x80, std::string("\x10\0\xFF", 3)), "truncated request");
  ExpectPasses(packet(0x80, std::string("\x10\0\0\xFF", 4)));
}

TEST_F(PacketGuardTest, AcceptsAnyPacketSizeInARequest) {
  // Harmless: responses are small.
  ExpectPasses(packet(0x80, std::string("\x10\0\0\0", 4)));
}

TEST_F(PacketGuardTest, RefusesSetPathWithoutItsFields) {
  ExpectRefused(packet(0x85, ""), "truncated request");
  ExpectPasses(packet(0x85, std::string(2, '\0')));
}

TEST_F(PacketGuardTest, RefusesASinglePacketCommandWithoutFinalBit) {
  for (const int command : {0x00, 0x01, 0x05, 0x07}) {
    ExpectRefused(packet(command, kConnectPayload),
                  "a single-packet request without the final bit");
  }
}

TEST_F(PacketGuardTest, AcceptsAbortWithoutFinalBit) { ExpectPasses(packet(0x7F, "")); }

TEST_F(PacketGuardTest, AcceptsUnknownCommands) {
  for (const int code : {0x04, 0x84, 0x10, 0xA0, 0xFE}) ExpectPasses(packet(code, ""));
}

TEST_F(PacketGuardTest, CountsAnewWhenAnotherRequestBegins) {
  ExpectPasses(packet(0x02, header(OBEX_HDR_BODY, "abc")));
  ExpectPasses(packet(0x83, ""));
  EXPECT_EQ(guard.command(), OBEX_CMD_GET);
  EXPECT_EQ(guard.bodySize(), 0U);
}

TEST_F(PacketGuardTest, CountsAnewAfterARefusal) {
  ExpectPasses(packet(0x02, header(OBEX_HDR_BODY, "abc")));
  Answer(0xCF);
  ExpectPasses(packet(0x02, header(OBEX_HDR_BODY, "de")));
  EXPECT_EQ(guard.bodySize(), 2U);
}

TEST_F(PacketGuardTest, CountsOnAfterContinue) {
  ExpectPasses(packet(0x02, header(OBEX_HDR_BODY, "abc")));
  Answer(0x90);
  ExpectPasses(packet(0x82, header(OBEX_HDR_BODY_END, "de")));
  EXPECT_EQ(guard.bodySize(), 5U);
}

TEST_F(PacketGuardTest, AcceptsAbortInsideARequest) {
  ExpectPasses(packet(0x02, ""));
  ExpectPasses(packet(0xFF, ""));
  ExpectPasses(packet(0x83, ""));
}

TEST_F(PacketGuardTest, LimitsTheBodyOfAnObject) {
  const std::string piece(60000, 'x');
  std::size_t sent = 0;
  for (; sent + piece.size() <= kMaxObjectSize; sent += piece.size()) {
    ExpectPasses(packet(0x02, header(OBEX_HDR_BODY, piece)));
  }
  ExpectPasses(packet(0x02, header(OBEX_HDR_BODY, std::string(kMaxObjectSize - sent, 'x'))));
  EXPECT_EQ(guard.bodySize(), kMaxObjectSize);
  ExpectRefused(packet(0x82, header(OBEX_HDR_BODY_END, "x")), "object too large");
}

TEST_F(PacketGuardTest, AcceptsTheLargestObjectInSmallChunks) {
  const std::string piece(248, 'x');
  for (std::size_t sent = 0; sent + piece.size() <= kMaxObjectSize; sent += piece.size()) {
    ASSERT_EQ(Check(packet(0x02, header(OBEX_HDR_BODY, piece))), nullptr) << sent;
  }
}

TEST_F(PacketGuardTest, LimitsThePacketsOfARequest) {
  for (std::uint32_t i = 0; i < kMaxPackets; ++i) ASSERT_EQ(Check(packet(0x02, "")), nullptr);
  ExpectRefused(packet(0x02, ""), "too many packets in one request");
}

TEST_F(PacketGuardTest, LimitsEachRequestOnItsOwn) {
  std::string headers;
  for (std::uint32_t i = 0; i < kMaxHeaders; ++i) headers += "\xCBxxxx";
  for (int request = 0; request < 2; ++request) {
    for (std::uint32_t i = 1; i < kMaxPackets; ++i) ASSERT_EQ(Check(packet(0x02, "")), nullptr);
    ExpectPasses(packet(0x82, headers));
  }
}

TEST_F(PacketGuardTest, CountsAnewForTheNextObject) {
  ExpectPasses(packet(0x82, header(OBEX_HDR_NAME, unicode(u"a.vcf"))));
  EXPECT_EQ(guard.objectName(), "a.vcf");
  ExpectPasses(packet(0x82, header(OBEX_HDR_BODY_END, "abc")));
  EXPECT_EQ(guard.bodySize(), 3U);
  ExpectPasses(packet(0x82, header(OBEX_HDR_BODY_END, "ab")));
  EXPECT_EQ(guard.bodySize(), 2U);
  EXPECT_EQ(guard.objectName(), "");
}

TEST_F(PacketGuardTest, LimitsTheHeadersOfARequest) {
  std::string some;
  for (std::uint32_t i = 0; i < kMaxHeaders / 2; ++i) some += "\xCBxxxx";
  ExpectPasses(packet(0x02, some));
  ExpectPasses(packet(0x02, some));
  ExpectRefused(packet(0x82, "\x91x"), "too many headers");
}

TEST_F(PacketGuardTest, ConvertsTheNameToUtf8) {
  ExpectPasses(packet(0x02, header(OBEX_HDR_NAME, unicode(u"Åse \u4F60\U0001F600.vcf"))));
  EXPECT_EQ(guard.objectName(), "Åse \u4F60\U0001F600.vcf");
}

TEST_F(PacketGuardTest, ReplacesUnpairedSurrogatesInTheName) {
  ExpectPasses(packet(0x02, header(OBEX_HDR_NAME, number(0xD800) + number('a') + number(0xDC00))));
  EXPECT_EQ(guard.objectName(), "\uFFFDa\uFFFD");
}

TEST_F(PacketGuardTest, ConvertsTheFirstAndLastCharactersOfEachUtf8Length) {
  ExpectPasses(
      packet(0x02, header(OBEX_HDR_NAME, unicode(u"\u007F\u0080\u07FF\u0800\uFFFF\U00010000"))));
  EXPECT_EQ(guard.objectName(), "\u007F\u0080\u07FF\u0800\uFFFF\U00010000");
}

TEST_F(PacketGuardTest, ReadsANameWithoutTerminatorUpToItsEnd) {
  const std::string pair = number(0xD83D) + number(0xDE00);
  ExpectPasses(packet(0x02, header(OBEX_HDR_NAME, pair)));
  EXPECT_EQ(guard.objectName(), "\U0001F600");
  // What follows would complete the pair.
  const std::string connectionId("\xDE\0\0\0\0", 5);
  ExpectPasses(packet(0x02, header(OBEX_HDR_NAME, number(0xD83D)) + connectionId));
  EXPECT_EQ(guard.objectName(), "\uFFFD");
}

TEST_F(PacketGuardTest, DoesNotCountBodyChunksAsHeaders) {
  std::string pieces;
  for (std::uint32_t i = 0; i < 2 * kMaxHeaders; ++i) pieces += header(OBEX_HDR_BODY, "x");
  ExpectPasses(packet(0x82, pieces));
  EXPECT_EQ(guard.bodySize(), 2 * kMaxHeaders);
}

TEST_F(PacketGuardTest, CountsEmptyBodyChunksAsHeaders) {
  std::string pieces;
  for (std::uint32_t i = 0; i <= kMaxHeaders; ++i) pieces += header(OBEX_HDR_BODY, "");
  ExpectRefused(packet(0x82, pieces), "too many headers");
}

TEST_F(PacketGuardTest, LimitsTheBytesOfOtherHeaders) {
  const std::string large = header(OBEX_HDR_TYPE, std::string(kMaxHeaderBytes / 8, 'x'));
  for (int i = 0; i < 8; ++i) ExpectPasses(packet(0x02, large));
  ExpectRefused(packet(0x02, header(OBEX_HDR_TYPE, "x")), "headers too large");
}

TEST_F(PacketGuardTest, RefusesBodyDataAfterEndOfBody) {
  ExpectPasses(packet(0x02, header(OBEX_HDR_BODY_END, "abc")));
  ExpectRefused(packet(0x82, header(OBEX_HDR_BODY, "d")), "body data after End-of-Body");
}

TEST_F(PacketGuardTest, RefusesBodyHeadersOfTheWrongType) {
  for (const int identifier : {0x08, 0x09})
    ExpectRefused(packet(0x82, header(identifier, "x")), "body header of the wrong type");
  for (const char* whole : {"\x88x", "\x89x", "\xC8xxxx", "\xC9xxxx"}) {
    ExpectRefused(packet(0x82, whole), "body header of the wrong type");
  }
}

TEST_F(PacketGuardTest, RefusesBodyDataAfterAnEmptyEndOfBody) {
  ExpectRefused(packet(0x82, header(OBEX_HDR_BODY_END, "") + header(OBEX_HDR_BODY_END, "d")),
                "body data after End-of-Body");
}

TEST_F(PacketGuardTest, AcceptsAnEmptySecondEndOfBody) {
  ExpectPasses(packet(0x02, header(OBEX_HDR_BODY_END, "abc")));
  ExpectPasses(packet(0x82, header(OBEX_HDR_BODY_END, "")));
}

class AnswerGuardTest : public ::testing::Test {
 protected:
  bool MaySend(const std::string& bytes) {
    return guard.sent(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()) == nullptr;
  }
  bool Passes(const std::string& bytes) {
    return guard.check(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()) ==
           nullptr;
  }
  /// Whether `answer` to a one-packet request passes.
  bool PassesAfter(int request, const std::string& answer) {
    EXPECT_TRUE(MaySend(packet(request, "")));
    return Passes(answer);
  }

  PacketGuard guard{PacketGuard::Side::kClient};
};

TEST_F(AnswerGuardTest, RefusesAResponseWithoutARequest) {
  EXPECT_FALSE(Passes(packet(0xA0, "")));
  EXPECT_TRUE(PassesAfter(0x82, packet(0xA0, "")));
  EXPECT_FALSE(Passes(packet(0xA0, "")));
}

TEST_F(AnswerGuardTest, RefusesAConnectResponseWithoutItsFields) {
  EXPECT_FALSE(PassesAfter(0x80, packet(0xA0, "")));
  EXPECT_FALSE(PassesAfter(0x80, packet(0xA0, std::string(3, '\0'))));
  EXPECT_TRUE(PassesAfter(0x80, packet(0xA0, kConnectPayload)));
}

TEST_F(AnswerGuardTest, RefusesAPacketSizeBelowTheMinimum) {
  EXPECT_FALSE(PassesAfter(0x80, packet(0xA0, std::string("\x10\0\0\0", 4))));
  EXPECT_FALSE(PassesAfter(0x80, packet(0xA0, std::string("\x10\0\0\xFE", 4))));
  EXPECT_TRUE(PassesAfter(0x80, packet(0xA0, std::string("\x10\0\0\xFF", 4))));
}

TEST_F(AnswerGuardTest, RefusesAResponseWithoutFinalBit) {
  EXPECT_FALSE(PassesAfter(0x82, packet(0x20, "")));
}

TEST_F(AnswerGuardTest, RefusesACommandAsResponse) {
  EXPECT_FALSE(PassesAfter(0x82, packet(0x82, "")));
}

TEST_F(AnswerGuardTest, ChecksTheHeadersOfAResponse) {
  EXPECT_FALSE(PassesAfter(0x82, packet(0xA0, headerOfLength(OBEX_HDR_BODY, 0, "x"))));
}

TEST_F(AnswerGuardTest, RefusesContinueAfterTheLastPacket) {
  EXPECT_TRUE(MaySend(packet(0x02, header(OBEX_HDR_BODY, "x"))));
  EXPECT_TRUE(Passes(packet(0x90, "")));
  EXPECT_FALSE(PassesAfter(0x82, packet(0x90, "")));
}

TEST_F(AnswerGuardTest, LimitsTheHeadersOfAllResponsesToARequest) {
  const std::string large = header(OBEX_HDR_TYPE, std::string(60000, 'x'));
  const std::string more = packet(0x02, header(OBEX_HDR_BODY, "x"));
  for (int i = 0; i < 4; ++i) {
    ASSERT_TRUE(MaySend(more));
    EXPECT_TRUE(Passes(packet(0xA0, large)));
  }
  ASSERT_TRUE(MaySend(more));
  EXPECT_FALSE(Passes(packet(0xA0, large)));
  guard.beginRequest();
  ASSERT_TRUE(MaySend(more));
  EXPECT_TRUE(Passes(packet(0xA0, large)));
}

TEST_F(AnswerGuardTest, RefusesToSendAnEmptyPutThatIsNotFinal) {
  EXPECT_FALSE(MaySend(packet(0x02, "")));
}

}  // namespace
}  // namespace openobex
