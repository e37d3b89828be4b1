#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <regex>

#include "tests/host/support/HostFixture.h"
#include "tests/support/WaitFor.h"

namespace {

using test::Finished;
using test::Program;
using testing::HasSubstr;
using testing::Not;

/// How phone-host starts, and what it prints if it can't.
class StartTest : public test::HostFixture {
 protected:
  static Finished run(const Program::Words& options, const Program::Environment& more = {}) {
    Program::Words words{PHONE_HOST};
    words.insert(words.end(), options.begin(), options.end());
    Program::Options with;
    with.environment = more;
    return test::runProgram(words, with);
  }
  /// A host with default plug-in and phonebook.
  std::unique_ptr<Program> launchPlain(const Program::Environment& environment) {
    if (!m_started) startBus();
    Program::Options with;
    with.environment = environment;
    return std::make_unique<Program>(folder(), "plain" + std::to_string(++m_started),
                                     Program::Words{PHONE_HOST, "--bus", bus().address()}, with);
  }
  static int stop(Program& program) {
    program.signal(SIGTERM);
    return program.wait();
  }
  /// The value of a line in a file of /proc/PID.
  std::string fact(const std::string& file, const std::string& name) {
    const std::string text = test::contentsOf("/proc/" + std::to_string(host().pid()) + file);
    std::smatch match;
    const std::regex line("(^|\n)" + name + ":?\\s+(\\S+)");
    return std::regex_search(text, match, line) ? match[2].str() : "";
  }

  int m_started = 0;
};

TEST_F(StartTest, PrintsOptionsAndExitCodes) {
  const Finished help = run({"--help"});
  EXPECT_EQ(help.exitCode, 0);
  for (const char* word :
       {"--plugin", "--phonebook", "--bus", "--log-level", "--log-file", "--log-size",
        "--log-files", "--retry-forbidden", "--version", "Exit codes: 0", "1 could not start",
        "2 wrong command line", "3 stopped on request"})
    EXPECT_THAT(help.out, HasSubstr(word));
}

TEST_F(StartTest, PrintsItsVersionOnOneLine) {
  const Finished version = run({"--version"});
  EXPECT_EQ(version.exitCode, 0);
  EXPECT_TRUE(std::regex_match(version.out, std::regex("phone-host [0-9.]+\n"))) << version.out;
}

TEST_F(StartTest, ExitsWith2OnAWrongCommandLine) {
  EXPECT_EQ(run({"--nonsense"}).exitCode, 2);
  EXPECT_EQ(run({"extra"}).exitCode, 2);
  EXPECT_EQ(run({"--log-level", "loud"}).exitCode, 2);
  EXPECT_EQ(run({"--service", "../Bad"}).exitCode, 2);
  EXPECT_EQ(run({"--retry-forbidden", "maybe"}).exitCode, 2);
  EXPECT_THAT(run({"--nonsense"}).err, HasSubstr("--nonsense"));
}

TEST_F(StartTest, PrintsWhereItCanBeReached) {
  startHost();
  EXPECT_EQ(host().out(),
            "phone-host: ready on the bus at " + bus().address() + " as org.obexphone.Phone\n");
}

TEST_F(StartTest, UsesTheSessionBusByDefault) {
  startBus();
  Program host(folder(), "plain", {PHONE_HOST, "--phonebook", phonebook()},
               {.environment = {{"DBUS_SESSION_BUS_ADDRESS", bus().address()}}});
  EXPECT_TRUE(host.waitForOut("phone-host: ready on the session bus as org.obexphone.Phone\n"))
      << host.err();
  EXPECT_EQ(stop(host), 0) << host.err();
}

TEST_F(StartTest, UsesTheBusOfTheEnvironmentUnlessTold) {
  startBus();
  Program host(folder(), "plain", {PHONE_HOST, "--phonebook", phonebook()},
               {.environment = {{"PHONE_BUS", bus().address()}}});
  EXPECT_TRUE(host.waitForOut("phone-host: ready on the bus at " + bus().address())) << host.err();
  EXPECT_EQ(stop(host), 0) << host.err();
  const Finished told = run({"--phonebook", phonebook(), "--bus", "unix:path=/elsewhere"},
                            {{"PHONE_BUS", bus().address()}});
  EXPECT_THAT(told.err, HasSubstr("can't reach the bus at unix:path=/elsewhere"));
}

TEST_F(StartTest, ExplainsAMissingSessionBus) {
  const Finished ended =
      run({"--phonebook", phonebook()}, {{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere"}});
  EXPECT_EQ(ended.exitCode, 1);
  EXPECT_THAT(ended.err, HasSubstr("phone-host: can't reach the session bus"));
  EXPECT_THAT(ended.err, HasSubstr("dbus-run-session"));
  EXPECT_EQ(ended.out, "");
}

TEST_F(StartTest, ExplainsAnInvalidBusAddress) {
  const Finished ended = run({"--phonebook", phonebook(), "--bus", "nonsense"});
  EXPECT_EQ(ended.exitCode, 1);
  EXPECT_THAT(ended.err, HasSubstr("phone-host: can't reach the bus at nonsense: "));
}

TEST_F(StartTest, ExplainsAMissingPlugin) {
  const Finished ended = run({"--phonebook", phonebook(), "--plugin", "/nowhere/x.so"});
  EXPECT_EQ(ended.exitCode, 1);
  EXPECT_EQ(ended.err, "phone-host: no service plug-in at /nowhere/x.so\n");
}

TEST_F(StartTest, ExplainsAMissingDefaultPlugin) {
  const Finished ended = run({"--phonebook", phonebook(), "--service", "TeaService"});
  EXPECT_EQ(ended.exitCode, 1);
  EXPECT_THAT(ended.err, HasSubstr("libteaservice.so"));
  EXPECT_THAT(ended.err, HasSubstr("--plugin"));
}

TEST_F(StartTest, ExplainsAPhonebookThatCannotBeOpened) {
  const Finished ended = run({"--phonebook", "sqlite3:///dev/null/book.db"});
  EXPECT_EQ(ended.exitCode, 1);
  EXPECT_THAT(ended.err, HasSubstr("phone-host: "));
  EXPECT_THAT(ended.err, HasSubstr("/dev/null"));
}

TEST_F(StartTest, ExplainsAnEntryPointThatReturnsNull) {
  const test::TestFolder plugin;
  std::filesystem::copy_file(std::string(TEST_PLUGINS) + "/libhalfservice.so",
                             plugin.file("libnothing.so"));
  plugin.write("nothingservice.xml",
               "<node><interface name='org.obexphone.NothingServiceIfc'/></node>");
  startBus();
  const Finished ended = run({"--phonebook", phonebook(), "--bus", bus().address(), "--plugin",
                              plugin.file("libnothing.so"), "--service", "NothingService"});
  EXPECT_EQ(ended.exitCode, 1);
  EXPECT_THAT(ended.err, HasSubstr("createNothingService of " + plugin.file("libnothing.so") +
                                   " returned null"));
}

TEST_F(StartTest, ExplainsAnInvalidIntrospectionFile) {
  const test::TestFolder plugin;
  std::filesystem::copy_file(FAKE_PLUGIN, plugin.file("libfakeservice.so"));
  for (const char* text : {"", "<node>", "<node><interface name='other'/></node>", "\x01\xff"}) {
    plugin.write("fakeservice.xml", text);
    const Finished ended = run({"--phonebook", phonebook(), "--plugin",
                                plugin.file("libfakeservice.so"), "--service", "FakeService"});
    EXPECT_EQ(ended.exitCode, 1) << text;
    EXPECT_THAT(ended.err, HasSubstr("introspection XML")) << text;
  }
}

TEST_F(StartTest, LogsToAFile) {
  startHost({"--log-file", folder().file("log"), "--log-level", "trace"});
  client().call("vCardsRejectedEvent");
  EXPECT_THAT(test::contentsOf(folder().file("log")), HasSubstr("handleMessage called"));
  EXPECT_THAT(host().err(), Not(HasSubstr("handleMessage called")));
}

TEST_F(StartTest, AcceptsLogLevelsAsNumbers) {
  startHost({"--log-level", "5"});
  client().call("vCardsRejectedEvent");
  EXPECT_TRUE(host().waitForErr("handleMessage called"));
}

TEST_F(StartTest, LogsNoTraceByDefault) {
  startHost();
  client().call("nonsense");
  EXPECT_TRUE(host().waitForErr("Invalid Message"));
  EXPECT_THAT(host().err(), Not(HasSubstr("handleMessage called")));
}

TEST_F(StartTest, ExplainsALogFileThatCannotBeOpened) {
  const Finished ended = run({"--phonebook", phonebook(), "--log-file", "/nowhere/log"});
  EXPECT_EQ(ended.exitCode, 1);
  EXPECT_THAT(ended.err, HasSubstr("/nowhere/log"));
}

TEST_F(StartTest, RotatesTheLogFile) {
  const std::string log = folder().file("log");
  startHost({"--log-file", log, "--log-level", "trace", "--log-size", "1K", "--log-files", "2"});
  const auto aside = [&] { return std::filesystem::exists(log + ".1"); };
  const std::string name(400, 'x');
  for (int i = 0; i < 8; ++i)
    client().call("vCardSendContactEvent", "({'surnameParam': <'" + name + "'>},)");
  EXPECT_TRUE(aside()) << test::contentsOf(log);
  EXPECT_FALSE(std::filesystem::exists(log + ".2"));
  struct stat status {};
  ASSERT_EQ(stat(log.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(StartTest, ReportsALogFileOnAFullDiskOnceAndRunsOn) {
  startHost({"--log-file", "/dev/full", "--log-level", "trace"});
  for (int i = 0; i < 3; ++i) client().call("vCardsRejectedEvent");
  EXPECT_TRUE(host().waitForErr("The log file \"/dev/full\" can't be written"));
  EXPECT_EQ(stop(host()), 0);
  EXPECT_EQ(test::occurrences(host().err(), "can't be written"), 1);
}

TEST_F(StartTest, RefusesLogSizesOutOfRange) {
  for (const char* size : {"0", "10", "-1", "10X", "2T", "many"}) {
    EXPECT_EQ(run({"--log-size", size}).exitCode, 2) << size;
  }
  for (const char* files : {"0", "-1", "1001", "many"}) {
    EXPECT_EQ(run({"--log-files", files}).exitCode, 2) << files;
  }
}

TEST_F(StartTest, CreatesAPrivatePhonebookInTheStateDirectory) {
  const auto host = launchPlain({{"XDG_STATE_HOME", folder().file("state")}});
  ASSERT_TRUE(host->waitForOut("phone-host: ready")) << host->err();
  EXPECT_EQ(stop(*host), 0);
  EXPECT_TRUE(std::filesystem::exists(folder().file("state/obexphone/phonebook.db")));
  struct stat status {};
  ASSERT_EQ(stat(folder().file("state/obexphone").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0700U);
}

TEST_F(StartTest, CreatesThePhonebookInTheHomeDirectoryOtherwise) {
  for (const char* relative : {"", "relative/path"}) {
    const auto host = launchPlain({{"XDG_STATE_HOME", relative}, {"HOME", folder().file("home")}});
    ASSERT_TRUE(host->waitForOut("phone-host: ready")) << host->err();
    EXPECT_EQ(stop(*host), 0);
  }
  EXPECT_TRUE(std::filesystem::exists(folder().file("home/.local/state/obexphone/phonebook.db")));
}

TEST_F(StartTest, ExplainsAStateDirectoryThatCannotBeCreated) {
  const auto host = launchPlain({{"XDG_STATE_HOME", "/dev/null/state"}});
  EXPECT_EQ(host->wait(), 1);
  EXPECT_THAT(host->err(), HasSubstr("/dev/null/state/obexphone"));
}

TEST_F(StartTest, ChecksTheDefaultsAndCreatesNothing) {
  const std::string state = folder().file("state");
  const Finished check = run({"--check"}, {{"XDG_STATE_HOME", state}});
  EXPECT_EQ(check.exitCode, 0) << check.out << check.err;
  EXPECT_THAT(check.out,
              HasSubstr("ok: phonebook: the default one, sqlite3://" + state +
                        "/obexphone/phonebook.db, doesn't exist yet, and can be created\n"));
  EXPECT_THAT(check.out, HasSubstr("ok: plug-in: the default one, "));
  EXPECT_THAT(check.out, HasSubstr("ok: images: /data/images can be written\n"));
  EXPECT_FALSE(std::filesystem::exists(state));
}

TEST_F(StartTest, ChecksWhatTheOptionsSpecify) {
  startHost();
  stopHost();
  const Finished check = run(
      {"--check", "--phonebook", phonebook(), "--plugin", FAKE_PLUGIN, "--service", "FakeService"});
  EXPECT_EQ(check.exitCode, 0) << check.out << check.err;
  EXPECT_THAT(check.out, HasSubstr("ok: phonebook: " + phonebook() + " can be opened\n"));
  EXPECT_THAT(check.out,
              HasSubstr(std::string("ok: plug-in: ") + FAKE_PLUGIN + " can be loaded\n"));
}

TEST_F(StartTest, ReportsEveryFaultInACheck) {
  const Finished check =
      run({"--check", "--plugin", "/nowhere/x.so", "--phonebook", "sqlite3:///dev/null/book.db"});
  EXPECT_EQ(check.exitCode, 1);
  EXPECT_THAT(check.out, HasSubstr("FAULT: phonebook: The phonebook's folder /dev/null can't"));
  EXPECT_THAT(check.out, HasSubstr("remedy: phonebook: "));
  EXPECT_THAT(check.out, HasSubstr("FAULT: plug-in: no service plug-in at /nowhere/x.so\n"));
  EXPECT_THAT(check.out, HasSubstr("remedy: plug-in: "));
}

TEST_F(StartTest, FindsAnIncompletePluginInACheck) {
  const std::string half = std::string(TEST_PLUGINS) + "/libhalfservice.so";
  EXPECT_THAT(run({"--check", "--plugin", half, "--service", "HalfService"}).out,
              HasSubstr("entry point createHalfServiceObserverProxy is missing"));
  const test::TestFolder plugin;
  std::filesystem::copy_file(FAKE_PLUGIN, plugin.file("libfakeservice.so"));
  EXPECT_THAT(
      run({"--check", "--plugin", plugin.file("libfakeservice.so"), "--service", "FakeService"})
          .out,
      HasSubstr("FAULT: plug-in: can't read the introspection file"));
}

TEST_F(StartTest, PrintsOtherChecksBeforeAPluginCrashes) {
  const std::string plugin = std::string(TEST_PLUGINS) + "/libcrashingservice.so";
  const Finished check =
      run({"--check", "--phonebook", phonebook(), "--plugin", plugin, "--service", "Crashing"});
  EXPECT_NE(check.exitCode, 0);
  EXPECT_THAT(check.out, HasSubstr("ok: phonebook: "));
  EXPECT_THAT(check.out, Not(HasSubstr("plug-in")));
}

TEST_F(StartTest, PrintsOneLineForEachCheckWhateverTheFileName) {
  const Finished check = run({"--check", "--plugin", "/nowhere/\n\x1b[2Jok: plug-in: fine"});
  EXPECT_THAT(check.out, HasSubstr("no service plug-in at /nowhere/  [2Jok: plug-in: fine\n"));
}

TEST_F(StartTest, SharesItsPhonebookWithASecondTelephone) {
  startHost();
  const test::TestFolder other;
  const test::PrivateBus otherBus(other);
  Program second(folder(), "second",
                 {PHONE_HOST, "--bus", otherBus.address(), "--phonebook", phonebook()}, {});
  ASSERT_TRUE(second.waitForOut("phone-host: ready")) << second.err();
  EXPECT_EQ(client().call("vCardsRejectedEvent").error, "");
  EXPECT_EQ(stop(second), 0);
}

TEST_F(StartTest, StartsAgainWithTheSamePhonebook) {
  startHost();
  stopHost();
  startHost();
  EXPECT_EQ(client().call("vCardsRejectedEvent").error, "");
}

TEST_F(StartTest, OpensClosedStandardDescriptors) {
  const auto host = launchHostAfter("exec 0<&- 1>&- 2>&-");
  ASSERT_TRUE(test::waitFor([&] {
    return busctl({"call", "org.freedesktop.DBus", "/", "org.freedesktop.DBus", "NameHasOwner", "s",
                   "org.obexphone.Phone"})
               .out == "b true\n";
  }));
  for (const char* descriptor : {"0", "1", "2"}) {
    const std::string link = "/proc/" + std::to_string(host->pid()) + "/fd/" + descriptor;
    EXPECT_EQ(std::filesystem::read_symlink(link), "/dev/null") << link;
  }
  EXPECT_EQ(stop(*host), 0);
}

TEST_F(StartTest, OpensOnlyTheClosedStandardDescriptor) {
  const auto host = launchHostAfter("exec 0<&-");
  ASSERT_TRUE(host->waitForOut("phone-host: ready"));
  EXPECT_EQ(std::filesystem::read_symlink("/proc/" + std::to_string(host->pid()) + "/fd/0"),
            "/dev/null");
  EXPECT_EQ(stop(*host), 0);
}

TEST_F(StartTest, LimitsItsDescriptorsTo1024) {
  startHost();
  EXPECT_EQ(fact("/limits", "Max open files"), "1024");
}

TEST_F(StartTest, RaisesALowDescriptorLimit) {
  const auto host = launchHostAfter("ulimit -S -n 64");
  ASSERT_TRUE(host->waitForOut("phone-host: ready")) << host->err();
  const std::string limits = test::contentsOf("/proc/" + std::to_string(host->pid()) + "/limits");
  EXPECT_TRUE(std::regex_search(limits, std::regex("Max open files +1024 "))) << limits;
  EXPECT_EQ(stop(*host), 0);
}

TEST_F(StartTest, CreatesFilesThatOthersCannotWrite) {
  startHost();
  EXPECT_EQ(fact("/status", "Umask"), "0022");
}

TEST_F(StartTest, KeepsAStricterUmask) {
  const auto host = launchHostAfter("umask 077");
  ASSERT_TRUE(host->waitForOut("phone-host: ready"));
  EXPECT_THAT(test::contentsOf("/proc/" + std::to_string(host->pid()) + "/status"),
              HasSubstr("Umask:\t0077"));
  EXPECT_EQ(stop(*host), 0);
}

TEST_F(StartTest, IgnoresSigpipe) {
  startHost();
  const unsigned long long ignored = std::stoull(fact("/status", "SigIgn"), nullptr, 16);
  EXPECT_NE(ignored & (1ULL << (SIGPIPE - 1)), 0U);
}

}  // namespace
