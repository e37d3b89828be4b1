#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <csignal>

#include "tests/host/support/HostFixture.h"
#include "tests/support/WaitFor.h"

namespace {

using test::Program;
using testing::HasSubstr;

constexpr const char* kNotInTime =
    "phone-host: the service did not end within 4 seconds; killing it\n";

/// How phone-host stops, with a service that can be blocked.
class StopTest : public test::HostFixture {
 protected:
  StopTest() : HostFixture("FakeService") {}

  int endBy(int signal) {
    host().signal(signal);
    return host().wait();
  }
};

TEST_F(StopTest, StopsOnEachStopSignal) {
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
    startHost();
    EXPECT_EQ(endBy(signal), 0) << signal;
    EXPECT_THAT(host().err(), testing::Not(HasSubstr(kNotInTime)));
  }
}

TEST_F(StopTest, IgnoresSighupUnderNohup) {
  const auto host = launchHostAfter("trap '' HUP");
  ASSERT_TRUE(host->waitForOut("phone-host: ready"));
  host->signal(SIGHUP);
  const auto other = newClient();
  EXPECT_EQ(other->call("sayEvent", "({'n': <1>},)").values, "({'n': <1>},)");
  host->signal(SIGTERM);
  EXPECT_EQ(host->wait(), 0);
}

TEST_F(StopTest, StopsOnSigintEvenInABackgroundJob) {
  const auto host = launchHostAfter("trap '' INT");
  ASSERT_TRUE(host->waitForOut("phone-host: ready"));
  host->signal(SIGINT);
  EXPECT_EQ(host->wait(), 0);
}

TEST_F(StopTest, KillsItselfWhenTheServiceBlocks) {
  startHost();
  block();
  const auto began = std::chrono::steady_clock::now();
  EXPECT_EQ(endBy(SIGTERM), 3);
  EXPECT_GE(std::chrono::steady_clock::now() - began, std::chrono::milliseconds(3500));
  EXPECT_THAT(host().err(), HasSubstr(kNotInTime));
}

TEST_F(StopTest, WaitsForTheCurrentMessage) {
  startHost();
  const auto waiting = block();
  host().signal(SIGTERM);
  release();
  EXPECT_EQ(host().wait(), 0);
  EXPECT_EQ(client().wait(waiting).error, "");
}

TEST_F(StopTest, EndsAtOnceOnASecondSignal) {
  startHost();
  block();
  host().signal(SIGTERM);
  // Calls are refused as soon as the first signal has been handled.
  ASSERT_TRUE(test::waitFor([&] { return client().call("sayEvent").error != ""; }));
  EXPECT_EQ(endBy(SIGINT), 3);
  EXPECT_THAT(host().err(), HasSubstr("got a second signal; ending at once"));
}

TEST_F(StopTest, RefusesQueuedMessages) {
  startHost();
  block();
  const auto queued = client().send("sayEvent");
  ASSERT_TRUE(test::waitFor([&] { return client().status("queued") == "1"; }));
  host().signal(SIGTERM);
  const auto answer = client().wait(queued);
  EXPECT_EQ(answer.error, "org.freedesktop.DBus.Error.Failed");
  EXPECT_THAT(answer.message, HasSubstr("the telephone is stopping"));
  release();
  EXPECT_EQ(host().wait(), 0);
}

TEST_F(StopTest, DisconnectsTheCallerOfABlockedMessage) {
  startHost();
  const auto waiting = block();
  EXPECT_EQ(endBy(SIGTERM), 3);
  EXPECT_EQ(client().wait(waiting).error, "org.freedesktop.DBus.Error.NoReply");
}

TEST_F(StopTest, SendsNotificationsUntilTheServiceIsDeleted) {
  startHost();
  client().call("subscribeEvent");
  client().call("tellLaterEvent", "({'text': <'x'>, 'count': <5000>},)");
  EXPECT_EQ(endBy(SIGTERM), 0);
  EXPECT_TRUE(client().waitUntilHeard(5000));
}

TEST_F(StopTest, StopsWhileTheServiceUsesStaleObservers) {
  startHost();
  auto leaving = newClient();
  leaving->call("subscribeEvent");
  client().call("subscribeEvent");
  client().call("clingEvent");
  leaving.reset();
  ASSERT_TRUE(host().waitForErr("still uses the proxy"));
  EXPECT_EQ(endBy(SIGTERM), 0);
}

TEST_F(StopTest, StopsOnASignalDuringTheStart) {
  const auto host = launchHost();
  // Signals are blocked from the first line of main.
  ASSERT_TRUE(test::waitFor([&] {
    return test::contentsOf("/proc/" + std::to_string(host->pid()) + "/comm") == "phone-host\n" &&
           test::contentsOf("/proc/" + std::to_string(host->pid()) + "/status")
                   .find("SigBlk:\t0000000000000000") == std::string::npos;
  }));
  host->signal(SIGTERM);
  EXPECT_EQ(host->wait(), 0) << host->err();
}

/// The same with the real service.
class ReceivingStopTest : public test::HostFixture {};

TEST_F(ReceivingStopTest, StopsWhileTheServerCannotListen) {
  const int socket = ::socket(AF_BLUETOOTH, SOCK_STREAM, 3);
  if (socket >= 0) {
    ::close(socket);
    GTEST_SKIP() << "this machine has Bluetooth";
  }
  startHost({"--receive"});
  EXPECT_THAT(host().err(), HasSubstr("phone-host: there is no Bluetooth on this machine"));
  ASSERT_TRUE(host().waitForErr("can't listen on RFCOMM channel 4"));
  EXPECT_THAT(client().status("listenError"), HasSubstr("can't listen on RFCOMM channel 4"));
  EXPECT_EQ(client().call("obexEnableEvent", "({'obexEnableParam': <false>},)").error, "");
  EXPECT_EQ(client().status("listenError"), "''");
  EXPECT_EQ(client().call("obexEnableEvent", "({'obexEnableParam': <true>},)").error, "");
  stopHost();
}

}  // namespace
