#include "tools/phonectl/Sending.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/PhoneFixture.h"

namespace {

using phonectl::Destination;
using phonectl::Failure;
using testing::HasSubstr;

/// A sender beside other users of the same phone.
class SendingBesideOthers : public test::PhoneFixture {
 protected:
  void SetUp() override {
    PhoneFixture::SetUp();
    Gio::init();
    startPhone();
    m_bus = std::make_unique<phonectl::PhoneBus>(dbus::BusAddress(busAddress()));
    m_sending = std::make_unique<phonectl::Sending>(*m_bus, m_signals);
  }
  void TearDown() override {
    m_sending.reset();
    m_bus.reset();
    PhoneFixture::TearDown();
  }

  void handOver(const std::string& surname) {
    cards::Contact contact;
    contact.surname = surname;
    m_sending->handOver(contact);
  }
  void letAnotherHandOver(const std::string& surname) {
    const test::Finished finished =
        test::runProgram({"busctl", "--address=" + busAddress(), "call", "org.obexphone.Phone",
                          "/org/obexphone/OBEXService", "org.obexphone.OBEXServiceIfc",
                          "vCardSendContactEvent", "a{sv}", "1", "surnameParam", "s", surname},
                         {});
    ASSERT_EQ(finished.exitCode, 0) << finished.err;
  }
  void letAnotherSendPending() {
    phonectl({"send", "--pending", "--to", kPeerAddress, "--channel", "9"});
  }
  std::string sentenceOfSending() {
    try {
      return "sent: " + m_sending->sendTo({kPeerAddress, kPeerChannel});
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.exitCode(), phonectl::kFailed);
      return failure.what();
    }
  }

 private:
  const phonectl::StopSignals m_signals;
  std::unique_ptr<phonectl::PhoneBus> m_bus;
  std::unique_ptr<phonectl::Sending> m_sending;
};

}  // namespace

TEST_F(SendingBesideOthers, ReportsItsContact) {
  handOver("Berg");
  const auto receiver = startReceiver();
  EXPECT_EQ(sentenceOfSending(), "sent: Berg");
}

TEST_F(SendingBesideOthers, NoticesThatItsContactWasReplaced) {
  handOver("Berg");
  letAnotherHandOver("Dahl");
  EXPECT_THAT(sentenceOfSending(), HasSubstr("another program replaced the pending contact"));
  EXPECT_THAT(sentenceOfSending(), HasSubstr("Dahl was not sent to 66:77:88:99:AA:BB, channel 9"));
}

TEST_F(SendingBesideOthers, NoticesAReplacementOfTheSameName) {
  handOver("Berg");
  letAnotherHandOver("Berg");
  const auto receiver = startReceiver();
  EXPECT_THAT(sentenceOfSending(), HasSubstr("Berg was sent to 66:77:88:99:AA:BB"));
}

TEST_F(SendingBesideOthers, IgnoresTheOutcomeOfAnother) {
  handOver("Berg");
  const auto receiver = startReceiver();
  letAnotherSendPending();
  EXPECT_THAT(sentenceOfSending(), HasSubstr("the phone has no pending contact"));
}

TEST_F(SendingBesideOthers, HandsOverAgainAfterwards) {
  handOver("Berg");
  letAnotherHandOver("Dahl");
  handOver("Ek");
  const auto receiver = startReceiver();
  EXPECT_EQ(sentenceOfSending(), "sent: Ek");
}
