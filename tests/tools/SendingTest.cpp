#include "tools/phonectl/Sending.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/PhoneFixture.h"

namespace {

using phonectl::Destination;
using phonectl::Failure;
using testing::HasSubstr;

/// One who sends, and others who use the same phone meanwhile.
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
    contacts::Contact contact;
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

TEST_F(SendingBesideOthers, IsToldOfItsContact) {
  handOver("Berg");
  const auto receiver = startReceiver();
  EXPECT_EQ(sentenceOfSending(), "sent: Berg");
}

TEST_F(SendingBesideOthers, NoticesThatAnotherContactTookThePlace) {
  handOver("Berg");
  letAnotherHandOver("Dahl");
  EXPECT_THAT(sentenceOfSending(), HasSubstr("somebody else handed another contact to the phone"));
  EXPECT_THAT(sentenceOfSending(), HasSubstr("Dahl was not sent to 66:77:88:99:AA:BB, channel 9"));
}

TEST_F(SendingBesideOthers, NoticesItWhenTheNamesAreTheSame) {
  handOver("Berg");
  letAnotherHandOver("Berg");
  const auto receiver = startReceiver();
  EXPECT_THAT(sentenceOfSending(), HasSubstr("Berg was sent to 66:77:88:99:AA:BB"));
}

TEST_F(SendingBesideOthers, TakesNoOutcomeOfAnotherForItsOwn) {
  handOver("Berg");
  const auto receiver = startReceiver();
  letAnotherSendPending();
  EXPECT_THAT(sentenceOfSending(), HasSubstr("the phone had no contact to send"));
}

TEST_F(SendingBesideOthers, HandsOverAgainAfterwards) {
  handOver("Berg");
  letAnotherHandOver("Dahl");
  handOver("Ek");
  const auto receiver = startReceiver();
  EXPECT_EQ(sentenceOfSending(), "sent: Ek");
}
