#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <nlohmann/json.hpp>

#include "tests/support/WaitFor.h"
#include "tests/tools/PhoneFixture.h"

namespace {

using test::Finished;
using testing::HasSubstr;
using testing::Not;

/// Status, switching, and a busy phone.
class Control : public test::PhoneFixture {
 protected:
  // A phone that can't stop its push server is slow to end, which another test covers.
  void TearDown() override {
    if (m_busy) killPhone();
    PhoneFixture::TearDown();
  }

  nlohmann::json status() { return nlohmann::json::parse(phonectl({"status", "--json"}).out); }

  /// A phone without a radio, busy forever stopping its push server.
  void startBusyPhone() {
    m_busy = true;
    startPhone(Radio::None);
    ASSERT_EQ(phonectl({"receive", "on"}).exitCode, 0);
    ASSERT_EQ(phonectl({"receive", "off"}).exitCode, 0);
  }

  bool m_busy = false;
};

}  // namespace

TEST_F(Control, StatusPrintsText) {
  startPhone();
  const Finished finished = phonectl({"status"});
  EXPECT_EQ(finished.exitCode, 0) << finished.err;
  EXPECT_THAT(finished.out, HasSubstr("radio      ready\n"));
  EXPECT_THAT(finished.out, HasSubstr("receiving  off\n"));
  EXPECT_THAT(finished.out, HasSubstr("busy       no\n"));
  EXPECT_THAT(finished.out, HasSubstr("images     /data/images\n"));
}

TEST_F(Control, StatusPrintsJson) {
  startPhone();
  const nlohmann::json told = status();
  EXPECT_EQ(told.at("radio"), "ready");
  EXPECT_EQ(told.at("listening"), false);
  EXPECT_EQ(told.at("busy"), false);
  EXPECT_TRUE(told.at("queued").is_number());
}

TEST_F(Control, SwitchesReceivingOnAndOff) {
  startPhone();
  const Finished on = phonectl({"receive", "on"});
  EXPECT_EQ(on.exitCode, 0);
  EXPECT_EQ(on.out, "Receiving is on.\n");
  EXPECT_EQ(on.err, "");
  EXPECT_EQ(status().at("listening"), true);
  EXPECT_THAT(phonectl({"status"}).out, HasSubstr("receiving  on, channel 4\n"));
  const Finished off = phonectl({"receive", "off"});
  EXPECT_EQ(off.exitCode, 0);
  EXPECT_EQ(off.out, "Receiving is off.\n");
  EXPECT_EQ(status().at("listening"), false);
}

TEST_F(Control, ReceiveOnReportsAMissingRadio) {
  startPhone(Radio::None);
  const Finished finished = phonectl({"receive", "on"});
  EXPECT_EQ(finished.exitCode, 0);
  EXPECT_THAT(finished.err, HasSubstr("other devices can't reach the phone yet"));
  EXPECT_THAT(finished.err, HasSubstr("Bluetooth"));
  EXPECT_THAT(phonectl({"status"}).out, HasSubstr("Bluetooth"));
}

TEST_F(Control, ReceiveOffIsHandedOverWithoutARadio) {
  m_busy = true;
  startPhone(Radio::None);
  phonectl({"receive", "on"});
  const Finished off = phonectl({"receive", "off"});
  EXPECT_EQ(off.exitCode, 0) << off.err;
  EXPECT_THAT(off.out, HasSubstr("Deferred: \"receive off\" waits in the phone"));
  EXPECT_THAT(off.out, HasSubstr("Bluetooth"));
  const Finished on = phonectl({"receive", "on"});
  EXPECT_EQ(on.exitCode, 0) << on.err;
  EXPECT_THAT(on.out, HasSubstr("Deferred: \"receive on\""));
  EXPECT_EQ(status().at("queued"), 1);
}

TEST_F(Control, ReportsABusyPhoneAndEndsOnSigint) {
  startBusyPhone();
  const auto accept = startPhonectl({"accept"});
  ASSERT_TRUE(accept->waitForErr("the phone is busy (switching receiving on or off for"));
  accept->signal(SIGINT);
  EXPECT_EQ(accept->wait(), 128 + SIGINT);
  EXPECT_THAT(accept->err(), HasSubstr("the phone still carries out the request"));
}

TEST_F(Control, EndsOnSigterm) {
  startBusyPhone();
  const auto reject = startPhonectl({"reject"});
  ASSERT_TRUE(reject->waitForErr("the phone is busy"));
  reject->signal(SIGTERM);
  EXPECT_EQ(reject->wait(), 128 + SIGTERM);
}

TEST_F(Control, BusyPhoneStillAnswersPhonebookAndStatus) {
  startBusyPhone();
  EXPECT_EQ(phonectl({"book", "list"}).exitCode, 0);
  EXPECT_THAT(phonectl({"status"}).out, HasSubstr("busy       switching receiving on or off"));
}

TEST_F(Control, ReportsThatThePhoneWentAway) {
  startBusyPhone();
  const auto accept = startPhonectl({"accept"});
  ASSERT_TRUE(accept->waitForErr("the phone is busy"));
  killPhone();
  EXPECT_EQ(accept->wait(), 4);
  EXPECT_THAT(accept->err(), HasSubstr("went away before it answered"));
}

TEST_F(Control, ReportsThatTheBusWentAway) {
  startBusyPhone();
  const auto accept = startPhonectl({"accept"});
  ASSERT_TRUE(accept->waitForErr("the phone is busy"));
  killBus();
  EXPECT_EQ(accept->wait(), 4);
  EXPECT_THAT(accept->err(), HasSubstr("lost the connection to the bus at"));
}

TEST_F(Control, FailsIfTheOutputIsFull) {
  startPhone();
  const auto program = startPhonectl({"status"}, {.outFile = "/dev/full"});
  EXPECT_EQ(program->wait(), 1);
  EXPECT_THAT(program->err(), HasSubstr("can't write to standard output: No space left"));
}
