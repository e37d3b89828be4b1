#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/PhoneFixture.h"

namespace {

using test::Finished;
using testing::HasSubstr;

/// phonectl without a phone.
class CommandLine : public test::PhoneFixture {
 protected:
  void expectUsageError(const test::Program::Words& words, const std::string& complaint) {
    const Finished finished = phonectl(words);
    EXPECT_EQ(finished.exitCode, 2) << finished.out;
    EXPECT_THAT(finished.err, HasSubstr(complaint));
  }
};

}  // namespace

TEST_F(CommandLine, RejectsUnknownArguments) {
  expectUsageError({}, "no command given");
  expectUsageError({"dial"}, "dial");
  expectUsageError({"book"}, "no command given");
  expectUsageError({"book", "show"}, "required");
  expectUsageError({"receive"}, "required");
  expectUsageError({"receive", "maybe"}, "on");
  expectUsageError({"status", "--loud"}, "--loud");
  expectUsageError({"--bus", "nonsense", "status"}, "must be session, system or a D-Bus address");
}

TEST_F(CommandLine, RejectsContradictingOptions) {
  expectUsageError({"watch", "--accept", "--reject"}, "excludes");
  expectUsageError({"watch", "--ask", "--accept"}, "excludes");
  expectUsageError({"watch", "--json", "--ask"}, "excludes");
}

TEST_F(CommandLine, RejectsInvalidDestinations) {
  const auto expectRefused = [&](const std::string& address, const std::string& channel,
                                 const std::string& complaint) {
    expectUsageError({"send", "Berg", "--to", address, "--channel", channel}, complaint);
  };
  for (const char* address : {"", "66:77:88:99:AA", "66:77:88:99:AA:BB:CC", "66:77:88:99:AA:GG",
                              "66-77-88-99-AA-BB", "6:77:88:99:AA:BB", "00:00:00:00:00:00"}) {
    expectRefused(address, "9", "--to: not a Bluetooth address such as 66:77:88:99:AA:BB");
  }
  for (const char* channel : {"0", "31", "-1", "x", "9x", "", "99999999999"}) {
    expectRefused("66:77:88:99:AA:BB", channel,
                  "--channel: Value " + std::string(channel) + " not in range 1 to 30");
  }
}

TEST_F(CommandLine, RejectsSendingWithoutContactOrDestination) {
  const test::Program::Words there = {"--to", "66:77:88:99:AA:BB", "--channel", "9"};
  const auto sending = [&](test::Program::Words words) {
    words.insert(words.begin(), "send");
    words.insert(words.end(), there.begin(), there.end());
    return words;
  };
  expectUsageError(sending({}), "name an entry of the phonebook, --json or --pending");
  expectUsageError(sending({"Berg", "--pending"}), "excludes");
  expectUsageError(sending({"Berg", "--json", "-"}), "excludes");
  expectUsageError(sending({"--pending", "--json", "-"}), "excludes");
  expectUsageError({"send", "Berg", "--channel", "9"}, "--to is required");
  expectUsageError({"book", "import"}, "required");
}

TEST_F(CommandLine, PrintsHelpAndExitCodesForEveryCommand) {
  for (const test::Program::Words& words : {test::Program::Words{"status"},
                                            {"receive"},
                                            {"watch"},
                                            {"accept"},
                                            {"reject"},
                                            {"send"},
                                            {"cancel"},
                                            {"doctor"},
                                            {"journal"},
                                            {"devices"},
                                            {"book", "list"},
                                            {"book", "show"},
                                            {"book", "add"},
                                            {"book", "import"}}) {
    test::Program::Words help = words;
    help.emplace_back("--help");
    const Finished finished = phonectl(help);
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_THAT(finished.out, HasSubstr("Exit codes: 0 success")) << words.back();
  }
  EXPECT_EQ(phonectl({"--help"}).exitCode, 0);
  EXPECT_THAT(phonectl({"--version"}).out, HasSubstr("phonectl "));
}

TEST_F(CommandLine, ReportsAMissingPhoneAndHowToStartIt) {
  for (const test::Program::Words& words :
       {test::Program::Words{"status"},
        {"receive", "on"},
        {"watch"},
        {"accept"},
        {"reject"},
        {"send", "x", "--to", "66:77:88:99:AA:BB", "--channel", "9"},
        {"cancel"},
        {"book", "list"},
        {"book", "show", "x"},
        {"book", "add", "--surname", "x"}}) {
    const Finished finished = phonectl(words);
    EXPECT_EQ(finished.exitCode, 3) << words.back();
    EXPECT_EQ(finished.out, "");
    EXPECT_THAT(finished.err, HasSubstr("the phone isn't running on the bus at " + busAddress()));
    EXPECT_THAT(finished.err, HasSubstr("phone-host --bus " + busAddress()));
  }
}

TEST_F(CommandLine, ReportsAnUnreachableBus) {
  const Finished finished = phonectl({"--bus", "unix:path=" + folder().file("none"), "status"});
  EXPECT_EQ(finished.exitCode, 3);
  EXPECT_THAT(finished.err, HasSubstr("can't reach the bus at"));
}

TEST_F(CommandLine, ReportsAMissingSessionBus) {
  const Finished finished = phonectl({"--bus", "session", "status"});
  EXPECT_EQ(finished.exitCode, 3);
  EXPECT_THAT(finished.err, HasSubstr("--bus"));
}

TEST_F(CommandLine, AcceptsTheBusAfterTheCommand) {
  const Finished finished = phonectl({"status", "--bus", "unix:path=" + folder().file("none")});
  EXPECT_EQ(finished.exitCode, 3);
  EXPECT_THAT(finished.err, HasSubstr("can't reach the bus at"));
}

TEST_F(CommandLine, UsesTheSessionBusByDefault) {
  test::Program::Options with;
  with.environment["PHONE_BUS"] = "";
  with.environment["DBUS_SESSION_BUS_ADDRESS"] = busAddress();
  const auto program = startPhonectl({"status"}, with);
  EXPECT_EQ(program->wait(), 3);
  EXPECT_THAT(program->err(), HasSubstr("the phone isn't running on the session bus"));
}
