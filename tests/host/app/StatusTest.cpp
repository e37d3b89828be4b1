#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/directory/PhoneBookBackend.h"
#include "tests/host/support/HostFixture.h"

namespace {

using testing::AnyOf;
using testing::HasSubstr;
using testing::MatchesRegex;

/// The object /org/obexphone/Phone.
class StatusTest : public test::HostFixture {
 protected:
  void SetUp() override { startHost(); }
};

TEST_F(StatusTest, TellsItsConfiguration) {
  EXPECT_THAT(client().status("version"), MatchesRegex("'[0-9.]+'"));
  EXPECT_EQ(client().status("service"), "'OBEXService'");
  EXPECT_EQ(client().status("plugin"), std::string("'") + OBEX_PLUGIN + "'");
  EXPECT_EQ(client().status("phonebook"), "'" + phonebook() + "'");
  EXPECT_EQ(client().status("images"), "'/data/images'");
}

TEST_F(StatusTest, TellsTheStateOfTheRadio) {
  EXPECT_THAT(client().status("radio"), AnyOf("'ready'", HasSubstr("no Bluetooth")));
  EXPECT_EQ(client().status("listening"), "false");
  EXPECT_EQ(client().status("channel"), "0");
  EXPECT_EQ(client().status("peer"), "''");
  EXPECT_EQ(client().status("objects"), "0");
}

TEST_F(StatusTest, TellsThatTheServiceIsIdle) {
  EXPECT_EQ(client().status("busy"), "false");
  EXPECT_EQ(client().status("busyWith"), "''");
  EXPECT_EQ(client().status("busySeconds"), "0");
  EXPECT_EQ(client().status("queued"), "0");
  EXPECT_EQ(client().status("observers"), "0");
}

TEST_F(StatusTest, RefusesAVisibleTimeOutOfRange) {
  for (const char* seconds : {"(-2,)", "(86401,)"})
    EXPECT_EQ(client()
                  .callObject("/org/obexphone/Phone", "org.obexphone.Phone", "SetVisible", seconds)
                  .error,
              "org.freedesktop.DBus.Error.InvalidArgs")
        << seconds;
}

TEST_F(StatusTest, CanBeIntrospected) {
  const auto listed = busctl({"introspect", "org.obexphone.Phone", "/org/obexphone/Phone"});
  EXPECT_THAT(listed.out, HasSubstr(".Status"));
}

TEST_F(StatusTest, RefusesArguments) {
  const auto answer =
      client().callObject("/org/obexphone/Phone", "org.obexphone.Phone", "Status", "('x',)");
  EXPECT_EQ(answer.error, "org.freedesktop.DBus.Error.InvalidArgs");
}

/// The same with a service that can be blocked.
class BusyStatusTest : public test::HostFixture {
 protected:
  BusyStatusTest() : HostFixture("FakeService") {}
};

TEST_F(BusyStatusTest, TellsWhatTheServiceIsBusyWith) {
  startHost();
  block();
  client().send("sayEvent");
  EXPECT_EQ(client().status("busyWith"), "'waitEvent'");
  EXPECT_EQ(client().status("queued"), "1");
  release();
  client().call("sayEvent");
  EXPECT_EQ(client().status("busy"), "false");
}

TEST(RedactPasswordTest, HidesAPassword) {
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

TEST(RedactPasswordTest, KeepsEverythingElse) {
  for (const char* text : {"sqlite3:///home/me/phonebook.db", "", "sqlite3://C:\\book.db",
                           "postgresql://host=db dbname=password"})
    EXPECT_EQ(host::redactPassword(text), text);
}

}  // namespace
