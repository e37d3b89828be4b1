#include "host/app/Status.h"
#include "host/directory/PhoneBookBackend.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/push/RadioStatus.h"
#include "tests/host/support/HostFixture.h"

namespace {

using testing::AnyOf;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

/// What the telephone says of itself.
class StatusTest : public test::HostFixture {
 protected:
  void SetUp() override { startHost(); }
};

TEST_F(StatusTest, tellsWhatItIsMadeOf) {
  EXPECT_THAT(client().status("version"), MatchesRegex("'[0-9.]+'"));
  EXPECT_EQ(client().status("service"), "'EchoService'");
  EXPECT_EQ(client().status("plugin"), std::string("'") + ECHO_PLUGIN + "'");
  EXPECT_EQ(client().status("phonebook"), "'" + phonebook() + "'");
  EXPECT_EQ(client().status("images"), "'/data/images'");
}

TEST_F(StatusTest, tellsOfTheRadio) {
  EXPECT_THAT(client().status("radio"), AnyOf("'ready'", HasSubstr("no Bluetooth")));
  EXPECT_EQ(client().status("listening"), "false");
  EXPECT_EQ(client().status("channel"), "0");
  EXPECT_EQ(client().status("peer"), "''");
  EXPECT_EQ(client().status("objects"), "0");
}

TEST_F(StatusTest, tellsThatItIsIdle) {
  EXPECT_EQ(client().status("busy"), "false");
  EXPECT_EQ(client().status("busyWith"), "''");
  EXPECT_EQ(client().status("busySeconds"), "0");
  EXPECT_EQ(client().status("queued"), "0");
  EXPECT_EQ(client().status("observers"), "0");
}

TEST_F(StatusTest, tellsWhatItIsBusyWith) {
  block();
  client().send("sayEvent");
  EXPECT_EQ(client().status("busyWith"), "'waitEvent'");
  EXPECT_EQ(client().status("queued"), "1");
  release();
  client().call("sayEvent");
  EXPECT_EQ(client().status("busy"), "false");
}

TEST_F(StatusTest, tellsOfTheNewestPhoto) {
  EXPECT_EQ(client().status("lastPhoto"), "''");
  client().call("fileEvent", "({'path': <'/data/images/photoA.jpeg'>},)");
  client().call("fileEvent", "({'path': <'/data/images/photoB.jpeg'>},)");
  EXPECT_EQ(client().status("lastPhoto"), "'/data/images/photoB.jpeg'");
  EXPECT_EQ(client().status("photos"), "2");
}

TEST_F(StatusTest, itsObjectIsIntrospectable) {
  const auto listed = busctl({"introspect", "org.obexphone.Phone", "/org/obexphone/Phone"});
  EXPECT_THAT(listed.out, HasSubstr(".Status"));
}

TEST_F(StatusTest, argumentsAreRefused) {
  const auto answer =
      client().callObject("/org/obexphone/Phone", "org.obexphone.Phone", "Status", "('x',)");
  EXPECT_EQ(answer.error, "org.freedesktop.DBus.Error.InvalidArgs");
}

TEST(SecretsTest, aPasswordIsBlottedOut) {
  EXPECT_EQ(host::redactPassword("postgresql://host=db user=me password=secret dbname=x"),
            "postgresql://host=db user=me password=*** dbname=x");
  EXPECT_EQ(host::redactPassword("mysql://pass=secret"), "mysql://pass=***");
  EXPECT_EQ(host::redactPassword("x://PWD = 'two words' host=h"), "x://PWD = *** host=h");
  EXPECT_EQ(host::redactPassword("x://me:secret@db/book"), "x://me:***@db/book");
  EXPECT_EQ(host::redactPassword("x://me:se/cr@t@db/book"), "x://me:***@db/book");
  EXPECT_EQ(host::redactPassword("x:/me:secret@db"), "x:/me:***@db");
  EXPECT_EQ(host::redactPassword("x://me:@db:1?sslpassword=secret&a=b"),
            "x://me:***@db:1?sslpassword=***&a=b");
}

TEST(SecretsTest, everythingElseStays) {
  for (const char* text : {"sqlite3:///home/me/phonebook.db", "", "sqlite3://C:\\book.db",
                           "postgresql://host=db dbname=password"})
    EXPECT_EQ(host::redactPassword(text), text);
}

TEST(RadioStatusTest, followsTheLink) {
  host::RadioStatus radio;
  radio.linkListening(4);
  EXPECT_TRUE(radio.state().listening);
  EXPECT_EQ(radio.state().channel, 4);
  EXPECT_TRUE(radio.linkAccepted("66:77:88:99:AA:BB"));
  EXPECT_EQ(radio.state().peer, "66:77:88:99:AA:BB");
  radio.linkObject("card.vcf", 120);
  radio.linkAnswered(2, 0x20);
  EXPECT_EQ(radio.state().lastObject, "card.vcf");
  EXPECT_EQ(radio.state().lastSize, 120U);
  EXPECT_EQ(radio.state().lastAnswer, 0x20);
  EXPECT_EQ(radio.state().objects, 1U);
}

TEST(RadioStatusTest, rememberAPeerThatHasGoneAsTheLastOne) {
  host::RadioStatus radio;
  radio.linkAccepted("66:77:88:99:AA:BB");
  radio.linkClosed("closed by the peer");
  radio.linkStopped();
  EXPECT_EQ(radio.state().peer, "");
  EXPECT_EQ(radio.state().lastPeer, "66:77:88:99:AA:BB");
  EXPECT_EQ(radio.state().lastLinkEnd, "closed by the peer");
  EXPECT_FALSE(radio.state().listening);
}

TEST(RadioStatusTest, aMachineWithoutBluetoothIsASentence) {
  const std::string radio = host::RadioStatus::describeRadio();
  EXPECT_THAT(radio, AnyOf("ready", StartsWith("there is no Bluetooth")));
}

}  // namespace
