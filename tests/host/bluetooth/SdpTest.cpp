#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <initializer_list>
#include <thread>

#include "host/bluetooth/SdpQuery.h"

namespace {

using host::SdpQuery;
using host::SdpRecord;
using Bytes = std::vector<std::uint8_t>;
using testing::HasSubstr;

Bytes joined(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

Bytes sequence(std::initializer_list<Bytes> parts) {
  const Bytes all = joined(parts);
  return joined({{0x35, static_cast<std::uint8_t>(all.size())}, all});
}

const Bytes kL2cap = {0x35, 0x03, 0x19, 0x01, 0x00};
const Bytes kObex = {0x35, 0x03, 0x19, 0x00, 0x08};

Bytes rfcomm(int channel) {
  return {0x35, 0x05, 0x19, 0x00, 0x03, 0x08, static_cast<std::uint8_t>(channel)};
}

Bytes attribute(int number, const Bytes& value) {
  return joined(
      {{0x09, static_cast<std::uint8_t>(number >> 8), static_cast<std::uint8_t>(number)}, value});
}

Bytes text(const std::string& value) {
  return joined(
      {{0x25, static_cast<std::uint8_t>(value.size())}, Bytes(value.begin(), value.end())});
}

Bytes record(int channel, const std::string& name) {
  return sequence(
      {attribute(4, sequence({kL2cap, rfcomm(channel), kObex})), attribute(0x100, text(name))});
}

/// A device at the other end of a socket.
class SdpQueryTest : public testing::Test {
 protected:
  SdpQueryTest() { EXPECT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET, 0, m_sockets), 0); }
  ~SdpQueryTest() override {
    if (m_device.joinable()) m_device.join();
    ::close(m_sockets[0]);
    ::close(m_sockets[1]);
  }
  /// Answers one request after the other. A body is what follows the transaction number and length.
  void answerWith(std::vector<Bytes> bodies, std::uint8_t kind = 0x07) {
    m_device = std::thread([this, bodies = std::move(bodies), kind] {
      for (const Bytes& body : bodies) {
        Bytes question(1024);
        const ssize_t got = ::recv(m_sockets[1], question.data(), question.size(), 0);
        if (got < 5) return;
        question.resize(static_cast<std::size_t>(got));
        m_questions.push_back(question);
        const Bytes packet =
            joined({{kind, question[1], question[2], static_cast<std::uint8_t>(body.size() >> 8),
                     static_cast<std::uint8_t>(body.size())},
                    body});
        ::send(m_sockets[1], packet.data(), packet.size(), MSG_NOSIGNAL);
      }
    });
  }
  static Bytes part(const Bytes& lists, const Bytes& continuation = {}) {
    return joined(
        {{static_cast<std::uint8_t>(lists.size() >> 8), static_cast<std::uint8_t>(lists.size())},
         lists,
         {static_cast<std::uint8_t>(continuation.size())},
         continuation});
  }
  SdpQuery::Answer ask(std::chrono::milliseconds timeout = std::chrono::seconds(60)) {
    const SdpQuery::Answer answer = m_query.askOver(m_sockets[0], timeout);
    if (m_device.joinable()) m_device.join();
    return answer;
  }
  void expectProblem(const std::string& problem) {
    const SdpQuery::Answer answer = ask();
    EXPECT_EQ(answer.outcome, SdpQuery::Outcome::kUnreachable);
    EXPECT_THAT(answer.problem, HasSubstr(problem));
  }

  SdpQuery m_query;
  int m_sockets[2];
  std::thread m_device;
  std::vector<Bytes> m_questions;
};

}  // namespace

TEST(SdpRecords, ReadsChannelAndNameOfEachRecord) {
  const auto records = host::readSdpRecords(sequence({record(9, "Object Push"), record(4, "x")}));
  ASSERT_TRUE(records);
  ASSERT_EQ(records->size(), 2U);
  EXPECT_EQ(records->at(0).channel, 9);
  EXPECT_EQ(records->at(0).name, "Object Push");
  EXPECT_EQ(records->at(1).channel, 4);
}

TEST(SdpRecords, AcceptsAnEmptyList) {
  const auto records = host::readSdpRecords(Bytes{0x35, 0x00});
  ASSERT_TRUE(records);
  EXPECT_TRUE(records->empty());
}

TEST(SdpRecords, ReadsAlternativeStacksAndLongUuids) {
  const Bytes longRfcomm = {0x35, 0x13, 0x1C, 0x00, 0x00, 0x00, 0x03, 0x00, 0x00, 0x10, 0x00,
                            0x80, 0x00, 0x00, 0x80, 0x5F, 0x9B, 0x34, 0xFB, 0x08, 0x0C};
  const Bytes stack = sequence({kL2cap, longRfcomm, kObex});
  const Bytes alternatives = joined({{0x3D, static_cast<std::uint8_t>(stack.size())}, stack});
  const auto records = host::readSdpRecords(sequence({sequence({attribute(4, alternatives)})}));
  ASSERT_TRUE(records);
  EXPECT_EQ(records->at(0).channel, 12);
}

TEST(SdpRecords, IgnoresInvalidChannels) {
  EXPECT_EQ(host::readSdpRecords(sequence({record(31, "")}))->at(0).channel, 0);
  EXPECT_EQ(host::readSdpRecords(sequence({record(255, "")}))->at(0).channel, 0);
}

TEST(SdpRecords, RejectsEveryTruncation) {
  const Bytes whole = sequence({record(9, "Object Push"), record(4, "x")});
  for (std::size_t length = 0; length < whole.size(); ++length)
    EXPECT_FALSE(host::readSdpRecords(std::span(whole).first(length))) << length;
}

TEST(SdpRecords, RejectsLengthsBeyondTheEnd) {
  EXPECT_FALSE(host::readSdpRecords(Bytes{0x37, 0xFF, 0xFF, 0xFF, 0xFF, 0x00}));
  EXPECT_FALSE(host::readSdpRecords(Bytes{0x35, 0x04, 0x35, 0x7F, 0x00, 0x00}));
  EXPECT_FALSE(host::readSdpRecords(Bytes{0x35, 0x02, 0x08, 0x01}));
}

TEST(SdpRecords, SurvivesAnyChangeOfOneByte) {
  const Bytes whole = sequence({record(9, "Object Push")});
  for (std::size_t at = 0; at < whole.size(); ++at) {
    for (int value = 0; value < 256; ++value) {
      Bytes changed = whole;
      changed[at] = static_cast<std::uint8_t>(value);
      const auto records = host::readSdpRecords(changed);
      if (!records) continue;
      for (const SdpRecord& found : *records) {
        EXPECT_GE(found.channel, 0);
        EXPECT_LE(found.channel, 30);
      }
    }
  }
}

TEST_F(SdpQueryTest, AsksForObjectPush) {
  answerWith({part(sequence({record(9, "Object Push")}))});
  const SdpQuery::Answer answer = ask();
  ASSERT_EQ(answer.outcome, SdpQuery::Outcome::kAnswered) << answer.problem;
  EXPECT_EQ(answer.records.at(0).channel, 9);
  EXPECT_THAT(m_questions.at(0), testing::Contains(0x11));
}

TEST_F(SdpQueryTest, JoinsAnAnswerInParts) {
  const Bytes whole = sequence({record(9, "Object Push")});
  const Bytes head(whole.begin(), whole.begin() + 10);
  const Bytes tail(whole.begin() + 10, whole.end());
  answerWith({part(head, {0x01, 0x02}), part(tail)});
  const SdpQuery::Answer answer = ask();
  ASSERT_EQ(answer.outcome, SdpQuery::Outcome::kAnswered) << answer.problem;
  EXPECT_EQ(answer.records.at(0).channel, 9);
  const Bytes& second = m_questions.at(1);
  EXPECT_EQ(Bytes(second.end() - 3, second.end()), (Bytes{0x02, 0x01, 0x02}));
}

TEST_F(SdpQueryTest, GivesUpOnAnEndlessAnswer) {
  answerWith(std::vector<Bytes>(300, part({}, {0x01})));
  const SdpQuery::Answer answer = m_query.askOver(m_sockets[0], std::chrono::seconds(60));
  ::shutdown(m_sockets[0], SHUT_RDWR);
  EXPECT_EQ(answer.problem, "endless answer");
}

TEST_F(SdpQueryTest, ReportsAnErrorResponse) {
  answerWith({{0x00, 0x03}}, 0x01);
  expectProblem("refused");
}

TEST_F(SdpQueryTest, ReportsAMalformedAnswer) {
  answerWith({{0xFF, 0xFF, 0x00}});
  expectProblem("malformed answer");
}

TEST_F(SdpQueryTest, RejectsATooLongContinuation) {
  answerWith({part({}, Bytes(17, 1))});
  expectProblem("malformed answer");
}

TEST_F(SdpQueryTest, TimesOut) {
  const SdpQuery::Answer answer = ask(std::chrono::milliseconds(50));
  EXPECT_EQ(answer.problem, "no answer");
}

TEST_F(SdpQueryTest, CanBeCancelled) {
  m_query.cancel();
  EXPECT_EQ(ask().problem, "cancelled");
}

TEST_F(SdpQueryTest, ReportsAClosedConnection) {
  ::shutdown(m_sockets[1], SHUT_RDWR);
  const SdpQuery::Answer answer = ask();
  EXPECT_EQ(answer.outcome, SdpQuery::Outcome::kUnreachable);
  EXPECT_NE(answer.problem, "");
}
